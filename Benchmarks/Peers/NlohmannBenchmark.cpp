// nlohmann's json: its tree, and a mapping written by hand over it, as its macros make one.

#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Peers/FieldTable.h"
#include "Peers/RapidJSONMapping.h"
#include "Peers/Workloads.h"

namespace peers {
namespace {

using nlohmann::json;

template <class T>
void get(const json& value, T& into) {
  if constexpr (std::is_same_v<T, std::string>) {
    into = value.get_ref<const std::string&>();
  } else if constexpr (std::is_arithmetic_v<T>) {
    into = value.get<T>();
  } else if constexpr (isList<T>) {
    into.resize(value.size());
    std::size_t i = 0;
    for (const json& each : value) get(each, into[i++]);
  } else {
    // Its objects are sorted by key, so no member is likelier than another.
    for (const auto& [key, each] : value.get_ref<const json::object_t&>()) {
      FieldTable<T>::visit(into, key, SIZE_MAX, [&, &found = each](auto& member) { get(found, member); });
    }
  }
}

template <class T>
json put(const T& value) {
  if constexpr (isList<T>) {
    json array = json::array();
    array.get_ref<json::array_t&>().reserve(value.size());
    for (const auto& each : value) array.push_back(put(each));
    return array;
  } else if constexpr (Model<T>) {
    json object = json::object();
    auto& members = object.get_ref<json::object_t&>();
    visitFields(value, [&](std::string_view name, const auto& member) { members.emplace(name, put(member)); });
    return object;
  } else {
    return value;
  }
}

template <class T>
T read(const std::string& text) {
  T object;
  get(json::parse(text), object);
  return object;
}

template <class T>
std::string write(const T& object) {
  return put(object).dump();
}

const bool registered = forEachWorkload([]<class T>(std::string_view workload) {
  bench::suite("nlohmann", std::string(workload), [workload](bench::Suite& suite) {
    const auto texts = bench::textsOf(workload);
    suite.op("read", texts, read<T>);
    suite.op("tree", texts, [](const std::string& text) { return json::parse(text); });
    const auto objects = readAll<T>(suite, *texts, read<T>);
    if (!bench::isWritten(workload)) return;
    suite.op("write", objects, write<T>);
    checkWritten(suite, *objects, write<T>);
  });
});

}  // namespace
}  // namespace peers
