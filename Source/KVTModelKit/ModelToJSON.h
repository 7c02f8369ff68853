// Model objects as JSON-ready values; not installed.
#pragma once

#include "ModelMeta.h"

namespace kvt {

/// A property's value as JSON has it; nil where it is left out. `isCircular`: it contains itself, and has no JSON.
id ModelPropertyToJSON(const id& object, const _KVTModelPropertyMeta& meta, bool& isCircular);

}  // namespace kvt
