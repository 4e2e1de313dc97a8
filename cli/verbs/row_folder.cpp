#include "cli/verbs/row_folder.h"

#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "cli/screen/folder_file.h"

namespace kelvane::cli {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kList = "kelvane-export.txt",
                           kHead = "# Written by kelvane data --export, which replaces these files";

bool isName(const std::string& line) {
  return !line.empty() && line.front() != '#' && line.front() != '.' &&
         line.find('/') == std::string::npos;
}

// Empty where there is none.
std::set<std::string> listIn(const fs::path& folder) {
  std::set<std::string> names;
  const fs::path path = folder / kList;
  std::ifstream stream(path, std::ios::binary);
  std::string line;
  if (!stream || !std::getline(stream, line)) return names;
  if (line != kHead)
    throw CommandError(
        {"'" + path.string() + "' was not written by kelvane data --export; rename or remove it",
         "nothing was written"});
  while (std::getline(stream, line)) {
    if (isName(line)) names.insert(line);
  }
  return names;
}

}  // namespace

RowFolder::RowFolder(std::string folder, const std::vector<std::string>& names)
    : folder_(std::move(folder)), wanted_(names.begin(), names.end()), listed_(listIn(folder_)) {
  std::vector<std::string> foreign;
  for (const std::string& name : wanted_) {
    std::error_code none;
    if (fs::exists(fs::symlink_status(path(name), none)) && !listed_.contains(name))
      foreign.push_back("'" + path(name).string() +
                        "' was not written by kelvane data --export; rename or remove it");
  }
  if (!foreign.empty()) {
    foreign.emplace_back("nothing was written");
    throw CommandError(foreign);
  }
  // Before them: if this ends early, the next export knows the files for its own.
  listed_.insert(wanted_.begin(), wanted_.end());
  writeList();
}

void RowFolder::writeList() const {
  FolderFile file(folder_ / kList);
  file.stream() << kHead << '\n';
  for (const std::string& name : listed_) file.stream() << name << '\n';
  file.close();
}

void RowFolder::finish(bool removesOthers, const Console& console) {
  if (!removesOthers) return;
  for (const std::string& name : listed_) {
    if (wanted_.contains(name)) continue;
    std::error_code failed;
    const bool wasThere = fs::remove(path(name), failed);
    if (failed) refuseFile("remove", path(name), failed.message());
    if (wasThere) console.complain("removed " + path(name).string());
  }
  listed_ = wanted_;
  writeList();
}

}  // namespace kelvane::cli
