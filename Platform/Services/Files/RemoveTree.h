// Removal of files and of folders with everything in them; not installed.
#pragma once

#include <KVTPlatform/Runtime/Export.h>

#include <string>
#include <string_view>

namespace kvt::files {

/// 0, or the first failure's error number, with the path that resisted in `*where`. Never leaves the folder.
int removeTree(const std::string& path, std::string* where);

/// Removals below one folder, which stays the same one whatever is renamed meanwhile.
class KVT_EXPORT FolderRemovals {
 public:
  /// A link to a folder is followed. Where there is none nothing can be removed.
  explicit FolderRemovals(const char* folder) noexcept;
  ~FolderRemovals();
  FolderRemovals(const FolderRemovals&) = delete;
  FolderRemovals& operator=(const FolderRemovals&) = delete;

  /// What lies at a path relative to the folder, as above. NO when something resists, and when a part of the path but
  /// the last is a link.
  bool remove(std::string_view path) const;

 private:
  const int folder_;
};

}  // namespace kvt::files
