// What the recordsets of one connection share. Private to the driver.
//
// Lifetime: outlives its cursors. Threading: one thread at a time, but for cancel().
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

#include "drivers/odbc/connection.h"
#include "drivers/odbc/handles.h"

namespace kelvane::odbc {

class ForwardRecordset;

class Session {
 public:
  Session(std::u16string_view connectionString, const ConnectOptions& options);

  /// Makes what the statement's last call left the newest errors and raises the first as
  /// ado::Failure.
  [[noreturn]] void fail(const StatementHandle& statement);
  /// The same for an error of the program's own.
  [[noreturn]] void fail(std::u16string_view state, std::u16string_view description);
  void refuseIfCancelled();
  /// Refuses text that would not arrive as it is.
  void requireSendable(std::u16string_view statement);

  /// A statement that cancel() ends.
  class UnderWay {
   public:
    UnderWay(Session& session, const StatementHandle& statement);
    ~UnderWay();
    UnderWay(const UnderWay&) = delete;
    UnderWay& operator=(const UnderWay&) = delete;

   private:
    Session& session_;
  };
  void cancel() noexcept;

  const ServerHandle& server() const { return link_->server; }
  std::chrono::seconds queryLimit() const { return queryLimit_; }

  std::vector<ado::Error> errors;
  /// The one that still reads from the server.
  ForwardRecordset* streaming = nullptr;

 private:
  [[noreturn]] void fail(std::vector<ado::Error> newest);

  // Shared with the thread that connects, which may have to be left behind.
  struct Link {
    Link();
    Environment environment;
    ServerHandle server;
  };
  static SQLRETURN connect(const Link& link, std::u16string_view connectionString);
  SQLRETURN connectWithin(std::chrono::seconds limit, std::u16string_view connectionString);

  std::shared_ptr<Link> link_ = std::make_shared<Link>();
  std::chrono::seconds queryLimit_;
  std::mutex underWayMutex_;
  SQLHANDLE underWay_ = SQL_NULL_HANDLE;
  // Some drivers forget a cancellation that meets no call.
  std::atomic<bool> cancelled_ = false;
  bool takesUnicode_ = true;
};

}  // namespace kelvane::odbc
