// What the recordsets of one connection share. Private to the driver.
//
// Lifetime: outlives its cursors. Threading: one thread at a time, but for cancel().
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
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
  /// ado::Failure. Notes a loss of the connection.
  [[noreturn]] void fail(const StatementHandle& statement);
  /// The same for an error of the program's own.
  [[noreturn]] void fail(std::u16string_view state, std::u16string_view description);
  void refuseIfCancelled();
  /// Drivers may wait out their time limit on every statement.
  void refuseIfLost();
  /// Refuses text that would not arrive as it is.
  void requireSendable(std::u16string_view statement);

  /// A statement that cancel() ends.
  class UnderWay {
   public:
    UnderWay(Session& session, const StatementHandle& statement);
    ~UnderWay();
    UnderWay(const UnderWay&) = delete;
    UnderWay& operator=(const UnderWay&) = delete;

    /// The server has answered the statement, or never will.
    void answered();

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

  bool isDead() const;

  std::shared_ptr<Link> link_ = std::make_shared<Link>();
  std::chrono::seconds queryLimit_;
  std::mutex underWayMutex_;
  SQLHANDLE underWay_ = SQL_NULL_HANDLE;
  std::uint64_t statements_ = 0;
  bool awaitsAnswer_ = false;
  std::condition_variable answered_;
  // Some drivers forget a cancellation that meets no call.
  std::atomic<bool> cancelled_ = false;
  bool takesUnicode_ = true;
  bool lost_ = false;
};

}  // namespace kelvane::odbc
