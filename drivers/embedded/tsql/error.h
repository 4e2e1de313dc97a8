// What the server says when it refuses a batch or a statement: the one error type of the embedded
// server, thrown by the parser and by everything that runs statements.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "drivers/embedded/messages/message.h"

namespace kelvane::tsql {

/// A server message of severity 11 or more. `what()` is the text without a line end.
struct ServerError : std::runtime_error, message::Kind {
  template <class... Arguments>
  ServerError(message::Message<sizeof...(Arguments)> row, std::uint32_t line,
              const Arguments&... arguments)
      : ServerError(message::ServerMessage(row, arguments...), line) {}
  ServerError(const message::ServerMessage& said, std::uint32_t line)
      : std::runtime_error(said.text), message::Kind(said), line(line) {}

  std::string text() const { return what(); }
  message::ServerMessage toMessage() const { return {*this, text()}; }

  template <std::size_t arguments>
  bool is(message::Message<arguments> other) const {
    return number == other.number();
  }

  std::uint32_t line;  ///< 1-based line in the batch; 0 when unknown
};

/// The exception that is being handled; one of another type becomes message 0 with its text.
ServerError handledError();

}  // namespace kelvane::tsql
