// Properties of classes that no C++ type stands behind: the ivar is laid out here, the accessors are libffi closures
// over it.
#include <cstring>
#include <memory>
#include <vector>

#include "ClassBody.h"
#include "Dispose.h"
#include "FfiTypes.h"
#include "Raise.h"
#include "WeakReference.h"

namespace kvt {

namespace detail {
std::string setterName(std::string_view property);
}

namespace {

template <class T>
T& at(Object* object, std::ptrdiff_t offset) {
  return *reinterpret_cast<T*>(reinterpret_cast<char*>(object) + offset);
}

/// One closure: what it does and the memory libffi needs for as long as the implementation may be called.
struct Closure {
  Accessor accessor;
  char type;
  std::size_t size;
  ffi_cif cif{};
  std::vector<ffi_type*> arguments;
  void* code = nullptr;
};

bool holds(const Accessor& accessor, const Object* object) {
  if (object == nullptr || accessor.className.empty()) return true;
  Class wanted = objc_getClass(accessor.className);
  return !wanted || class_isSubclassOf(object_getClass(object), wanted);
}

void getThunk(ffi_cif*, void* result, void** arguments, void* user) {
  const auto& closure = *static_cast<Closure*>(user);
  Object* self = *static_cast<Object**>(arguments[0]);
  char* field = &at<char>(self, closure.accessor.offset);
  switch (closure.type) {
    case '@': {
      Object* value = closure.accessor.ownership == Ownership::kWeak ? weak_load(*reinterpret_cast<WeakCell**>(field))
                                                                     : *reinterpret_cast<Object**>(field);
      if (value != nullptr && closure.accessor.ownership != Ownership::kWeak) ObjectAccess::retain(value);
      *static_cast<Object**>(result) = value;
      break;
    }
    // libffi wants narrow integers widened to a register.
    case 'B':
    case 'C': *static_cast<ffi_arg*>(result) = at<std::uint8_t>(self, closure.accessor.offset); break;
    case 'c': *static_cast<ffi_sarg*>(result) = at<std::int8_t>(self, closure.accessor.offset); break;
    case 's': *static_cast<ffi_sarg*>(result) = at<std::int16_t>(self, closure.accessor.offset); break;
    case 'S': *static_cast<ffi_arg*>(result) = at<std::uint16_t>(self, closure.accessor.offset); break;
    case 'i':
    case 'l': *static_cast<ffi_sarg*>(result) = at<std::int32_t>(self, closure.accessor.offset); break;
    case 'I':
    case 'L': *static_cast<ffi_arg*>(result) = at<std::uint32_t>(self, closure.accessor.offset); break;
    case '[': *static_cast<void**>(result) = field; break;
    default: std::memcpy(result, field, closure.size); break;
  }
}

void setThunk(ffi_cif*, void*, void** arguments, void* user) {
  const auto& closure = *static_cast<Closure*>(user);
  Object* self = *static_cast<Object**>(arguments[0]);
  char* field = &at<char>(self, closure.accessor.offset);
  if (closure.type == '[') {
    if (const void* from = *static_cast<void**>(arguments[2])) std::memcpy(field, from, closure.size);
    return;
  }
  if (closure.type != '@') {
    std::memcpy(field, arguments[2], closure.size);
    return;
  }
  Object* value = *static_cast<Object**>(arguments[2]);
  if (!holds(closure.accessor, value)) value = nullptr;
  if (closure.accessor.ownership == Ownership::kWeak) {
    auto& cell = *reinterpret_cast<WeakCell**>(field);
    WeakCell* fresh = weak_cellOf(value);
    weak_releaseCell(std::exchange(cell, fresh));
    return;
  }
  if (closure.accessor.ownership == Ownership::kNone) {  // assign: not counted
    *reinterpret_cast<Object**>(field) = value;
    return;
  }
  Handle fresh = closure.accessor.ownership == Ownership::kCopy && value != nullptr
                     ? Handle(adopt, objc_copyObject(value))
                     : Handle(borrow, value);
  Handle previous(adopt, std::exchange(*reinterpret_cast<Object**>(field), fresh.detach()));
}

IMP makeClosure(const Accessor& accessor, std::string_view encoding, bool setter) {
  while (!encoding.empty() && std::string_view("rnNoORV").find(encoding.front()) != std::string_view::npos) {
    encoding.remove_prefix(1);
  }
  ffi_type* type = ffiTypeOf(encoding);
  if (type == nullptr) return nullptr;
  auto closure = std::make_unique<Closure>();
  closure->accessor = accessor;
  closure->type = encoding.front() == '(' ? '{' : encoding.front();
  closure->size = sizeAndAlignment(encoding).size;
  closure->arguments = {&ffi_type_pointer, &ffi_type_pointer};
  if (setter) closure->arguments.push_back(type);
  auto* memory = static_cast<ffi_closure*>(ffi_closure_alloc(sizeof(ffi_closure), &closure->code));
  if (memory == nullptr) return nullptr;
  if (ffi_prep_cif(&closure->cif, FFI_DEFAULT_ABI, static_cast<unsigned>(closure->arguments.size()),
                   setter ? &ffi_type_void : type, closure->arguments.data()) != FFI_OK ||
      ffi_prep_closure_loc(memory, &closure->cif, setter ? setThunk : getThunk, closure.get(), closure->code) !=
          FFI_OK) {
    ffi_closure_free(memory);
    return nullptr;
  }
  // Implementations live for the process. libffi alone points to them, from memory that leak checkers do not look into,
  // so they are kept here; the caller holds the run time's lock.
  static auto* const closures = new std::vector<std::unique_ptr<Closure>>;
  return reinterpret_cast<IMP>(closures->emplace_back(std::move(closure))->code);
}

}  // namespace

IMP makeSynthesizedGetter(const Accessor& accessor, std::string_view encoding) {
  return makeClosure(accessor, encoding, false);
}
IMP makeSynthesizedSetter(const Accessor& accessor, std::string_view encoding) {
  return makeClosure(accessor, encoding, true);
}

bool class_synthesizeProperty(Class cls, std::string_view name, const std::vector<PropertyAttribute>& attributes) {
  if (!cls || name.empty() || cls.body()->isMeta || cls.body()->registered || !cls.body()->builtAtRunTime) return false;
  std::lock_guard lock(runtimeMutex());
  ClassBody* body = cls.body();
  if (ownProperty(body, name) != nullptr) return false;
  auto value = [&](char attribute) -> const std::string* {
    for (const PropertyAttribute& each : attributes) {
      if (each.name.size() == 1 && each.name[0] == attribute) return &each.value;
    }
    return nullptr;
  };
  const std::string* type = value('T');
  if (type == nullptr) return false;
  bool valid = false;
  const SizeAndAlignment layout = sizeAndAlignment(*type, &valid);
  if (!valid || layout.alignment > alignof(std::max_align_t)) return false;

  const std::string getterName = value('G') != nullptr ? *value('G') : std::string(name);
  const std::string setterName = value('S') != nullptr ? *value('S') : detail::setterName(name);
  const std::string accessorType = (*type)[0] == '@' ? (type->starts_with("@?") ? "@?" : "@") : *type;
  const std::string getterTypes = detail::methodEncoding(accessorType.c_str(), {});
  if (shadowsRootMethod(body, name, SEL(std::string_view(getterName)), getterTypes)) return false;

  Accessor accessor;
  accessor.synthesized = true;
  accessor.size = layout.size;
  if ((*type)[0] == '@') {
    accessor.ownership = value('C') != nullptr   ? Ownership::kCopy
                         : value('&') != nullptr ? Ownership::kStrong
                         : value('W') != nullptr ? Ownership::kWeak
                                                 : Ownership::kNone;
    if (type->starts_with("@\"")) {
      accessor.className = type->substr(2, type->find_first_of("\"<", 2) - 2);
    }
  }
  const std::string ivarName = value('V') != nullptr ? *value('V') : "_" + std::string(name);
  std::uint8_t exponent = 0;
  while ((std::size_t{1} << exponent) < layout.alignment) ++exponent;
  if (!class_addIvar(cls, ivarName, layout.size, exponent, *type)) return false;
  IvarBody& ivar = body->ivars.back();
  ivar.ownership = accessor.ownership;
  accessor.offset = ivar.offset;

  accessor.kind = Accessor::Kind::kGetter;
  IMP getter = makeSynthesizedGetter(accessor, *type);
  if (getter == nullptr) {
    body->instanceSize = static_cast<std::size_t>(ivar.offset);
    body->ivars.pop_back();
    return false;
  }
  SEL getterSelector{std::string_view(getterName)};
  if (ownMethod(body, getterSelector) == nullptr) storeMethod(body, getterSelector, getter, getterTypes, accessor);
  if (value('R') == nullptr) {
    accessor.kind = Accessor::Kind::kSetter;
    IMP setter = makeSynthesizedSetter(accessor, *type);
    SEL setterSelector{std::string_view(setterName)};
    if (setter != nullptr && ownMethod(body, setterSelector) == nullptr) {
      storeMethod(body, setterSelector, setter, detail::methodEncoding("v", {accessorType.c_str()}), accessor);
    }
  }
  std::vector<PropertyAttribute> complete = attributes;
  if (value('V') == nullptr) complete.push_back({"V", ivarName});
  storeProperty(body, name, complete);
  return true;
}

void releaseSynthesizedIvars(Object* object) noexcept {
  for (ClassBody* cls = ObjectAccess::isa(object); cls != nullptr && cls->builtAtRunTime;
       cls = cls->superclass.body()) {
    for (const IvarBody& ivar : cls->ivars) {
      if (ivar.ownership == Ownership::kWeak) {
        weak_releaseCell(std::exchange(at<WeakCell*>(object, ivar.offset), nullptr));
      } else if (ivar.ownership != Ownership::kNone) {
        Handle(adopt, std::exchange(at<Object*>(object, ivar.offset), nullptr));
      }
    }
  }
}

}  // namespace kvt
