// Whatever the bytes: the reader answers, and what it read can be written and read back as an equal object, with every
// option.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSJSONSerialization.h>
#include <KVTPlatform/Values/NSJSONSerializationPrivate.h>
#include <KVTPlatform/Values/NSString.h>

using namespace kvt;

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

/// Pulling values and being told of them are two ways to one verdict.
void compareReaders(std::string_view text, bool isValue) {
  JSONCursor cursor(text);
  const bool passed = cursor.skipValue() && cursor.finish();
  require(passed == isValue);
  if (passed) return;
  require(cursor.failure().error != JSONError::kNone);
  require(cursor.failure().offset <= text.size());
  require(!jsonErrorMessage(text, cursor.failure()).empty());
}

bool holdsDecimal(const id& object) {
  if (const NSArray array = object.as<NSArray>()) {
    return std::any_of(array.begin(), array.end(), [](const id& each) { return holdsDecimal(each); });
  }
  if (const NSDictionary dictionary = object.as<NSDictionary>()) return holdsDecimal(dictionary.allValues());
  return object.is<NSDecimalNumber>();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  const NSUInteger options = bytes[0];
  // A copy of the exact size, so that reading beyond it is seen.
  const std::size_t length = size - 1;
  const auto exact = std::make_unique<char[]>(length);
  for (std::size_t i = 0; i < length; ++i) exact[i] = static_cast<char>(bytes[i + 1]);
  const std::string_view text(exact.get(), length);

  JSONFailure failure;
  const NSUInteger reading = (options & 3) | NSJSONReadingFragmentsAllowed;
  const id direct = json::read(text, reading, false, failure);
  compareReaders(text, static_cast<bool>(direct));

  NSError error;
  const id object = NSJSONSerialization::JSONObjectWithData_options_error(NSData(text), reading, &error);
  require(static_cast<bool>(object) != static_cast<bool>(error));
  if (!object) return 0;
  if (direct) require(direct == object);

  const NSUInteger writing = (options >> 4) | NSJSONWritingFragmentsAllowed;
  id last = object;
  for (int round = 0; round < 2; ++round) {
    const NSData data = NSJSONSerialization::dataWithJSONObject_options_error(last, writing, &error);
    require(static_cast<bool>(data));
    const id back = NSJSONSerialization::JSONObjectWithData_options_error(data, reading, &error);
    // A decimal may be written with so few digits that it is read as a double the next time.
    require(back == last || (round == 0 && holdsDecimal(object)));
    last = back;
  }
  return 0;
}
