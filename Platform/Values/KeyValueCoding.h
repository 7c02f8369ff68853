// Key-value access as the root class does it; not installed. `id` sends the messages, so that collections answer in
// their own way.
#pragma once

#include "NSString.h"
#include "id.h"

namespace kvt::kvc {

id valueForKey(const id& self, const NSString& key);
id valueForKeyPath(const id& self, const NSString& keyPath);
void setValueForKey(const id& self, const id& value, const NSString& key);
void setValueForKeyPath(const id& self, const id& value, const NSString& keyPath);

}  // namespace kvt::kvc
