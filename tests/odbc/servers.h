// The servers that the driver is tested with.
#pragma once

#include <arpa/inet.h>
#include <cerrno>
#include <memory>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "cli/sides/side.h"
#include "drivers/embedded/connection.h"
#include "drivers/odbc/connection.h"
#include "model/text.h"
#include "support/tds_server/freetds_source.h"
#include "support/tds_server/server.h"

namespace kelvane::testing {

// Debian's driver for SQLite, without a data source: it is found by its name among the installed
// ones.
inline std::unique_ptr<odbc::Connection> sqlite(const std::string& file = ":memory:") {
  return odbc::connect(u"Driver=SQLite3;Database=" + toUtf16(file));
}

// A catalog that programs reach over the wire.
class LiveServer {
 public:
  explicit LiveServer(embedded::EmbeddedCatalog catalog = embedded::EmbeddedCatalog(),
                      tds::ServerOptions options = {})
      : catalog_(std::make_unique<embedded::EmbeddedCatalog>(std::move(catalog))),
        server_(std::make_unique<tds::TdsServer>(*catalog_, std::move(options))) {}

  int port() const { return server_->port(); }
  std::unique_ptr<odbc::Connection> connect(const odbc::ConnectOptions& options = {}) const {
    return odbc::connect(tds::freeTdsSource(port()), options);
  }

 private:
  std::unique_ptr<embedded::EmbeddedCatalog> catalog_;
  std::unique_ptr<tds::TdsServer> server_;
};

// A server that accepts nobody and says nothing.
class SilentServer {
 public:
  SilentServer() {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address_;
    require(bind(socket_, address(), size));
    require(listen(socket_, 1));
    require(getsockname(socket_, address(), &size));
  }
  ~SilentServer() { close(socket_); }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;

  int port() const { return ntohs(address_.sin_port); }
  // The socket of a client, for the caller to close.
  int connectedSocket() {
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    require(connect(client, address(), sizeof address_));
    return client;
  }

 private:
  static void require(int result) {
    if (result != 0) throw std::system_error(errno, std::generic_category());
  }
  sockaddr* address() { return reinterpret_cast<sockaddr*>(&address_); }

  int socket_ = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address_{};
};

// What the failure of a call says; "none" when there is none.
template <class Call>
std::string failureOf(Call&& call) {
  try {
    call();
  } catch (const ado::Failure& failure) {
    return failure.what();
  }
  return "none";
}

// A connection for the command.
class ConnectionSide final : public cli::Side {
 public:
  explicit ConnectionSide(std::unique_ptr<ado::Connection> connection)
      : connection_(std::move(connection)) {}
  ado::Connection& connection() override { return *connection_; }

 private:
  std::unique_ptr<ado::Connection> connection_;
};

}  // namespace kelvane::testing
