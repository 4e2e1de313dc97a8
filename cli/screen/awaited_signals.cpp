#include "cli/screen/awaited_signals.h"

#include <cerrno>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace kelvane::cli {

AwaitedSignals::AwaitedSignals(std::initializer_list<int> signals) {
  sigemptyset(&signals_);
  for (const int signal : signals) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler != SIG_IGN) sigaddset(&signals_, signal);
  }
  descriptor_ = signalfd(-1, &signals_, SFD_CLOEXEC | SFD_NONBLOCK);
  if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
  pthread_sigmask(SIG_BLOCK, &signals_, &before_);
}

AwaitedSignals::~AwaitedSignals() {
  close(descriptor_);
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

int AwaitedSignals::takeAndLetThrough() const {
  signalfd_siginfo taken{};
  while (read(descriptor_, &taken, sizeof taken) > 0) continue;
  pthread_sigmask(SIG_UNBLOCK, &signals_, nullptr);
  return static_cast<int>(taken.ssi_signo);
}

}  // namespace kelvane::cli
