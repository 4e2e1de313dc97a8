// The 16-bit Boolean of the published interface.
//
// Lifetime and threading: a plain value.
#pragma once

#include <concepts>
#include <cstdint>

namespace kelvane {

// True is -1 (all bits set) and False is 0. Automation hosts may hand over any other number; such a
// value is true where a condition is asked for, and is kept as it came.
class Boolean {
 public:
  constexpr Boolean() = default;
  constexpr Boolean(std::same_as<bool> auto value)
      : raw_(value ? std::int16_t{-1} : std::int16_t{0}) {}
  static constexpr Boolean fromRaw(std::int16_t raw) {
    Boolean result;
    result.raw_ = raw;
    return result;
  }

  constexpr operator bool() const { return raw_ != 0; }
  constexpr std::int16_t raw() const { return raw_; }
  constexpr bool isTrue() const { return raw_ == -1; }

  friend constexpr bool operator==(Boolean a, Boolean b) = default;

 private:
  std::int16_t raw_ = 0;
};

inline constexpr Boolean True{true};
inline constexpr Boolean False{false};

}  // namespace kelvane
