#include "drivers/embedded/catalog/name_text.h"

#include <algorithm>

#include "drivers/embedded/tsql/scan.h"

namespace kelvane::embedded {

namespace {

// Where the part that begins at `at` ends.
std::size_t endOfPart(std::string_view text, std::size_t at, bool quotes) {
  if (quotes && text.substr(at, 1) == "\"") {
    const std::size_t end = tsql::endOfQuoted(text, at, '"');
    if (end != tsql::kUnclosed) at = end;
  }
  return std::min(text.find('.', at), text.size());
}

std::string unquoted(std::string_view part, bool quotes) {
  while (part.ends_with(' ')) part.remove_suffix(1);
  const bool isQuoted = quotes && part.size() > 2 && part.starts_with('"') && part.ends_with('"');
  if (!isQuoted) return std::string(part);
  std::string name;
  for (std::size_t i = 1; i + 1 < part.size(); ++i) {
    name += part[i];
    if (part[i] == '"') ++i;
  }
  return name;
}

}  // namespace

std::vector<std::string> nameParts(std::string_view text, bool quotes) {
  std::vector<std::string> parts;
  for (std::size_t at = 0;;) {
    const std::size_t end = endOfPart(text, at, quotes);
    parts.push_back(unquoted(text.substr(at, end - at), quotes));
    if (end == text.size()) return parts;
    at = end + 1;
  }
}

std::pair<std::string_view, std::string_view> splitAtLastDot(std::string_view text, bool quotes) {
  std::size_t last = std::string_view::npos;
  for (std::size_t end = endOfPart(text, 0, quotes); end != text.size();
       end = endOfPart(text, end + 1, quotes)) {
    last = end;
  }
  if (last == std::string_view::npos) return {{}, text};
  return {text.substr(0, last), text.substr(last + 1)};
}

std::string lastName(std::string_view text, bool quotes) { return nameParts(text, quotes).back(); }

}  // namespace kelvane::embedded
