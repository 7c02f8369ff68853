// Errors of file operations, as the platform words them; not installed.
//
//     if (fd < 0) return fail(fileError(FileOperation::kRead, errno, path));
#pragma once

#include "NSError.h"

namespace kvt {

enum class FileOperation { kRead, kWrite };

/// An error of NSCocoaErrorDomain whose code follows from the system's error number, with the path under
/// NSFilePathErrorKey and the system's own error under NSUnderlyingErrorKey.
KVT_EXPORT NSError fileError(FileOperation operation, int errorNumber, const NSString& path);

}  // namespace kvt
