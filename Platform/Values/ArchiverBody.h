// What writes a keyed archive; not installed.
//
// Values go into the property list as they come (see BinaryPropertyListWriter.h); an object's keys and values wait on
// two stacks until the object is done. Equal text, numbers and data are one object of the archive, others are known by
// their address and held until the end. A class remembers the keys that its objects encoded, in their order: the next
// one's keys are compared with those that are expected instead of being looked up.
#pragma once

#include <array>
#include <boost/unordered/unordered_flat_map.hpp>
#include <deque>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "BinaryPropertyListWriter.h"
#include "CoderBody.h"
#include "NSKeyedArchiver.h"
#include "NSNumberBody.h"
#include "NSString.h"
#include "ShortBytes.h"

namespace kvt {

struct KVT_EXPORT ArchiverBody final : CoderBody {
  using Value = PropertyListValue;

  explicit ArchiverBody(Class cls);
  ~ArchiverBody() override;
  static ArchiverBody* of(const Object* object) noexcept {
    CoderBody* body = CoderBody::of(object);
    return body != nullptr && body->isArchiver ? static_cast<ArchiverBody*>(body) : nullptr;
  }

  /// The keys that one kind of object encodes under, as they stand in this archive: who encodes many such objects in
  /// the order of a list of his own need not have their text compared each time.
  class KeyList {
   private:
    friend struct ArchiverBody;
    std::vector<Value> keys_;  // by index in the list; the first scalar of all, which is no key, until one is used
  };
  /// The list of `count` keys that the owner calls by `number`, never twice by the same one.
  KeyList& keyList(std::uint64_t number, std::size_t count) {
    if (lastKeyList_ != number) [[unlikely]] {
      lastKeyList_ = number;
      lastKeys_ = &keyLists_[number];
      if (lastKeys_->keys_.size() < count) lastKeys_->keys_.resize(count);
    }
    return *lastKeys_;
  }
  /// As `put`, `putObject` and `putNumber`, with key number `index` of the list.
  void put(KeyList& keys, std::size_t index, std::string_view key, Value value) {
    if (!putNext(keys.keys_[index], value)) keys.keys_[index] = put(key, value);
  }
  void putObject(const Object* object, KeyList& keys, std::size_t index, std::string_view key) {
    put(keys, index, key, Value::uid(uidOf(object)));
  }
  void putNumber(NumberBody::Type type, std::int64_t integer, double real, KeyList& keys, std::size_t index,
                 std::string_view key) {
    put(keys, index, key, Value::uid(uidOfScalar(number(type, integer, real))));
  }

  // ---- for `encodeWithCoder:`: the object that is being encoded gets a value under a key, which replaces an earlier
  // one
  void putObject(const Object* object, std::string_view key) { put(key, Value::uid(uidOf(object))); }
  void putConditionalObject(const Object* object, std::string_view key) {
    put(key, Value::uid(conditionalUIDOf(object)));
  }
  /// A number as an object. The value is `integer`, or `real` for the floating types.
  void putNumber(NumberBody::Type type, std::int64_t integer, double real, std::string_view key) {
    put(key, Value::uid(uidOfScalar(number(type, integer, real))));
  }
  /// A value in place, made by `list`. Answers the key as it stands in the archive.
  Value put(std::string_view key, Value value);
  /// An array of references to what `visit` calls its argument with.
  template <class Visit>
  void putObjects(std::string_view key, const Visit& visit) {
    const std::size_t base = scratch_.size();
    visit([this](const id& each) { scratch_.push_back(Value::uid(uidOf(each.object()))); });
    put(key, takeScratch(base));
  }
  BinaryPropertyListWriter list;

  /// The archive, made when first asked for.
  void finish();

  NSPropertyListFormat format = NSPropertyListBinaryFormat_v1_0;
  NSMutableData target;
  NSData encoded;
  std::map<Class, NSString, bool (*)(Class, Class)> classNames;

 private:
  struct KnownKey {
    std::string text;
    Value value;
    bool says(std::string_view key) const noexcept {
      return text.size() == key.size() && equalBytes(text.data(), key.data(), key.size());
    }
  };
  struct KnownClass {
    Class cls;
    std::uint32_t uid = 0;  // 0: not written yet
    bool hasReplacement = false;
    std::uint64_t generation = 0;  // of the run time, when the method was looked up
    Method encode = nullptr;
    std::vector<KnownKey> keys;  // in the order in which its objects encode them
  };
  /// The object that is being encoded; the outermost one is the archive's top.
  struct Frame {
    KnownClass* known;
    Frame* outer;
    std::size_t base;          // of its keys and values
    std::size_t expected = 0;  // the known key that is likely to come next
    bool isRegular = true;     // its keys have come in the known order so far, so that none has come twice
  };
  class FrameScope;

  static constexpr std::uint32_t kConditional = 1u << 31;

  std::uint32_t uidOf(const Object* object);
  std::uint32_t conditionalUIDOf(const Object* object);
  std::uint32_t uidOfScalar(Value scalar);
  /// The UID of what is written in place by its value; 0 for other objects.
  std::uint32_t uidOfPlain(const Object* object);
  /// The next UID's; its object is held.
  void addPlace(const Object* object);
  const Object* replacementOf(const Object* object);
  void encode(const Object* object, KnownClass& known, std::uint32_t uid);
  static void lookUpMethod(KnownClass& known, const Object* object);
  Value number(NumberBody::Type type, std::int64_t integer, double real);
  Value takeScratch(std::size_t base);
  void push(Value key, Value value) {
    keys_.push_back(key);
    values_.push_back(value);
  }
  /// Puts a value under a key that is known, where that is one of those that the class's objects encode next.
  bool putNext(Value key, Value value) {
    Frame& frame = *frame_;
    const std::vector<KnownKey>& known = frame.known->keys;
    if (!frame.isRegular || isFinished) return false;
    for (std::size_t i = frame.expected; i < known.size(); ++i) {
      if (known[i].value != key) continue;
      frame.expected = i + 1;
      push(key, value);
      return true;
    }
    return false;
  }
  KnownClass& knownClass(const Object* object) {
    ClassBody* const cls = ObjectAccess::isa(object);
    RecentClass& recent = recentClasses_[reinterpret_cast<std::uintptr_t>(cls) / 16 * 0x9E3779B97F4A7C15u >> 60];
    if (recent.cls != cls) [[unlikely]]
      recent = {cls, &findClass(cls)};
    return *recent.known;
  }
  KnownClass& findClass(ClassBody* cls);
  std::uint32_t uidOfClass(KnownClass& known);
  std::string nameOf(Class cls) const;

  ClassBody* const stringClass_;
  ClassBody* const numberClass_;
  ClassBody* const dataClass_;
  Value null_, classKey_;
  std::vector<Value> objects_;                                    // by UID
  std::vector<std::uint32_t> scalarUIDs_;                         // by scalar; 0: none
  boost::unordered_flat_map<const Object*, std::uint32_t> uids_;  // of what is known by its address, and held
  boost::unordered_flat_map<const Object*, const Object*> replacements_;
  std::vector<id> held_;  // along with replacements
  struct RecentClass {
    ClassBody* cls = nullptr;
    KnownClass* known = nullptr;
  };
  std::array<RecentClass, 16> recentClasses_;
  boost::unordered_flat_map<ClassBody*, KnownClass*> classes_;
  std::deque<KnownClass> knownClasses_;
  std::uint64_t lastKeyList_ = 0;
  KeyList* lastKeys_ = nullptr;
  std::unordered_map<std::uint64_t, KeyList> keyLists_;  // by number, counted from 1
  std::vector<Value> keys_, values_, scratch_;
  KnownClass top_;
  Frame topFrame_;
  Frame* frame_;
  unsigned depth_ = 0;
};

}  // namespace kvt
