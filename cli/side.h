// The databases that a command works on.
//
// Lifetime: a side owns all that its connection needs. Threading: one thread for each side.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "ado/ado.h"
#include "cli/console.h"

namespace kelvane::cli {

class Side {
 public:
  virtual ~Side() = default;
  virtual ado::Connection& connection() = 0;
};

// Opens the side that the user calls `place`. Throws CommandError.
using OpenSide = std::function<std::unique_ptr<Side>(const std::string& place)>;

// Runs a T-SQL script file on an empty embedded database. Throws CommandError, with a line for each
// statement that failed.
std::unique_ptr<Side> openScript(const std::string& path);

}  // namespace kelvane::cli
