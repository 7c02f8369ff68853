// What happens when the last reference to an object goes; not installed.
#pragma once

#include "Object.h"

namespace kvt {

/// Makes every weak reference to the object answer null.
void weak_clear(const Object* object) noexcept;
/// Releases what the ivars of classes built at run time hold.
void releaseSynthesizedIvars(Object* object) noexcept;

}  // namespace kvt
