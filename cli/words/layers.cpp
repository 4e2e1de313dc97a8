#include "cli/words/layers.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>
#include <span>
#include <sstream>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "cli/screen/variable.h"
#include "cli/words/interfaces_file.h"
#include "cli/words/one_side.h"
#include "inventory/name_pattern.h"
#include "inventory/near_names.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

// Those that stand for no option; the last ones are of the project's own scripts and tests.
constexpr std::array<std::string_view, 4> kOfNoOption{"PAGER", "DEVELOPMENT_SET", "WINDOWS",
                                                      "WINEPREFIX"};

std::string inCapitals(std::string_view text) {
  std::string result;
  for (const char letter : text)
    result += letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
  return result;
}

// Behind kVariablePrefix.
std::string wordOfVariable(const Option& option) {
  std::string word = inCapitals(option.name.substr(2));
  std::ranges::replace(word, '-', '_');
  return word;
}

std::string variableOf(const Option& option) {
  return std::string(kVariablePrefix) + wordOfVariable(option);
}

// The words of the variables that stand for options, which begin at that place or further.
std::set<std::string> wordsOfVariables(Elsewhere least) {
  std::set<std::string> words;
  for (const Verb& verb : verbs()) {
    for (const Option* option : optionsOf(verb, least)) words.insert(wordOfVariable(*option));
  }
  return words;
}

std::vector<std::string> listed(const std::string& text) {
  std::vector<std::string> values;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find(',', start), text.size());
    if (end > start) values.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return values;
}

std::optional<Setting> settingOfVariable(const Option& option) {
  const std::string name = variableOf(option);
  const auto value = variable(name);
  if (!value || value->empty()) return std::nullopt;
  if (option.value.empty()) return Setting{{truthOf(*value, name) ? "true" : "false"}, name};
  if (option.mayBeRepeated()) return Setting{listed(*value), name};
  return Setting{{*value}, name};
}

const Setting* find(const Settings& settings, std::string_view name) {
  const auto found = settings.find(name);
  return found == settings.end() ? nullptr : &found->second;
}

bool isTrue(const Setting* setting) {
  return setting != nullptr && setting->values.back() == "true";
}

// Several environments: each adds its patterns and rules to those of the others.
void join(const Settings& more, const Verb& verb, Settings& all) {
  for (const Option* option : optionsOf(verb, Elsewhere::environments)) {
    const Setting* const setting = find(more, option->name);
    if (setting == nullptr) continue;
    const auto [one, isNew] = all.emplace(option->name, *setting);
    std::vector<std::string>& values = one->second.values;
    if (!isNew && !(option->value.empty() && isTrue(&one->second)))
      values.insert(values.end(), setting->values.begin(), setting->values.end());
  }
}

// The operands, and values of options, that name a side.
std::vector<std::string> sidesOf(const CommandLine& line, const Verb& verb) {
  std::vector<std::string> sides = line.operands;
  if (verb.sides != Sides::two && verb.sides != Sides::many) {
    if (find(line.settings, kOneSide.server) != nullptr || sides.empty()) return {};
    sides.resize(line.parting.value_or(1));
  }
  for (const Option* option : optionsOf(verb, Elsewhere::nowhere)) {
    const Setting* const setting = find(line.settings, option->name);
    if (option->value == kSide && setting != nullptr) sides.push_back(setting->values.back());
  }
  return sides;
}

// Of a shell's command, but for empty ones. Throws UsageError where it fails.
std::vector<std::string> linesPrintedBy(const std::string& command, const std::string& operand) {
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  if (pipe == nullptr) throw UsageError("'" + operand + "': its command cannot be run");
  std::string text;
  std::array<char, 4096> part{};
  while (const std::size_t size = std::fread(part.data(), 1, part.size(), pipe.get()))
    text.append(part.data(), size);
  const int status = pclose(pipe.release());
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    throw UsageError("'" + operand + "': its command failed");
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

std::string nearestOf(const Environments& environments, std::string_view name) {
  std::vector<std::string_view> names;
  for (const auto& [known, environment] : environments) names.push_back(known);
  return inventory::nearestName(name, names);
}

// The name of the environment that an operand stands for; empty where it stands for none.
std::string environmentIn(const std::string& operand, const std::optional<ConfigFile>& file) {
  const bool isForced = operand.starts_with(kForcedEnvironment);
  std::string name(environmentName(operand));
  if (!file && isForced)
    throw UsageError("no kelvane.toml found, here or in your configuration folder, to look up '" +
                     operand + "' in");
  std::error_code ignored;
  if (!file || (!isForced && std::filesystem::exists(operand, ignored))) return "";
  if (file->environments.contains(name)) return name;
  const std::string nearest = nearestOf(file->environments, name);
  if (isForced) throw UsageError("there is no [env." + name + "] in " + file->path + nearest);
  if (!nearest.empty())
    throw UsageError("'" + operand + "' is neither a file nor an environment of " + file->path +
                     nearest);
  return "";
}

// The group that an operand stands for; null where it stands for none.
const EnvironmentGroup* groupIn(const std::string& operand, const std::optional<ConfigFile>& file) {
  const bool isForced = operand.starts_with(kForcedGroup);
  const std::string name = isForced ? operand.substr(kForcedGroup.size()) : operand;
  if (!file) {
    if (isForced) throw UsageError("no kelvane.toml found to look up '" + operand + "' in");
    return nullptr;
  }
  const auto found = file->groups.find(name);
  std::error_code ignored;
  const bool isOther = file->environments.contains(name) || std::filesystem::exists(name, ignored);
  if (found != file->groups.end() && (isForced || !isOther)) return &found->second;
  if (isForced) throw UsageError("there is no [group." + name + "] in " + file->path);
  return nullptr;
}

// The sides of a group as operands; those that no operand could name are added to the environments.
class GroupSides {
 public:
  GroupSides(const EnvironmentGroup& group, const std::string& operand, const ConfigFile& file,
             Environments& environments)
      : group_(group), operand_(operand), file_(file), environments_(environments) {}

  std::vector<std::string> operands() {
    for (const std::string& pattern : group_.environments) addEnvironments(pattern);
    if (group_.interfaces) addServers();
    if (group_.command) {
      const std::vector<std::string> lines = linesPrintedBy(*group_.command, operand_);
      operands_.insert(operands_.end(), lines.begin(), lines.end());
    }
    return std::move(operands_);
  }

 private:
  void addEnvironments(const std::string& pattern) {
    const std::size_t before = operands_.size();
    for (const auto& [name, environment] : file_.environments) {
      if (!inventory::matchesPattern(toUtf16(name), toUtf16(pattern))) continue;
      if (group_.databases.empty()) operands_.push_back(std::string(kForcedEnvironment) + name);
      addDatabases(name, environment);
    }
    if (operands_.size() == before)
      throw UsageError("'" + operand_ + "': no [env.NAME] of " + file_.path + " matches '" +
                       pattern + "'");
  }
  void addServers() {
    const std::size_t before = operands_.size();
    for (const InterfacesEntry& entry : entriesOfInterfaces(*group_.interfaces)) {
      const auto isChosen = [&](const std::string& pattern) {
        return inventory::matchesPattern(toUtf16(entry.name), toUtf16(pattern));
      };
      if (!group_.servers.empty() && std::ranges::none_of(group_.servers, isChosen)) continue;
      Environment one;
      one.server = entry.server;
      one.user = group_.user;
      one.passwordFile = group_.passwordFile;
      if (group_.databases.empty()) add(entry.name, one);
      addDatabases(entry.name, one);
    }
    if (operands_.size() == before)
      throw UsageError("'" + operand_ + "': no entry of " + *group_.interfaces +
                       " matches its servers");
  }
  void addDatabases(const std::string& name, const Environment& environment) {
    for (const std::string& database : group_.databases) {
      Environment one = environment;
      one.database = database;
      add(name + "/" + database, std::move(one));
    }
  }
  void add(std::string name, Environment environment) {
    environments_.emplace(name, std::move(environment));
    operands_.push_back(std::move(name));
  }

  const EnvironmentGroup& group_;
  const std::string& operand_;
  const ConfigFile& file_;
  Environments& environments_;
  std::vector<std::string> operands_;
};

// Groups among the targets become their sides; a side that is there twice is there once.
void expandGroups(CommandLine& line, const std::optional<ConfigFile>& file, Arguments& arguments) {
  const std::size_t first = std::min(line.parting.value_or(1), line.operands.size());
  std::vector<std::string> expanded(line.operands.begin(),
                                    line.operands.begin() + static_cast<std::ptrdiff_t>(first));
  std::set<std::string> ofGroups;
  for (const std::string& operand : std::span<const std::string>(line.operands).subspan(first)) {
    const EnvironmentGroup* const group = groupIn(operand, file);
    if (group == nullptr) {
      expanded.push_back(operand);
      continue;
    }
    for (std::string& one : GroupSides(*group, operand, *file, arguments.environments).operands()) {
      if (group->accept) arguments.accepts[one].push_back(*group->accept);
      if (ofGroups.insert(one).second) expanded.push_back(std::move(one));
    }
  }
  if (!line.parting && expanded.size() > line.operands.size()) line.parting = first;
  line.operands = std::move(expanded);
}

void take(const Option& option, const Setting& setting, Arguments& arguments) {
  if (option.value.empty() && !isTrue(&setting)) return;
  if (setting.values.empty()) return;
  arguments.options[option.name] = setting.values;
  if (!setting.called.empty()) arguments.origins[option.name] = setting.called;
}

// What follows kVariablePrefix in the names of all variables that are set.
std::set<std::string> wordsOfEnvironment() {
  std::set<std::string> words;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    const std::size_t equals = text.find('=');
    const bool isEmpty = equals >= text.size() - 1;
    if (!isEmpty && text.starts_with(kVariablePrefix))
      words.emplace(text.substr(kVariablePrefix.size(), equals - kVariablePrefix.size()));
  }
  return words;
}

}  // namespace

std::vector<std::string> strangeVariables() {
  const std::set<std::string> all = wordsOfVariables(Elsewhere::nowhere),
                              ofOptions = wordsOfVariables(Elsewhere::variables);
  std::vector<std::string_view> known(ofOptions.begin(), ofOptions.end());
  known.insert(known.end(), kPasswordVariables.begin(), kPasswordVariables.end());
  std::vector<std::string> lines;
  for (const std::string& word : wordsOfEnvironment()) {
    const auto is = [&](const auto& words) {
      return std::ranges::find(words, word) != words.end();
    };
    if (is(known) || is(kOfNoOption)) continue;
    const std::string name = std::string(kVariablePrefix) + word;
    if (all.contains(word)) {
      lines.push_back(name + " is ignored: sides are named on the command line or in kelvane.toml");
      continue;
    }
    const std::string_view nearest = inventory::nearestOf(inCapitals(word), known);
    lines.push_back("unknown variable " + name + " is ignored" +
                    (nearest.empty() ? ""
                                     : "; did you mean '" + std::string(kVariablePrefix) +
                                           std::string(nearest) + "'?"));
  }
  return lines;
}

std::optional<ConfigFile> configFileFor(const Settings& given) {
  const Setting* const named = find(given, kConfig.name);
  const bool none = isTrue(find(given, kNoConfig.name));
  if (named != nullptr && none) throw UsageError("--config and --no-config cannot be combined");
  if (named != nullptr) return loadConfigFile(named->values.back());
  if (none) return std::nullopt;
  const auto refused = settingOfVariable(kNoConfig);
  if (refused && isTrue(&*refused)) return std::nullopt;
  if (const auto variable = settingOfVariable(kConfig))
    return loadConfigFile(variable->values.back());
  const auto path = configFileInPlace();
  return path ? std::optional(loadConfigFile(*path)) : std::nullopt;
}

Arguments completed(CommandLine line, const Verb& verb) {
  Arguments arguments;
  const auto file = verb.sides == Sides::none ? std::nullopt : configFileFor(line.settings);
  if (file) arguments.configFile = file->path;
  Settings ofSides;
  if (verb.sides == Sides::many) expandGroups(line, file, arguments);
  for (const std::string& operand : sidesOf(line, verb)) {
    if (const auto known = arguments.environments.find(operand);
        known != arguments.environments.end()) {
      arguments.accept(operand, known->second.accepts);
      continue;
    }
    const std::string name = environmentIn(operand, file);
    if (name.empty()) continue;
    const Environment& environment = file->environments.find(name)->second;
    join(environment.settings, verb, ofSides);
    arguments.accept(operand, environment.accepts);
    arguments.environments.emplace(operand, environment);
  }
  std::vector<const Settings*> ofFile{&ofSides};
  if (file) {
    if (const auto own = file->ofVerbs.find(verb.name); own != file->ofVerbs.end())
      ofFile.push_back(&own->second);
    ofFile.push_back(&file->settings);
  }
  for (const Option* option : optionsOf(verb, Elsewhere::nowhere)) {
    if (const Setting* given = find(line.settings, option->name)) take(*option, *given, arguments);
  }
  for (const Option* option : optionsOf(verb, Elsewhere::variables)) {
    if (find(line.settings, option->name) != nullptr) continue;
    if (const auto setting = settingOfVariable(*option)) {
      take(*option, *setting, arguments);
      continue;
    }
    for (const Settings* layer : ofFile) {
      const Setting* const setting = find(*layer, option->name);
      if (setting == nullptr) continue;
      take(*option, *setting, arguments);
      break;
    }
  }
  arguments.operands = std::move(line.operands);
  arguments.parting = line.parting;
  return arguments;
}

}  // namespace kelvane::cli
