#include "Samples.h"

#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>

#include "Plan.h"

namespace kvt::tool {
namespace {

constexpr NSUInteger kEntries = 2;
constexpr NSUInteger kLongestText = 100;
/// Two entries a level double with every level: trees end here.
constexpr int kMostValues = 200;

/// Makes the copies. Which dictionaries are maps, the plan knows: an object keeps all its keys.
class Trimmer {
 public:
  NSDictionary object(const ClassPlan& cls, const NSDictionary& whole) {
    const NSMutableDictionary copy = NSMutableDictionary::dictionary();
    for (const auto& [key, value] : whole) {
      const PropertyPlan& property = *cls.byKey.at(key.as<NSString>().utf8());
      copy.setObject_forKey(trimmed(property, value), key);
    }
    return copy;
  }

 private:
  id trimmed(const PropertyPlan& property, const id& value) {
    const NSDictionary object = value.as<NSDictionary>();
    if (property.object != nullptr && object && budget_-- > 0) return this->object(*property.object, object);
    return plain(property.element, value);
  }

  /// Of arrays and maps the first entries, which become instances of `element` if there is one.
  id plain(const ClassPlan* element, const id& value) {
    if (const NSString text = value.as<NSString>()) {
      if (text.length() <= kLongestText) return text;
      const NSUInteger end = text.rangeOfComposedCharacterSequenceAtIndex(kLongestText).location;
      return text.substringToIndex(end) + NSString("…");
    }
    const auto entry = [&](const id& each) -> id {
      const NSDictionary object = each.as<NSDictionary>();
      return element != nullptr && object ? this->object(*element, object) : plain(nullptr, each);
    };
    if (const NSArray array = value.as<NSArray>()) {
      const NSMutableArray copy = NSMutableArray::array();
      for (const id& each : array) {
        if (copy.count() == kEntries || budget_-- <= 0) break;
        copy.addObject(entry(each));
      }
      return copy;
    }
    if (const NSDictionary map = value.as<NSDictionary>()) {
      const NSMutableDictionary copy = NSMutableDictionary::dictionary();
      for (const auto& [key, each] : map) {
        if (copy.count() == kEntries || budget_-- <= 0) break;
        copy.setObject_forKey(entry(each), key);
      }
      return copy;
    }
    return value;
  }

  int budget_ = kMostValues;
};

/// The dictionaries that become the first models.
std::vector<NSDictionary> firstObjects(const Plan& plan, const id& document) {
  if (plan.topLevel == TopLevel::kObject) return {document.as<NSDictionary>()};
  const NSArray all =
      plan.topLevel == TopLevel::kArray ? document.as<NSArray>() : document.as<NSDictionary>().allValues();
  std::vector<NSDictionary> first;
  for (const id& each : all) {
    if (const NSDictionary object = each.as<NSDictionary>()) first.push_back(object);
    if (first.size() == kEntries) break;
  }
  return first;
}

}  // namespace

std::vector<std::string> sampleDescriptions(const Plan& plan, const id& document) {
  std::vector<std::string> descriptions;
  for (const NSDictionary& object : firstObjects(plan, document)) {
    const id model = kvt_modelWithDictionary(plan.top().cls, Trimmer().object(plan.top(), object));
    descriptions.push_back(kvt_modelDescription(model).str());
  }
  return descriptions;
}

}  // namespace kvt::tool
