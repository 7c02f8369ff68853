#include "ClassFactory.h"

#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSNumber.h>

#include <unordered_set>

#include "Command.h"
#include "Text.h"

namespace kvt::tool {
namespace {

/// What a hook is asked about: implementations are plain functions, so the class they were sent to leads to its plan.
std::unordered_map<const ClassBody*, const ClassPlan*>& plansByClass() {
  static std::unordered_map<const ClassBody*, const ClassPlan*> plans;
  return plans;
}

const ClassPlan& planOf(Class cls) { return *plansByClass().at(cls.body()); }

/// The property's value as JSON has it; nil for none.
id valueInJSON(const id& model, const PropertyPlan& property) {
  const SEL getter{std::string_view(property.name)};
  switch (property.encoding[0]) {
    case 'B': return NSNumber(objc_msgSend<bool>(model, getter));
    case 'q': return NSNumber(objc_msgSend<std::int64_t>(model, getter));
    case 'Q': return NSNumber(objc_msgSend<std::uint64_t>(model, getter));
    case 'd': return NSNumber(objc_msgSend<double>(model, getter));
    default: break;
  }
  const id value = objc_msgSend<id>(model, getter);
  return value.is<NSString>() || value.is<NSNumber>() ? value : kvt_modelToJSONObject(value);
}

// ---- hooks: id results are owned by the caller
// ------------------------------------------------------------------------

Object* modelContainerPropertyGenericClass(Object* self, SEL) {
  const NSMutableDictionary classes = NSMutableDictionary::dictionary();
  for (const PropertyPlan& property : planOf(object_asClass(self)).properties) {
    if (property.element != nullptr) classes.setObject_forKey(property.element->cls, property.name);
  }
  return id(classes).detach();
}

Object* modelCustomPropertyMapper(Object* self, SEL) {
  const NSMutableDictionary keys = NSMutableDictionary::dictionary();
  for (const PropertyPlan& property : planOf(object_asClass(self)).properties) {
    if (property.key != property.name) keys.setObject_forKey(property.key, property.name);
  }
  return id(keys).detach();
}

/// The engine reads a key with a point in it as it stands, but writes it as a path. This puts the keys back: what
/// stands under the paths' first parts goes, and every property that has to do with them is written under its own key.
bool modelCustomTransformToDictionary(Object* self, SEL, Object* dictionary) {
  const id model(borrow, self);
  const NSMutableDictionary output = id(borrow, dictionary).as<NSMutableDictionary>();
  const ClassPlan& plan = planOf(model.class_());
  const auto write = [&](const PropertyPlan& property) {
    if (const id value = valueInJSON(model, property)) output.setObject_forKey(value, property.key);
  };
  std::unordered_set<std::string> rewritten;
  for (const PropertyPlan& property : plan.properties) {
    if (!property.isPath()) continue;
    const std::size_t start = property.key.find_first_not_of('.');
    const std::string first = property.key.substr(start, property.key.find('.', start) - start);
    if (!rewritten.insert(first).second) continue;
    output.removeObjectForKey(first);
    if (auto own = plan.byKey.find(first); own != plan.byKey.end()) write(*own->second);
  }
  for (const PropertyPlan& property : plan.properties) {
    if (property.isPath()) write(property);
  }
  return true;
}

// ---- classes
// ----------------------------------------------------------------------------------------------------------

std::vector<PropertyAttribute> attributesOf(const PropertyPlan& property) {
  std::vector<PropertyAttribute> attributes = {{"T", property.encoding}};
  if (property.encoding == "@\"NSString\"")
    attributes.push_back({"C", ""});
  else if (property.encoding[0] == '@')
    attributes.push_back({"&", ""});
  attributes.push_back({"N", ""});
  // The setter of a name that begins outside of ASCII is spelled out: how it is capitalised is nobody's guess then.
  if (static_cast<signed char>(property.name[0]) < 0) attributes.push_back({"S", "set" + property.name + ":"});
  return attributes;
}

template <class F>
IMP imp(F* function) {
  return reinterpret_cast<IMP>(function);
}

void build(ClassPlan& plan) {
  plan.cls = objc_allocateClassPair(classOf<NSObject>(), plan.name);
  for (const PropertyPlan& property : plan.properties) {
    if (plan.cls && class_synthesizeProperty(plan.cls, property.name, attributesOf(property))) continue;
    throw Failure(ExitStatus::kSoftware,
                  "the property " + printable(property.name) + " of " + printable(plan.name) + " cannot be made");
  }
  const Class metaclass = object_getClass(class_asObject(plan.cls));
  class_addMethod(metaclass, "modelContainerPropertyGenericClass", imp(modelContainerPropertyGenericClass), "@16@0:8");
  class_addMethod(metaclass, "modelCustomPropertyMapper", imp(modelCustomPropertyMapper), "@16@0:8");
  if (plan.hasPaths()) {
    class_addMethod(plan.cls, "modelCustomTransformToDictionary:", imp(modelCustomTransformToDictionary), "B24@0:8@16");
  }
  objc_registerClassPair(plan.cls);
  plansByClass()[plan.cls.body()] = &plan;
}

}  // namespace

void buildClasses(Plan& plan) {
  for (const auto& each : plan.classes) build(*each);
}

}  // namespace kvt::tool
