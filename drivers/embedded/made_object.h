// Where a script made an object.
//
// Plain values.
#pragma once

#include <cstdint>
#include <string>

namespace kelvane::embedded {

/// Where a script made something: an object with a row in `sysobjects`, not a part of one.
struct MadeObject {
  std::string database;
  std::string type;  ///< as in `sysobjects`, without blanks: `U`, `V`, `P`, ...
  std::string name;  ///< `owner.name`
  std::string file;
  std::uint32_t line = 0;  ///< from 1, of the statement
};

}  // namespace kelvane::embedded
