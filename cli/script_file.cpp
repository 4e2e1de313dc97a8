#include "cli/script_file.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "cli/console.h"

namespace kelvane::cli {
namespace {

CommandError unreadable(const std::string& path) {
  return CommandError({"cannot read '" + path + "': " + std::strerror(errno)});
}

}  // namespace

std::string readScriptFile(const std::string& path) {
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  const std::unique_ptr<std::FILE, Close> file(std::fopen(path.c_str(), "rb"));
  if (!file) throw unreadable(path);
  std::string text;
  std::array<char, 1 << 16> piece;
  while (const std::size_t size = std::fread(piece.data(), 1, piece.size(), file.get()))
    text.append(piece.data(), size);
  if (std::ferror(file.get())) throw unreadable(path);
  if (text.find_first_not_of(" \t\r\n") == text.npos)
    throw CommandError({"'" + path + "' is empty; a T-SQL script is needed"});
  return text;
}

}  // namespace kelvane::cli
