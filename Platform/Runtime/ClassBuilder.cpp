#include "ClassBuilder.h"

#include <cstring>

#include "ClassBody.h"
#include "Raise.h"

namespace kvt {
namespace detail {

std::string methodEncoding(const char* result, std::initializer_list<const char*> arguments) {
  // Integers narrower than an int travel as ints; arrays as pointers.
  auto widthOf = [](const char* type) -> std::size_t {
    if (type[0] == '[') return sizeof(void*);
    const std::size_t size = sizeAndAlignment(type).size;
    return std::strchr("BcCsSiI", type[0]) != nullptr ? std::max(size, sizeof(int)) : size;
  };
  std::size_t total = 2 * sizeof(void*);
  for (const char* argument : arguments) total += widthOf(argument);
  std::string text = result + std::to_string(total) + "@0:" + std::to_string(sizeof(void*));
  std::size_t offset = 2 * sizeof(void*);
  for (const char* argument : arguments) {
    text += argument + std::to_string(offset);
    offset += widthOf(argument);
  }
  return text;
}

std::string setterName(std::string_view property) {
  std::string name = "set" + std::string(property) + ":";
  if (name[3] >= 'a' && name[3] <= 'z') name[3] = static_cast<char>(name[3] - 'a' + 'A');
  return name;
}

}  // namespace detail

namespace {

struct PendingProperty {
  std::string name;
  std::vector<PropertyAttribute> attributes;
};

struct PendingMethod {
  SEL sel;
  IMP imp;
  std::string types;
  bool onMetaclass;
  Accessor accessor;
};

struct PendingIvar {
  std::string name, types;
  std::ptrdiff_t offset;
  std::size_t size;
  Ownership ownership;
};

/// The value of the `T` attribute: the derived encoding with the class and protocols behind an object's "@".
std::string propertyEncoding(const char* encoding, std::string_view className, const char* protocols) {
  std::string text = encoding;
  if (text != "@" || (className.empty() && protocols == nullptr)) return text;
  text += '"';
  text += className;
  for (std::string_view rest = protocols != nullptr ? protocols : ""; !rest.empty();) {
    const std::size_t comma = rest.find(',');
    text += '<';
    text += rest.substr(0, comma);
    text += '>';
    rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
  }
  text += '"';
  return text == "@\"\"" ? "@" : text;
}

}  // namespace

struct ClassBuilderBase::State {
  std::string name;
  Class superclass;
  Class existing;
  CppType type{};
  Object* (*create)(Class) = nullptr;
  std::vector<std::string> protocols;
  std::vector<PendingProperty> properties;
  std::vector<PendingMethod> methods, accessors;
  std::vector<PendingIvar> ivars;
};

ClassBuilderBase::ClassBuilderBase(std::string_view name, Class superclass, const CppType& type) : state_(new State) {
  state_->name = name;
  state_->superclass = superclass;
  state_->type = type;
}

ClassBuilderBase::ClassBuilderBase(Class existing) : state_(new State) { state_->existing = existing; }

ClassBuilderBase::~ClassBuilderBase() { delete state_; }

void ClassBuilderBase::addProtocol(std::string_view name) { state_->protocols.emplace_back(name); }
void ClassBuilderBase::setCreate(Object* (*create)(Class)) noexcept { state_->create = create; }

void ClassBuilderBase::addMethod(std::string_view selector, IMP imp, const std::string& types, bool onMetaclass) {
  state_->methods.push_back({SEL(selector), imp, types, onMetaclass, {}});
}

void ClassBuilderBase::addProperty(std::string_view name, const MemberDescription& member, bool hasMember,
                                   const PropertyOptions& options) {
  const Ownership ownership = options.ownership != Ownership::kNone && member.ownership != Ownership::kWeak &&
                                      member.ownership != Ownership::kNone
                                  ? options.ownership
                                  : member.ownership;
  std::vector<PropertyAttribute> attributes;
  const std::string type = options.encoding != nullptr
                               ? options.encoding
                               : propertyEncoding(member.encoding, member.className, options.protocols);
  attributes.push_back({"T", type});
  if (options.readonly) attributes.push_back({"R", ""});
  if (ownership == Ownership::kCopy) attributes.push_back({"C", ""});
  if (ownership == Ownership::kStrong) attributes.push_back({"&", ""});
  if (ownership == Ownership::kWeak) attributes.push_back({"W", ""});
  if (options.dynamic) attributes.push_back({"D", ""});
  if (!options.atomic) attributes.push_back({"N", ""});
  if (options.getter != nullptr) attributes.push_back({"G", options.getter});
  if (options.setter != nullptr) attributes.push_back({"S", options.setter});
  if (hasMember && !options.dynamic) attributes.push_back({"V", std::string(name)});
  state_->properties.push_back({std::string(name), std::move(attributes)});
  if (hasMember) state_->ivars.push_back({std::string(name), type, member.offset, member.size, ownership});
  if (!hasMember || options.dynamic) return;

  Accessor accessor;
  accessor.ownership = ownership;
  accessor.offset = member.offset;
  accessor.size = member.size;
  accessor.accepts = member.accepts;
  accessor.kind = Accessor::Kind::kGetter;
  const std::string getter = options.getter != nullptr ? options.getter : std::string(name);
  state_->accessors.push_back(
      {SEL(getter), member.getter, detail::methodEncoding(member.accessorEncoding, {}), false, accessor});
  if (options.readonly) return;
  accessor.kind = Accessor::Kind::kSetter;
  const std::string setter = options.setter != nullptr ? options.setter : detail::setterName(name);
  IMP imp = ownership == Ownership::kCopy && member.copyingSetter != nullptr ? member.copyingSetter : member.setter;
  state_->accessors.push_back(
      {SEL(setter), imp, detail::methodEncoding("v", {member.accessorEncoding}), false, accessor});
}

Class ClassBuilderBase::finish() {
  std::lock_guard lock(runtimeMutex());
  Class cls = state_->existing;
  const bool isNew = !cls;
  bool nameIsFree = true;
  if (isNew) {
    if (Class taken = objc_getClass(state_->name)) {
      const char* other = taken.body()->cppTypeName;
      if (other != nullptr && state_->type.mangledName != nullptr &&
          std::strcmp(other, state_->type.mangledName) == 0 && !taken.body()->builtAtRunTime) {
        return taken;  // the same class, seen from another shared object
      }
      objc_warn("a class named " + state_->name + " is registered already; the second one is not known by its name");
      nameIsFree = false;
    }
    cls = makeClassPair(state_->superclass, state_->name);
    ClassBody* body = cls.body();
    if (state_->type.mangledName != nullptr) {
      body->cppTypeName = state_->type.mangledName;
      body->instanceSize = state_->type.size;
      body->instanceAlignment = state_->type.alignment;
      body->construct = state_->type.construct;
      body->create = nullptr;
      body->builtAtRunTime = false;
    } else if (state_->superclass) {
      body->construct = nullptr;  // a value class: its bodies are made by itself
    }
    if (state_->create != nullptr) body->create = state_->create;
  }
  ClassBody* body = cls.body();
  for (const std::string& protocol : state_->protocols) class_addProtocol(cls, objc_registerProtocol(protocol));
  for (const PendingIvar& ivar : state_->ivars) {
    body->ivars.push_back({ivar.name, ivar.types, ivar.offset, ivar.size, ivar.ownership});
  }
  for (const PendingMethod& method : state_->methods) {
    ClassBody* target = method.onMetaclass ? ObjectAccess::isa(body) : body;
    if (ownMethod(target, method.sel) == nullptr) storeMethod(target, method.sel, method.imp, method.types);
  }
  for (const PendingMethod& method : state_->accessors) {
    if (ownMethod(body, method.sel) != nullptr) continue;  // the author's own accessor stands
    if (method.accessor.kind == Accessor::Kind::kGetter &&
        shadowsRootMethod(body, method.sel.name(), method.sel, method.types)) {
      std::erase_if(state_->properties,
                    [&](const PendingProperty& p) { return SEL(std::string_view(p.name)) == method.sel; });
      continue;
    }
    storeMethod(body, method.sel, method.imp, method.types, method.accessor);
  }
  for (const PendingProperty& property : state_->properties) {
    if (ownProperty(body, property.name) == nullptr) storeProperty(body, property.name, property.attributes);
  }
  if (isNew && nameIsFree) registerPair(cls);
  return cls;
}

bool shadowsRootMethod(const ClassBody* cls, std::string_view property, SEL getter, std::string_view types) {
  const ClassBody* root = cls;
  while (root->superclass) root = root->superclass.body();
  if (root == cls || root->isMeta) return false;
  Method method = ownMethod(root, getter);
  if (method == nullptr) return false;
  std::size_t length = lengthOfFirstType(types);
  if (method->returnType == types.substr(0, length) && method->argumentTypes.size() == 2) return false;
  objc_warn("the property " + std::string(property) + " of " + cls->name +
            " is refused: its getter would shadow the method " + getter.name() + " of every object, which answers " +
            method->returnType + "; rename the property");
  return true;
}

}  // namespace kvt
