// From text to objects. What costs here is neither scanning nor copying but making small objects, so the reader avoids
// what it can: keys are made once and shared, and a container is made when the number of its entries is known, in one
// allocation.

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

#include "CollectionSupport.h"
#include "NSArray.h"
#include "NSArrayBody.h"
#include "NSDecimalNumberBody.h"
#include "NSDictionary.h"
#include "NSDictionaryBody.h"
#include "NSJSONSerializationPrivate.h"
#include "NSNull.h"
#include "NSNumberBody.h"
#include "NSString.h"
#include "NSStringBody.h"

namespace kvt {
namespace {

/// A key of which there is one string for all dictionaries. It remembers which key came behind it, and which one was
/// the first of the object that was its value: documents repeat themselves, and comparing the text ahead with one key
/// is much cheaper than finding the key's end, its hash and its string. A wrong guess costs that comparison.
struct SharedKey {
  static constexpr std::size_t kMaximumSize = 32;  // with its quotes

  StringBody* body;
  std::uint32_t hash;        // as tables keep it
  std::uint32_t mask;        // a bit for each byte of the token
  std::uint32_t size;        // of the token
  std::uint32_t usesLeft;    // until it becomes permanent
  std::uint64_t lastObject;  // the number of the object in which it was found last
  SharedKey* next;
  SharedKey* first;
  char token[kMaximumSize];  // the key in its quotes, as it stands in the text

  std::string_view text() const noexcept { return {token + 1, size - 2}; }
  /// `text` must have kMaximumSize bytes.
  bool standsAt(const char* text) const noexcept {
    using json::Block;
    const unsigned same = Block(token).equalTo(Block(text)) |
                          Block(token + Block::kSize).equalTo(Block(text + Block::kSize)) << Block::kSize;
    return (same & mask) == mask;
  }
};

/// Keys that come again and again are never freed: taking and giving back a reference to them is then no atomic
/// operation, which would be the most expensive thing that is done with a key. A place, once filled, is never changed,
/// and there are so few of them that this cannot grow into a leak.
constinit std::atomic<StringBody*> permanentKeys[4096];

/// The permanent key of that text: one that is there, else `candidate`, of which the table then holds a reference. Null
/// when there is neither, or no place near the hash.
StringBody* permanentKey(std::uint32_t hash, std::string_view text, StringBody* candidate) noexcept {
  constexpr std::size_t kProbes = 8;
  for (std::size_t probe = 0; probe < kProbes; ++probe) {
    std::atomic<StringBody*>& place = permanentKeys[(hash + probe) % std::size(permanentKeys)];
    StringBody* present = place.load(std::memory_order_acquire);
    if (present == nullptr) {
      if (candidate == nullptr) return nullptr;
      ObjectAccess::retain(candidate);
      if (place.compare_exchange_strong(present, candidate, std::memory_order_acq_rel, std::memory_order_acquire)) {
        ObjectAccess::makeImmortal(candidate);
        return candidate;
      }
      ObjectAccess::release(candidate);
    }
    if (present->utf8() == text) return present;
  }
  return nullptr;
}

/// Something on its way into a container. No handle, so that a stack of them moves bytewise.
struct Item {
  static constexpr std::uintptr_t kShared = 1;

  std::uintptr_t key;  // 0 in arrays; a SharedKey with kShared added, or a StringBody with a reference
  Object* value;

  SharedKey* sharedKey() const noexcept {
    return (key & kShared) != 0 ? reinterpret_cast<SharedKey*>(key - kShared) : nullptr;
  }
  Object* ownKey() const noexcept { return reinterpret_cast<Object*>(key); }
  void release() const noexcept {
    if (key != 0 && (key & kShared) == 0) ObjectAccess::release(ownKey());
    if (value != nullptr) ObjectAccess::release(value);
  }
};

/// The keys that a thread shares among the texts it reads.
class SharedKeys {
 public:
  SharedKeys() noexcept { forget(); }
  ~SharedKeys() {
    releaseAll();
    std::free(static_cast<void*>(items));
  }
  SharedKeys(const SharedKeys&) = delete;
  SharedKeys& operator=(const SharedKeys&) = delete;

  /// Finds or makes the key; null when there is no room for it. Its text lies in the document, without escapes.
  SharedKey* find(const JSONText& text) {
    const std::string_view bytes = text.bytes;
    if (bytes.size() + 2 > SharedKey::kMaximumSize) return nullptr;
    std::uint32_t at = hash(bytes);
    for (std::size_t probe = 0; probe < kProbes; ++probe, ++at) {
      std::uint16_t& number = index_[at % kIndexSize];
      if (number == kNone) {
        if (count_ == kMaximumCount) return nullptr;
        fill(keys_[count_], text, at - static_cast<std::uint32_t>(probe));
        number = static_cast<std::uint16_t>(count_++);
        return &keys_[number];
      }
      SharedKey& key = keys_[number];
      if (key.text() == bytes) return &key;
    }
    return nullptr;
  }

  void makePermanent(SharedKey& key) noexcept {
    key.usesLeft = UINT32_MAX;
    StringBody* const permanent = permanentKey(hash(key.text()), key.text(), key.body);
    if (permanent == nullptr || permanent == key.body) return;
    ObjectAccess::retain(permanent);
    ObjectAccess::release(std::exchange(key.body, permanent));
  }

  /// Between texts. One full of keys that never come again shall not keep out those that do.
  void makeRoom() noexcept {
    if (count_ < kMaximumCount) return;
    releaseAll();
    forget();
  }

  /// Stands for the place of the whole text.
  SharedKey root;
  std::uint64_t objects = 0;
  /// Room of an item stack, from one text to the next.
  Item* items = nullptr;
  std::size_t itemCapacity = 0;

 private:
  static constexpr std::size_t kMaximumCount = 512;
  static constexpr std::size_t kIndexSize = 2 * kMaximumCount;
  static constexpr std::size_t kProbes = 8;  // however unluckily, or well, the keys were chosen
  static constexpr std::uint16_t kNone = UINT16_MAX;
  static constexpr std::uint32_t kUsesUntilPermanent = 256;

  static std::uint32_t hash(std::string_view bytes) noexcept {
    const char* const p = bytes.data();
    const std::size_t size = bytes.size();
    std::uint64_t a = 0;
    std::uint64_t b = 0;
    if (size >= 8) {
      std::memcpy(&a, p, 8);
      std::memcpy(&b, p + size - 8, 8);
    } else if (size >= 4) {
      std::memcpy(&a, p, 4);
      std::memcpy(&b, p + size - 4, 4);
    } else {
      std::memcpy(&a, p, size);
    }
    a = (a ^ size) * 0x9E3779B97F4A7C15u;
    b = (b ^ (a >> 32)) * 0xE7037ED1A0B428DBu;
    return static_cast<std::uint32_t>((a ^ b) >> 32);
  }

  static void fill(SharedKey& key, const JSONText& text, std::uint32_t textHash) {
    const std::size_t size = text.bytes.size();
    key.body = permanentKey(textHash, text.bytes, nullptr);
    key.usesLeft = key.body != nullptr ? UINT32_MAX : kUsesUntilPermanent;
    if (key.body != nullptr)
      ObjectAccess::retain(key.body);
    else
      key.body = StringBody::create(text.bytes.data(), size, text.ascii);
    key.hash = collections::tableHash(key.body);
    key.mask = UINT32_MAX >> (SharedKey::kMaximumSize - (size + 2));
    key.size = static_cast<std::uint32_t>(size + 2);
    key.lastObject = 0;
    key.next = nullptr;
    key.first = nullptr;
    std::memset(key.token, 0, sizeof key.token);
    key.token[0] = '"';
    std::memcpy(key.token + 1, text.bytes.data(), size);
    key.token[size + 1] = '"';
  }

  void releaseAll() noexcept {
    for (std::size_t i = 0; i < count_; ++i) ObjectAccess::release(keys_[i].body);
  }
  void forget() noexcept {
    count_ = 0;
    std::memset(index_, 0xFF, sizeof index_);
    root = SharedKey{};
  }

  std::size_t count_ = 0;
  std::uint16_t index_[kIndexSize];
  SharedKey keys_[kMaximumCount];
};

/// The items of all open containers.
class ItemStack {
 public:
  explicit ItemStack(SharedKeys& keys) noexcept
      : keys_(keys), items_(std::exchange(keys.items, nullptr)), capacity_(std::exchange(keys.itemCapacity, 0)) {}
  ~ItemStack() {
    for (std::size_t i = 0; i < size_; ++i) items_[i].release();
    if (capacity_ > kMostKept || keys_.items != nullptr) {
      std::free(static_cast<void*>(items_));
    } else {
      keys_.items = items_;
      keys_.itemCapacity = capacity_;
    }
  }
  ItemStack(const ItemStack&) = delete;
  ItemStack& operator=(const ItemStack&) = delete;

  std::size_t size() const noexcept { return size_; }
  Item* from(std::size_t index) noexcept { return items_ + index; }
  Item& last() noexcept { return items_[size_ - 1]; }
  Item& push(std::uintptr_t key) {
    if (size_ == capacity_) [[unlikely]]
      grow();
    Item& item = items_[size_++];
    item.key = key;
    item.value = nullptr;
    return item;
  }
  /// What is cut off has gone elsewhere.
  void cut(std::size_t size) noexcept { size_ = size; }

 private:
  void grow() {
    const std::size_t capacity = capacity_ == 0 ? 128 : capacity_ * 2;
    void* larger = std::realloc(static_cast<void*>(items_), capacity * sizeof(Item));
    if (larger == nullptr) throw std::bad_alloc();
    items_ = static_cast<Item*>(larger);
    capacity_ = capacity;
  }

  static constexpr std::size_t kMostKept = 4096;

  SharedKeys& keys_;
  Item* items_;
  std::size_t size_ = 0;
  std::size_t capacity_;
};

/// The handler that makes objects. It calls no code but this library's.
class TreeBuilder {
 public:
  TreeBuilder(SharedKeys& keys, NSUInteger options)
      : keys_(keys),
        hasMutableContainers_((options & NSJSONReadingMutableContainers) != 0),
        hasMutableLeaves_((options & NSJSONReadingMutableLeaves) != 0) {
    frame_->start = 0;
    frame_->under = &keys.root;
    frame_->foreseen = nullptr;
    frame_->isObject = false;
    frame_->hasOwnKeys = false;
  }

  /// The value, when all was read.
  id take() noexcept {
    Object* value = items_.last().value;
    items_.cut(0);
    return id(adopt, value);
  }

  void startObject() { open(true); }
  void endObject() {
    const std::size_t count = items_.size() - frame_->start;
    Object* object = count == 0 && !hasMutableContainers_ ? NSDictionary::dictionary().detach() : makeDictionary(count);
    close(object);
  }
  void startArray() { open(false); }
  void endArray() {
    const std::size_t count = items_.size() - frame_->start;
    Object* object = count == 0 && !hasMutableContainers_ ? NSArray::array().detach() : makeArray(count);
    close(object);
  }

  std::size_t foreseenKey(const char* p, const char* end) {
    SharedKey* const key = *frame_->foreseen;
    if (key == nullptr || static_cast<std::size_t>(end - p) < SharedKey::kMaximumSize || !key->standsAt(p)) return 0;
    add(*key);
    return key->size;
  }
  void key(const JSONText& text) {
    // A token with an escape in it would foresee another text than its own.
    if (!text.hadEscapes) {
      if (SharedKey* shared = keys_.find(text)) {
        *frame_->foreseen = shared;
        add(*shared);
        return;
      }
    }
    frame_->hasOwnKeys = true;
    Item& item = items_.push(0);
    item.key = reinterpret_cast<std::uintptr_t>(StringBody::create(text.bytes.data(), text.bytes.size(), text.ascii));
    nowhere_ = nullptr;
    frame_->foreseen = &nowhere_;
  }

  void string(const JSONText& text) {
    Item& item = place();
    if (hasMutableLeaves_) [[unlikely]] {
      StringBody* body = StringBody::createMutable(text.bytes.size());
      item.value = body;
      body->appendUTF8(text.bytes.data(), text.bytes.size(), text.ascii);
    } else if (text.bytes.empty()) {
      item.value = NSString(""_ns).detach();
    } else if (text.isPadded) [[likely]] {
      memory::Heap* const heap = memory::threadHeap;
      ClassBody* const cls = StringBody::immutableClass();
      item.value = text.ascii ? StringBody::createPadded<true>(heap, cls, text.bytes.data(), text.bytes.size())
                              : StringBody::createPadded<false>(heap, cls, text.bytes.data(), text.bytes.size());
    } else {
      item.value = StringBody::create(text.bytes.data(), text.bytes.size(), text.ascii);
    }
  }
  void integer(std::int64_t value) { place().value = NumberBody::create(value); }
  void unsignedInteger(std::uint64_t value) { place().value = NumberBody::create(value); }
  void real(double value) { place().value = NumberBody::create(value); }
  void decimal(const JSONDecimal& value) {
    const Decimal decimal{value.mantissa, static_cast<std::int16_t>(value.exponent), value.negative, false};
    place().value = DecimalNumberBody::create(decimal);
  }
  void boolean(bool value) { place().value = NumberBody::create(value); }
  void null() { place().value = NSNull::null().detach(); }

 private:
  /// A container that is open.
  struct Frame {
    std::size_t start;     // of its items
    SharedKey* under;      // the key under which it stands; the elements of an array stand under the array's
    SharedKey** foreseen;  // where the key that comes next is remembered
    bool isObject;
    bool hasOwnKeys;  // not only shared ones: equal keys may be different strings
  };

  /// Where the next value goes.
  Item& place() { return frame_->isObject ? items_.last() : items_.push(0); }

  void add(SharedKey& key) {
    if (--key.usesLeft == 0) [[unlikely]]
      keys_.makePermanent(key);
    items_.push(reinterpret_cast<std::uintptr_t>(&key) + Item::kShared);
    frame_->foreseen = &key.next;
  }

  void open(bool isObject) {
    Item& item = place();
    SharedKey* under = frame_->under;
    if (frame_->isObject) {
      under = item.sharedKey();
      if (under == nullptr) under = &strange_;
    }
    ++frame_;
    frame_->start = items_.size();
    frame_->under = under;
    frame_->foreseen = &under->first;
    frame_->isObject = isObject;
    frame_->hasOwnKeys = false;
  }
  void close(Object* object) noexcept {
    items_.cut(frame_->start);
    items_.last().value = object;
    --frame_;
  }

  Object* makeArray(std::size_t count) {
    ArrayBody* body = ArrayBody::create(hasMutableContainers_ ? kMutableArrayKind : kArrayKind, count);
    const Item* item = items_.from(frame_->start);
    for (const Item* const end = item + count; item != end; ++item) body->appendUnchecked(id(adopt, item->value));
    return body;
  }

  Object* makeDictionary(std::size_t count) {
    const ValueKind kind = hasMutableContainers_ ? kMutableDictionaryKind : kDictionaryKind;
    DictionaryBody* const body = DictionaryBody::create(kind, count);
    NSDictionary dictionary(adopt, body);
    Item* item = items_.from(frame_->start);
    Item* const end = item + count;
    const bool areAllShared = !frame_->hasOwnKeys;
    const std::uint64_t number = ++keys_.objects;
    for (; item != end; ++item) {
      id value(adopt, std::exchange(item->value, nullptr));
      SharedKey* const shared = item->sharedKey();
      if (shared == nullptr) {
        id key(adopt, item->ownKey());
        item->key = 0;
        body->set(std::move(key), std::move(value));
      } else if (areAllShared && shared->lastObject != number) {
        shared->lastObject = number;
        body->addNew(id(borrow, shared->body), std::move(value), shared->hash);
      } else {
        body->set(id(borrow, shared->body), std::move(value));
      }
    }
    // A text that repeats one key for ever shall not leave room for all of them behind.
    if (body->table.count < count / 4) return DictionaryBody::createCopy(kind, *body);
    return dictionary.detach();
  }

  SharedKeys& keys_;
  const bool hasMutableContainers_;
  const bool hasMutableLeaves_;
  ItemStack items_{keys_};
  SharedKey* nowhere_ = nullptr;
  SharedKey strange_{};
  Frame frames_[kJSONMaximumDepth + 1];
  Frame* frame_ = frames_;
};

/// The keys of this thread, or fresh ones where the thread is ending and its own are gone.
class KeysOfThread {
 public:
  KeysOfThread() {
    if (isGone) {
      keys_ = new SharedKeys();
      return;
    }
    static thread_local Owner owner;
    if (owner.keys == nullptr) owner.keys = new SharedKeys();
    keys_ = owner.keys;
  }
  ~KeysOfThread() {
    if (isGone)
      delete keys_;
    else
      keys_->makeRoom();
  }
  KeysOfThread(const KeysOfThread&) = delete;
  KeysOfThread& operator=(const KeysOfThread&) = delete;

  SharedKeys& operator*() const noexcept { return *keys_; }

 private:
  struct Owner {
    ~Owner() {
      delete keys;
      isGone = true;
    }
    SharedKeys* keys = nullptr;
  };
  static constinit inline thread_local bool isGone = false;

  SharedKeys* keys_;
};

}  // namespace

id json::read(std::string_view utf8, NSUInteger options, bool knownUTF8, JSONFailure& failure) {
  JSONCursor cursor(utf8, knownUTF8);
  if ((options & NSJSONReadingFragmentsAllowed) == 0 && !cursor.failed()) {
    const char first = cursor.peek();
    if (first != '{' && first != '[') cursor.fail(JSONError::kFragment);
  }
  KeysOfThread keys;
  TreeBuilder builder(*keys, options);
  if (readJSON(cursor, builder)) return builder.take();
  failure = cursor.failure();
  return id();
}

bool json::readValue(JSONCursor& cursor, id& value) {
  KeysOfThread keys;
  TreeBuilder builder(*keys, 0);
  if (!readJSONValue(cursor, builder)) return false;
  value = builder.take();
  return true;
}

}  // namespace kvt
