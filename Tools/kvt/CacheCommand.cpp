// kvt cache: what a disk-cache folder holds, and its removals.
#include <KVTFoundation/Cache/KVTDiskCache.h>

#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <unordered_set>

#include "Arguments.h"
#include "CacheFolder.h"
#include "Command.h"
#include "Output.h"
#include "Progress.h"
#include "Report.h"
#include "Text.h"

namespace kvt::tool {
namespace {

constexpr std::size_t kMostLines = 40;
constexpr std::size_t kMostComplaints = 10;
constexpr double kDay = 86400;

struct Request {
  std::string folder;  // absolute, without links
  bool expires = false;
  bool all = false;
  bool dryRun = false;
  CacheDate by = CacheDate::kAccess;
  std::optional<std::uint64_t> days;
  std::optional<std::uint64_t> maxSize;
};

std::string_view nameOf(CacheDate date) {
  switch (date) {
    case CacheDate::kAccess: return "accessed";
    case CacheDate::kModification: return "modified";
    case CacheDate::kCreation: break;
  }
  return "created";
}

// ---- the command line -----------------------------------------------------------------------------------------------

[[noreturn]] void misused(const std::string& message) { throw Failure(ExitStatus::kUsage, message); }

std::optional<std::uint64_t> number(std::string_view text) {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return {};
  return value;
}

/// "500", "10k", "10kB" (thousands), "10Ki", "10KiB" (of 1024).
std::optional<std::uint64_t> size(std::string_view text) {
  if (text.ends_with('B')) text.remove_suffix(1);
  const bool binary = text.ends_with('i');
  if (binary) text.remove_suffix(1);
  const std::size_t power = text.empty() ? std::string_view::npos : std::string_view("kKMGT").find(text.back());
  std::uint64_t unit = 1;
  if (power != std::string_view::npos) {
    text.remove_suffix(1);
    for (std::size_t i = 0; i < std::max<std::size_t>(power, 1); ++i) unit *= binary ? 1024 : 1000;
  } else if (binary) {
    return {};
  }
  const std::optional<std::uint64_t> count = number(text);
  if (!count || *count > UINT64_MAX / unit) return {};
  return *count * unit;
}

CacheDate dateNamed(std::string_view name) {
  if (name == "access" || name == "accessed") return CacheDate::kAccess;
  if (name == "modified") return CacheDate::kModification;
  if (name == "created") return CacheDate::kCreation;
  misused("--by is access, modified or created, not " + printable(name));
}

/// Refuses folders of which nobody means that everything in them is a cache.
void checkIsNoHome(const std::string& folder) {
  namespace fs = std::filesystem;
  std::error_code failure;
  const char* home = std::getenv("HOME");
  std::vector<fs::path> kept{fs::current_path(failure)};
  if (home != nullptr && *home != '\0') kept.push_back(fs::weakly_canonical(home, failure));
  for (const fs::path& each : kept) {
    const fs::path below = each.lexically_relative(folder);
    if (below.empty() || *below.begin() == "..") continue;
    misused(printable(folder) + " holds " + (&each == kept.data() ? "the working directory" : "your home directory") +
            ": that is no cache");
  }
}

Request requestOf(std::span<const std::string_view> given) {
  const Arguments arguments(given, {"--expire", "--all", "--dry-run"}, {"--by", "--max-size", "--days"});
  Request request;
  request.expires = arguments.has("--expire");
  request.all = arguments.has("--all");
  request.dryRun = arguments.has("--dry-run");
  const auto by = arguments.valueOf("--by"), maxSize = arguments.valueOf("--max-size"),
             days = arguments.valueOf("--days");
  if (arguments.operands().empty()) misused("which folder?");
  if (arguments.operands().size() > 1) misused("one folder at a time");
  if (!request.expires && (request.all || request.dryRun || by || maxSize || days)) {
    misused("nothing is removed without --expire");
  }
  if (request.all && (by || maxSize || days)) misused("--all removes everything, and takes no other limit");
  if (request.expires && !request.all) {
    if (!maxSize && !days) misused("what shall go? --max-size, --days, or --all for everything");
    if (!by) misused("by which date? --by access, modified or created");
    request.by = dateNamed(*by);
  }
  if (maxSize) {
    request.maxSize = size(*maxSize);
    if (!request.maxSize) misused("--max-size is a number of bytes like 500k, 10M or 1G, not " + printable(*maxSize));
    if (*request.maxSize == 0) misused("--max-size 0 would be no limit; everything goes with --all");
  }
  if (days) {
    request.days = number(*days);
    if (!request.days || *request.days > 1'000'000) misused("--days is a whole number, not " + printable(*days));
    if (*request.days == 0) misused("--days 0 would remove everything; say so with --all");
  }

  const std::string_view named = arguments.operands().front();
  std::error_code failure;
  const std::filesystem::path path = std::filesystem::canonical(named, failure);
  if (!failure && !std::filesystem::is_directory(path, failure))
    failure = std::make_error_code(std::errc::not_a_directory);
  if (failure) throw Failure(ExitStatus::kNoInput, "cannot read " + printable(named) + ": " + failure.message());
  request.folder = path.string();
  if (!NSString(request.folder)) {
    throw Failure(ExitStatus::kNoInput, "cannot read " + printable(named) + ": its path is no UTF-8");
  }
  if (request.expires) checkIsNoHome(request.folder);
  return request;
}

// ---- what is printed ------------------------------------------------------------------------------------------------

std::string dateText(double date) {
  const auto seconds = static_cast<std::time_t>(std::floor(date));
  std::tm parts{};
  char text[64];
  if (::localtime_r(&seconds, &parts) == nullptr || std::strftime(text, sizeof text, "%F %T %z", &parts) == 0) {
    return std::to_string(seconds) + " s since 1970";
  }
  return text;
}

std::string amountOf(std::uint64_t files, std::uint64_t allocated) {
  return counted(files, "file", "files") + ", " + byteCount(allocated) + " on the disk";
}

std::string amountOf(const CacheFolder& folder, const std::vector<std::size_t>& indices) {
  std::uint64_t allocated = 0;
  for (const std::size_t each : indices) allocated += folder.files[each].allocated;
  return amountOf(indices.size(), allocated);
}

void printSummary(Output& output, const std::string& name, const CacheFolder& folder) {
  output << output.styled(Style::kClass, printable(name)) << "  " << amountOf(folder.files.size(), folder.allocated);
  if (folder.folders > 0) output << ", in " << counted(folder.folders, "more folder", "more folders");
  output << "\n";
  if (folder.hidden > 0) {
    output << output.styled(Style::kQuiet, counted(folder.hidden, "hidden file or folder", "hidden files or folders") +
                                               " left out: they never expire")
           << "\n";
  }
}

void printDates(Output& output, const CacheFolder& folder) {
  if (folder.files.empty()) return;
  printHeading(output, "Dates");
  for (const CacheDate each : kCacheDates) {
    const CacheFile *oldest = nullptr, *newest = nullptr;
    std::uint64_t without = 0;
    for (const CacheFile& file : folder.files) {
      if (!file.date(each)) {
        ++without;
        continue;
      }
      if (oldest == nullptr || *file.date(each) < *oldest->date(each)) oldest = &file;
      if (newest == nullptr || *file.date(each) >= *newest->date(each)) newest = &file;
    }
    const std::string name = padded(nameOf(each), 8), indent(8, ' ');
    const auto print = [&](const std::string& first, std::string_view which, const CacheFile& file) {
      output << first << "  " << which << "  " << dateText(*file.date(each)) << "  " << fitted(printable(file.name), 60)
             << "\n";
    };
    if (oldest == nullptr) {
      output << name << "  " << output.styled(Style::kQuiet, "this file system does not keep it") << "\n";
      continue;
    }
    print(name, "oldest", *oldest);
    print(indent, "newest", *newest);
    if (without > 0) {
      output << indent << "  " << output.styled(Style::kQuiet, counted(without, "file has", "files have") + " none")
             << "\n";
    }
  }
}

void printFiles(Output& output, const CacheFolder& folder, const std::vector<std::size_t>& indices, CacheDate by) {
  std::size_t lines = 0;
  for (const std::size_t each : indices) {
    if (++lines > kMostLines) {
      const std::uint64_t more = indices.size() - kMostLines;
      output << output.styled(Style::kQuiet, "  … and " + counted(more, "file", "files") + " more") << "\n";
      break;
    }
    const CacheFile& file = folder.files[each];
    output << "  " << paddedLeft(byteCount(file.allocated), 9) << "  ";
    output << (file.date(by) ? dateText(*file.date(by)) : "no date") << "  " << fitted(printable(file.name), 80)
           << "\n";
  }
}

void complainOf(const std::vector<std::string>& messages, std::string_view prefix) {
  for (std::size_t i = 0; i < messages.size() && i < kMostComplaints; ++i) {
    complain(std::string(prefix) + printable(messages[i]));
  }
  if (messages.size() > kMostComplaints) {
    complain("… and " + counted(messages.size() - kMostComplaints, "more", "more") + " of the kind");
  }
}

// ---- removals -------------------------------------------------------------------------------------------------------

/// By age, which the library cannot do: its own sense of days is all or nothing. What resisted.
std::vector<std::string> removeAged(const CacheFolder& folder, const CachePlan& plan, const Request& request,
                                    double oldest, Progress& progress) {
  std::vector<std::string> resisting;
  progress.stage("removing what is too old", "files", Progress::Steps::kSlow);
  const int root = ::open(request.folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  for (const std::size_t each : plan.aged) {
    progress.step();
    const std::string& name = folder.files[each].name;
    if (const int failure = removeIfOlder(root, name, request.by, oldest); failure != 0) {
      resisting.push_back(name + ": " + std::strerror(failure));
    }
  }
  if (root >= 0) ::close(root);
  progress.clear();
  return resisting;
}

Ref<KVTDefaultDiskCache> libraryCache(const Request& request) {
  const Ref<KVTDiskCacheConfig> config = make<KVTDiskCacheConfig>();
  config->diskCacheExpireType = static_cast<std::int64_t>(request.by);
  config->maxDiskSize = request.maxSize.value_or(0);
  config->maxStorageDays = 1;  // 0 would remove everything
  return make<KVTDefaultDiskCache>()->initWithPath_config(NSString(request.folder), config);
}

/// What went, of what was there before.
std::vector<std::size_t> gone(const CacheFolder& before, const CacheFolder& after) {
  std::unordered_set<std::string_view> left;
  for (const CacheFile& file : after.files) left.insert(file.name);
  std::vector<std::size_t> result;
  for (std::size_t i = 0; i < before.files.size(); ++i) {
    if (left.count(before.files[i].name) == 0) result.push_back(i);
  }
  return result;
}

void removeEverything(Output& output, const Request& request, Progress& progress) {
  const CacheFolder before = readCacheFolder(request.folder, true, progress);
  complainOf(before.unreadable, "cannot read ");
  printSummary(output, request.folder, before);
  if (request.dryRun) {
    output << "\nEverything would go, hidden files too.\n";
    return;
  }
  progress.stage("removing everything");
  libraryCache(request)->removeAllData();
  const CacheFolder after = readCacheFolder(request.folder, true, progress);
  output << "\nRemoved: " << amountOf(before, gone(before, after)) << "\n"
         << "Left:    " << amountOf(after.files.size(), after.allocated) << "\n";
  output.flush();
  if (!after.files.empty() || after.folders > 0 || !std::filesystem::is_directory(request.folder)) {
    throw Failure(ExitStatus::kOutput, "not everything in " + printable(request.folder) + " could be removed");
  }
}

void expire(Output& output, const Request& request, Progress& progress) {
  const double now = static_cast<double>(std::time(nullptr));
  std::optional<double> oldest;
  if (request.days) oldest = now - static_cast<double>(*request.days) * kDay;
  const CacheFolder before = readCacheFolder(request.folder, false, progress);
  complainOf(before.unreadable, "cannot read ");
  std::uint64_t without = 0;
  for (const CacheFile& file : before.files) without += !file.date(request.by).has_value();
  if (without > 0) {
    throw Failure(ExitStatus::kBadData, counted(without, "file", "files") + " in " + printable(request.folder) +
                                            " have no such date, because the file system keeps none: choose another");
  }
  const CachePlan plan = planRemoval(before, request.by, oldest, request.maxSize);
  printSummary(output, request.folder, before);
  if (request.dryRun) {
    if (plan.aged.empty() && plan.crowded.empty()) output << "\nNothing would go.\n";
    if (!plan.aged.empty()) {
      output << "\nWould go, last " << nameOf(request.by) << " more than " << counted(*request.days, "day", "days")
             << " ago: " << amountOf(before, plan.aged) << "\n";
      printFiles(output, before, plan.aged, request.by);
    }
    if (!plan.crowded.empty()) {
      output << "\nWould go to make room, until less than half is left: " << amountOf(before, plan.crowded) << "\n";
      printFiles(output, before, plan.crowded, request.by);
    }
    return;
  }

  const std::vector<std::string> resisting =
      oldest ? removeAged(before, plan, request, *oldest, progress) : std::vector<std::string>();
  if (request.maxSize) {
    progress.stage("making room");
    libraryCache(request)->removeExpiredData();
  }
  const CacheFolder after = readCacheFolder(request.folder, false, progress);
  std::vector<std::size_t> went = gone(before, after);
  sortByDate(before, request.by, went);
  output << "\nRemoved: " << amountOf(before, went) << "\n";
  printFiles(output, before, went, request.by);
  output << "Left:    " << amountOf(after.files.size(), after.allocated) << "\n";
  if (request.maxSize && after.allocated > *request.maxSize) {
    output << output.styled(Style::kQuiet, "That is more than " + byteCount(*request.maxSize) +
                                               " still: one removal goes to half of what there was")
           << "\n";
  }
  output.flush();
  complainOf(resisting, "cannot remove ");
  if (!resisting.empty()) throw Failure(ExitStatus::kOutput, "some files could not be removed");
  std::unordered_set<std::size_t> left(plan.crowded.begin(), plan.crowded.end());
  for (const std::size_t each : went) left.erase(each);
  if (!left.empty()) {
    throw Failure(ExitStatus::kOutput,
                  counted(left.size(), "file that should have made room is", "files that should have made room are") +
                      " still there");
  }
}

void show(Output& output, const Request& request, Progress& progress) {
  const CacheFolder folder = readCacheFolder(request.folder, false, progress);
  printSummary(output, request.folder, folder);
  printDates(output, folder);
  output.flush();
  complainOf(folder.unreadable, "cannot read ");
  if (!folder.unreadable.empty()) {
    throw Failure(ExitStatus::kNoInput, counted(folder.unreadable.size(), "folder is", "folders are") + " not counted");
  }
}

void run(std::span<const std::string_view> given) {
  const Request request = requestOf(given);
  Progress progress;
  Output output;
  if (request.all)
    removeEverything(output, request, progress);
  else if (request.expires)
    expire(output, request, progress);
  else
    show(output, request, progress);
  output.flush();
}

}  // namespace

const Command kCacheCommand = {
    "cache", "what a disk-cache folder holds, and what is too old or too much in it",
    "kvt cache [--expire (--by DATE [--max-size N] [--days N] | --all) [--dry-run]] FOLDER",
    "Shows how many files a disk-cache folder holds, how much they take on the disk, and the oldest and the\n"
    "newest by each of their three dates. Links are counted as themselves and not followed.\n"
    "\n"
    "  --expire      remove what the limits say, and report what went\n"
    "  --by DATE     the date that counts: access (last read), modified (last written) or created\n"
    "  --max-size N  when the files take more than N bytes, the oldest go until less than half of what\n"
    "                there was is left (half of what there was, not of N). N may end with k, M, G, T\n"
    "                (thousands) or Ki, Mi, Gi, Ti (of 1024)\n"
    "  --days N      files older than N days go first, before the size counts. Without it nothing goes by age\n"
    "  --all         everything goes, hidden files and folders too; an empty folder is left\n"
    "  --dry-run     remove nothing, and show what would go\n"
    "\n"
    "--max-size and --all are the library's own removals. Its config knows no number of days (0 removes\n"
    "everything, any other nothing), so --days is the command's doing: it looks at each file again before it\n"
    "removes it. Except with --all, hidden files, what is in hidden folders, and folders themselves stay.\n"
    "A folder that holds the home or the working directory is refused. Exit status 74: something could not\n"
    "be removed; 65: files have no such date; 66: a folder cannot be read.\n",
    run};

}  // namespace kvt::tool
