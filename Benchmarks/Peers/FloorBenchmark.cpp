// Floors: what reading cannot undercut by much. A copy of the text, and simdjson's tree, which leaves all texts and
// numbers in one buffer that the parser keeps, and makes no object.

#include <cstdlib>
#include <cstring>
#include <memory>

#include <simdjson.h>

#include "Peers/Workloads.h"

namespace peers {
namespace {

const bool registered = forEachWorkload([]<class T>(std::string_view workload) {
  bench::suite("memcpy", std::string(workload), [workload](bench::Suite& suite) {
    suite.op("read", bench::textsOf(workload), [](const std::string& text) {
      void* copy = std::malloc(text.size());
      std::memcpy(copy, text.data(), text.size());
      benchmark::DoNotOptimize(copy);
      benchmark::ClobberMemory();
      std::free(copy);
    });
  });
  bench::suite("simdjson-dom", std::string(workload), [workload](bench::Suite& suite) {
    const auto parser = std::make_shared<simdjson::dom::parser>();
    const auto texts = std::make_shared<std::vector<simdjson::padded_string>>();
    const bench::Texts source = bench::textsOf(workload);
    for (const std::string& each : *source) texts->emplace_back(each);
    suite.op("tree", texts,
             [parser](const simdjson::padded_string& text) { return simdjson::dom::element(parser->parse(text)); });
  });
});

}  // namespace
}  // namespace peers
