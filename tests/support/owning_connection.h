// A connection together with what it leads to, for tests that want nothing but the connection.
//
// Threading: as the connection.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "ado/ado.h"

namespace kelvane::testing {

// `Server` is anything with connect().
template <class Server>
class OwningConnection final : public ado::Connection {
 public:
  explicit OwningConnection(Server server = Server())
      : server_(std::move(server)), connection_(server_.connect()) {}

  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override {
    return connection_->Open(source, mode);
  }
  const std::vector<ado::Error>& Errors() const override { return connection_->Errors(); }

 private:
  Server server_;
  std::unique_ptr<ado::Connection> connection_;
};

}  // namespace kelvane::testing
