// Where a debugger finds what values hold; not installed. Bodies are private and the library is shipped without debug
// information, so the offsets stand in the library's read-only data, where Tools/gdb/kvt_gdb.py looks them up.
#pragma once

#include <cstdint>

#include <KVTPlatform/Runtime/Export.h>

namespace kvt {

/// "Struct.field" and its offset in bytes. No pointer in it: it can be read before the program has started.
struct DebuggerField {
  char name[28];
  std::int32_t offset;
};

/// Ends with an empty name.
KVT_EXPORT extern const DebuggerField debuggerLayout[];

}  // namespace kvt
