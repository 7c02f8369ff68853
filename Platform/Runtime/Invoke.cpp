#include "Invoke.h"

#include <cstring>
#include <vector>

#include "ClassBody.h"
#include "FfiTypes.h"
#include "TypeEncoding.h"

namespace kvt {

bool objc_invoke(Object* receiver, Method method, const void* const* arguments, void* result) {
  if (receiver == nullptr || method == nullptr) return false;
  std::vector<ffi_type*> types = {&ffi_type_pointer, &ffi_type_pointer};
  for (std::size_t i = 2; i < method->argumentTypes.size(); ++i) {
    types.push_back(ffiTypeOf(method->argumentTypes[i]));
    if (types.back() == nullptr) return false;
  }
  const bool isVoid = method->returnType == "v" || method->returnType == "Vv";
  ffi_type* resultType = isVoid ? &ffi_type_void : ffiTypeOf(method->returnType);
  if (resultType == nullptr) return false;
  ffi_cif cif;
  if (ffi_prep_cif(&cif, FFI_DEFAULT_ABI, static_cast<unsigned>(types.size()), resultType, types.data()) != FFI_OK) {
    return false;
  }
  SEL sel = method->sel;
  std::vector<void*> values = {&receiver, &sel};
  for (std::size_t i = 2; i < types.size(); ++i) values.push_back(const_cast<void*>(arguments[i - 2]));
  // libffi writes at least a register, and integers narrower than that widened.
  std::vector<ffi_arg> buffer(std::max(resultType->size, sizeof(ffi_arg)) / sizeof(ffi_arg) + 1);
  ffi_call(&cif, method->imp.load(std::memory_order_acquire), buffer.data(), values.data());
  if (isVoid) return true;
  if (result != nullptr) {
    std::memcpy(result, buffer.data(), sizeAndAlignment(method->returnType).size);
  } else if (method->returnType[0] == '@') {
    Handle(adopt, *reinterpret_cast<Object**>(buffer.data()));
  }
  return true;
}

}  // namespace kvt
