#include "cli/words/layers.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <set>
#include <string_view>
#include <unistd.h>
#include <utility>

#include "cli/screen/variable.h"
#include "cli/words/one_side.h"
#include "inventory/near_names.h"

namespace kelvane::cli {
namespace {

// Those of the project's own scripts and tests.
constexpr std::array<std::string_view, 3> kOfDevelopment{"DEVELOPMENT_SET", "WINDOWS",
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

// The operands that name a side.
std::span<const std::string> sidesOf(const CommandLine& line, const Verb& verb) {
  const std::span<const std::string> all = line.operands;
  if (verb.sides == Sides::two) return all;
  if (find(line.settings, kOneSide.server) != nullptr || all.empty()) return {};
  return all.first(line.parting.value_or(1));
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
    if (is(known) || is(kOfDevelopment)) continue;
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
  for (const std::string& operand : sidesOf(line, verb)) {
    const std::string name = environmentIn(operand, file);
    if (name.empty()) continue;
    const Environment& environment = file->environments.find(name)->second;
    join(environment.settings, verb, ofSides);
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
