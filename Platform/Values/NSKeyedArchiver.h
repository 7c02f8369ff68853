// Objects to bytes, in the platform's keyed archive format: a property list that holds every object once, with its
// class and its values by key.
//
//     NSError error;
//     NSData data = NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(list, true, &error);
//     id again = NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error({classOf<NSArray>(), classOf<Track>()},
//                                                                            data, &error);
//
// What can be archived: the value types that have a form (see Docs/archives.md) and objects that answer
// `encodeWithCoder:`. An object may answer `replacementObjectForKeyedArchiver:` with one that is written in its place
// (nil: nothing). Thread rule: one thread at a time for an archiver, any thread for the class operations. Objects must
// not be changed while they are archived.
#pragma once

#include "NSCoder.h"
#include "NSPropertyListSerialization.h"

namespace kvt {

class NSData;
class NSMutableData;

extern KVT_EXPORT const NSString NSInvalidArchiveOperationException;
extern KVT_EXPORT const NSString NSInvalidUnarchiveOperationException;
extern KVT_EXPORT const NSString NSKeyedArchiveRootObjectKey;  // "root"

class KVT_EXPORT NSKeyedArchiver : public NSCoder {
  KVT_HANDLE(NSKeyedArchiver, NSCoder)

 public:
  /// The archive of an object, which may be nil. Raises as `encodeObject_forKey` does.
  static NSData archivedDataWithRootObject(const id& object);
  /// The same, but nil where encoding raises a platform exception or an object fails; then `*error`, unless null, is of
  /// NSCocoaErrorDomain, code NSCoderInvalidValueError, or what the object failed with.
  static NSData archivedDataWithRootObject_requiringSecureCoding_error(const id& object, bool requiresSecureCoding,
                                                                       NSError* error = nullptr);
  /// Atomically; NO when the file cannot be written. Raises as `archivedDataWithRootObject`.
  static bool archiveRootObject_toFile(const id& object, const NSString& path);

  /// Several top-level objects: encode them by key, then finish. The first form fills `data` when it is finished;
  /// raises NSInvalidArgumentException for nil.
  static NSKeyedArchiver initForWritingWithMutableData(const NSMutableData& data);
  static NSKeyedArchiver initRequiringSecureCoding(bool requiresSecureCoding);
  /// Nothing more can be encoded then: that raises NSInvalidArchiveOperationException.
  void finishEncoding() const;
  /// The archive; finishes when that was not done. nil after a failure.
  NSData encodedData() const;

  /// Binary unless set to XML before finishing. XML cannot hold every text; finishing raises
  /// NSInvalidArchiveOperationException then.
  NSPropertyListFormat outputFormat() const noexcept;
  void setOutputFormat(NSPropertyListFormat format) const;
  void setRequiresSecureCoding(bool requiresSecureCoding) const;

  /// The name that instances of the class are written under; nil takes it back. Before the first one is encoded.
  void setClassName_forClass(const NSString& name, Class cls) const;
  /// nil when none was set.
  NSString classNameForClass(Class cls) const;
  /// For every archiver that has none of its own.
  static void setClassName_forClass_class(const NSString& name, Class cls);
  static NSString classNameForClass_class(Class cls);
};

}  // namespace kvt
