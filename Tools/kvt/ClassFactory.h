// Builds the planned classes at run time: no C++ type stands behind them.
#pragma once

#include "Plan.h"

namespace kvt::tool {

/// Allocates every class of the plan, gives it its properties and hooks, registers it and stores it in the plan. The
/// hooks read the plan, which must live as long as the classes are used.
void buildClasses(Plan& plan);

}  // namespace kvt::tool
