#include "report/collected_words.h"

#include "report/visible_text.h"

namespace kelvane::report {

std::string titleOf(const ObjectName& object) {
  const std::string word(rowOf(object.kind).singular);
  return object.kind == inventory::Kind::database ? word : word + " " + object.name;
}

DifferencesByObject byObject(const ComparedTarget& target) {
  DifferencesByObject objects;
  for (const Difference& one : target.differences) objects[one.object].push_back(&one);
  return objects;
}

std::string counted(std::size_t count, std::string_view one) {
  return std::to_string(count) + " " + std::string(one) + (count == 1 ? "" : "s");
}

std::map<ObjectName, std::string> signsByObject(
    std::span<const ComparedTarget> targets, const std::vector<std::vector<std::size_t>>& groups) {
  constexpr std::string_view kSigns = "-+~";  // in the order of Difference::Side
  std::map<ObjectName, std::string> rows;
  for (std::size_t group = 0; group < groups.size(); ++group) {
    for (const Difference& one : targets[groups[group].front()].differences) {
      std::string& signs = rows[one.object];
      signs.resize(groups.size(), ' ');
      signs[group] = kSigns[static_cast<std::size_t>(one.side)];
    }
  }
  return rows;
}

std::string resultOf(const ComparedTarget& target) {
  switch (target.outcome) {
    case Outcome::equal:
      return "equal";
    case Outcome::differs:
      return counted(target.differences.size(), "difference");
    case Outcome::unread:
      return "could not be read";
    case Outcome::notBegun:
      break;
  }
  return "not begun";
}

std::string markupText(std::string_view utf8) {
  const std::string shown = showMessage(utf8);
  std::string text;
  text.reserve(shown.size());
  for (std::size_t at = 0; at < shown.size(); ++at) {
    const char c = shown[at];
    // U+FFFE and U+FFFF, which XML has no way to write.
    const std::string_view three = std::string_view(shown).substr(at, 3);
    if (three == "\xEF\xBF\xBE" || three == "\xEF\xBF\xBF") {
      text += three.back() == '\xBE' ? "\\uFFFE" : "\\uFFFF";
      at += 2;
    } else if (c == '<') {
      text += "&lt;";
    } else if (c == '>') {
      text += "&gt;";
    } else if (c == '&') {
      text += "&amp;";
    } else if (c == '"') {
      text += "&quot;";
    } else {
      text += c;
    }
  }
  return text;
}

}  // namespace kelvane::report
