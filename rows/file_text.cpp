#include "rows/file_text.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <utility>

#include "rows/row_files.h"

namespace kelvane::rows {
namespace {

constexpr std::size_t kBufferBytes = 256U << 10U;

[[noreturn]] void refuseToRead(const std::string& path) {
  throw RowFileError("cannot read '" + path + "': " + std::strerror(errno));
}

bool isBehindFirst(std::string_view text, std::size_t at) {
  return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U;
}

/// Of the character that begins there; 0 where none does.
std::size_t sizeOfCharacter(std::string_view text, std::size_t at) {
  const auto first = static_cast<unsigned char>(text[at]);
  if (first < 0x80) return 1;
  if (first < 0xC2 || first > 0xF4 || !isBehindFirst(text, at + 1)) return 0;
  if (first < 0xE0) return 2;
  const auto second = static_cast<unsigned char>(text[at + 1]);
  if (!isBehindFirst(text, at + 2)) return 0;
  if (first < 0xF0) {
    const bool isOverlong = first == 0xE0 && second < 0xA0;
    const bool isSurrogate = first == 0xED && second >= 0xA0;
    return isOverlong || isSurrogate ? 0 : 3;
  }
  const bool isOverlong = first == 0xF0 && second < 0x90;
  const bool isBeyond = first == 0xF4 && second >= 0x90;
  return isOverlong || isBeyond || !isBehindFirst(text, at + 3) ? 0 : 4;
}

/// Names and values of a file may have line feeds in them.
std::string onOneLine(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20) c = ' ';
  }
  return text;
}

}  // namespace

FileText::FileText(std::string path)
    : path_(std::move(path)), file_(std::fopen(path_.c_str(), "rb"), &std::fclose) {
  struct stat facts {};
  if (!file_) refuseToRead(path_);
  if (fstat(fileno(file_.get()), &facts) == 0 && S_ISDIR(facts.st_mode)) {
    errno = EISDIR;
    refuseToRead(path_);
  }
  buffer_.resize(kBufferBytes);
  fill();
  if (std::string_view(buffer_.data(), end_).starts_with("\xEF\xBB\xBF")) at_ = 3;
}

bool FileText::fill() {
  at_ = 0;
  end_ = std::fread(buffer_.data(), 1, buffer_.size(), file_.get());
  if (end_ == 0 && std::ferror(file_.get()) != 0) refuseToRead(path_);
  return end_ > 0;
}

void FileText::refuse(const FilePosition& position, const std::string& what) const {
  throw RowFileError(path_ + ":" + std::to_string(position.line) + ":" +
                     std::to_string(position.column) + ": " + onOneLine(what));
}

std::size_t firstInvalid(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t size = sizeOfCharacter(text, at);
    if (size == 0) return at;
    at += size;
  }
  return at;
}

}  // namespace kelvane::rows
