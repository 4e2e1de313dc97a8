// Connections that threads wait on. No function of ODBC hands out the socket of a connection, but
// the kernel tells what a thread waits on. Private to the driver.
//
// Threading: any thread may look at any other.
#pragma once

#include <chrono>
#include <optional>
#include <sys/types.h>
#include <utility>

namespace kelvane::odbc {

/// The kernel's name for the calling thread.
pid_t thisThread();

/// Whether a thread of this process computes, as opposed to waiting in the kernel. False as well
/// where the system does not tell.
bool isRunning(pid_t thread);

/// A TCP connection that a thread waits on and on which nothing has arrived for some time.
class SilentConnection {
 public:
  /// That of a thread of this process. None as well where the system does not tell, or where the
  /// driver waits in another thread.
  static std::optional<SilentConnection> ofWait(pid_t thread, std::chrono::milliseconds silence);
  ~SilentConnection();
  SilentConnection(SilentConnection&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)) {}
  SilentConnection& operator=(SilentConnection&&) = delete;

  /// As if the server had closed it.
  void end() const;

 private:
  // Of our own: the driver may close its one at any time.
  explicit SilentConnection(int descriptor);
  bool isSilentFor(std::chrono::milliseconds time) const;

  int descriptor_;
};

}  // namespace kelvane::odbc
