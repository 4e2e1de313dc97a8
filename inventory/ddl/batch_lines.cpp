#include "inventory/ddl/batch_lines.h"

#include <algorithm>
#include <array>
#include <string>

namespace kelvane::inventory {
namespace {

constexpr auto kHeadings = std::to_array<std::string_view>({
    "-- Phase: settings",
    "-- Phase: users",
    "-- Phase: types",
    "-- Phase: tables",
    "-- Phase: indexes",
    "-- Phase: keys",
    "-- Phase: bindings",
    "-- Phase: views and procedures",
    "-- Phase: triggers",
    "-- Phase: permissions",
    "-- Phase: endings",
    "-- Phase: closing",
});
static_assert(kHeadings.size() == static_cast<std::size_t>(Phase::closing) + 1);

constexpr bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

std::string_view withoutBlanks(std::string_view line) {
  while (!line.empty() && isBlank(line.front())) line.remove_prefix(1);
  while (!line.empty() && isBlank(line.back())) line.remove_suffix(1);
  return line;
}

}  // namespace

std::string_view lineAt(std::string_view text, std::size_t begin) {
  std::string_view line = text.substr(begin, text.find('\n', begin) - begin);
  while (!line.empty() && isBlank(line.back())) line.remove_suffix(1);
  return line;
}

std::size_t nextLine(std::string_view text, std::size_t begin) {
  return std::min(text.find('\n', begin), text.size() - 1) + 1;
}

bool isBatchEnd(std::string_view line) {
  line = withoutBlanks(line);
  if (line.size() < 2 || (line[0] | 0x20) != 'g' || (line[1] | 0x20) != 'o') return false;
  return std::ranges::all_of(line.substr(2),
                             [](char c) { return isBlank(c) || (c >= '0' && c <= '9'); });
}

bool isCommand(std::string_view line) {
  static constexpr std::array<std::string_view, 3> kWords{"exit", "quit", "reset"};
  line = withoutBlanks(line);
  std::string word(line.substr(0, std::min(line.size(), kWords.back().size() + 1)));
  for (char& c : word) c = static_cast<char>(c | 0x20);
  return isBatchEnd(line) || std::ranges::find(kWords, word) != kWords.end() ||
         line.starts_with(":r") || line.starts_with("!!");
}

bool hasCommand(std::string_view text) {
  for (std::size_t at = 0; at < text.size(); at = nextLine(text, at)) {
    if (isCommand(lineAt(text, at))) return true;
  }
  return false;
}

std::string_view headingOf(Phase phase) { return kHeadings[static_cast<std::size_t>(phase)]; }

std::optional<Phase> phaseOfHeading(std::string_view line) {
  const auto* const found = std::ranges::find(kHeadings, line);
  if (found == kHeadings.end()) return std::nullopt;
  return static_cast<Phase>(found - kHeadings.begin());
}

Phase usualPhase(Kind kind) {
  switch (kind) {
    case Kind::table:
      return Phase::tables;
    case Kind::view:
    case Kind::procedure:
    case Kind::function:
      return Phase::compiled;
    case Kind::rule:
    case Kind::defaultObject:
    case Kind::type:
    case Kind::encryptionKey:
      return Phase::values;
    case Kind::user:
    case Kind::alias:
    case Kind::group:
      return Phase::principals;
    default:
      return Phase::settings;
  }
}

}  // namespace kelvane::inventory
