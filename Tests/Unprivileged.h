// This thread without root's right to read and write everything, as long as it lives.
#pragma once

#include <sys/fsuid.h>
#include <unistd.h>

#include <filesystem>

namespace kvt {

class Unprivileged {
 public:
  /// Gives the folder and what is in it to the user that the thread becomes. Nothing happens where it is not root's.
  explicit Unprivileged(const std::filesystem::path& folder) {
    if (::geteuid() != 0) return;
    constexpr uid_t kNobody = 65534;
    if (::lchown(folder.c_str(), kNobody, kNobody) != 0) return;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
      if (::lchown(entry.path().c_str(), kNobody, kNobody) != 0) return;
    }
    ::setfsuid(kNobody);
  }
  ~Unprivileged() {
    if (::geteuid() == 0) ::setfsuid(0);
  }
  Unprivileged(const Unprivileged&) = delete;
  Unprivileged& operator=(const Unprivileged&) = delete;
};

}  // namespace kvt
