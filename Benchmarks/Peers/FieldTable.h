// Which member a key belongs to, as fast as a mapping written by hand can find it: first the member that is likely,
// then the one that a perfect hash names, which the compiler makes of the names.
//
//     std::size_t next = 0;
//     for (auto [key, value] : fields)
//       next = FieldTable<User>::visit(user, key, next, [&](auto& member) { member = value; });
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "Peers/Models.h"

namespace peers {

template <Model T>
class FieldTable {
  static constexpr std::size_t kCount = std::tuple_size_v<decltype(T::fields())>;
  static constexpr auto kNames =
      std::apply([](const auto&... each) { return std::array<std::string_view, kCount>{each.name...}; }, fieldsOf<T>);

 public:
  /// Calls `use(member)` with the member of that name, if there is one. `likely` is its number, probably; the result is
  /// the number of the one that comes behind it.
  template <class F>
  static std::size_t visit(T& object, std::string_view key, std::size_t likely, F use) {
    if (likely < kCount && visitors<F>[likely](object, key, use)) return likely + 1;
    if (key.empty()) return likely;
    const std::size_t found = kTable.slots[hash(key, kTable.factor)];
    return found < kCount && visitors<F>[found](object, key, use) ? found + 1 : likely;
  }

 private:
  template <class F, std::size_t I>
  static bool visitMember(T& object, std::string_view key, F& use) {
    constexpr std::string_view name = kNames[I];
    if (key.size() != name.size() || std::memcmp(key.data(), name.data(), name.size()) != 0) return false;
    use(object.*std::get<I>(fieldsOf<T>).member);
    return true;
  }
  template <class F>
  static constexpr auto visitors = []<std::size_t... I>(std::index_sequence<I...>) {
    return std::array<bool (*)(T&, std::string_view, F&), kCount>{&visitMember<F, I>...};
  }
  (std::make_index_sequence<kCount>());

  static constexpr std::size_t kBits = kCount > 64 ? 11 : kCount > 16 ? 9 : 7;
  struct Table {
    std::uint64_t factor = 0;
    std::array<std::uint8_t, (std::size_t{1} << kBits)> slots{};
  };

  template <std::size_t Size>
  static constexpr std::uint64_t load(const char* bytes) {
    std::uint64_t value = 0;
    if (std::is_constant_evaluated()) {
      for (std::size_t i = 0; i < Size; ++i) {
        value |= static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
      }
    } else {
      std::memcpy(&value, bytes, Size);
    }
    return value;
  }
  static constexpr std::size_t hash(std::string_view key, std::uint64_t factor) {
    const char* const bytes = key.data();
    const std::size_t size = key.size();
    std::uint64_t mixed = static_cast<std::uint64_t>(size) << 55;
    if (size >= 8) {
      mixed ^= load<8>(bytes) ^ (load<4>(bytes + size - 4) << 20);
    } else if (size >= 4) {
      mixed ^= load<4>(bytes) ^ (load<4>(bytes + size - 4) << 20);
    } else {
      mixed ^= load<1>(bytes) ^ (load<1>(bytes + size / 2) << 8) ^ (load<1>(bytes + size - 1) << 16);
    }
    return static_cast<std::size_t>((mixed * factor) >> (64 - kBits));
  }
  static constexpr Table make() {
    static_assert(kCount < 255);
    for (std::uint64_t factor = 0xD6E8FEB86659FD93u;; factor = factor * 6364136223846793005u + 1442695040888963407u) {
      Table table{factor | 1, {}};
      table.slots.fill(255);
      bool perfect = true;
      for (std::size_t i = 0; i < kCount && perfect; ++i) {
        std::uint8_t& slot = table.slots[hash(kNames[i], table.factor)];
        perfect = slot == 255;
        slot = static_cast<std::uint8_t>(i);
      }
      if (perfect) return table;
    }
  }
  static constexpr Table kTable = make();
};

}  // namespace peers
