// A stable sort that stays within its bounds however the comparison behaves; not installed. (The standard library's may
// leave them when a comparison contradicts itself, and comparisons here are a client's code.)
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace kvt {

/// Sorts by `ascending(a, b)`: whether `a` may stand before `b`, as equal ones may. O(n log n) calls.
template <class T, class Ascending>
void mergeSort(std::vector<T>& values, const Ascending& ascending) {
  const std::size_t count = values.size();
  constexpr std::size_t kRun = 8;
  for (std::size_t start = 0; start < count; start += kRun) {
    const std::size_t end = std::min(start + kRun, count);
    for (std::size_t i = start + 1; i < end; ++i) {
      for (std::size_t j = i; j > start && !ascending(values[j - 1], values[j]); --j)
        std::swap(values[j - 1], values[j]);
    }
  }
  if (count <= kRun) return;
  std::vector<T> merged(count);
  for (std::size_t width = kRun; width < count; width *= 2) {
    for (std::size_t start = 0; start < count; start += 2 * width) {
      const std::size_t middle = std::min(start + width, count);
      const std::size_t end = std::min(middle + width, count);
      std::size_t left = start, right = middle;
      // Runs that are in order already need one comparison.
      const bool ordered = middle == end || ascending(values[middle - 1], values[middle]);
      for (std::size_t out = start; out < end; ++out) {
        const bool takeLeft = left < middle && (ordered || right >= end || ascending(values[left], values[right]));
        merged[out] = std::move(takeLeft ? values[left++] : values[right++]);
      }
    }
    values.swap(merged);
  }
}

}  // namespace kvt
