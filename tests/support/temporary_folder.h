// A folder of a test's own, so that tests may run at the same time.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <system_error>

namespace kelvane::testing {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = ::testing::TempDir() + "/kelvane.XXXXXX";
    if (!mkdtemp(pattern.data())) throw std::system_error(errno, std::generic_category());
    path_ = pattern;
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  operator const std::filesystem::path&() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
  std::string string() const { return path_.string(); }

 private:
  std::filesystem::path path_;
};

}  // namespace kelvane::testing
