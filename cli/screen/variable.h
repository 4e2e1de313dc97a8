// Environment variables.
//
// Lifetime and threading: a free function; one thread, as the environment itself.
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

namespace kelvane::cli {

// What the names of the command's own variables begin with.
inline constexpr std::string_view kVariablePrefix = "KELVANE_";
// What follows where one holds a password, that of the source for example.
inline constexpr std::array<std::string_view, 4> kPasswordVariables{
    "PASSWORD", "SIDE_PASSWORD", "SOURCE_PASSWORD", "TARGET_PASSWORD"};

inline std::optional<std::string> variable(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  return value ? std::optional<std::string>(value) : std::nullopt;
}

}  // namespace kelvane::cli
