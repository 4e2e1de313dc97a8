#include "cli/words/config_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <toml++/toml.h>

#include "cli/screen/console.h"
#include "cli/screen/variable.h"
#include "cli/words/place.h"
#include "cli/words/verb.h"
#include "drivers/odbc/connection_string.h"
#include "inventory/near_names.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kEnvironments = "env", kGroups = "group", kScripts = "scripts";
constexpr std::string_view kAccept = "accept";

// What a group says: a text or a list of them.
struct GroupKey {
  std::string_view name;
  std::optional<std::string> EnvironmentGroup::*text = nullptr;
  std::vector<std::string> EnvironmentGroup::*list = nullptr;
  bool isFile = false;
};
constexpr std::array kGroupKeys{
    GroupKey{kAccept, &EnvironmentGroup::accept, nullptr, true},
    GroupKey{"command", &EnvironmentGroup::command},
    GroupKey{"databases", nullptr, &EnvironmentGroup::databases},
    GroupKey{"envs", nullptr, &EnvironmentGroup::environments},
    GroupKey{"interfaces", &EnvironmentGroup::interfaces, nullptr, true},
    GroupKey{"password-file", &EnvironmentGroup::passwordFile, nullptr, true},
    GroupKey{"servers", nullptr, &EnvironmentGroup::servers},
    GroupKey{"user", &EnvironmentGroup::user},
};

// What an environment says about its side, but for its scripts.
struct SideKey {
  std::string_view name;
  std::optional<std::string> Environment::*text;
  bool isFile = false;
};
constexpr auto kSideKeys = std::to_array<SideKey>({
    {"connection", &Environment::connection},
    {"database", &Environment::database},
    {"dsn", &Environment::dsn},
    {"odbc-driver", &Environment::odbcDriver},
    {"password-file", &Environment::passwordFile, true},
    {"rows", &Environment::rows, true},
    {"server", &Environment::server},
    {"snapshot", &Environment::snapshot, true},
    {"user", &Environment::user},
});

using Options = std::vector<const Option*>;

std::string_view keyOf(const Option& option) { return option.name.substr(2); }

class Reader {
 public:
  explicit Reader(const std::string& path)
      : path_(path), folder_(std::filesystem::path(path).parent_path()) {}

  ConfigFile read();

 private:
  std::string text() const;
  std::string place(const toml::source_region& at) const {
    return path_ + ":" + std::to_string(at.begin.line) + ":" + std::to_string(at.begin.column) +
           ": ";
  }
  [[noreturn]] void refuse(const toml::source_region& at, const std::string& what) const {
    throw CommandError({place(at) + what});
  }
  [[noreturn]] void refuseKey(const toml::key& key, std::vector<std::string_view> known) const;
  const toml::table& tableOf(const toml::key& key, const toml::node& node) const;

  std::string textOf(const toml::key& key, const toml::node& node) const;
  std::string numberOf(const toml::key& key, const toml::node& node) const;
  std::vector<std::string> textsOf(const toml::key& key, const toml::node& node) const;
  std::string fileOf(const toml::key& key, const toml::node& node) const {
    return resolved(textOf(key, node));
  }
  std::string resolved(const std::string& file) const;
  Setting settingOf(const Option& option, const toml::key& key, const toml::node& node) const;

  // False where no option is called so.
  bool readOption(const Options& options, const toml::key& key, const toml::node& node,
                  Settings& settings) const;
  void readVerb(const Verb& verb, const toml::table& table, Settings& settings) const;
  Environment readEnvironment(const std::string& name, const toml::key& at,
                              const toml::table& table) const;
  EnvironmentGroup readGroup(const std::string& name, const toml::key& at,
                             const toml::table& table) const;
  bool readSideKey(const toml::key& key, const toml::node& node, Environment& environment) const;
  void refusePassword(const std::string& text, const toml::node& at) const;
  void checkConnection(const std::string& connection, const toml::node& at) const;
  void check(const std::string& name, const toml::key& at, const Environment& environment) const;

  std::string path_;
  std::filesystem::path folder_;
};

std::string Reader::text() const {
  std::ifstream file(path_, std::ios::binary);
  std::ostringstream content;
  if (file) content << file.rdbuf();
  if (!file) throw CommandError({"'" + path_ + "' cannot be read: " + std::strerror(errno)});
  return content.str();
}

std::string Reader::resolved(const std::string& file) const {
  const auto home = variable("HOME");
  return file.starts_with("~/") && home ? *home + file.substr(1) : (folder_ / file).string();
}

void Reader::refuseKey(const toml::key& key, std::vector<std::string_view> known) const {
  const std::string name(key.str());
  if (name == "pwd" || name.find("password") != name.npos)
    refuse(key.source(),
           "passwords are not allowed here; put the password into a file that only you may "
           "read, and name that file as password-file of an [env.NAME]");
  for (const Verb& verb : verbs()) {
    for (const OptionFamily& family : familiesOf(verb)) {
      if (family.elsewhere != Elsewhere::nowhere) continue;
      if (std::ranges::find(family.options, name, keyOf) != family.options.end())
        refuse(key.source(),
               "'" + name + "' is only for the command line; in this file a side is an [env.NAME]");
    }
  }
  refuse(key.source(), "unknown key '" + name + "'" + inventory::nearestName(name, known));
}

const toml::table& Reader::tableOf(const toml::key& key, const toml::node& node) const {
  if (const toml::table* const table = node.as_table()) return *table;
  refuse(node.source(), std::string(key.str()) + " is a section, [" + std::string(key.str()) + "]");
}

std::string Reader::textOf(const toml::key& key, const toml::node& node) const {
  const auto* const string = node.as_string();
  if (string == nullptr || string->get().empty())
    refuse(node.source(), std::string(key.str()) + " takes a string");
  return string->get();
}

// Numbers may stand without quotes.
std::string Reader::numberOf(const toml::key& key, const toml::node& node) const {
  std::ostringstream written;
  if (const auto* const whole = node.as_integer())
    written << whole->get();
  else if (const auto* const number = node.as_floating_point())
    written << number->get();
  else
    return textOf(key, node);
  return written.str();
}

std::vector<std::string> Reader::textsOf(const toml::key& key, const toml::node& node) const {
  const toml::array* const list = node.as_array();
  if (list == nullptr) return {textOf(key, node)};
  std::vector<std::string> texts;
  for (const toml::node& one : *list) texts.push_back(textOf(key, one));
  return texts;
}

Setting Reader::settingOf(const Option& option, const toml::key& key,
                          const toml::node& node) const {
  Setting setting{{}, place(key.source()) + std::string(key.str())};
  if (option.value.empty()) {
    const auto* const flag = node.as_boolean();
    if (flag == nullptr) refuse(node.source(), std::string(key.str()) + " takes true or false");
    setting.values = {flag->get() ? "true" : "false"};
  } else if (option.mayBeRepeated()) {
    setting.values = textsOf(key, node);
  } else if (option.isNumber()) {
    setting.values = {numberOf(key, node)};
  } else {
    setting.values = {option.isPath() ? fileOf(key, node) : textOf(key, node)};
  }
  return setting;
}

bool Reader::readOption(const Options& options, const toml::key& key, const toml::node& node,
                        Settings& settings) const {
  const auto option = std::ranges::find(options, key.str(), [](auto* one) { return keyOf(*one); });
  if (option == options.end()) return false;
  settings[(*option)->name] = settingOf(**option, key, node);
  return true;
}

std::vector<std::string_view> keysOf(const Options& options) {
  std::vector<std::string_view> keys;
  for (const Option* option : options) keys.push_back(keyOf(*option));
  return keys;
}

void Reader::readVerb(const Verb& verb, const toml::table& table, Settings& settings) const {
  const Options options = optionsOf(verb, Elsewhere::files);
  for (const auto& [key, node] : table) {
    if (!readOption(options, key, node, settings)) refuseKey(key, keysOf(options));
  }
}

void Reader::refusePassword(const std::string& text, const toml::node& at) const {
  if (odbc::ConnectionString(toUtf16(text)).find(odbc::kPasswordKeywords))
    refuse(at.source(),
           "passwords are not allowed here; put the password into a file that only you may "
           "read, and name that file as password-file");
}

void Reader::checkConnection(const std::string& connection, const toml::node& at) const {
  if (connection.find('=') == connection.npos)
    refuse(at.source(), "connection takes a connection string such as DSN=prod;UID=sa");
}

bool Reader::readSideKey(const toml::key& key, const toml::node& node,
                         Environment& environment) const {
  if (key.str() == kAccept) {
    environment.accepts.push_back(fileOf(key, node));
    return true;
  }
  if (key.str() == kScripts) {
    for (const std::string& script : textsOf(key, node)) {
      refusePassword(script, node);
      environment.scripts.push_back(resolved(script));
    }
    return true;
  }
  const auto* const known = std::ranges::find(kSideKeys, key.str(), &SideKey::name);
  if (known == kSideKeys.end()) return false;
  refusePassword(textOf(key, node), node);
  environment.*known->text = known->isFile ? fileOf(key, node) : textOf(key, node);
  if (known->text != &Environment::connection) return true;
  std::string& connection = *environment.connection;
  if (connection.starts_with(kServerMark)) connection.erase(0, kServerMark.size());
  checkConnection(connection, node);
  return true;
}

// An environment is one side, and what is said about servers is said about one.
void Reader::check(const std::string& name, const toml::key& at,
                   const Environment& environment) const {
  const std::string section = "[env." + name + "] ";
  const auto sides = std::to_array<std::pair<std::string_view, bool>>({
      {"connection", environment.connection.has_value()},
      {"dsn", environment.dsn.has_value()},
      {"rows", environment.rows.has_value()},
      {"scripts", !environment.scripts.empty()},
      {"server", environment.server.has_value()},
      {"snapshot", environment.snapshot.has_value()},
  });
  std::vector<std::string_view> there;
  for (const auto& [key, isThere] : sides) {
    if (isThere) there.push_back(key);
  }
  if (there.empty())
    refuse(at.source(),
           section + "needs one of connection, dsn, rows, scripts, server and snapshot");
  if (there.size() > 1)
    refuse(at.source(), section + "is one side, but has " + wordsOf(there, "and"));
  const bool namesMore = environment.user || environment.database;
  if (environment.connection && namesMore)
    refuse(at.source(), section + "has a connection; write UID= and Database= into it");
  if (environment.odbcDriver && !environment.server)
    refuse(at.source(), section + "has an odbc-driver but no server");
  if (!environment.isServer() && (environment.user || environment.passwordFile))
    refuse(at.source(), section + "has a user or password-file but no server");
  if (environment.snapshot && environment.database)
    refuse(at.source(), section + "has a database, but a snapshot is of one database");
  if (environment.rows && environment.database)
    refuse(at.source(), section + "has a database, but rows are of none");
}

Environment Reader::readEnvironment(const std::string& name, const toml::key& at,
                                    const toml::table& table) const {
  Options options;
  for (const Verb& verb : verbs()) {
    const Options more = optionsOf(verb, Elsewhere::environments);
    options.insert(options.end(), more.begin(), more.end());
  }
  Environment environment;
  for (const auto& [key, node] : table) {
    if (readSideKey(key, node, environment) || readOption(options, key, node, environment.settings))
      continue;
    std::vector<std::string_view> known = keysOf(options);
    for (const SideKey& one : kSideKeys) known.push_back(one.name);
    known.push_back(kAccept);
    known.push_back(kScripts);
    refuseKey(key, std::move(known));
  }
  check(name, at, environment);
  return environment;
}

EnvironmentGroup Reader::readGroup(const std::string& name, const toml::key& at,
                                   const toml::table& table) const {
  EnvironmentGroup group;
  for (const auto& [key, node] : table) {
    const auto known = std::ranges::find(kGroupKeys, key.str(), &GroupKey::name);
    if (known == kGroupKeys.end()) {
      std::vector<std::string_view> names;
      names.reserve(kGroupKeys.size());
      for (const GroupKey& one : kGroupKeys) names.push_back(one.name);
      refuseKey(key, std::move(names));
    }
    if (known->list != nullptr)
      group.*known->list = textsOf(key, node);
    else
      group.*known->text = known->isFile ? fileOf(key, node) : textOf(key, node);
  }
  const std::string section = "[group." + name + "] ";
  if (group.environments.empty() && !group.command && !group.interfaces)
    refuse(at.source(), section + "needs envs, interfaces or a command");
  if (group.environments.empty() && !group.interfaces && !group.databases.empty())
    refuse(at.source(), section + "has databases, but no envs or interfaces whose they are");
  if (!group.interfaces && (!group.servers.empty() || group.user || group.passwordFile))
    refuse(at.source(), section + "has servers, a user or a password-file, but no interfaces");
  return group;
}

ConfigFile Reader::read() {
  toml::table document;
  try {
    document = toml::parse(text(), path_);
  } catch (const toml::parse_error& error) {
    refuse(error.source(), std::string(error.description()));
  }
  Options options;
  std::vector<std::string_view> known{kEnvironments, kGroups};
  for (const Verb& verb : verbs()) {
    const Options more = optionsOf(verb, Elsewhere::files);
    options.insert(options.end(), more.begin(), more.end());
    if (!more.empty()) known.push_back(verb.name);
  }
  ConfigFile file{.path = path_, .settings = {}, .ofVerbs = {}, .environments = {}, .groups = {}};
  for (const auto& [key, node] : document) {
    const Verb* const verb = verbCalled(key.str());
    if (key.str() == kEnvironments) {
      for (const auto& [name, one] : tableOf(key, node)) {
        const std::string called(name.str());
        file.environments[called] = readEnvironment(called, name, tableOf(name, one));
      }
    } else if (key.str() == kGroups) {
      for (const auto& [name, one] : tableOf(key, node)) {
        const std::string called(name.str());
        file.groups[called] = readGroup(called, name, tableOf(name, one));
      }
    } else if (verb != nullptr && node.is_table()) {
      readVerb(*verb, *node.as_table(), file.ofVerbs[verb->name]);
    } else if (!readOption(options, key, node, file.settings)) {
      const std::vector<std::string_view> keys = keysOf(options);
      known.insert(known.end(), keys.begin(), keys.end());
      refuseKey(key, known);
    }
  }
  return file;
}

}  // namespace

std::optional<std::string> configFileInPlace() {
  std::vector<std::filesystem::path> places{kConfigFileName};
  const auto home = variable("HOME");
  if (const auto folder = variable("XDG_CONFIG_HOME"); folder && !folder->empty())
    places.push_back(std::filesystem::path(*folder) / "kelvane" / kConfigFileName);
  else if (home && !home->empty())
    places.push_back(std::filesystem::path(*home) / ".config" / "kelvane" / kConfigFileName);
  for (const std::filesystem::path& place : places) {
    std::error_code ignored;
    if (std::filesystem::exists(place, ignored)) return place.string();
  }
  return std::nullopt;
}

ConfigFile loadConfigFile(const std::string& path) { return Reader(path).read(); }

}  // namespace kelvane::cli
