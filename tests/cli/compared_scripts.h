// kelvane compare on scripts that a test writes.
//
// Lifetime: a fixture. Threading: one thread.
#pragma once

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

#include "cli/run.h"
#include "tests/support/temporary_folder.h"

namespace kelvane::cli {

class ComparedScripts : public ::testing::Test {
 protected:
  int kelvane(const std::vector<std::string>& words) {
    out_.str("");
    err_.str("");
    return run(words, {out_, err_, false, {}, outIsTerminal});
  }
  int compareFiles(const std::string& source, const std::string& target,
                   const std::vector<std::string>& options) {
    std::vector<std::string> words{"compare", source, target};
    words.insert(words.end(), options.begin(), options.end());
    return kelvane(words);
  }
  int compare(const std::string& source, const std::string& target,
              const std::vector<std::string>& options = {}) {
    return compareFiles(file("source.sql", source), file("target.sql", target), options);
  }
  std::string path(const std::string& name) const { return (folder_ / name).string(); }
  std::string file(const std::string& name, const std::string& bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
    return path(name);
  }
  std::string contents(const std::string& name) const {
    std::ostringstream text;
    text << std::ifstream(path(name), std::ios::binary).rdbuf();
    return text.str();
  }
  std::string out() const { return out_.str(); }
  std::string err() const { return err_.str(); }

  bool outIsTerminal = false;

 private:
  std::ostringstream out_, err_;
  const kelvane::testing::TemporaryFolder folder_;
};

}  // namespace kelvane::cli
