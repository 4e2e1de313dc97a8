// The servers that the driver is tested with.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "cli/side.h"
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
