// A connection of the component's own interface over the system's ODBC, for hosts that have no ADO:
// each statement is read whole. Integers come as such, everything else as text.
//
// Lifetime: recordsets are independent of it. Threading: one thread.
#pragma once

#include <string>
#include <vector>
#include <windows.h>

#include "ado/ado.h"

namespace kelvane::testing {

class OdbcConnection final : public ado::Connection {
 public:
  // Raises ado::Failure.
  explicit OdbcConnection(std::u16string connectionString);
  ~OdbcConnection() override;
  OdbcConnection(const OdbcConnection&) = delete;
  OdbcConnection& operator=(const OdbcConnection&) = delete;

  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override;
  const std::vector<ado::Error>& Errors() const override { return errors_; }

 private:
  // Takes the diagnostic records of a failed call, and gives the failure to throw.
  ado::Failure failure(short kind, void* handle);

  void* environment_ = nullptr;
  void* connection_ = nullptr;
  std::vector<ado::Error> errors_;
};

}  // namespace kelvane::testing
