// From JSON text into models without a tree in between; not installed.
//
// The answer is the plain way's in every respect, or none: where it cannot be, the reader says so and the caller takes
// the plain way from the start. The reader fills new objects only, and drops them when the text turns out malformed.
#pragma once

#include <string_view>

#include <KVTPlatform/Values/id.h>

#include "DirectPlan.h"

namespace kvt::direct {

enum class Outcome {
  kDone,     // the result is the plain way's; nil for malformed text
  kUnusual,  // take the plain way
};

/// `kvt_modelWithJSON:` of a UTF-8 text.
Outcome readModel(Class cls, std::string_view utf8, bool knownUTF8, id& result);
/// `kvt_modelArrayWithClass:json:` of a UTF-8 text.
Outcome readModels(Class cls, std::string_view utf8, bool knownUTF8, id& result);

/// How values of that kind are passed.
PassValue passOf(Kind kind) noexcept;

}  // namespace kvt::direct
