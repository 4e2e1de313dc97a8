#include "tests/cli/program.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>

namespace kelvane::testing {
namespace {

constexpr int kMostMilliseconds = 60'000, kPauseMilliseconds = 10;

void require(int result) {
  if (result < 0) throw std::system_error(errno, std::generic_category());
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  result.reserve(texts.size() + 1);
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

}  // namespace

Program::Program(const std::vector<std::string>& arguments, const Environment& environment,
                 Terminal terminal) {
  std::vector<std::string> words{KELVANE_PROGRAM};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<std::string> variables{"PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8"};
  for (const auto& [name, value] : environment)
    variables.emplace_back(name).append("=").append(value);
  const std::vector<char*> argv = pointers(words), envp = pointers(variables);

  int childEnd = -1, pipes[2] = {-1, -1};
  if (terminal == Terminal::own) {
    require(openpty(&descriptor_, &childEnd, nullptr, nullptr, nullptr));
    terminalEnd_ = dup(childEnd);
  } else {
    require(pipe(pipes));
    descriptor_ = pipes[0];
    childEnd = pipes[1];
  }
  id_ = fork();
  require(id_);
  if (id_ == 0) {
    setsid();
    if (terminal == Terminal::own) ioctl(childEnd, TIOCSCTTY, 0);
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    for (const int standard : {STDOUT_FILENO, STDERR_FILENO}) dup2(childEnd, standard);
    for (int other = STDERR_FILENO + 1; other < 256; ++other) close(other);
    execve(argv.front(), argv.data(), envp.data());
    _exit(127);
  }
  close(childEnd);
}

Program::~Program() {
  if (id_ > 0) {
    kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
  }
  close(descriptor_);
  if (terminalEnd_ >= 0) close(terminalEnd_);
}

bool Program::readMore(int milliseconds) {
  pollfd polled{descriptor_, POLLIN, 0};
  if (poll(&polled, 1, milliseconds) <= 0) return false;
  char bytes[4096];
  const ssize_t length = read(descriptor_, bytes, sizeof bytes);
  if (length > 0) output_.append(bytes, static_cast<std::size_t>(length));
  return length > 0;
}

bool Program::waitFor(const std::string& text) {
  while (output_.find(text) == output_.npos) {
    if (!readMore(kMostMilliseconds)) return false;
  }
  return true;
}

int Program::wait() {
  int status = 0;
  for (int waited = 0; waitpid(id_, &status, WNOHANG) == 0; waited += kPauseMilliseconds) {
    if (waited > kMostMilliseconds) return -1;
    readMore(0);
    poll(nullptr, 0, kPauseMilliseconds);
  }
  id_ = -1;
  while (readMore(0)) continue;
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

void Program::type(const std::string& keys) const {
  require(static_cast<int>(write(descriptor_, keys.data(), keys.size())));
}

bool Program::echoes() const {
  termios state{};
  require(tcgetattr(descriptor_, &state));
  return (state.c_lflag & ECHO) != 0;
}

}  // namespace kelvane::testing
