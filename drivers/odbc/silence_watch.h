// What keeps calls of a driver from waiting for ever. Drivers keep the time limit of a statement,
// but FreeTDS then waits once more as long for the answer to its own cancellation, and without end
// when there is no limit. Private to the driver.
//
// Lifetime: outlives its calls. Threading: the calls of either caller are made by one thread at a
// time, which pays two stores to memory for each.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <stop_token>
#include <thread>

namespace kelvane::odbc {

/// How long a server may take to answer a cancellation.
inline constexpr std::chrono::seconds kAnswerToCancel{1};

/// Ends the connection that a call waits on when the server has been silent for the limit (zero:
/// none), or since `cancelled` was set, and for kAnswerToCancel besides. Does nothing where the
/// connection is not to be found: see SilentConnection.
class SilenceWatch {
 public:
  SilenceWatch(std::chrono::seconds limit, const std::atomic<bool>& cancelled);
  ~SilenceWatch();
  SilenceWatch(const SilenceWatch&) = delete;
  SilenceWatch& operator=(const SilenceWatch&) = delete;

  /// Then the connection is lost.
  bool hasEndedAWait() const { return ended_; }

  enum class By : std::uint8_t { owner, canceller };

  /// Whether the owner is in a call that does not wait for anything at the moment.
  bool ownerComputes() const;

 private:
  struct Caller {
    // The number of the call that is made and the thread that makes it, one in each half.
    std::atomic<std::uint64_t> call = 0;
    std::uint64_t calls = 0;
  };

 public:
  /// A call that may wait for the server. Calls of one caller do not nest.
  class Call {
   public:
    explicit Call(SilenceWatch& watch, By by = By::owner);
    ~Call() { caller_.call.store(0, std::memory_order_release); }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

   private:
    Caller& caller_;
  };

 private:
  class Observed;

  void watch(const std::stop_token& stop);

  const std::chrono::seconds limit_;
  const std::atomic<bool>& cancelled_;
  std::array<Caller, 2> callers_;
  std::atomic<bool> ended_ = false;
  std::mutex mutex_;
  std::condition_variable_any stopped_;
  std::jthread thread_;
};

}  // namespace kelvane::odbc
