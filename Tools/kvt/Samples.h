// The first objects of a document, small enough to be read.
#pragma once

#include <string>
#include <vector>

#include <KVTPlatform/Values/id.h>

namespace kvt::tool {

struct Plan;

/// The `kvt_modelDescription` of the first objects of the top level (two of an array or map, else the one), whose
/// models are made from copies: arrays and maps end after two entries, long texts are cut.
std::vector<std::string> sampleDescriptions(const Plan& plan, const id& document);

}  // namespace kvt::tool
