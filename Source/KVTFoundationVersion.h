// The version of the library that a program runs with, which may be newer than the one it was compiled against.
//
//     if (KVTFoundationVersionNumber < 1.1) …                               // an older library is installed
//     std::puts(reinterpret_cast<const char*>(KVTFoundationVersionString)); // what `what(1)` finds in the file
//
// Both are constants of C linkage, set before any code runs.
#pragma once

#include <KVTPlatform/Runtime/Export.h>

extern "C" {

/// "@(#)PROGRAM:KVTFoundation  PROJECT:KVTFoundation-" followed by major.minor.patch and a newline; ends with NUL.
KVT_EXPORT extern const unsigned char KVTFoundationVersionString[];

/// The version as a number: 1.0 for 1.0.0 and for its patches, 1.2 for 1.2.x.
KVT_EXPORT extern const double KVTFoundationVersionNumber;
}
