#include "drivers/odbc/silence_watch.h"

#include <csignal>
#include <optional>

#include "drivers/odbc/silent_connection.h"

namespace kelvane::odbc {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLook{100};
constexpr int kThreadBits = 32;

pid_t threadOf(std::uint64_t call) {
  return static_cast<pid_t>(call & ((std::uint64_t{1} << kThreadBits) - 1));
}

// The program's signals are for its own threads.
class WithoutSignals {
 public:
  WithoutSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~WithoutSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  WithoutSignals(const WithoutSignals&) = delete;
  WithoutSignals& operator=(const WithoutSignals&) = delete;

 private:
  sigset_t before_;
};

}  // namespace

SilenceWatch::Call::Call(SilenceWatch& watch, By by)
    : caller_(watch.callers_[static_cast<std::size_t>(by)]) {
  const auto thread = static_cast<std::uint64_t>(thisThread());
  caller_.call.store(++caller_.calls << kThreadBits | thread, std::memory_order_release);
}

bool SilenceWatch::ownerComputes() const {
  const std::uint64_t call =
      callers_[static_cast<std::size_t>(By::owner)].call.load(std::memory_order_acquire);
  return call != 0 && isRunning(threadOf(call));
}

// What was seen of a caller.
class SilenceWatch::Observed {
 public:
  explicit Observed(const Caller& caller) : caller_(&caller) {}

  /// How long it has been in the same call; none when it is in none.
  std::optional<Clock::duration> look(bool cancelled) {
    const std::uint64_t call = caller_->call.load(std::memory_order_acquire);
    if (call != call_ || cancelled != cancelled_) since_ = Clock::now();
    call_ = call;
    cancelled_ = cancelled;
    if (call == 0) return std::nullopt;
    return Clock::now() - since_;
  }
  pid_t thread() const { return threadOf(call_); }

 private:
  const Caller* caller_;
  std::uint64_t call_ = 0;
  bool cancelled_ = false;
  Clock::time_point since_;
};

SilenceWatch::SilenceWatch(std::chrono::seconds limit, const std::atomic<bool>& cancelled)
    : limit_(limit), cancelled_(cancelled) {
  const WithoutSignals inherited;
  thread_ = std::jthread([this](const std::stop_token& stop) { watch(stop); });
}

SilenceWatch::~SilenceWatch() = default;

// Looks again and again at what is under way, so that calls need not tell when they begin.
void SilenceWatch::watch(const std::stop_token& stop) {
  std::array observed{Observed(callers_[0]), Observed(callers_[1])};
  std::unique_lock lock(mutex_);
  while (!stopped_.wait_for(lock, stop, kLook, [&] { return stop.stop_requested(); })) {
    const bool cancelled = cancelled_;
    const auto allowed = kAnswerToCancel + (cancelled ? std::chrono::seconds(0) : limit_);
    for (Observed& caller : observed) {
      const auto time = caller.look(cancelled);
      if (limit_.count() == 0 && !cancelled) continue;
      if (time < allowed) continue;
      if (const auto connection = SilentConnection::ofWait(caller.thread(), allowed)) {
        ended_ = true;
        connection->end();
      }
    }
  }
}

}  // namespace kelvane::odbc
