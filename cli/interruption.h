// Ctrl-C while servers are read: the first ends the reading in an orderly way, the second the
// process.
//
// Lifetime: made before the threads that it is to interrupt start; what it calls outlives it. The
// signals have their usual effect before and afterwards. Threading: made and destroyed by one
// thread, calls back from its own.
#pragma once

#include <functional>
#include <stop_token>
#include <thread>

#include "cli/awaited_signals.h"

namespace kelvane::cli {

class Interruption {
 public:
  // After a SIGINT or SIGTERM `announce` is called once and `cancel` again and again: a
  // cancellation that comes just before a statement is sent does nothing.
  Interruption(std::function<void()> announce, std::function<void()> cancel);
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  // Says whether the reading is to stop.
  std::stop_token token() const { return stop_.get_token(); }

 private:
  void watch();

  std::function<void()> announce_, cancel_;
  AwaitedSignals signals_{SIGINT, SIGTERM};
  std::stop_source stop_;
  int end_;
  std::thread watcher_;
};

}  // namespace kelvane::cli
