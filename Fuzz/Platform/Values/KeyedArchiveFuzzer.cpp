// Whatever the bytes: both ways to read an archive answer alike, make objects of allowed classes only, and what they
// read is written as an archive that reads as the same.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSKeyedArchiver.h>
#include <KVTPlatform/Values/NSKeyedUnarchiver.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>

using namespace kvt;

// Archives may say that objects hold each other in a circle. Those are never released.
extern "C" int __lsan_is_turned_off() { return 1; }

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

/// A client's class that takes every kind of value.
class Person : public NSObject {
 public:
  NSString name;
  NSDictionary table;
  Ref<Person> best;
  Weak<Person> parent;
  id anything;
  std::int64_t age = 0;
  double ratio = 0;
  bool flag = false;
  CGRect frame;
  NSData bytes;
  void encodeWithCoder(const NSCoder& coder) {
    coder.encodeObject_forKey(name, "name");
    coder.encodeObject_forKey(table, "table");
    coder.encodeObject_forKey(best, "best");
    coder.encodeConditionalObject_forKey(parent.lock(), "parent");
    coder.encodeObject_forKey(anything, "anything");
    coder.encodeInt64_forKey(age, "age");
    coder.encodeDouble_forKey(ratio, "ratio");
    coder.encodeBool_forKey(flag, "flag");
    coder.encodeRect_forKey(frame, "frame");
    coder.encodeBytes_length_forKey(bytes.bytes(), bytes.length(), "bytes");
  }
  id initWithCoder(const NSCoder& coder) {
    name = coder.decodeObjectOfClass<NSString>("name");
    table = coder.decodeObjectOfClass<NSDictionary>("table");
    best = coder.decodeObjectOfClass<Person>("best");
    parent = coder.decodeObjectOfClass<Person>("parent");
    anything = coder.decodeObjectForKey("anything");
    age = coder.decodeInt64ForKey("age");
    ratio = coder.decodeDoubleForKey("ratio");
    flag = coder.decodeBoolForKey("flag");
    frame = coder.decodeRectForKey("frame");
    NSUInteger length = 0;
    const std::uint8_t* start = coder.decodeBytesForKey_returnedLength("bytes", &length);
    bytes = NSData::dataWithBytes_length(start, length);
    return Ref<Person>(this);
  }
  static bool supportsSecureCoding() { return true; }
  KVT_CLASS(Person, name, table, best, parent, anything, age, ratio, flag, frame, bytes)
};

/// One that only the way without secure coding may make.
class Stray : public NSObject {
 public:
  static inline int made = 0;
  id initWithCoder(const NSCoder&) {
    ++made;
    return Ref<Stray>(this);
  }
  void encodeWithCoder(const NSCoder&) {}
  KVT_CLASS(Stray)
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const NSData data = NSData::dataWithBytes_length(bytes, size);

  NSError error;
  Stray::made = 0;
  const NSSet everything = {classOf<NSObject>()};
  const id secure = NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(everything, data, &error);
  require(Stray::made == 0);
  require(!(secure && error));
  require(!error || error.userInfo().objectForKey(NSDebugDescriptionErrorKey).as<NSString>().length() != 0);

  NSError narrowError;
  const id narrow = NSKeyedUnarchiver::unarchivedObjectOfClass<NSArray>(data, &narrowError);
  require(!narrow || narrow.is<NSArray>());

  id open;
  bool hasRaised = false;
  try {
    open = NSKeyedUnarchiver::unarchiveObjectWithData(data);
  } catch (const NSException& exception) {
    hasRaised = true;
    require(exception.reason().length() != 0);
  }
  // What may be made under restrictions may be made without.
  require(!secure || !hasRaised);
  if (!secure) return 0;

  const NSData archive = NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(secure, true, &error);
  if (!archive) return 0;  // a box of a pointer, or objects that hold each other deeper when walked in another order
  const id back = NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(everything, archive, &error);
  if (!back) return 0;
  const NSData again = NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(back, true, &error);
  require(again == archive);
  return 0;
}
