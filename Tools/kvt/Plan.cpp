#include "Plan.h"

#include <algorithm>

#include "Command.h"
#include "Naming.h"
#include "Schema.h"
#include "Text.h"

namespace kvt::tool {
namespace {

/// A document that nests a new kind of object everywhere shall not become a million classes.
constexpr std::size_t kMostClasses = 4096;
constexpr std::size_t kMostProperties = 65'536;

constexpr const char* kAnyObject = "@";
constexpr const char* kNumber = "@\"NSNumber\"";

/// Whether the shape can be a class: it has a key that can be mapped, and holds for all objects of its place.
bool canBeClass(const Shape& shape) {
  if (shape.isMap || (shape.unlike && !shape.isTop)) return false;
  return std::any_of(shape.members.begin(), shape.members.end(),
                     [](const Member& member) { return !member.key.empty(); });
}

std::string numberEncoding(const Observed& values, bool isOptional) {
  const unsigned kinds = values.kinds();
  if ((kinds & kDecimal) != 0) return (kinds & kReal) != 0 ? kNumber : "@\"NSDecimalNumber\"";
  // A number that some objects lack must be able to be nil: 0 would be written where nothing was.
  if (isOptional) return kNumber;
  if ((kinds & kReal) != 0) return (kinds & kInteger) != 0 && values.aboveDouble ? kNumber : "d";
  if (values.aboveInt64) return values.negative ? kNumber : "Q";
  return "q";
}

class Planner {
 public:
  explicit Planner(Plan& plan) : plan_(plan) {}

  const ClassPlan* classFor(const Shape& shape, const std::string& name, const std::string& place) {
    if (auto known = plans_.find(&shape); known != plans_.end()) return known->second;
    ClassPlan& cls = *plan_.classes.emplace_back(std::make_unique<ClassPlan>());
    plans_.emplace(&shape, &cls);
    cls.name = name;
    cls.place = place;
    cls.objects = shape.objects;
    plan_.objects += shape.objects;
    properties_ += shape.members.size();

    std::vector<std::string_view> keys;
    for (const Member& member : shape.members) keys.push_back(member.key);
    const std::vector<std::string> given = propertyNames(keys);
    cls.properties.resize(given.size());
    for (std::size_t i = 0; i < given.size(); ++i) {
      PropertyPlan& property = cls.properties[i];
      property.key = shape.members[i].key;
      property.name = given[i];
      property.present = shape.members[i].values.total();
      cls.byKey.emplace(property.key, &property);
      giveType(property, shape.members[i].values, property.present < shape.objects, cls);
    }
    return &cls;
  }

  ClassNames names;

 private:
  /// The class of a nested shape; none when it can be none, or when there are too many.
  template <class MakeName>
  const ClassPlan* nestedClass(const Shape* shape, const MakeName& makeName, const std::string& place) {
    if (shape == nullptr || !canBeClass(*shape)) return nullptr;
    if (auto known = plans_.find(shape); known != plans_.end()) return known->second;
    if (plan_.classes.size() >= kMostClasses || properties_ + shape->members.size() > kMostProperties) {
      ++plan_.dictionaries;
      return nullptr;
    }
    return classFor(*shape, makeName(), place);
  }

  void giveType(PropertyPlan& property, const Observed& values, bool isMissing, const ClassPlan& owner) {
    const unsigned kinds = values.kinds();
    const bool isOptional = isMissing || values.nulls > 0;
    const std::string place = owner.place + pathStep(property.key);
    const auto elementName = [&] { return names.elementNameFor(property.key, owner.name); };
    property.encoding = kAnyObject;
    if (kinds == kBoolean) {
      property.encoding = isOptional ? kNumber : "B";
    } else if (kinds != 0 && (kinds & ~kNumeric) == 0) {
      property.encoding = numberEncoding(values, isOptional);
    } else if (kinds == kText) {
      property.encoding = "@\"NSString\"";
    } else if (kinds == kArray) {
      property.encoding = "@\"NSArray\"";
      // Of arrays that hold anything else than objects, an element class would drop the rest.
      if (values.elements->kinds() == kObject)
        property.element = nestedClass(values.elements->shape, elementName, place + "[]");
    } else if (kinds == kObject) {
      const auto ownName = [&] { return names.nameFor(property.key, owner.name); };
      property.object = nestedClass(values.shape, ownName, place);
      property.isMap = values.shape->isMap;
      if (property.isMap && values.shape->mapped.kinds() == kObject) {
        property.element = nestedClass(values.shape->mapped.shape, elementName, place + "{}");
      }
      property.encoding = property.object != nullptr ? "@\"" + property.object->name + "\"" : "@\"NSDictionary\"";
    }
  }

  Plan& plan_;
  std::unordered_map<const Shape*, ClassPlan*> plans_;
  std::size_t properties_ = 0;
};

[[noreturn]] void nothingToMap(std::string_view name, const Schema& schema) {
  const Observed& top = schema.top();
  std::string what = "an array without objects";
  if (top.shape != nullptr) {
    const Shape& shape = *top.shape;
    if (shape.isMap)
      what =
          "an object of more than " + grouped(Schema::kMostKeysAtTop) + " keys that do not lead to objects of one kind";
    else
      what = shape.members.empty() ? "an empty object" : "an object whose only key is \"\"";
  } else if (top.elements != nullptr && top.elements->total() == 0) {
    what = "an empty array";
  } else if (top.elements != nullptr && top.elements->shape != nullptr) {
    what = top.elements->shape->isMap
               ? "an array of objects with more than " + grouped(Schema::kMostKeysAtTop) + " different keys"
               : "an array of objects without keys";
  }
  throw Failure(ExitStatus::kBadData, std::string(name) + ": there is nothing to map, the document is " + what);
}

}  // namespace

bool PropertyPlan::isPath() const noexcept {
  // Empty parts do not count.
  const std::size_t first = key.find_first_not_of('.');
  const std::size_t point = key.find('.', std::min(first, key.size()));
  return point != std::string::npos && key.find_first_not_of('.', point) != std::string::npos;
}

bool ClassPlan::hasPaths() const noexcept {
  return std::any_of(properties.begin(), properties.end(), [](const PropertyPlan& each) { return each.isPath(); });
}

Plan makePlan(const Schema& schema, std::string_view name) {
  Plan plan;
  const Shape* shape = schema.top().shape;
  std::string className = "Root", place;
  if (schema.top().elements != nullptr) {
    plan.topLevel = TopLevel::kArray;
    shape = schema.top().elements->shape;
    className = "Item";
    place = "[]";
  } else if (shape != nullptr && shape->isMap) {
    plan.topLevel = TopLevel::kMap;
    shape = shape->mapped.kinds() == kObject ? shape->mapped.shape : nullptr;
    className = "Item";
    place = "{}";
  }
  if (shape == nullptr || !canBeClass(*shape)) nothingToMap(name, schema);
  Planner planner(plan);
  planner.classFor(*shape, planner.names.nameFor(className, ""), place);
  return plan;
}

std::string pathStep(std::string_view key) {
  const bool isPlain = !key.empty() && std::all_of(key.begin(), key.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           static_cast<signed char>(c) < 0;
  }) && !(key[0] >= '0' && key[0] <= '9');
  return isPlain ? "." + printable(key) : "[\"" + printable(key) + "\"]";
}

}  // namespace kvt::tool
