// The text of a value or model for logs; not installed.
#pragma once

#include <KVTPlatform/Values/NSMutableString.h>

namespace kvt {

/// One line for simple values, an indented block for collections and models. What contains itself, and what is nested
/// more than 512 levels deep, is shown there without its content: "[...]", "{...}", or a model's first line.
KVT_EXPORT NSString ModelDescription(const id& value);

/// Inserts four spaces after each line feed, a trailing one included. The text is changed in place.
KVT_EXPORT void ModelDescriptionAddIndent(const NSMutableString& text);

}  // namespace kvt
