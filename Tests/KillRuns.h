// How many processes the tests kill that look at what a killed process leaves.
#pragma once

#include <KVTPlatform/Runtime/ObjectMemory.h>

namespace kvt {

#ifdef KVT_SANITIZED
inline constexpr int kKillRuns = 50;  // they start so slowly that more would be most of a run's time
#else
inline constexpr int kKillRuns = 200;
#endif

}  // namespace kvt
