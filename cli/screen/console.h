// Where a command talks to: standard output and standard error, or what a test puts in their place.
//
// Lifetime: the streams outlive it. Threading: one thread.
#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelvane::cli {

// What the process ends with.
enum ExitStatus : int {
  kNoDifference = 0,
  kDifferences = 1,
  kError = 2,
  kNotProven = 3,  // something could not be read: equality is not proven
  kConflicts = 4,  // of three ways: both sides changed the same thing, each in its own way
};

// What keeps a command from going on: each line is a complaint of its own (UTF-8).
class CommandError : public std::exception {
 public:
  explicit CommandError(std::vector<std::string> lines) : lines_(std::move(lines)) {}
  const std::vector<std::string>& lines() const { return lines_; }
  const char* what() const noexcept override { return lines_.front().c_str(); }

 private:
  std::vector<std::string> lines_;  // at least one
};

// How much a terminal shows; 0 where nobody knows.
struct ScreenSize {
  std::size_t lines = 0, columns = 0;
};

struct Console {
  std::ostream& out;
  std::ostream& err;
  bool errIsTerminal = false;
  // Asks the user for something that nobody may see; none when there is nobody to ask.
  std::function<std::optional<std::string>(const std::string& question)> askSecret = {};
  bool outIsTerminal = false;
  // Shows what is being done; none where that is not shown.
  std::function<void(std::u16string status)> showStatus = {};
  // Whether whoever read what is written to `out` has had enough, as `head` does.
  std::function<bool()> outIsLeft = {};
  // How many columns the terminal of standard error has now; 0 where nobody knows.
  std::function<std::size_t()> errColumns = {};
  // What shows a text that has no room on the terminal of standard output, as a shell's command;
  // empty: nothing, it is written.
  std::string pager = {};
  // How much the terminal of standard output shows now.
  std::function<ScreenSize()> outSize = {};

  // A line of the command itself on standard error. What cannot be seen in `text` (UTF-8) is shown
  // by escapes, so that no name or server text can steer the terminal, break the line, or pass for
  // another one.
  void complain(std::string_view text) const;
  void complain(const CommandError& error) const {
    for (const std::string& line : error.lines()) complain(line);
  }
};

}  // namespace kelvane::cli
