// What the file system says of a file, for URLs and for the file manager; not installed.
#pragma once

#include <cstdint>
#include <string_view>

#include "NSURL.h"

namespace kvt {

/// Of a file itself, not of what a link leads to. Times are seconds since 1970.
struct FileValues {
  double accessed = 0, modified = 0, changed = 0;
  double created = 0;
  std::uint64_t size = 0;
  std::uint64_t allocated = 0;  // bytes
  std::uint64_t inode = 0;
  std::uint64_t device = 0;
  std::uint32_t owner = 0, group = 0;
  std::uint32_t links = 0;
  std::uint16_t mode = 0;  // type and permissions
  bool hasCreated = false;

  bool isDirectory() const noexcept { return (mode & 0170000) == 0040000; }
};

/// Of `name` as seen from an open folder (AT_FDCWD: the working directory). 0, or the system's error number.
int readFileValues(int folder, const char* name, FileValues& values) noexcept;

/// The file URL of an absolute path without a slash at its end, any bytes but NUL; `values`, where not null, are what
/// it will answer for its resource values.
NSURL fileURLWithValues(std::string_view path, bool isDirectory, const FileValues* values);
/// Those that it was made with; null for other URLs.
const FileValues* fileValuesOf(const NSURL& url) noexcept;

}  // namespace kvt
