// From models to JSON text without a tree in between; not installed.
//
// As with reading, the answer is the plain way's or none.
#pragma once

#include <KVTPlatform/Values/JSONWriter.h>

#include "DirectReader.h"

namespace kvt::direct {

/// Appends the text of a model, or of an array of models. kUnusual: what was appended is void, take the plain way.
Outcome write(const id& object, JSONWriter& out);

}  // namespace kvt::direct
