// JSON text to models and back.

#include <memory>
#include <string>
#include <vector>

#include "BenchmarkModels.h"
#include "Peers/RapidJSONMapping.h"
#include "Support/Harness.h"
#include "Support/Workloads.h"

namespace {

using namespace kvt;

/// A workload whose texts are a model each; `T` is ours, `Struct` the peers' twin.
template <class T, class Struct>
struct One {
  using Object = Ref<T>;
  using Twin = Struct;
  static Object read(const NSData& text) { return kvt_modelWithJSON<T>(text); }
  static void addTo(bench::Digest& digest, const Object& object) { ::addTo(digest, object); }
};

/// A workload whose texts are an array of models each.
template <class T, class Struct>
struct Many {
  using Object = NSArray;
  using Twin = std::vector<Struct>;
  static Object read(const NSData& text) { return kvt_modelArrayWithClass_json(classOf<T>(), text); }
  static void addTo(bench::Digest& digest, const Object& objects) {
    digest.number(objects.count());
    for (const id& each : objects) ::addTo(digest, each.as<T>());
  }
};

template <class Kind>
bool registerWorkload(const std::string& workload) {
  return bench::suite("kvt", workload, [workload](bench::Suite& suite) {
    auto texts = std::make_shared<std::vector<NSData>>();
    const bench::Texts source = bench::textsOf(workload);
    for (const std::string& each : *source) texts->emplace_back(each);
    suite.op("read", texts, Kind::read);

    auto objects = std::make_shared<std::vector<typename Kind::Object>>();
    bench::Digest digest;
    if (texts->size() != 1) digest.number(texts->size());
    for (const NSData& each : *texts) {
      objects->push_back(Kind::read(each));
      if (!objects->back()) suite.fail("a text was not read");
      Kind::addTo(digest, objects->back());
    }
    suite.digest(digest.value());
    if (!bench::isWritten(workload)) return;

    suite.op("write", objects, [](const auto& object) { return kvt_modelToJSONData(object); });
    peers::checkWritten<typename Kind::Twin>(
        suite, *objects, [](const auto& object) { return std::string(kvt_modelToJSONData(object).view()); });
  });
}

/// W2 in many threads at once: every one reads and writes the whole feed.
bool registerThreads(const std::string& who, int threads) {
  return bench::suite(who, "threads8", [threads](bench::Suite& suite) {
    const NSData text(bench::textsOf("W2")->front());
    const NSArray objects = Many<Status, peers::Status>::read(text);
    suite.threadedOp("read", threads, [text] { return Many<Status, peers::Status>::read(text); });
    suite.threadedOp("write", threads, [objects] { return kvt_modelToJSONData(objects); });
  });
}

const bool registered = [] {
  registerWorkload<One<User, peers::User>>("W1");
  registerWorkload<Many<Status, peers::Status>>("W2");
  registerWorkload<One<Wide, peers::Wide>>("W4a");
  registerWorkload<One<Narrow, peers::Narrow>>("W4b");
  registerWorkload<One<User, peers::User>>("W1x256");
  registerWorkload<Many<Status, peers::Status>>("W2shuffled");
  registerWorkload<Many<Status, peers::Status>>("W2pretty");
  registerWorkload<Many<Status, peers::Status>>("W2x10MB");
  registerWorkload<Many<Status, peers::Status>>("W2x100MB");
  return registerThreads("kvt", 8) && registerThreads("one-thread", 1);
}();

}  // namespace
