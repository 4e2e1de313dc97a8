#include "drivers/odbc/connection.h"

#include "ado/client_recordset.h"
#include "drivers/odbc/cursor.h"
#include "drivers/odbc/forward_recordset.h"
#include "drivers/odbc/session.h"

namespace kelvane::odbc {
namespace {

class ServerConnection final : public Connection {
 public:
  ServerConnection(std::u16string_view connectionString, const ConnectOptions& options)
      : session_(connectionString, options) {}

  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override {
    session_.errors.clear();
    if (session_.streaming) session_.streaming->keepRest();
    session_.refuseIfLost();
    if (mode.location == ado::CursorLocation::server)
      return std::make_unique<ForwardRecordset>(session_, source);
    Cursor::Rest all = Cursor(session_, source).readAll();
    return std::make_unique<ado::ClientRecordset>(std::move(all.results), std::move(all.failure));
  }
  const std::vector<ado::Error>& Errors() const override { return session_.errors; }
  void cancel() noexcept override { session_.cancel(); }

 private:
  Session session_;
};

}  // namespace

std::unique_ptr<Connection> connect(std::u16string_view connectionString,
                                    const ConnectOptions& options) {
  return std::make_unique<ServerConnection>(connectionString, options);
}

}  // namespace kelvane::odbc
