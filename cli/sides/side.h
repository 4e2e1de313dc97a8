// The databases that a command works on.
//
// Lifetime: a side owns all that its connection needs. Threading: one thread for each side, but for
// cancel(); several sides may be opened and used at the same time.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ado/ado.h"
#include "cli/screen/console.h"
#include "cli/words/place.h"
#include "drivers/embedded/made_object.h"

namespace kelvane::cli {

struct ViewWithoutColumns {
  std::string view;  // with its owner
  std::string reason;
};

class Side {
 public:
  virtual ~Side() = default;
  virtual ado::Connection& connection() = 0;
  // False when something that belongs to the side is not in it; the user has been told.
  virtual bool isComplete() const { return true; }
  // Whether the embedded catalog answers, and not a server.
  virtual bool isEmbedded() const { return false; }
  // Views whose columns nobody knows.
  virtual std::vector<ViewWithoutColumns> viewsWithoutColumns() const { return {}; }
  // Where its scripts made objects, where LoadSettings asked for it.
  virtual std::vector<embedded::MadeObject> made() const { return {}; }
  // Ends the statement that is under way, where that is possible. Any thread may call it.
  virtual void cancel() noexcept {}
};

// Scripts run, in their order, on one empty embedded database; servers are logged in to.
std::unique_ptr<Side> openSide(const Place& place, const Console& console);

// Throws CommandError for a file that cannot be read and, unless it is to keep going, for the first
// statement that fails.
std::unique_ptr<Side> openScripts(const ScriptPlace& place, const Console& console);

// Throws CommandError when the login fails or leads to another database than the one asked for.
std::unique_ptr<Side> openServer(const ServerPlace& place);

}  // namespace kelvane::cli
