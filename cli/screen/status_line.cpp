#include "cli/screen/status_line.h"

#include <algorithm>
#include <sstream>

#include "model/text.h"
#include "report/visible_text.h"

namespace kelvane::cli {

namespace {

constexpr std::string_view kClear = "\r\033[K";
constexpr std::size_t kMostColumns = 76;

bool isHalf(char16_t unit) { return (unit & 0xF800) == 0xD800; }

// Of a terminal: not fewer than the text takes, which is two for letters of the East.
std::size_t columnsOf(char16_t unit) { return unit >= 0x1100 && !isHalf(unit) ? 2 : 1; }

std::size_t columnsOf(std::u16string_view text) {
  std::size_t columns = 0;
  for (const char16_t unit : text) columns += columnsOf(unit);
  return columns;
}

// As much of the text as fits, from its beginning or its end, without half a character.
template <class Iterator>
std::u16string fittingFrom(Iterator at, Iterator end, std::size_t columns) {
  std::u16string result;
  for (; at != end && columnsOf(*at) <= columns; ++at) {
    columns -= columnsOf(*at);
    result += *at;
  }
  if (std::ranges::count_if(result, isHalf) % 2 != 0 && isHalf(result.back())) result.pop_back();
  return result;
}

// The name at its end tells that something moves.
std::u16string fitted(const std::u16string& text, std::size_t columns) {
  constexpr std::u16string_view kLeftOut = u"...";
  if (columnsOf(text) <= columns) return text;
  const std::size_t shown = columns - std::min(columns, kLeftOut.size()), begin = shown / 2;
  std::u16string end = fittingFrom(text.rbegin(), text.rend(), shown - begin);
  std::ranges::reverse(end);
  return fittingFrom(text.begin(), text.end(), begin)
      .append(kLeftOut.substr(0, columns))
      .append(end);
}

}  // namespace

StatusLine::~StatusLine() {
  if (isShown() && !texts_.empty()) console_.err << kClear << std::flush;
}

// What reaches the last column may go on in the next line, which nothing clears.
std::size_t StatusLine::width() const {
  const std::size_t columns = console_.errColumns ? console_.errColumns() : 0;
  return columns == 0 ? kMostColumns : std::min(columns - 1, kMostColumns);
}

void StatusLine::show(std::string_view side, std::u16string text) {
  if (!isShown()) return;
  text = toUtf16(report::showMessage(toUtf8(text)));
  const std::lock_guard lock(mutex_);
  texts_.insert_or_assign(std::string(side), std::move(text));
  constexpr std::u16string_view kBetween = u"  ";
  const std::size_t all = width(), each = all / texts_.size();
  std::u16string line;
  for (const auto& [name, status] : texts_) {
    if (status.empty()) continue;
    const std::u16string title = toUtf16(name) + u": ";
    const std::size_t taken = std::min(each, kBetween.size() + title.size());
    line.append(line.empty() ? u"" : kBetween).append(title).append(fitted(status, each - taken));
  }
  line = fittingFrom(line.begin(), line.end(), all);
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
