// How the run time raises: it knows no exception class, so the floor above installs what throws.
#pragma once

#include <string>

#include "Export.h"

namespace kvt {

/// Raises a platform exception of that name ("NSInvalidArgumentException", …) and reason.
[[noreturn]] KVT_EXPORT void objc_raise(const char* name, const std::string& reason);

using RaiseHandler = void (*)(const char* name, const std::string& reason);
/// Installs what throws; it must not return. Called once, by the values' floor.
KVT_EXPORT void objc_setRaiseHandler(RaiseHandler handler) noexcept;

/// One line on standard error for a mistake of a program that cannot be reported otherwise ("KVT: …").
KVT_EXPORT void objc_warn(const std::string& message) noexcept;

}  // namespace kvt
