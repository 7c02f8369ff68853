// Objects from a keyed archive, binary or XML, as NSKeyedArchiver writes it here and on the platform.
//
//     NSError error;
//     id list = NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error({classOf<NSArray>(), classOf<Track>()},
//                                                                           data, &error);
//     Ref<Track> track = NSKeyedUnarchiver::unarchivedObjectOfClass<Track>(data, &error);
//
// Bytes from outside are read with the forms that name classes: they make objects of those classes (and of classes
// below them) only, and their error says what is wrong. Whatever the bytes, decoding ends in time and memory
// proportional to their number, as far as the objects' own `initWithCoder:` does. Objects may be nested 1000 deep.
//
// An object may answer `awakeAfterUsingCoder:` with one that takes its place. Thread rule: one thread at a time for an
// unarchiver, any thread for the class operations.
#pragma once

#include "NSCoder.h"
#include "NSKeyedArchiver.h"
#include "NSSet.h"

namespace kvt {

class KVT_EXPORT NSKeyedUnarchiver : public NSCoder {
  KVT_HANDLE(NSKeyedUnarchiver, NSCoder)

 public:
  /// The root object, of one of the classes; secure coding is required. nil for nil and for what is no such archive;
  /// then
  /// `*error`, unless null, is of NSCocoaErrorDomain: NSCoderReadCorruptError, NSCoderValueNotFoundError (no root), or
  /// what an object failed with. Raises no platform exception.
  static id unarchivedObjectOfClass_fromData_error(Class cls, const NSData& data, NSError* error = nullptr);
  static id unarchivedObjectOfClasses_fromData_error(const NSSet& classes, const NSData& data,
                                                     NSError* error = nullptr);
  template <class T>
  static HandleFor<T> unarchivedObjectOfClass(const NSData& data, NSError* error = nullptr) {
    return unarchivedObjectOfClass_fromData_error(classOf<T>(), data, error).template as<T>();
  }

  /// The root object, of any class that can be decoded: for data of one's own. nil for nil. Raises
  /// NSInvalidArgumentException for what is no archive, NSInvalidUnarchiveOperationException where decoding fails.
  static id unarchiveObjectWithData(const NSData& data);
  /// nil when the file cannot be read; raises likewise.
  static id unarchiveObjectWithFile(const NSString& path);

  /// Several top-level objects: decode them by key. Failures raise, secure coding is not required. Raises
  /// NSInvalidArgumentException for what is no archive.
  static NSKeyedUnarchiver initForReadingWithData(const NSData& data);
  /// Failures set the error, secure coding is required. nil and `*error` for what is no archive.
  static NSKeyedUnarchiver initForReadingFromData_error(const NSData& data, NSError* error = nullptr);
  /// Nothing more can be decoded then.
  void finishDecoding() const;

  void setRequiresSecureCoding(bool requiresSecureCoding) const;
  void setDecodingFailurePolicy(NSDecodingFailurePolicy policy) const;

  /// The class whose instances an archived name stands for; nil takes it back. Before the first one is decoded.
  void setClass_forClassName(Class cls, const NSString& name) const;
  /// nil when none was set.
  Class classForClassName(const NSString& name) const;
  /// For every unarchiver that has none of its own.
  static void setClass_forClassName_class(Class cls, const NSString& name);
  static Class classForClassName_class(const NSString& name);
};

}  // namespace kvt
