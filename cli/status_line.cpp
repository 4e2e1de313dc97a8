#include "cli/status_line.h"

#include <algorithm>

#include "model/text.h"

namespace kelvane::cli {

namespace {

constexpr std::string_view kClear = "\r\033[K";

}  // namespace

StatusLine::~StatusLine() {
  if (isShown() && !texts_.empty()) console_.err << kClear << std::flush;
}

void StatusLine::show(std::string_view side, std::u16string text) {
  constexpr std::size_t kWidth = 76;
  if (!isShown()) return;
  std::ranges::replace_if(
      text, [](char16_t unit) { return unit < 0x20 || unit == 0x7F; }, u'?');
  const std::lock_guard lock(mutex_);
  texts_.insert_or_assign(std::string(side), std::move(text));
  std::u16string line;
  for (const auto& [name, status] : texts_) {
    if (status.empty()) continue;
    std::u16string part = toUtf16(name) + u": " + status;
    part.resize(std::min(part.size(), kWidth / texts_.size() - 2));
    line += (line.empty() ? u"" : u"  ") + part;
  }
  console_.err << kClear << toUtf8(line) << std::flush;
}

void StatusLine::complain(std::string_view text) {
  const std::lock_guard lock(mutex_);
  if (isShown()) console_.err << kClear;
  console_.complain(text);
  console_.err << std::flush;
}

}  // namespace kelvane::cli
