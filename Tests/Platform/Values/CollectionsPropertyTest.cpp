// Long random sequences of operations, held against the standard containers.
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSSet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <unordered_map>

#include "CollectionTestSupport.h"

namespace kvt::collection_test {
namespace {

/// How the keys of one run are distributed, and how often it removes.
struct Pattern {
  const char* what;
  unsigned seed;
  int keys;        // so many different ones
  int removing;    // percent
  bool badHashes;  // one in eight keys has the hash of another
  bool textKeys;
};
const Pattern kPatterns[] = {
    {"few keys", 1, 6, 45, false, true},       {"around the first index", 2, 12, 48, false, true},
    {"many keys", 3, 3000, 40, false, true},   {"many removals", 4, 3000, 55, false, false},
    {"equal hashes", 5, 400, 45, true, false}, {"equal hashes, few keys", 6, 14, 45, true, false},
    {"growing", 7, 100000, 5, false, false},
};
constexpr int kSteps = 20000;

class CollectionPropertyTest : public testing::TestWithParam<Pattern> {
 protected:
  CollectionPropertyTest() : random_(GetParam().seed) {
    if (GetParam().badHashes) Item::hashes = [](int64_t value) { return static_cast<std::uint64_t>(value / 8); };
  }
  ~CollectionPropertyTest() override { Item::hashes = nullptr; }

  int number(int end) { return std::uniform_int_distribution<int>(0, end - 1)(random_); }
  bool removes() { return number(100) < GetParam().removing; }
  id keyOf(int number) const {
    if (GetParam().textKeys) return NSString("key " + std::to_string(number));
    if (GetParam().badHashes) return make<Item>(number);
    return NSNumber(number);
  }

 private:
  std::mt19937 random_;
};

TEST_P(CollectionPropertyTest, DictionariesDoAsAModelDoes) {
  const Pattern& pattern = GetParam();
  const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
  // The model keeps the order in a vector with holes.
  std::unordered_map<int, std::size_t> places;
  std::vector<std::pair<int, int>> order;
  const auto holds = [&](const NSDictionary& each) {
    if (each.count() != places.size()) return false;
    std::size_t at = 0, found = 0;
    for (const auto& [key, value] : each) {
      while (at < order.size() && order[at].first < 0) ++at;
      if (at == order.size() || !(key == keyOf(order[at].first)) || !(value == NSNumber(order[at].second)))
        return false;
      ++at;
      ++found;
    }
    return found == places.size();
  };
  for (int step = 0; step < kSteps; ++step) {
    const int key = number(pattern.keys);
    const auto known = places.find(key);
    ASSERT_EQ(dictionary[keyOf(key)], known == places.end() ? id() : id(NSNumber(order[known->second].second))) << step;
    if (pattern.textKeys) {
      ASSERT_EQ(static_cast<bool>(dictionary["key " + std::to_string(key)]), known != places.end()) << step;
    }
    if (removes()) {
      dictionary.removeObjectForKey(keyOf(key));
      if (known != places.end()) {
        order[known->second].first = -1;
        places.erase(known);
      }
    } else {
      dictionary.setObject_forKey(step, keyOf(key));
      if (known != places.end()) {
        order[known->second].second = step;
      } else {
        places[key] = order.size();
        order.emplace_back(key, step);
      }
    }
    if (step % 5000 == 4321) {
      dictionary.removeAllObjects();
      places.clear();
      order.clear();
    }
    ASSERT_EQ(dictionary.count(), places.size());
    if (step % (pattern.keys > 100 ? 997 : 13) == 0) {
      ASSERT_TRUE(holds(dictionary)) << step;
      const NSDictionary copy = dictionary.copy();
      ASSERT_TRUE(holds(copy)) << step;
      ASSERT_TRUE(copy.isEqual(dictionary)) << step;
      ASSERT_EQ(copy.hash(), dictionary.hash()) << step;
      ASSERT_TRUE(holds(copy.mutableCopy())) << step;
      ASSERT_EQ(dictionary.allKeys().count(), places.size());
    }
  }
  ASSERT_TRUE(holds(dictionary));
}

TEST_P(CollectionPropertyTest, SetsDoAsAModelDoes) {
  const Pattern& pattern = GetParam();
  const NSMutableSet set = NSMutableSet::set();
  std::unordered_map<int, std::size_t> places;
  std::vector<int> order;
  for (int step = 0; step < kSteps; ++step) {
    const int key = number(pattern.keys);
    const auto known = places.find(key);
    ASSERT_EQ(set.containsObject(keyOf(key)), known != places.end()) << step;
    if (removes()) {
      set.removeObject(keyOf(key));
      if (known != places.end()) {
        order[known->second] = -1;
        places.erase(known);
      }
    } else {
      set.addObject(keyOf(key));
      if (known == places.end()) {
        places[key] = order.size();
        order.push_back(key);
      }
    }
    ASSERT_EQ(set.count(), places.size());
    if (step % (pattern.keys > 100 ? 997 : 13) == 0) {
      std::size_t at = 0;
      for (const id& each : set) {
        while (at < order.size() && order[at] < 0) ++at;
        ASSERT_LT(at, order.size());
        ASSERT_EQ(each, keyOf(order[at++])) << step;
      }
      ASSERT_TRUE(set.copy().isEqual(set));
      ASSERT_EQ(set.copy().hash(), set.hash());
    }
  }
}

TEST_P(CollectionPropertyTest, ArraysDoAsAVectorDoes) {
  const Pattern& pattern = GetParam();
  const NSMutableArray array = NSMutableArray::array();
  std::vector<int> model;
  for (int step = 0; step < kSteps; ++step) {
    const int size = static_cast<int>(model.size());
    const int value = number(pattern.keys);
    const int index = number(size + 1);
    // Mostly at the ends, for a while at one of them.
    const int place = number(4) == 0 ? index : (step / 500) % 2 == 0 ? 0 : size;
    if (removes() && size > 0) {
      const int at = std::min(place, size - 1);
      const int length = number(20) == 0 ? number(size - at + 1) : 1;
      if (length == 1)
        array.removeObjectAtIndex(static_cast<NSUInteger>(at));
      else
        array.removeObjectsInRange({static_cast<NSUInteger>(at), static_cast<NSUInteger>(length)});
      model.erase(model.begin() + at, model.begin() + at + length);
    } else if (number(10) == 0) {
      const std::vector<int> several(static_cast<std::size_t>(number(9)), value);
      array.insertObjectsFromArray_atIndex(NSArray(several), static_cast<NSUInteger>(place));
      model.insert(model.begin() + place, several.begin(), several.end());
    } else if (number(20) == 0 && size > 0) {
      const int at = std::min(place, size - 1);
      array.replaceObjectAtIndex_withObject(static_cast<NSUInteger>(at), value);
      model[static_cast<std::size_t>(at)] = value;
    } else if (number(200) == 0) {
      array.removeObject(NSNumber(value));
      std::erase(model, value);
    } else if (number(2000) == 0) {
      array.sortUsingSelector("compare:");
      std::stable_sort(model.begin(), model.end());
    } else {
      array.insertObject_atIndex(value, static_cast<NSUInteger>(place));
      model.insert(model.begin() + place, value);
    }
    ASSERT_EQ(array.count(), model.size());
    if (!model.empty()) {
      ASSERT_EQ(array.firstObject(), NSNumber(model.front())) << step;
      ASSERT_EQ(array.lastObject(), NSNumber(model.back())) << step;
    }
    if (step % 499 == 0) {
      ASSERT_EQ(array.toVector<int>(), model) << step;
      const auto found = std::find(model.begin(), model.end(), value);
      ASSERT_EQ(array.indexOfObject(NSNumber(value)),
                found == model.end() ? NSNotFound : static_cast<NSUInteger>(found - model.begin()));
      ASSERT_TRUE(array.copy().isEqual(array));
    }
  }
  ASSERT_EQ(array.toVector<int>(), model);
}

INSTANTIATE_TEST_SUITE_P(, CollectionPropertyTest, testing::ValuesIn(kPatterns), [](const auto& instance) {
  std::string name = instance.param.what;
  std::erase_if(name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); });
  return name;
});

}  // namespace
}  // namespace kvt::collection_test
