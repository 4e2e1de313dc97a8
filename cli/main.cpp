#include <csignal>
#include <cstddef>
#include <iostream>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

#include "cli/run.h"
#include "cli/screen/pager.h"
#include "cli/screen/terminal.h"
#include "drivers/embedded/connection.h"

namespace {

// FreeTDS aborts the process on some bytes that no server should send. No more than this is safe
// to do then.
extern "C" void endOnAbort(int) {
  constexpr std::string_view kText =
      "kelvane: aborted by the program or an ODBC driver, perhaps because of what a server sent\n";
  (void)!write(STDERR_FILENO, kText.data(), kText.size());
  _exit(kelvane::cli::kError);
}

// Whether nobody can read any more what is written to standard output.
bool outIsLeft() {
  pollfd polled{STDOUT_FILENO, POLLOUT, 0};
  return poll(&polled, 1, 0) > 0 && (polled.revents & POLLERR) != 0;
}

std::size_t columnsOfErrors() {
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

kelvane::cli::ScreenSize sizeOfOutput() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return {};
  return {size.ws_row, size.ws_col};
}

}  // namespace

int main(int count, char** words) {
  std::signal(SIGABRT, endOnAbort);
  // Writing then fails, with a reason that can be told, and files are written all the same.
  std::signal(SIGXFSZ, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
  kelvane::embedded::prepareForThreads();
  const std::vector<std::string> arguments(words + (count > 0 ? 1 : 0), words + count);
  const kelvane::cli::Console console{std::cout,
                                      std::cerr,
                                      isatty(STDERR_FILENO) != 0,
                                      kelvane::cli::askOnTerminal,
                                      isatty(STDOUT_FILENO) != 0,
                                      {},
                                      outIsLeft,
                                      columnsOfErrors,
                                      kelvane::cli::preferredPager(),
                                      sizeOfOutput};
  return kelvane::cli::run(arguments, console);
}
