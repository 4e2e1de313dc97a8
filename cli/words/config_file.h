// Files called kelvane.toml: options, for all verbs or for one, and sides that have a name.
//
// Lifetime: results own their text, but for names of options. Threading: free functions; one
// thread, for they read the environment and the current folder.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "cli/words/environment.h"

namespace kelvane::cli {

inline constexpr const char* kConfigFileName = "kelvane.toml";

struct ConfigFile {
  std::string path;
  Settings settings;                             // of all verbs that have the option
  std::map<std::string_view, Settings> ofVerbs;  // by Verb::name
  Environments environments;
  EnvironmentGroups groups;
};

// kelvane.toml in the current folder, else the user's own; none where there is neither.
std::optional<std::string> configFileInPlace();

// Relative paths in the file are made relative to its folder. Throws CommandError for a file that
// cannot be read, is no TOML, or says what means nothing, with the line and the column.
ConfigFile loadConfigFile(const std::string& path);

}  // namespace kelvane::cli
