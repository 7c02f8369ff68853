#include "NSDictionary+KVTExtension.h"

#include <string>

#include <KVTPlatform/Services/Bundle/NSBundle.h>
#include <KVTPlatform/Values/NSCharacterSet.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSJSONSerialization.h>
#include <KVTPlatform/Values/NSNull.h>

#include "../Category.h"

namespace kvt {
namespace {

const SEL kBoolValue = "boolValue";
const SEL kCompare = "compare:";

NSArray sortedKeys(const NSArray& keys) {
  try {
    return keys.sortedArrayUsingSelector(kCompare);
  } catch (const NSException&) {
    return keys;
  }
}

/// nil for nil, and for text that cannot be encoded.
NSString encoded(const NSString& text) {
  static const NSCharacterSet allowed = NSCharacterSet::URLQueryAllowedCharacterSet();
  return text.stringByAddingPercentEncodingWithAllowedCharacters(allowed);
}

}  // namespace

id detail::unlessNull(id object) { return object.is<NSNull>() ? id() : object; }

bool detail::boolOr(const id& value, bool defaultValue) {
  return value.respondsToSelector(kBoolValue) ? objc_msgSend<bool>(value, kBoolValue) : defaultValue;
}

id kvt_dictionaryWithJsonContentFile(const NSString& name) {
  const NSString path = NSBundle::mainBundle().pathForResource_ofType(name, ""_ns);
  const NSData content = NSData::dataWithContentsOfFile(path);
  return content ? NSJSONSerialization::JSONObjectWithData_options_error(content) : id();
}

NSString kvt_URLQueryStringWithSortedKeys(const NSDictionary& dictionary, bool sorted) {
  const NSArray keys = sorted ? sortedKeys(dictionary.allKeys()) : dictionary.allKeys();
  std::string query;
  for (const id& key : keys) {
    const NSString name = encoded(key.description());
    if (!name) continue;
    if (!query.empty()) query += '&';
    query += name.utf8();
    const id value = dictionary.objectForKey(key);
    const NSString text = value.is<NSNull>() ? NSString() : encoded(value.description());
    if (text.length() == 0) continue;
    query += '=';
    query += text.utf8();
  }
  return query.empty() ? NSString() : NSString(query);
}

NSString kvt_URLQueryString(const NSDictionary& dictionary) {
  return kvt_URLQueryStringWithSortedKeys(dictionary, false);
}

// ---- the category --------------------------------------------------------------------------------------------------

namespace {

[[maybe_unused]] const bool registered = addCategory<NSDictionary>([](ClassBuilder<NSDictionary>& c) {
  c.method<&kvt_safeObjectForKey<id>>("kvt_safeObjectForKey:");
  c.method<&kvt_boolForKey<id>>("kvt_boolForKey:");
  c.method<&kvt_boolForKey_defaultValue<id>>("kvt_boolForKey:defaultValue:");
  c.classMethod<&kvt_dictionaryWithJsonContentFile>("kvt_dictionaryWithJsonContentFile:");
  c.method<&kvt_URLQueryString>("kvt_URLQueryString");
  c.method<&kvt_URLQueryStringWithSortedKeys>("kvt_URLQueryStringWithSortedKeys:");
});

}  // namespace
}  // namespace kvt
