#include "cli/words/row_file_paths.h"

#include <algorithm>
#include <array>
#include <tuple>

#include "drivers/embedded/script.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

namespace fs = std::filesystem;

struct EndingRow {
  std::string_view ending;
  rows::RowFormat format;
};
// The first one of a format is that of files that are written.
constexpr auto kEndings = std::to_array<EndingRow>({
    {"csv", rows::RowFormat::csv},
    {"jsonl", rows::RowFormat::jsonLines},
    {"ndjson", rows::RowFormat::jsonLines},
    {"bcp", rows::RowFormat::bcp},
});

// With \t, \n, \r, \0 and \\ for what no shell likes.
std::string terminatorOf(const Arguments& arguments, std::string_view option,
                         std::string unlessSaid) {
  const auto value = arguments.value(option);
  if (!value) return unlessSaid;
  constexpr std::string_view kNames = "tnr0\\", kMeant("\t\n\r\0\\", 5);
  std::string text;
  for (std::size_t at = 0; at < value->size(); ++at) {
    const bool isEscape = (*value)[at] == '\\' && at + 1 < value->size();
    const std::size_t name = isEscape ? kNames.find((*value)[at + 1]) : std::string_view::npos;
    if ((*value)[at] == '\\' && name == std::string_view::npos)
      throw UsageError(arguments.called(option) + " takes \\t, \\n, \\r, \\0 and \\\\, not '" +
                       value->substr(at, 2) + "'");
    text += isEscape ? kMeant[name] : (*value)[at];
    if (isEscape) ++at;
  }
  if (text.empty()) throw UsageError(arguments.called(option) + " takes at least one character");
  return text;
}

}  // namespace

rows::RowFileForm rowFileFormOf(const Arguments& arguments) {
  rows::RowFileForm form;
  form.hasHeader = !arguments.has(kNoHeader);
  form.fieldTerminator = terminatorOf(arguments, kFieldTerminator, form.fieldTerminator);
  form.rowTerminator = terminatorOf(arguments, kRowTerminator, form.rowTerminator);
  const auto& [one, other] = std::tie(form.fieldTerminator, form.rowTerminator);
  if (one.find(other) != std::string::npos || other.find(one) != std::string::npos)
    throw UsageError("of " + std::string(kFieldTerminator) + " and " + std::string(kRowTerminator) +
                     " none may have the other in it");
  return form;
}

std::optional<rows::RowFormat> rowFormatOf(const fs::path& path) {
  const std::string ending = path.extension().string();
  const auto row = std::ranges::find_if(kEndings, [&](const EndingRow& one) {
    return equalText(toUtf16(ending), u"." + toUtf16(one.ending), CaseMode::ignore);
  });
  return row == kEndings.end() ? std::nullopt : std::optional(row->format);
}

std::string_view endingOf(rows::RowFormat format) {
  return std::ranges::find(kEndings, format, &EndingRow::format)->ending;
}

bool isRowFiles(const std::string& path) {
  std::error_code none;
  if (!fs::is_directory(path, none)) return rowFormatOf(path).has_value();
  try {
    return !rowFilesIn(path).empty() && embedded::scriptsOf(path).empty();
  } catch (const fs::filesystem_error&) {
    return false;  // The side says so when it is opened.
  }
}

std::vector<fs::path> rowFilesIn(const std::string& path) {
  std::error_code none;
  if (!fs::is_directory(path, none)) return {path};
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(path, none)) {
    const bool isHidden = entry.path().filename().string().starts_with('.');
    if (!isHidden && rowFormatOf(entry.path()) && entry.is_regular_file(none))
      files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

}  // namespace kelvane::cli
