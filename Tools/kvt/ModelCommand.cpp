// kvt model: classes for a JSON file, made at run time, and the whole file through them.
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>
#include <KVTPlatform/Values/NSData.h>

#include <chrono>

#include "Arguments.h"
#include "ClassFactory.h"
#include "Command.h"
#include "Input.h"
#include "Output.h"
#include "Plan.h"
#include "Progress.h"
#include "Report.h"
#include "Samples.h"
#include "Schema.h"
#include "Survival.h"
#include "Text.h"

namespace kvt::tool {
namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

/// Runs `work` and measures it. What is over in no time is run again, since a single short run says little.
template <class Work>
auto measured(Throughput& throughput, const Work& work) {
  constexpr double kLongEnough = 0.05, kEnough = 0.15;
  constexpr unsigned kMostRuns = 1000;
  double total = 0;
  for (unsigned runs = 1;; ++runs) {
    const Clock::time_point start = Clock::now();
    auto result = work();
    const double seconds = secondsSince(start);
    if (runs == 1 || seconds < throughput.seconds) throughput.seconds = seconds;
    throughput.runs = runs;
    total += seconds;
    if (throughput.seconds >= kLongEnough || total >= kEnough || runs == kMostRuns) return result;
  }
}

/// The models of the whole text: one, an array or a dictionary of them.
id readModels(const Plan& plan, const NSData& text) {
  const Class cls = plan.top().cls;
  switch (plan.topLevel) {
    case TopLevel::kObject: return kvt_modelWithJSON(cls, text);
    case TopLevel::kArray: return kvt_modelArrayWithClass_json(cls, text);
    case TopLevel::kMap: return kvt_modelDictionaryWithClass_json(cls, text);
  }
  return {};
}

void printReport(Output& output, const NSData& text, const id& document, const Plan& plan, Progress& progress) {
  printHeading(output, "Classes");
  printClasses(output, plan, false);
  output.flush();

  Throughput reading{"read", "text to models", 0, 1, text.length(), plan.objects};
  progress.stage("mapping the text to models");
  const id models = measured(reading, [&] { return readModels(plan, text); });
  Throughput writing{"write", "models to text", 0, 1, 0, plan.objects};
  progress.stage("writing the models as text");
  writing.bytes = measured(writing, [&] { return kvt_modelToJSONData(models); }).length();

  progress.stage("comparing what came back");
  Survival survival(plan, progress);
  survival.compare(document, kvt_modelToJSONObject(models));
  progress.clear();

  const bool isOne = plan.topLevel == TopLevel::kObject;
  printHeading(output, isOne ? "The object" : "First objects", "arrays and maps end after two entries here");
  printSamples(output, sampleDescriptions(plan, document));
  printHeading(output, "Round trip");
  printSurvival(output, survival);
  printHeading(output, "Throughput");
  printThroughput(output, {reading, writing});
}

void printJSON(Output& output, const NSData& text, const id& document, const Plan& plan, Progress& progress) {
  progress.stage("mapping the text to models");
  const id models = readModels(plan, text);
  progress.stage("writing the models as text");
  const NSData json = kvt_modelToJSONData(models);
  progress.stage("comparing what came back");
  Survival survival(plan, progress);
  survival.compare(document, kvt_modelToJSONObject(models));
  progress.clear();
  output << json.view() << "\n";
  if (const std::uint64_t lost = survival.lost(); lost > 0) {
    output.flush();
    complain("note: " + counted(lost, "value", "values") +
             " did not survive; without --json the report says which and why");
  }
}

void run(std::span<const std::string_view> given) {
  const Arguments arguments(given, {"--json", "--classes"});
  if (arguments.operands().empty()) throw Failure(ExitStatus::kUsage, "which file?");
  if (arguments.operands().size() > 1) throw Failure(ExitStatus::kUsage, "one file at a time");
  if (arguments.has("--json") && arguments.has("--classes")) {
    throw Failure(ExitStatus::kUsage, "--json and --classes exclude each other");
  }
  const std::string_view path = arguments.operands().front();
  const std::string name = inputName(path);

  Progress progress;
  const NSData text = readInput(path, progress);
  progress.stage("parsing");
  const id document = parseDocument(text, name);
  progress.stage("looking for classes");
  const Schema schema(document, progress);
  Plan plan = makePlan(schema, name);
  progress.stage("building classes");
  buildClasses(plan);
  progress.clear();

  Output output;
  if (arguments.has("--classes")) {
    printClasses(output, plan, true);
  } else if (arguments.has("--json")) {
    printJSON(output, text, document, plan, progress);
  } else {
    output << output.styled(Style::kClass, name) << "  " << byteCount(text.length()) << ", "
           << counted(plan.classes.size(), "class", "classes") << ", " << counted(plan.objects, "object", "objects")
           << ", " << counted(schema.values(), "value", "values") << "\n";
    printReport(output, text, document, plan, progress);
  }
  output.flush();
}

}  // namespace

const Command kModelCommand = {
    "model", "model classes for a JSON file, and the whole file through them",
    "kvt model [--json | --classes] FILE.json",
    "Looks at what the file holds, builds a model class at run time for each kind of object in it, maps\n"
    "the whole text to models and the models back to text, and reports: the classes with their properties,\n"
    "encodings and JSON keys; the first objects; what did not survive the way there and back, and why; and\n"
    "how fast both ways were. \"-\" is standard input.\n"
    "\n"
    "  --json     write the models back as JSON text, and nothing else\n"
    "  --classes  print the table of classes, and nothing else\n"
    "\n"
    "Objects in one place (array indices and the keys of maps left out) share one class; equal kinds of\n"
    "objects in several places do, too. An object is a map, and stays a dictionary, when it has more than\n"
    "256 different keys or when its keys are data (dates, paths, numbers) that differ from object to object.\n"
    "A property whose values are of several kinds takes any object. The first columns of the table say where\n"
    "a key could not be the property's name: it is mapped to the key then.\n"
    "\n"
    "On a terminal the report is coloured, unless NO_COLOR is set.\n",
    run};

}  // namespace kvt::tool
