#include <KVTFoundation/KVTFoundation.h>

#include <iostream>

using namespace kvt;

// >>>
class Phone : public NSObject {
 public:
  NSString kind, number;
  KVT_MODEL(Phone, kind, number)
};

class Contact : public NSObject {
 public:
  NSString name, city;
  NSDate since;
  NSArray phones;
  static NSDictionary modelContainerPropertyGenericClass() { return {{"phones", classOf<Phone>()}}; }
  static NSDictionary modelCustomPropertyMapper() { return {{"name", "full_name"}, {"city", "address.city"}}; }
  KVT_MODEL(Contact, name, city, since, phones)
};
// <<<

int main() {
  // >>>
  Ref<Contact> ann = kvt_modelWithJSON<Contact>(R"({
    "full_name": "Ann", "since": "2014-01-20", "address": {"city": "Bergen"},
    "phones": [{"kind": "work", "number": "+47 55"}, {"kind": "home", "number": "+47 56"}]})");
  std::cout << ann->name << ", " << ann->city << ", " << ann->since << "\n";  // Ann, Bergen, 2014-01-20 00:00:00 +0000
  for (const id& each : ann->phones) std::cout << each.as<Phone>()->number << "; ";
  std::cout << ann->phones.count() << "\n";  // +47 55; +47 56; 2
  // <<<
}
