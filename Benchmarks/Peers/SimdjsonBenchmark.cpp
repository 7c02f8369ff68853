// simdjson on demand with a mapping written by hand. As its manual advises, texts are padded and the parser is kept.
// Two ways through an object, each where it is the quicker one: asking for the members in the order of the class, where
// the texts have them in that order, and walking through the text's fields elsewhere. It has no writer.

#include <emmintrin.h>

#include <bit>
#include <memory>

#include <simdjson.h>

#include "Peers/FieldTable.h"
#include "Peers/Workloads.h"

namespace peers {
namespace {

namespace od = simdjson::ondemand;

enum class Way { kAsk, kWalk };

/// A key as it stands in the text. Texts are padded, so reading 16 bytes anywhere is safe; one with an escape in it is
/// nobody's here.
std::string_view keyOf(simdjson::simdjson_result<od::field>& field) {
  const char* const start = od::raw_json_string(field.key()).raw();
  for (const char* at = start;; at += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    const int quotes = _mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('"')));
    if (quotes != 0) {
      return {start, static_cast<std::size_t>(at - start) + std::countr_zero(static_cast<unsigned>(quotes))};
    }
  }
}

template <Way kWay, class V, class T>
void get(V&& value, T& into) {
  if constexpr (std::is_same_v<T, std::string>) {
    into.assign(std::string_view(value.get_string()));
  } else if constexpr (std::is_same_v<T, bool>) {
    into = bool(value.get_bool());
  } else if constexpr (std::is_same_v<T, double>) {
    into = double(value.get_double());
  } else if constexpr (std::is_arithmetic_v<T>) {
    into = static_cast<T>(std::int64_t(value.get_int64()));
  } else if constexpr (isList<T>) {
    for (auto each : value.get_array()) {
      if (into.empty()) into.reserve(2);
      get<kWay>(each, into.emplace_back());
    }
  } else if constexpr (kWay == Way::kAsk) {
    // `object[name]` would find members in any order, and is as quick to within some per cent.
    od::object object = value.get_object();
    visitFields(into, [&](std::string_view name, auto& member) { get<kWay>(object.find_field(name), member); });
  } else {
    std::size_t next = 0;
    for (auto each : value.get_object()) {
      next = FieldTable<T>::visit(into, keyOf(each), next, [&](auto& member) { get<kWay>(each.value(), member); });
    }
  }
}

template <Way kWay, class T>
T read(od::parser& parser, const simdjson::padded_string& text) {
  T object;
  od::document document = parser.iterate(text);
  get<kWay>(document, object);
  return object;
}

template <Way kWay, class T>
void registerWorkload(std::string_view workload) {
  bench::suite(KVT_BENCH_PEER, std::string(workload), [workload](bench::Suite& suite) {
    const auto parser = std::make_shared<od::parser>();
    const auto texts = std::make_shared<std::vector<simdjson::padded_string>>();
    const bench::Texts source = bench::textsOf(workload);
    for (const std::string& each : *source) texts->emplace_back(each);
    const auto read = [parser](const simdjson::padded_string& text) { return peers::read<kWay, T>(*parser, text); };
    suite.op("read", texts, read);
    readAll<T>(suite, *texts, read);
  });
}

const bool registered = forEachWorkload([]<class T>(std::string_view workload) {
  // W4a has ten of a hundred members: asking for all would search ninety times in vain.
  if (workload == "W2shuffled" || workload == "W4a") {
    registerWorkload<Way::kWalk, T>(workload);
  } else {
    registerWorkload<Way::kAsk, T>(workload);
  }
});

const bool grownRegistered = [] {
  registerWorkload<Way::kAsk, Feed>("W2x10MB");
  registerWorkload<Way::kAsk, Feed>("W2x100MB");
  return true;
}();

/// W2 in many threads at once, each with a parser of its own: how much more than one thread this machine can do at all.
bool registerThreads(const std::string& who, int threads) {
  return bench::suite(who, "threads8-control", [threads](bench::Suite& suite) {
    const auto text = std::make_shared<simdjson::padded_string>(bench::textsOf("W2")->front());
    suite.threadedOp("read", threads, [text] {
      thread_local od::parser parser;
      return read<Way::kAsk, Feed>(parser, *text);
    });
  });
}

const bool threadsRegistered = std::string_view(KVT_BENCH_PEER) == "simdjson" && registerThreads("simdjson", 8) &&
                               registerThreads("one-thread", 1);

}  // namespace
}  // namespace peers
