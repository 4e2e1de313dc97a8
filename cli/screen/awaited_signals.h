// Signals as something to wait for.
//
// Lifetime: from construction to destruction the signals are kept from the thread and from those
// that it starts meanwhile. Threading: made and destroyed by one thread; any may wait.
#pragma once

#include <csignal>
#include <initializer_list>

namespace kelvane::cli {

// A signal that the process was started to ignore stays ignored.
class AwaitedSignals {
 public:
  // Throws std::system_error.
  explicit AwaitedSignals(std::initializer_list<int> signals);
  ~AwaitedSignals();
  AwaitedSignals(const AwaitedSignals&) = delete;
  AwaitedSignals& operator=(const AwaitedSignals&) = delete;

  // Can be read from when one came, which is then pending until the signals are let through.
  int descriptor() const { return descriptor_; }
  // Takes those that came, lets all later ones through to the calling thread, and returns the last.
  int takeAndLetThrough() const;

 private:
  sigset_t signals_;
  sigset_t before_;
  int descriptor_;
};

}  // namespace kelvane::cli
