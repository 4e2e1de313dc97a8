// What configuration files say: values of options, and sides that have a name.
//
// Lifetime: plain values that own their text, but for names of options, which are constants.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::cli {

// The values that an option was given, "true" or "false" for one without a value, and how it was
// called there: "kelvane.toml:3:1: format"; empty: on the command line.
struct Setting {
  std::vector<std::string> values;
  std::string called = {};
};
using Settings = std::map<std::string_view, Setting>;  // by Option::name

// [env.NAME]: a side, and what is compared of it. Exactly one of connection, dsn, server, snapshot,
// rows and scripts is there.
struct Environment {
  std::optional<std::string> connection, dsn, server, snapshot, rows;
  std::vector<std::string> scripts;
  std::optional<std::string> user, database, odbcDriver, passwordFile;
  std::vector<std::string> accepts;  // files of known differences of this side
  Settings settings;

  bool isServer() const { return connection || dsn || server; }
};
// What stands before the name of an environment that is meant even where there is such a file.
inline constexpr std::string_view kForcedEnvironment = "env:";
inline std::string_view environmentName(std::string_view operand) {
  return operand.substr(operand.starts_with(kForcedEnvironment) ? kForcedEnvironment.size() : 0);
}
using Environments = std::map<std::string, Environment, std::less<>>;

// [group.NAME]: many sides under one name.
struct EnvironmentGroup {
  std::vector<std::string> environments;  // names and patterns of them
  std::vector<std::string> databases;     // of each of them; none: the one that it names itself
  std::optional<std::string> command;     // prints further sides, a line each
  std::optional<std::string> accept;      // a file of known differences of all of them
  std::optional<std::string> interfaces;  // a file whose entries are servers
  std::vector<std::string> servers;       // which of its entries: patterns; none: all
  std::optional<std::string> user, passwordFile;  // of those servers
};
inline constexpr std::string_view kForcedGroup = "group:";
using EnvironmentGroups = std::map<std::string, EnvironmentGroup, std::less<>>;

}  // namespace kelvane::cli
