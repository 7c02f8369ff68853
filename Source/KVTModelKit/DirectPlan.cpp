#include "DirectPlan.h"

#include <array>
#include <cstring>
#include <unordered_map>

#include <KVTPlatform/Runtime/ClassBody.h>
#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/ThreadOwned.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>

#include "DirectReader.h"

namespace kvt::direct {

struct ThreadPlans {
  std::uint64_t generation = 0;
  int uses = 0;
  std::unordered_map<ClassBody*, std::unique_ptr<ClassPlan>> plans;
  std::vector<Object*> elements;
  // The classes asked for last, which a caller in a loop asks for again: a model, and those that it nests.
  struct Recent {
    ClassBody* cls = nullptr;
    ClassPlan* plan = nullptr;
  };
  std::array<Recent, 8> recent;

  Recent& recentFor(ClassBody* cls) noexcept {
    return recent[(reinterpret_cast<std::uintptr_t>(cls) / alignof(std::max_align_t)) * 0x9E3779B97F4A7C15u >> 61];
  }
};

namespace {

ThreadPlans& threadPlans() { return ThreadOwned<ThreadPlans>::get(); }

/// The class an object encoding names, when its members hold it strongly through a default setter.
const Accessor* defaultAccessor(Class cls, SEL sel, Accessor::Kind kind) {
  const Accessor* accessor = method_getDefaultAccessor(class_getInstanceMethod(cls, sel));
  return accessor != nullptr && accessor->kind == kind ? accessor : nullptr;
}

struct NumberKind {
  Kind kind;
  std::size_t size;
};

NumberKind numberKind(KVTEncodingType type) {
  switch (type) {
    case KVTEncodingTypeBool: return {Kind::kBool, 1};
    case KVTEncodingTypeInt8: return {Kind::kInt8, 1};
    case KVTEncodingTypeUInt8: return {Kind::kUInt8, 1};
    case KVTEncodingTypeInt16: return {Kind::kInt16, 2};
    case KVTEncodingTypeUInt16: return {Kind::kUInt16, 2};
    case KVTEncodingTypeInt32: return {Kind::kInt32, 4};
    case KVTEncodingTypeUInt32: return {Kind::kUInt32, 4};
    case KVTEncodingTypeInt64: return {Kind::kInt64, 8};
    case KVTEncodingTypeUInt64: return {Kind::kUInt64, 8};
    case KVTEncodingTypeFloat: return {Kind::kFloat, 4};
    case KVTEncodingTypeDouble: return {Kind::kDouble, 8};
    default: return {Kind::kOther, 0};
  }
}

/// Whether the bytes stand in JSON text as they are.
bool isPlain(std::string_view key) {
  for (const char c : key) {
    if (c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20) return false;
  }
  return true;
}

}  // namespace

Entry::Entry() noexcept : pass(passOf(Kind::kUnknownKey)) { std::memset(comma, 0xFF, sizeof comma); }

std::uint32_t ClassPlan::hashOf(std::string_view key) noexcept {
  std::uint64_t head = 0;
  std::uint64_t tail = 0;
  if (key.size() >= 8) {
    std::memcpy(&head, key.data(), 8);
    std::memcpy(&tail, key.data() + key.size() - 8, 8);
  } else {
    std::memcpy(&head, key.data(), key.size());
  }
  return mix(head, tail, key.size());
}

void ClassPlan::enter(std::uint16_t number) {
  const std::size_t mask = index_.size() - 1;
  std::size_t at = hashOf(keys[number]) & mask;
  while (index_[at] != kStart) at = (at + 1) & mask;
  index_[at] = number;
}

void ClassPlan::add(Entry&& entry, std::string_view key) {
  if (isPlain(key) && key.size() <= Entry::kLongestKey) {
    const std::size_t size = key.size() + 4;
    entry.commaSize = static_cast<std::uint8_t>(size);
    std::memcpy(entry.comma, ",\"", 2);
    std::memcpy(entry.comma + 2, key.data(), key.size());
    std::memcpy(entry.comma + 2 + key.size(), "\":", 2);
    const auto maskOf = [](std::size_t bytes) {
      return static_cast<std::uint16_t>((1u << std::min<std::size_t>(bytes, 16)) - 1);
    };
    entry.firstMask = maskOf(size);
    entry.secondMask = maskOf(size - std::min<std::size_t>(size, 16));
    entry.isTokenWritable = key.find('/') == std::string_view::npos;
  }
  entries.push_back(std::move(entry));
  keys.emplace_back(key);
  if (entries.size() * 2 > index_.size()) {
    index_.assign(std::max<std::size_t>(index_.size() * 2, 16), kStart);
    for (std::size_t i = 1; i < entries.size(); ++i) enter(static_cast<std::uint16_t>(i));
  } else {
    enter(static_cast<std::uint16_t>(entries.size() - 1));
  }
}

Entry& ClassPlan::entryOf(std::string_view key) {
  if (!index_.empty()) {
    const std::size_t mask = index_.size() - 1;
    for (std::size_t at = hashOf(key) & mask; index_[at] != kStart; at = (at + 1) & mask) {
      if (keys[index_[at]] == key) return entries[index_[at]];
    }
  }
  // Few keys are worth remembering that are long or many.
  if (entries.size() >= properties + kMostEntries || entries.size() >= UINT16_MAX || key.size() > Entry::kLongestKey) {
    return start();
  }
  Entry unknown{};
  add(std::move(unknown), key);
  return entries.back();
}

/// Makes plans, of a class and of all that it nests.
struct PlanMaker {
  ThreadPlans& thread;
  std::vector<ClassPlan*> made{};

  ClassPlan* make(Class cls) {
    if (auto known = thread.plans.find(cls.body()); known != thread.plans.end()) return known->second.get();
    auto owned = std::make_unique<ClassPlan>();
    ClassPlan* plan = owned.get();
    thread.plans.emplace(cls.body(), std::move(owned));
    made.push_back(plan);
    plan->cls = cls;
    plan->meta = _KVTModelMeta::metaWithClass(cls);
    plan->entries.emplace_back();  // kStart
    plan->keys.emplace_back();
    const ClassBody& body = *cls.body();
    if (body.create == nullptr && !body.builtAtRunTime && !body.isMeta) plan->construct = body.construct;
    plan->instanceSize = body.instanceSize;
    describe(*plan);
    return plan;
  }

  /// A class that reaches one which cannot take part cannot either: what runs for that one must wait until the text is
  /// checked.
  void settle() {
    for (bool changed = true; changed;) {
      changed = false;
      for (ClassPlan* plan : made) {
        for (const Entry& entry : plan->entries) {
          if (entry.nested != nullptr && plan->writes && !entry.nested->writes) plan->writes = false, changed = true;
        }
        for (const ClassPlan* reached : plan->reaches) {
          if (plan->reads && !reached->reads) plan->reads = false, changed = true;
        }
      }
    }
  }

 private:
  void describe(ClassPlan& plan) {
    const _KVTModelMeta* meta = plan.meta.get();
    if (meta == nullptr || meta->nsType != KVTEncodingTypeNSUnknown) return;
    plan.reads = !meta->hasCustomWillTransformFromDictionary && !meta->hasCustomTransformFromDictionary &&
                 !meta->hasCustomClassFromDictionary && meta->keyPathPropertyMetas.count() == 0 &&
                 meta->multiKeysPropertyMetas.count() == 0;
    plan.writes = !meta->hasCustomTransformToDictionary && meta->keyPathPropertyMetas.count() == 0 &&
                  meta->multiKeysPropertyMetas.count() == 0;
    // The plan describes reading and writing together; entries are in the mapper's order, which is the order of
    // writing.
    for (const auto& [key, head] : meta->mapper) {
      const auto& property = *static_cast<const _KVTModelPropertyMeta*>(head.object());
      const NSString text = key.as<NSString>();
      if (!text || text.UTF8String() == nullptr || property.next || plan.entries.size() >= UINT16_MAX) {
        plan.reads = plan.writes = false;
        return;
      }
      Entry entry;
      entry.meta = &property;
      classify(plan, property, entry);
      entry.pass = passOf(entry.kind);
      plan.add(std::move(entry), text.utf8());
    }
    plan.properties = plan.entries.size() - 1;
    for (std::size_t i = 0; i < plan.entries.size(); ++i) {
      plan.setFollowing(plan.entries[i], plan.entries[i + 1 < plan.entries.size() ? i + 1 : 0]);
      if (i != 0) plan.entries[i].bit = i < 63 ? std::uint64_t{1} << i : Entry::kSharedBit;
    }
  }

  void classify(ClassPlan& plan, const _KVTModelPropertyMeta& property, Entry& entry) {
    const Accessor* setter = defaultAccessor(plan.cls, property.setter, Accessor::Kind::kSetter);
    const Accessor* getter = defaultAccessor(plan.cls, property.getter, Accessor::Kind::kGetter);
    if (setter == nullptr) plan.reads = false;
    if (getter == nullptr) plan.writes = false;
    entry.kind = Kind::kOther;
    if (setter == nullptr || getter == nullptr || setter->offset != getter->offset || setter->size != getter->size)
      return;
    entry.offset = static_cast<std::uint32_t>(setter->offset);
    if (property.isCNumber) {
      const NumberKind number = numberKind(property.valueType());
      if (number.size == setter->size) entry.kind = number.kind;
      return;
    }
    if (property.valueType() != KVTEncodingTypeObject || setter->size != sizeof(Object*)) return;
    const bool isStrong = setter->ownership == Ownership::kStrong;
    switch (property.nsType) {
      case KVTEncodingTypeNSString:
        // New text is immutable: copying it would share it.
        if (isStrong || setter->ownership == Ownership::kCopy) entry.kind = Kind::kText;
        return;
      case KVTEncodingTypeNSArray:
      case KVTEncodingTypeNSMutableArray:
        if (!property.genericCls) {
          if (property.nsType == KVTEncodingTypeNSArray && (isStrong || setter->ownership == Ownership::kCopy))
            entry.kind = Kind::kArray;
          entry.keepsNumbers = entry.keepsText = true;
        } else if (KVTClassGetNSType(property.genericCls) != KVTEncodingTypeNSUnknown) {
          if (isStrong) entry.kind = Kind::kArray;
          entry.keepsNumbers = class_isSubclassOf(classOf<NSNumber>(), property.genericCls);
          entry.keepsText = class_isSubclassOf(classOf<NSString>(), property.genericCls);
        } else {
          reach(plan, property.genericCls, isStrong, Kind::kModels, property, entry);
        }
        return;
      case KVTEncodingTypeNSUnknown: {
        const Class wanted = property.genericCls ? property.genericCls : property.cls;
        const bool fits = isStrong && property.cls && class_isSubclassOf(wanted, property.cls);
        reach(plan, wanted, fits, Kind::kModel, property, entry);
        return;
      }
      default:
        // Dictionaries and sets of models are converted on the plain way.
        reach(plan, property.genericCls, false, Kind::kOther, property, entry);
        return;
    }
  }

  /// A property whose value may become models of the class `cls`. Whatever way they are made, what runs for them must
  /// wait for the end of the text.
  void reach(ClassPlan& plan, Class cls, bool stores, Kind kind, const _KVTModelPropertyMeta& property, Entry& entry) {
    // Of the root class, and of none, every value is an instance as it is.
    if (!cls || class_isSubclassOf(classOf<NSDictionary>(), cls) || KVTClassGetNSType(cls) != KVTEncodingTypeNSUnknown)
      return;
    ClassPlan* nested = make(cls);
    plan.reaches.push_back(nested);
    if (property.hasCustomClassFromDictionary) plan.reads = false;
    if (!stores) return;
    entry.nested = nested;
    entry.kind = kind;
  }
};

PlanUse::PlanUse() : thread_(threadPlans()) {
  const std::uint64_t generation = objc_runtimeGeneration();
  if (thread_.uses == 0 && thread_.generation != generation) [[unlikely]] {
    thread_.plans.clear();
    thread_.recent = {};
    thread_.generation = generation;
  }
  ++thread_.uses;
}

PlanUse::~PlanUse() { --thread_.uses; }

std::vector<Object*>& PlanUse::elements() const noexcept { return thread_.elements; }

ClassPlan* PlanUse::planFor(Class cls) const {
  if (thread_.generation != objc_runtimeGeneration()) [[unlikely]]
    return nullptr;
  ThreadPlans::Recent& recent = thread_.recentFor(cls.body());
  if (recent.cls == cls.body()) [[likely]]
    return recent.plan;
  PlanMaker maker{thread_};
  ClassPlan* plan = maker.make(cls);
  maker.settle();
  recent = {cls.body(), plan};
  return plan;
}

}  // namespace kvt::direct
