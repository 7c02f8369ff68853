#include "CodingPlan.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <unordered_map>

#include <KVTPlatform/Runtime/ThreadOwned.h>
#include <KVTPlatform/Values/CoderBody.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSSet.h>

#include "ModelAccess.h"

namespace kvt::coding {
namespace {

Kind kindOf(const _KVTModelPropertyMeta& meta) {
  if (meta.isCNumber) return Kind::kNumber;
  switch (meta.valueType()) {
    case KVTEncodingTypeObject: return Kind::kObject;
    case KVTEncodingTypeSEL: return Kind::kSelector;
    case KVTEncodingTypeStruct:
    case KVTEncodingTypeUnion: return meta.isKVCCompatible ? Kind::kStruct : Kind::kOther;
    default: return Kind::kOther;
  }
}

std::ptrdiff_t offsetOf(Class cls, const _KVTModelPropertyMeta& meta, Kind kind) {
  const Accessor* accessor = method_getDefaultAccessor(class_getInstanceMethod(cls, meta.getter));
  if (accessor == nullptr || accessor->kind != Accessor::Kind::kGetter) return Entry::kNoMember;
  std::size_t size = 0;
  if (kind == Kind::kNumber) {
    model::withNumberType(meta.valueType(), [&size]<class T>(T) { size = sizeof(T); });
  } else if (kind == Kind::kObject && accessor->ownership != Ownership::kWeak) {
    size = sizeof(Object*);
  }
  return size != 0 && accessor->size == size ? accessor->offset : Entry::kNoMember;
}

/// Fills in where the setter stores, when it is the registered default.
void lookUpStore(Class cls, const _KVTModelPropertyMeta& meta, Entry& entry) {
  const Accessor* accessor = method_getDefaultAccessor(class_getInstanceMethod(cls, meta.setter));
  if (accessor == nullptr || accessor->kind != Accessor::Kind::kSetter) return;
  std::size_t size = 0;
  if (entry.kind == Kind::kNumber) {
    model::withNumberType(meta.valueType(), [&size]<class T>(T) { size = sizeof(T); });
  } else if (entry.kind == Kind::kObject && accessor->className.empty()) {
    // A member without a C++ type checks by name what is stored in it, and one that is assigned does not hold it.
    const bool isHeld = accessor->ownership == Ownership::kStrong || accessor->ownership == Ownership::kCopy;
    size = isHeld ? sizeof(Object*) : 0;
  }
  if (size == 0 || accessor->size != size) return;
  entry.stored = accessor->offset;
  entry.isCopied = accessor->ownership == Ownership::kCopy;
  entry.accepts = accessor->accepts;
}

std::vector<Class> classesOf(const _KVTModelPropertyMeta& meta) {
  if (!meta.cls) return {};
  switch (meta.nsType) {
    case KVTEncodingTypeNSArray:
    case KVTEncodingTypeNSMutableArray:
    case KVTEncodingTypeNSDictionary:
    case KVTEncodingTypeNSMutableDictionary:
    case KVTEncodingTypeNSSet:
    case KVTEncodingTypeNSMutableSet: break;
    default: return {meta.cls};
  }
  std::vector<Class> classes = {classOf<NSArray>(),  classOf<NSDictionary>(), classOf<NSSet>(),  classOf<NSString>(),
                                classOf<NSNumber>(), classOf<NSDate>(),       classOf<NSData>(), classOf<NSNull>()};
  if (meta.genericCls) classes.push_back(meta.genericCls);
  return classes;
}

std::unique_ptr<ClassPlan> makePlan(Class cls) {
  static std::atomic<std::uint64_t> lastNumber{0};
  auto plan = std::make_unique<ClassPlan>();
  plan->number = ++lastNumber;
  plan->cls = cls;
  plan->generation = objc_runtimeGeneration();
  plan->meta = _KVTModelMeta::metaWithClass(cls);
  if (!plan->meta) return plan;
  plan->isFoundationType = plan->meta->nsType != KVTEncodingTypeNSUnknown;
  for (const id& each : plan->meta->allPropertyMetas) {
    const auto& meta = *static_cast<const _KVTModelPropertyMeta*>(each.object());
    Entry& entry = plan->entries.emplace_back();
    entry.meta = &meta;
    entry.key = ArchiveKey(meta.name).text();
    entry.kind = kindOf(meta);
    entry.offset = offsetOf(cls, meta, entry.kind);
    lookUpStore(cls, meta, entry);
    if (entry.kind == Kind::kObject) entry.classes = classesOf(meta);
  }
  return plan;
}

}  // namespace

struct ThreadPlans {
  std::unordered_map<ClassBody*, std::unique_ptr<ClassPlan>> byClass;
  std::vector<std::unique_ptr<ClassPlan>> outdated;  // some of them still in use
  unsigned uses = 0;
  std::array<const ClassPlan*, 16> recent{};  // of the classes asked for last

  const ClassPlan*& recentFor(ClassBody* cls) noexcept {
    return recent[reinterpret_cast<std::uintptr_t>(cls) / alignof(std::max_align_t) * 0x9E3779B97F4A7C15u >> 60];
  }
};

namespace {

ThreadPlans& threadPlans() { return ThreadOwned<ThreadPlans>::get(); }

const ClassPlan* planFor(ThreadPlans& mine, Class cls) {
  const auto found = mine.byClass.find(cls.body());
  if (found != mine.byClass.end() && found->second->generation == objc_runtimeGeneration()) return found->second.get();
  // Hooks run while it is made, which may ask for plans themselves.
  auto fresh = makePlan(cls);
  const ClassPlan* plan = fresh.get();
  std::unique_ptr<ClassPlan>& place = mine.byClass[cls.body()];
  if (place != nullptr) mine.outdated.push_back(std::move(place));
  place = std::move(fresh);
  return plan;
}

}  // namespace

PlanUse::PlanUse(Class cls) : thread_(threadPlans()) {
  const ClassPlan*& recent = thread_.recentFor(cls.body());
  if (recent == nullptr || recent->cls != cls || recent->generation != objc_runtimeGeneration()) [[unlikely]] {
    const ClassPlan* plan = planFor(thread_, cls);
    recent = plan;
  }
  plan_ = recent;
  ++thread_.uses;
}

PlanUse::~PlanUse() {
  if (--thread_.uses == 0 && !thread_.outdated.empty()) [[unlikely]] {
    thread_.outdated.clear();
    thread_.recent = {};
  }
}

}  // namespace kvt::coding
