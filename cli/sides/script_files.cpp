#include "cli/sides/script_files.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>

#include "inventory/ddl/files.h"

namespace kelvane::cli {
namespace {

namespace fs = std::filesystem;

bool isOfDdl(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::string begin(inventory::kFileMark.size(), '\0');
  stream.read(begin.data(), static_cast<std::streamsize>(begin.size()));
  return begin == inventory::kFileMark;
}

struct Folder {
  bool isFolder;
  std::vector<fs::path> files;
};

Folder folderOf(const fs::path& place) {
  std::error_code none;
  if (!fs::is_directory(place, none)) return {false, {place}};
  return {true, embedded::scriptsOf(place)};
}

// False if one cannot be read.
bool addTexts(const Folder& folder, std::vector<embedded::ScriptText>& texts) {
  std::vector<std::string> contents;
  contents.reserve(folder.files.size());
  for (const fs::path& file : folder.files) {
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream content;
    // Nothing to insert is a failure of that stream alone.
    content << stream.rdbuf();
    if (!stream.is_open() || stream.bad()) return false;
    contents.push_back(std::move(content).str());
  }
  if (!folder.isFolder) {
    texts.push_back({folder.files.front().string(), std::move(contents.front())});
    return true;
  }
  for (inventory::FilePart& part : inventory::inRunningOrder(contents, false))
    texts.push_back({folder.files[part.file].string(), std::move(part.text)});
  return true;
}

}  // namespace

std::vector<embedded::ScriptText> inRunningOrder(std::vector<embedded::ScriptText> texts) {
  const bool isAnyOfDdl = std::ranges::any_of(texts, [](const embedded::ScriptText& one) {
    return one.text.starts_with(inventory::kFileMark);
  });
  if (!isAnyOfDdl) return texts;
  std::vector<std::string> contents;
  contents.reserve(texts.size());
  for (embedded::ScriptText& one : texts) contents.push_back(std::move(one.text));
  std::vector<embedded::ScriptText> ordered;
  for (inventory::FilePart& part : inventory::inRunningOrder(contents, false))
    ordered.push_back({texts[part.file].name, std::move(part.text)});
  return ordered;
}

std::optional<std::vector<embedded::ScriptText>> textsInOrder(std::span<const fs::path> places) {
  std::vector<Folder> folders;
  folders.reserve(places.size());
  try {
    for (const fs::path& place : places) folders.push_back(folderOf(place));
  } catch (const fs::filesystem_error&) {
    return std::nullopt;
  }
  const bool isAnyOfDdl = std::ranges::any_of(folders, [](const Folder& folder) {
    return folder.isFolder && std::ranges::any_of(folder.files, isOfDdl);
  });
  if (!isAnyOfDdl) return std::nullopt;
  std::vector<embedded::ScriptText> texts;
  for (const Folder& folder : folders) {
    if (!addTexts(folder, texts)) return std::nullopt;
  }
  return texts;
}

}  // namespace kelvane::cli
