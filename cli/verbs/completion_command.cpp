#include "cli/verbs/completion_command.h"

#include <algorithm>
#include <array>
#include <map>
#include <ostream>
#include <string_view>

#include "cli/verbs/listing.h"
#include "cli/words/layers.h"
#include "cli/words/verb.h"
#include "model/text.h"
#include "settings/comparison_options.h"

namespace kelvane::cli {
namespace {

// A word of a shell, whatever is in it.
std::string quoted(std::string_view text) {
  std::string result = "'";
  for (const char letter : text) result += letter == '\'' ? "'\\''" : std::string(1, letter);
  return result + "'";
}

std::string quoted(const std::vector<std::string>& words) {
  std::string result;
  for (const std::string& word : words) result += (result.empty() ? "" : " ") + quoted(word);
  return result;
}

// What a value of an option may be; empty: anything.
std::vector<std::string> valuesOf(const Option& option) {
  std::vector<std::string> values(option.choices.begin(), option.choices.end());
  if (option.value == kPattern) {
    for (const inventory::KindRow& row : inventory::kKinds) {
      if (isObject(row.kind)) values.push_back(wordOf(row.kind) + ':');
    }
  }
  if (option.value == kFamilyWord) {
    for (const auto& row : inventory::kFamilies) {
      if (!row.word.empty()) values.emplace_back(row.word);
    }
  }
  if (option.value == kSetting) {
    for (const Switch& one : kSwitches) values.push_back(toUtf8(one.name) + "=off");
  }
  return values;
}

std::vector<std::string> namesOf(const Option& option) {
  std::vector<std::string> names{std::string(option.name)};
  if (!option.shortName.empty()) names.emplace_back(option.shortName);
  return names;
}

// Of `many` a shell completes as of two.
int countOf(Sides sides) { return sides == Sides::none ? 0 : sides == Sides::one ? 1 : 2; }

constexpr std::string_view kBashStart =
    R"(# bash completion for kelvane, written by: kelvane completion bash

_kelvane_add() { # CANDIDATE...: takes those that the word begins like
  local candidate
  for candidate; do
    [[ $candidate == "$current"* ]] || continue
    COMPREPLY+=("$candidate")
    [[ $candidate != *: ]] || compopt -o nospace 2>/dev/null
  done
}

_kelvane_add_files() {
  local found
  mapfile -t found < <(compgen -f -- "$current")
  COMPREPLY+=("${found[@]}")
  compopt -o filenames 2>/dev/null
}

_kelvane_add_sides() {
  local names
  mapfile -t names < <("${COMP_WORDS[0]}" completion environments 2>/dev/null)
  _kelvane_add "${names[@]}"
  _kelvane_add_files
}

)";

constexpr std::string_view kBashEnd = R"(
_kelvane() {
  local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local verb= operands=0 ended= at word options=() valued=() sides=0 further=()
  COMPREPLY=()
  # Words are parted at "=" and ":" too.
  if [[ $current == '=' ]]; then
    current=
  elif [[ $before == '=' ]]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  for ((at = 1; at < COMP_CWORD; ++at)); do
    word=${COMP_WORDS[at]}
    if [[ -z $verb ]]; then
      verb=$word
      _kelvane_describe "$verb"
    elif [[ $word == [=:] ]]; then
      ((++at))
    elif [[ $word == -- ]]; then
      ended=1
    elif [[ -z $ended && $word == -* ]]; then
      [[ $word != --server ]] || ((++operands))
      [[ " ${valued[*]} " != *" $word "* || ${COMP_WORDS[at + 1]} == '=' ]] || ((++at))
    else
      ((++operands))
    fi
  done
  if [[ -z $verb ]]; then
    _kelvane_describe ''
    _kelvane_add "${options[@]}"
  elif [[ -z $ended && " ${valued[*]} " == *" $before "* ]]; then
    _kelvane_add_values "$verb $before"
  elif [[ -z $ended && $current == -* ]]; then
    _kelvane_add "${options[@]}"
  else
    if ((operands >= sides)) || [[ -n $ended ]]; then _kelvane_add "${further[@]}"; fi
    if ((sides == 2 || operands < sides)); then _kelvane_add_sides; fi
  fi
}

complete -F _kelvane kelvane
)";

void writeBash(std::ostream& out) {
  std::vector<std::string> start;
  std::map<std::string, std::string> values;  // for the options that have them
  out << kBashStart << "_kelvane_describe() { # VERB\n  case $1 in\n";
  for (const Verb& verb : verbs()) {
    start.emplace_back(verb.name);
    std::vector<std::string> options{"--help"}, valued;
    for (const Option* option : optionsOf(verb, Elsewhere::nowhere)) {
      options.emplace_back(option->name);
      if (option->value.empty()) continue;
      for (const std::string& name : namesOf(*option)) {
        valued.push_back(name);
        const std::string candidates = quoted(valuesOf(*option));
        if (option->isPath() || !candidates.empty())
          values[std::string(verb.name) + " " + name] =
              option->isPath() ? "_files" : " " + candidates;
      }
    }
    out << "    " << verb.name << ")\n      options=(" << quoted(options) << ")\n      valued=("
        << quoted(valued) << ")\n      sides=" << countOf(verb.sides) << "\n      further=("
        << quoted(verb.further()) << ")\n      ;;\n";
  }
  start.insert(start.end(), {"--help", "--version"});
  out << "    '') options=(" << quoted(start) << ") ;;\n  esac\n}\n\n"
      << "_kelvane_add_values() { # VERB OPTION, in one word\n  case $1 in\n";
  for (const auto& [option, candidates] : values)
    out << "    '" << option << "') _kelvane_add" << candidates << " ;;\n";
  out << "  esac\n}\n" << kBashEnd;
}

constexpr std::string_view kZshStart = R"zsh(#compdef kelvane
# zsh completion for kelvane, written by: kelvane completion zsh

_kelvane_side() {
  local -a names=(${(f)"$(_call_program environments kelvane completion environments 2>/dev/null)"})
  _alternative 'environments:environment:compadd -a names' 'files:file:_files'
}

)zsh";

// Text within the brackets of an option's description.
std::string bracketed(std::string_view text) {
  std::string result = "[";
  for (const char letter : text) {
    if (letter == '[' || letter == ']' || letter == '\\') result += '\\';
    result += letter;
  }
  return result + "]";
}

// Colons end parts of what describes an argument.
std::string candidatesOf(const std::vector<std::string>& words) {
  std::string result;
  for (const std::string& word : words) {
    result += result.empty() ? "" : " ";
    for (const char letter : word) result += letter == ':' ? "\\:" : std::string(1, letter);
  }
  return "(" + result + ")";
}

std::string zshAction(const Option& option) {
  if (option.isPath()) return "_files";
  const std::vector<std::string> values = valuesOf(option);
  if (values.empty()) return " ";
  return option.value == kPattern ? "_kelvane_pattern" : candidatesOf(values);
}

void addZshOption(const Option& option, std::vector<std::string>& arguments) {
  const std::vector<std::string> names = namesOf(option);
  for (const std::string& name : names) {
    std::string argument = option.mayBeRepeated() ? "*" : "";
    if (names.size() > 1) argument = "(" + names[0] + " " + names[1] + ")";
    argument += name + (option.value.empty() ? "" : name.starts_with("--") ? "=" : "+");
    argument += bracketed(option.help);
    if (!option.value.empty()) {
      const std::string_view value = option.value.substr(0, option.value.find('='));
      argument += ":" + std::string(value) + ":" + zshAction(option);
    }
    arguments.push_back(std::move(argument));
  }
}

std::vector<std::string> zshArguments(const Verb& verb) {
  std::vector<std::string> arguments{"(- *)--help[write help]"};
  for (const Option* option : optionsOf(verb, Elsewhere::nowhere)) addZshOption(*option, arguments);
  if (verb.sides == Sides::one) arguments.emplace_back("1:side:_kelvane_side");
  if (countOf(verb.sides) == 2) arguments.emplace_back("*:side:_kelvane_side");
  if (const std::vector<std::string> further = verb.further(); !further.empty())
    arguments.push_back("*:what:" + (further[0].ends_with(':')
                                         ? "compadd -S '' -- " + quoted(further)
                                         : candidatesOf(further)));
  return arguments;
}

void writeZsh(std::ostream& out) {
  out << kZshStart << "_kelvane_pattern() {\n  compadd -S '' \"$@\" -- "
      << quoted(valuesOf({{}, kPattern, {}}))
      << "\n}\n\n_kelvane() {\n  local curcontext=$curcontext state line\n  local -a verbs=(\n";
  for (const Verb& verb : verbs())
    out << "    " << quoted(std::string(verb.name) + ":" + std::string(verb.brief)) << '\n';
  out << R"zsh(  )
  _arguments -C '(- *)--help[write help]' '(- *)--version[write the version]' \
    '1:command:->verb' '*::operand:->operand'
  case $state in
  verb) _describe command verbs ;;
  operand)
    case $line[1] in
)zsh";
  for (const Verb& verb : verbs()) {
    out << "    " << verb.name << ")\n      _arguments -s -S";
    for (const std::string& argument : zshArguments(verb))
      out << " \\\n        " << quoted(argument);
    out << "\n      ;;\n";
  }
  out << "    esac\n    ;;\n  esac\n}\n\n_kelvane \"$@\"\n";
}

// Those that a shell takes as they are.
void listEnvironments(std::ostream& out) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-";
  const auto file = configFileFor({});
  if (!file) return;
  for (const auto& [name, environment] : file->environments) {
    if (name.find_first_not_of(kPlain) == name.npos) out << name << '\n';
  }
}

struct Operand {
  std::string_view name;
  void (*write)(std::ostream& out);
};
constexpr auto kOperands = std::to_array<Operand>({
    {"bash", writeBash},
    {"zsh", writeZsh},
    {"environments", listEnvironments},
});

}  // namespace

std::vector<std::string> completionOperands() {
  std::vector<std::string> names(kOperands.size());
  std::ranges::transform(kOperands, names.begin(), &Operand::name);
  return names;
}

ExitStatus runCompletion(const Arguments& arguments, const Console& console, const OpenSide&) {
  const auto* const operand =
      arguments.operands.size() == 1
          ? std::ranges::find(kOperands, arguments.operands.front(), &Operand::name)
          : kOperands.end();
  if (operand == kOperands.end()) throw UsageError("completion needs bash, zsh or environments");
  operand->write(console.out);
  return kNoDifference;
}

}  // namespace kelvane::cli
