#include "cli/screen/interruption.h"

#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kelvane::cli {
namespace {

constexpr int kCancelAgainMilliseconds = 50;

}  // namespace

Interruption::Interruption(std::function<void(int)> announce, std::function<void()> cancel)
    : announce_(std::move(announce)), cancel_(std::move(cancel)), end_(eventfd(0, EFD_CLOEXEC)) {
  if (end_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
  watcher_ = std::thread([this] { watch(); });
}

Interruption::~Interruption() {
  eventfd_write(end_, 1);
  watcher_.join();
  close(end_);
}

void Interruption::watch() {
  std::array<pollfd, 2> polled{{{end_, POLLIN, 0}, {signals_.descriptor(), POLLIN, 0}}};
  while (polled[0].revents == 0) {
    if (stop_.stop_requested()) {
      cancel_();
      poll(polled.data(), 1, kCancelAgainMilliseconds);
    } else if (poll(polled.data(), polled.size(), -1) > 0 && polled[1].revents != 0) {
      // A driver may hold the cancellation up, but not the next signal.
      const int signal = signals_.takeAndLetThrough();
      stop_.request_stop();
      announce_(signal);
    }
  }
}

Interruption endsAtOnce(StatusLine& line, std::function<std::string()> leave) {
  return Interruption(
      [&line, leave = std::move(leave)](int signal) {
        line.complain(leave());
        std::raise(signal);
      },
      [] {});
}

}  // namespace kelvane::cli
