// JSON text to a tree of dictionaries and arrays, and back.

#include <memory>
#include <string>
#include <vector>

#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSJSONSerialization.h>

#include "Peers/RapidJSONMapping.h"

namespace {

using namespace kvt;

const bool registered = peers::forEachWorkload([]<class T>(std::string_view workload) {
  bench::suite("kvt", std::string(workload), [workload](bench::Suite& suite) {
    auto texts = std::make_shared<std::vector<NSData>>();
    const bench::Texts source = bench::textsOf(workload);
    for (const std::string& each : *source) texts->emplace_back(each);
    const auto read = [](const NSData& text) { return NSJSONSerialization::JSONObjectWithData_options_error(text); };
    suite.op("tree", texts, read);
    peers::checkWritten<T>(
        suite, *texts,
        [read](const NSData& text) {
          return std::string(NSJSONSerialization::dataWithJSONObject_options_error(read(text)).view());
        },
        "tree");
  });
});

}  // namespace
