// A folder with a program's or a library's resources.
//
//     NSString path = NSBundle::mainBundle().pathForResource_ofType("greetings", "json");
//     NSData content = NSData::dataWithContentsOfFile(path);           // nil when there is no such resource
//
// The main bundle is the folder that the program's executable lies in. Its resources are looked for in three places, in
// this order: the folder `Resources` in it, the folder itself, and `../share/NAME` beside it, where NAME is the
// executable's, as an installation below a prefix has it. Any other bundle has the first two.
//
// Called on nil, every operation answers nil. Thread rule: any thread; bundles never change.
#pragma once

#include <KVTPlatform/Values/id.h>

namespace kvt {

class NSString;

class KVT_EXPORT NSBundle : public id {
  KVT_HANDLE(NSBundle, id)

 public:
  /// The same one at every call, until `setMainBundlePath`.
  static NSBundle mainBundle();
  /// The bundle of a folder; nil when there is no folder at that path.
  static NSBundle bundleWithPath(const NSString& path);

  /// For tests, and for programs that lie elsewhere than their resources: from now on the main bundle is the one of
  /// this folder, nil: that of the executable again. NO, and nothing changes, when there is no such folder. Bundles
  /// that were asked for before stay what they are.
  static bool setMainBundlePath(const NSString& path);

  /// The folder, without "/" at its end.
  NSString bundlePath() const;
  /// The first of the places where resources are looked for that exists.
  NSString resourcePath() const;

  /// The full path of a resource file or folder; nil when there is none, and for a nil or empty name. A nil or empty
  /// type: the name is the file's whole name; else "name.type". The name may have folders in it. Asks the file system
  /// at every call.
  NSString pathForResource_ofType(const NSString& name, const NSString& type) const;
};

}  // namespace kvt
