// Reading and writing whole files.
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "NSData.h"
#include "NSDataBody.h"
#include "NSError+Files.h"
#include "NSString.h"

namespace kvt {
namespace {

class File {
 public:
  explicit File(int descriptor) noexcept : descriptor_(descriptor) {}
  ~File() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  explicit operator bool() const noexcept { return descriptor_ >= 0; }
  int descriptor() const noexcept { return descriptor_; }
  /// Some file systems report a failed write only here.
  bool close() noexcept { return ::close(std::exchange(descriptor_, -1)) == 0; }

 private:
  int descriptor_;
};

template <class Call>
auto retrying(const Call& call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

/// The path for the system; false for nil, text without UTF-8 form and embedded NULs, which no path can have.
bool systemPath(const NSString& path, std::string& result) {
  const std::string_view text = path.utf8();
  if (text.empty() || text.find('\0') != std::string_view::npos) return false;
  result = text;
  return true;
}

void report(NSError* error, FileOperation operation, int errorNumber, const NSString& path) {
  if (error != nullptr) *error = fileError(operation, errorNumber, path);
}

/// 0, or the system's error number.
int readAll(int descriptor, DataBody& body) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  // The size is a hint: files of /proc have none, others grow meanwhile.
  if (S_ISREG(status.st_mode) && status.st_size > 0 && !body.tryReserve(static_cast<std::size_t>(status.st_size) + 1)) {
    return ENOMEM;
  }
  for (;;) {
    if (body.length == body.capacity && !body.tryReserve(body.length + 65536)) return ENOMEM;
    const ssize_t count =
        retrying([&] { return ::read(descriptor, body.bytes + body.length, body.capacity - body.length); });
    if (count < 0) return errno;
    if (count == 0) return 0;
    body.length += static_cast<std::size_t>(count);
  }
}

int writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = retrying([&] { return ::write(descriptor, bytes.data(), bytes.size()); });
    if (count < 0) return errno;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

/// The file behind the path's symbolic links, or the path itself when there is none.
std::string resolved(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> real(::realpath(path.c_str(), nullptr), &std::free);
  return real ? std::string(real.get()) : path;
}

/// A name beside the target that no other file has is certain only once it is created exclusively.
std::string temporaryName(const std::string& target) {
  std::uint64_t random = 0;
  if (::getrandom(&random, sizeof random, 0) < 0) random = static_cast<std::uint64_t>(::getpid());
  char suffix[24];
  std::snprintf(suffix, sizeof suffix, ".%016llx", static_cast<unsigned long long>(random));
  const std::size_t slash = target.rfind('/');
  const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
  // The name itself may be as long as names can be.
  return target.substr(0, start) + "." + target.substr(start, 200) + suffix;
}

void syncFolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
  File file(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // The content is safe already; whether the folder's entry is flushed too is up to the file system.
  if (file) ::fsync(file.descriptor());
}

int writeAtomically(const std::string& path, std::string_view bytes, bool overwrite) {
  const std::string target = overwrite ? resolved(path) : path;
  struct stat status {};
  const bool exists = ::stat(target.c_str(), &status) == 0;
  if (exists && S_ISDIR(status.st_mode)) return EISDIR;

  std::string temporary;
  int descriptor = -1;
  for (int attempt = 0; attempt < 16 && descriptor < 0; ++attempt) {
    temporary = temporaryName(target);
    descriptor = retrying([&] { return ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666); });
    if (descriptor < 0 && errno != EEXIST) return errno;
  }
  if (descriptor < 0) return errno;
  File file(descriptor);
  int failure = writeAll(file.descriptor(), bytes);
  if (failure == 0 && exists && ::fchmod(file.descriptor(), status.st_mode & 07777) != 0) failure = errno;
  if (failure == 0 && ::fsync(file.descriptor()) != 0) failure = errno;
  if (!file.close() && failure == 0) failure = errno;
  if (failure == 0) {
    // A link fails where the name is taken; a rename would replace it.
    const int result =
        overwrite ? ::rename(temporary.c_str(), target.c_str()) : ::link(temporary.c_str(), target.c_str());
    if (result != 0) failure = errno;
  }
  if (failure != 0 || !overwrite) ::unlink(temporary.c_str());
  if (failure == 0) syncFolderOf(target);
  return failure;
}

int writeInPlace(const std::string& path, std::string_view bytes, bool overwrite) {
  const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (overwrite ? O_TRUNC : O_EXCL);
  File file(retrying([&] { return ::open(path.c_str(), flags, 0666); }));
  if (!file) return errno;
  const int failure = writeAll(file.descriptor(), bytes);
  return !file.close() && failure == 0 ? errno : failure;
}

}  // namespace

NSData NSData::dataWithContentsOfFile(const NSString& path) {
  return dataWithContentsOfFile_options_error(path, 0, nullptr);
}

NSData NSData::dataWithContentsOfFile_options_error(const NSString& path, NSUInteger, NSError* error) {
  std::string name;
  if (!systemPath(path, name)) {
    report(error, FileOperation::kRead, EINVAL, path);
    return {};
  }
  File file(retrying([&] { return ::open(name.c_str(), O_RDONLY | O_CLOEXEC); }));
  if (!file) {
    report(error, FileOperation::kRead, errno, path);
    return {};
  }
  DataBody* body = DataBody::create(kDataKind, 0);
  NSData data(adopt, body);
  const int failure = readAll(file.descriptor(), *body);
  if (failure != 0) {
    report(error, FileOperation::kRead, failure, path);
    return {};
  }
  return data;
}

bool NSData::writeToFile_atomically(const NSString& path, bool atomically) const {
  return writeToFile_options_error(path, atomically ? NSUInteger{NSDataWritingAtomic} : 0, nullptr);
}

bool NSData::writeToFile_options_error(const NSString& path, NSUInteger options, NSError* error) const {
  if (!*this) return false;
  std::string name;
  int failure = EINVAL;
  if (systemPath(path, name)) {
    const bool overwrite = (options & NSDataWritingWithoutOverwriting) == 0;
    failure = (options & NSDataWritingAtomic) != 0 ? writeAtomically(name, view(), overwrite)
                                                   : writeInPlace(name, view(), overwrite);
  }
  if (failure != 0) report(error, FileOperation::kWrite, failure, path);
  return failure == 0;
}

}  // namespace kvt
