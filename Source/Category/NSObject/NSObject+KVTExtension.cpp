#include "NSObject+KVTExtension.h"

#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSJSONSerialization.h>
#include <KVTPlatform/Values/NSObject.h>

#include "../Category.h"

namespace kvt {
namespace {

NSString failureLine(const NSString& description, const id& details) {
  const NSString unsupported = "unsupported"_ns;
  return NSString::stringWithFormat("JSON Parse Error: %@ %@"_ns, description ? description : unsupported,
                                    details ? details : id(unsupported));
}

NSString failureLine(const NSError& error) {
  return failureLine(error.localizedDescription(), error.userInfo().objectForKey(NSDebugDescriptionErrorKey));
}

/// What is to be written; nil, and why, when there is nothing.
id jsonObject(const id& object, NSError& error) {
  if (object.is<NSArray>() || object.is<NSDictionary>()) return object.copy();
  NSData data = object.as<NSData>();
  if (const NSString text = object.as<NSString>()) {
    data = text.dataUsingEncoding(NSUTF8StringEncoding);
    // A lone surrogate has no UTF-8 form; the reader says where it stands.
    if (!data) data = text.dataUsingEncoding(NSUnicodeStringEncoding);
  }
  return data ? NSJSONSerialization::JSONObjectWithData_options_error(data, 0, &error) : id();
}

}  // namespace

NSString kvt_JSONString(const id& object) {
  if (!object) return {};
  NSError error;
  const id json = jsonObject(object, error);
  if (!json) return failureLine(error);
  NSData written;
  try {
    written = NSJSONSerialization::dataWithJSONObject_options_error(json, 0, &error);
  } catch (const NSException& exception) {
    return failureLine(exception.reason(), id());
  }
  if (error) return failureLine(error);
  return written ? NSString(written.view()) : "{}"_ns;
}

// ---- the category --------------------------------------------------------------------------------------------------

[[maybe_unused]] static const bool registered =
    addCategory<NSObject>([](ClassBuilder<NSObject>& c) { c.method<&kvt_JSONString>("kvt_JSONString"); });

}  // namespace kvt
