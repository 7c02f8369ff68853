// RapidJSON: a tree in memory that is kept, a hand-written mapping over its members; a Writer straight from the
// objects.

#include <memory>

#include "Peers/RapidJSONMapping.h"
#include "Peers/Workloads.h"

namespace peers {
namespace {

const bool registered = forEachWorkload([]<class T>(std::string_view workload) {
  bench::suite("rapidjson", std::string(workload), [workload](bench::Suite& suite) {
    const auto texts = bench::textsOf(workload);
    const auto parser = std::make_shared<rapid::Parser>();
    const auto read = [parser](const std::string& text) { return parser->read<T>(text); };
    suite.op("read", texts, read);
    suite.op("tree", texts, [parser](const std::string& text) {
      parser->parse(text, [](const auto& document) { benchmark::DoNotOptimize(document); });
    });
    const auto objects = readAll<T>(suite, *texts, read);
    if (!bench::isWritten(workload)) return;
    suite.op("write", objects, [](const T& object) { return rapid::write(object); });
    checkWritten(suite, *objects, [](const T& object) { return std::string(rapid::write(object).GetString()); });
  });
});

}  // namespace
}  // namespace peers
