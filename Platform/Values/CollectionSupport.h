// What the collections share: which objects they may look into, equality and hashing of elements, release without
// recursion; not installed.
#pragma once

#include <string>

#include "Kinds.h"
#include "NSStringBody.h"
#include "id.h"

namespace kvt::collections {

inline bool isArray(const Object* object) noexcept { return isKindBetween(object, kArrayKind, kMutableArrayKind); }
inline bool isDictionary(const Object* object) noexcept {
  return isKindBetween(object, kDictionaryKind, kMutableDictionaryKind);
}
inline bool isSet(const Object* object) noexcept { return isKindBetween(object, kSetKind, kMutableSetKind); }
inline bool isCollection(const Object* object) noexcept { return isKindBetween(object, kArrayKind, kMutableSetKind); }
/// Values that hold no other objects and whose hash and equality call no code of a client.
inline bool isLeaf(const Object* object) noexcept {
  return isKindBetween(object, kStringKind, kURLKind) && kindOf(object) != kAttributedStringKind;
}

/// Whether two non-null objects are the same or `isEqual:`. Keeps both alive where a client's code is called.
inline bool equal(const Object* a, const Object* b) {
  if (a == b) return true;
  if (const StringBody* text = StringBody::of(a)) {
    const StringBody* other = StringBody::of(b);
    if (other != nullptr) return StringBody::equal(*text, *other);
  }
  return id(borrow, a).isEqual(id(borrow, b));
}

/// `isEqual:` of two collections (or of any objects, NO then). Works through nested collections with a list of its own,
/// so that any depth and collections that contain themselves are compared.
bool equalCollections(const Object* a, const Object* b);
/// `hash` of a collection.
std::uint64_t hashCollection(const Object* collection);
/// `description` of a collection.
NSString describeCollection(const Object* collection);
/// "@count" and the class's own keys behind an "@": what collections do with keys that are not for their elements.
id valueForOperatorKey(const id& collection, const NSString& key);

/// The hash of an object as tables keep it. Mixed with a seed that differs from process to process, so that neither
/// numbers at equal distances nor prepared ones fall upon each other.
KVT_EXPORT std::uint32_t mixedHash(std::uint64_t hash) noexcept;
inline std::uint32_t tableHash(const Object* object) {
  if (const StringBody* text = StringBody::of(object)) return mixedHash(text->hash());
  return mixedHash(id(borrow, object).hash());
}

/// Raises NSGenericException.
[[noreturn]] void raiseMutated(const id& collection);
/// Raises NSGenericException: an `isEqual:` has changed the collection that was being searched.
[[noreturn]] void raiseChangedBySearch();
/// Raises NSInvalidArgumentException: "*** -[CLASS SELECTOR]: REASON".
[[noreturn]] void raiseInvalidArgument(const char* method, const std::string& reason);

/// Opened by a destructor that releases elements. Past a depth of destructors within destructors elements are put aside
/// and released when the outermost one ends, so that long chains of collections do not use up the stack.
class ReleaseScope {
 public:
  ReleaseScope() noexcept { ++state.depth; }
  ReleaseScope(const ReleaseScope&) = delete;
  ReleaseScope& operator=(const ReleaseScope&) = delete;
  ~ReleaseScope() {
    if (state.depth == 1 && state.count != 0) drain();
    --state.depth;
  }
  void release(Object* object) noexcept {
    if (object == nullptr) return;
    if (state.depth <= kMaximumDepth || isLeaf(object))
      ObjectAccess::release(object);
    else
      putAside(object);
  }

 private:
  static constexpr unsigned kMaximumDepth = 100;

  // Plain data: it must work while other thread-local objects are destroyed.
  struct State {
    unsigned depth;
    std::size_t count, capacity;
    Object** objects;
  };
  [[gnu::tls_model("initial-exec")]] static constinit inline thread_local State state{};

  static void putAside(Object* object) noexcept;
  static void drain() noexcept;
};

}  // namespace kvt::collections
