// What reads a keyed archive; not installed.
//
// The archive is kept as the nodes of its property list (see PropertyListDocument.h). Each object is made when it is
// first referred to and kept by its UID; it is known by it before its values are decoded, so that circles close. An
// object's keys are looked for where the last one was found, in the order in which they were encoded.
#pragma once

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "CoderBody.h"
#include "NSKeyedUnarchiver.h"
#include "NSString.h"
#include "PropertyListDocument.h"

namespace kvt {

struct UnarchiverBody;

/// Makes an object of a value class from the object that is being decoded; nil after a failure.
using ArchiveDecoder = id (*)(UnarchiverBody& unarchiver, Class cls);

struct KVT_EXPORT UnarchiverBody final : CoderBody {
  using Node = PropertyListNode;
  using Classes = std::vector<Class>;

  explicit UnarchiverBody(Class cls);
  static UnarchiverBody* of(const Object* object) noexcept {
    CoderBody* body = CoderBody::of(object);
    return body != nullptr && !body->isArchiver ? static_cast<UnarchiverBody*>(body) : nullptr;
  }

  /// Reads the property list and finds the archive's parts in it. NO and the reason when it is none.
  bool open(const NSData& data, PropertyListFailure& failure);

  // ---- for `initWithCoder:`: the object that is being decoded ----

  /// The value as it stands in the archive; null when there is none.
  const Node* find(std::string_view key);
  /// Where the keys stand that one kind of object is decoded from: who decodes many of them in the order of a list of
  /// his own need not have their text compared each time.
  class KeyList {
   private:
    friend struct UnarchiverBody;
    std::vector<std::uint32_t> nodes_;  // by index in the list; UINT32_MAX: not yet known
  };
  /// The list of `count` keys that the owner calls by `number`, never twice by the same one.
  KeyList& keyList(std::uint64_t number, std::size_t count) {
    KeyList& keys = keyLists_[number];
    if (keys.nodes_.size() < count) keys.nodes_.resize(count, UINT32_MAX);
    return keys;
  }
  /// As `find`, for key number `index` of the list.
  const Node* find(KeyList& keys, std::size_t index, std::string_view key);

  /// The object that a value refers to, as `decode` gives it; nil for no value.
  id decodeValue(const Node* value, std::string_view key, const Classes* classes);
  /// What a value refers to, where that is an integer, a boolean or a real number that nobody has asked for as an
  /// object; null otherwise.
  const Node* numberOf(const Node* value) const noexcept;

  /// The object under a key, of one of the classes where secure coding is required. Without classes: of those that may
  /// be decoded here.
  id decode(std::string_view key, const Classes* classes);
  /// Likewise for an object that a value type consists of: an object of another class is a failure in any case.
  template <class T>
  T part(std::string_view key) {
    const Classes only{classOf<T>()};
    const id object = decode(key, &only);
    if (object && !object.is<T>()) failClass(key, object.class_(), &only);
    return object.as<T>();
  }
  /// The elements of an array of references; null, and a failure, when there is none.
  const Node* references(std::string_view key);
  /// An element of the array under the key; nil, and a failure, when there is nothing.
  id elementAt(const Node& array, std::size_t index, std::string_view key);
  /// Whether a reference is to a collection that is still being decoded.
  bool isUnfinishedCollection(const Node& reference) const noexcept;
  /// A text, number or data that stands in place or is referred to; null when there is none.
  const Node* plain(std::string_view key);
  /// Makes known what will be decoded, for references to it from within.
  void announce(const id& object);

  bool integer(std::string_view key, std::int64_t minimum, std::int64_t maximum, std::int64_t& value);
  bool real(std::string_view key, double& value);
  bool boolean(std::string_view key, bool& value);

  // ---- failures: raise or set the error, as the policy says ----
  void fail(NSInteger code, const std::string& reason);
  void fail(const std::string& reason) { fail(NSCoderReadCorruptError, reason); }
  void fail(const NSError& failure);
  void failClass(std::string_view key, Class cls, const Classes* allowed);

  /// What may be decoded here: at the top what property lists hold; null where nothing is restricted.
  const Classes* allowedClasses() const;

  PropertyListDocument document;
  /// Steps that may be spent on telling collections apart that are keys or elements of sets: an archive of a few
  /// objects can make one that takes for ever.
  std::uint64_t stepsLeft = 20'000'000;
  std::map<std::string, Class, std::less<>> classes;  // by archived name

 private:
  enum class State : std::uint8_t { kNone, kDecoding, kDone };
  struct Slot {
    id object;
    State state = State::kNone;
    std::uint32_t knownClass = 0;  // of a class's description: its number and one
  };
  struct KnownClass {
    Class cls;
    ArchiveDecoder decode = nullptr;  // null: by message
    bool hasAwake = false;
    bool isSecure = false;
  };
  struct Frame {
    const Node* node;
    Frame* outer;
    const Classes* allowed;
    std::uint64_t uid;
    std::size_t expected = 0;
  };
  class FrameScope;

  std::unordered_map<std::uint64_t, KeyList> keyLists_;  // by number

  id objectAt(std::uint64_t uid, std::string_view key, const Classes* allowed);
  id make(std::uint64_t uid, const Node& node, std::string_view key, const Classes* allowed);
  id makeInstance(const KnownClass& known, Slot& slot);
  const KnownClass* classOfNode(const Node& node, std::string_view key);
  void emptyAnnounced() noexcept;
  Class classNamed(const std::string& name) const;
  static bool isAllowed(Class cls, const Classes* allowed) noexcept;

  std::uint64_t objects_ = 0;                            // in the document's children: the first one
  std::vector<Slot> slots_;                              // by UID
  std::vector<std::pair<std::uint64_t, id>> announced_;  // by UID, since the outermost decoding began
  std::vector<KnownClass> knownClasses_;
  Node none_;
  Frame topFrame_;
  Frame* frame_;
  unsigned depth_ = 0;
};

}  // namespace kvt
