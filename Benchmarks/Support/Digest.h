// A number that depends on every value of an object graph and on their order. All peers must come to the same one.
#pragma once

#include <cstdint>
#include <string_view>
#include <type_traits>

namespace bench {

class Digest {
 public:
  void text(std::string_view bytes) {
    for (const char each : bytes) mix(static_cast<unsigned char>(each));
    mix(bytes.size());
  }
  template <class T>
  requires std::is_integral_v<T>
  void number(T value) { mix(static_cast<std::uint64_t>(static_cast<std::int64_t>(value))); }
  void number(double value) { number(static_cast<std::int64_t>(value * 1e6)); }

  std::uint64_t value() const { return value_; }

 private:
  void mix(std::uint64_t value) { value_ = (value_ ^ value) * 1099511628211u; }
  std::uint64_t value_ = 1469598103934665603u;
};

}  // namespace bench
