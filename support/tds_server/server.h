// A server that programs reach over TDS 5.0 and that answers from an embedded catalog.
//
// It listens on the loopback interface alone, from its construction to its destruction, in one
// thread of its own that serves all connections. The catalog must outlive it and belongs to that
// thread meanwhile.
//
// A last query of a batch is computed as its rows are sent. Batches run to their end before
// anything else is served, so a cancellation is heard between batches and within such a query.
// Prepared statements are kept as texts; parameters are variables of the batch. A client gets
// values in types that it has said it knows. Server cursors, bulk copies, notifications and
// descriptions of prepared statements are refused.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "drivers/embedded/connection.h"
#include "support/tds_server/wire.h"

namespace kelvane::tds {

struct User {
  std::string password;
  bool locked = false;
};

/// What goes wrong with an answer.
struct Fault {
  enum class Kind {
    error,    ///< an error of severity 16 takes its place
    close,    ///< the connection ends
    garbage,  ///< other bytes stand in the place of the rest
    silence,  ///< nothing more is sent, now or later
    stall,    ///< nothing is sent until the client cancels
  };
  Kind kind = Kind::error;
  std::size_t after = 0;  ///< bytes of the answer that still arrive; not for errors and stalls
  char filler = '\x5A';   ///< the bytes of garbage
};

struct ServerOptions {
  std::uint16_t port = 0;  ///< 0: any that is free
  /// By name. With none everybody may log in.
  std::map<std::string, User, std::less<>> users = {};
  CharacterSet characterSet = CharacterSet::utf8;  ///< for clients that ask for none
  std::size_t largestPacket = 8192;                ///< smaller ones that a client asks for are used
  /// Asked for each batch; the number counts those of all connections from 0.
  std::function<std::optional<Fault>(const std::string& batch, std::size_t number)> fault = {};
  /// Told the bytes of each answer to a batch that was sent without a fault.
  std::function<void(std::size_t bytes)> answered = {};
};

class TdsServer {
 public:
  /// Throws std::system_error when the port is not to be had.
  explicit TdsServer(embedded::EmbeddedCatalog& catalog, ServerOptions options = {});
  ~TdsServer();
  TdsServer(const TdsServer&) = delete;
  TdsServer& operator=(const TdsServer&) = delete;

  std::uint16_t port() const;

 private:
  class Loop;
  std::unique_ptr<Loop> loop_;
};

}  // namespace kelvane::tds
