#include "NSBundle.h"

#include <sys/stat.h>
#include <unistd.h>

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>

namespace kvt {
namespace {

struct BundleBody final : Object {
  BundleBody(NSString folder, std::vector<std::string> resourceFolders)
      : Object(classOf<NSBundle>(), ObjectKind::kPlain), path(std::move(folder)), places(std::move(resourceFolders)) {}
  const NSString path;
  const std::vector<std::string> places;  // where resources are looked for, in order
};

const BundleBody& bodyOf(const NSBundle& bundle) { return *static_cast<const BundleBody*>(bundle.object()); }

bool exists(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0;
}

bool isFolder(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// For the file system; "" for nil and for what no path can be.
std::string systemPath(const NSString& path) {
  const std::string_view text = path.utf8();
  return text.find('\0') == std::string_view::npos ? std::string(text) : std::string();
}

NSBundle bundleOf(std::string folder, const std::string& sharedName) {
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  const std::string prefix = folder == "/" ? folder : folder + "/";
  std::vector<std::string> places = {prefix + "Resources", folder};
  if (!sharedName.empty()) places.push_back(prefix + "../share/" + sharedName);
  return NSBundle(adopt, new BundleBody(NSString(folder), std::move(places)));
}

NSBundle bundleOfExecutable() {
  std::string path(4096, '\0');
  const ssize_t size = ::readlink("/proc/self/exe", path.data(), path.size());
  path.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  const std::size_t slash = path.rfind('/');
  // Without /proc the folder that the program was started in is the best guess.
  if (slash == std::string::npos) return bundleOf(".", "");
  return bundleOf(slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1));
}

struct MainBundle {
  std::mutex mutex;
  NSBundle bundle = bundleOfExecutable();
};

// Never destroyed: static objects of other units may ask for it when they end.
MainBundle& shared() {
  static auto* main = new MainBundle;
  return *main;
}

}  // namespace

NSBundle NSBundle::mainBundle() {
  MainBundle& main = shared();
  std::lock_guard lock(main.mutex);
  return main.bundle;
}

NSBundle NSBundle::bundleWithPath(const NSString& path) {
  const std::string folder = systemPath(path);
  return isFolder(folder) ? bundleOf(folder, "") : NSBundle();
}

bool NSBundle::setMainBundlePath(const NSString& path) {
  NSBundle bundle = path ? bundleWithPath(path) : bundleOfExecutable();
  if (!bundle) return false;
  MainBundle& main = shared();
  std::lock_guard lock(main.mutex);
  main.bundle.swap(bundle);
  return true;
}

NSString NSBundle::bundlePath() const { return *this ? bodyOf(*this).path : NSString(); }

NSString NSBundle::resourcePath() const {
  if (!*this) return {};
  for (const std::string& place : bodyOf(*this).places) {
    if (isFolder(place)) return NSString(place);
  }
  return bundlePath();
}

NSString NSBundle::pathForResource_ofType(const NSString& name, const NSString& type) const {
  std::string file = systemPath(name);
  if (!*this || file.empty()) return {};
  if (type.length() > 0) {
    const std::string extension = systemPath(type);
    if (extension.empty()) return {};
    file += "." + extension;
  }
  for (const std::string& place : bodyOf(*this).places) {
    const std::string path = place == "/" ? place + file : place + "/" + file;
    if (exists(path)) return NSString(path);
  }
  return {};
}

// ---- class ---------------------------------------------------------------------------------------------------------

namespace {

NSString descriptionMethod(const NSBundle& self) {
  return NSString::stringWithFormat("NSBundle <%@>", self.bundlePath());
}

}  // namespace

Class NSBundle::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSBundle> c("NSBundle", classOf<NSObject>());
    c.classMethod<&NSBundle::mainBundle>("mainBundle").classMethod<&NSBundle::bundleWithPath>("bundleWithPath:");
    c.method<&NSBundle::bundlePath>("bundlePath").method<&NSBundle::resourcePath>("resourcePath");
    c.method<&NSBundle::pathForResource_ofType>("pathForResource:ofType:");
    c.method<&descriptionMethod>("description");
    return c.registerClass();
  }();
  return cls;
}

bool NSBundle::kvtAccepts(const Object* object) noexcept { return dynamic_cast<const BundleBody*>(object) != nullptr; }

[[maybe_unused]] static const bool registered = (classOf<NSBundle>(), true);

}  // namespace kvt
