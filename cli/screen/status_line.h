// The line on a terminal that tells what each side is at and is written over.
//
// Lifetime: the console outlives it; it clears the line when it goes. Threading: any.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "cli/screen/console.h"
#include "cli/screen/variable.h"

namespace kelvane::cli {

class StatusLine {
 public:
  // Nothing is shown where standard error is no terminal, or one that cannot clear a line.
  explicit StatusLine(const Console& console)
      : console_(console), isShown_(console.errIsTerminal && variable("TERM") != "dumb") {}
  ~StatusLine();
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  bool isShown() const { return isShown_; }
  // What the side is at from now on; an empty text: nothing more. What cannot be seen is shown by
  // escapes.
  void show(std::string_view side, std::u16string text);
  // A complaint while it is shown.
  void complain(std::string_view text);
  // The same for whole lines as they are.
  void write(std::string_view lines);

 private:
  std::size_t width() const;

  const Console& console_;
  bool isShown_;
  std::mutex mutex_;
  std::map<std::string, std::u16string, std::less<>> texts_;
};

}  // namespace kelvane::cli
