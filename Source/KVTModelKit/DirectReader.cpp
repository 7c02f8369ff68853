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

/// Which of an object's properties have been met that have no bit of their own.
class SeenMore {
 public:
  /// NO the second time.
  [[gnu::noinline]] bool mark(std::size_t number, std::size_t properties) {
    if (words_ == nullptr) {
      const std::size_t words = properties / 64 + 1;
      if (words > std::size(few_)) many_ = std::make_unique_for_overwrite<std::uint64_t[]>(words);
      words_ = many_ != nullptr ? many_.get() : few_;
      std::fill_n(words_, words, 0);
    }
    std::uint64_t& word = words_[number / 64];
    const std::uint64_t bit = std::uint64_t{1} << (number % 64);
    const bool isNew = (word & bit) == 0;
    word |= bit;
    return isNew;
  }

 private:
  std::uint64_t* words_ = nullptr;
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
      ArrayBody* body = ArrayBody::createWith(kind, stack_.elements_.data() + start_, stack_.elements_.size() - start_);
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

}  // namespace

class Reader {
 public:
  Reader(JSONCursor& cursor, const PlanUse& use) : cursor_(cursor), elements_(use.elements()) {
    tail_[kBefore - 1] = '\0';
  }

  /// The text is fine, but a mapped key came twice in one object.
  bool isUnusual() const noexcept { return unusual_; }

  /// Fills a new object; the cursor stands on the opening brace. NO: the text is malformed, or unusual.
  ///
  /// While the text goes on as usual, the place in it is kept in a register: `p`. Whatever else comes is the cursor's,
  /// which is told the place before and asked for it behind. Before each key, kAhead bytes may be read.
  bool fill(ClassPlan& plan, Object* object) {
    if (!cursor_.enter()) return false;
    if (cursor_.peek() == '}') return leave(cursor_.position());
    const char* p = ahead(cursor_.position());
    SeenMore more;
    std::uint64_t seen = Entry::kSharedBit;
    Entry* entry = &ClassPlan::following(plan.start());
    if (!passToken(p, *entry)) {
      entry = readKey(plan, plan.start(), p);
      if (entry == nullptr) return false;
      p = ahead(cursor_.position());
    }
    for (;;) {
      if ((seen & entry->bit) != 0) [[unlikely]] {
        if (entry->bit != Entry::kSharedBit || !more.mark(plan.numberOf(*entry), plan.properties)) {
          unusual_ = true;
          return false;
        }
      }
      seen |= entry->bit;
      char* const member = reinterpret_cast<char*>(object) + entry->offset;
      while (!passUsual(p, *entry, member)) {
        if (static_cast<unsigned char>(*p) <= ' ') {
          p = passSpace(p);
          if (static_cast<unsigned char>(*p) > ' ') continue;
        }
        cursor_.rewind(p);
        // An object of the same class within this one may make the entries move.
        const std::size_t number = plan.numberOf(*entry);
        if (!store(*entry, object, member)) return false;
        entry = &plan.entries[number];
        p = cursor_.position();
        break;
      }
      p = ahead(p);
      Entry& previous = *entry;
      entry = &ClassPlan::following(previous);
      if (passComma(p, *entry)) [[likely]]
        continue;
      char c = *p;
      if (c != '}' && c != ',') [[unlikely]] {
        cursor_.rewind(p);
        c = afterValue();
        p = cursor_.position();
      }
      if (c == '}') return leave(p);
      if (c != ',') [[unlikely]] {
        cursor_.rewind(p);
        return cursor_.fail(JSONError::kBadObject);
      }
      ++p;
      if (static_cast<unsigned char>(*p) <= ' ') p = passSpace(p);
      if (passToken(p, *entry)) continue;
      entry = findKey(plan, p);
      if (entry != nullptr) {
        ClassPlan::setFollowing(previous, *entry);
        p += entry->commaSize - 1;
        continue;
      }
      entry = readKey(plan, previous, p);
      if (entry == nullptr) return false;
      p = ahead(cursor_.position());
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

  static PassValue passOf(Kind kind) noexcept {
    switch (kind) {
      case Kind::kUnknownKey: return passUnknown;
      case Kind::kBool: return passBool;
      case Kind::kInt8:
      case Kind::kUInt8: return passInteger<std::uint8_t>;
      case Kind::kInt16:
      case Kind::kUInt16: return passInteger<std::uint16_t>;
      case Kind::kInt32:
      case Kind::kUInt32: return passInteger<std::uint32_t>;
      case Kind::kInt64:
      case Kind::kUInt64: return passInteger<std::uint64_t>;
      case Kind::kDouble: return passReal;
      case Kind::kArray: return passIntegers;
      default: return passNothing;  // texts have no need of one
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
  // What is looked at without asking whether it is there: the longest key, and the first two blocks of its value.
  static constexpr std::size_t kAhead = 128;
  static constexpr std::size_t kBefore = 16;

  bool leave() {
    cursor_.leave();
    return true;
  }
  bool leave(const char* p) {
    cursor_.rewind(p);
    cursor_.leave();
    return true;
  }

  /// The place from which kAhead bytes may be read: this one, or, close to the end of the text, its twin in a copy of
  /// the rest that has room behind it.
  [[gnu::always_inline]] const char* ahead(const char* p) noexcept {
    if (p <= limit_) [[likely]]
      return p;
    return moveToTail(p);
  }
  [[gnu::noinline]] const char* moveToTail(const char* p) noexcept {
    cursor_.rewind(p);
    const std::size_t size = cursor_.remaining();
    char* const tail = tail_ + kBefore;
    if (size > kAhead) return p;  // a place behind the end, which the cursor will find to be one
    std::memcpy(tail, p, size);
    std::memset(tail + size, 0, kAhead);
    cursor_.moveRest(tail);
    limit_ = tail + size;
    end_ = limit_ + kAhead;
    return tail;
  }

  /// Behind white space, which begins here: mostly one space, or a line's end and the next one's indentation.
  [[gnu::noinline]] const char* passSpace(const char* p) noexcept {
    if (*p == ' ' && static_cast<unsigned char>(p[1]) > ' ') return ahead(p + 1);
    if (*p == '\n') {
      const unsigned others = ~json::Block(p + 1).equalTo(' ') & 0xFFFF;
      const char* const next = others != 0 ? p + 1 + static_cast<unsigned>(__builtin_ctz(others)) : p;
      if (static_cast<unsigned char>(*next) > ' ') return ahead(next);
    }
    cursor_.rewind(p);
    cursor_.peek();
    return ahead(cursor_.position());
  }

  /// What follows a value; behind a closing bracket the text may be at its end.
  char afterValue() { return cursor_.atEnd() ? '\0' : cursor_.peek(); }

  /// Passes the key that was foreseen, with the comma in front and the colon behind. NO: something else stands there.
  [[gnu::always_inline]] static bool passComma(const char*& p, const Entry& entry) noexcept {
    const unsigned same = json::Block(p).equalTo(json::Block(entry.comma));
    if ((same & entry.firstMask) != entry.firstMask || !restOfKey(p, entry)) return false;
    p += entry.commaSize;
    return true;
  }
  /// The same where the comma was passed, or where it is the first key. The character in front may be read.
  [[gnu::always_inline]] static bool passToken(const char*& p, const Entry& entry) noexcept {
    const unsigned same = json::Block(p - 1).equalTo(json::Block(entry.comma)) | 1;
    if ((same & entry.firstMask) != entry.firstMask || !restOfKey(p - 1, entry)) return false;
    p += entry.commaSize - 1;
    return true;
  }
  [[gnu::always_inline]] static bool restOfKey(const char* p, const Entry& entry) noexcept {
    constexpr std::size_t kBlock = static_cast<std::size_t>(json::Block::kSize);
    if (entry.secondMask == 0) return true;
    const unsigned same = json::Block(p + kBlock).equalTo(json::Block(entry.comma + kBlock));
    if ((same & entry.secondMask) != entry.secondMask) return false;
    return entry.commaSize <= 2 * kBlock ||
           std::memcmp(p + 2 * kBlock, entry.comma + 2 * kBlock, entry.commaSize - 2 * kBlock) == 0;
  }

  /// The entry of the key that stands there, when it is known, short, and written without escapes and white space. For
  /// objects whose keys come in any order.
  [[gnu::always_inline]] static Entry* findKey(ClassPlan& plan, const char* p) noexcept {
    if (*p != '"') return nullptr;
    const char* const key = p + 1;
    unsigned special = json::Block(key).special();
    std::size_t size = 0;
    if (special == 0) {
      size = static_cast<std::size_t>(json::Block::kSize);
      special = json::Block(key + size).special();
      if (special == 0) return nullptr;
    }
    size += static_cast<std::size_t>(__builtin_ctz(special));
    return plan.find(key, size, [p](const Entry& entry) {
      const char* place = p;
      return passToken(place, entry);
    });
  }

  /// Reads any other key and its colon, finds its entry and remembers that it came behind `previous`. Null: the text is
  /// malformed.
  [[gnu::noinline]] Entry* readKey(ClassPlan& plan, Entry& previous, const char* p) {
    cursor_.rewind(p);
    if (cursor_.peek() != '"') return cursor_.fail(JSONError::kKeyExpected), nullptr;
    JSONText key;
    if (!cursor_.readString(key)) return nullptr;
    if (cursor_.peek() != ':') return cursor_.fail(JSONError::kColonExpected), nullptr;
    cursor_.advance(1);
    const std::size_t number = plan.numberOf(previous);
    Entry& entry = plan.entryOf(key.bytes);  // may move the entries
    ClassPlan::setFollowing(plan.entries[number], entry);
    return &entry;
  }

  /// Whether two blocks may be read here.
  bool isAhead(const char* p) const noexcept { return end_ - p >= 2 * json::Block::kSize; }

  /// Text for a text, digits for a whole number, true and false, whole numbers for an array, anything short for an
  /// unknown key, all without white space in front: passed and stored. NO: it is something else, and nothing has
  /// happened. Two blocks may be read here.
  [[gnu::always_inline]] bool passUsual(const char*& p, const Entry& entry, char* member) {
    const char* behind;
    if (entry.kind == Kind::kText) {
      if (*p != '"') return false;
      behind = passText(p + 1, member);
    } else {
      behind = entry.pass(*this, p, entry, member);
    }
    if (behind == nullptr) [[unlikely]]
      return false;
    p = behind;
    return true;
  }

  /// Behind a text without escapes, or digits.
  static const char* passUnknown(Reader& reader, const char* p, const Entry& entry, char*) noexcept {
    if (*p == '"') {
      unsigned notAscii = 0;
      const char* const q = reader.endOfText(p + 1, notAscii);
      return q != nullptr && *q == '"' ? q + 1 : nullptr;
    }
    std::uint64_t value;
    return passInteger<std::uint64_t>(reader, p, entry, reinterpret_cast<char*>(&value));
  }

  static const char* passBool(Reader&, const char* p, const Entry&, char* member) noexcept {
    const bool value = std::memcmp(p, "true", 4) == 0;
    if (!value && std::memcmp(p, "false", 5) != 0) return nullptr;
    *reinterpret_cast<bool*>(member) = value;
    return p + (value ? 4 : 5);
  }

  static const char* passNothing(Reader&, const char*, const Entry&, char*) noexcept { return nullptr; }

  /// The first special character from here on; null when the end comes close.
  [[gnu::always_inline]] const char* endOfText(const char* q, unsigned& notAscii) const noexcept {
    for (;;) {
      const json::Block block(q);
      const unsigned special = block.special();
      const unsigned high = block.notAscii();
      if (special != 0) {
        notAscii |= high & (special ^ (special - 1));  // the bits up to the first special one
        return q + static_cast<unsigned>(__builtin_ctz(special));
      }
      notAscii |= high;
      q += json::Block::kSize;
      if (!isAhead(q)) [[unlikely]]
        return nullptr;
    }
  }

  [[gnu::always_inline]] const char* passText(const char* start, char* member) {
    unsigned notAscii = 0;
    const char* const q = endOfText(start, notAscii);
    if (q == nullptr) [[unlikely]]
      return nullptr;
    if (*q != '"') [[unlikely]]
      return passEscapes(start, q, notAscii, member);
    putText(member, start, static_cast<std::size_t>(q - start), notAscii == 0);
    return q + 1;
  }

  [[gnu::always_inline]] void putText(char* member, const char* text, std::size_t size, bool isASCII) {
    put(member, isASCII ? StringBody::createPadded<true>(heap_, textClass_, text, size)
                        : StringBody::createPadded<false>(heap_, textClass_, text, size));
  }

  /// The same of a text that is plain up to `q`: not too long, and with none but the escapes of one letter.
  [[gnu::noinline]] const char* passEscapes(const char* start, const char* q, unsigned notAscii, char* member) {
    constexpr std::size_t kBlock = static_cast<std::size_t>(json::Block::kSize);
    constexpr std::size_t kMost = 512;
    char text[kMost + 2 * kBlock];
    auto size = static_cast<std::size_t>(q - start);
    if (size > kMost) return nullptr;
    for (std::size_t at = 0; at < size; at += kBlock) json::Block(start + at).store(text + at);
    for (;;) {
      if (*q == '"') break;
      const char c = *q == '\\' ? json::letterOfEscape(q[1]) : '\0';
      if (c == '\0') return nullptr;
      text[size++] = c;
      q += 2;
      for (;;) {
        if (!isAhead(q) || size > kMost) return nullptr;
        const json::Block block(q);
        const unsigned special = block.special();
        const unsigned high = block.notAscii();
        block.store(text + size);
        if (special != 0) {
          notAscii |= high & (special ^ (special - 1));
          const auto plain = static_cast<std::size_t>(__builtin_ctz(special));
          q += plain;
          size += plain;
          break;
        }
        notAscii |= high;
        q += kBlock;
        size += kBlock;
      }
    }
    putText(member, text, size, notAscii == 0);
    return q + 1;
  }

  /// The elements of an array and its end: whole numbers that need no blocks of their own, no more than eight.
  static const char* passIntegers(Reader& reader, const char* p, const Entry& entry, char* member) {
    if (*p++ != '[' || !entry.keepsNumbers) return nullptr;
    constexpr std::size_t kMost = 8;
    Object* numbers[kMost];
    std::size_t count = 0;
    for (;; ++p) {
      std::int64_t value;
      const char* const q = passInteger<std::int64_t>(reader, p, entry, reinterpret_cast<char*>(&value));
      if (q == nullptr || !reader.isAhead(q) || count == kMost) return nullptr;
      numbers[count] = NumberBody::sharedFor(value);
      if (numbers[count++] == nullptr) return nullptr;
      p = q;
      if (*p != ',') break;
    }
    if (*p != ']') return nullptr;
    ArrayBody* const body =
        ArrayBody::createWith(entry.meta->genericCls ? kMutableArrayKind : kArrayKind, numbers, count);
    if (!body->isMutable()) ObjectAccess::markDestructorNeedless(body);
    put(member, body);
    return p + 1;
  }

  /// Of the same width, signed and unsigned numbers keep the same bits. What might overflow, the sign of a zero, a
  /// leading zero and all else is not for here.
  template <class T>
  static const char* passInteger(Reader&, const char* p, const Entry&, char* member) noexcept {
    const bool negative = *p == '-';
    const char* const digits = p + (negative ? 1 : 0);
    std::uint64_t value = 0;
    const char* const q = json::passDigits(digits, value);
    if (q == nullptr || (*digits == '0' && (q != digits + 1 || negative)) || *q == '.' || (*q | 0x20) == 'e')
        [[unlikely]] {
      return nullptr;
    }
    const auto result = static_cast<T>(negative ? 0 - value : value);
    std::memcpy(member, &result, sizeof result);
    return q;
  }

  /// Numbers of few digits and decimals: both are exact as doubles, so that one division rounds right.
  static const char* passReal(Reader&, const char* p, const Entry&, char* member) noexcept {
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
    if (whole == 0 || whole > kMostDigits || *q != '.' || (*digits == '0' && whole > 1)) return nullptr;
    const char* const decimals = ++q;
    json::readDigits(q, limit, value);
    const std::ptrdiff_t behind = q - decimals;
    if (behind == 0 || whole + behind > kMostDigits || (*q | 0x20) == 'e') return nullptr;
    const double magnitude = static_cast<double>(value) / kPowersOfTen[behind];
    const double result = negative ? -magnitude : magnitude;
    std::memcpy(member, &result, sizeof result);
    return q;
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
      case Kind::kUnknownKey: return cursor_.skipValue();
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
  // Up to here is read, and up to there kAhead bytes follow, as far as the quick ways know.
  const char* end_ = cursor_.position() + cursor_.remaining();
  const char* limit_ = end_ - kAhead;
  ClassBody* const textClass_ = StringBody::immutableClass();
  memory::Heap* heap_ = memory::threadHeap;
  ElementStack elements_;
  bool unusual_ = false;
  char tail_[kBefore + 2 * kAhead];
};

PassValue passOf(Kind kind) noexcept { return Reader::passOf(kind); }

namespace {

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
