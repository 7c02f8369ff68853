// How archiving sees a class; not installed.
//
// A plan is a class's properties flattened: the key, what it is kept as, and where its member lies when its accessor is
// the registered default. Each thread makes its own, and makes it anew when the run time's generation has risen.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ModelMeta.h"

namespace kvt::coding {

enum class Kind : std::uint8_t { kOther, kNumber, kObject, kSelector, kStruct };

struct Entry {
  static constexpr std::ptrdiff_t kNoMember = -1;

  const _KVTModelPropertyMeta* meta = nullptr;
  std::string key;
  Kind kind = Kind::kOther;
  std::ptrdiff_t offset = kNoMember;  // of the member that the getter reads
  std::ptrdiff_t stored = kNoMember;  // of the member that the setter stores into: numbers, and objects that it holds …
  bool isCopied = false;              // … or holds a copy of …
  bool (*accepts)(const Object*) noexcept = nullptr;  // … when it takes them, nil otherwise; null: any
  std::vector<Class> classes;  // what an object may be and hold where secure coding is required; empty: anything
};

struct ClassPlan {
  Class cls;
  Ref<_KVTModelMeta> meta;  // holds the entries' metas
  std::uint64_t generation = 0;
  bool isFoundationType = false;
  std::uint64_t number = 0;  // no other plan of any thread has had it
  std::vector<Entry> entries;

  std::size_t indexOf(const Entry& entry) const noexcept { return static_cast<std::size_t>(&entry - entries.data()); }
};

struct ThreadPlans;

/// The calling thread's plan of a class, for as long as this lives.
class PlanUse {
 public:
  explicit PlanUse(Class cls);
  ~PlanUse();
  PlanUse(const PlanUse&) = delete;
  PlanUse& operator=(const PlanUse&) = delete;
  const ClassPlan& plan() const noexcept { return *plan_; }

 private:
  ThreadPlans& thread_;
  const ClassPlan* plan_;
};

}  // namespace kvt::coding
