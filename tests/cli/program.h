// The kelvane program as a process of its own, with an environment, a session and perhaps a
// terminal of its own.
//
// Lifetime: a process that still runs when it goes is killed. Threading: one thread.
#pragma once

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace kelvane::testing {

class Program {
 public:
  enum class Terminal { none, own };
  using Environment = std::vector<std::pair<std::string, std::string>>;

  // Standard output and standard error go the same way.
  Program(const std::vector<std::string>& arguments, const Environment& environment,
          Terminal terminal = Terminal::none, unsigned short columns = 80) {
    std::vector<std::string> words{KELVANE_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables{"PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8"};
    for (const auto& [name, value] : environment)
      variables.emplace_back(name).append("=").append(value);
    const std::vector<char*> argv = pointers(words), envp = pointers(variables);
    const bool own = terminal == Terminal::own;
    const winsize size{.ws_row = 24, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
    if (own ? openpty(&ends_[0], &ends_[1], nullptr, nullptr, &size) : pipe(ends_)) return;
    id_ = fork();
    if (id_ != 0) return;
    setsid();
    // Whoever runs the tests in the background has them ignored.
    for (const int signal : {SIGINT, SIGQUIT, SIGHUP}) std::signal(signal, SIG_DFL);
    if (own) ioctl(ends_[1], TIOCSCTTY, 0);
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    for (const int standard : {STDOUT_FILENO, STDERR_FILENO}) dup2(ends_[1], standard);
    closefrom(STDERR_FILENO + 1);
    execve(argv.front(), argv.data(), envp.data());
    _exit(127);
  }
  ~Program() {
    if (id_ > 0) {
      kill(id_, SIGKILL);
      waitpid(id_, nullptr, 0);
    }
    for (const int end : ends_) close(end);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  pid_t id() const { return id_; }
  // What it has written so far.
  const std::string& output() const { return output_; }
  // Reads until the output holds a text; false after a minute.
  bool waitFor(const std::string& text) {
    while (output_.find(text) == output_.npos) {
      if (!readMore(kMostMilliseconds)) return false;
    }
    return true;
  }
  // Reads to the end and returns the exit status, 128 + its number when a signal ended the process,
  // -1 after a minute.
  int wait() {
    int status = 0;
    for (int waited = 0; waitpid(id_, &status, WNOHANG) == 0; waited += kPauseMilliseconds) {
      if (waited > kMostMilliseconds) return -1;
      readMore(kPauseMilliseconds);
    }
    id_ = -1;
    while (readMore(0)) continue;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  }
  bool type(const std::string& keys) const { return write(ends_[0], keys.data(), keys.size()) > 0; }
  // Whether its terminal shows what is typed.
  bool echoes() const {
    termios state{};
    return tcgetattr(ends_[0], &state) == 0 && (state.c_lflag & ECHO) != 0;
  }

 private:
  static constexpr int kMostMilliseconds = 60'000, kPauseMilliseconds = 10;

  static std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
  }
  bool readMore(int milliseconds) {
    pollfd polled{ends_[0], POLLIN, 0};
    if (poll(&polled, 1, milliseconds) <= 0) return false;
    char bytes[4096];
    const ssize_t length = read(ends_[0], bytes, sizeof bytes);
    if (length > 0) output_.append(bytes, static_cast<std::size_t>(length));
    return length > 0;
  }

  pid_t id_ = -1;
  int ends_[2] = {-1, -1};  // the test's and the process's, which keeps a terminal alive
  std::string output_;
};

}  // namespace kelvane::testing
