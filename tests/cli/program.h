// The kelvane program as a process of its own, with an environment, a session and perhaps a
// terminal of its own.
//
// Lifetime: a process that still runs when it goes is killed. Threading: one thread.
#pragma once

#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace kelvane::testing {

class Program {
 public:
  enum class Terminal { none, own };
  using Environment = std::vector<std::pair<std::string, std::string>>;

  // With a terminal, all output goes there.
  Program(const std::vector<std::string>& arguments, const Environment& environment,
          Terminal terminal = Terminal::none);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  pid_t id() const { return id_; }
  // What it has written so far, standard output and standard error.
  const std::string& output() const { return output_; }
  // Reads until the output holds a text; false at its end, and after a minute.
  bool waitFor(const std::string& text);
  // Reads to the end and returns the exit status, 128 + its number when a signal ended the process,
  // -1 after a minute.
  int wait();
  void type(const std::string& keys) const;
  // Whether its terminal shows what is typed.
  bool echoes() const;

 private:
  bool readMore(int milliseconds);

  pid_t id_ = -1;
  int descriptor_ = -1;
  int terminalEnd_ = -1;  // keeps the terminal when the process is gone
  std::string output_;
};

}  // namespace kelvane::testing
