// What a client asks for when it logs in.
//
// Plain values.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kelvane::tds {

struct Login {
  std::string user;
  std::string password;
  std::string host;
  std::string process;
  std::string application;
  std::string characterSet;    ///< empty: the server's
  std::size_t packetSize = 0;  ///< 0: the server's
  std::string capabilities;    ///< as they came; may be empty
};

/// None for a record that is too short, or of another version than 5.0.
std::optional<Login> readLogin(std::string_view record);

}  // namespace kelvane::tds
