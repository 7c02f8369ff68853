// What the tests of property lists and archives share: what a list means as one line of text, random lists, binary
// lists made by hand, and Python.
#pragma once

#include <unistd.h>

#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSKeyedArchiverUID.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSPropertyListSerialization.h>
#include <KVTPlatform/Values/NSSet.h>
#include <KVTPlatform/Values/NSString.h>

namespace kvt::plist_test {

inline std::string hex(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string result;
  for (const char c : bytes) {
    result += kDigits[static_cast<unsigned char>(c) >> 4];
    result += kDigits[c & 15];
  }
  return result;
}

inline std::string hexBits(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(std::bit_cast<std::uint64_t>(value)));
  return text;
}

/// A list as text: n t f, i<decimal>, r<bits>, D<bits> (dates), d<hex> (data), s<hex of UTF-16>, u<UID>, [..], (..) for
/// sets, {..} with the keys in order. The same as plist/canonical.py writes.
inline std::string meaning(const id& object) {
  if (!object) return "nil";
  if (object.is<NSNull>()) return "n";
  if (NSString text = object.as<NSString>()) {
    std::string bytes;
    for (const char16_t unit : text.u16str()) {
      bytes += static_cast<char>(unit >> 8);
      bytes += static_cast<char>(unit & 0xFF);
    }
    return "s" + hex(bytes);
  }
  if (NSNumber number = object.as<NSNumber>()) {
    if (number.isBool()) return number.boolValue() ? "t" : "f";
    if (number.isFloatingPoint()) return "r" + hexBits(number.doubleValue());
    return "i" + number.stringValue().str();
  }
  if (NSDate date = object.as<NSDate>()) return "D" + hexBits(date.timeIntervalSinceReferenceDate());
  if (NSData data = object.as<NSData>()) return "d" + hex(data.view());
  if (auto uid = object.as<NSKeyedArchiverUID>()) return "u" + std::to_string(uid->value());
  std::string result;
  if (NSArray array = object.as<NSArray>()) {
    for (const id& element : array) result += meaning(element) + ",";
    return "[" + result + "]";
  }
  if (NSSet set = object.as<NSSet>()) {
    for (const id& element : set) result += meaning(element) + ",";
    return "(" + result + ")";
  }
  if (NSDictionary dictionary = object.as<NSDictionary>()) {
    std::map<std::string, std::string> entries;
    for (const auto& [key, value] : dictionary) entries[meaning(key)] = meaning(value);
    for (const auto& [key, value] : entries) result += key + ":" + value + ",";
    return "{" + result + "}";
  }
  return std::string("?") + class_getName(object.class_());
}

/// Random lists. The same seed gives the same ones.
class RandomLists {
 public:
  explicit RandomLists(std::uint64_t seed) : random_(seed) {}

  std::uint64_t below(std::uint64_t limit) { return random_() % limit; }
  bool oneIn(std::uint64_t count) { return below(count) == 0; }

  NSString text(bool forXML) {
    static const char16_t* const kPieces[] = {u"a", u"key", u"Zoë", u"日本", u"😀",     u"<&>\"'",
                                              u" ", u"\t",  u"\n",  u"\r",   u"]]>",   u"&amp;",
                                              u"é", u"-",   u"0",   u"",     u"$null", u"CF$UI"};
    std::u16string result;
    for (std::uint64_t n = below(6); n > 0; --n) result += kPieces[below(std::size(kPieces))];
    if (!forXML && oneIn(10)) result += static_cast<char16_t>(0xD800 + below(0x800));
    if (!forXML && oneIn(10)) result += static_cast<char16_t>(below(0x20));
    if (oneIn(20)) result += std::u16string(below(300), u'x');
    return NSString(result);
  }

  NSNumber number() {
    switch (below(8)) {
      case 0: return oneIn(2);
      case 1: return static_cast<std::int64_t>(below(300)) - 100;
      case 2: return static_cast<std::int64_t>(random_());
      case 3: return random_();
      case 4: return std::bit_cast<double>(random_() & 0x7FEFFFFFFFFFFFFFu);
      case 5: return static_cast<float>(below(1000)) / 8;
      case 6: return static_cast<std::int64_t>((std::uint64_t{1} << below(64)) - below(2));
      default: return static_cast<double>(below(100)) / 10;
    }
  }

  id scalar(bool forXML) {
    switch (below(6)) {
      case 0:
      case 1: return number();
      case 2: return NSDate::dateWithTimeIntervalSinceReferenceDate(static_cast<double>(below(1u << 31)) - 5e8);
      case 3: {
        std::string bytes;
        for (std::uint64_t n = below(80); n > 0; --n) bytes += static_cast<char>(random_());
        return NSData(std::string_view(bytes));
      }
      default: return text(forXML);
    }
  }

  id list(bool forXML, int depth = 4) {
    if (depth == 0 || oneIn(3)) return scalar(forXML);
    const std::uint64_t count = oneIn(30) ? below(40) : below(5);
    if (oneIn(2)) {
      NSMutableArray array = NSMutableArray::array();
      for (std::uint64_t i = 0; i < count; ++i) array.addObject(list(forXML, depth - 1));
      return array.copy();
    }
    NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
    for (std::uint64_t i = 0; i < count; ++i) dictionary.setObject_forKey(list(forXML, depth - 1), text(forXML));
    return dictionary.copy();
  }

 private:
  std::mt19937_64 random_;
};

/// A binary list from its parts, which need not fit.
struct BinaryList {
  std::vector<std::string> objects;
  std::vector<std::uint64_t> offsets = {};  // in place of where the objects lie
  std::uint64_t top = 0;
  unsigned offsetWidth = 1;
  unsigned referenceWidth = 1;
  std::uint64_t count = UINT64_MAX;  // in place of how many objects there are
  std::uint64_t table = UINT64_MAX;  // in place of where the offsets begin

  static std::string bigEndian(std::uint64_t value, unsigned width) {
    std::string bytes;
    for (unsigned i = width; i-- > 0;) bytes += i < 8 ? static_cast<char>(value >> (8 * i)) : '\0';
    return bytes;
  }

  std::string bytes() const {
    std::string result = "bplist00";
    std::vector<std::uint64_t> places;
    for (const std::string& object : objects) {
      places.push_back(result.size());
      result += object;
    }
    const std::uint64_t start = result.size();
    for (const std::uint64_t place : offsets.empty() ? places : offsets) result += bigEndian(place, offsetWidth);
    result += std::string(6, '\0') + static_cast<char>(offsetWidth) + static_cast<char>(referenceWidth);
    result += bigEndian(count != UINT64_MAX ? count : objects.size(), 8) + bigEndian(top, 8);
    return result + bigEndian(table != UINT64_MAX ? table : start, 8);
  }
};

inline id read(std::string_view bytes, NSUInteger options = 0, NSError* error = nullptr) {
  return NSPropertyListSerialization::propertyListWithData_options_format_error(NSData(bytes), options, nullptr, error);
}
inline NSData write(const id& list, NSPropertyListFormat format, NSError* error = nullptr) {
  return NSPropertyListSerialization::dataWithPropertyList_format_options_error(list, format, 0, error);
}
/// "CODE: what and where".
inline std::string reasonOf(const NSError& error) {
  if (!error) return "";
  EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
  return std::to_string(error.code()) + ": " +
         error.userInfo().objectForKey(NSDebugDescriptionErrorKey).as<NSString>().str();
}

/// A file of its own, gone with the guard.
class TemporaryFile {
 public:
  TemporaryFile() {
    path_ = (std::filesystem::temp_directory_path() / "kvt-plist-XXXXXX").string();
    const int file = mkstemp(path_.data());
    EXPECT_GE(file, 0);
    close(file);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() { std::filesystem::remove(path_); }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

inline bool hasPython() { return std::system("python3 -c '' >/dev/null 2>&1") == 0; }

/// The lines that a script of Data/plist prints.
inline std::vector<std::string> python(const std::string& script, const std::string& arguments) {
  const std::string command = "python3 '" KVT_TEST_DATA_DIR "/plist/" + script + "' " + arguments;
  const auto closePipe = [](FILE* pipe) { EXPECT_EQ(pclose(pipe), 0); };
  const std::unique_ptr<FILE, decltype(closePipe)> pipe(popen(command.c_str(), "r"), closePipe);
  std::string output;
  char buffer[65536];
  while (const std::size_t size = std::fread(buffer, 1, sizeof buffer, pipe.get())) output.append(buffer, size);
  std::vector<std::string> lines;
  std::size_t from = 0;
  for (std::size_t end = 0; (end = output.find('\n', from)) != std::string::npos; from = end + 1) {
    lines.push_back(output.substr(from, end - from));
  }
  return lines;
}

/// A file of several pieces, as the scripts read and write it: each has its size, a line end, and its bytes.
inline void writePieces(const std::string& path, const std::vector<std::string>& pieces) {
  std::ofstream out(path, std::ios::binary);
  for (const std::string& piece : pieces) out << piece.size() << '\n' << piece;
}
inline std::vector<std::string> readPieces(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<std::string> pieces;
  std::size_t size = 0;
  while (in >> size) {
    in.get();
    std::string& piece = pieces.emplace_back(size, '\0');
    in.read(piece.data(), static_cast<std::streamsize>(size));
  }
  return pieces;
}

}  // namespace kvt::plist_test
