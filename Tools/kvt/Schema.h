// What a document holds, place by place: which keys the objects there have and what stands under them. A place is a
// path with the array indices left out; all objects of one place share one shape.
//
//     Schema schema(document, progress);
//     for (const Member& member : schema.top().shape->members) member.values.kinds();
//
// Walks the document once, then simplifies: what looks like a map (many keys, or keys that are data) becomes one, and
// shapes with the same keys and no contradiction between them become one shape, so that a tree of equal nodes has one.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <KVTPlatform/Values/id.h>

namespace kvt {
class NSArray;
class NSDictionary;
class NSNumber;
}  // namespace kvt

namespace kvt::tool {

class Progress;
struct Shape;

/// Kinds of JSON values, as bits; null is none of them.
enum Kind : unsigned { kBoolean = 1, kInteger = 2, kReal = 4, kDecimal = 8, kText = 16, kObject = 32, kArray = 64 };
inline constexpr unsigned kNumeric = kInteger | kReal | kDecimal;

/// The values of one place, counted.
struct Observed {
  std::uint64_t nulls = 0;
  std::uint64_t counts[7] = {};        // by bit of Kind
  bool negative = false;               // an integer below 0
  bool aboveInt64 = false;             // an integer that only 64 bits without a sign hold
  bool aboveDouble = false;            // an integer that a double would round
  Shape* shape = nullptr;              // of the objects
  std::unique_ptr<Observed> elements;  // of the arrays

  std::uint64_t total() const noexcept;
  unsigned kinds() const noexcept;
};

struct Member {
  std::string key;
  Observed values;
};

struct Shape {
  std::uint64_t objects = 0;
  std::vector<Member> members;  // in the order in which they were first met; empty for a map
  bool isMap = false;
  Observed mapped;      // what a map's keys lead to
  bool unlike = false;  // the same place holds objects that are no one shape: they stay dictionaries
  bool isTop = false;   // nothing but a class will do
  std::size_t distinctKeys = 0;

  // How the shape is found while it grows.
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
  };
  std::unordered_map<std::string, std::size_t, Hash, std::equal_to<>> index;
  Shape* sameAs = nullptr;
  bool settled = false;

  Member* find(std::string_view key) noexcept;
};

class Schema {
 public:
  /// An object with more keys than this is a map, not an instance of a class.
  static constexpr std::size_t kMostKeys = 256;
  /// The top level has no property that could hold a map: it may have as many.
  static constexpr std::size_t kMostKeysAtTop = 16'384;

  Schema(const id& document, Progress& progress);

  const Observed& top() const noexcept { return top_; }
  /// Everything that stands under a key or in an array.
  std::uint64_t values() const noexcept { return values_ - 1; }

 private:
  void observe(Observed& place, const id& value);
  void observeNumber(Observed& place, const NSNumber& number);
  void observeObject(Observed& place, const NSDictionary& object);
  Observed& memberOf(Shape& shape, std::string_view key, std::size_t& expected);
  Shape* newShape();

  void absorb(Observed& into, Observed&& from);
  void absorbMembers(Shape& into, Shape& from);
  void makeMap(Shape& shape);
  void mergeShapes(Shape* a, Shape* b);
  void mergePending();

  bool looksLikeMap(const Shape& shape) const;
  bool mapsToClass(const Shape& shape) const;
  void settleTop();
  void settle(Observed& place);
  void resolve(Observed& place);

  void unifyEqualShapes();
  using Pairs = std::set<std::pair<const Shape*, const Shape*>>;
  bool compatible(Shape* a, Shape* b, Pairs& assumed);
  bool compatible(const Observed& a, const Observed& b, Pairs& assumed);

  Progress& progress_;
  Observed top_;
  std::deque<Shape> shapes_;
  std::vector<std::pair<Shape*, Shape*>> pending_;
  std::uint64_t values_ = 0;
  std::uint64_t comparisons_ = 0;
};

}  // namespace kvt::tool
