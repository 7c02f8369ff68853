#include "DirectReader.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <vector>

#include <KVTPlatform/Runtime/ClassBody.h>
#include <KVTPlatform/Runtime/ObjectMemory.h>
#include <KVTPlatform/Values/JSONReader.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSArrayBody.h>
#include <KVTPlatform/Values/NSJSONSerializationPrivate.h>
#include <KVTPlatform/Values/NSNumberBody.h>
#include <KVTPlatform/Values/NSStringBody.h>

#include "DirectPlan.h"
#include "ModelValue.h"

namespace kvt::direct {
namespace {

/// Which properties of an object have been met: a bit for each of the first 64, the others apart and only when one of
/// them comes.
class Seen {
 public:
  /// NO the second time.
  bool mark(const Entry& entry, const ClassPlan& plan) {
    const bool isNew = (first_ & entry.bit) == 0;
    first_ |= entry.bit;
    return entry.bit != 0 ? isNew : markMore(plan.numberOf(entry), plan.properties);
  }

 private:
  [[gnu::noinline]] bool markMore(std::size_t number, std::size_t properties) {
    if (more_ == nullptr) {
      const std::size_t words = properties / 64 + 1;
      if (words > std::size(few_)) many_ = std::make_unique_for_overwrite<std::uint64_t[]>(words);
      more_ = many_ != nullptr ? many_.get() : few_;
      std::fill_n(more_, words, 0);
    }
    std::uint64_t& word = more_[number / 64];
    const std::uint64_t bit = std::uint64_t{1} << (number % 64);
    const bool isNew = (word & bit) == 0;
    word |= bit;
    return isNew;
  }

  std::uint64_t first_ = 0;
  std::uint64_t* more_ = nullptr;
  std::uint64_t few_[8];
  std::unique_ptr<std::uint64_t[]> many_;
};

/// The elements of the arrays that are open, so that each array is made when its size is known. The room is the
/// thread's and serves text after text.
class ElementStack {
 public:
  explicit ElementStack(std::vector<Object*>& elements) noexcept : elements_(elements) {}

  /// An array that is being read.
  class Open {
   public:
    explicit Open(ElementStack& stack) noexcept : stack_(stack), start_(stack.elements_.size()) {}
    Open(const Open&) = delete;
    Open& operator=(const Open&) = delete;
    ~Open() {
      // All are gone when an array was made of them.
      while (stack_.elements_.size() > start_) {
        Object* const element = stack_.elements_.back();
        stack_.elements_.pop_back();
        ObjectAccess::release(element);
      }
    }
    void push(Object* element) {
      try {
        stack_.elements_.push_back(element);
      } catch (...) {
        ObjectAccess::release(element);
        throw;
      }
    }
    Object* makeArray(ValueKind kind) {
      const std::size_t count = stack_.elements_.size() - start_;
      ArrayBody* body = ArrayBody::create(kind, count);
      for (std::size_t i = 0; i < count; ++i) body->appendUnchecked(id(adopt, stack_.elements_[start_ + i]));
      stack_.elements_.resize(start_);
      return body;
    }

   private:
    ElementStack& stack_;
    const std::size_t start_;
  };

 private:
  std::vector<Object*>& elements_;
};

class Reader {
 public:
  Reader(JSONCursor& cursor, const PlanUse& use) : cursor_(cursor), elements_(use.elements()) {}

  /// The text is fine, but a mapped key came twice in one object.
  bool isUnusual() const noexcept { return unusual_; }

  /// Fills a new object; the cursor stands on the opening brace. NO: the text is malformed, or unusual.
  ///
  /// While the text goes on as usual, the place in it is kept in a register: `p`. Whatever else comes is the cursor's,
  /// which is told the place before and asked for it behind.
  bool fill(ClassPlan& plan, Object* object) {
    if (!cursor_.enter()) return false;
    Seen seen;
    if (cursor_.peek() == '}') return leave();
    const char* p = cursor_.position();
    Entry* entry = &plan.following(plan.start());
    if (!passToken(p, *entry)) {
      entry = readKey(plan, plan.start(), p);
      if (entry == nullptr) return false;
    }
    for (;;) {
      if (entry->kind == Kind::kUnknownKey) {
        if (!skip(p)) return false;
      } else {
        if (!seen.mark(*entry, plan)) [[unlikely]] {
          unusual_ = true;
          return false;
        }
        char* member = reinterpret_cast<char*>(object) + entry->offset;
        if (!passUsual(p, *entry, member)) {
          cursor_.rewind(p);
          // An object of the same class within this one may make the entries move.
          const std::size_t number = plan.numberOf(*entry);
          if (!store(*entry, object, member)) return false;
          entry = &plan.entries[number];
          p = cursor_.position();
        }
      }
      Entry& previous = *entry;
      entry = &plan.following(previous);
      if (passKey(p, entry->comma, entry->commaSize, entry->commaMask, entry->room)) [[likely]]
        continue;
      cursor_.rewind(p);
      switch (afterValue()) {
        case ',': break;
        case '}': return leave();
        default: return cursor_.fail(JSONError::kBadObject);
      }
      cursor_.advance(1);
      cursor_.peek();
      p = cursor_.position();
      if (passToken(p, *entry)) continue;
      entry = findKey(plan, p);
      if (entry != nullptr)
        plan.setFollowing(previous, *entry);
      else
        entry = readKey(plan, previous, p);
      if (entry == nullptr) return false;
    }
  }

  /// The elements of an array that are objects, as models in a mutable array, the others dropped; the cursor stands on
  /// the opening bracket. Null: the text is malformed, or unusual.
  Object* readModels(ClassPlan& plan) {
    ElementStack::Open open(elements_);
    if (!cursor_.enter()) return nullptr;
    if (cursor_.peek() == ']') return leave(), open.makeArray(kMutableArrayKind);
    for (;;) {
      if (cursor_.peek() == '{') {
        Handle model(adopt, makeModel(plan));
        if (model) {
          if (!fill(plan, model.object())) return nullptr;
          open.push(model.detach());
        } else if (!cursor_.skipValue()) {
          return nullptr;
        }
      } else if (!cursor_.skipValue()) {
        return nullptr;
      }
      switch (afterValue()) {
        case ',': cursor_.advance(1); break;
        case ']': return leave(), open.makeArray(kMutableArrayKind);
        default: return cursor_.fail(JSONError::kBadArray), nullptr;
      }
    }
  }

  /// A new object of the plan's class; null where it cannot have any.
  static Object* makeModel(const ClassPlan& plan) {
    if (plan.construct == nullptr) [[unlikely]]
      return class_createInstance(plan.cls);
    void* memory = memory::allocate(plan.instanceSize);
    Object* object = nullptr;
    try {
      object = plan.construct(memory);
    } catch (...) {
      memory::deallocate(memory);
      throw;
    }
    ObjectAccess::setIsa(object, plan.cls.body());
    return object;
  }

 private:
  bool leave() {
    cursor_.leave();
    return true;
  }

  /// What follows a value; behind a closing bracket the text may be at its end.
  char afterValue() { return cursor_.atEnd() ? '\0' : cursor_.peek(); }

  /// Passes what was foreseen, a key and its colon, when it stands there. Behind it another 32 bytes may be read then.
  [[gnu::always_inline]] bool passKey(const char*& p, const char* token, std::size_t size, unsigned lastMask,
                                      std::size_t room) const noexcept {
    constexpr std::size_t kBlock = static_cast<std::size_t>(json::Block::kSize);
    if (size == 0 || static_cast<std::size_t>(end_ - p) < room) [[unlikely]]
      return false;
    for (std::size_t at = 0;; at += kBlock) {
      const unsigned same = json::Block(p + at).equalTo(json::Block(token + at));
      if (size - at <= kBlock) {
        if ((same & lastMask) != lastMask) return false;
        p += size;
        return true;
      }
      if (same != 0xFFFF) return false;
    }
  }

  [[gnu::always_inline]] bool passToken(const char*& p, const Entry& entry) const noexcept {
    return passKey(p, entry.token(), entry.tokenSize, entry.tokenMask, entry.room);
  }

  /// Passes a key that is known, short, and written without escapes and white space; null, and nothing has happened,
  /// when it is another one. For objects whose keys come in any order.
  [[gnu::always_inline]] Entry* findKey(ClassPlan& plan, const char*& p) noexcept {
    if (end_ - p < 64 || *p != '"') return nullptr;
    const char* const key = p + 1;
    unsigned special = json::Block(key).special();
    std::size_t size = 0;
    if (special == 0) {
      size = static_cast<std::size_t>(json::Block::kSize);
      special = json::Block(key + size).special();
      if (special == 0) return nullptr;
    }
    size += static_cast<std::size_t>(__builtin_ctz(special));
    const char* place = p;
    Entry* found = plan.find(key, size, [&](const Entry& entry) { return passToken(place, entry); });
    p = place;
    return found;
  }

  /// Reads any other key and its colon, finds its entry and remembers that it came behind `previous`. Null: the text is
  /// malformed.
  [[gnu::noinline]] Entry* readKey(ClassPlan& plan, Entry& previous, const char*& p) {
    cursor_.rewind(p);
    if (cursor_.peek() != '"') return cursor_.fail(JSONError::kKeyExpected), nullptr;
    JSONText key;
    if (!cursor_.readString(key)) return nullptr;
    if (cursor_.peek() != ':') return cursor_.fail(JSONError::kColonExpected), nullptr;
    cursor_.advance(1);
    p = cursor_.position();
    const std::size_t number = plan.numberOf(previous);
    Entry& entry = plan.entryOf(key.bytes);  // may move the entries
    plan.setFollowing(plan.entries[number], entry);
    return &entry;
  }

  bool skip(const char*& p) {
    cursor_.rewind(p);
    cursor_.peek();
    if (!cursor_.skipValue()) return false;
    p = cursor_.position();
    return true;
  }

  /// Text for a text, digits for a whole number, true and false, without white space in front and not close to the end
  /// of the document: passed and stored. NO: it is something else, and nothing has happened.
  [[gnu::always_inline]] bool passUsual(const char*& p, const Entry& entry, char* member) {
    if (end_ - p < 2 * json::Block::kSize) [[unlikely]]
      return false;
    if (entry.kind == Kind::kText) return passText(p, member);
    switch (entry.kind) {
      case Kind::kInt8:
      case Kind::kUInt8: return passInteger<std::uint8_t>(p, member);
      case Kind::kInt16:
      case Kind::kUInt16: return passInteger<std::uint16_t>(p, member);
      case Kind::kInt32:
      case Kind::kUInt32: return passInteger<std::uint32_t>(p, member);
      case Kind::kInt64:
      case Kind::kUInt64: return passInteger<std::uint64_t>(p, member);
      case Kind::kDouble: return passReal(p, member);
      case Kind::kBool: {
        const bool value = std::memcmp(p, "true", 4) == 0;
        if (!value && std::memcmp(p, "false", 5) != 0) return false;
        p += value ? 4 : 5;
        *reinterpret_cast<bool*>(member) = value;
        return true;
      }
      default: return false;
    }
  }

  [[gnu::always_inline]] bool passText(const char*& p, char* member) {
    if (*p != '"') return false;
    const char* const start = p + 1;
    const char* q = start;
    unsigned notAscii = 0;
    for (;;) {
      const json::Block block(q);
      const unsigned special = block.special();
      const unsigned high = block.notAscii();
      if (special != 0) {
        notAscii |= high & (special ^ (special - 1));  // the bits up to the first special one
        q += __builtin_ctz(special);
        break;
      }
      notAscii |= high;
      q += json::Block::kSize;
      if (end_ - q < 2 * json::Block::kSize) [[unlikely]]
        return false;
    }
    // At least sixteen bytes follow.
    if (*q != '"') return false;
    p = q + 1;
    const auto size = static_cast<std::size_t>(q - start);
    put(member, notAscii == 0 ? StringBody::createPadded<true>(heap_, textClass_, start, size)
                              : StringBody::createPadded<false>(heap_, textClass_, start, size));
    return true;
  }

  /// Of the same width, signed and unsigned numbers keep the same bits.
  template <class T>
  [[gnu::always_inline]] static bool passInteger(const char*& p, char* member) {
    const bool negative = *p == '-';
    const char* const digits = p + (negative ? 1 : 0);
    const char* q = digits;
    std::uint64_t value = 0;
    json::readDigits(q, q + 24, value);
    const std::ptrdiff_t count = q - digits;
    // What is longer might overflow; the sign of a zero, a leading zero and all else is not for here.
    if (count > 18 || count == 0 || (*digits == '0' && (count > 1 || negative)) || *q == '.' || (*q | 0x20) == 'e')
        [[unlikely]] {
      return false;
    }
    p = q;
    const auto result = static_cast<T>(negative ? 0 - value : value);
    std::memcpy(member, &result, sizeof result);
    return true;
  }

  /// Numbers of few digits and decimals: both are exact as doubles, so that one division rounds right.
  static bool passReal(const char*& p, char* member) {
    constexpr std::ptrdiff_t kMostDigits = 15;
    static constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                              1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    const bool negative = *p == '-';
    const char* const limit = p + 2 * json::Block::kSize;
    const char* const digits = p + (negative ? 1 : 0);
    const char* q = digits;
    std::uint64_t value = 0;
    json::readDigits(q, limit, value);
    const std::ptrdiff_t whole = q - digits;
    if (whole == 0 || whole > kMostDigits || *q != '.' || (*digits == '0' && whole > 1)) return false;
    const char* const decimals = ++q;
    json::readDigits(q, limit, value);
    const std::ptrdiff_t behind = q - decimals;
    if (behind == 0 || whole + behind > kMostDigits || (*q | 0x20) == 'e') return false;
    p = q;
    const double magnitude = static_cast<double>(value) / kPowersOfTen[behind];
    const double result = negative ? -magnitude : magnitude;
    std::memcpy(member, &result, sizeof result);
    return true;
  }

  /// Any value; the cursor stands on it or on white space in front of it.
  bool store(const Entry& entry, Object* object, char* member) {
    const char c = cursor_.peek();
    switch (entry.kind) {
      case Kind::kText:
        if (c == '"') {
          JSONText text;
          if (!cursor_.readString(text)) return false;
          put(member, text.bytes.empty() ? NSString(""_ns).detach()
                                         : StringBody::create(text.bytes.data(), text.bytes.size(), text.ascii));
          return true;
        }
        break;
      case Kind::kInt64: return number<std::int64_t>(entry, object, member, c);
      case Kind::kInt32: return number<std::int32_t>(entry, object, member, c);
      case Kind::kUInt64: return number<std::uint64_t>(entry, object, member, c);
      case Kind::kUInt32: return number<std::uint32_t>(entry, object, member, c);
      case Kind::kInt16: return number<std::int16_t>(entry, object, member, c);
      case Kind::kUInt16: return number<std::uint16_t>(entry, object, member, c);
      case Kind::kInt8: return number<std::int8_t>(entry, object, member, c);
      case Kind::kUInt8: return number<std::uint8_t>(entry, object, member, c);
      case Kind::kDouble: return number<double>(entry, object, member, c);
      case Kind::kFloat: return number<float>(entry, object, member, c);
      case Kind::kBool:
        if (c == 't' || c == 'f') {
          if (!(c == 't' ? cursor_.readTrue() : cursor_.readFalse())) return false;
          *reinterpret_cast<bool*>(member) = c == 't';
          return true;
        }
        break;
      case Kind::kModel:
        // One that is there already is filled in place, which must wait for the end of the text.
        if (c == '{') {
          if (*reinterpret_cast<Object**>(member) != nullptr) break;
          Handle model(adopt, makeModel(*entry.nested));
          if (!model) return cursor_.skipValue();
          if (!fill(*entry.nested, model.object())) return false;
          put(member, model.detach());
          return true;
        }
        break;
      case Kind::kModels:
        if (c == '[') {
          // Nothing else that JSON text holds is an instance of a model class.
          Object* models = readModels(*entry.nested);
          if (models == nullptr) return false;
          put(member, models);
          return true;
        }
        break;
      case Kind::kArray:
        if (c == '[') return array(entry, object, member);
        break;
      case Kind::kUnknownKey:
      case Kind::kOther: break;
    }
    if (c == 'n' && (entry.kind == Kind::kText || entry.kind == Kind::kModel || entry.kind == Kind::kModels ||
                     entry.kind == Kind::kArray)) {
      if (!cursor_.readNull()) return false;
      put(member, nullptr);
      return true;
    }
    return storePlainly(entry, object);
  }

  static void put(char* member, Object* value) noexcept {
    Object* const previous = std::exchange(*reinterpret_cast<Object**>(member), value);
    if (previous != nullptr) [[unlikely]]
      ObjectAccess::release(previous);
  }

  template <class T>
  bool number(const Entry& entry, Object* object, char* member, char c) {
    if (c != '-' && !json::isDigit(c)) return storePlainly(entry, object);
    const char* const start = cursor_.position();
    JSONNumber value;
    if (!cursor_.readNumber(value)) return false;
    T result;
    switch (value.kind) {
      case JSONNumber::Kind::kInteger: result = static_cast<T>(value.integer); break;
      case JSONNumber::Kind::kReal:
        if constexpr (std::is_same_v<T, double>) {
          result = value.real;
          break;
        }
        [[fallthrough]];
      default: cursor_.rewind(start); return storePlainly(entry, object);
    }
    std::memcpy(member, &result, sizeof result);
    return true;
  }

  /// An array of values. Of those of a class, what is not of it is dropped, and a dictionary, of which one may be made,
  /// sends the array the plain way. NO: the text is malformed.
  bool array(const Entry& entry, Object* object, char* member) {
    const Class wanted = entry.meta->genericCls;
    const char* const start = cursor_.position();
    ElementStack::Open open(elements_);
    if (!cursor_.enter()) return false;
    if (cursor_.peek() == ']') {
      leave();
      put(member, wanted ? ArrayBody::create(kMutableArrayKind, 0) : NSArray::array().detach());
      return true;
    }
    for (;;) {
      const char c = cursor_.peek();
      if ((json::isDigit(c) || c == '-') && entry.keepsNumbers) {
        const char* const digits = cursor_.position();
        JSONNumber number;
        if (!cursor_.readNumber(number)) return false;
        if (number.kind == JSONNumber::Kind::kInteger) {
          open.push(NumberBody::create(number.integer));
        } else {
          cursor_.rewind(digits);
          if (!element(wanted, open)) return false;
        }
      } else if (c == '"' && entry.keepsText) {
        JSONText text;
        if (!cursor_.readString(text)) return false;
        open.push(StringBody::create(text.bytes.data(), text.bytes.size(), text.ascii));
      } else if (c == '{' && wanted) {
        cursor_.leave();
        cursor_.rewind(start);
        return storePlainly(entry, object);
      } else if (!element(wanted, open)) {
        return false;
      }
      switch (afterValue()) {
        case ',': cursor_.advance(1); break;
        case ']':
          leave();
          put(member, open.makeArray(wanted ? kMutableArrayKind : kArrayKind));
          return true;
        default: return cursor_.fail(JSONError::kBadArray);
      }
    }
  }
  bool element(Class wanted, ElementStack::Open& open) {
    id value;
    if (!json::readValue(cursor_, value)) return false;
    if (!wanted || value.isKindOfClass(wanted)) open.push(value.detach());
    return true;
  }

  /// Any other combination of value and property.
  bool storePlainly(const Entry& entry, Object* object) {
    id value;
    if (!json::readValue(cursor_, value)) return false;
    ModelSetValueForProperty(id(borrow, object), value, *entry.meta);
    return true;
  }

  JSONCursor& cursor_;
  const char* const end_ = cursor_.position() + cursor_.remaining();
  ClassBody* const textClass_ = StringBody::immutableClass();
  memory::Heap* heap_ = memory::threadHeap;
  ElementStack elements_;
  bool unusual_ = false;
};

/// A top level that begins with this character, in plain UTF-8: no byte order mark, and none of the NULs of wider
/// encodings.
bool beginsWith(std::string_view text, char bracket) noexcept {
  std::size_t i = 0;
  while (i < text.size() && json::isSpace(text[i])) ++i;
  return i < text.size() && text[i] == bracket && (i + 1 == text.size() || text[i + 1] != '\0');
}

}  // namespace

Outcome readModel(Class cls, std::string_view utf8, bool knownUTF8, id& result) {
  if (!beginsWith(utf8, '{') || utf8.size() > StringBody::kMaximumSize) return Outcome::kUnusual;
  const PlanUse use;
  ClassPlan* plan = use.planFor(cls);
  if (plan == nullptr || !plan->reads || plan->properties == 0) return Outcome::kUnusual;
  JSONCursor cursor(utf8, knownUTF8);
  if (cursor.failed()) return Outcome::kDone;
  id model(adopt, Reader::makeModel(*plan));
  if (!model) return Outcome::kUnusual;
  Reader reader(cursor, use);
  cursor.peek();
  if (reader.fill(*plan, model.object()) && cursor.finish()) result = std::move(model);
  return reader.isUnusual() ? Outcome::kUnusual : Outcome::kDone;
}

Outcome readModels(Class cls, std::string_view utf8, bool knownUTF8, id& result) {
  if (!beginsWith(utf8, '[') || utf8.size() > StringBody::kMaximumSize) return Outcome::kUnusual;
  const PlanUse use;
  ClassPlan* plan = use.planFor(cls);
  if (plan == nullptr || !plan->reads || plan->properties == 0) return Outcome::kUnusual;
  JSONCursor cursor(utf8, knownUTF8);
  if (cursor.failed()) return Outcome::kDone;
  Reader reader(cursor, use);
  cursor.peek();
  id models(adopt, reader.readModels(*plan));
  if (models && cursor.finish()) result = std::move(models);
  return reader.isUnusual() ? Outcome::kUnusual : Outcome::kDone;
}

}  // namespace kvt::direct
