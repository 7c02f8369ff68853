#include "ArchiverBody.h"

#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Runtime/Raise.h>

#include <algorithm>

#include "NSData.h"
#include "NSStringBody.h"
#include "NSStringUnicode.h"
#include "PropertyListDocument.h"

namespace kvt {
namespace {

const SEL kEncodeWithCoder = "encodeWithCoder:";
const SEL kReplacement = "replacementObjectForKeyedArchiver:";
const SEL kSupportsSecureCoding = "supportsSecureCoding";

constexpr std::int64_t kArchiveVersion = 100000;

[[noreturn]] void raiseInvalidOperation(const std::string& reason) {
  objc_raise("NSInvalidArchiveOperationException", reason);
}

bool classesInOrder(Class a, Class b) { return std::less<>()(a.body(), b.body()); }

}  // namespace

ArchiveKey::ArchiveKey(const CoderKey& key) : text_(key.text()) {
  if (text_.data() == nullptr) objc_raise("NSInvalidArgumentException", "a coder was given a nil key");
  if (!unicode::isASCII(text_.data(), text_.size()) && !unicode::isUTF8(text_.data(), text_.size())) {
    objc_raise("NSInvalidArgumentException", "a coder was given a key that is not UTF-8");
  }
  if (!text_.starts_with('$')) return;
  escaped_ = "$";
  escaped_ += text_;
  text_ = escaped_;
}

bool classSupportsSecureCoding(Class cls) {
  return class_getClassMethod(cls, kSupportsSecureCoding) != nullptr && objc_msgSend<bool>(cls, kSupportsSecureCoding);
}

/// Opens an object; what it has encoded and does not take with it is gone afterwards, whatever was raised meanwhile.
class ArchiverBody::FrameScope {
 public:
  FrameScope(ArchiverBody& archiver, KnownClass& known)
      : archiver_(archiver),
        frame_{&known, archiver.frame_, archiver.keys_.size()},
        scratch_(archiver.scratch_.size()) {
    archiver.frame_ = &frame_;
    ++archiver.depth_;
  }
  FrameScope(const FrameScope&) = delete;
  FrameScope& operator=(const FrameScope&) = delete;
  ~FrameScope() {
    archiver_.frame_ = frame_.outer;
    archiver_.keys_.resize(frame_.base);
    archiver_.values_.resize(frame_.base);
    archiver_.scratch_.resize(scratch_);
    --archiver_.depth_;
  }

 private:
  ArchiverBody& archiver_;
  Frame frame_;
  const std::size_t scratch_;
};

ArchiverBody::ArchiverBody(Class cls)
    : CoderBody(cls, true),
      classNames(&classesInOrder),
      stringClass_(classOf<NSString>().body()),
      numberClass_(classOf<NSNumber>().body()),
      dataClass_(classOf<NSData>().body()),
      null_(list.text(kArchiveNull)),
      classKey_(list.text("$class")),
      objects_{null_},
      topFrame_{&top_, nullptr, 0},
      frame_(&topFrame_) {}

ArchiverBody::~ArchiverBody() {
  for (const auto& [object, uid] : uids_) ObjectAccess::release(object);
}

// ---- values -------------------------------------------------------------------------------------------------------

PropertyListValue ArchiverBody::put(std::string_view key, Value value) {
  if (isFinished) raiseInvalidOperation("an archiver that has finished cannot encode");
  Frame& frame = *frame_;
  std::vector<KnownKey>& known = frame.known->keys;
  if (frame.isRegular) {
    for (std::size_t i = frame.expected; i < known.size(); ++i) {
      if (!known[i].says(key)) continue;
      frame.expected = i + 1;
      push(known[i].value, value);
      return known[i].value;
    }
  }
  const Value name = list.text(key);
  for (std::size_t i = frame.base; i < keys_.size(); ++i) {
    if (keys_[i] != name) continue;
    values_[i] = value;
    return name;
  }
  // Known keys are different ones: so are those of an object that has kept their order.
  const auto isName = [name](const KnownKey& each) { return each.value == name; };
  if (frame.isRegular && frame.expected == known.size() && std::none_of(known.begin(), known.end(), isName)) {
    known.push_back({std::string(key), name});
    ++frame.expected;
  } else {
    frame.isRegular = false;
  }
  push(name, value);
  return name;
}

PropertyListValue ArchiverBody::number(NumberBody::Type type, std::int64_t integer, double real) {
  switch (type) {
    case NumberBody::Type::kBool: return list.boolean(integer != 0);
    case NumberBody::Type::kUInt64: return list.unsignedInteger(static_cast<std::uint64_t>(integer));
    case NumberBody::Type::kFloat: return list.real(static_cast<float>(real));
    case NumberBody::Type::kDouble: return list.real(real);
    default: return list.integer(integer);
  }
}

PropertyListValue ArchiverBody::takeScratch(std::size_t base) {
  const Value array = list.array(scratch_.data() + base, scratch_.size() - base);
  scratch_.resize(base);
  return array;
}

// ---- objects ------------------------------------------------------------------------------------------------------

std::uint32_t ArchiverBody::uidOfScalar(Value scalar) {
  if (scalar.number() >= scalarUIDs_.size()) {
    scalarUIDs_.resize(std::max<std::size_t>(scalar.number() + 1, scalarUIDs_.size() * 2));
  }
  std::uint32_t& uid = scalarUIDs_[scalar.number()];
  if (uid == 0) {
    uid = static_cast<std::uint32_t>(objects_.size());
    objects_.push_back(scalar);
  }
  return uid;
}

std::uint32_t ArchiverBody::uidOfPlain(const Object* object) {
  switch (kindOf(object)) {
    case kStringKind: {
      // What says the same as nil's place is an object of its own.
      const auto& text = *static_cast<const StringBody*>(object);
      if (ObjectAccess::isa(object) != stringClass_ ||
          (text.size == kArchiveNull.size() && text.utf8() == kArchiveNull)) {
        return 0;
      }
      return uidOfScalar(list.text(text));
    }
    case kNumberKind: {
      if (ObjectAccess::isa(object) != numberClass_) return 0;
      const auto& body = *static_cast<const NumberBody*>(object);
      return uidOfScalar(number(body.type, body.integer, body.real));
    }
    case kDataKind:
      if (ObjectAccess::isa(object) != dataClass_) return 0;
      return uidOfScalar(list.data(NSData(borrow, object).view()));
    default: return 0;
  }
}

void ArchiverBody::addPlace(const Object* object) {
  ObjectAccess::retain(object);
  objects_.push_back(null_);
}

std::uint32_t ArchiverBody::uidOf(const Object* object) {
  if (isFinished) raiseInvalidOperation("an archiver that has finished cannot encode");
  if (object == nullptr) return 0;
  if (const std::uint32_t uid = uidOfPlain(object)) return uid;
  KnownClass& known = knownClass(object);
  if (known.hasReplacement) {
    const Object* const other = replacementOf(object);
    if (other != object) return uidOf(other);
  }
  const auto [place, isNew] = uids_.try_emplace(object, static_cast<std::uint32_t>(objects_.size()));
  const std::uint32_t uid = place->second & ~kConditional;
  if (isNew)
    addPlace(object);
  else if (place->second == uid)
    return uid;
  else
    place->second = uid;
  encode(object, known, uid);
  return uid;
}

std::uint32_t ArchiverBody::conditionalUIDOf(const Object* object) {
  if (isFinished) raiseInvalidOperation("an archiver that has finished cannot encode");
  if (object == nullptr) return 0;
  if (const std::uint32_t uid = uidOfPlain(object)) return uid;
  if (knownClass(object).hasReplacement) {
    const Object* const other = replacementOf(object);
    if (other != object) return conditionalUIDOf(other);
  }
  const auto uid = static_cast<std::uint32_t>(objects_.size());
  const auto [place, isNew] = uids_.try_emplace(object, uid | kConditional);
  if (isNew) addPlace(object);
  return place->second & ~kConditional;
}

/// Asked once for each object.
const Object* ArchiverBody::replacementOf(const Object* object) {
  if (const auto found = replacements_.find(object); found != replacements_.end()) return found->second;
  const id held(borrow, object);
  const id replacement = objc_msgSend<id>(held, kReplacement, id(borrow, this));
  held_.push_back(held);
  held_.push_back(replacement);
  return replacements_[object] = replacement.object();
}

void ArchiverBody::encode(const Object* object, KnownClass& known, std::uint32_t uid) {
  if (depth_ == kArchiveMaximumDepth) {
    raiseInvalidOperation("objects are nested more than " + std::to_string(kArchiveMaximumDepth) +
                          " deep in an archive");
  }
  const FrameScope scope(*this, known);
  if (known.generation != objc_runtimeGeneration()) lookUpMethod(known, object);
  const auto imp = reinterpret_cast<void (*)(Object*, SEL, Object*)>(method_getImplementation(known.encode));
  imp(const_cast<Object*>(object), kEncodeWithCoder, this);
  push(classKey_, Value::uid(uidOfClass(known)));
  const std::size_t base = frame_->base;
  objects_[uid] = list.dictionary(keys_.data() + base, values_.data() + base, keys_.size() - base);
}

/// Once for each class, and again when the run time has changed.
void ArchiverBody::lookUpMethod(KnownClass& known, const Object* object) {
  char type = 0;
  known.generation = objc_runtimeGeneration();
  // Raises unless there is one that takes an object and answers nothing.
  static_cast<void>(detail::implementationFor(object, known.cls, kEncodeWithCoder, "v@", 2, &type));
  known.encode = class_getInstanceMethod(known.cls, kEncodeWithCoder);
}

// ---- classes ------------------------------------------------------------------------------------------------------

ArchiverBody::KnownClass& ArchiverBody::findClass(ClassBody* body) {
  if (const auto found = classes_.find(body); found != classes_.end()) return *found->second;
  const Class cls(body);
  if (requiresSecureCoding && !classSupportsSecureCoding(cls)) {
    raiseInvalidOperation(std::string("This encoder will only encode classes that adopt NSSecureCoding. Class '") +
                          class_getName(cls) + "' does not adopt it.");
  }
  KnownClass& known = knownClasses_.emplace_back();
  known.cls = cls;
  known.hasReplacement = class_respondsToSelector(cls, kReplacement);
  classes_.emplace(body, &known);
  return known;
}

std::uint32_t ArchiverBody::uidOfClass(KnownClass& known) {
  if (known.uid != 0) return known.uid;
  const auto text = [this](const std::string& name) {
    if (!unicode::isUTF8(name.data(), name.size())) raiseInvalidOperation("a class has a name that is not UTF-8");
    return list.text(name);
  };
  const Value name = text(nameOf(known.cls));
  const std::size_t base = scratch_.size();
  scratch_.push_back(name);
  for (Class each = class_getSuperclass(known.cls); each; each = class_getSuperclass(each)) {
    scratch_.push_back(text(class_getName(each)));
  }
  const Value keys[2] = {list.text("$classname"), list.text("$classes")};
  const Value values[2] = {name, takeScratch(base)};
  known.uid = static_cast<std::uint32_t>(objects_.size());
  objects_.push_back(list.dictionary(keys, values, 2));
  return known.uid;
}

std::string ArchiverBody::nameOf(Class cls) const {
  if (const auto found = classNames.find(cls); found != classNames.end()) return found->second.str();
  if (const NSString name = NSKeyedArchiver::classNameForClass_class(cls)) return name.str();
  return class_getName(cls);
}

// ---- the end ------------------------------------------------------------------------------------------------------

void ArchiverBody::finish() {
  if (isFinished) return;
  if (frame_ != &topFrame_) raiseInvalidOperation("an archiver cannot finish while it encodes an object");
  isFinished = true;
  if (error) return;
  const Value keys[4] = {list.text("$version"), list.text("$archiver"), list.text("$top"), list.text("$objects")};
  const Value values[4] = {list.integer(kArchiveVersion), list.text("NSKeyedArchiver"),
                           list.dictionary(keys_.data(), values_.data(), keys_.size()),
                           list.array(objects_.data(), objects_.size())};
  NSData archive = list.finish(list.dictionary(keys, values, 4), static_cast<std::uint32_t>(objects_.size()));
  if (format == NSPropertyListXMLFormat_v1_0) {
    PropertyListFailure failure;
    archive = xmlOfBinaryPropertyList(archive, failure);
    if (!archive) raiseInvalidOperation("the archive has no XML form: " + failure.reason);
  }
  encoded = archive;
  target.setData(archive);
}

}  // namespace kvt
