// What the test of gdb's printers looks at: it stops in `stopHere` with one variable of each kind in its caller.
#include <KVTFoundation/KVTFoundation.h>

#include <cmath>
#include <cstdint>

using namespace kvt;

class Address : public NSObject {
 public:
  NSString city;
  KVT_CLASS(Address, city)
};

class Person : public NSObject {
 public:
  int64_t uid = 0;
  NSString name;
  Ref<Address> address;
  Ref<Person> self;
  KVT_CLASS(Person, uid, name, address, self)
};

extern "C" [[gnu::noinline]] void stopHere() { asm volatile(""); }

int main() {
  const NSString nilText;
  const NSString text = "say \"hi\"\n";
  const NSString empty = "";
  const NSString unicode = "Zoë 日本 😀";
  const NSString halfPair = std::u16string_view(u"a\xD800z");
  NSMutableString built = NSMutableString::string();
  built.appendString("grown");

  const NSNumber truth = true;
  const NSNumber small = -7;
  const NSNumber large = UINT64_MAX;
  const NSNumber real = 0.1;
  const NSNumber single = 2.5f;
  const NSDecimalNumber decimal = NSDecimalNumber::decimalNumberWithString("-123456789012345678901234567.25");
  const NSNull null = NSNull::null();
  const NSDate date = NSDate::dateWithTimeIntervalSince1970(1390220688.5);
  const NSDate never = NSDate::dateWithTimeIntervalSinceReferenceDate(INFINITY);
  const NSData data = NSData::dataWithBytes_length("\x01\xFFkvt", 5);

  const NSArray nilArray;
  const NSArray row = {1, "two", NSNull::null(), NSArray({2.5})};
  NSMutableDictionary pairs = NSMutableDictionary::dictionary();
  pairs.setObject_forKey(NSNumber(1), NSString("gone"));
  pairs.setObject_forKey(NSString("Zoë"), NSString("name"));
  pairs.setObject_forKey(row, NSString("row"));
  pairs.removeObjectForKey(NSString("gone"));
  const NSSet members = {"only"};

  const id nilObject;
  const id anyText = text;
  const id anyNumber = small;
  const id anyPairs = pairs;
  const id anyClass = classOf<Person>();

  Ref<Address> home = make<Address>();
  home->city = "Bergen";
  Ref<Person> person = make<Person>();
  person->uid = 42;
  person->name = "Ann";
  person->address = home;
  const Ref<Person> nobody;
  const id anyPerson = person;

  const Class nilClass;
  const Class cls = classOf<NSString>();
  const SEL nilSelector;
  const SEL selector = "setObject:forKey:";

  stopHere();
  return 0;
}
