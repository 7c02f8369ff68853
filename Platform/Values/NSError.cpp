#include "NSError.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "Kinds.h"
#include "NSDictionary.h"
#include "NSError+Files.h"
#include "NSObject.h"
#include "NSString.h"

// Made before other static objects, which may need them.
#define KVT_TEXT_CONSTANT(name, text) __attribute__((init_priority(200))) const NSString name = text##_ns

namespace kvt {

KVT_TEXT_CONSTANT(NSCocoaErrorDomain, "NSCocoaErrorDomain");
KVT_TEXT_CONSTANT(NSPOSIXErrorDomain, "NSPOSIXErrorDomain");
KVT_TEXT_CONSTANT(NSOSStatusErrorDomain, "NSOSStatusErrorDomain");
KVT_TEXT_CONSTANT(NSLocalizedDescriptionKey, "NSLocalizedDescription");
KVT_TEXT_CONSTANT(NSLocalizedFailureReasonErrorKey, "NSLocalizedFailureReason");
KVT_TEXT_CONSTANT(NSLocalizedRecoverySuggestionErrorKey, "NSLocalizedRecoverySuggestion");
KVT_TEXT_CONSTANT(NSUnderlyingErrorKey, "NSUnderlyingError");
KVT_TEXT_CONSTANT(NSFilePathErrorKey, "NSFilePath");
KVT_TEXT_CONSTANT(NSURLErrorKey, "NSURL");
KVT_TEXT_CONSTANT(NSDebugDescriptionErrorKey, "NSDebugDescription");

namespace {

struct ErrorBody final : Object {
  ErrorBody(const NSString& errorDomain, NSInteger errorCode, const NSDictionary& details)
      : Object(classOf<NSError>(), objectKind(kErrorKind)),
        domain(errorDomain.copy()),
        code(errorCode),
        userInfo(NSDictionary::dictionaryWithDictionary(details)) {
    ObjectAccess::markImmutableValue(this);
  }
  const NSString domain;
  const NSInteger code;
  const NSDictionary userInfo;
};

const ErrorBody* bodyOf(const Object* error) noexcept { return static_cast<const ErrorBody*>(error); }

NSString textUnder(const ErrorBody& body, const NSString& key) {
  return body.userInfo.objectForKey(key).as<NSString>();
}

// ---- the system's texts -------------------------------------------------------------------------------------------

struct CocoaText {
  NSInteger code;
  /// "%" stands for the file's name; without a path, together with the blank before it, for nothing.
  const char* description;
  const char* reason;
};

constexpr CocoaText kCocoaTexts[] = {
    {NSFileNoSuchFileError, "The file % doesn’t exist.", "The file doesn’t exist."},
    {NSFileReadUnknownError, "The file % couldn’t be opened.", nullptr},
    {NSFileReadNoPermissionError, "The file % couldn’t be opened because you don’t have permission to view it.",
     "You don’t have permission."},
    {NSFileReadInvalidFileNameError, "The file % couldn’t be opened because the file name is invalid.",
     "The file name is invalid."},
    {NSFileReadCorruptFileError, "The file % couldn’t be opened because it isn’t in the correct format.",
     "The file isn’t in the correct format."},
    {NSFileReadNoSuchFileError, "The file % couldn’t be opened because there is no such file.",
     "The file doesn’t exist."},
    {NSFileReadUnsupportedSchemeError, "The file % couldn’t be opened because the specified URL type isn’t supported.",
     "The specified URL type isn’t supported."},
    {NSFileReadTooLargeError, "The file % couldn’t be opened because it is too large.", "The file is too large."},
    {NSFileWriteUnknownError, "The file % couldn’t be saved.", nullptr},
    {NSFileWriteNoPermissionError, "You don’t have permission to save the file %.", "You don’t have permission."},
    {NSFileWriteInvalidFileNameError, "The file % couldn’t be saved because the file name is invalid.",
     "The file name is invalid."},
    {NSFileWriteFileExistsError, "The file % couldn’t be saved because a file with the same name already exists.",
     "A file with the same name already exists."},
    {NSFileWriteUnsupportedSchemeError, "The file % couldn’t be saved because the specified URL type isn’t supported.",
     "The specified URL type isn’t supported."},
    {NSFileWriteOutOfSpaceError, "The file % couldn’t be saved because there isn’t enough space.",
     "There isn’t enough space."},
    {NSFileWriteVolumeReadOnlyError, "The file % couldn’t be saved because the volume is read only.",
     "The volume is read only."},
    {NSPropertyListReadCorruptError, "The data couldn’t be read because it isn’t in the correct format.",
     "The data isn’t in the correct format."},
    {NSCoderReadCorruptError, "The data couldn’t be read because it isn’t in the correct format.",
     "The data isn’t in the correct format."},
    {NSCoderValueNotFoundError, "The data couldn’t be read because it is missing.", "The data is missing."},
};

const CocoaText* cocoaText(const ErrorBody& body) {
  if (body.domain != NSCocoaErrorDomain) return nullptr;
  for (const CocoaText& text : kCocoaTexts) {
    if (text.code == body.code) return &text;
  }
  return nullptr;
}

std::string fileName(const ErrorBody& body) {
  std::string path = textUnder(body, NSFilePathErrorKey).str();
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos || path.size() == 1 ? path : path.substr(slash + 1);
}

std::string withFileName(std::string text, const std::string& name) {
  const std::size_t at = text.find('%');
  if (at == std::string::npos) return text;
  if (name.empty()) return text.erase(at - 1, 2);
  return text.replace(at, 1, "“" + name + "”");
}

/// The system's text for an error number; nil for a number that it does not know.
NSString posixText(NSInteger code) {
  if (code < 0 || code > INT32_MAX) return {};
  return NSString(strerrordesc_np(static_cast<int>(code)));
}

/// What the error itself or its domain says; nil when neither says anything.
NSString ownDescription(const ErrorBody& body) {
  if (NSString text = textUnder(body, NSLocalizedDescriptionKey)) return text;
  if (const CocoaText* text = cocoaText(body)) return NSString(withFileName(text->description, fileName(body)));
  return {};
}

NSString failureReason(const ErrorBody& body) {
  if (NSString text = textUnder(body, NSLocalizedFailureReasonErrorKey)) return text;
  if (body.domain == NSPOSIXErrorDomain) return posixText(body.code);
  const CocoaText* text = cocoaText(body);
  return text != nullptr ? NSString(text->reason) : NSString();
}

std::string textOf(const id& value) { return value ? value.description().str() : "(null)"; }

std::string describe(const ErrorBody& body) {
  std::string text = "Error Domain=" + textOf(body.domain) + " Code=" + std::to_string(body.code);
  NSString says = ownDescription(body);
  if (!says) says = failureReason(body);
  text += " \"" + textOf(says) + "\"";
  if (body.userInfo.count() == 0) return text;
  text += " UserInfo={";
  const char* separator = "";
  for (const auto& [key, value] : body.userInfo) {
    const std::string content = textOf(value);
    text += separator + textOf(key) + "=" + (value.is<NSError>() ? "{" + content + "}" : content);
    separator = ", ";
  }
  return text + "}";
}

// ---- class --------------------------------------------------------------------------------------------------------

std::uint64_t hashOf(const Object* object) {
  const ErrorBody* body = bodyOf(object);
  return body->domain.hash() ^ (static_cast<std::uint64_t>(body->code) * 0x9E3779B97F4A7C15U);
}

bool isEqualObject(const Object* a, const Object* b) {
  if (!isKindBetween(b, kErrorKind, kErrorKind)) return false;
  const ErrorBody* x = bodyOf(a);
  const ErrorBody* y = bodyOf(b);
  return x->code == y->code && x->domain == y->domain && x->userInfo == y->userInfo;
}

bool isEqualMethod(const NSError& self, const id& other) {
  return other && (isIdentical(self, other) || isEqualObject(self.object(), other.object()));
}
std::uint64_t hashMethod(const NSError& self) { return hashOf(self.object()); }
NSString descriptionMethod(const NSError& self) { return NSString(describe(*bodyOf(self.object()))); }
Object* copyWithZone(Object* self, SEL, void*) {
  ObjectAccess::retain(self);
  return self;
}

}  // namespace

Class NSError::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSError> c("NSError", classOf<NSObject>());
    c.classMethod<&NSError::errorWithDomain_code_userInfo>("errorWithDomain:code:userInfo:");
    c.method<&NSError::domain>("domain").method<&NSError::code>("code").method<&NSError::userInfo>("userInfo");
    c.method<&NSError::localizedDescription>("localizedDescription");
    c.method<&NSError::localizedFailureReason>("localizedFailureReason");
    c.method<&NSError::localizedRecoverySuggestion>("localizedRecoverySuggestion");
    c.method<&isEqualMethod>("isEqual:").method<&hashMethod>("hash").method<&descriptionMethod>("description");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&copyWithZone), "@24@0:8^{_NSZone=}16");
    registerValueOperations(kErrorKind, {&hashOf, &isEqualObject});
    return c.registerClass();
  }();
  return cls;
}

bool NSError::kvtAccepts(const Object* object) noexcept { return isKindBetween(object, kErrorKind, kErrorKind); }

[[maybe_unused]] static const bool registered = (classOf<NSError>(), true);

NSError NSError::errorWithDomain_code_userInfo(const NSString& domain, NSInteger code, const NSDictionary& userInfo) {
  return NSError(adopt, new ErrorBody(domain, code, userInfo));
}

NSString NSError::domain() const { return *this ? bodyOf(object())->domain : NSString(); }
NSInteger NSError::code() const noexcept { return *this ? bodyOf(object())->code : 0; }
NSDictionary NSError::userInfo() const { return *this ? bodyOf(object())->userInfo : NSDictionary(); }

NSString NSError::localizedDescription() const {
  if (!*this) return {};
  const ErrorBody& body = *bodyOf(object());
  if (NSString text = ownDescription(body)) return text;
  const std::string start = "The operation couldn’t be completed. ";
  if (NSString reason = failureReason(body)) return NSString(start + reason.str());
  return NSString(start + "(" + textOf(body.domain) + " error " + std::to_string(body.code) + ".)");
}

NSString NSError::localizedFailureReason() const { return *this ? failureReason(*bodyOf(object())) : NSString(); }
NSString NSError::localizedRecoverySuggestion() const {
  return *this ? textUnder(*bodyOf(object()), NSLocalizedRecoverySuggestionErrorKey) : NSString();
}

// ---- files --------------------------------------------------------------------------------------------------------

NSError fileError(FileOperation operation, int errorNumber, const NSString& path) {
  const bool reading = operation == FileOperation::kRead;
  NSInteger code = reading ? NSFileReadUnknownError : NSFileWriteUnknownError;
  switch (errorNumber) {
    case ENOENT: code = reading ? NSFileReadNoSuchFileError : NSFileNoSuchFileError; break;
    case EACCES:
    case EPERM: code = reading ? NSFileReadNoPermissionError : NSFileWriteNoPermissionError; break;
    case ENAMETOOLONG:
    case EINVAL: code = reading ? NSFileReadInvalidFileNameError : NSFileWriteInvalidFileNameError; break;
    case ENOMEM:
    case EOVERFLOW:
    case EFBIG: code = reading ? NSFileReadTooLargeError : NSFileWriteOutOfSpaceError; break;
    case EEXIST: code = reading ? NSFileReadUnknownError : NSFileWriteFileExistsError; break;
    case ENOSPC:
    case EDQUOT: code = reading ? NSFileReadUnknownError : NSFileWriteOutOfSpaceError; break;
    case EROFS: code = reading ? NSFileReadUnknownError : NSFileWriteVolumeReadOnlyError; break;
    default: break;
  }
  const NSError underlying = NSError::errorWithDomain_code_userInfo(NSPOSIXErrorDomain, errorNumber, nullptr);
  NSDictionary details;
  if (path)
    details = NSDictionary{{NSFilePathErrorKey, path}, {NSUnderlyingErrorKey, underlying}};
  else
    details = NSDictionary{{NSUnderlyingErrorKey, underlying}};
  return NSError::errorWithDomain_code_userInfo(NSCocoaErrorDomain, code, details);
}

}  // namespace kvt
