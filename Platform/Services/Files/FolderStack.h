// Folders that are open one in another: how trees of files are walked and removed; not installed.
//
// Every folder below the first is opened by its name in the one above and never through a link, so that nobody who
// renames and links while a tree is walked leads out of it. Only the innermost folders stay open, however deep the tree
// is: the others are opened again by ".." and recognised, or given up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kvt::files {

class FolderStack {
 public:
  struct Entry {
    const char* name = nullptr;  // valid until the folder is left
    unsigned char type = 0;      // DT_…; DT_UNKNOWN where the file system does not say
  };

  FolderStack() = default;
  ~FolderStack();
  FolderStack(const FolderStack&) = delete;
  FolderStack& operator=(const FolderStack&) = delete;

  // Each answers 0 or the system's error number; nothing is entered or left then, unless it says so.
  /// The first folder: `name` as seen from an open one (AT_FDCWD: the working directory).
  int enterFirst(int folder, const char* name, bool followLink);
  /// A folder in the innermost one. ENOTDIR or ELOOP for everything that is none, links among it.
  int enter(const char* name);
  /// Leaves the innermost folder. Where the one above cannot be had any more, because somebody has moved what lies
  /// between, all are left.
  int leave();

  std::size_t depth() const noexcept { return levels_.size(); }
  /// The innermost folder's next entry, "." and ".." left out; false at the end. What the folder had when it was
  /// entered.
  bool next(Entry& entry);
  /// The entry that `next` gave last.
  Entry current() const;
  /// Of the innermost folder, which must be there.
  int descriptor() const noexcept { return levels_.back().descriptor; }

 private:
  struct Level {
    int descriptor = -1;
    std::uint64_t device = 0, inode = 0;
    std::string entries;  // of each: its type, its name, a NUL
    std::size_t current = 0;
    std::size_t next = 0;
  };

  int push(int descriptor);

  std::vector<Level> levels_;
};

}  // namespace kvt::files
