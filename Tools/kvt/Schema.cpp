#include "Schema.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>

#include "Progress.h"

namespace kvt::tool {
namespace {

std::uint64_t& countOf(Observed& place, Kind kind) noexcept {
  return place.counts[std::countr_zero(static_cast<unsigned>(kind))];
}

Shape* canonical(Shape* shape) noexcept {
  while (shape != nullptr && shape->sameAs != nullptr) shape = shape->sameAs;
  return shape;
}

/// Names of attributes look like words ("name", "Content-Type", "@id", "first name"); dates, paths, numbers, addresses
/// and dotted names are data that happens to stand in a key's place.
bool looksLikeData(std::string_view key) noexcept {
  if (key.empty()) return false;
  const auto isLetter = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || static_cast<signed char>(c) < 0;
  };
  if (!isLetter(key[0]) && std::string_view("_$@").find(key[0]) == std::string_view::npos) return true;
  return std::any_of(key.begin() + 1, key.end(), [&](char c) {
    return !isLetter(c) && !(c >= '0' && c <= '9') && std::string_view("_$@-: ").find(c) == std::string_view::npos;
  });
}

/// All integers and reals are one kind where only the kind of text, number or structure matters.
unsigned broadKinds(const Observed& place) noexcept {
  const unsigned kinds = place.kinds();
  return (kinds & kNumeric) != 0 ? kinds | kNumeric : kinds;
}

bool isUniform(unsigned broad) noexcept { return broad == kNumeric || std::has_single_bit(broad); }

}  // namespace

std::uint64_t Observed::total() const noexcept {
  std::uint64_t sum = nulls;
  for (std::uint64_t count : counts) sum += count;
  return sum;
}

unsigned Observed::kinds() const noexcept {
  unsigned bits = 0;
  for (unsigned i = 0; i < 7; ++i) bits |= counts[i] != 0 ? 1u << i : 0;
  return bits;
}

Member* Shape::find(std::string_view key) noexcept {
  auto found = index.find(key);
  return found == index.end() ? nullptr : &members[found->second];
}

Schema::Schema(const id& document, Progress& progress) : progress_(progress) {
  observe(top_, document);
  settleTop();
  unifyEqualShapes();
}

// ---- walking the document
// ---------------------------------------------------------------------------------------------

void Schema::observe(Observed& place, const id& value) {
  ++values_;
  progress_.step();
  if (value.is<NSString>()) {
    ++countOf(place, kText);
  } else if (const NSNumber number = value.as<NSNumber>()) {
    observeNumber(place, number);
  } else if (const NSDictionary object = value.as<NSDictionary>()) {
    observeObject(place, object);
  } else if (const NSArray array = value.as<NSArray>()) {
    ++countOf(place, kArray);
    if (!place.elements) place.elements = std::make_unique<Observed>();
    for (const id& element : array) observe(*place.elements, element);
  } else {
    ++place.nulls;
  }
}

void Schema::observeNumber(Observed& place, const NSNumber& number) {
  constexpr std::int64_t kExactInDouble = std::int64_t{1} << 53;
  if (number.isBool()) {
    ++countOf(place, kBoolean);
  } else if (number.is<NSDecimalNumber>()) {
    ++countOf(place, kDecimal);
  } else if (number.isFloatingPoint()) {
    ++countOf(place, kReal);
  } else {
    ++countOf(place, kInteger);
    const std::int64_t value = number.longLongValue();
    const bool above = value < 0 && number.compare(NSNumber(0)) == NSOrderedDescending;
    place.aboveInt64 = place.aboveInt64 || above;
    place.negative = place.negative || (value < 0 && !above);
    place.aboveDouble = place.aboveDouble || value > kExactInDouble || value < -kExactInDouble || above;
  }
}

void Schema::observeObject(Observed& place, const NSDictionary& object) {
  ++countOf(place, kObject);
  if (place.shape == nullptr) {
    place.shape = newShape();
    place.shape->isTop = &place == &top_ || &place == top_.elements.get();
  }
  Shape* const shape = place.shape = canonical(place.shape);
  ++shape->objects;
  std::size_t expected = 0;
  for (const auto& [key, value] : object) observe(memberOf(*shape, key.as<NSString>().utf8(), expected), value);
}

Observed& Schema::memberOf(Shape& shape, std::string_view key, std::size_t& expected) {
  if (shape.isMap) return shape.mapped;
  // Objects of one place mostly have their keys in one order.
  if (expected < shape.members.size() && shape.members[expected].key == key) return shape.members[expected++].values;
  auto found = shape.index.find(key);
  if (found == shape.index.end()) {
    if (shape.members.size() >= (shape.isTop ? kMostKeysAtTop : kMostKeys)) {
      makeMap(shape);
      mergePending();
      return shape.mapped;
    }
    found = shape.index.emplace(key, shape.members.size()).first;
    shape.members.emplace_back().key = key;
    shape.distinctKeys = shape.members.size();
  }
  expected = found->second + 1;
  return shape.members[found->second].values;
}

Shape* Schema::newShape() { return &shapes_.emplace_back(); }

// ---- making one of two
// ------------------------------------------------------------------------------------------------

/// Adds one place's counts to another's. Shapes that meet are merged later, so that nothing moves under a caller's
/// reference.
void Schema::absorb(Observed& into, Observed&& from) {
  into.nulls += from.nulls;
  for (unsigned i = 0; i < 7; ++i) into.counts[i] += from.counts[i];
  into.negative = into.negative || from.negative;
  into.aboveInt64 = into.aboveInt64 || from.aboveInt64;
  into.aboveDouble = into.aboveDouble || from.aboveDouble;
  if (into.elements && from.elements)
    absorb(*into.elements, std::move(*from.elements));
  else if (from.elements)
    into.elements = std::move(from.elements);
  if (into.shape != nullptr && from.shape != nullptr)
    pending_.emplace_back(into.shape, from.shape);
  else if (from.shape != nullptr)
    into.shape = from.shape;
}

void Schema::makeMap(Shape& shape) {
  shape.isMap = true;
  for (Member& member : shape.members) absorb(shape.mapped, std::move(member.values));
  shape.members.clear();
  shape.index.clear();
}

void Schema::absorbMembers(Shape& into, Shape& from) {
  for (Member& member : from.members) {
    if (Member* own = into.find(member.key)) {
      absorb(own->values, std::move(member.values));
    } else {
      into.index.emplace(member.key, into.members.size());
      into.members.push_back(std::move(member));
    }
  }
  into.distinctKeys = into.members.size();
  if (into.distinctKeys > (into.isTop ? kMostKeysAtTop : kMostKeys)) makeMap(into);
}

void Schema::mergeShapes(Shape* a, Shape* b) {
  a = canonical(a);
  b = canonical(b);
  if (a == b) return;
  if (b->isTop) std::swap(a, b);
  b->sameAs = a;
  a->objects += b->objects;
  a->unlike = a->unlike || b->unlike;
  if (a->isMap != b->isMap) {
    if (a->isTop) {
      a->unlike = true;
      return;
    }
    makeMap(a->isMap ? *b : *a);
  }
  if (a->isMap) {
    a->distinctKeys = std::max(a->distinctKeys, b->distinctKeys);
    absorb(a->mapped, std::move(b->mapped));
  } else {
    absorbMembers(*a, *b);
  }
  b->members.clear();
  b->index.clear();
}

void Schema::mergePending() {
  while (!pending_.empty()) {
    const auto [a, b] = pending_.back();
    pending_.pop_back();
    mergeShapes(a, b);
  }
}

// ---- which shapes are maps
// --------------------------------------------------------------------------------------------

bool Schema::looksLikeMap(const Shape& shape) const {
  if (shape.members.size() < 2) return false;
  std::size_t data = 0;
  unsigned kinds = 0;
  bool varies = false;
  for (const Member& member : shape.members) {
    data += looksLikeData(member.key) ? 1 : 0;
    kinds |= broadKinds(member.values);
    varies = varies || member.values.total() < shape.objects;
  }
  // A single object cannot show that its keys vary; then there must be more of them.
  return data * 2 > shape.members.size() && isUniform(kinds) &&
         (shape.objects > 1 ? varies : shape.members.size() >= 8);
}

/// Whether every key leads to an object that could be an instance of a class: at the top those become the models, and
/// there is no property to hold anything else.
bool Schema::mapsToClass(const Shape& shape) const {
  bool hasMembers = false;
  for (const Member& member : shape.members) {
    const Shape* const child = member.values.shape;
    if (member.values.kinds() != kObject || child->isMap || looksLikeMap(*child)) return false;
    hasMembers = hasMembers || !child->members.empty();
  }
  return hasMembers;
}

void Schema::settleTop() {
  if (Shape* const shape = top_.shape) {
    if (!shape->isMap && (shape->distinctKeys > kMostKeys || looksLikeMap(*shape)) && mapsToClass(*shape)) {
      shape->members.front().values.shape->isTop = true;
      makeMap(*shape);
      mergePending();
    }
    if (Shape* const below = canonical(shape->mapped.shape)) below->isTop = true;
  }
  settle(top_);
}

void Schema::settle(Observed& place) {
  if (place.elements) settle(*place.elements);
  if (place.shape == nullptr) return;
  Shape& shape = *(place.shape = canonical(place.shape));
  if (shape.settled) return;
  shape.settled = true;
  if (!shape.isMap && !shape.isTop && looksLikeMap(shape)) {
    makeMap(shape);
    mergePending();
  }
  if (shape.isMap) settle(shape.mapped);
  // By index: what is merged below this shape never touches its own members.
  for (std::size_t i = 0; i < shape.members.size(); ++i) settle(shape.members[i].values);
}

// ---- which shapes are equal
// -------------------------------------------------------------------------------------------

void Schema::unifyEqualShapes() {
  constexpr std::size_t kMostCandidates = 4;
  std::unordered_map<std::string, std::vector<Shape*>> byKeys;
  for (Shape& shape : shapes_) {
    if (shape.sameAs != nullptr || shape.isMap || shape.members.empty()) continue;
    std::vector<std::string_view> keys;
    for (const Member& member : shape.members) keys.push_back(member.key);
    std::sort(keys.begin(), keys.end());
    std::string signature;
    for (std::string_view key : keys) signature.append(key).push_back('\0');
    auto& candidates = byKeys[signature];
    bool merged = false;
    for (Shape* candidate : candidates) {
      Pairs assumed;
      if ((merged = compatible(canonical(candidate), &shape, assumed))) {
        mergeShapes(candidate, &shape);
        mergePending();
        break;
      }
    }
    if (!merged && candidates.size() < kMostCandidates) candidates.push_back(&shape);
  }
  for (Shape& shape : shapes_) {
    resolve(shape.mapped);
    for (Member& member : shape.members) resolve(member.values);
  }
  resolve(top_);
}

void Schema::resolve(Observed& place) {
  place.shape = canonical(place.shape);
  if (place.elements) resolve(*place.elements);
}

/// Whether one shape for both would contradict neither. What is being compared already counts as compatible: trees end
/// there.
bool Schema::compatible(Shape* a, Shape* b, Pairs& assumed) {
  constexpr std::uint64_t kMostComparisons = 1'000'000;
  a = canonical(a);
  b = canonical(b);
  if (a == b || assumed.contains({a, b})) return true;
  if (a->isMap != b->isMap || a->unlike || b->unlike || ++comparisons_ > kMostComparisons) return false;
  assumed.emplace(a, b);
  if (a->isMap) return compatible(a->mapped, b->mapped, assumed);
  // One may lack what the other has, not both: they would be two things with a common part.
  if (a->members.size() < b->members.size()) std::swap(a, b);
  for (const Member& member : b->members) {
    const Member* other = a->find(member.key);
    if (other == nullptr || !compatible(other->values, member.values, assumed)) return false;
  }
  return true;
}

bool Schema::compatible(const Observed& a, const Observed& b, Pairs& assumed) {
  const unsigned ours = broadKinds(a), theirs = broadKinds(b);
  if (ours != 0 && theirs != 0 && ours != theirs) return false;
  if (a.shape != nullptr && b.shape != nullptr && !compatible(a.shape, b.shape, assumed)) return false;
  return !a.elements || !b.elements || compatible(*a.elements, *b.elements, assumed);
}

}  // namespace kvt::tool
