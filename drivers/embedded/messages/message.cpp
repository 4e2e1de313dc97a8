#include "drivers/embedded/messages/message.h"

#include <algorithm>
#include <utility>

namespace kelvane::message {

std::string filled(std::string_view text, std::span<const std::string> arguments) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto mark = text[at] == '%' ? text.find('!', at) : text.npos;
    if (mark != text.npos && mark > at + 1 && mark - at <= 3) {
      const std::string number(text.substr(at + 1, mark - at - 1));
      const bool isNumber = number.find_first_not_of("0123456789") == number.npos;
      const auto index = isNumber ? std::stoul(number) : 0;
      if (index >= 1 && index <= arguments.size()) {
        result += arguments[index - 1];
        at = mark;
        continue;
      }
    }
    result += text[at];
  }
  return result;
}

ServerMessage ServerMessage::printed(std::string text) {
  return {{.number = 0, .severity = 10, .sqlState = "01000"}, std::move(text)};
}

ServerMessage ServerMessage::raised(int number, std::string text) {
  Kind kind{.number = number, .severity = 16, .state = 1, .sqlState = "42000"};
  // Clients go by the number, whoever says it.
  const auto* row = std::ranges::find(kRows, number, [](const Row& r) { return r.kind.number; });
  if (number != 0 && row != kRows.end()) {
    kind.sqlState = row->kind.sqlState;
    kind.effect = row->kind.effect;
  }
  return {kind, std::move(text)};
}

}  // namespace kelvane::message
