// The characters of a file one after the other, and where they stand.
//
// Lifetime: owns the file. Threading: one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::rows {

struct FilePosition {
  std::int64_t line = 1, column = 1;
};

class FileText {
 public:
  static constexpr int kEnd = -1;

  /// Behind a byte order mark. Throws RowFileError.
  explicit FileText(std::string path);

  /// The next byte, or kEnd.
  int peek() {
    if (at_ == end_ && !fill()) return kEnd;
    return static_cast<unsigned char>(buffer_[at_]);
  }
  int take() {
    const int byte = peek();
    if (byte == kEnd) return byte;
    ++at_;
    pass(byte, position_);
    return byte;
  }
  const FilePosition& position() const { return position_; }
  /// Where `text`, which begins at `begin`, has its byte `at`.
  static FilePosition within(FilePosition begin, std::string_view text, std::size_t at) {
    for (const char byte : text.substr(0, at)) pass(static_cast<unsigned char>(byte), begin);
    return begin;
  }
  [[noreturn]] void refuse(const FilePosition& position, const std::string& what) const;

 private:
  static void pass(int byte, FilePosition& position) {
    if (byte == '\n') {
      ++position.line;
      position.column = 1;
    } else if ((byte & 0xC0) != 0x80) {
      ++position.column;
    }
  }
  bool fill();

  std::string path_;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
  std::vector<char> buffer_;
  std::size_t at_ = 0, end_ = 0;
  FilePosition position_;
};

/// The first byte that is not part of valid UTF-8; the size where there is none.
std::size_t firstInvalid(std::string_view text);

}  // namespace kelvane::rows
