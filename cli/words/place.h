// What the user calls a side, before anything is opened.
//
// Plain values.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "cli/screen/console.h"
#include "drivers/embedded/options.h"
#include "drivers/odbc/connection.h"
#include "drivers/odbc/connection_string.h"
#include "rows/row_files.h"

namespace kelvane::cli {

// How scripts become a database.
struct LoadSettings {
  bool keepGoing = false;  // past statements that fail
  bool verbose = false;    // tell what was run, what was accepted and ignored, and the like
  bool listMade = false;   // where objects are made
  embedded::CatalogOptions catalog;
};

// T-SQL script files and folders of them, at least one.
struct ScriptPlace {
  std::vector<std::string> paths;
  LoadSettings settings;
  std::optional<std::string> database;   // where the scripts create several
  std::string_view databaseOption = {};  // names it
  // Of a git repository; the paths are those of its tree. None: the files of the folder.
  std::optional<std::string> revision = {};
  std::optional<std::string> ancestorWith = {};  // where the revision and this one were one
};

// What stands before a connection string.
inline constexpr std::string_view kServerMark = "odbc:";
struct ServerPlace {
  std::string name;  // as it is shown: without a secret
  odbc::ConnectionString address;
  std::optional<std::string> passwordFile;
  odbc::ConnectOptions limits;
  bool verbose = false;
};

// A file that `kelvane snapshot` wrote, told from scripts by the end of its name.
inline constexpr std::string_view kSnapshotEnding = ".json";
struct SnapshotPlace {
  std::string path;
  bool verbose = false;
};

// Files with the rows of a table each, or a folder of them: rows without a database. Only commands
// that ask placeOf for them meet such a place.
struct RowFilesPlace {
  std::string path;
  rows::RowFileForm form = {};  // but for the format, which the end of a name tells
  bool verbose = false;
};

using Place = std::variant<ScriptPlace, ServerPlace, SnapshotPlace, RowFilesPlace>;

// Whether the user wants to know what is done with the side.
inline bool isVerbose(const Place& place) {
  if (const auto* scripts = std::get_if<ScriptPlace>(&place)) return scripts->settings.verbose;
  if (const auto* server = std::get_if<ServerPlace>(&place)) return server->verbose;
  if (const auto* files = std::get_if<RowFilesPlace>(&place)) return files->verbose;
  return std::get<SnapshotPlace>(place).verbose;
}

class Side;
// Opens a side. Throws CommandError.
using OpenSide = std::function<std::unique_ptr<Side>(const Place& place, const Console& console)>;

}  // namespace kelvane::cli
