// RTTR, run-time reflection: properties found by name and set through rttr::property, between a RapidJSON tree or
// Writer and the objects. What is asked of a type's properties again and again is asked once and kept in a plan.
// Properties are registered as references, so that neither reading nor writing copies a member that is no number.

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <boost/unordered/unordered_flat_map.hpp>
#include <rttr/registration>
#include <rttr/type>

#include "Peers/RapidJSONMapping.h"
#include "Peers/Workloads.h"

namespace peers {
namespace {

template <class T>
void registerClass(const char* name) {
  rttr::registration::class_<T> builder(name);
  visitFieldPointers<T>([&]<class M>(std::string_view field, M T::*member) {
    const rttr::string_view key(field.data(), field.size());
    if constexpr (std::is_arithmetic_v<M>) {
      builder.property(key, member);
    } else {
      builder.property(key, member)(rttr::policy::prop::as_reference_wrapper);
    }
  });
}

RTTR_REGISTRATION {
  registerClass<Address>("Address");
  registerClass<Phone>("Phone");
  registerClass<User>("User");
  registerClass<Hashtag>("Hashtag");
  registerClass<Url>("Url");
  registerClass<Mention>("Mention");
  registerClass<Entities>("Entities");
  registerClass<FeedUser>("FeedUser");
  registerClass<Status>("Status");
  registerClass<Wide>("Wide");
  registerClass<Narrow>("Narrow");
}

enum class Kind { kInt, kInt64, kBool, kDouble, kString, kInts, kModels, kModel };

struct Plan {
  struct Property {
    rttr::property property;
    std::string name;
    Kind kind;
  };
  std::vector<Property> properties;
  boost::unordered_flat_map<std::string_view, std::size_t> byName;
};

Kind kindOf(rttr::type type) {
  if (type.is_wrapper()) type = type.get_wrapped_type();
  type = type.get_raw_type();
  if (type == rttr::type::get<int>()) return Kind::kInt;
  if (type == rttr::type::get<std::int64_t>()) return Kind::kInt64;
  if (type == rttr::type::get<bool>()) return Kind::kBool;
  if (type == rttr::type::get<double>()) return Kind::kDouble;
  if (type == rttr::type::get<std::string>()) return Kind::kString;
  if (type == rttr::type::get<std::vector<int>>()) return Kind::kInts;
  return type.is_sequential_container() ? Kind::kModels : Kind::kModel;
}

const Plan& planOf(const rttr::type& type) {
  static boost::unordered_flat_map<rttr::type::type_id, std::unique_ptr<Plan>> plans;
  std::unique_ptr<Plan>& plan = plans[type.get_id()];
  if (plan == nullptr) {
    plan = std::make_unique<Plan>();
    for (const rttr::property& each : type.get_properties()) {
      plan->properties.push_back({each, each.get_name().to_string(), kindOf(each.get_type())});
    }
    for (std::size_t i = 0; i < plan->properties.size(); ++i) plan->byName[plan->properties[i].name] = i;
  }
  return *plan;
}

std::string& stringIn(rttr::variant& value) { return value.get_value<std::reference_wrapper<std::string>>().get(); }

void fill(rttr::instance wrapped, const rapidjson::Value& value) {
  const rttr::instance object =
      wrapped.get_type().get_raw_type().is_wrapper() ? wrapped.get_wrapped_instance() : wrapped;
  const Plan& plan = planOf(object.get_derived_type());
  std::size_t next = 0;
  for (const auto& each : value.GetObject()) {
    const std::string_view key(each.name.GetString(), each.name.GetStringLength());
    if (next >= plan.properties.size() || plan.properties[next].name != key) {
      const auto found = plan.byName.find(key);
      if (found == plan.byName.end()) continue;
      next = found->second;
    }
    const Plan::Property& property = plan.properties[next++];
    const rapidjson::Value& json = each.value;
    switch (property.kind) {
      case Kind::kInt: property.property.set_value(object, json.GetInt()); break;
      case Kind::kInt64: property.property.set_value(object, json.GetInt64()); break;
      case Kind::kBool: property.property.set_value(object, json.GetBool()); break;
      case Kind::kDouble: property.property.set_value(object, json.GetDouble()); break;
      case Kind::kString: {
        rttr::variant member = property.property.get_value(object);
        stringIn(member).assign(json.GetString(), json.GetStringLength());
        break;
      }
      case Kind::kInts:
      case Kind::kModels: {
        rttr::variant member = property.property.get_value(object);
        rttr::variant_sequential_view view = member.create_sequential_view();
        view.set_size(json.Size());
        std::size_t i = 0;
        for (const rapidjson::Value& element : json.GetArray()) {
          if (property.kind == Kind::kInts) {
            view.set_value(i++, element.GetInt());
          } else {
            fill(view.get_value(i++), element);
          }
        }
        break;
      }
      case Kind::kModel: fill(property.property.get_value(object), json); break;
    }
  }
}

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

void put(Writer& writer, rttr::instance wrapped) {
  const rttr::instance object =
      wrapped.get_type().get_raw_type().is_wrapper() ? wrapped.get_wrapped_instance() : wrapped;
  writer.StartObject();
  for (const Plan::Property& each : planOf(object.get_derived_type()).properties) {
    writer.Key(each.name.data(), static_cast<rapidjson::SizeType>(each.name.size()));
    rttr::variant value = each.property.get_value(object);
    switch (each.kind) {
      case Kind::kInt: writer.Int(value.get_value<int>()); break;
      case Kind::kInt64: writer.Int64(value.get_value<std::int64_t>()); break;
      case Kind::kBool: writer.Bool(value.get_value<bool>()); break;
      case Kind::kDouble: writer.Double(value.get_value<double>()); break;
      case Kind::kString: {
        const std::string& text = stringIn(value);
        writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
        break;
      }
      case Kind::kInts:
      case Kind::kModels: {
        writer.StartArray();
        for (const rttr::variant& element : value.create_sequential_view()) {
          if (each.kind == Kind::kInts) {
            writer.Int(element.get_wrapped_value<int>());
          } else {
            put(writer, element);
          }
        }
        writer.EndArray();
        break;
      }
      case Kind::kModel: put(writer, value); break;
    }
  }
  writer.EndObject();
}

template <class T>
T read(rapid::Parser& parser, const std::string& text) {
  T object;
  parser.parse(text, [&](const auto& document) {
    if constexpr (isList<T>) {
      object.resize(document.Size());
      std::size_t i = 0;
      for (const auto& each : document.GetArray()) fill(object[i++], each);
    } else {
      fill(object, document);
    }
  });
  return object;
}

template <class T>
rapidjson::StringBuffer write(const T& object) {
  return rapid::writeWith<T>([&](Writer& writer) {
    if constexpr (isList<T>) {
      writer.StartArray();
      for (const auto& each : object) put(writer, each);
      writer.EndArray();
    } else {
      put(writer, object);
    }
  });
}

const bool registered = forEachWorkload([]<class T>(std::string_view workload) {
  bench::suite("rttr", std::string(workload), [workload](bench::Suite& suite) {
    const auto texts = bench::textsOf(workload);
    const auto parser = std::make_shared<rapid::Parser>();
    const auto read = [parser](const std::string& text) { return peers::read<T>(*parser, text); };
    suite.op("read", texts, read);
    const auto objects = readAll<T>(suite, *texts, read);
    if (!bench::isWritten(workload)) return;
    suite.op("write", objects, write<T>);
    checkWritten(suite, *objects, [](const T& object) { return std::string(write(object).GetString()); });
  });
});

}  // namespace
}  // namespace peers
