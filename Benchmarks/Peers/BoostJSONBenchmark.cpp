// Boost.JSON: a tree in memory that is kept, and a mapping written by hand over it in both directions.

#include <memory>
#include <string>
#include <vector>

#include <boost/json.hpp>

#include "Peers/FieldTable.h"
#include "Peers/RapidJSONMapping.h"
#include "Peers/Workloads.h"

namespace peers {
namespace {

namespace json = boost::json;

template <class T>
void get(const json::value& value, T& into) {
  if constexpr (std::is_same_v<T, std::string>) {
    const json::string& text = value.get_string();
    into.assign(text.data(), text.size());
  } else if constexpr (std::is_same_v<T, bool>) {
    into = value.get_bool();
  } else if constexpr (std::is_arithmetic_v<T>) {
    into = value.to_number<T>();
  } else if constexpr (isList<T>) {
    const json::array& array = value.get_array();
    into.resize(array.size());
    std::size_t i = 0;
    for (const json::value& each : array) get(each, into[i++]);
  } else {
    std::size_t next = 0;
    for (const auto& each : value.get_object()) {
      next = FieldTable<T>::visit(into, {each.key().data(), each.key().size()}, next,
                                  [&](auto& member) { get(each.value(), member); });
    }
  }
}

template <class T>
void put(json::value& into, const T& value) {
  if constexpr (std::is_same_v<T, std::string>) {
    into.emplace_string().assign(value.data(), value.size());
  } else if constexpr (isList<T>) {
    json::array& array = into.emplace_array();
    array.reserve(value.size());
    for (const auto& each : value) put(array.emplace_back(nullptr), each);
  } else if constexpr (Model<T>) {
    json::object& object = into.emplace_object();
    object.reserve(std::tuple_size_v<decltype(T::fields())>);
    visitFields(value, [&](std::string_view name, const auto& member) {
      put(object.emplace(json::string_view(name.data(), name.size()), nullptr).first->value(), member);
    });
  } else {
    into = value;
  }
}

/// The memory that trees are made in, kept from text to text. For reading, more than this gains nothing; trees to be
/// written are larger and gain a lot.
class Memory {
 public:
  template <class F>
  void parse(const std::string& text, F&& use) {
    json::monotonic_resource tree(values_, sizeof values_);
    json::monotonic_resource scratch(scratch_, sizeof scratch_);
    json::parser parser(&scratch);
    parser.reset(&tree);
    parser.write(text);
    const json::value value = parser.release();
    use(value);
  }
  template <class T>
  T read(const std::string& text) {
    T object;
    parse(text, [&](const json::value& value) { get(value, object); });
    return object;
  }
  template <class T>
  std::string write(const T& object) {
    json::monotonic_resource tree(tree_.data(), tree_.size());
    json::value value(&tree);
    put(value, object);
    return json::serialize(value);
  }

 private:
  unsigned char values_[64 * 1024];
  unsigned char scratch_[16 * 1024];
  std::vector<unsigned char> tree_ = std::vector<unsigned char>(16 << 20);
};

const bool registered = forEachWorkload([]<class T>(std::string_view workload) {
  bench::suite("boost-json", std::string(workload), [workload](bench::Suite& suite) {
    const auto texts = bench::textsOf(workload);
    const auto memory = std::make_shared<Memory>();
    const auto read = [memory](const std::string& text) { return memory->read<T>(text); };
    suite.op("read", texts, read);
    suite.op("tree", texts, [memory](const std::string& text) {
      memory->parse(text, [](const json::value& value) { benchmark::DoNotOptimize(value); });
    });
    const auto objects = readAll<T>(suite, *texts, read);
    if (!bench::isWritten(workload)) return;
    const auto write = [memory](const T& object) { return memory->write(object); };
    suite.op("write", objects, write);
    checkWritten(suite, *objects, write);
  });
});

}  // namespace
}  // namespace peers
