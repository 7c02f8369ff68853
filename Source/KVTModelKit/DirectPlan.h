// How the short cuts past messages see a class: between JSON text and models here, for copies, hashes and equality in
// ModelFields.h; not installed.
//
// A plan is a class's mapping flattened: for each JSON key the kind of member behind it and its offset. It is made per
// thread, because reading teaches it: every entry remembers which one followed it last time, so that the next key is
// compared with one candidate instead of being searched for. A class takes part when nothing could tell the difference:
// no hooks, default accessors, plain keys; and so must every class that it nests. All others go the plain way.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ModelMeta.h"

namespace kvt::model {
struct Fields;
}

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
  kArray,   // of values, all or those of a class
  kOther,   // converted as on the plain way
};

struct ClassPlan;
class Reader;
struct Entry;

/// Passes a value that is written as usual and stores it; null when it is not, and then nothing has happened.
using PassValue = const char* (*)(Reader& reader, const char* p, const Entry& entry, char* member);

/// A JSON key, and what it fills. All that reading looks at lies in two lines of the cache.
struct alignas(64) Entry {
  static constexpr std::size_t kLongestKey = 60;
  /// Stands for all properties that have no bit of their own.
  static constexpr std::uint64_t kSharedBit = std::uint64_t{1} << 63;

  Kind kind = Kind::kUnknownKey;
  std::uint8_t commaSize = 0;  // of `,"key":`; 0 when it does not fit or the key needs escapes
  // Bits of the bytes that count in the first and the second block of it.
  std::uint16_t firstMask = 0xFFFF;
  std::uint16_t secondMask = 0;
  bool isTokenWritable = false;  // it may be written as it is: no slash in it
  bool keepsNumbers = false;     // of an array: whole numbers and text are of the elements' class
  bool keepsText = false;
  std::int32_t next = 0;     // where the entry lies that followed last time, in bytes from this one
  std::uint32_t offset = 0;  // of the member
  std::uint64_t bit = 0;     // of its own among the first properties; 0 for what is no property
  const _KVTModelPropertyMeta* meta = nullptr;
  ClassPlan* nested = nullptr;  // the model's or the elements' class
  PassValue pass;               // by its kind
  // A comma, the key, its colon; read in blocks of sixteen. Where there is none, it is what no text has.
  alignas(16) char comma[64];

  Entry() noexcept;
};
static_assert(sizeof(Entry) == 128);

struct ClassPlan {
  /// The entry that the first key of an object is compared with.
  static constexpr std::size_t kStart = 0;
  /// Keys beyond the properties that are remembered.
  static constexpr std::size_t kMostEntries = 1024;

  Class cls;
  Ref<_KVTModelMeta> meta;
  Object* (*construct)(void*) = nullptr;  // null where making an object takes more
  std::size_t instanceSize = 0;
  bool reads = false;          // text to models
  bool writes = false;         // models to text
  std::size_t properties = 0;  // entries 1 … properties have one; the others are unknown keys that were met
  std::vector<Entry> entries;
  std::vector<std::string> keys;                // of the entries
  std::size_t sizeSeen = 64;                    // bytes of the last model written, or the average of many
  std::shared_ptr<const model::Fields> fields;  // made when copying, hashing or comparing first asks for them

  /// The entry of a key, made for an unknown one while there is room; the first one when there is none.
  Entry& entryOf(std::string_view key);

  /// The entry of a key behind which eight bytes may be read: the first one of its hash that `stands`; null when there
  /// is none.
  template <class Test>
  Entry* find(const char* key, std::size_t size, Test stands) noexcept {
    if (index_.empty()) return nullptr;
    std::uint64_t head;
    std::uint64_t tail = 0;
    std::memcpy(&head, key, 8);
    if (size >= 8)
      std::memcpy(&tail, key + size - 8, 8);
    else
      head &= (std::uint64_t{1} << (8 * size)) - 1;
    const std::size_t mask = index_.size() - 1;
    for (std::size_t at = mix(head, tail, size) & mask; index_[at] != kStart; at = (at + 1) & mask) {
      if (stands(entries[index_[at]])) return &entries[index_[at]];
    }
    return nullptr;
  }

  Entry& start() noexcept { return entries.front(); }
  static Entry& following(Entry& entry) noexcept {
    return *reinterpret_cast<Entry*>(reinterpret_cast<char*>(&entry) + entry.next);
  }
  static void setFollowing(Entry& entry, const Entry& next) noexcept {
    entry.next =
        static_cast<std::int32_t>(reinterpret_cast<const char*>(&next) - reinterpret_cast<const char*>(&entry));
  }
  std::size_t numberOf(const Entry& entry) const noexcept { return static_cast<std::size_t>(&entry - entries.data()); }

 private:
  friend struct PlanMaker;
  void add(Entry&& entry, std::string_view key);
  void enter(std::uint16_t number);
  static std::uint32_t mix(std::uint64_t head, std::uint64_t tail, std::size_t size) noexcept {
    return static_cast<std::uint32_t>(((head ^ (tail * 0x9E3779B97F4A7C15u) ^ size) * 0xD6E8FEB86659FD93u) >> 32);
  }
  static std::uint32_t hashOf(std::string_view key) noexcept;
  std::vector<const ClassPlan*> reaches;
  std::vector<std::uint16_t> index_;  // by hash, open addressing
};

struct ThreadPlans;

/// Keeps the thread's plans as they are while they are used. The outermost one drops plans that are out of date; within
/// it (a model's constructor may read JSON itself) they stay.
class PlanUse {
 public:
  PlanUse();
  ~PlanUse();
  PlanUse(const PlanUse&) = delete;
  PlanUse& operator=(const PlanUse&) = delete;

  /// Null when classes have changed since this began.
  ClassPlan* planFor(Class cls) const;
  /// Room for the elements of arrays that are being read; whoever puts some in takes them out.
  std::vector<Object*>& elements() const noexcept;

 private:
  ThreadPlans& thread_;
};

}  // namespace kvt::direct
