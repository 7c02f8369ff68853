#include "Class.h"

#include <algorithm>
#include <cstring>

#include "Abi.h"
#include "ClassBody.h"
#include "Raise.h"

namespace kvt {
namespace {

struct Registry {
  std::unordered_map<std::string_view, Class> classByName;
  std::vector<Class> classes;
  std::vector<Class> disposed;  // descriptions of them may be cached anywhere, so their bodies stay
  std::unordered_map<std::string_view, Protocol> protocolByName;
  std::deque<ProtocolBody> protocols;
};

// Never destroyed: objects may outlive every static of this library.
Registry& registry() {
  static auto* shared = new Registry;
  return *shared;
}

std::shared_mutex& registryMutex() {
  static auto* mutex = new std::shared_mutex;
  return *mutex;
}

std::atomic<std::uint64_t> generation{1};
// Rises only when a cached look-up may have become wrong; a new class has been looked up by nobody.
std::atomic<std::uint64_t> lookupGeneration{1};

void raiseLookupGeneration() noexcept {
  lookupGeneration.fetch_add(1, std::memory_order_release);
  raiseGeneration();
}

Method findMethod(const ClassBody* cls, SEL sel) noexcept {
  for (; cls != nullptr; cls = cls->superclass.body()) {
    if (Method method = ownMethod(cls, sel)) return method;
  }
  return nullptr;
}

std::size_t hashOf(const char* sel) noexcept { return reinterpret_cast<std::uintptr_t>(sel) >> 3; }

/// Looks up without a lock; false when the cache knows nothing of the selector.
bool lookInCache(const MethodCache* cache, SEL sel, Method& method) noexcept {
  if (cache == nullptr || cache->generation != lookupGeneration.load(std::memory_order_acquire)) return false;
  for (std::size_t i = hashOf(sel.name());; ++i) {
    const MethodCache::Slot& slot = cache->slots[i & cache->mask];
    const char* name = slot.sel.load(std::memory_order_acquire);
    if (name == sel.name()) {
      method = slot.method.load(std::memory_order_relaxed);
      return true;
    }
    if (name == nullptr) return false;
  }
}

void insert(MethodCache& cache, const char* sel, Method method) noexcept {
  for (std::size_t i = hashOf(sel);; ++i) {
    MethodCache::Slot& slot = cache.slots[i & cache.mask];
    if (slot.sel.load(std::memory_order_relaxed) != nullptr) continue;
    slot.method.store(method, std::memory_order_relaxed);
    slot.sel.store(sel, std::memory_order_release);
    ++cache.used;
    return;
  }
}

/// Called under the lock.
void remember(ClassBody* cls, SEL sel, Method method) {
  MethodCache* cache = cls->cache.load(std::memory_order_relaxed);
  const std::uint64_t now = lookupGeneration.load(std::memory_order_acquire);
  Method known = nullptr;
  if (lookInCache(cache, sel, known)) return;
  if (cache == nullptr || cache->generation != now || cache->used * 4 >= cache->slots.size() * 3) {
    const bool grows = cache != nullptr && cache->generation == now;
    auto fresh = std::make_unique<MethodCache>(grows ? cache->slots.size() * 2 : std::size_t{16}, now);
    if (grows) {
      for (const MethodCache::Slot& slot : cache->slots) {
        if (const char* name = slot.sel.load(std::memory_order_relaxed)) {
          insert(*fresh, name, slot.method.load(std::memory_order_relaxed));
        }
      }
    }
    cache = fresh.get();
    cls->caches.push_back(std::move(fresh));
    cls->cache.store(cache, std::memory_order_release);
  }
  insert(*cache, sel.name(), method);
}

template <class Body, class List>
std::vector<Body*> pointersTo(List& list) {
  std::vector<Body*> pointers;
  for (auto& each : list) pointers.push_back(&each);
  return pointers;
}

std::string attributeText(const std::vector<PropertyAttribute>& attributes) {
  std::string text;
  for (const PropertyAttribute& attribute : attributes) {
    if (!text.empty()) text += ',';
    text += attribute.name + attribute.value;
  }
  return text;
}

std::string withoutDigits(std::string_view types, std::size_t& position) {
  const std::size_t length = lengthOfFirstType(types.substr(position));
  if (length == 0) {
    position = types.size();
    return {};
  }
  std::string type(types.substr(position, length));
  position += length;
  if (position < types.size() && (types[position] == '+' || types[position] == '-')) ++position;
  while (position < types.size() && types[position] >= '0' && types[position] <= '9') ++position;
  return type;
}

std::string abiOf(std::string_view type) {
  while (!type.empty() && std::string_view("rnNoORV").find(type.front()) != std::string_view::npos)
    type.remove_prefix(1);
  if (type.empty()) return "v";
  switch (type.front()) {
    case 'v': return "v";
    case 'f': return "f";
    case 'd': return "d";
    case 'D': return "D";
    case '@':
    case '#': return "@";
    case ':': return ":";
    case '*': return "*";
    case '^': return type == "^?" ? "^" : "^";
    case '[': return "^";
    case '{':
    case '(': return {'{', static_cast<char>(sizeAndAlignment(type).size)};
    default: return "i";
  }
}

}  // namespace

std::recursive_mutex& runtimeMutex() {
  static auto* mutex = new std::recursive_mutex;
  return *mutex;
}

void raiseGeneration() noexcept { generation.fetch_add(1, std::memory_order_release); }

std::uint64_t objc_runtimeGeneration() noexcept { return generation.load(std::memory_order_acquire); }

ClassBody::ClassBody(Class metaclass, std::string className)
    : Object(metaclass, ObjectKind::kClass), name(std::move(className)) {
  ObjectAccess::makeImmortal(this);
  ObjectAccess::markImmutableValue(this);
}

MethodBody::MethodBody(SEL selector, IMP implementation, std::string_view encoding, Accessor does)
    : sel(selector), imp(implementation), defaultImp(implementation), types(encoding), accessor(std::move(does)) {
  std::size_t position = 0;
  returnType = withoutDigits(types, position);
  abi = abiOf(returnType);
  while (position < types.size()) {
    argumentTypes.push_back(withoutDigits(types, position));
    if (argumentTypes.size() > 2) abi += abiOf(argumentTypes.back());
  }
}

void objc_noteRuntimeChange() noexcept { raiseGeneration(); }

// ---- classes ------------------------------------------------------------------------------------------------------

Class objc_getClass(std::string_view name) {
  std::shared_lock lock(registryMutex());
  auto& byName = registry().classByName;
  auto found = byName.find(name);
  return found == byName.end() ? Class() : found->second;
}

Class objc_getMetaClass(std::string_view name) {
  Class cls = objc_getClass(name);
  return cls ? object_getClass(cls.body()) : Class();
}

std::vector<Class> objc_copyClassList() {
  std::shared_lock lock(registryMutex());
  return registry().classes;
}

Class object_getClass(const Object* object) noexcept {
  return object == nullptr ? Class() : Class(ObjectAccess::isa(object));
}

bool object_isClass(const Object* object) noexcept {
  return object != nullptr && object->kvtKind() == ObjectKind::kClass;
}

bool object_setClass(Object* object, Class cls) noexcept {
  if (object == nullptr || !cls || cls.body()->isMeta || object_isClass(object)) return false;
  const ClassBody* now = ObjectAccess::isa(object);
  if (now == nullptr || cls.body()->instanceSize > now->instanceSize) return false;
  ObjectAccess::setIsa(object, cls.body());
  return true;
}

Object* class_asObject(Class cls) noexcept { return cls.body(); }

Class object_asClass(const Object* object) noexcept {
  return object_isClass(object) ? Class(static_cast<ClassBody*>(const_cast<Object*>(object))) : Class();
}

const char* class_getName(Class cls) noexcept { return cls ? cls.body()->name.c_str() : "nil"; }

Class class_getSuperclass(Class cls) noexcept { return cls ? cls.body()->superclass : Class(); }

bool class_isMetaClass(Class cls) noexcept { return cls && cls.body()->isMeta; }

std::size_t class_getInstanceSize(Class cls) noexcept { return cls ? cls.body()->instanceSize : 0; }

bool class_isSubclassOf(Class cls, Class ancestor) noexcept {
  if (!ancestor) return false;
  for (const ClassBody* each = cls.body(); each != nullptr; each = each->superclass.body()) {
    if (each == ancestor.body()) return true;
  }
  return false;
}

Object* class_createInstance(Class cls) {
  if (!cls || cls.body()->isMeta) return nullptr;
  ClassBody* body = cls.body();
  if (body->create != nullptr) return body->create(cls);
  if (body->construct == nullptr) return nullptr;
  void* memory = Object::operator new(body->instanceSize);
  if (body->builtAtRunTime) std::memset(memory, 0, body->instanceSize);
  Object* object = nullptr;
  try {
    object = body->construct(memory);
  } catch (...) {
    Object::operator delete(memory);
    throw;
  }
  ObjectAccess::setIsa(object, body);
  return object;
}

// ---- building classes ---------------------------------------------------------------------------------------------

Class makeClassPair(Class superclass, std::string_view name) {
  ClassBody* superBody = superclass.body();
  // The metaclass of a root class inherits from the root class itself, so that class objects answer its instance
  // methods.
  Class superMeta = superBody != nullptr ? Class(ObjectAccess::isa(superBody)) : Class();
  auto* meta = new ClassBody(Class(), std::string(name));
  auto* cls = new ClassBody(Class(meta), std::string(name));
  meta->isMeta = true;
  cls->superclass = superclass;
  meta->superclass = superBody != nullptr ? superMeta : Class(cls);
  ClassBody* rootMeta = meta;
  for (ClassBody* each = superBody; each != nullptr; each = each->superclass.body()) rootMeta = ObjectAccess::isa(each);
  ObjectAccess::setIsa(meta, rootMeta);
  if (superBody != nullptr) {
    cls->instanceSize = superBody->instanceSize;
    cls->instanceAlignment = superBody->instanceAlignment;
    cls->construct = superBody->construct;
    cls->create = superBody->create;
    cls->cppTypeName = superBody->cppTypeName;
    cls->builtAtRunTime = superBody->builtAtRunTime;
  }
  return Class(cls);
}

void registerPair(Class cls) {
  ClassBody* body = cls.body();
  {
    std::unique_lock lock(registryMutex());
    body->registered = true;
    if (registry().classByName.emplace(body->name, cls).second) registry().classes.push_back(cls);
  }
  raiseGeneration();
}

Class objc_allocateClassPair(Class superclass, std::string_view name, std::size_t) {
  if (!superclass || superclass.body()->isMeta || name.empty() || objc_getClass(name)) return {};
  std::lock_guard lock(runtimeMutex());
  Class cls = makeClassPair(superclass, name);
  cls.body()->builtAtRunTime = true;
  return cls;
}

void objc_registerClassPair(Class cls) {
  if (!cls || cls.body()->isMeta || cls.body()->registered) return;
  if (objc_getClass(cls.body()->name)) {
    objc_warn("a class named " + cls.body()->name + " is registered already; the second one is not known by its name");
    return;
  }
  registerPair(cls);
}

void objc_disposeClassPair(Class cls) {
  if (!cls || !cls.body()->builtAtRunTime || cls.body()->isMeta) return;
  std::unique_lock lock(registryMutex());
  Registry& shared = registry();
  auto found = shared.classByName.find(cls.body()->name);
  if (found != shared.classByName.end() && found->second == cls) {
    shared.classByName.erase(found);
    std::erase(shared.classes, cls);
  }
  cls.body()->registered = false;
  shared.disposed.push_back(cls);
  lock.unlock();
  raiseGeneration();
}

bool class_addIvar(Class cls, std::string_view name, std::size_t size, std::uint8_t alignment, std::string_view types) {
  if (!cls || cls.body()->isMeta || cls.body()->registered || !cls.body()->builtAtRunTime || alignment > 12)
    return false;
  std::lock_guard lock(runtimeMutex());
  ClassBody* body = cls.body();
  // The bodies of value classes are of a size that only they know.
  if (body->construct == nullptr) return false;
  for (const ClassBody* each = body; each != nullptr; each = each->superclass.body()) {
    for (const IvarBody& ivar : each->ivars) {
      if (!name.empty() && ivar.name == name) return false;
    }
  }
  const std::size_t align = std::size_t{1} << alignment;
  // The allocator aligns to 16 bytes and no further.
  if (align > alignof(std::max_align_t)) return false;
  const std::size_t offset = (body->instanceSize + align - 1) / align * align;
  // An object that nobody says more about is held strongly.
  body->ivars.push_back({std::string(name), std::string(types), static_cast<std::ptrdiff_t>(offset), size,
                         types.starts_with('@') ? Ownership::kStrong : Ownership::kNone});
  body->instanceSize = offset + size;
  return true;
}

Method ownMethod(const ClassBody* cls, SEL sel) noexcept {
  auto found = cls->methodBySelector.find(sel.name());
  return found == cls->methodBySelector.end() ? nullptr : found->second;
}

Property ownProperty(const ClassBody* cls, std::string_view name) noexcept {
  for (const PropertyBody& property : cls->properties) {
    if (property.name == name) return const_cast<Property>(&property);
  }
  return nullptr;
}

Method storeMethod(ClassBody* cls, SEL sel, IMP imp, std::string_view types, Accessor accessor) {
  MethodBody& method = cls->methods.emplace_back(sel, imp, types, std::move(accessor));
  cls->methodBySelector[sel.name()] = &method;
  if (cls->registered || cls->cache.load(std::memory_order_relaxed) != nullptr)
    raiseLookupGeneration();
  else
    raiseGeneration();
  return &method;
}

bool class_addMethod(Class cls, SEL sel, IMP imp, std::string_view types) {
  if (!cls || !sel || imp == nullptr) return false;
  std::lock_guard lock(runtimeMutex());
  if (ownMethod(cls.body(), sel) != nullptr) return false;
  storeMethod(cls.body(), sel, imp, types);
  return true;
}

IMP class_replaceMethod(Class cls, SEL sel, IMP imp, std::string_view types) {
  if (!cls || !sel || imp == nullptr) return nullptr;
  std::lock_guard lock(runtimeMutex());
  if (Method method = ownMethod(cls.body(), sel)) return method_setImplementation(method, imp);
  storeMethod(cls.body(), sel, imp, types);
  return nullptr;
}

Property storeProperty(ClassBody* cls, std::string_view name, const std::vector<PropertyAttribute>& attributes) {
  cls->properties.push_back({std::string(name), attributes, attributeText(attributes)});
  raiseGeneration();
  return &cls->properties.back();
}

bool class_addProperty(Class cls, std::string_view name, const std::vector<PropertyAttribute>& attributes) {
  if (!cls || name.empty()) return false;
  std::lock_guard lock(runtimeMutex());
  if (ownProperty(cls.body(), name) != nullptr) return false;
  storeProperty(cls.body(), name, attributes);
  return true;
}

void class_replaceProperty(Class cls, std::string_view name, const std::vector<PropertyAttribute>& attributes) {
  if (!cls || name.empty()) return;
  std::lock_guard lock(runtimeMutex());
  if (Property property = ownProperty(cls.body(), name)) {
    property->attributes = attributes;
    property->attributeText = attributeText(attributes);
    raiseGeneration();
    return;
  }
  storeProperty(cls.body(), name, attributes);
}

bool class_addProtocol(Class cls, Protocol protocol) {
  if (!cls || protocol == nullptr) return false;
  std::lock_guard lock(runtimeMutex());
  auto& own = cls.body()->protocols;
  if (std::find(own.begin(), own.end(), protocol) != own.end()) return false;
  own.push_back(protocol);
  raiseGeneration();
  return true;
}

// ---- methods ------------------------------------------------------------------------------------------------------

Method class_getInstanceMethod(Class cls, SEL sel) noexcept {
  if (!cls || !sel) return nullptr;
  Method method = nullptr;
  if (lookInCache(cls.body()->cache.load(std::memory_order_acquire), sel, method)) return method;
  std::lock_guard lock(runtimeMutex());
  method = findMethod(cls.body(), sel);
  remember(cls.body(), sel, method);
  return method;
}

Method class_getClassMethod(Class cls, SEL sel) noexcept {
  return cls ? class_getInstanceMethod(object_getClass(cls.body()), sel) : nullptr;
}

IMP class_getMethodImplementation(Class cls, SEL sel) noexcept {
  return method_getImplementation(class_getInstanceMethod(cls, sel));
}

bool class_respondsToSelector(Class cls, SEL sel) noexcept { return class_getInstanceMethod(cls, sel) != nullptr; }

std::vector<Method> class_copyMethodList(Class cls) {
  if (!cls) return {};
  std::lock_guard lock(runtimeMutex());
  return pointersTo<MethodBody>(cls.body()->methods);
}

SEL method_getName(Method method) noexcept { return method != nullptr ? method->sel : SEL(); }

IMP method_getImplementation(Method method) noexcept {
  return method != nullptr ? method->imp.load(std::memory_order_acquire) : nullptr;
}

IMP method_setImplementation(Method method, IMP imp) noexcept {
  if (method == nullptr || imp == nullptr) return nullptr;
  IMP previous = method->imp.exchange(imp, std::memory_order_acq_rel);
  raiseGeneration();
  return previous;
}

void method_exchangeImplementations(Method a, Method b) noexcept {
  if (a == nullptr || b == nullptr) return;
  std::lock_guard lock(runtimeMutex());
  IMP imp = a->imp.load(std::memory_order_acquire);
  a->imp.store(b->imp.load(std::memory_order_acquire), std::memory_order_release);
  b->imp.store(imp, std::memory_order_release);
  raiseGeneration();
}

const char* method_getTypeEncoding(Method method) noexcept {
  return method != nullptr ? method->types.c_str() : nullptr;
}

std::string method_copyReturnType(Method method) { return method != nullptr ? method->returnType : std::string(); }

std::string method_copyArgumentType(Method method, unsigned index) {
  return method != nullptr && index < method->argumentTypes.size() ? method->argumentTypes[index] : std::string();
}

unsigned method_getNumberOfArguments(Method method) noexcept {
  return method != nullptr ? static_cast<unsigned>(method->argumentTypes.size()) : 0;
}

const Accessor* method_getDefaultAccessor(Method method) noexcept {
  if (method == nullptr || method->accessor.kind == Accessor::Kind::kNone) return nullptr;
  return method->imp.load(std::memory_order_acquire) == method->defaultImp ? &method->accessor : nullptr;
}

// ---- properties, ivars, protocols -----------------------------------------------------------------------------------

Property class_getProperty(Class cls, std::string_view name) noexcept {
  std::lock_guard lock(runtimeMutex());
  for (const ClassBody* each = cls.body(); each != nullptr; each = each->superclass.body()) {
    if (Property property = ownProperty(each, name)) return property;
  }
  return nullptr;
}

std::vector<Property> class_copyPropertyList(Class cls) {
  if (!cls) return {};
  std::lock_guard lock(runtimeMutex());
  return pointersTo<PropertyBody>(cls.body()->properties);
}

const char* property_getName(Property property) noexcept {
  return property != nullptr ? property->name.c_str() : nullptr;
}

const char* property_getAttributes(Property property) noexcept {
  return property != nullptr ? property->attributeText.c_str() : nullptr;
}

std::vector<PropertyAttribute> property_copyAttributeList(Property property) {
  return property != nullptr ? property->attributes : std::vector<PropertyAttribute>();
}

bool property_getAttributeValue(Property property, char attribute, std::string& value) {
  if (property == nullptr) return false;
  for (const PropertyAttribute& each : property->attributes) {
    if (each.name.size() == 1 && each.name[0] == attribute) {
      value = each.value;
      return true;
    }
  }
  return false;
}

Ivar class_getInstanceVariable(Class cls, std::string_view name) noexcept {
  std::lock_guard lock(runtimeMutex());
  for (ClassBody* each = cls.body(); each != nullptr; each = each->superclass.body()) {
    for (IvarBody& ivar : each->ivars) {
      if (ivar.name == name) return &ivar;
    }
  }
  return nullptr;
}

std::vector<Ivar> class_copyIvarList(Class cls) {
  if (!cls) return {};
  std::lock_guard lock(runtimeMutex());
  return pointersTo<IvarBody>(cls.body()->ivars);
}

const char* ivar_getName(Ivar ivar) noexcept { return ivar != nullptr ? ivar->name.c_str() : nullptr; }
const char* ivar_getTypeEncoding(Ivar ivar) noexcept { return ivar != nullptr ? ivar->types.c_str() : nullptr; }
std::ptrdiff_t ivar_getOffset(Ivar ivar) noexcept { return ivar != nullptr ? ivar->offset : 0; }
bool ivar_isWeak(Ivar ivar) noexcept { return ivar != nullptr && ivar->ownership == Ownership::kWeak; }
std::size_t ivar_getSize(Ivar ivar) noexcept { return ivar != nullptr ? ivar->size : 0; }

Protocol objc_getProtocol(std::string_view name) noexcept {
  std::shared_lock lock(registryMutex());
  auto& byName = registry().protocolByName;
  auto found = byName.find(name);
  return found == byName.end() ? nullptr : found->second;
}

Protocol objc_registerProtocol(std::string_view name) {
  if (name.empty()) return nullptr;
  if (Protocol known = objc_getProtocol(name)) return known;
  std::unique_lock lock(registryMutex());
  Registry& shared = registry();
  auto found = shared.protocolByName.find(name);
  if (found != shared.protocolByName.end()) return found->second;
  ProtocolBody& protocol = shared.protocols.emplace_back(ProtocolBody{std::string(name)});
  shared.protocolByName.emplace(protocol.name, &protocol);
  return &protocol;
}

const char* protocol_getName(Protocol protocol) noexcept {
  return protocol != nullptr ? protocol->name.c_str() : "nil";
}

std::vector<Protocol> class_copyProtocolList(Class cls) {
  if (!cls) return {};
  std::lock_guard lock(runtimeMutex());
  return cls.body()->protocols;
}

bool class_conformsToProtocol(Class cls, Protocol protocol) noexcept {
  if (protocol == nullptr) return false;
  std::lock_guard lock(runtimeMutex());
  for (const ClassBody* each = cls.body(); each != nullptr; each = each->superclass.body()) {
    if (std::find(each->protocols.begin(), each->protocols.end(), protocol) != each->protocols.end()) return true;
  }
  return false;
}

}  // namespace kvt
