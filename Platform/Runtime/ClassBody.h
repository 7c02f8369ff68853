// The run time's own view of classes; not installed. Everything here is guarded by `runtimeMutex()` unless it says
// otherwise.
#pragma once

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "Class.h"
#include "ClassBuilder.h"

namespace kvt {

struct MethodBody {
  MethodBody(SEL name, IMP implementation, std::string_view encoding, Accessor does = {});
  SEL sel;
  std::atomic<IMP> imp;
  IMP defaultImp;  // the implementation the method was made with: while `imp` is this one, short cuts may stand in for
                   // it
  std::string types;
  Accessor accessor;  // what the default implementation does, when it is a plain accessor
  std::string returnType;
  std::vector<std::string> argumentTypes;
  std::string abi;  // one letter a register class, result first; see Abi.h
};

struct PropertyBody {
  std::string name;
  std::vector<PropertyAttribute> attributes;
  std::string attributeText;
};

struct IvarBody {
  std::string name;
  std::string types;
  std::ptrdiff_t offset;
  std::size_t size;
  Ownership ownership = Ownership::kNone;
};

struct ProtocolBody {
  std::string name;
};

/// What a look-up remembered: selector to method (null: known to be missing). Immutable size, filled slot by slot.
struct MethodCache {
  struct Slot {
    std::atomic<const char*> sel{nullptr};
    std::atomic<Method> method{nullptr};
  };
  explicit MethodCache(std::size_t size, std::uint64_t madeAt) : generation(madeAt), mask(size - 1), slots(size) {}
  std::uint64_t generation;
  std::size_t mask;
  std::size_t used = 0;
  std::vector<Slot> slots;
};

struct ClassBody final : Object {
  ClassBody(Class metaclass, std::string className);

  std::string name;
  Class superclass;
  bool isMeta = false;
  bool registered = false;
  bool builtAtRunTime = false;
  std::size_t instanceSize = 0;
  std::size_t instanceAlignment = alignof(void*);
  const char* cppTypeName = nullptr;             // mangled; null for a class without a C++ type
  Object* (*construct)(void* memory) = nullptr;  // the nearest C++ type's default construction
  Object* (*create)(Class cls) = nullptr;        // set where instances are not plain memory
  std::deque<MethodBody> methods;
  std::deque<PropertyBody> properties;
  std::deque<IvarBody> ivars;
  std::vector<Protocol> protocols;
  std::unordered_map<const char*, Method> methodBySelector;
  std::atomic<MethodCache*> cache{nullptr};          // read without the lock
  std::vector<std::unique_ptr<MethodCache>> caches;  // all that were ever published: a reader may still hold one
};

/// Guards the registry and every class's tables. Recursive: describing a class may register another one.
std::recursive_mutex& runtimeMutex();
void raiseGeneration() noexcept;

/// The class's own method of that selector, or null.
Method ownMethod(const ClassBody* cls, SEL sel) noexcept;
Property ownProperty(const ClassBody* cls, std::string_view name) noexcept;
/// Adds or replaces the method; the caller has checked what it wants.
Method storeMethod(ClassBody* cls, SEL sel, IMP imp, std::string_view types, Accessor accessor = {});
Property storeProperty(ClassBody* cls, std::string_view name, const std::vector<PropertyAttribute>& attributes);
/// Whether a getter of this encoding would shadow a root method of another one; says so on standard error.
bool shadowsRootMethod(const ClassBody* cls, std::string_view property, SEL getter, std::string_view encoding);
/// Makes a class and its metaclass; not yet known by name.
Class makeClassPair(Class superclass, std::string_view name);
void registerPair(Class cls);

/// Implementations of accessors for an ivar without a C++ type; null when the encoding has none.
IMP makeSynthesizedGetter(const Accessor& accessor, std::string_view encoding);
IMP makeSynthesizedSetter(const Accessor& accessor, std::string_view encoding);

}  // namespace kvt
