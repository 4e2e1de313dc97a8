// Environment variables.
//
// Lifetime and threading: a free function; one thread, as the environment itself.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace kelvane::cli {

inline std::optional<std::string> variable(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  return value ? std::optional<std::string>(value) : std::nullopt;
}

}  // namespace kelvane::cli
