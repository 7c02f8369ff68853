#include "NSDirectoryEnumerator.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Values/NSString.h>
#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <utility>

#include "../../Values/NSError+Files.h"
#include "../../Values/NSURL+Resources.h"
#include "DirectoryEnumeratorBody.h"

namespace kvt {
namespace files {

DirectoryEnumeratorBody::DirectoryEnumeratorBody(std::string path, bool prefetches, NSUInteger options,
                                                 ErrorHandler errorHandler)
    : path_(std::move(path)), options_(options), prefetches_(prefetches), errorHandler_(std::move(errorHandler)) {
  ObjectAccess::setIsa(this, classOf<NSDirectoryEnumerator>().body());
}

bool DirectoryEnumeratorBody::goesOnAfter(int failure) {
  if (!errorHandler_) return true;
  return errorHandler_(fileURLWithValues(path_, true, nullptr),
                       fileError(FileOperation::kRead, failure, NSString(path_)));
}

int DirectoryEnumeratorBody::enter() {
  const bool isFirst = level_ == 0;
  const int failure =
      isFirst ? folders_.enterFirst(AT_FDCWD, path_.c_str(), true) : folders_.enter(folders_.current().name);
  if (failure == 0) ends_.push_back(path_.size());
  // Somebody may have put something else in its place since it was given.
  const bool hasGone = failure == ENOENT || failure == ENOTDIR || failure == ELOOP;
  return hasGone && !isFirst ? 0 : failure;
}

id DirectoryEnumeratorBody::next() {
  if (std::exchange(entersLast_, false)) {
    if (const int failure = enter(); failure != 0) over_ = !goesOnAfter(failure);
  }
  while (!over_ && folders_.depth() != 0) {
    FolderStack::Entry entry;
    path_.resize(ends_.back());
    if (!folders_.next(entry)) {
      const int failure = folders_.leave();
      ends_.resize(folders_.depth());
      if (failure != 0) over_ = !goesOnAfter(failure);
      continue;
    }
    if ((options_ & NSDirectoryEnumerationSkipsHiddenFiles) != 0 && entry.name[0] == '.') continue;
    FileValues values;
    const bool asks = prefetches_ || entry.type == DT_UNKNOWN;
    const int failure = asks ? readFileValues(folders_.descriptor(), entry.name, values) : 0;
    if (failure == ENOENT) continue;
    const bool knows = asks && failure == 0;
    const bool isFolder = knows ? values.isDirectory() : entry.type == DT_DIR;
    if (path_.back() != '/') path_ += '/';
    path_ += entry.name;
    level_ = folders_.depth();
    entersLast_ = isFolder && (options_ & NSDirectoryEnumerationSkipsSubdirectoryDescendants) == 0;
    return fileURLWithValues(path_, isFolder, knows && prefetches_ ? &values : nullptr);
  }
  over_ = true;
  return {};
}

}  // namespace files

namespace {

files::DirectoryEnumeratorBody& bodyOf(const NSDirectoryEnumerator& enumerator) {
  return *static_cast<files::DirectoryEnumeratorBody*>(enumerator.object());
}

}  // namespace

void NSDirectoryEnumerator::skipDescendants() const {
  if (*this) bodyOf(*this).skipDescendants();
}
NSUInteger NSDirectoryEnumerator::level() const { return *this ? bodyOf(*this).level() : 0; }

Class NSDirectoryEnumerator::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSDirectoryEnumerator> c("NSDirectoryEnumerator", classOf<NSEnumerator>());
    c.method<&NSDirectoryEnumerator::skipDescendants>("skipDescendants");
    c.method<&NSDirectoryEnumerator::level>("level");
    return c.registerClass();
  }();
  return cls;
}

bool NSDirectoryEnumerator::kvtAccepts(const Object* object) noexcept {
  return dynamic_cast<const files::DirectoryEnumeratorBody*>(object) != nullptr;
}

[[maybe_unused]] static const bool registered = (classOf<NSDirectoryEnumerator>(), true);

}  // namespace kvt
