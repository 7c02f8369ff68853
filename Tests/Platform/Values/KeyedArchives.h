// What the tests of keyed archives share: an archive's objects as text, archives made from text, and random object
// graphs.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSKeyedArchiver.h>
#include <KVTPlatform/Values/NSKeyedUnarchiver.h>

#include "PropertyLists.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KVT_HAS_LEAK_CHECK 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define KVT_HAS_LEAK_CHECK 1
#endif
#if defined(KVT_HAS_LEAK_CHECK)
#include <sanitizer/lsan_interface.h>
#endif

namespace kvt::archive_test {

/// Objects that hold each other in a circle, as an archive may say, are never released; those that are made while this
/// lives are no leak.
class MayLeak {
 public:
#if defined(KVT_HAS_LEAK_CHECK)
  MayLeak() { __lsan_disable(); }
  ~MayLeak() { __lsan_enable(); }
#else
  MayLeak() {}
  ~MayLeak() {}
#endif
  MayLeak(const MayLeak&) = delete;
  MayLeak& operator=(const MayLeak&) = delete;
};

using namespace plist_test;

inline NSDictionary listOf(const NSData& archive) { return read(archive.view()).as<NSDictionary>(); }
inline NSArray objectsOf(const NSData& archive) { return listOf(archive)["$objects"].as<NSArray>(); }

/// A scalar of a property list for a person: text in quotes, data in angle brackets.
inline std::string plainText(const id& value) {
  if (NSString text = value.as<NSString>()) return "'" + text.str() + "'";
  if (NSNumber number = value.as<NSNumber>()) {
    if (number.isBool()) return number.boolValue() ? "true" : "false";
    const std::string digits = number.stringValue().str();
    if (!number.isFloatingPoint()) return digits;
    return digits + (std::string_view(number.objCType()) == "f" ? "f" : "r");
  }
  if (NSData data = value.as<NSData>()) return "<" + hex(data.view()) + ">";
  return meaning(value);
}

/// What stands at a place of an archive, references followed: `NSURL{NS.base: nil, NS.relative: 'a'}`. An object that
/// is met within itself is `^` and its UID.
class Layout {
 public:
  explicit Layout(const NSArray& objects) : objects_(objects) {}

  std::string of(const id& value) {
    if (auto uid = value.as<NSKeyedArchiverUID>()) return object(uid->value());
    if (NSArray array = value.as<NSArray>()) {
      std::string text;
      for (const id& each : array) text += (text.empty() ? "" : ", ") + of(each);
      return "[" + text + "]";
    }
    if (NSDictionary dictionary = value.as<NSDictionary>()) {
      std::string text;
      for (const auto& [key, each] : dictionary) {
        const std::string name = key.as<NSString>().str();
        if (name != "$class") text += (text.empty() ? "" : ", ") + name + ": " + of(each);
      }
      return className(dictionary) + "{" + text + "}";
    }
    return plainText(value);
  }

 private:
  std::string object(NSUInteger uid) {
    if (uid == 0) return "nil";
    for (const NSUInteger each : path_) {
      if (each == uid) return "^" + std::to_string(uid);
    }
    path_.push_back(uid);
    std::string text = of(objects_[uid]);
    path_.pop_back();
    return text;
  }
  std::string className(const NSDictionary& object) {
    auto uid = object["$class"].as<NSKeyedArchiverUID>();
    return uid ? objects_[uid->value()].as<NSDictionary>()["$classname"].as<NSString>().str() : "";
  }

  NSArray objects_;
  std::vector<NSUInteger> path_;
};

/// The root object of an archive.
inline std::string layoutOf(const NSData& archive) {
  const NSDictionary list = listOf(archive);
  return Layout(list["$objects"].as<NSArray>()).of(list["$top"].as<NSDictionary>()["root"]);
}

inline Ref<NSKeyedArchiverUID> uid(NSUInteger value) { return NSKeyedArchiverUID::UIDWithValue(value); }

/// An archive of these objects ("$null" comes in front), whose root is the first one.
inline NSData archiveOf(const NSArray& objects, const id& root = uid(1)) {
  NSMutableArray all = NSMutableArray::arrayWithObject("$null");
  for (const id& each : objects) all.addObject(each);
  return write(NSDictionary{{"$version", 100000},
                            {"$archiver", "NSKeyedArchiver"},
                            {"$top", NSDictionary{{"root", root}}},
                            {"$objects", all}},
               NSPropertyListBinaryFormat_v1_0);
}
/// A class's description in an archive.
inline NSDictionary classNamed(const char* name) {
  return {{"$classname", name}, {"$classes", NSArray{name, "NSObject"}}};
}

/// The root object by the way that raises; "NAME: REASON" of what it raises.
inline std::string raisedByReading(const NSData& archive) {
  try {
    static_cast<void>(NSKeyedUnarchiver::unarchiveObjectWithData(archive));
  } catch (const NSException& exception) {
    return exception.what();
  }
  return "";
}

}  // namespace kvt::archive_test
