#include "Survival.h"

#include <algorithm>

#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>

#include "Plan.h"
#include "Progress.h"

namespace kvt::tool {

constexpr Survival::Kind Survival::kNullValue = {"null under a key",
                                                 "the property is nil for null, and nil properties are not written"};
constexpr Survival::Kind Survival::kNullElement = {"null among models", "a container of models holds models only"};
constexpr Survival::Kind Survival::kEmptyKey = {"the key \"\"", "the mapper takes \"\" for \"not mapped\""};
constexpr Survival::Kind Survival::kPathKey = {
    "key that is also a path", "a key with a point is read as a path, and the object on that path came first"};
constexpr Survival::Kind Survival::kForeignElement = {"element that is no object", "only objects become models"};
constexpr Survival::Kind Survival::kNumber = {"number", "its value changed"};
constexpr Survival::Kind Survival::kOther = {"value", "it came back as another one"};
constexpr Survival::Kind Survival::kMissing = {"missing", "it was not written"};
constexpr Survival::Kind Survival::kAdded = {"added", "the document has no such key there"};

namespace {

bool isNull(const id& value) { return !value || value.is<NSNull>(); }

/// The same number, and not a boolean in a number's place.
bool sameNumber(const NSNumber& a, const NSNumber& b) { return a.isBool() == b.isBool() && a.isEqualToNumber(b); }

/// Whether the object holds what the engine finds when it reads the key as a path.
bool pathLeadsSomewhere(const NSDictionary& object, std::string_view path) {
  id value = object;
  while (value && !path.empty()) {
    const std::string_view part = path.substr(0, path.find('.'));
    path.remove_prefix(std::min(path.size(), part.size() + 1));
    if (!part.empty()) value = value.as<NSDictionary>().objectForKey(part);
  }
  return static_cast<bool>(value);
}

std::string_view keyOf(const id& key) { return key.as<NSString>().utf8(); }

}  // namespace

std::uint64_t Survival::lost() const noexcept {
  std::uint64_t sum = 0;
  for (const Loss& loss : losses_) sum += loss.count;
  return sum;
}

void Survival::compare(const id& before, const id& after) {
  const NSDictionary object = after.as<NSDictionary>();
  switch (plan_.topLevel) {
    case TopLevel::kObject: return compareObject(plan_.top(), before.as<NSDictionary>(), object);
    case TopLevel::kArray: return compareModels(plan_.top(), before.as<NSArray>(), after.as<NSArray>());
    case TopLevel::kMap: return compareModels(plan_.top(), before.as<NSDictionary>(), object);
  }
}

void Survival::compareObject(const ClassPlan& cls, const NSDictionary& before, const NSDictionary& after) {
  NSUInteger found = 0;
  steps_.emplace_back();
  for (const auto& [key, value] : before) {
    ++compared_;
    progress_.step();
    steps_.back().key = keyOf(key);
    const PropertyPlan& property = *cls.byKey.at(keyOf(key));
    const id now = after.objectForKey(key);
    found += now ? 1 : 0;
    if (now && property.isPath() && pathLeadsSomewhere(before, property.key)) {
      if (!value.isEqual(now)) lose(kPathKey);
    } else if (now) {
      compareProperty(property, value, now);
    } else if (!property.isMapped()) {
      lose(kEmptyKey);
    } else if (isNull(value)) {
      lose(kNullValue);
    } else {
      lose(property.isPath() ? kPathKey : kMissing);
    }
  }
  if (after.count() > found) {
    for (const auto& [key, value] : after) {
      if (before.objectForKey(key)) continue;
      steps_.back().key = keyOf(key);
      auto property = cls.byKey.find(keyOf(key));
      lose(property != cls.byKey.end() && property->second->isPath() ? kPathKey : kAdded);
    }
  }
  steps_.pop_back();
}

void Survival::compareProperty(const PropertyPlan& property, const id& before, const id& after) {
  const NSDictionary object = before.as<NSDictionary>(), objectAfter = after.as<NSDictionary>();
  const NSArray array = before.as<NSArray>(), arrayAfter = after.as<NSArray>();
  if (property.object != nullptr && object && objectAfter) {
    compareObject(*property.object, object, objectAfter);
  } else if (property.element != nullptr && object && objectAfter) {
    compareModels(*property.element, object, objectAfter);
  } else if (property.element != nullptr && array && arrayAfter) {
    compareModels(*property.element, array, arrayAfter);
  } else {
    comparePlain(before, after);
  }
}

void Survival::compareModels(const ClassPlan& cls, const NSArray& before, const NSArray& after) {
  // What is no object was left out: the others have moved up.
  NSUInteger at = 0;
  steps_.push_back({{}, 0, true});
  for (const id& element : before) {
    ++compared_;
    progress_.step();
    const NSDictionary object = element.as<NSDictionary>();
    if (!object)
      lose(isNull(element) ? kNullElement : kForeignElement);
    else if (at >= after.count())
      lose(kMissing);
    else
      compareObject(cls, object, after[at++].as<NSDictionary>());
    ++steps_.back().index;
  }
  for (; at < after.count(); ++at) lose(kAdded);
  steps_.pop_back();
}

void Survival::compareModels(const ClassPlan& cls, const NSDictionary& before, const NSDictionary& after) {
  steps_.emplace_back();
  for (const auto& [key, element] : before) {
    ++compared_;
    progress_.step();
    steps_.back().key = keyOf(key);
    const NSDictionary object = element.as<NSDictionary>(), now = after.objectForKey(key).as<NSDictionary>();
    if (!object)
      lose(isNull(element) ? kNullElement : kForeignElement);
    else if (!now)
      lose(kMissing);
    else
      compareObject(cls, object, now);
  }
  for (const auto& [key, element] : after) {
    steps_.back().key = keyOf(key);
    if (!before.objectForKey(key)) lose(kAdded);
  }
  steps_.pop_back();
}

/// Values that no class stands behind: they should be as they were, nulls included.
void Survival::comparePlain(const id& before, const id& after) {
  if (const NSDictionary object = before.as<NSDictionary>(); object && after.is<NSDictionary>()) {
    const NSDictionary now = after.as<NSDictionary>();
    steps_.emplace_back();
    for (const auto& [key, value] : object) {
      ++compared_;
      progress_.step();
      steps_.back().key = keyOf(key);
      const id other = now.objectForKey(key);
      if (other)
        comparePlain(value, other);
      else
        lose(kMissing);
    }
    for (const auto& [key, value] : now) {
      steps_.back().key = keyOf(key);
      if (!object.objectForKey(key)) lose(kAdded);
    }
    steps_.pop_back();
  } else if (const NSArray array = before.as<NSArray>(); array && after.is<NSArray>()) {
    const NSArray now = after.as<NSArray>();
    steps_.push_back({{}, 0, true});
    for (const id& element : array) {
      ++compared_;
      progress_.step();
      if (steps_.back().index < now.count())
        comparePlain(element, now[steps_.back().index]);
      else
        lose(kMissing);
      ++steps_.back().index;
    }
    for (; steps_.back().index < now.count(); ++steps_.back().index) lose(kAdded);
    steps_.pop_back();
  } else if (const NSNumber number = before.as<NSNumber>(); number && after.is<NSNumber>()) {
    if (!sameNumber(number, after.as<NSNumber>())) lose(kNumber);
  } else if (isNull(before) ? !isNull(after) : !before.isEqual(after)) {
    lose(kOther);
  }
}

void Survival::lose(const Kind& kind) {
  for (Loss& loss : losses_) {
    if (loss.what != kind.what) continue;
    ++loss.count;
    return;
  }
  losses_.push_back({kind.what, kind.reason, 1, path()});
}

std::string Survival::path() const {
  std::string text;
  for (const Step& step : steps_) text += step.isIndex ? "[" + std::to_string(step.index) + "]" : pathStep(step.key);
  // The first key stands alone.
  return text.starts_with('.') ? text.substr(1) : text;
}

}  // namespace kvt::tool
