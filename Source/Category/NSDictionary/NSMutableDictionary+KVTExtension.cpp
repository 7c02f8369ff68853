#include "NSMutableDictionary+KVTExtension.h"

#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>

#include "../Category.h"

namespace kvt {
namespace {

const SEL kCopyWithZone = "copyWithZone:";

bool isUsable(const id& key) { return key && !key.is<NSNull>(); }

}  // namespace

void kvt_safeSetObject_forKey(const NSMutableDictionary& dictionary, const Boxed& object, const Boxed& boxedKey) {
  const id& key = boxedKey.object();
  if (!isUsable(key)) return;
  if (const NSString text = key.as<NSString>()) {
    dictionary.setValue_forKey(object, text);
  } else if (!object.object()) {
    dictionary.removeObjectForKey(key);
  } else if (key.respondsToSelector(kCopyWithZone)) {
    dictionary.setObject_forKey(object, key);
  }
}

void kvt_safeRemoveObjectForKey(const NSMutableDictionary& dictionary, const Boxed& key) {
  if (isUsable(key.object())) dictionary.removeObjectForKey(key);
}

void kvt_setBool_forKey(const NSMutableDictionary& dictionary, bool value, const Boxed& key) {
  dictionary.setObject_forKey(NSNumber(value), key);
}

// ---- the category --------------------------------------------------------------------------------------------------

namespace {

using Self = NSMutableDictionary;

void setObject(const Self& self, const id& object, const id& key) { kvt_safeSetObject_forKey(self, object, key); }
void removeObject(const Self& self, const id& key) { kvt_safeRemoveObjectForKey(self, key); }
void setBool(const Self& self, bool value, const id& key) { kvt_setBool_forKey(self, value, key); }

[[maybe_unused]] const bool registered = addCategory<Self>([](ClassBuilder<Self>& c) {
  c.method<&setObject>("kvt_safeSetObject:forKey:").method<&removeObject>("kvt_safeRemoveObjectForKey:");
  c.method<&setBool>("kvt_setBool:forKey:");
});

}  // namespace
}  // namespace kvt
