// Splits the text of a script file into batches the way the interactive client does.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::tsql {

/// Text between two `go` lines, byte for byte as in the script, with its last line end.
struct Batch {
  std::string_view text;
  std::uint32_t firstLine = 1;  ///< 1-based line of the script
  std::uint32_t repeat = 1;     ///< n of `go n`
};

/// The file is not a script; the text says why, with the line.
struct ScriptError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Throws ScriptError for binary content and UTF-16 text.
void requireText(std::string_view script);

/// The batches of `script`, which must outlive them. A line that is only `go` or `go n` (any case,
/// blanks around it) ends a batch, a line that is only `exit` or `quit` ends the script; neither
/// counts inside a comment or a string. Batches of nothing but blanks are left out. A byte order
/// mark is skipped.
std::vector<Batch> splitScript(std::string_view script);

/// The batch cut at its semicolons, each statement a batch of its own, as clients send it whose
/// scripts need no `go`. Left whole are a batch with one statement, blocks, whatever follows a
/// variable's declaration, and a batch that creates a procedure, function or trigger first.
std::vector<Batch> splitAtSemicolons(const Batch& batch);

}  // namespace kelvane::tsql
