#include "Workloads.h"

#include <sstream>

#include "Harness.h"

namespace bench {

Texts textsOf(std::string_view workload) {
  std::string file = data(std::string(workload) + ".json");
  std::vector<std::string> texts;
  if (workload == "W1x256") {
    std::istringstream lines(std::move(file));
    for (std::string line; std::getline(lines, line);) texts.push_back(line);
  } else {
    texts.push_back(std::move(file));
  }
  return std::make_shared<const std::vector<std::string>>(std::move(texts));
}

}  // namespace bench
