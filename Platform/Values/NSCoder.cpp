#include "NSCoder.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Raise.h>

#include "ArchivedGeometry.h"
#include "ArchivedValues.h"
#include "NSObject.h"
#include "NSSet.h"
#include "NSString.h"

namespace kvt {

CoderKey::CoderKey(const NSString& text) : text_(text.utf8()) {}

namespace {

ArchiverBody& encoder(const NSCoder& coder, const char* operation) {
  if (ArchiverBody* body = ArchiverBody::of(coder.object())) return *body;
  objc_raise("NSInvalidArgumentException", std::string("-[NSKeyedUnarchiver ") + operation + "]: this coder decodes");
}

UnarchiverBody& decoder(const NSCoder& coder, const char* operation) {
  if (UnarchiverBody* body = UnarchiverBody::of(coder.object())) return *body;
  objc_raise("NSInvalidArgumentException", std::string("-[NSKeyedArchiver ") + operation + "]: this coder encodes");
}

template <class T>
T integerFor(const NSCoder& coder, const CoderKey& key, const char* operation) {
  if (!coder) return 0;
  std::int64_t value = 0;
  using Limits = std::numeric_limits<T>;
  const ArchiveKey name(key);
  return decoder(coder, operation).integer(name.text(), Limits::min(), Limits::max(), value) ? static_cast<T>(value)
                                                                                             : T();
}

template <class T>
T geometryFor(const NSCoder& coder, const CoderKey& key, const char* operation) {
  T value{};
  if (!coder) return value;
  UnarchiverBody& unarchiver = decoder(coder, operation);
  const ArchiveKey name(key);
  const auto text = unarchiver.part<NSString>(name.text());
  if (!text || archive::parse(text.str(), value)) return value;
  unarchiver.fail("The text for key '" + std::string(name.text().substr(0, 128)) + "' is no geometry.");
  return T{};
}

}  // namespace

// ---- encoding -----------------------------------------------------------------------------------------------------

void NSCoder::encodeObject_forKey(const Boxed& object, const CoderKey& key) const {
  if (*this) encoder(*this, "encodeObject:forKey:").putObject(object.object().object(), ArchiveKey(key).text());
}
void NSCoder::encodeConditionalObject_forKey(const id& object, const CoderKey& key) const {
  if (!*this) return;
  encoder(*this, "encodeConditionalObject:forKey:").putConditionalObject(object.object(), ArchiveKey(key).text());
}
void NSCoder::encodeBool_forKey(bool value, const CoderKey& key) const {
  if (!*this) return;
  ArchiverBody& archiver = encoder(*this, "encodeBool:forKey:");
  archiver.put(ArchiveKey(key).text(), archiver.list.boolean(value));
}
void NSCoder::encodeInt_forKey(int value, const CoderKey& key) const { encodeInt64_forKey(value, key); }
void NSCoder::encodeInt32_forKey(std::int32_t value, const CoderKey& key) const { encodeInt64_forKey(value, key); }
void NSCoder::encodeInt64_forKey(std::int64_t value, const CoderKey& key) const {
  if (!*this) return;
  ArchiverBody& archiver = encoder(*this, "encodeInt64:forKey:");
  archiver.put(ArchiveKey(key).text(), archiver.list.integer(value));
}
void NSCoder::encodeInteger_forKey(NSInteger value, const CoderKey& key) const { encodeInt64_forKey(value, key); }
void NSCoder::encodeFloat_forKey(float value, const CoderKey& key) const {
  if (!*this) return;
  ArchiverBody& archiver = encoder(*this, "encodeFloat:forKey:");
  archiver.put(ArchiveKey(key).text(), archiver.list.real(value));
}
void NSCoder::encodeDouble_forKey(double value, const CoderKey& key) const {
  if (!*this) return;
  ArchiverBody& archiver = encoder(*this, "encodeDouble:forKey:");
  archiver.put(ArchiveKey(key).text(), archiver.list.real(value));
}
void NSCoder::encodeBytes_length_forKey(const void* bytes, NSUInteger length, const CoderKey& key) const {
  if (!*this) return;
  ArchiverBody& archiver = encoder(*this, "encodeBytes:length:forKey:");
  const std::string_view view(static_cast<const char*>(bytes), bytes != nullptr ? length : 0);
  archiver.put(ArchiveKey(key).text(), archiver.list.data(view));
}
void NSCoder::encodePoint_forKey(CGPoint point, const CoderKey& key) const {
  encodeObject_forKey(archive::textOf(point), key);
}
void NSCoder::encodeSize_forKey(CGSize size, const CoderKey& key) const {
  encodeObject_forKey(archive::textOf(size), key);
}
void NSCoder::encodeRect_forKey(CGRect rect, const CoderKey& key) const {
  encodeObject_forKey(archive::textOf(rect), key);
}

// ---- decoding -----------------------------------------------------------------------------------------------------

bool NSCoder::containsValueForKey(const CoderKey& key) const {
  return *this && decoder(*this, "containsValueForKey:").find(ArchiveKey(key).text()) != nullptr;
}
id NSCoder::decodeObjectForKey(const CoderKey& key) const {
  return *this ? decoder(*this, "decodeObjectForKey:").decode(ArchiveKey(key).text(), nullptr) : id();
}
id NSCoder::decodeObjectOfClass_forKey(Class cls, const CoderKey& key) const {
  if (!*this) return id();
  const UnarchiverBody::Classes classes{cls};
  return decoder(*this, "decodeObjectOfClass:forKey:").decode(ArchiveKey(key).text(), &classes);
}
id NSCoder::decodeObjectOfClasses_forKey(const NSSet& classes, const CoderKey& key) const {
  if (!*this) return id();
  UnarchiverBody::Classes list;
  for (const id& each : classes) list.push_back(each.asClass());
  return decoder(*this, "decodeObjectOfClasses:forKey:").decode(ArchiveKey(key).text(), &list);
}
id NSCoder::decodePropertyListForKey(const CoderKey& key) const {
  if (!*this) return id();
  return decoder(*this, "decodePropertyListForKey:").decode(ArchiveKey(key).text(), &archive::propertyListClasses());
}
bool NSCoder::decodeBoolForKey(const CoderKey& key) const {
  bool value = false;
  return *this && decoder(*this, "decodeBoolForKey:").boolean(ArchiveKey(key).text(), value) && value;
}
int NSCoder::decodeIntForKey(const CoderKey& key) const { return integerFor<int>(*this, key, "decodeIntForKey:"); }
std::int32_t NSCoder::decodeInt32ForKey(const CoderKey& key) const {
  return integerFor<std::int32_t>(*this, key, "decodeInt32ForKey:");
}
std::int64_t NSCoder::decodeInt64ForKey(const CoderKey& key) const {
  return integerFor<std::int64_t>(*this, key, "decodeInt64ForKey:");
}
NSInteger NSCoder::decodeIntegerForKey(const CoderKey& key) const {
  return integerFor<NSInteger>(*this, key, "decodeIntegerForKey:");
}
float NSCoder::decodeFloatForKey(const CoderKey& key) const { return static_cast<float>(decodeDoubleForKey(key)); }
double NSCoder::decodeDoubleForKey(const CoderKey& key) const {
  double value = 0;
  return *this && decoder(*this, "decodeDoubleForKey:").real(ArchiveKey(key).text(), value) ? value : 0;
}
const std::uint8_t* NSCoder::decodeBytesForKey_returnedLength(const CoderKey& key, NSUInteger* length) const {
  if (length != nullptr) *length = 0;
  if (!*this) return nullptr;
  UnarchiverBody& unarchiver = decoder(*this, "decodeBytesForKey:returnedLength:");
  const ArchiveKey name(key);
  const PropertyListNode* node = unarchiver.find(name.text());
  if (node == nullptr) return nullptr;
  if (node->type != PropertyListNode::Type::kData) {
    unarchiver.fail("The value for key '" + std::string(name.text().substr(0, 128)) + "' is no data.");
    return nullptr;
  }
  if (length != nullptr) *length = node->size;
  return reinterpret_cast<const std::uint8_t*>(node->bytes);
}
CGPoint NSCoder::decodePointForKey(const CoderKey& key) const {
  return geometryFor<CGPoint>(*this, key, "decodePointForKey:");
}
CGSize NSCoder::decodeSizeForKey(const CoderKey& key) const {
  return geometryFor<CGSize>(*this, key, "decodeSizeForKey:");
}
CGRect NSCoder::decodeRectForKey(const CoderKey& key) const {
  return geometryFor<CGRect>(*this, key, "decodeRectForKey:");
}

// ---- both ---------------------------------------------------------------------------------------------------------

bool NSCoder::allowsKeyedCoding() const noexcept { return static_cast<bool>(*this); }
bool NSCoder::requiresSecureCoding() const noexcept { return *this && CoderBody::of(object())->requiresSecureCoding; }
NSSet NSCoder::allowedClasses() const {
  const UnarchiverBody* body = UnarchiverBody::of(object());
  const UnarchiverBody::Classes* classes = body != nullptr ? body->allowedClasses() : nullptr;
  return classes != nullptr ? NSSet::setWithRange(*classes) : NSSet();
}
NSDecodingFailurePolicy NSCoder::decodingFailurePolicy() const noexcept {
  return *this ? CoderBody::of(object())->policy : NSDecodingFailurePolicyRaiseException;
}
void NSCoder::failWithError(const NSError& failure) const {
  if (!failure) return;
  if (UnarchiverBody* body = UnarchiverBody::of(object())) return body->fail(failure);
  if (CoderBody* body = CoderBody::of(object()); body != nullptr && !body->error) body->error = failure;
}
NSError NSCoder::error() const { return *this ? CoderBody::of(object())->error : NSError(); }

// ---- the class ----------------------------------------------------------------------------------------------------
// What a message sees: keys are strings, and objects are objects.

namespace {

template <auto Operation>
struct Keyed;
template <class Result, Result (NSCoder::*Operation)(const CoderKey&) const>
struct Keyed<Operation> {
  static Result decode(const NSCoder& self, const NSString& key) { return (self.*Operation)(key); }
};
template <class Value, void (NSCoder::*Operation)(Value, const CoderKey&) const>
struct Keyed<Operation> {
  static void encode(const NSCoder& self, Value value, const NSString& key) { (self.*Operation)(value, key); }
};

void encodeObject(const NSCoder& self, const id& object, const NSString& key) { self.encodeObject_forKey(object, key); }
void encodeConditionalObject(const NSCoder& self, const id& object, const NSString& key) {
  self.encodeConditionalObject_forKey(object, key);
}
void encodeBytes(const NSCoder& self, const void* bytes, NSUInteger length, const NSString& key) {
  self.encodeBytes_length_forKey(bytes, length, key);
}
id decodeOfClass(const NSCoder& self, Class cls, const NSString& key) {
  return self.decodeObjectOfClass_forKey(cls, key);
}
id decodeOfClasses(const NSCoder& self, const NSSet& classes, const NSString& key) {
  return self.decodeObjectOfClasses_forKey(classes, key);
}
const std::uint8_t* decodeBytes(const NSCoder& self, const NSString& key, NSUInteger* length) {
  return self.decodeBytesForKey_returnedLength(key, length);
}

}  // namespace

Class NSCoder::kvtClass() {
  static const Class cls = [] {
    using Self = NSCoder;
    ClassBuilder<Self> c("NSCoder", classOf<NSObject>());
    c.method<&encodeObject>("encodeObject:forKey:");
    c.method<&encodeConditionalObject>("encodeConditionalObject:forKey:");
    c.method<&Keyed<&Self::encodeBool_forKey>::encode>("encodeBool:forKey:");
    c.method<&Keyed<&Self::encodeInt_forKey>::encode>("encodeInt:forKey:");
    c.method<&Keyed<&Self::encodeInt32_forKey>::encode>("encodeInt32:forKey:");
    c.method<&Keyed<&Self::encodeInt64_forKey>::encode>("encodeInt64:forKey:");
    c.method<&Keyed<&Self::encodeInteger_forKey>::encode>("encodeInteger:forKey:");
    c.method<&Keyed<&Self::encodeFloat_forKey>::encode>("encodeFloat:forKey:");
    c.method<&Keyed<&Self::encodeDouble_forKey>::encode>("encodeDouble:forKey:");
    c.method<&encodeBytes>("encodeBytes:length:forKey:");
    c.method<&Keyed<&Self::encodePoint_forKey>::encode>("encodePoint:forKey:");
    c.method<&Keyed<&Self::encodeSize_forKey>::encode>("encodeSize:forKey:");
    c.method<&Keyed<&Self::encodeRect_forKey>::encode>("encodeRect:forKey:");
    c.method<&Keyed<&Self::containsValueForKey>::decode>("containsValueForKey:");
    c.method<&Keyed<&Self::decodeObjectForKey>::decode>("decodeObjectForKey:");
    c.method<&decodeOfClass>("decodeObjectOfClass:forKey:");
    c.method<&decodeOfClasses>("decodeObjectOfClasses:forKey:");
    c.method<&Keyed<&Self::decodePropertyListForKey>::decode>("decodePropertyListForKey:");
    c.method<&Keyed<&Self::decodeBoolForKey>::decode>("decodeBoolForKey:");
    c.method<&Keyed<&Self::decodeIntForKey>::decode>("decodeIntForKey:");
    c.method<&Keyed<&Self::decodeInt32ForKey>::decode>("decodeInt32ForKey:");
    c.method<&Keyed<&Self::decodeInt64ForKey>::decode>("decodeInt64ForKey:");
    c.method<&Keyed<&Self::decodeIntegerForKey>::decode>("decodeIntegerForKey:");
    c.method<&Keyed<&Self::decodeFloatForKey>::decode>("decodeFloatForKey:");
    c.method<&Keyed<&Self::decodeDoubleForKey>::decode>("decodeDoubleForKey:");
    c.method<&decodeBytes>("decodeBytesForKey:returnedLength:");
    c.method<&Keyed<&Self::decodePointForKey>::decode>("decodePointForKey:");
    c.method<&Keyed<&Self::decodeSizeForKey>::decode>("decodeSizeForKey:");
    c.method<&Keyed<&Self::decodeRectForKey>::decode>("decodeRectForKey:");
    c.method<&Self::allowsKeyedCoding>("allowsKeyedCoding");
    c.method<&Self::requiresSecureCoding>("requiresSecureCoding");
    c.method<&Self::allowedClasses>("allowedClasses").method<&Self::error>("error");
    c.method<&Self::decodingFailurePolicy>("decodingFailurePolicy");
    c.method<&Self::failWithError>("failWithError:");
    c.createWith([](Class) -> Object* { return nullptr; });
    return c.registerClass();
  }();
  return cls;
}

bool NSCoder::kvtAccepts(const Object* object) noexcept { return CoderBody::of(object) != nullptr; }

[[maybe_unused]] static const bool registered = (classOf<NSCoder>(), true);

}  // namespace kvt
