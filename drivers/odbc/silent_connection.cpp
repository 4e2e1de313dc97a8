#include "drivers/odbc/silent_connection.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <fstream>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>

namespace kelvane::odbc {
namespace {

// Calls of the kernel that wait on descriptors.
constexpr auto kPolls = std::to_array<long>({
#ifdef SYS_poll
    SYS_poll,
#endif
    SYS_ppoll,
});
constexpr auto kReads = std::to_array<long>({SYS_read, SYS_recvfrom, SYS_recvmsg});

// Drivers wait on the connection and perhaps on something to be woken with.
constexpr std::size_t kMostPolled = 8;

// The call that a thread is in: its number, its arguments and where its stack and code stand.
std::string callOf(pid_t thread) {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/syscall");
  std::string line;
  std::getline(file, line);
  return line;
}

// The thread may go on meanwhile, so that its memory is read in the one way that cannot fault.
std::vector<int> polledAt(std::uintptr_t place, std::size_t count) {
  std::array<pollfd, kMostPolled> polled{};
  const std::size_t size = std::min(count, polled.size()) * sizeof(pollfd);
  const iovec here{polled.data(), size};
  const iovec there{reinterpret_cast<void*>(place), size};  // NOLINT: the kernel's number
  if (process_vm_readv(getpid(), &here, 1, &there, 1, 0) != static_cast<ssize_t>(size)) return {};
  std::vector<int> descriptors;
  for (std::size_t i = 0; i < size / sizeof(pollfd); ++i) descriptors.push_back(polled[i].fd);
  return descriptors;
}

std::vector<int> descriptorsOf(const std::string& call) {
  std::istringstream words(call);
  long number = 0;
  std::uintptr_t first = 0, second = 0;
  if (!(words >> number >> std::hex >> first >> second)) return {};
  if (std::ranges::find(kPolls, number) != kPolls.end()) return polledAt(first, second);
  if (std::ranges::find(kReads, number) != kReads.end()) return {static_cast<int>(first)};
  return {};
}

}  // namespace

pid_t thisThread() {
  thread_local const pid_t id = gettid();
  return id;
}

bool isRunning(pid_t thread) { return callOf(thread) == "running"; }

std::optional<SilentConnection> SilentConnection::ofWait(pid_t thread,
                                                         std::chrono::milliseconds silence) {
  const std::string call = callOf(thread);
  for (const int descriptor : descriptorsOf(call)) {
    SilentConnection connection(descriptor);
    // It is the one that the thread waits on only when the thread waits before and after.
    if (connection.isSilentFor(silence) && callOf(thread) == call) return connection;
  }
  return std::nullopt;
}

SilentConnection::SilentConnection(int descriptor)
    : descriptor_(fcntl(descriptor, F_DUPFD_CLOEXEC, 0)) {}

SilentConnection::~SilentConnection() {
  if (descriptor_ >= 0) close(descriptor_);
}

bool SilentConnection::isSilentFor(std::chrono::milliseconds time) const {
  tcp_info info{};
  socklen_t size = sizeof info;
  return getsockopt(descriptor_, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 &&
         std::chrono::milliseconds(info.tcpi_last_data_recv) >= time;
}

void SilentConnection::end() const { shutdown(descriptor_, SHUT_RDWR); }

}  // namespace kelvane::odbc
