#include "cli/screen/pager.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <fcntl.h>
#include <optional>
#include <spawn.h>
#include <sstream>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "cli/screen/variable.h"

namespace kelvane::cli {
namespace {

// What a shell says of a command that it cannot run.
constexpr int kNotExecutable = 126, kNotFound = 127;

// Colours and other sequences take no place, letters of several bytes one.
std::size_t columnsOf(std::string_view line) {
  std::size_t columns = 0;
  for (std::size_t at = 0; at < line.size(); ++at) {
    if (line[at] == '\x1b') {
      at = std::min(line.find('m', at), line.size());
      continue;
    }
    const bool continues = (static_cast<unsigned char>(line[at]) & 0xC0U) == 0x80U;
    columns += continues ? 0 : 1;
  }
  return columns;
}

// The last line of a screen is the prompt of the shell.
bool hasRoom(std::string_view text, const ScreenSize& screen) {
  if (screen.lines == 0 || screen.columns == 0) return true;
  std::size_t lines = 0;
  while (!text.empty() && lines < screen.lines) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines += std::max<std::size_t>(
        1, (columnsOf(text.substr(0, end)) + screen.columns - 1) / screen.columns);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines < screen.lines;
}

// What less does unless the user has said something else: colours as colours, and the text stays on
// the screen.
std::vector<std::string> environmentOfPager() {
  std::vector<std::string> variables;
  for (char** entry = environ; *entry != nullptr; ++entry) variables.emplace_back(*entry);
  if (!variable("LESS")) variables.emplace_back("LESS=FRX");
  if (!variable("LV")) variables.emplace_back("LV=-c");
  return variables;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Ctrl-C is for the pager, which has the terminal meanwhile.
class IgnoredInterrupt {
 public:
  IgnoredInterrupt() : before_(std::signal(SIGINT, SIG_IGN)) {}
  ~IgnoredInterrupt() { std::signal(SIGINT, before_); }
  IgnoredInterrupt(const IgnoredInterrupt&) = delete;
  IgnoredInterrupt& operator=(const IgnoredInterrupt&) = delete;
  bool wasIgnored() const { return before_ == SIG_IGN; }

 private:
  void (*before_)(int);
};

// The process and the end to write to; none where there can be no process.
struct Started {
  pid_t id;
  int input;
};
std::optional<Started> start(const std::string& command, bool ignoresInterrupt) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return std::nullopt;
  posix_spawn_file_actions_t files;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&files);
  posix_spawnattr_init(&attributes);
  posix_spawn_file_actions_adddup2(&files, ends[0], STDIN_FILENO);
  sigset_t usual;
  sigemptyset(&usual);
  if (!ignoresInterrupt) sigaddset(&usual, SIGINT);
  sigaddset(&usual, SIGPIPE);
  sigaddset(&usual, SIGXFSZ);
  posix_spawnattr_setsigdefault(&attributes, &usual);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  std::vector<std::string> words{"sh", "-c", command}, variables = environmentOfPager();
  pid_t id = 0;
  const int failed = posix_spawn(&id, "/bin/sh", &files, &attributes, pointersTo(words).data(),
                                 pointersTo(variables).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  close(ends[0]);
  if (failed == 0) return Started{id, ends[1]};
  close(ends[1]);
  return std::nullopt;
}

// Until all is written or the user has seen enough.
void feed(std::string_view text, int input) {
  while (!text.empty()) {
    const ssize_t written = write(input, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) break;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  close(input);
}

// False where there was no pager to show it.
bool page(const std::string& text, const std::string& command) {
  const IgnoredInterrupt interrupt;
  const auto pager = start(command, interrupt.wasIgnored());
  if (!pager) return false;
  feed(text, pager->input);
  int status = 0;
  while (waitpid(pager->id, &status, 0) < 0 && errno == EINTR) continue;
  return !WIFEXITED(status) ||
         (WEXITSTATUS(status) != kNotExecutable && WEXITSTATUS(status) != kNotFound);
}

}  // namespace

std::string preferredPager() {
  for (const char* name : {"KELVANE_PAGER", "PAGER"}) {
    const auto command = variable(name);
    if (command) return *command == "cat" ? "" : *command;
  }
  return "less";
}

void writePaged(const Console& console, const std::function<void(std::ostream& out)>& write) {
  if (!console.outIsTerminal || console.pager.empty() || !console.outSize) {
    write(console.out);
    console.out.flush();
    return;
  }
  std::ostringstream buffer;
  write(buffer);
  const std::string text = std::move(buffer).str();
  if (!hasRoom(text, console.outSize())) {
    console.out.flush();
    if (page(text, console.pager)) return;
    console.complain("cannot run the pager '" + console.pager +
                     "'; see KELVANE_PAGER and --no-pager");
  }
  console.out << text;
  console.out.flush();
}

}  // namespace kelvane::cli
