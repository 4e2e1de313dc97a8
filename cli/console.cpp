#include "cli/console.h"

#include <algorithm>
#include <string>

namespace kelvane::cli {

void Console::complain(std::string_view text) const {
  std::string line(text);
  std::ranges::replace_if(
      line, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, '?');
  err << "kelvane: " << line << '\n';
}

}  // namespace kelvane::cli
