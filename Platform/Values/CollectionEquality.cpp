// Equality and hashes of collections, for any nesting.
#include <boost/unordered/unordered_flat_set.hpp>
#include <utility>
#include <vector>

#include "CollectionSupport.h"
#include "NSArrayBody.h"
#include "NSDictionaryBody.h"
#include "NSSetBody.h"

namespace kvt::collections {
namespace {

using Pair = std::pair<const Object*, const Object*>;

/// Compares two collections and those within them. Pairs of nested collections are worked off from a list: deep nesting
/// needs no stack. A pair that was met before counts as equal, since any difference in it is found where it was met
/// first: so collections that contain themselves come to an end, and what is shared is compared once.
class Comparison {
 public:
  bool run(const Object* a, const Object* b) {
    if (!compareContents(a, b)) return false;
    while (!pending_.empty()) {
      auto [left, right] = std::move(pending_.back());
      pending_.pop_back();
      if (!compareContents(left.object(), right.object())) return false;
    }
    return true;
  }

 private:
  /// Few nested pairs are not worth remembering.
  static constexpr std::size_t kUnremembered = 256;

  bool compareContents(const Object* a, const Object* b) {
    if (isArray(a)) {
      return isArray(b) && compareArrays(static_cast<const ArrayBody&>(*a), static_cast<const ArrayBody&>(*b));
    }
    if (isDictionary(a)) {
      return isDictionary(b) &&
             compareDictionaries(static_cast<const DictionaryBody&>(*a), static_cast<const DictionaryBody&>(*b));
    }
    return isSet(a) && isSet(b) && compareSets(static_cast<const SetBody&>(*a), static_cast<const SetBody&>(*b));
  }

  // A client's `isEqual:` may change what is being compared: nothing is kept across an element.
  bool compareArrays(const ArrayBody& a, const ArrayBody& b) {
    if (a.count != b.count) return false;
    for (std::size_t i = 0; i < a.count; ++i) {
      if (i >= b.count || !compareElements(a.items[i].object(), b.items[i].object())) return false;
    }
    return true;
  }

  bool compareDictionaries(const DictionaryBody& a, const DictionaryBody& b) {
    using Table = DictionaryBody::Table;
    if (a.table.count != b.table.count) return false;
    for (std::uint32_t i = a.table.next(0); i < a.table.used; i = a.table.next(i + 1)) {
      const DictionaryBody::Slot& slot = a.table.slots[i];
      const id held = heldForSearch(slot.key);
      const std::uint32_t found = b.table.find(slot.key.object(), slot.hash);
      if (found == Table::kNone || i >= a.table.used) return false;
      const Object* left = a.table.slots[i].value.object();
      const Object* right = b.table.slots[found].value.object();
      if (left == nullptr || !compareElements(left, right)) return false;
    }
    return true;
  }

  bool compareSets(const SetBody& a, const SetBody& b) {
    if (a.table.count != b.table.count) return false;
    for (std::uint32_t i = a.table.next(0); i < a.table.used; i = a.table.next(i + 1)) {
      const SetBody::Slot& slot = a.table.slots[i];
      const id held = heldForSearch(slot);
      if (b.table.find(slot.object(), slot.hash) == SetBody::Table::kNone) return false;
    }
    return true;
  }

  /// Searching by what may call a client's code must not lose it.
  static id heldForSearch(const id& key) noexcept { return isLeaf(key.object()) ? id() : key; }

  bool compareElements(const Object* a, const Object* b) {
    if (a == b) return true;
    if (!isCollection(a) || !isCollection(b)) return equal(a, b);
    if (seen_ >= kUnremembered && !remembered_.insert(Pair(a, b)).second) return true;
    ++seen_;
    pending_.emplace_back(id(borrow, a), id(borrow, b));
    return true;
  }

  std::vector<std::pair<id, id>> pending_;
  boost::unordered_flat_set<Pair> remembered_;
  std::size_t seen_ = 0;
};

/// Elements of sets and keys of dictionaries must be told apart on the spot, which recurs; so do clients' objects that
/// compare their collections.
constexpr unsigned kMaximumDepth = 1000;
constinit thread_local unsigned depth = 0;

struct DepthScope {
  DepthScope() noexcept { ++depth; }
  ~DepthScope() { --depth; }
};

// ---- hashes -------------------------------------------------------------------------------------------------------

// Numbers in a hash must be the same for equal collections only, not for neighbours: multiply and add in the order of
// elements, add where there is no order.
std::uint64_t spread(std::uint64_t hash) noexcept {
  hash *= 0x9E3779B97F4A7C15u;
  return hash ^ (hash >> 32);
}

/// What an element says about its collection without calling a client's code or going deeper than one level.
std::uint64_t hashElement(const Object* object, bool outermost);

std::uint64_t hashContents(const Object* collection, bool outermost) {
  std::uint64_t hash = 0;
  if (isArray(collection)) {
    const auto& body = static_cast<const ArrayBody&>(*collection);
    hash = body.count;
    for (std::size_t i = 0; i < body.count; ++i) hash = spread(hash + hashElement(body.items[i].object(), outermost));
  } else if (isDictionary(collection)) {
    const auto& table = static_cast<const DictionaryBody&>(*collection).table;
    hash = table.count + 0x1000000;
    for (std::uint32_t i = table.next(0); i < table.used; i = table.next(i + 1)) {
      hash += spread(table.slots[i].hash + spread(hashElement(table.slots[i].value.object(), outermost)));
    }
  } else {
    const auto& table = static_cast<const SetBody&>(*collection).table;
    hash = table.count + 0x2000000;
    for (std::uint32_t i = table.next(0); i < table.used; i = table.next(i + 1)) hash += spread(table.slots[i].hash);
  }
  return spread(hash);
}

std::uint64_t hashElement(const Object* object, bool outermost) {
  if (isLeaf(object)) return id(borrow, object).hash();
  if (!isCollection(object)) return 1;
  return outermost ? hashContents(object, false) : 2;
}

}  // namespace

bool equalCollections(const Object* a, const Object* b) {
  if (a == b) return true;
  if (depth >= kMaximumDepth) return false;
  DepthScope scope;
  return Comparison().run(a, b);
}

std::uint64_t hashCollection(const Object* collection) { return hashContents(collection, true); }

}  // namespace kvt::collections
