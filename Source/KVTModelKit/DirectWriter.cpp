#include "DirectWriter.h"

#include <cmath>
#include <cstring>

#include <KVTPlatform/Values/NSArrayBody.h>
#include <KVTPlatform/Values/NSJSONSerializationPrivate.h>
#include <KVTPlatform/Values/NSStringBody.h>

#include "DirectPlan.h"
#include "ModelAccess.h"
#include "ModelToJSON.h"

namespace kvt::direct {
namespace {

constexpr int kDeepestModel = 256;

class Writer {
 public:
  explicit Writer(JSONWriter& out) : out_(out) {}

  /// NO: unusual.
  bool model(ClassPlan& plan, const Object* object) {
    if (!plan.writes || plan.properties == 0 || ++depth_ > kDeepestModel) return false;
    out_.character('{');
    bool isFirst = true;
    for (std::size_t i = 1; i <= plan.properties; ++i) {
      const Entry& entry = plan.entries[i];
      const char* member = reinterpret_cast<const char*>(object) + entry.offset;
      id converted;
      if (entry.kind == Kind::kOther) {
        bool isCircular = false;
        converted = ModelPropertyToJSON(id(borrow, object), *entry.meta, isCircular);
        if (isCircular) return false;
        if (!converted) continue;
      } else if (!hasValue(entry, member)) {
        continue;
      }
      if (!isFirst) out_.character(',');
      isFirst = false;
      if (entry.isTokenWritable) {
        out_.raw({entry.token, entry.tokenSize});
      } else {
        out_.string(entry.key);
        out_.character(':');
      }
      // A model is two levels of JSON at the most: itself, and the array around it.
      if (entry.kind == Kind::kOther ? !json::writeIfValid(converted, 2 * static_cast<std::size_t>(depth_), out_)
                                     : !value(entry, member)) {
        return false;
      }
    }
    out_.character('}');
    --depth_;
    return true;
  }

  /// An array whose elements are all models of classes that write.
  bool models(const ArrayBody& array) {
    out_.character('[');
    for (std::size_t i = 0; i < array.count; ++i) {
      const Object* element = array.items[i].object();
      ClassPlan* plan = planOf(element);
      if (plan == nullptr) return false;
      if (i != 0) out_.character(',');
      if (!model(*plan, element)) return false;
    }
    out_.character(']');
    return true;
  }

 private:
  static ClassPlan* planOf(const Object* object) {
    const Class cls = object_getClass(object);
    if (object->kvtKind() != ObjectKind::kPlain) return nullptr;
    ClassPlan* plan = planFor(cls);
    return plan != nullptr && plan->writes && plan->properties != 0 ? plan : nullptr;
  }

  static bool hasValue(const Entry& entry, const char* member) noexcept {
    switch (entry.kind) {
      case Kind::kFloat: return std::isfinite(load<float>(member));
      case Kind::kDouble: return std::isfinite(load<double>(member));
      case Kind::kText:
      case Kind::kModel:
      case Kind::kModels: return load<Object*>(member) != nullptr;
      default: return true;
    }
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
        ClassPlan* plan = object_getClass(nested) == entry.nested->cls ? entry.nested : planOf(nested);
        return plan != nullptr && model(*plan, nested);
      }
      case Kind::kModels: {
        const ArrayBody* array = ArrayBody::of(load<const Object*>(member));
        return array != nullptr && models(*array);
      }
      case Kind::kUnknownKey:
      case Kind::kOther: break;
    }
    return false;
  }

  JSONWriter& out_;
  int depth_ = 0;
};

}  // namespace

Outcome write(const id& object, JSONWriter& out) {
  const PlanUse use;
  Writer writer(out);
  if (const ArrayBody* array = ArrayBody::of(object.object())) {
    return array->count != 0 && writer.models(*array) ? Outcome::kDone : Outcome::kUnusual;
  }
  if (!object || object.object()->kvtKind() != ObjectKind::kPlain) return Outcome::kUnusual;
  ClassPlan* plan = planFor(object.class_());
  if (plan == nullptr || !writer.model(*plan, object.object())) return Outcome::kUnusual;
  plan->sizeSeen = out.size();
  return Outcome::kDone;
}

std::size_t expectedSize(const id& object) {
  if (!object || object.object()->kvtKind() != ObjectKind::kPlain) return 4096;
  const PlanUse use;
  const ClassPlan* plan = planFor(object.class_());
  return plan != nullptr ? plan->sizeSeen + plan->sizeSeen / 8 : 64;
}

}  // namespace kvt::direct
