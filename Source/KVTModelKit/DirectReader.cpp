#include "DirectReader.h"

#include <cstring>

#include <KVTPlatform/Values/JSONReader.h>
#include <KVTPlatform/Values/NSArrayBody.h>
#include <KVTPlatform/Values/NSJSONSerializationPrivate.h>
#include <KVTPlatform/Values/NSStringBody.h>

#include "DirectPlan.h"
#include "ModelValue.h"

namespace kvt::direct {
namespace {

/// Which properties of an object have been met.
class Seen {
 public:
  explicit Seen(std::size_t properties) {
    if (properties >= kInline * 64) [[unlikely]]
      more_ = std::make_unique<std::uint64_t[]>(properties / 64 + 1);
  }
  /// NO the second time.
  bool mark(std::size_t number) noexcept {
    std::uint64_t& word = (more_ != nullptr ? more_.get() : words_)[number / 64];
    const std::uint64_t bit = std::uint64_t{1} << (number % 64);
    const bool isNew = (word & bit) == 0;
    word |= bit;
    return isNew;
  }

 private:
  static constexpr std::size_t kInline = 4;
  std::uint64_t words_[kInline] = {};
  std::unique_ptr<std::uint64_t[]> more_;
};

class Reader {
 public:
  explicit Reader(JSONCursor& cursor) : cursor_(cursor) {}

  /// The text is fine, but a mapped key came twice in one object.
  bool isUnusual() const noexcept { return unusual_; }

  /// Fills a new object; the cursor stands on the opening brace. NO: the text is malformed, or unusual.
  bool fill(ClassPlan& plan, Object* object) {
    if (!cursor_.enter()) return false;
    Seen seen(plan.properties);
    std::size_t previous = ClassPlan::kStart;
    if (cursor_.peek() == '}') return leave();
    for (;;) {
      std::size_t number = plan.entries[previous].next;
      if (!passKey(plan.entries[number])) {
        if (cursor_.peek() != '"') return cursor_.fail(JSONError::kKeyExpected);
        JSONText key;
        if (!cursor_.readString(key)) return false;
        if (cursor_.peek() != ':') return cursor_.fail(JSONError::kColonExpected);
        cursor_.advance(1);
        number = plan.entryOf(key.bytes);
        plan.entries[previous].next = static_cast<std::uint16_t>(number);
      }
      if (number - 1 < plan.properties) {  // kStart wraps around
        if (!seen.mark(number)) [[unlikely]] {
          unusual_ = true;
          return false;
        }
        if (!store(plan.entries[number], object)) return false;
      } else {
        if (!cursor_.skipValue()) return false;
      }
      previous = number;
      switch (afterValue()) {
        case ',': cursor_.advance(1); break;
        case '}': return leave();
        default: return cursor_.fail(JSONError::kBadObject);
      }
    }
  }

  /// The elements of an array that are objects, as models, the others dropped; the cursor stands on the opening
  /// bracket.
  bool readElements(ClassPlan& plan, ArrayBody& models) {
    if (!cursor_.enter()) return false;
    if (cursor_.peek() == ']') return leave();
    for (;;) {
      if (cursor_.peek() == '{') {
        Handle model(adopt, class_createInstance(plan.cls));
        if (model) {
          if (!fill(plan, model.object())) return false;
          models.append(id(adopt, model.detach()));
        } else if (!cursor_.skipValue()) {
          return false;
        }
      } else if (!cursor_.skipValue()) {
        return false;
      }
      switch (afterValue()) {
        case ',': cursor_.advance(1); break;
        case ']': return leave();
        default: return cursor_.fail(JSONError::kBadArray);
      }
    }
  }

 private:
  bool leave() {
    cursor_.leave();
    return true;
  }

  /// What follows a value; behind a closing bracket the text may be at its end.
  char afterValue() { return cursor_.atEnd() ? '\0' : cursor_.peek(); }

  /// Passes the key and its colon when they are the foreseen ones.
  bool passKey(const Entry& entry) noexcept {
    // White space in front of a key is passed here for both outcomes.
    cursor_.peek();
    const std::size_t size = entry.tokenSize;
    if (size == 0 || cursor_.remaining() < Entry::kTokenRoom) [[unlikely]]
      return size != 0 && cursor_.remaining() > size && std::memcmp(cursor_.position(), entry.token, size) == 0 &&
             pass(size);
    const char* text = cursor_.position();
    for (std::size_t at = 0; at < size; at += json::Block::kSize) {
      const unsigned same = json::Block(text + at).equalTo(json::Block(entry.token + at));
      const std::size_t left = size - at;
      const unsigned wanted = left >= 16 ? 0xFFFFu : (1u << left) - 1;
      if ((same & wanted) != wanted) return false;
    }
    return pass(size);
  }
  bool pass(std::size_t size) noexcept {
    cursor_.advance(size);
    return true;
  }

  bool store(const Entry& entry, Object* object) {
    char* member = reinterpret_cast<char*>(object) + entry.offset;
    const char c = cursor_.peek();
    switch (entry.kind) {
      case Kind::kText:
        if (c == '"') {
          JSONText text;
          if (!cursor_.readString(text)) return false;
          put(member, StringBody::create(text.bytes.data(), text.bytes.size(), text.ascii));
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
          Handle model(adopt, class_createInstance(entry.nested->cls));
          if (!model) return cursor_.skipValue();
          if (!fill(*entry.nested, model.object())) return false;
          put(member, model.detach());
          return true;
        }
        break;
      case Kind::kModels:
        if (c == '[') {
          auto* body = ArrayBody::create(kMutableArrayKind, 4);
          Handle array(adopt, body);
          // Nothing else that JSON text holds is an instance of a model class.
          if (!readElements(*entry.nested, *body)) return false;
          put(member, array.detach());
          return true;
        }
        break;
      case Kind::kUnknownKey:
      case Kind::kOther: break;
    }
    if (c == 'n' && (entry.kind == Kind::kText || entry.kind == Kind::kModel || entry.kind == Kind::kModels)) {
      if (!cursor_.readNull()) return false;
      put(member, nullptr);
      return true;
    }
    return storePlainly(entry, object);
  }

  static void put(char* member, Object* value) noexcept {
    Handle previous(adopt, std::exchange(*reinterpret_cast<Object**>(member), value));
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

  /// Any other combination of value and property.
  bool storePlainly(const Entry& entry, Object* object) {
    id value;
    if (!json::readValue(cursor_, value)) return false;
    ModelSetValueForProperty(id(borrow, object), value, *entry.meta);
    return true;
  }

  JSONCursor& cursor_;
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
  if (!beginsWith(utf8, '{')) return Outcome::kUnusual;
  const PlanUse use;
  ClassPlan* plan = planFor(cls);
  if (plan == nullptr || !plan->reads || plan->properties == 0) return Outcome::kUnusual;
  JSONCursor cursor(utf8, knownUTF8);
  if (cursor.failed()) return Outcome::kDone;
  id model(adopt, class_createInstance(cls));
  if (!model) return Outcome::kUnusual;
  Reader reader(cursor);
  cursor.peek();
  if (reader.fill(*plan, model.object()) && cursor.finish()) result = std::move(model);
  return reader.isUnusual() ? Outcome::kUnusual : Outcome::kDone;
}

Outcome readModels(Class cls, std::string_view utf8, bool knownUTF8, id& result) {
  if (!beginsWith(utf8, '[')) return Outcome::kUnusual;
  const PlanUse use;
  ClassPlan* plan = planFor(cls);
  if (plan == nullptr || !plan->reads || plan->properties == 0) return Outcome::kUnusual;
  JSONCursor cursor(utf8, knownUTF8);
  if (cursor.failed()) return Outcome::kDone;
  auto* body = ArrayBody::create(kMutableArrayKind, 4);
  id models(adopt, body);
  Reader reader(cursor);
  cursor.peek();
  if (reader.readElements(*plan, *body) && cursor.finish()) {
    result = std::move(models);
  }
  return reader.isUnusual() ? Outcome::kUnusual : Outcome::kDone;
}

}  // namespace kvt::direct
