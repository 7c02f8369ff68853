// Copying, hashing and comparing models, beside the same by hand over structs (`by-hand`). A copy of ours shares its
// texts and nested models, one of a struct has its own; our texts keep their hashes, those of a struct are computed
// again.

#include <memory>
#include <string>
#include <vector>

#include "BenchmarkModels.h"
#include "Peers/RapidJSONMapping.h"
#include "Support/Harness.h"
#include "Support/Workloads.h"

namespace {

using namespace kvt;

template <class T>
using Objects = std::shared_ptr<const std::vector<T>>;

/// All in turn; what copying gives is held against the originals.
template <class T, class Copy, class Hash, class Equal>
void measure(bench::Suite& suite, const Objects<T>& objects, const Objects<T>& others, Copy copy, Hash hash,
             Equal equal) {
  for (std::size_t i = 0; i < objects->size(); ++i) {
    const T& object = (*objects)[i];
    const T& other = (*others)[i];
    if (!equal({object, other}) || !equal({object, copy(object)}) || hash(object) != hash(other)) {
      suite.fail("a copy or an equal object is not equal");
    }
    if (objects->size() > 1 && equal({object, (*others)[(i + 1) % objects->size()]})) {
      suite.fail("different objects are equal");
    }
  }
  auto pairs = std::make_shared<std::vector<std::pair<T, T>>>();
  for (std::size_t i = 0; i < objects->size(); ++i) pairs->emplace_back((*objects)[i], (*others)[i]);
  suite.op("copy", objects, copy);
  suite.op("hash", objects, hash);
  suite.op("equal", pairs, equal);
}

template <class T>
Objects<Ref<T>> oursOf(const std::vector<std::string>& texts) {
  auto objects = std::make_shared<std::vector<Ref<T>>>();
  for (const std::string& each : texts) objects->push_back(kvt_modelWithJSON<T>(NSData(each)));
  return objects;
}

template <class T>
Objects<T> structsOf(const std::vector<std::string>& texts) {
  auto objects = std::make_shared<std::vector<T>>();
  const auto parser = std::make_unique<peers::rapid::Parser>();
  for (const std::string& each : texts) objects->push_back(parser->read<T>(each));
  return objects;
}

/// The texts of single objects: of the feed, its statuses.
std::vector<std::string> singleTextsOf(const std::string& workload) {
  const bench::Texts texts = bench::textsOf(workload);
  if (workload != "W2") return *texts;
  std::vector<std::string> singles;
  const auto parser = std::make_unique<peers::rapid::Parser>();
  for (const peers::Status& each : parser->read<peers::Feed>(texts->front())) {
    singles.emplace_back(peers::rapid::write(each).GetString());
  }
  return singles;
}

template <class T, class Struct>
void registerWorkload(const std::string& workload) {
  bench::suite("kvt", workload, [workload](bench::Suite& suite) {
    const std::vector<std::string> texts = singleTextsOf(workload);
    measure(
        suite, oursOf<T>(texts), oursOf<T>(texts), [](const Ref<T>& object) { return kvt_modelCopy(object); },
        [](const Ref<T>& object) { return kvt_modelHash(object); },
        [](const std::pair<Ref<T>, Ref<T>>& pair) { return kvt_modelIsEqual(pair.first, pair.second); });
  });
  bench::suite("by-hand", workload, [workload](bench::Suite& suite) {
    const std::vector<std::string> texts = singleTextsOf(workload);
    measure(
        suite, structsOf<Struct>(texts), structsOf<Struct>(texts), [](const Struct& object) { return object; },
        [](const Struct& object) { return peers::hashOf(object); },
        [](const std::pair<Struct, Struct>& pair) { return pair.first == pair.second; });
  });
}

const bool registered = [] {
  registerWorkload<User, peers::User>("W1");
  registerWorkload<User, peers::User>("W1x256");
  registerWorkload<Status, peers::Status>("W2");
  registerWorkload<Wide, peers::Wide>("W4a");
  return true;
}();

}  // namespace
