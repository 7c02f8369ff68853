#include "FfiTypes.h"

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "TypeEncoding.h"

namespace kvt {
namespace {

/// A struct for libffi with the right size and alignment; aggregates of up to 16 bytes travel in registers by their
/// fields' classes, so those are spelt out.
struct FfiStruct {
  ffi_type type{};
  std::vector<ffi_type*> elements;
};

/// The fields of a struct or union, one after the other; false when `encoding` does not say.
template <class Visit>
bool eachField(std::string_view encoding, Visit&& visit) {
  const std::size_t equals = encoding.find('=');
  if (equals == std::string_view::npos) return false;
  std::string_view fields = encoding.substr(equals + 1, encoding.size() - equals - 2);
  while (!fields.empty()) {
    if (fields.front() == '"') {
      fields.remove_prefix(fields.find('"', 1) + 1);
      continue;
    }
    const std::size_t length = lengthOfFirstType(fields);
    if (length == 0 || !visit(fields.substr(0, length))) return false;
    fields.remove_prefix(length);
  }
  return true;
}

/// Splits "[12i]" into its count and element.
std::string_view elementOf(std::string_view array, std::size_t& count) {
  std::size_t digits = 1;
  count = 0;
  while (array[digits] >= '0' && array[digits] <= '9')
    count = count * 10 + static_cast<std::size_t>(array[digits++] - '0');
  return array.substr(digits, array.size() - digits - 1);
}

/// Sets the bit of each eight bytes in which a value at `offset` has anything but floating numbers. False where the
/// type is none or holds a long double, which follows rules of its own.
bool markIntegers(std::string_view type, std::size_t offset, unsigned& eightbytes) {
  while (!type.empty() && std::string_view("rnNoORV").find(type.front()) != std::string_view::npos)
    type.remove_prefix(1);
  if (type.empty() || type.front() == 'D') return false;
  if (type.front() == 'f' || type.front() == 'd') return true;
  if (type.front() == '[') {
    std::size_t count = 0;
    const std::string_view element = elementOf(type, count);
    const std::size_t size = sizeAndAlignment(element).size;
    for (std::size_t i = 0; i < count; ++i) {
      if (!markIntegers(element, offset + i * size, eightbytes)) return false;
    }
    return true;
  }
  if (type.front() == '{' || type.front() == '(') {
    const bool isUnion = type.front() == '(';
    std::size_t position = offset;
    return eachField(type, [&](std::string_view field) {
      const SizeAndAlignment layout = sizeAndAlignment(field);
      position = (position + layout.alignment - 1) / layout.alignment * layout.alignment;
      const std::size_t at = position;
      if (!isUnion) position += layout.size;
      return markIntegers(field, at, eightbytes);
    });
  }
  eightbytes |= 1u << (offset / 8);
  return true;
}

/// Where several fields share their bytes, eight bytes travel as a floating number only if none of them is anything
/// else there.
bool describeUnion(std::string_view encoding, FfiStruct& result) {
  const SizeAndAlignment layout = sizeAndAlignment(encoding);
  unsigned integers = 0;
  if (layout.size == 0) return false;
  if (layout.size > 16 || !markIntegers(encoding, 0, integers)) {
    // In memory: only size and alignment count.
    ffi_type* unit = layout.alignment == 16  ? &ffi_type_longdouble
                     : layout.alignment == 8 ? &ffi_type_uint64
                     : layout.alignment == 4 ? &ffi_type_uint32
                     : layout.alignment == 2 ? &ffi_type_uint16
                                             : &ffi_type_uint8;
    if (layout.size / layout.alignment > 4096) return false;
    result.elements.assign(layout.size / layout.alignment, unit);
    return true;
  }
  for (std::size_t offset = 0; offset < layout.size; offset += layout.alignment) {
    const bool isInteger = (integers >> (offset / 8) & 1) != 0;
    switch (layout.alignment) {
      case 8: result.elements.push_back(isInteger ? &ffi_type_uint64 : &ffi_type_double); break;
      case 4: result.elements.push_back(isInteger ? &ffi_type_uint32 : &ffi_type_float); break;
      case 2: result.elements.push_back(&ffi_type_uint16); break;
      default: result.elements.push_back(&ffi_type_uint8); break;
    }
  }
  return true;
}

bool describe(std::string_view encoding, FfiStruct& result) {
  if (encoding.front() == '(') return describeUnion(encoding, result);
  const bool described = eachField(encoding, [&](std::string_view field) {
    std::size_t count = 1;
    if (field.front() == '[') field = elementOf(field, count);
    ffi_type* type = ffiTypeOf(field);
    if (type == nullptr || count > 4096) return false;
    result.elements.insert(result.elements.end(), count, type);
    return true;
  });
  return described && !result.elements.empty();
}

ffi_type* ffiAggregate(std::string_view encoding) {
  // Closures live for the process, and so do the types they were made with; each encoding is described once.
  static auto* mutex = new std::recursive_mutex;
  static auto* described = new std::map<std::string, FfiStruct, std::less<>>;
  std::lock_guard lock(*mutex);
  if (auto known = described->find(encoding); known != described->end()) {
    return known->second.elements.empty() ? nullptr : &known->second.type;
  }
  FfiStruct& result = (*described)[std::string(encoding)];
  if (!describe(encoding, result)) {
    result.elements.clear();
    return nullptr;
  }
  result.elements.push_back(nullptr);
  result.type.type = FFI_TYPE_STRUCT;
  result.type.elements = result.elements.data();
  return &result.type;
}

}  // namespace

ffi_type* ffiTypeOf(std::string_view encoding) {
  while (!encoding.empty() && std::string_view("rnNoORV").find(encoding.front()) != std::string_view::npos) {
    encoding.remove_prefix(1);
  }
  if (encoding.empty()) return nullptr;
  switch (encoding.front()) {
    case 'B':
    case 'C': return &ffi_type_uint8;
    case 'c': return &ffi_type_sint8;
    case 's': return &ffi_type_sint16;
    case 'S': return &ffi_type_uint16;
    case 'i':
    case 'l': return &ffi_type_sint32;
    case 'I':
    case 'L': return &ffi_type_uint32;
    case 'q': return &ffi_type_sint64;
    case 'Q': return &ffi_type_uint64;
    case 'f': return &ffi_type_float;
    case 'd': return &ffi_type_double;
    case 'D': return &ffi_type_longdouble;
    case '@':
    case '#':
    case ':':
    case '*':
    case '^':
    case '[': return &ffi_type_pointer;
    case '{':
    case '(': return ffiAggregate(encoding);
    default: return nullptr;
  }
}

}  // namespace kvt
