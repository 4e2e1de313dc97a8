// Which files have rows, and of which format: the ends of their names tell.
//
// Lifetime: plain values. Threading: free functions without state; they ask the file system.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/words/arguments.h"
#include "rows/row_files.h"

namespace kelvane::cli {

inline constexpr std::string_view kFieldTerminator = "--field-terminator",
                                  kNoHeader = "--no-header", kRowTerminator = "--row-terminator";
inline constexpr auto kRowFileOptions = std::to_array<Option>({
    {kFieldTerminator, "TEXT", "between the fields of .bcp files; default: \\t"},
    {kNoHeader, "", "the first line of CSV files is a row"},
    {kRowTerminator, "TEXT", "behind the rows of .bcp files; default: \\n"},
});

// What those options say. Throws UsageError.
rows::RowFileForm rowFileFormOf(const Arguments& arguments);

std::optional<rows::RowFormat> rowFormatOf(const std::filesystem::path& path);
// "csv": the ending of files that are written.
std::string_view endingOf(rows::RowFormat format);

// A file of rows, or a folder that has such files and no script.
bool isRowFiles(const std::string& path);
// The path itself, or the files of rows in the folder, sorted; names that begin with a dot are left
// out. None of a folder that cannot be read.
std::vector<std::filesystem::path> rowFilesIn(const std::string& path);

}  // namespace kelvane::cli
