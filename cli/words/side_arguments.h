// How a command line names the databases that are to be read.
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/words/arguments.h"
#include "cli/words/place.h"
#include "inventory/ddl/ddl.h"

namespace kelvane::cli {

inline constexpr std::string_view kOdbcDriver = "--odbc-driver", kTrace = "--trace";

// What may be said about a side that is a server.
struct SideOptions {
  std::string_view server, user, database, passwordFile;
};

// What all commands that read a database take besides.
OptionFamily readingOptions();

struct ReadingSettings {
  LoadSettings load;
  odbc::ConnectOptions limits;
  std::optional<rows::RowFileForm> rowFiles = {};  // where the command takes them
};

// Throws UsageError, as all below.
ReadingSettings readingSettings(const Arguments& arguments);

// That of --ase, for scripts that are written.
std::optional<inventory::TargetRelease> askedRelease(const Arguments& arguments);

// `operands`: what the user called the side; none where `options` name it. Opens nothing.
Place placeOf(const Arguments& arguments, const std::vector<std::string>& operands,
              const SideOptions& options, const ReadingSettings& settings);

// How the user calls a place, without secrets.
std::string nameOf(const Place& place, const std::vector<std::string>& operands);

}  // namespace kelvane::cli
