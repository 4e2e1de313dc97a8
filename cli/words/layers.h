// What holds where a command line leaves something open: environment variables, then the sides that
// kelvane.toml describes, then its section for the verb, then what it says for all.
//
// Lifetime: results own their text. Threading: free functions; one thread, for they read the
// environment and the current folder.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/words/arguments.h"
#include "cli/words/command_line.h"
#include "cli/words/config_file.h"
#include "cli/words/verb.h"

namespace kelvane::cli {

// The file that counts for a command with these options; none where there is none or none is
// wanted. Throws UsageError and CommandError, as completed().
std::optional<ConfigFile> configFileFor(const Settings& given);

Arguments completed(CommandLine line, const Verb& verb);

// A line for each environment variable that is called like one of the command's and is none. Such
// a variable is no error: what a shell sets is for all versions.
std::vector<std::string> strangeVariables();

}  // namespace kelvane::cli
