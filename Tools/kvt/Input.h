// The input file, or standard input.
#pragma once

#include <string>
#include <string_view>

#include <KVTPlatform/Values/NSData.h>

namespace kvt::tool {

class Progress;

/// How messages call the input: the path, or "standard input" for "-".
std::string inputName(std::string_view path);

/// All bytes. Raises a no-input failure that says why they cannot be had.
NSData readInput(std::string_view path, Progress& progress);

/// The parsed document, an NSArray or NSDictionary. Raises a bad-data failure that names line, column and what is wrong
/// there.
id parseDocument(const NSData& bytes, std::string_view name);

}  // namespace kvt::tool
