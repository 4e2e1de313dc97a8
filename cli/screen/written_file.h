// Files that a command writes.
//
// Lifetime: they own what they write to; the console outlives them. Threading: one thread.
#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <sys/stat.h>

#include "cli/screen/console.h"
#include "cli/screen/descriptor_stream.h"
#include "cli/screen/interruption.h"

namespace kelvane::cli {

// A file that is there as a whole or not at all: it is written beside the one that it is to replace
// and takes its place, its owner and its permissions in close(). What is not a regular file, a pipe
// or a terminal, is written to as it is. While it is written the status line says so, and Ctrl-C
// ends the process with a word about what is left.
class WrittenFile {
 public:
  // `what` is what it is called in complaints: "report". Throws CommandError, as close() does.
  WrittenFile(std::string what, std::string path, const Console& console);
  ~WrittenFile();
  std::ostream& stream() { return stream_; }
  // All has been written; what was not closed is not there.
  void close();

 private:
  void openBeside();
  void keepOwnerAndPermissions() const;
  void discard();
  // Takes back what was written, for a process that ends, and says what that leaves.
  std::string interrupted();
  [[noreturn]] void refuse(int error) const;

  std::string what_, path_;
  std::filesystem::path target_;
  std::optional<struct stat> replaced_;
  DescriptorStream stream_;

  std::mutex mutex_;                  // Ctrl-C is noticed by another thread
  std::filesystem::path unfinished_;  // while there is such a file
  enum class State { notWritten, incomplete, whole };
  State state_ = State::notWritten;
  bool isInterrupted_ = false;

  Undertaking undertaking_;
};

// A record of what happens, written as it happens: it is of most use for a run that has no end.
class LogFile {
 public:
  // As above.
  LogFile(std::string what, std::string path);
  std::ostream& stream() { return stream_; }
  void close();

 private:
  std::string what_, path_;
  DescriptorStream stream_;
};

}  // namespace kelvane::cli
