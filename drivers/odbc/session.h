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
#include <optional>
#include <string_view>
#include <type_traits>
#include <vector>

#include "drivers/odbc/connection.h"
#include "drivers/odbc/handles.h"
#include "drivers/odbc/silence_watch.h"

namespace kelvane::odbc {

class ForwardRecordset;

class Session {
 public:
  Session(std::u16string_view connectionString, const ConnectOptions& options);
  ~Session();
  Session(const Session&) = delete;  // statements refer to it
  Session& operator=(const Session&) = delete;

  class Statement;

  /// Calls a function of ODBC that may wait for the server.
  template <class... Parameters>
  SQLRETURN await(SQLRETURN (*function)(Parameters...),
                  std::type_identity_t<Parameters>... arguments) {
    const SilenceWatch::Call call(watch_);
    return function(arguments...);
  }

  /// Makes what the statement's last call left the newest errors and raises the first as
  /// ado::Failure. Notes a loss of the connection.
  [[noreturn]] void fail(const Statement& statement);
  /// The same for an error of the program's own.
  [[noreturn]] void fail(std::u16string_view state, std::u16string_view description);
  void refuseIfCancelled();
  /// Drivers may wait out their time limit on every statement.
  void refuseIfLost();
  /// Refuses text that would not arrive as it is.
  void requireSendable(std::u16string_view statement);

  void cancel() noexcept;

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
  const ServerHandle& server() const { return link_->server; }
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
  SilenceWatch watch_;
};

/// A statement that cancel() ends.
class Session::Statement {
 public:
  explicit Statement(Session& session);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  SQLHANDLE get() const { return handle_->get(); }
  /// The server has answered the statement, or never will.
  void answered();

 private:
  Session& session_;
  std::optional<StatementHandle> handle_;
};

}  // namespace kelvane::odbc
