#include <csignal>
#include <cstddef>
#include <iostream>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

#include "cli/run.h"
#include "cli/terminal.h"
#include "drivers/embedded/connection.h"

namespace {

// FreeTDS aborts the process on some bytes that no server should send. No more than this is safe
// to do then.
extern "C" void endOnAbort(int) {
  constexpr std::string_view kText =
      "kelvane: stopped: the program or an ODBC driver gave up, perhaps on what a server sent\n";
  (void)!write(STDERR_FILENO, kText.data(), kText.size());
  _exit(kelvane::cli::kError);
}

std::size_t columnsOfErrors() {
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

}  // namespace

int main(int count, char** words) {
  std::signal(SIGABRT, endOnAbort);
  kelvane::embedded::prepareForThreads();
  const std::vector<std::string> arguments(words + (count > 0 ? 1 : 0), words + count);
  const kelvane::cli::Console console{std::cout,
                                      std::cerr,
                                      isatty(STDERR_FILENO) != 0,
                                      kelvane::cli::askOnTerminal,
                                      isatty(STDOUT_FILENO) != 0,
                                      {},
                                      columnsOfErrors};
  return kelvane::cli::run(arguments, console);
}
