// Weak references: a cell that knows an object without keeping it alive, and answers null once the object is going
// away.
//
// Client code uses `Weak<T>`; the functions here are what it and synthesized weak ivars are made of. One cell serves
// all weak references to one object. Thread rule: everything may be called from any thread.
#pragma once

#include "Export.h"
#include "Object.h"

namespace kvt {

struct WeakCell;

/// The cell of an object, retained for the caller; null for null and for an object that is being destroyed. Immortal
/// objects have cells too.
KVT_EXPORT WeakCell* weak_cellOf(const Object* object);
KVT_EXPORT WeakCell* weak_retainCell(WeakCell* cell) noexcept;
KVT_EXPORT void weak_releaseCell(WeakCell* cell) noexcept;
/// The object with a reference for the caller, or null. Takes a lock for a few instructions.
KVT_EXPORT Object* weak_load(WeakCell* cell) noexcept;

}  // namespace kvt
