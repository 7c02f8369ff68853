// A walk through folders; not installed.
#pragma once

#include <string>
#include <vector>

#include "../../Values/EnumeratorBody.h"
#include "../../Values/NSError.h"
#include "../../Values/NSURL.h"
#include "FolderStack.h"
#include "NSDirectoryEnumerator.h"

namespace kvt::files {

class DirectoryEnumeratorBody final : public EnumeratorBody {
 public:
  using ErrorHandler = Block<bool(NSURL, NSError)>;

  DirectoryEnumeratorBody(std::string path, bool prefetches, NSUInteger options, ErrorHandler errorHandler);

  id next() override;
  void skipDescendants() noexcept { entersLast_ = false; }
  NSUInteger level() const noexcept { return level_; }

 private:
  /// Into the first folder, or the one that was given last.
  int enter();
  bool goesOnAfter(int failure);

  FolderStack folders_;
  std::string path_;               // of the entry that was given last
  std::vector<std::size_t> ends_;  // of the folders that are open, within that path
  NSUInteger level_ = 0;
  const NSUInteger options_;
  const bool prefetches_;
  bool entersLast_ = true;  // before the next step
  bool over_ = false;
  ErrorHandler errorHandler_;
};

}  // namespace kvt::files
