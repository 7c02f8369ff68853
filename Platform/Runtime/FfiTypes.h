// Type encodings as libffi types; not installed.
#pragma once

#include <ffi.h>

#include <string_view>

namespace kvt {

/// The libffi type that values of this encoding travel as; null when there is none. Types live for the process.
ffi_type* ffiTypeOf(std::string_view encoding);

}  // namespace kvt
