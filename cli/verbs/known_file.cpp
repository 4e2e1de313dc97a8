#include "cli/verbs/known_file.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>

namespace kelvane::cli {

std::chrono::year_month_day today() {
  const std::time_t seconds = std::time(nullptr);
  std::tm moment{};
  localtime_r(&seconds, &moment);
  return {std::chrono::year(moment.tm_year + 1900),
          std::chrono::month(static_cast<unsigned>(moment.tm_mon + 1)),
          std::chrono::day(static_cast<unsigned>(moment.tm_mday))};
}

std::string readListFile(const std::string& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file || std::filesystem::is_directory(path))
    throw CommandError({path + ": " + (errno != 0 ? std::strerror(errno) : "is not a file")});
  std::ostringstream text;
  text << file.rdbuf();
  return std::move(text).str();
}

}  // namespace kelvane::cli
