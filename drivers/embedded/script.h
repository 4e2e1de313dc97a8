// Loads T-SQL script files into an embedded catalog.
//
// Free functions; threading as for the catalog.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/connection.h"
#include "drivers/embedded/made_object.h"

namespace kelvane::embedded {

/// What a statement of a script, or the file itself, gave reason to say.
struct ScriptNote {
  std::string file;
  std::uint32_t line = 0;  ///< from 1; 0 when the file could not be read
  int number = 0;          ///< the server's message number; 0 when the text is not the server's
  std::string text;
  /// The first line of the statement; of a batch that is not understood, the line.
  std::string statement;

  /// `file:line: message 208: ...`
  std::string describe() const;
};

struct ViewWithoutColumns {
  std::string database;
  std::string view;  ///< `owner.name`
  ScriptNote note;
};

struct LoadReport {
  std::vector<ScriptNote> errors;
  /// What is no error and may surprise: things that were to be removed and were not there, which
  /// leaves what the script wants, and a file that is not UTF-8. With `listIgnored` also what was
  /// accepted and has no place in the catalog.
  std::vector<ScriptNote> notes;
  /// Views whose columns are not known, because they use a database that no script creates, or
  /// something that is not in it.
  std::vector<ViewWithoutColumns> incomplete;
  /// Transactions that were open at the end of a script, which undoes what they changed.
  std::vector<ScriptNote> undone;
  /// Of what is there in the end, where the options ask for it; the last one of a name counts.
  std::vector<MadeObject> made;
  /// False when a file could not be read or holds no script, an error with any options.
  bool readable = true;

  bool succeeded() const { return errors.empty(); }
};

/// Where the loading is.
struct LoadProgress {
  std::string_view file;
  std::size_t number = 1, files = 1;  ///< the file is the first of so many
  int percent = 0;                    ///< of the file, by its length
};

struct LoadOptions {
  bool stopAtFirstError = true;
  bool listIgnored = false;
  bool listMade = false;
  /// Called before a file is read, with 0 percent, and before each of its batches runs.
  std::function<void(const LoadProgress&)> progress = {};
};

/// Runs the batches of `text`; `name` is what messages call it. Text that is not UTF-8 is taken for
/// Windows-1252, which Latin-1 is a part of. Statements that end in `;` run one by one. `use` takes
/// any name: a database that there is not is created. A script without a statement is an error.
LoadReport loadScript(EmbeddedCatalog& catalog, std::string_view name, std::string_view text,
                      const LoadOptions& options = {});

/// The scripts that a folder stands for. Throws std::filesystem::filesystem_error.
std::vector<std::filesystem::path> scriptsOf(const std::filesystem::path& folder);
/// Whether a file, there or not, would be one of them. Throws std::filesystem::filesystem_error.
bool isScriptOf(const std::filesystem::path& folder, const std::filesystem::path& file);

/// The same for several files, one after the other on the same database, each with a session of its
/// own. A folder stands for the `.sql` files in it and in the folders below it, in the order of
/// their paths, byte by byte; those whose names begin with a dot are left out. A file without a
/// statement is an error only when no other has one.
LoadReport loadFiles(EmbeddedCatalog& catalog, std::span<const std::filesystem::path> places,
                     const LoadOptions& options = {});

struct ScriptText {
  std::string name;  ///< what messages call it
  std::string text;
};

/// The same for scripts that somebody else read.
LoadReport loadTexts(EmbeddedCatalog& catalog, std::span<const ScriptText> texts,
                     const LoadOptions& options = {});

/// One file or folder.
inline LoadReport loadFile(EmbeddedCatalog& catalog, const std::filesystem::path& place,
                           const LoadOptions& options = {}) {
  return loadFiles(catalog, {&place, 1}, options);
}

}  // namespace kelvane::embedded
