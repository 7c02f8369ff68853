// What the tests of collections share.
#pragma once

#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>

#include <functional>
#include <string>
#include <vector>

namespace kvt::collection_test {

/// "NAME: REASON" of what the call raises, "" when it raises nothing.
template <class Call>
std::string raisedBy(const Call& call) {
  try {
    call();
  } catch (const NSException& e) {
    return e.what();
  }
  return "";
}

inline std::string text(const id& object) { return object ? object.description().str() : "nil"; }

/// The elements' descriptions, with a blank between.
template <class Collection>
std::string texts(const Collection& collection) {
  std::string all;
  for (const id& each : collection) all += (all.empty() ? "" : " ") + text(each);
  return all;
}

/// Equal to others of its value, and counted while alive. What it calls when it is asked, or goes, can be set.
class Item : public NSObject {
 public:
  int64_t value = 0;
  NSString name;
  Item() { ++alive; }
  explicit Item(int64_t v) : value(v) { ++alive; }
  ~Item() override {
    --alive;
    if (onDestruction) onDestruction();
  }
  std::uint64_t hash() const { return hashes ? hashes(value) : static_cast<std::uint64_t>(value); }
  bool isEqual(const id& other) const {
    if (onComparison) onComparison();
    return other.is<Item>() && other.as<Item>()->value == value;
  }
  NSString description() const { return NSString("item " + std::to_string(value)); }
  id copyWithZone() const { return id(borrow, this); }
  NSComparisonResult compare(const id& other) const {
    const int64_t theirs = other.as<Item>()->value;
    return value < theirs ? NSOrderedAscending : value > theirs ? NSOrderedDescending : NSOrderedSame;
  }
  static void kvtDescribe(ClassBuilder<Item>& c) { c.method<&Item::compare>("compare:"); }

  std::function<void()> onDestruction, onComparison;
  static inline std::function<std::uint64_t(int64_t)> hashes;
  static inline int alive = 0;
  KVT_CLASS(Item, value, name)
};

/// An object that cannot be copied.
class Plain : public NSObject {
 public:
  KVT_CLASS(Plain)
};

}  // namespace kvt::collection_test
