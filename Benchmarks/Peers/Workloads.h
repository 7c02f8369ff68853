// The workloads of peers that map to the structs of Models.h.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Peers/Models.h"
#include "Support/Harness.h"
#include "Support/Workloads.h"

namespace peers {

/// Calls `use.template operator()<T>(name)` for each workload, `T` being what its texts are mapped to.
template <class F>
bool forEachWorkload(F use) {
  use.template operator()<User>("W1");
  use.template operator()<Feed>("W2");
  use.template operator()<Wide>("W4a");
  use.template operator()<Narrow>("W4b");
  use.template operator()<User>("W1x256");
  use.template operator()<Feed>("W2shuffled");
  use.template operator()<Feed>("W2pretty");
  return true;
}

/// The digest of a workload's objects.
template <class T>
std::uint64_t digestOfAll(const std::vector<T>& objects) {
  return objects.size() == 1 ? digestOf(objects.front()) : digestOf(objects);
}

/// What a peer reads from all texts; its digest is noted.
template <class T, class Text, class F>
std::shared_ptr<const std::vector<T>> readAll(const bench::Suite& suite, const std::vector<Text>& texts, F read) {
  auto objects = std::make_shared<std::vector<T>>();
  for (const Text& each : texts) objects->push_back(read(each));
  suite.digest(digestOfAll(*objects));
  return objects;
}

}  // namespace peers
