#include "Input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSJSONSerialization.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>

#include "Command.h"
#include "Progress.h"
#include "Text.h"

namespace kvt::tool {
namespace {

/// From this size on a run takes long enough for a word on how far it is.
constexpr std::uint64_t kLongFile = 4'000'000;
/// How much is asked for at a time where nobody knows how much there is.
constexpr std::size_t kPiece = 1 << 20;

class Descriptor {
 public:
  explicit Descriptor(const std::string& path)
      : number_(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)),
        owned_(path != "-") {}
  ~Descriptor() {
    if (owned_ && number_ >= 0) close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int number() const noexcept { return number_; }

 private:
  int number_;
  bool owned_;
};

[[noreturn]] void cannotRead(std::string_view path, int error) {
  throw Failure(ExitStatus::kNoInput, "cannot read " + inputName(path) + ": " + std::strerror(error));
}

/// What a lone value is called.
const char* kindOf(const id& value) {
  if (const NSNumber number = value.as<NSNumber>()) return number.isBool() ? "true or false" : "a number";
  return value.is<NSString>() ? "a text" : "null";
}

}  // namespace

std::string inputName(std::string_view path) { return path == "-" ? "standard input" : printable(path); }

NSData readInput(std::string_view path, Progress& progress) {
  const Descriptor file{std::string(path)};
  if (file.number() < 0) cannotRead(path, errno);
  struct stat status {};
  if (fstat(file.number(), &status) != 0) cannotRead(path, errno);
  if (S_ISDIR(status.st_mode)) cannotRead(path, EISDIR);

  const std::size_t expected =
      S_ISREG(status.st_mode) ? static_cast<std::size_t>(std::max<off_t>(status.st_size, 0)) : 0;
  if (expected >= kLongFile) progress.enable();
  progress.stage("reading");
  const NSMutableData bytes = NSMutableData::dataWithCapacity(expected + 1);
  std::size_t length = 0;
  for (;;) {
    // One byte more than there should be: the end is seen without growing.
    if (length == bytes.length()) bytes.setLength(length < expected ? expected + 1 : length + std::max(length, kPiece));
    const ssize_t got = read(file.number(), static_cast<char*>(bytes.mutableBytes()) + length, bytes.length() - length);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) cannotRead(path, errno);
    if (got == 0) break;
    length += static_cast<std::size_t>(got);
    if (length >= kLongFile) progress.enable();
  }
  bytes.setLength(length);
  return bytes;
}

id parseDocument(const NSData& bytes, std::string_view name) {
  NSError error;
  id document = NSJSONSerialization::JSONObjectWithData_options_error(bytes, 0, &error);
  if (document) return document;

  if (const id fragment = NSJSONSerialization::JSONObjectWithData_options_error(bytes, NSJSONReadingFragmentsAllowed)) {
    throw Failure(ExitStatus::kBadData, std::string(name) + " holds nothing but " + kindOf(fragment) +
                                            ": models are made from objects and from arrays of objects");
  }
  const NSDictionary details = error.userInfo();
  const NSNumber line = details[NSJSONSerializationErrorLineKey].as<NSNumber>();
  const NSNumber column = details[NSJSONSerializationErrorColumnKey].as<NSNumber>();
  std::string what = details[NSDebugDescriptionErrorKey].as<NSString>().str();
  if (what.empty()) what = error.localizedDescription().str();
  if (!line) throw Failure(ExitStatus::kBadData, std::string(name) + ": " + printable(what));

  // The place stands in front already.
  const std::string place = "line " + line.stringValue().str() + ", column " + column.stringValue().str();
  if (const std::size_t at = what.rfind(" around " + place); at != std::string::npos) what.resize(at);
  throw Failure(ExitStatus::kBadData, std::string(name) + ", " + place + ": " + printable(what));
}

}  // namespace kvt::tool
