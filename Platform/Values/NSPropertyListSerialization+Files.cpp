// Arrays and dictionaries as property list files.
#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "NSArray.h"
#include "NSData.h"
#include "NSDictionary.h"
#include "NSPropertyListSerialization.h"
#include "NSString.h"

namespace kvt {
namespace {

template <class Collection>
Collection contentsOf(const NSString& path, NSPropertyListReadOptions options) {
  const NSData data = NSData::dataWithContentsOfFile(path);
  if (!data) return Collection();
  return NSPropertyListSerialization::propertyListWithData_options_format_error(data, options)
      .template as<Collection>();
}

bool write(const id& list, const NSString& path, bool atomically) {
  const NSData data =
      NSPropertyListSerialization::dataWithPropertyList_format_options_error(list, NSPropertyListXMLFormat_v1_0);
  return data && data.writeToFile_atomically(path, atomically);
}

}  // namespace

NSDictionary NSDictionary::dictionaryWithContentsOfFile(const NSString& path) {
  return contentsOf<NSDictionary>(path, NSPropertyListImmutable);
}
NSMutableDictionary NSMutableDictionary::dictionaryWithContentsOfFile(const NSString& path) {
  return contentsOf<NSMutableDictionary>(path, NSPropertyListMutableContainers);
}
NSArray NSArray::arrayWithContentsOfFile(const NSString& path) {
  return contentsOf<NSArray>(path, NSPropertyListImmutable);
}
NSMutableArray NSMutableArray::arrayWithContentsOfFile(const NSString& path) {
  return contentsOf<NSMutableArray>(path, NSPropertyListMutableContainers);
}

bool NSDictionary::writeToFile_atomically(const NSString& path, bool atomically) const {
  return *this && write(*this, path, atomically);
}
bool NSArray::writeToFile_atomically(const NSString& path, bool atomically) const {
  return *this && write(*this, path, atomically);
}

[[maybe_unused]] static const bool registered = [] {
  ClassBuilder<NSArray> array(classOf<NSArray>());
  array.classMethod<&NSArray::arrayWithContentsOfFile>("arrayWithContentsOfFile:");
  array.method<&NSArray::writeToFile_atomically>("writeToFile:atomically:");
  array.registerClass();
  ClassBuilder<NSMutableArray> mutableArray(classOf<NSMutableArray>());
  mutableArray.classMethod<&NSMutableArray::arrayWithContentsOfFile>("arrayWithContentsOfFile:");
  mutableArray.registerClass();
  ClassBuilder<NSDictionary> dictionary(classOf<NSDictionary>());
  dictionary.classMethod<&NSDictionary::dictionaryWithContentsOfFile>("dictionaryWithContentsOfFile:");
  dictionary.method<&NSDictionary::writeToFile_atomically>("writeToFile:atomically:");
  dictionary.registerClass();
  ClassBuilder<NSMutableDictionary> mutableDictionary(classOf<NSMutableDictionary>());
  mutableDictionary.classMethod<&NSMutableDictionary::dictionaryWithContentsOfFile>("dictionaryWithContentsOfFile:");
  mutableDictionary.registerClass();
  return true;
}();

}  // namespace kvt
