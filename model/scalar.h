// An argument that takes a value of any simple type and is used as text.
//
// Lifetime: refers to the text that it was made from; for use as a parameter, not for keeping.
// Threading: none of its own.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "model/boolean.h"

namespace kelvane {

class Scalar {
 public:
  Scalar() = default;
  Scalar(std::u16string_view text) : value_(text) {}
  Scalar(const std::u16string& text) : value_(std::u16string_view(text)) {}
  Scalar(const char16_t* text) : value_(std::u16string_view(text)) {}
  Scalar(std::int16_t number) : value_(std::int64_t{number}) {}
  Scalar(std::int32_t number) : value_(std::int64_t{number}) {}
  Scalar(Boolean flag) : value_(flag) {}
  Scalar(std::same_as<bool> auto flag) : value_(Boolean(flag)) {}

  // Text as it is, numbers as decimal digits, Booleans as "True" or "False".
  std::u16string text() const;

 private:
  std::variant<std::u16string_view, std::int64_t, Boolean> value_;
};

}  // namespace kelvane
