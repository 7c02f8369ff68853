#include "CodingPlan.h"

#include <unordered_map>

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
  auto plan = std::make_unique<ClassPlan>();
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
    if (entry.kind == Kind::kObject) entry.classes = classesOf(meta);
  }
  return plan;
}

struct Plans {
  std::unordered_map<ClassBody*, std::unique_ptr<ClassPlan>> byClass;
  std::vector<std::unique_ptr<ClassPlan>> outdated;  // some of them still in use
  unsigned uses = 0;
};

Plans& plans() {
  thread_local Plans mine;
  return mine;
}

}  // namespace

PlanUse::PlanUse(Class cls) {
  Plans& mine = plans();
  const auto found = mine.byClass.find(cls.body());
  if (found != mine.byClass.end() && found->second->generation == objc_runtimeGeneration()) {
    plan_ = found->second.get();
  } else {
    // Hooks run while it is made, which may ask for plans themselves.
    auto fresh = makePlan(cls);
    plan_ = fresh.get();
    std::unique_ptr<ClassPlan>& place = mine.byClass[cls.body()];
    if (place != nullptr) mine.outdated.push_back(std::move(place));
    place = std::move(fresh);
  }
  ++mine.uses;
}

PlanUse::~PlanUse() {
  Plans& mine = plans();
  if (--mine.uses == 0) mine.outdated.clear();
}

}  // namespace kvt::coding
