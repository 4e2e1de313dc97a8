#include "cli/screen/console.h"

#include "report/visible_text.h"

namespace kelvane::cli {

void Console::complain(std::string_view text) const {
  err << "kelvane: " << report::showMessage(text) << '\n';
}

}  // namespace kelvane::cli
