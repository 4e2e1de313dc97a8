// The databases that a command works on.
//
// Lifetime: a side owns all that its connection needs. Threading: one thread for each side; several
// sides may be opened and used at the same time.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ado/ado.h"
#include "cli/console.h"
#include "drivers/embedded/options.h"

namespace kelvane::cli {

class Side {
 public:
  virtual ~Side() = default;
  virtual ado::Connection& connection() = 0;
  // False when something that belongs to the side is not in it; the user has been told.
  virtual bool isComplete() const { return true; }
};

// How scripts become a database.
struct LoadSettings {
  bool keepGoing = false;  // past statements that fail
  bool verbose = false;    // tell what was accepted and ignored, and the like
  embedded::CatalogOptions catalog;
};

// Opens the side that the user calls by these names, at least one. Throws CommandError.
using OpenSide = std::function<std::unique_ptr<Side>(
    const std::vector<std::string>& places, const LoadSettings& settings, const Console& console)>;

// Runs T-SQL script files and folders of them, in this order, on one empty embedded database.
// Throws CommandError for a file that cannot be read and, unless it is to keep going, for the first
// statement that fails.
std::unique_ptr<Side> openScripts(const std::vector<std::string>& places,
                                  const LoadSettings& settings, const Console& console);

}  // namespace kelvane::cli
