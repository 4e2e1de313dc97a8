#include "cli/verbs/ddl_folder.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <system_error>
#include <vector>

#include "cli/screen/folder_file.h"
#include "cli/screen/interruption.h"
#include "inventory/ddl/files.h"

namespace kelvane::cli {
namespace {

namespace fs = std::filesystem;

bool isOurs(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::string begin(inventory::kFileMark.size(), '\0');
  stream.read(begin.data(), static_cast<std::streamsize>(begin.size()));
  return begin == inventory::kFileMark;
}

bool holds(const fs::path& file, const std::string& content) {
  std::error_code failed;
  if (fs::file_size(file, failed) != content.size() || failed) return false;
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream all;
  all << stream.rdbuf();
  return all.str() == content;
}

// Those in the folders that the script may have, and the one of the database.
std::vector<fs::path> filesOfOurs(const fs::path& folder) {
  std::vector<fs::path> found;
  const auto look = [&](const fs::path& inside) {
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(inside, none)) {
      if (entry.is_regular_file() && entry.path().extension() == ".sql" && isOurs(entry.path()))
        found.push_back(entry.path().lexically_relative(folder));
    }
  };
  look(folder);
  for (const inventory::KindRow& row : inventory::kKinds) {
    if (isObject(row.kind)) look(folder / inventory::folderOf(row.kind));
  }
  return found;
}

}  // namespace

void writeFolder(const inventory::Script& script, const std::string& folder, bool removesOthers,
                 const Console& console) {
  std::vector<std::string> foreign;
  std::set<std::string> wanted;
  for (const inventory::ScriptedObject& object : script.objects) {
    wanted.insert(object.file);
    const fs::path path = fs::path(folder) / object.file;
    std::error_code none;
    if (fs::exists(fs::symlink_status(path, none)) && !isOurs(path))
      foreign.push_back("'" + path.string() +
                        "' was not written by kelvane ddl; rename or remove it");
  }
  if (!foreign.empty()) {
    foreign.emplace_back("nothing was written");
    throw CommandError(foreign);
  }
  const Undertaking writing(console, u"",
                            "interrupted while writing: files may be missing in '" + folder + "'");
  for (const inventory::ScriptedObject& object : script.objects) {
    const fs::path path = fs::path(folder) / object.file;
    const std::string content = fileText(object);
    if (holds(path, content)) continue;
    FolderFile file(path);
    file.stream() << content;
    file.close();
  }
  if (!removesOthers) return;
  for (const fs::path& file : filesOfOurs(folder)) {
    if (wanted.contains(file.generic_string())) continue;
    std::error_code failed;
    fs::remove(fs::path(folder) / file, failed);
    if (failed) refuseFile("remove", fs::path(folder) / file, failed.message());
    console.complain("removed " + (fs::path(folder) / file).string());
  }
}

}  // namespace kelvane::cli
