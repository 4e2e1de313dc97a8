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

std::string resultOf(const ComparedTarget& target) {
  switch (target.outcome) {
    case Outcome::equal:
      return "equal";
    case Outcome::differs:
      return std::to_string(target.differences.size()) +
             (target.differences.size() == 1 ? " difference" : " differences");
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
