// Work on one or two sides at the same time, and what the user hears of each.
//
// Lifetime: what is referred to outlives the call. Threading: one thread calls; the work on the
// second side runs in another one.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <future>
#include <ostream>
#include <sstream>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "cli/screen/console.h"
#include "cli/screen/figures.h"
#include "cli/screen/status_line.h"
#include "cli/sides/reading.h"
#include "cli/words/place.h"

namespace kelvane::cli {

enum class Pace { Together, InTurn };

// Does the same for each side, where it can at the same time. What they complain about is told one
// side after the other; when both fail, it is the first that fails.
template <class Work>
auto forEachSide(std::size_t count, Pace pace, StatusLine& line, Work work) {
  using Result = std::invoke_result_t<Work, std::size_t, std::ostream&>;
  std::array<std::ostringstream, 2> complaints;
  std::future<Result> second;
  if (count > 1)
    second = std::async(pace == Pace::Together ? std::launch::async : std::launch::deferred,
                        [&] { return work(1, complaints[1]); });
  std::vector<Result> results;
  std::size_t done = 0;
  const auto tell = [&] {
    for (std::size_t side = 0; side <= std::min(done, count - 1); ++side)
      line.write(complaints[side].view());
  };
  try {
    results.push_back(work(0, complaints[0]));
    ++done;
    if (count > 1) results.push_back(second.get());
  } catch (...) {
    tell();
    throw;
  }
  tell();
  return results;
}

// What the user hears of each side where much is to be told.
class Told {
 public:
  Told(const NamedPlace& place, const Console& console) : place_(place), console_(console) {}

  void opened() const {
    const bool server = std::holds_alternative<ServerPlace>(place_.place);
    tell(std::string(server ? "connected" : "loaded"));
  }
  // `objects`: "2 tables, 1 view"
  void read(const std::string& objects) const {
    tell("read " + (objects.empty() ? "no objects" : objects));
  }

 private:
  void tell(const std::string& what) const {
    if (isVerbose(place_.place))
      console_.complain(std::string(place_.name) + ": " + what + " in " + time_.text());
  }

  const NamedPlace& place_;
  const Console& console_;
  Stopwatch time_;
};

}  // namespace kelvane::cli
