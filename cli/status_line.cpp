#include "cli/status_line.h"

#include <algorithm>
#include <sstream>

#include "model/text.h"
#include "report/visible_text.h"

namespace kelvane::cli {

namespace {

constexpr std::string_view kClear = "\r\033[K";
constexpr std::size_t kWidth = 76;

// The name at its end tells that something moves.
std::u16string fitted(const std::u16string& text, std::size_t width) {
  constexpr std::u16string_view kLeftOut = u"...";
  if (text.size() <= width) return text;
  const std::size_t shown = width - std::min(width, kLeftOut.size()), begin = shown / 2;
  return text.substr(0, begin).append(kLeftOut).append(text.substr(text.size() - shown + begin));
}

}  // namespace

StatusLine::~StatusLine() {
  if (isShown() && !texts_.empty()) console_.err << kClear << std::flush;
}

void StatusLine::show(std::string_view side, std::u16string text) {
  if (!isShown()) return;
  text = toUtf16(report::showMessage(toUtf8(text)));
  const std::lock_guard lock(mutex_);
  texts_.insert_or_assign(std::string(side), std::move(text));
  std::u16string line;
  for (const auto& [name, status] : texts_) {
    if (status.empty()) continue;
    const std::u16string title = toUtf16(name) + u": ";
    line += (line.empty() ? u"" : u"  ") + title +
            fitted(status, kWidth / texts_.size() - 2 - title.size());
  }
  console_.err << kClear << toUtf8(line) << std::flush;
}

void StatusLine::complain(std::string_view text) {
  std::ostringstream line;
  Console{line, line}.complain(text);
  write(line.view());
}

void StatusLine::write(std::string_view lines) {
  const std::lock_guard lock(mutex_);
  if (isShown()) console_.err << kClear;
  console_.err << lines << std::flush;
}

}  // namespace kelvane::cli
