#include "cli/verbs/manual_command.h"

#include <algorithm>
#include <array>
#include <string>

#include "cli/verbs/listing.h"
#include "cli/words/verb.h"

namespace kelvane::cli {
namespace {

// Text as the formatter of manual pages takes it.
std::string roff(std::string_view text) {
  std::string result = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
  for (const char letter : text) {
    if (letter == '\\')
      result += "\\e";
    else
      result += letter == '-' ? "\\-" : std::string(1, letter);
  }
  return result;
}

std::string roffLines(std::string_view text) {
  std::string result;
  for (const std::string_view line : linesOf(text)) result += roff(line) + "\n";
  return result;
}

std::string usageOf(const Verb& verb) {
  const std::string start = "\\fBkelvane " + std::string(verb.name) + "\\fR";
  const std::string options = verb.sides == Sides::none ? " " : " [\\fIOPTION\\fR]... ";
  std::string text;
  for (const std::string_view way : linesOf(verb.usage))
    text += start + options + roff(way) + "\n.br\n";
  return text.empty() ? start + "\n.br\n" : text;
}

std::string synopsis() {
  std::string text;
  for (const Verb& verb : verbs()) text += usageOf(verb);
  return text + "\\fBkelvane\\fR [\\fICOMMAND\\fR] \\fB\\-\\-help\\fR\n.br\n" +
         "\\fBkelvane \\-\\-version\\fR\n";
}

std::string statuses(std::string_view lines) {
  std::string text;
  for (const std::string_view line : linesOf(lines))
    text += ".TP\n.B " + std::string(line.substr(0, 1)) + "\n" + roff(line.substr(3)) + "\n";
  return text;
}

std::string optionText(const Option& option) {
  std::string text = ".TP\n";
  if (!option.shortName.empty()) text += "\\fB" + roff(option.shortName) + "\\fR, ";
  text += "\\fB" + roff(option.name) + "\\fR";
  if (!option.value.empty()) text += " \\fI" + roff(option.value) + "\\fR";
  return text + "\n" + roff(option.help) +
         (option.mayBeRepeated() ? ".\nMay be repeated.\n" : "\n");
}

std::string familyText(const OptionFamily& family) {
  std::string text = ".PP\n" + roff(family.title) + ":\n";
  for (const Option& option : family.options) text += optionText(option);
  return text;
}

// Whether all verbs that read a database have these options.
bool isShared(const OptionFamily& family) {
  return std::ranges::all_of(verbs(), [&](const Verb& verb) {
    const std::vector<OptionFamily> families = familiesOf(verb);
    return verb.sides == Sides::none || std::ranges::any_of(families, [&](const OptionFamily& one) {
             return one.options.data() == family.options.data();
           });
  });
}

std::string commands() {
  std::string text;
  for (const Verb& verb : verbs()) {
    text += ".SS kelvane " + std::string(verb.name) + "\n" + roff(verb.brief) + ".\n";
    if (!verb.says.empty()) text += ".PP\n" + roffLines(verb.says);
    for (const OptionFamily& family : familiesOf(verb)) {
      if (!isShared(family)) text += familyText(family);
    }
    text += ".PP\nExamples:\n.PP\n.EX\n" + roffLines(verb.examples) + ".EE\n";
  }
  text += ".SS All commands that read a database\n";
  for (const OptionFamily& family : familiesOf(verbs().front())) {
    if (isShared(family)) text += familyText(family);
  }
  return text;
}

// Paragraphs and, with a dash before them, items.
std::string paragraphs(std::string_view text) {
  std::string result;
  bool inItem = false;
  for (std::string_view line : linesOf(text)) {
    const bool isItem = line.starts_with("  - ");
    const bool goesOn = line.starts_with(' ') && !isItem;
    if (isItem) result += ".IP \\(bu 2\n";
    if (line.empty() || (inItem && !isItem && !goesOn)) result += ".PP\n";
    inItem = isItem || goesOn;
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    if (isItem) line.remove_prefix(2);
    if (!line.empty()) result += roff(line) + "\n";
  }
  return result;
}

}  // namespace

ExitStatus runManual(const Arguments& arguments, const Console& console, const OpenSide&) {
  if (!arguments.operands.empty()) throw UsageError("manual takes no operands");
  const std::array<std::pair<std::string_view, std::string>, 5> parts{{
      {"@VERSION@", KELVANE_VERSION},
      {"@SYNOPSIS@\n", synopsis()},
      {"@COMMANDS@\n", commands()},
      {"@SIDES@\n", paragraphs(kAboutSides)},
      {"@STATUSES@\n", statuses(verbs().front().statuses)},
  }};
  std::string text(kManualText);
  for (const auto& [mark, part] : parts) text.replace(text.find(mark), mark.size(), part);
  console.out << text;
  return kNoDifference;
}

}  // namespace kelvane::cli
