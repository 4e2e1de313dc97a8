#include "cli/words/overwriting.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <variant>
#include <vector>

#include "cli/screen/destination.h"
#include "cli/words/config_file.h"
#include "cli/words/row_file_paths.h"
#include "drivers/embedded/script.h"

namespace kelvane::cli {
namespace {

namespace fs = std::filesystem;

// A file or folder that there is, or a file that could be made.
struct Identity {
  dev_t device = 0;
  ino_t number = 0;
  std::string name = {};  // within that folder, of a file that is not there

  bool operator==(const Identity&) const = default;
};

// None for what can be written to without being replaced, and for what cannot be.
std::optional<Identity> identityOf(const fs::path& path) {
  struct stat facts {};
  if (stat(path.c_str(), &facts) == 0) {
    if (!S_ISREG(facts.st_mode) && !S_ISDIR(facts.st_mode)) return std::nullopt;
    return Identity{facts.st_dev, facts.st_ino};
  }
  const fs::path target = destinationOf(path.string()).path;
  if (stat(target.parent_path().c_str(), &facts) != 0) return std::nullopt;
  return Identity{facts.st_dev, facts.st_ino, target.filename().string()};
}

struct NamedFile {
  std::string called;
  Identity identity;
};

class Files {
 public:
  void add(const std::string& path) {
    if (auto identity = identityOf(path)) files_.push_back({path, std::move(*identity)});
  }
  void add(const std::optional<std::string>& path) {
    if (path) add(*path);
  }
  void add(const Place& place) {
    if (const auto* scripts = std::get_if<ScriptPlace>(&place)) {
      for (const std::string& path : scripts->paths) addScripts(path);
    } else if (const auto* snapshot = std::get_if<SnapshotPlace>(&place)) {
      add(snapshot->path);
    } else if (const auto* files = std::get_if<RowFilesPlace>(&place)) {
      add(files->path);
      for (const fs::path& file : rowFilesIn(files->path)) add(file.string());
    } else {
      add(std::get<ServerPlace>(place).passwordFile);
    }
  }

  void refuse(const std::string& option, const std::string& path) const {
    const auto identity = identityOf(path);
    if (!identity) return;
    const auto same = std::ranges::find(files_, *identity, &NamedFile::identity);
    if (same != files_.end()) throw UsageError(option + " would overwrite '" + same->called + "'");
    for (const std::string& folder : folders_) {
      if (isScriptOf(folder, path))
        throw UsageError(option + " would add '" + path + "' to the scripts of '" + folder + "'");
    }
  }

 private:
  static bool isScriptOf(const std::string& folder, const std::string& path) {
    try {
      return embedded::isScriptOf(folder, destinationOf(path).path);
    } catch (const fs::filesystem_error&) {
      return false;  // The side, or the file, says so when it is opened.
    }
  }
  void addScripts(const std::string& path) {
    add(path);
    std::error_code ignored;
    if (!fs::is_directory(path, ignored)) return;
    folders_.push_back(path);
    try {
      for (const fs::path& script : embedded::scriptsOf(path)) add(script.string());
    } catch (const fs::filesystem_error&) {
      // The side says so when it is opened.
    }
  }

  std::vector<NamedFile> files_;
  std::vector<std::string> folders_;
};

}  // namespace

void refuseOverwriting(const Arguments& arguments, std::span<const Place> places,
                       const FileOptions& options) {
  std::vector<std::pair<std::string_view, std::string>> written;
  for (const std::string_view option : options.written) {
    if (const auto path = arguments.value(option)) written.emplace_back(option, *path);
  }
  if (written.empty()) return;
  Files read;
  for (const Place& place : places) read.add(place);
  read.add(arguments.configFile);
  // Also where this run ignores it.
  if (std::error_code failed; fs::exists(kConfigFileName, failed))
    read.add(std::string(kConfigFileName));
  const Files withoutUpdated = read;
  read.add(arguments.value(options.read));
  std::vector<NamedFile> before;
  for (const auto& [option, path] : written) {
    const std::string called = arguments.called(option);
    (option == options.updates ? withoutUpdated : read).refuse(called, path);
    auto identity = identityOf(path);
    if (!identity) continue;
    const auto same = std::ranges::find(before, *identity, &NamedFile::identity);
    if (same != before.end())
      throw UsageError(same->called + " and " + called + " both write '" + path + "'");
    before.push_back({called, std::move(*identity)});
  }
}

}  // namespace kelvane::cli
