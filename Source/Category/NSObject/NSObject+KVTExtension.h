// JSON for log lines.
//
//     NSLog(kvt_JSONString(request));          // {"id":7,"name":"Ann"}
//     kvt_JSONString("abc"_ns);                // JSON Parse Error: The data couldn’t be read because … Unexpected …
//     kvt_JSONString(NSNumber(7));             // JSON Parse Error: unsupported unsupported
//
// Thread rule: as for the object.
#pragma once

#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/id.h>

namespace kvt {

/// Compact JSON text of an array or dictionary, or of the array or dictionary that text or bytes (`NSData`) are the
/// JSON of. Always a text (for nil: nil): what cannot be written gives the line "JSON Parse Error: WHAT WHERE", with
/// the reader's or writer's own description and, behind it, its NSDebugDescription; "unsupported" stands for a part
/// that there is none of, and for both of an object of any other class. Raises never: of a collection that JSON has no
/// form for, WHAT is the writer's reason.
KVT_EXPORT NSString kvt_JSONString(const id& object);

}  // namespace kvt
