#include "CollectionSupport.h"

#include <sys/auxv.h>

#include <cstdlib>
#include <cstring>

#include <KVTPlatform/Runtime/Raise.h>

#include "KeyValueCoding.h"
#include "NSNumber.h"
#include "NSString.h"

namespace kvt {

void raiseTableTooLarge() { objc_raise("NSMallocException", "*** a dictionary or set cannot hold so many elements"); }

namespace collections {

std::uint32_t mixedHash(std::uint64_t hash) noexcept {
  static const std::uint64_t seed = [] {
    std::uint64_t random = 0;
    // Sixteen random bytes; the second half, since text uses the first.
    if (const auto* bytes = reinterpret_cast<const char*>(getauxval(AT_RANDOM))) std::memcpy(&random, bytes + 8, 8);
    return random ^ 0xD1B54A32D192ED03u;
  }();
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(hash ^ seed) * 0x9E3779B97F4A7C15u;
  const auto folded = static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
  return static_cast<std::uint32_t>(folded ^ (folded >> 32));
}

void raiseMutated(const id& collection) {
  char address[32];
  std::snprintf(address, sizeof address, "%p", static_cast<const void*>(collection.object()));
  objc_raise("NSGenericException", std::string("*** Collection <") + class_getName(collection.class_()) + ": " +
                                       address + "> was mutated while being enumerated.");
}

void raiseChangedBySearch() {
  objc_raise("NSGenericException", "*** a collection was changed by isEqual: or hash while it was searched");
}

void raiseInvalidArgument(const char* method, const std::string& reason) {
  objc_raise("NSInvalidArgumentException", std::string("*** ") + method + ": " + reason);
}

id valueForOperatorKey(const id& collection, const NSString& key) {
  const std::string name(key);
  return kvc::valueForKey(collection, NSString(std::string_view(name).substr(1)));
}

// ---- release without recursion --------------------------------------------------------------------------------------

void ReleaseScope::putAside(Object* object) noexcept {
  if (state.count == state.capacity) {
    const std::size_t grown = state.capacity != 0 ? state.capacity * 2 : 64;
    void* memory = std::realloc(static_cast<void*>(state.objects), grown * sizeof(Object*));
    if (memory == nullptr) return ObjectAccess::release(object);
    state.objects = static_cast<Object**>(memory);
    state.capacity = grown;
  }
  state.objects[state.count++] = object;
}

void ReleaseScope::drain() noexcept {
  // What is released here opens scopes at depth two and may put further objects aside.
  while (state.count != 0) ObjectAccess::release(state.objects[--state.count]);
  std::free(static_cast<void*>(state.objects));
  state.objects = nullptr;
  state.capacity = 0;
}

}  // namespace collections
}  // namespace kvt
