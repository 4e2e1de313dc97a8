// Loads T-SQL script files into an embedded catalog.
//
// Free functions; threading as for the catalog.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/connection.h"

namespace kelvane::embedded {

/// What a statement of a script, or the file itself, gave reason to say.
struct ScriptNote {
  std::string file;
  std::uint32_t line = 0;  ///< from 1; 0 when the file could not be read
  int number = 0;          ///< the server's message number; 0 when the text is not the server's
  std::string text;
  std::string statement;  ///< the first line of the statement

  /// `file:line: message 208: ...`
  std::string describe() const;
};

struct LoadReport {
  std::vector<ScriptNote> errors;
  /// Things that were to be removed and were not there, which leaves what the script wants.
  std::vector<ScriptNote> notes;

  bool succeeded() const { return errors.empty(); }
};

struct LoadOptions {
  bool stopAtFirstError = true;
};

/// Runs the batches of `text`; `name` is what messages call it. `use` takes any database name: the
/// catalog then goes by that name. A script without a statement is an error.
LoadReport loadScript(EmbeddedCatalog& catalog, std::string_view name, std::string_view text,
                      const LoadOptions& options = {});

/// The same for a file (UTF-8). One that cannot be read is an error of the report.
LoadReport loadFile(EmbeddedCatalog& catalog, const std::filesystem::path& file,
                    const LoadOptions& options = {});

}  // namespace kelvane::embedded
