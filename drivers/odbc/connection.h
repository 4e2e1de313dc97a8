// Connections to live servers, through whatever ODBC driver the machine has for them.
//
// Lifetime: recordsets refer to their connection and must not outlive it. Threading: a connection
// and its recordsets belong to one thread at a time, but for cancel(); distinct connections are
// independent. Drivers run in this process: that of FreeTDS ends it (SIGABRT) on some bytes that no
// server should send.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "ado/ado.h"

namespace kelvane::odbc {

/// Zero: as long as the driver likes.
struct ConnectOptions {
  /// Kept even where the driver does not; the thread that it hangs in is then left behind.
  std::chrono::seconds loginLimit{0};
  /// How long the server may take to answer a statement. The driver then cancels it; where the
  /// server does not answer that either, the connection is lost: within a second for drivers that
  /// wait for TCP in the calling thread, as FreeTDS's does, and when the driver finds it for
  /// others.
  std::chrono::seconds queryLimit{0};
};

/// Once the connection is lost, everything fails at once.
///
/// Every diagnostic record of a call that failed is one of the connection's errors: the text
/// without the names of the components that passed it on, which are the error's source. Messages
/// of the server that are no errors, such as prints, are dropped.
///
/// A forward-only recordset reads its rows from the server as they are asked for, and of a row the
/// columns up to the one asked for. When another statement is opened before it has reached its end,
/// it keeps its remaining rows in memory: servers answer one statement at a time.
class Connection : public ado::Connection {
 public:
  /// Ends the statement under way, which then fails; does nothing when there is none. A server
  /// that does not answer that loses the connection, as where it runs into the limit. Any thread
  /// may call it while the connection exists.
  virtual void cancel() noexcept = 0;
};

/// `connectionString` as ODBC has it: "DSN=prod;UID=sa;PWD=..." or "Driver=...;Server=...". Raises
/// ado::Failure with the text of every diagnostic record.
std::unique_ptr<Connection> connect(std::u16string_view connectionString,
                                    const ConnectOptions& options = {});

/// The connection string as it may be shown: "***" in place of every secret.
std::u16string masked(std::u16string_view connectionString);

}  // namespace kelvane::odbc
