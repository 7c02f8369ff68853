// A folder that goes away.
#pragma once

#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace kvt {

/// A folder for the time of a test.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = ::testing::TempDir() + "kvt_logsXXXXXX";
    path_ = ::mkdtemp(name.data());
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::filesystem::path& path() const { return path_; }
  NSString text(const std::string& name = "") const { return NSString((name.empty() ? path_ : path_ / name).string()); }
  std::vector<std::string> names() const {
    std::vector<std::string> result;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) result.push_back(entry.path().filename());
    std::sort(result.begin(), result.end());
    return result;
  }
  std::string read(const std::string& name) const {
    std::ostringstream text;
    text << std::ifstream(path_ / name, std::ios::binary).rdbuf();
    return text.str();
  }
  void write(const std::string& name, const std::string& text) const {
    std::ofstream(path_ / name, std::ios::binary) << text;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace kvt
