// Ctrl-C: while databases are read the first ends the reading in an orderly way, the second the
// process; elsewhere it ends the process at once, which says what that leaves behind.
//
// Lifetime: made before the threads that it is to interrupt start; what it calls outlives it. The
// signals have their usual effect before and afterwards. Threading: made and destroyed by one
// thread, calls back from its own.
#pragma once

#include <functional>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>

#include "cli/screen/awaited_signals.h"
#include "cli/screen/status_line.h"

namespace kelvane::cli {

class Interruption {
 public:
  // After a SIGINT, SIGTERM or SIGHUP `announce` is called once, with its number, and `cancel`
  // again and again: a cancellation that comes just before a statement is sent does nothing.
  Interruption(std::function<void(int signal)> announce, std::function<void()> cancel);
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  // Says whether the reading is to stop.
  std::stop_token token() const { return stop_.get_token(); }

 private:
  void watch();

  std::function<void(int)> announce_;
  std::function<void()> cancel_;
  AwaitedSignals signals_{SIGINT, SIGTERM, SIGHUP};
  std::stop_source stop_;
  int end_;
  std::thread watcher_;
};

// Ends the process by the signal that it gets, once the text that `leave` returns, from another
// thread, stands on the line, which outlives it.
Interruption endsAtOnce(StatusLine& line, std::function<std::string()> leave);
inline Interruption endsAtOnce(StatusLine& line, std::string text) {
  return endsAtOnce(line, [text = std::move(text)] { return text; });
}

// Something else than reading, that takes its time: it stands on the status line, and Ctrl-C ends
// the process with a word about what it leaves behind.
class Undertaking {
 public:
  // An empty status is not shown.
  // `leave` as for endsAtOnce.
  Undertaking(const Console& console, std::u16string status, std::function<std::string()> leave)
      : line_(console), ending_(endsAtOnce(line_, std::move(leave))) {
    if (!status.empty()) line_.show("kelvane", std::move(status));
  }
  Undertaking(const Console& console, std::u16string status, std::string whenInterrupted)
      : Undertaking(
            console, std::move(status),
            std::function<std::string()>([text = std::move(whenInterrupted)] { return text; })) {}

 private:
  StatusLine line_;
  Interruption ending_;
};

}  // namespace kelvane::cli
