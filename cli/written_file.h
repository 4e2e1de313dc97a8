// A file that a command writes.
//
// Lifetime: owns the stream. Threading: one thread.
#pragma once

#include <fstream>
#include <ostream>
#include <string>

namespace kelvane::cli {

class WrittenFile {
 public:
  // `what` is what it is called in complaints: "trace". Throws CommandError, as close() does.
  WrittenFile(std::string what, std::string path);
  std::ostream& stream() { return stream_; }
  // All has been written; to be called before it goes.
  void close();

 private:
  [[noreturn]] void refuse() const;

  std::string what_, path_;
  std::ofstream stream_;
};

}  // namespace kelvane::cli
