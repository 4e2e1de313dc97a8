#include "cli/screen/terminal.h"

#include <array>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <termios.h>
#include <unistd.h>

#include "cli/screen/awaited_signals.h"

namespace kelvane::cli {
namespace {

class Terminal {
 public:
  Terminal() : number_(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC)) {}
  ~Terminal() {
    if (isThere()) close(number_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  bool isThere() const { return number_ >= 0; }
  int number() const { return number_; }
  void write(std::string_view text) const { (void)!::write(number_, text.data(), text.size()); }

 private:
  int number_;
};

class WithoutEcho {
 public:
  explicit WithoutEcho(const Terminal& terminal) : terminal_(terminal) {
    tcgetattr(terminal_.number(), &before_);
    termios quiet = before_;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(terminal_.number(), TCSAFLUSH, &quiet);
  }
  ~WithoutEcho() {
    tcsetattr(terminal_.number(), TCSAFLUSH, &before_);
    terminal_.write("\n");
  }
  WithoutEcho(const WithoutEcho&) = delete;
  WithoutEcho& operator=(const WithoutEcho&) = delete;

 private:
  const Terminal& terminal_;
  termios before_{};
};

// A line, or none at the end of the input or when a signal came.
std::optional<std::string> readLine(const Terminal& terminal, const AwaitedSignals& signals) {
  std::string line;
  std::array<pollfd, 2> polled{{{signals.descriptor(), POLLIN, 0}, {terminal.number(), POLLIN, 0}}};
  for (;;) {
    if (poll(polled.data(), polled.size(), -1) < 0) continue;
    if (polled[0].revents != 0) return std::nullopt;
    char letter = 0;
    if (read(terminal.number(), &letter, 1) != 1) return std::nullopt;
    if (letter == '\n') return line;
    line += letter;
  }
}

}  // namespace

std::optional<std::string> askOnTerminal(const std::string& question) {
  const Terminal terminal;
  if (!terminal.isThere()) return std::nullopt;
  // One that comes meanwhile does its work when they are let through, after the echo is back.
  const AwaitedSignals signals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};
  const WithoutEcho quiet(terminal);
  terminal.write(question);
  return readLine(terminal, signals);
}

}  // namespace kelvane::cli
