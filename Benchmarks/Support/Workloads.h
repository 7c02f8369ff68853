// The texts of the workloads that map JSON to objects and back.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

using Texts = std::shared_ptr<const std::vector<std::string>>;

/// The texts of a workload; one operation works on one of them. The file of W1x256 has a text on each line.
Texts textsOf(std::string_view workload);

/// Whether writing the workload's objects is a figure of its own. Those that differ from W2 in the text's layout or
/// length alone are not written.
inline bool isWritten(std::string_view workload) { return workload == "W2" || !workload.starts_with("W2"); }

}  // namespace bench
