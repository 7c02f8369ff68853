// Converting one JSON value into one property; not installed. Lenient by design: text becomes numbers, numbers become
// text, dates are read from nine textual forms, nested dictionaries become nested models. What cannot be converted
// leaves the property as it is, except where a rule sets it to none or zero.
#pragma once

#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSNumber.h>

#include "ModelMeta.h"

namespace kvt {

/// Any value as a number; nil when it is none. Text is looked up among the boolean and null words, then read by its
/// numeric prefix: "12px" is 12 and "abc" is 0.
KVT_EXPORT NSNumber KVTNSNumberCreateFromID(const id& value);

/// Reads a date by the form that its length implies; nil for every other text.
KVT_EXPORT NSDate KVTNSDateFromString(const NSString& string);

/// The topmost class of all blocks, just below the root.
KVT_EXPORT Class KVTNSBlockClass();

/// Sets the property from the value. Only for metas that have a setter.
KVT_EXPORT void ModelSetValueForProperty(const id& model, const id& value, const _KVTModelPropertyMeta& meta);

/// Sets a property of a C number, converting as its type needs; nil counts as zero.
KVT_EXPORT void ModelSetNumberForProperty(const id& model, const NSNumber& number, const _KVTModelPropertyMeta& meta);

}  // namespace kvt
