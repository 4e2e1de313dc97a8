// What the server says when it refuses a batch or a statement: the one error type of the embedded
// server, thrown by the parser and by everything that runs statements.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace kelvane::tsql {

/// The number of a refusal that is not the server's own: what the server can do and this one
/// cannot.
inline constexpr int kNotSupported = 0;

/// A server message of severity 11 or more. `what()` is the text without a line end.
struct ServerError : std::runtime_error {
  ServerError(int number, int severity, int state, const std::string& text, std::uint32_t line)
      : std::runtime_error(text), number(number), severity(severity), state(state), line(line) {}

  std::string text() const { return what(); }

  int number;
  int severity;
  int state;
  std::uint32_t line;  ///< 1-based line in the batch; 0 when unknown
};

}  // namespace kelvane::tsql
