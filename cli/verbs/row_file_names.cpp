#include "cli/verbs/row_file_names.h"

#include <charconv>

#include "inventory/ddl/file_names.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kOwner = "dbo", kScript = ".sql";

// %20 is a blank.
std::string decoded(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    unsigned byte = 0;
    const char* const digits = text.data() + at + 1;
    const bool isCode = text[at] == '%' && at + 2 < text.size() &&
                        std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2;
    result += isCode ? static_cast<char>(byte) : text[at];
    if (isCode) at += 2;
  }
  return result;
}

}  // namespace

std::vector<std::string> rowFileNames(const std::vector<inventory::QualifiedName>& tables) {
  std::vector<inventory::ScriptedObject> objects;
  for (const inventory::QualifiedName& table : tables) {
    const std::vector<std::string> parts =
        table.owner == kOwner ? std::vector{table.name} : std::vector{table.owner, table.name};
    objects.emplace_back().file = inventory::fileName(parts) + std::string(kScript);
  }
  inventory::tellApart(objects);
  std::vector<std::string> names;
  names.reserve(objects.size());
  for (const inventory::ScriptedObject& object : objects)
    names.push_back(object.file.substr(0, object.file.size() - kScript.size()));
  return names;
}

inventory::QualifiedName tableOfFile(std::string_view name) {
  const std::size_t point = name.find('.');
  if (point == std::string_view::npos) return {std::string(kOwner), decoded(name)};
  return {decoded(name.substr(0, point)), decoded(name.substr(point + 1))};
}

}  // namespace kelvane::cli
