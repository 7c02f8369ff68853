// Whatever the bytes: the reader answers, and what it read can be written in the binary format, where it has all of it,
// and in XML, where it keeps what XML can hold.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSPropertyListSerialization.h>
#include <KVTPlatform/Values/NSString.h>

using namespace kvt;

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

NSString reasonOf(const NSError& error) {
  return error.userInfo().objectForKey(NSDebugDescriptionErrorKey).as<NSString>();
}

id read(const NSData& data, NSUInteger options, NSError* error) {
  return NSPropertyListSerialization::propertyListWithData_options_format_error(data, options, nullptr, error);
}
NSData write(const id& list, NSPropertyListFormat format, NSError* error) {
  return NSPropertyListSerialization::dataWithPropertyList_format_options_error(list, format, 0, error);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  const NSUInteger options = bytes[0] % 3;
  // A copy of the exact size, so that reading beyond it is seen.
  const NSData data = NSData::dataWithBytes_length(bytes + 1, size - 1);

  NSError error;
  const id list = read(data, options, &error);
  require(static_cast<bool>(list) != static_cast<bool>(error));
  if (!list) {
    require(reasonOf(error).length() != 0);
    return 0;
  }

  // A null can be read and not be written.
  NSError refusal;
  const NSData binary = write(list, NSPropertyListBinaryFormat_v1_0, &refusal);
  require(NSPropertyListSerialization::propertyList_isValidForFormat(list, NSPropertyListBinaryFormat_v1_0) ==
          static_cast<bool>(binary));
  require(static_cast<bool>(binary) != static_cast<bool>(refusal));
  if (binary) {
    const id back = read(binary, 0, &error);
    require(back == list);
    require(write(back, NSPropertyListBinaryFormat_v1_0, &error) == binary);
  } else {
    require(reasonOf(refusal).containsString("NSNull"));
  }

  // Dates lose what is less than a second there, and are the same ever after.
  const NSData xml = write(list, NSPropertyListXMLFormat_v1_0, &refusal);
  if (!xml) return 0;
  const id fromXML = read(xml, 0, &error);
  require(static_cast<bool>(fromXML));
  require(write(fromXML, NSPropertyListXMLFormat_v1_0, &error) == xml);
  require(read(write(fromXML, NSPropertyListBinaryFormat_v1_0, &error), 0, &error) == fromXML);
  return 0;
}
