// The messages of the server. `table.inc` has one row for each: its number, severity and state, its
// SQL state, what it ends, and its text. A message is made of a row and of nothing else, except
// where a script raises its own.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace kelvane::tsql {
struct ServerError;
}

namespace kelvane::message {

/// What an error means for the batch.
enum class Effect : std::uint8_t {
  batch,            ///< ends the batch
  statement,        ///< the batch goes on, as it does behind every system procedure
  batchUnlessGone,  ///< ends the batch, unless the statement only removes what is not there
  statementIfGone,  ///< the same, but the batch always goes on
};

/// What a message is, apart from its text.
struct Kind {
  int number = 0;  ///< 0: not one of the server's own
  int severity = 0;
  int state = 1;
  std::string_view sqlState;
  Effect effect = Effect::batch;

  constexpr bool isError() const { return severity > 10; }
  constexpr bool endsBatch() const {
    return effect == Effect::batch || effect == Effect::batchUnlessGone;
  }
  /// Something that the statement names is not there.
  constexpr bool saysGone() const {
    return effect == Effect::batchUnlessGone || effect == Effect::statementIfGone;
  }
};

struct Row {
  Kind kind;
  std::string_view text;  ///< `%1!` is the first argument
};

// Not by std::array's deduction, which folds more arguments than clang allows.
inline constexpr auto kRows = std::to_array<Row>({
#define KELVANE_MESSAGE(name, number, severity, state, sqlState, effect, text) \
  Row{{number, severity, state, sqlState, Effect::effect}, text},
#include "drivers/embedded/messages/table.inc"
#undef KELVANE_MESSAGE
});

enum class Index : std::uint16_t {
#define KELVANE_MESSAGE(name, ...) name,
#include "drivers/embedded/messages/table.inc"
#undef KELVANE_MESSAGE
};

/// How many arguments the text takes. Does not compile when it skips one.
consteval std::size_t argumentsOf(std::string_view text) {
  std::array<bool, 10> named{};
  std::size_t most = 0;
  for (std::size_t at = 0; at + 2 < text.size(); ++at) {
    if (text[at] != '%' || text[at + 2] != '!') continue;
    const auto argument = static_cast<std::size_t>(text[at + 1] - '0');
    if (argument == 0 || argument >= named.size()) throw "arguments are %1! to %9!";
    named[argument] = true;
    if (argument > most) most = argument;
  }
  for (std::size_t argument = 1; argument <= most; ++argument) {
    if (!named[argument]) throw "an argument is not in the text";
  }
  return most;
}

/// The name of a row whose text takes so many arguments.
template <std::size_t arguments>
struct Message {
  Index index;

  constexpr const Row& row() const { return kRows[static_cast<std::size_t>(index)]; }
  constexpr int number() const { return row().kind.number; }
};

// A name that is declared takes no parentheses.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define KELVANE_MESSAGE(name, number, severity, state, sqlState, effect, text) \
  inline constexpr Message<argumentsOf(text)> name{Index::name};
// NOLINTEND(bugprone-macro-parentheses)
#include "drivers/embedded/messages/table.inc"
#undef KELVANE_MESSAGE

consteval bool areInOrder() {
  for (std::size_t i = 1; i < kRows.size(); ++i) {
    if (kRows[i].kind.number < kRows[i - 1].kind.number) return false;
  }
  return true;
}
static_assert(areInOrder(), "the rows of messages/table.inc stand in the order of their numbers");

consteval bool areDifferent() {
  for (std::size_t i = 0; i < kRows.size(); ++i) {
    for (std::size_t j = i + 1; j < kRows.size(); ++j) {
      if (kRows[j].kind.number != kRows[i].kind.number) break;
      if (kRows[j].text == kRows[i].text) return false;
    }
  }
  return true;
}
static_assert(areDifferent(), "two rows of messages/table.inc are the same message");

/// Puts the arguments into a text of the server or of a script; `%1!` is the first.
std::string filled(std::string_view text, std::span<const std::string> arguments);

template <class T>
std::string argumentText(const T& argument) {
  static_assert(!std::same_as<T, bool> && !std::same_as<T, char>, "not a number");
  if constexpr (std::integral<T>) {
    return std::to_string(argument);
  } else {
    return std::string(argument);
  }
}

/// The text of the row with its arguments.
template <class... Arguments>
std::string textOf(Message<sizeof...(Arguments)> message, const Arguments&... arguments) {
  const std::array<std::string, sizeof...(Arguments)> texts{argumentText(arguments)...};
  return filled(message.row().text, texts);
}

struct ServerMessage : Kind {
  template <class... Arguments>
  ServerMessage(Message<sizeof...(Arguments)> message, const Arguments&... arguments)
      : ServerMessage(message.row().kind, textOf(message, arguments...)) {}

  /// The text has its arguments already.
  ServerMessage(Index row, std::string text)
      : ServerMessage(kRows.at(static_cast<std::size_t>(row)).kind, std::move(text)) {}

  /// What a script says itself, with `print` and with `raiserror`.
  static ServerMessage printed(std::string text);
  static ServerMessage raised(int number, std::string text);

  std::string text;  ///< without a line end

 private:
  friend struct tsql::ServerError;
  ServerMessage(const Kind& kind, std::string text) : Kind(kind), text(std::move(text)) {}
};

}  // namespace kelvane::message
