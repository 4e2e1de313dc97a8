#include "cli/compare_request.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "cli/overwriting.h"
#include "cli/side_arguments.h"
#include "cli/switch_arguments.h"
#include "cli/two_sides.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kAccept = "--accept", kColor = "--color", kFormat = "--format",
                           kHtml = "--html", kIgnoreCase = "--ignore-case",
                           kIgnoreLineBreaks = "--ignore-line-breaks",
                           kIgnoreSpaces = "--ignore-spaces", kIgnoreTabs = "--ignore-tabs",
                           kJson = "--json", kOutput = "--output", kQuiet = "--quiet",
                           kSummary = "--summary", kTree = "--tree",
                           kWriteAccept = "--write-accept";

constexpr auto kFormats = std::to_array<Choice<Format>>({
    {"text", Format::text},
    {"tree", Format::tree},
    {"json", Format::json},
    {"html", Format::html},
});
constexpr auto kColorings = std::to_array<Choice<Coloring>>({
    {"auto", Coloring::onTerminal},
    {"always", Coloring::always},
    {"never", Coloring::never},
});

constexpr auto kSelecting = std::to_array<Option>({
    {kExclude, kPattern, "leave out the objects that it matches"},
    {kInclude, kPattern, "only objects that it matches, such as 'table:dbo.cust*'"},
});
constexpr auto kAccepting = std::to_array<Option>({
    {kAccept, kFile, "of known differences, which do not count"},
    {kWriteAccept, kFile, "write the differences in the form that --accept takes, or update them"},
});
constexpr auto kRules = std::to_array<Option>({
    {kIgnoreCase, "", "names that differ in case alone are the same"},
    {kIgnoreLineBreaks, "", "leave line breaks out of definitions"},
    {kIgnoreSpaces, "", "leave blanks out of definitions"},
    {kIgnoreTabs, "", "leave tabs out of definitions"},
    {kRowCounts, "", "also compare the numbers of rows; default: not compared"},
});
constexpr auto kReports = std::to_array<Option>({
    {kColor, "WHEN", "colours in texts: auto (on a terminal), always or never",
     kNamesOf<kColorings>},
    {kFormat, "FORMAT", "of standard output or of the file of -o: text, tree, json or html",
     kNamesOf<kFormats>},
    {kHtml, kFile, "write an HTML report besides"},
    {kJson, kFile, "write the differences as JSON besides"},
    {kOutput, kFile, "write to this file instead of standard output", {}, "-o"},
    {kQuiet, "", "write nothing to standard output: the exit status tells", {}, "-q"},
    {kSummary, "", "the counts of each kind of objects instead of the differences"},
    {kTree, kFile, "write the tree of differences besides"},
});

std::vector<Output> outputsOf(const Arguments& arguments) {
  Output first{choiceOf<kFormats>(arguments, kFormat, Format::text), arguments.value(kOutput)};
  if (arguments.has(kSummary)) {
    if (first.format != Format::text)
      throw UsageError(arguments.called(kSummary) + " is a text, not " + *arguments.value(kFormat));
    first.format = Format::summary;
  }
  std::vector<Output> outputs;
  if (first.file || !arguments.has(kQuiet)) outputs.push_back(first);
  for (const auto& [option, format] :
       {std::pair{kHtml, Format::html}, {kJson, Format::json}, {kTree, Format::tree}}) {
    if (const auto file = arguments.value(option)) outputs.push_back({format, *file});
  }
  return outputs;
}

}  // namespace

std::vector<OptionFamily> compareOptions() {
  return {twoSidesOptions(),
          {"Choosing objects", kSelecting, Elsewhere::environments},
          {"Known differences", kAccepting},
          {"Comparing", kRules, Elsewhere::environments},
          switchOptions(),
          {"Reports", kReports},
          readingOptions()};
}

CompareRequest parseCompare(const Arguments& arguments) {
  const TwoSides sides = twoSides(arguments, "compare");
  CompareRequest request{sides.places,
                         sides.shown,
                         arguments.value(kTrace),
                         outputsOf(arguments),
                         comparedSwitchesOf(arguments),
                         {arguments.has(kIgnoreTabs), arguments.has(kIgnoreSpaces),
                          arguments.has(kIgnoreLineBreaks), arguments.has(kIgnoreCase)}};
  request.selection = Selection(
      arguments, request.rules.ignoreCase ? std::optional(CaseMode::ignore) : std::nullopt);
  request.coloring = choiceOf<kColorings>(arguments, kColor, Coloring::onTerminal);
  request.accept = arguments.value(kAccept);
  request.writeAccept = arguments.value(kWriteAccept);
  refuseOverwriting(arguments, request.places,
                    {.written = {kTrace, kOutput, kHtml, kJson, kTree, kWriteAccept},
                     .read = kAccept,
                     .updates = kWriteAccept});
  return request;
}

}  // namespace kelvane::cli
