#include "Report.h"

#include <algorithm>

#include "Output.h"
#include "Plan.h"
#include "Survival.h"
#include "Text.h"

namespace kvt::tool {
namespace {

constexpr std::size_t kMostClasses = 40;
constexpr std::size_t kMostProperties = 60;
constexpr std::size_t kMostSampleLines = 40;
constexpr std::size_t kWidestSampleLine = 120;

struct Row {
  std::string name, encoding, key, objects;
  bool isClass = false;
  bool keyDiffers = false;
};

/// Columns wider than this are cut.
struct Widths {
  std::size_t name = 36, encoding = 40, key = 44;
};

std::string encodingText(const PropertyPlan& property) {
  return printable(property.encoding) + (property.element != nullptr ? " of " + printable(property.element->name) : "");
}

std::string keyText(const PropertyPlan& property) {
  return property.isMapped() ? printable(property.key) : "\"\" (cannot be mapped)";
}

std::vector<Row> rowsOf(const Plan& plan, bool whole) {
  std::vector<Row> rows;
  const auto more = [&](std::size_t count, std::string_view singular, std::string_view plural, const char* indent) {
    rows.push_back({indent + ("… and " + counted(count, singular, plural) + " more"), "", "", ""});
  };
  std::size_t classes = 0;
  for (const auto& cls : plan.classes) {
    if (!whole && ++classes > kMostClasses) {
      more(plan.classes.size() - kMostClasses, "class", "classes", "");
      break;
    }
    const std::string place = cls->place.starts_with('.') ? cls->place.substr(1) : cls->place;
    rows.push_back({printable(cls->name), "", place, grouped(cls->objects), true});
    std::size_t properties = 0;
    for (const PropertyPlan& property : cls->properties) {
      if (!whole && ++properties > kMostProperties) {
        more(cls->properties.size() - kMostProperties, "property", "properties", "  ");
        break;
      }
      rows.push_back({"  " + printable(property.name), encodingText(property), keyText(property),
                      grouped(property.present), false, property.key != property.name});
    }
  }
  return rows;
}

}  // namespace

void printHeading(Output& output, std::string_view title, std::string_view remark) {
  output << "\n" << output.styled(Style::kHeading, title);
  if (!remark.empty()) output << "  " << output.styled(Style::kQuiet, remark);
  output << "\n\n";
}

void printClasses(Output& output, const Plan& plan, bool whole) {
  std::vector<Row> rows = rowsOf(plan, whole);
  const Row titles = {"Class, properties", "Encoding", "JSON key or place", "Objects"};
  const Widths most;
  Widths widths{displayWidth(titles.name), displayWidth(titles.encoding), displayWidth(titles.key)};
  std::size_t numbers = displayWidth(titles.objects);
  for (Row& row : rows) {
    row.name = fitted(row.name, most.name);
    row.encoding = fitted(row.encoding, most.encoding);
    row.key = fitted(row.key, most.key);
    widths.name = std::max(widths.name, displayWidth(row.name));
    widths.encoding = std::max(widths.encoding, displayWidth(row.encoding));
    widths.key = std::max(widths.key, displayWidth(row.key));
    numbers = std::max(numbers, displayWidth(row.objects));
  }
  const auto print = [&](const Row& row) {
    const std::string name = padded(row.name, widths.name), key = padded(row.key, widths.key);
    output << (row.isClass ? output.styled(Style::kClass, name) : name) << "  " << padded(row.encoding, widths.encoding)
           << "  "
           << (row.isClass      ? output.styled(Style::kQuiet, key)
               : row.keyDiffers ? output.styled(Style::kNotable, key)
                                : key)
           << "  " << paddedLeft(row.objects, numbers) << "\n";
  };
  print(titles);
  const Row rule = {std::string(widths.name, '-'), std::string(widths.encoding, '-'), std::string(widths.key, '-'),
                    std::string(numbers, '-')};
  print(rule);
  for (const Row& row : rows) {
    if (!row.objects.empty())
      print(row);
    else
      output << output.styled(Style::kQuiet, row.name) << "\n";  // a remark
  }
  if (plan.dictionaries > 0) {
    output << output.styled(Style::kQuiet, "Objects in " + counted(plan.dictionaries, "more place", "more places") +
                                               " stay dictionaries: there are enough classes.")
           << "\n";
  }
}

void printSamples(Output& output, const std::vector<std::string>& descriptions) {
  std::size_t lines = 0, left = 0;
  for (const std::string& description : descriptions) {
    for (std::size_t start = 0; start <= description.size();) {
      const std::size_t end = std::min(description.find('\n', start), description.size());
      if (++lines > kMostSampleLines)
        ++left;
      else
        output << fitted(printable(std::string_view(description).substr(start, end - start)), kWidestSampleLine)
               << "\n";
      start = end + 1;
    }
  }
  if (left > 0) output << output.styled(Style::kQuiet, "… and " + counted(left, "line", "lines") + " more") << "\n";
}

void printSurvival(Output& output, const Survival& survival) {
  if (survival.losses().empty()) {
    output << output.styled(Style::kGood, "All " + counted(survival.compared(), "value", "values") + " survived.")
           << "\n";
    return;
  }
  output << output.styled(Style::kBad, grouped(survival.lost()) + " of " +
                                           counted(survival.compared(), "value", "values") + " did not survive:")
         << "\n";
  std::size_t numbers = 0, kinds = 0;
  for (const Loss& loss : survival.losses()) {
    numbers = std::max(numbers, grouped(loss.count).size());
    kinds = std::max(kinds, displayWidth(loss.what));
  }
  for (const Loss& loss : survival.losses()) {
    output << "  " << paddedLeft(grouped(loss.count), numbers) << "  " << padded(loss.what, kinds) << "  first at "
           << fitted(loss.example, 80) << "\n"
           << std::string(numbers + 4, ' ') << output.styled(Style::kQuiet, loss.reason) << "\n";
  }
}

void printThroughput(Output& output, const std::vector<Throughput>& measured) {
  for (const Throughput& each : measured) {
    const double seconds = std::max(each.seconds, 1e-9);
    output << padded(each.direction, 5) << "  " << padded(each.what, 14) << "  " << paddedLeft(duration(seconds), 8)
           << "  " << paddedLeft(magnitude(static_cast<double>(each.bytes) / 1e6 / seconds), 5) << " MB/s  "
           << paddedLeft(magnitude(static_cast<double>(each.objects) / seconds), 13) << " objects/s";
    if (each.runs > 1) output << output.styled(Style::kQuiet, "  best of " + grouped(each.runs) + " runs");
    output << "\n";
  }
}

}  // namespace kvt::tool
