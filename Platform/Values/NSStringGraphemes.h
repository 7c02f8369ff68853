// Extended grapheme clusters by Unicode's rules (UAX 29), from any place of a text and in either direction; not
// installed. CR LF counts as two, as it does for composed character sequences.
#pragma once

#include "NSStringFolding.h"

namespace kvt::text {

/// The cluster that begins at `start` (a cluster's start): where it ends, at most `end`.
std::size_t clusterEnd(const Units& units, std::size_t start, std::size_t end);
/// The start of the cluster that holds the unit `index`.
std::size_t clusterStart(const Units& units, std::size_t index, std::size_t length);

}  // namespace kvt::text
