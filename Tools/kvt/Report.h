// What `kvt model` prints for people.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kvt::tool {

class Output;
class Survival;
struct Plan;

/// A measured direction: the time that one run took, the best of `runs`.
struct Throughput {
  std::string_view direction;  // "read"
  std::string_view what;       // "text to models"
  double seconds = 0;
  unsigned runs = 1;
  std::uint64_t bytes = 0;
  std::uint64_t objects = 0;
};

void printHeading(Output& output, std::string_view title, std::string_view remark = {});
/// The table of classes and properties; `whole` without cutting long ones.
void printClasses(Output& output, const Plan& plan, bool whole);
void printSamples(Output& output, const std::vector<std::string>& descriptions);
void printSurvival(Output& output, const Survival& survival);
void printThroughput(Output& output, const std::vector<Throughput>& measured);

}  // namespace kvt::tool
