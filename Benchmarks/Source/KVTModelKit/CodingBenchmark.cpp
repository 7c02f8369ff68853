// The feed as a keyed archive and back, beside the same data as JSON text through RapidJSON.

#include <memory>
#include <string>

#include "BenchmarkModels.h"
#include "Peers/RapidJSONMapping.h"
#include "Support/Harness.h"
#include "Support/Workloads.h"

namespace {

using namespace kvt;

const bool registered = [] {
  bench::suite("kvt", "W2", [](bench::Suite& suite) {
    const NSArray feed = kvt_modelArrayWithClass_json(classOf<Status>(), NSData(bench::textsOf("W2")->front()));
    const auto archive = [feed] { return NSKeyedArchiver::archivedDataWithRootObject(feed); };
    const NSData archived = archive();
    const auto unarchive = [archived] { return NSKeyedUnarchiver::unarchiveObjectWithData(archived); };
    suite.op("archive", archive);
    suite.op("unarchive", unarchive);
    bench::Digest digest;
    const NSArray again = unarchive().template as<NSArray>();
    digest.number(again.count());
    for (const id& each : again) addTo(digest, each.as<Status>());
    suite.digest(digest.value(), "unarchived");
  });
  bench::suite("rapidjson", "W2", [](bench::Suite& suite) {
    const bench::Texts texts = bench::textsOf("W2");
    const auto parser = std::make_shared<peers::rapid::Parser>();
    const auto feed = std::make_shared<peers::Feed>(parser->read<peers::Feed>(texts->front()));
    suite.op("archive", [feed] { return peers::rapid::write(*feed); });
    suite.op("unarchive", [texts, parser] { return parser->read<peers::Feed>(texts->front()); });
  });
  return true;
}();

}  // namespace
