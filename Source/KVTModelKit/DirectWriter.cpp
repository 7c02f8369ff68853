#include "DirectWriter.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include <KVTPlatform/Values/JSONReader.h>
#include <KVTPlatform/Values/NSArrayBody.h>
#include <KVTPlatform/Values/NSJSONSerializationPrivate.h>
#include <KVTPlatform/Values/NSNumberBody.h>
#include <KVTPlatform/Values/NSStringBody.h>

#include "DirectPlan.h"
#include "ModelAccess.h"
#include "ModelToJSON.h"

namespace kvt::direct {
namespace {

constexpr int kDeepestModel = 256;
/// For a key and any number, or the quotes of a text, in whole blocks, and for a closing bracket.
constexpr std::size_t kRoom = sizeof(Entry::comma) + 48;

class Writer {
 public:
  Writer(JSONWriter& out, const PlanUse& use) : out_(out), use_(use) {}

  /// NO: unusual.
  bool model(ClassPlan& plan, const Object* object) {
    if (!plan.writes || plan.properties == 0 || ++depth_ > kDeepestModel) return false;
    char* out = out_.room(kRoom);
    const std::size_t start = out_.size();
    for (const Entry *entry = &plan.entries[1], *const last = &plan.entries[plan.properties]; entry <= last; ++entry) {
      const char* member = reinterpret_cast<const char*>(object) + entry->offset;
      // kRoom bytes are there.
      if (char* const behind = writeUsual(*entry, member, out); behind != nullptr) [[likely]] {
        out = behind;
        if (out_.hasRoom(out, kRoom)) [[likely]]
          continue;
        out_.wrote(out);
      } else {
        out_.wrote(out);
        if (!property(plan, *entry, object, member)) return false;
      }
      out = out_.room(kRoom);
    }
    out_.wrote(out);
    // Every key has a comma in front, the first one too.
    if (out_.size() == start) out_.character(',');
    out_.set(start, '{');
    out_.character('}');
    --depth_;
    return true;
  }

  /// An array whose elements are all models of classes that write.
  bool models(const ArrayBody& array, ClassPlan* expected) {
    out_.character('[');
    for (std::size_t i = 0; i < array.count; ++i) {
      const Object* element = array.items[i].object();
      ClassPlan* plan = planOf(element, expected);
      if (plan == nullptr) return false;
      expected = plan;
      if (i != 0) out_.character(',');
      if (!model(*plan, element)) return false;
    }
    out_.character(']');
    return true;
  }

 private:
  static constexpr std::size_t kBlock = static_cast<std::size_t>(json::Block::kSize);

  ClassPlan* planOf(const Object* object, ClassPlan* expected) const {
    if (object->kvtKind() != ObjectKind::kPlain) return nullptr;
    if (expected != nullptr && ObjectAccess::isa(object) == expected->cls.body()) return expected;
    ClassPlan* plan = use_.planFor(object_getClass(object));
    return plan != nullptr && plan->writes && plan->properties != 0 ? plan : nullptr;
  }

  /// Whole numbers, booleans and text: key and value at once, and the place behind. Null: it is something else, and
  /// nothing was written.
  [[gnu::always_inline]] char* writeUsual(const Entry& entry, const char* member, char* out) {
    if (entry.kind == Kind::kText && entry.isTokenWritable)
      return writeText(entry, load<const StringBody*>(member), out);
    return writeOther(entry, member, out);
  }
  /// All but texts; apart from them, so that they keep the registers.
  [[gnu::noinline]] static char* writeOther(const Entry& entry, const char* member, char* out) {
    if (!entry.isTokenWritable) [[unlikely]]
      return nullptr;
    switch (entry.kind) {
      case Kind::kBool: {
        const bool value = load<bool>(member);
        out = key(entry, out);
        std::memcpy(out, value ? "true" : "fals", 4);
        out[4] = 'e';
        return out + (value ? 4 : 5);
      }
      case Kind::kInt8: return JSONWriter::putInteger(key(entry, out), load<std::int8_t>(member));
      case Kind::kUInt8: return JSONWriter::putUnsigned(key(entry, out), load<std::uint8_t>(member));
      case Kind::kInt16: return JSONWriter::putInteger(key(entry, out), load<std::int16_t>(member));
      case Kind::kUInt16: return JSONWriter::putUnsigned(key(entry, out), load<std::uint16_t>(member));
      case Kind::kInt32: return JSONWriter::putInteger(key(entry, out), load<std::int32_t>(member));
      case Kind::kUInt32: return JSONWriter::putUnsigned(key(entry, out), load<std::uint32_t>(member));
      case Kind::kInt64: return JSONWriter::putInteger(key(entry, out), load<std::int64_t>(member));
      case Kind::kUInt64: return JSONWriter::putUnsigned(key(entry, out), load<std::uint64_t>(member));
      default: return nullptr;
    }
  }

  [[gnu::always_inline]] static char* key(const Entry& entry, char* out) {
    static_assert(sizeof entry.comma == 4 * kBlock);
    json::Block(entry.comma).store(out);
    json::Block(entry.comma + kBlock).store(out + kBlock);
    if (entry.commaSize > 2 * kBlock) [[unlikely]] {
      json::Block(entry.comma + 2 * kBlock).store(out + 2 * kBlock);
      json::Block(entry.comma + 3 * kBlock).store(out + 3 * kBlock);
    }
    return out + entry.commaSize;
  }

  [[gnu::always_inline]] char* writeText(const Entry& entry, const StringBody* text, char* out) {
    if (text == nullptr) return out;
    if (text->form == StringBody::Form::kUTF16) [[unlikely]]
      return nullptr;
    const char* p = text->bytes();
    std::size_t left = text->size;
    if (!out_.hasRoom(out, kRoom + left)) [[unlikely]] {
      out_.wrote(out);
      out = out_.room(kRoom + left);
    }
    out = key(entry, out);
    *out++ = '"';
    if (!text->isPadded()) [[unlikely]] {
      out_.wrote(out);
      out_.stringRest({p, left});
      return out_.room(kRoom);
    }
    for (; left > kBlock; left -= kBlock, p += kBlock, out += kBlock) {
      const unsigned special = copyBlock(json::Block(p), out);
      if (special != 0) return finishText(p, left, special, out);
    }
    const unsigned special = copyBlock(json::Block(p), out) & ((1u << left) - 1);
    if (special != 0) return finishText(p, left, special, out);
    out[left] = '"';
    return out + left + 1;
  }
  static unsigned copyBlock(json::Block block, char* out) noexcept {
    block.store(out);
    return block.special() | block.equalTo('/');
  }
  /// From the first character that needs an escape.
  [[gnu::noinline]] char* finishText(const char* p, std::size_t left, unsigned special, char* out) {
    const auto plain = static_cast<std::size_t>(__builtin_ctz(special));
    out_.wrote(out + plain);
    out_.paddedStringRest({p + plain, left - plain});
    return out_.room(kRoom);
  }

  /// Any property. NO: unusual.
  bool property(ClassPlan& plan, const Entry& entry, const Object* object, const char* member) {
    id converted;
    const bool isOther = entry.kind == Kind::kOther || (entry.kind == Kind::kArray && !isOfLeaves(member));
    if (isOther) {
      bool isCircular = false;
      converted = ModelPropertyToJSON(id(borrow, object), *entry.meta, isCircular);
      if (isCircular) return false;
      if (!converted) return true;
    } else if (!hasValue(entry, member)) {
      return true;
    }
    if (entry.isTokenWritable) {
      out_.token(entry.comma, entry.commaSize);
    } else {
      out_.character(',');
      out_.string(plan.keys[plan.numberOf(entry)]);
      out_.character(':');
    }
    // A model is two levels of JSON at the most: itself, and the array around it.
    return isOther ? json::writeIfValid(converted, 2 * static_cast<std::size_t>(depth_), out_) : value(entry, member);
  }

  static bool hasValue(const Entry& entry, const char* member) noexcept {
    switch (entry.kind) {
      case Kind::kFloat: return std::isfinite(load<float>(member));
      case Kind::kDouble: return std::isfinite(load<double>(member));
      case Kind::kText:
      case Kind::kModel:
      case Kind::kModels:
      case Kind::kArray: return load<Object*>(member) != nullptr;
      default: return true;
    }
  }

  /// An array of text and of numbers that JSON has; none counts as one, it has no value.
  static bool isOfLeaves(const char* member) noexcept {
    const auto* object = load<const Object*>(member);
    const ArrayBody* array = ArrayBody::of(object);
    if (array == nullptr) return object == nullptr;
    return std::all_of(array->items, array->items + array->count, [](const id& element) {
      if (const StringBody* text = StringBody::of(element.object())) return text->form != StringBody::Form::kUTF16;
      const NumberBody* number = NumberBody::of(element.object());
      return number != nullptr && !number->isReal() && !number->isUnsigned64();
    });
  }

  void leaves(const ArrayBody& array) {
    out_.character('[');
    for (std::size_t i = 0; i < array.count; ++i) {
      if (i != 0) out_.character(',');
      const Object* element = array.items[i].object();
      if (const StringBody* text = StringBody::of(element)) {
        out_.string(text->utf8());
        continue;
      }
      const NumberBody& number = *NumberBody::of(element);
      if (number.type == NumberBody::Type::kBool)
        out_.boolean(number.integer != 0);
      else
        out_.integer(number.integer);
    }
    out_.character(']');
  }

  template <class T>
  static T load(const char* member) noexcept {
    T value;
    std::memcpy(&value, member, sizeof value);
    return value;
  }

  bool value(const Entry& entry, const char* member) {
    switch (entry.kind) {
      case Kind::kText: {
        const std::string_view text = static_cast<const StringBody*>(load<const Object*>(member))->utf8();
        if (text.data() == nullptr) return false;  // a lone surrogate
        out_.string(text);
        return true;
      }
      case Kind::kBool: out_.boolean(load<bool>(member)); return true;
      case Kind::kInt8: out_.integer(load<std::int8_t>(member)); return true;
      case Kind::kUInt8: out_.integer(load<std::uint8_t>(member)); return true;
      case Kind::kInt16: out_.integer(load<std::int16_t>(member)); return true;
      case Kind::kUInt16: out_.integer(load<std::uint16_t>(member)); return true;
      case Kind::kInt32: out_.integer(load<std::int32_t>(member)); return true;
      case Kind::kUInt32: out_.integer(load<std::uint32_t>(member)); return true;
      case Kind::kInt64: out_.integer(load<std::int64_t>(member)); return true;
      case Kind::kUInt64: out_.unsignedInteger(load<std::uint64_t>(member)); return true;
      case Kind::kFloat: return out_.real(static_cast<double>(load<float>(member)));
      case Kind::kDouble: return out_.real(load<double>(member));
      case Kind::kModel: {
        const Object* nested = load<const Object*>(member);
        ClassPlan* plan = planOf(nested, entry.nested);
        return plan != nullptr && model(*plan, nested);
      }
      case Kind::kModels: {
        const ArrayBody* array = ArrayBody::of(load<const Object*>(member));
        return array != nullptr && models(*array, entry.nested);
      }
      case Kind::kArray: leaves(*ArrayBody::of(load<const Object*>(member))); return true;
      case Kind::kUnknownKey:
      case Kind::kOther: break;
    }
    return false;
  }

  JSONWriter& out_;
  const PlanUse& use_;
  int depth_ = 0;
};

}  // namespace

Outcome write(const id& object, JSONWriter& out) {
  const ArrayBody* array = ArrayBody::of(object.object());
  const std::size_t count = array != nullptr ? array->count : 1;
  const Object* first = array == nullptr ? object.object() : count != 0 ? array->items[0].object() : nullptr;
  if (first == nullptr || first->kvtKind() != ObjectKind::kPlain) return Outcome::kUnusual;
  const PlanUse use;
  ClassPlan* plan = use.planFor(object_getClass(first));
  if (plan == nullptr || !plan->writes) return Outcome::kUnusual;
  out.room(count * (plan->sizeSeen + plan->sizeSeen / 8) + kRoom);
  Writer writer(out, use);
  if (!(array != nullptr ? writer.models(*array, plan) : writer.model(*plan, first))) return Outcome::kUnusual;
  plan->sizeSeen = out.size() / count;
  return Outcome::kDone;
}

}  // namespace kvt::direct
