// How the short cut between JSON text and models sees a class; not installed.
//
// A plan is a class's mapping flattened: for each JSON key the kind of member behind it and its offset. It is made per
// thread, because reading teaches it: every entry remembers which one followed it last time, so that the next key is
// compared with one candidate instead of being searched for. A class takes part when nothing could tell the difference:
// no hooks, default accessors, plain keys; and so must every class that it nests. All others go the plain way.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ModelMeta.h"

namespace kvt::direct {

/// What a member is, as far as the short cut knows it.
enum class Kind : std::uint8_t {
  kUnknownKey,  // no property: the value is passed over
  kBool,
  kInt8,
  kUInt8,
  kInt16,
  kUInt16,
  kInt32,
  kUInt32,
  kInt64,
  kUInt64,
  kFloat,
  kDouble,
  kText,    // NSString
  kModel,   // a nested model
  kModels,  // an array of models
  kOther,   // converted as on the plain way
};

struct ClassPlan;

/// A JSON key, and what it fills.
struct Entry {
  static constexpr std::size_t kTokenRoom = 64;

  Kind kind = Kind::kUnknownKey;
  std::uint8_t tokenSize = 0;    // of `"key":`; 0 when it does not fit or the key needs escapes
  bool isTokenWritable = false;  // it may be written as it is: no slash in it
  std::uint16_t next = 0;        // the entry that followed last time
  std::uint32_t offset = 0;      // of the member
  const _KVTModelPropertyMeta* meta = nullptr;
  ClassPlan* nested = nullptr;  // the model's or the elements' class
  char token[kTokenRoom] = {};
  std::string key;
};

struct ClassPlan {
  /// The entry that the first key of an object is compared with.
  static constexpr std::size_t kStart = 0;
  /// Keys beyond the properties that are remembered.
  static constexpr std::size_t kMostEntries = 1024;

  Class cls;
  Ref<_KVTModelMeta> meta;
  bool reads = false;          // text to models
  bool writes = false;         // models to text
  std::size_t properties = 0;  // entries 1 … properties have one; the others are unknown keys that were met
  std::vector<Entry> entries;
  std::size_t sizeSeen = 64;  // bytes of the last text written

  /// The entry of a key, made for an unknown one while there is room; kStart when there is none.
  std::uint16_t entryOf(std::string_view key);

 private:
  friend ClassPlan* planFor(Class cls);
  friend struct PlanMaker;
  void add(Entry&& entry);
  void enter(std::uint16_t number);
  static std::uint32_t hashOf(std::string_view key) noexcept;
  std::vector<const ClassPlan*> reaches;
  std::vector<std::uint16_t> index_;  // by hash, open addressing
};

/// Keeps the thread's plans as they are while they are used. The outermost one drops plans that are out of date; within
/// it (a model's constructor may read JSON itself) they stay.
struct PlanUse {
  PlanUse();
  ~PlanUse();
  PlanUse(const PlanUse&) = delete;
  PlanUse& operator=(const PlanUse&) = delete;
};

/// The calling thread's plan of a class, within a `PlanUse`; null when classes have changed since that began.
ClassPlan* planFor(Class cls);

}  // namespace kvt::direct
