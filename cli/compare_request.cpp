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
    {kExclude, kPattern, "leave out the objects that match"},
    {kInclude, kPattern, "only objects that match, such as 'table:dbo.cust*'"},
});
constexpr auto kAccepting = std::to_array<Option>({
    {kAccept, kFile, "known differences, which do not count"},
    {kWriteAccept, kFile, "write the differences to FILE for --accept, or update FILE"},
});
constexpr auto kRules = std::to_array<Option>({
    {kIgnoreCase, "", "ignore upper and lower case in names"},
    {kIgnoreLineBreaks, "", "ignore line breaks in definitions"},
    {kIgnoreSpaces, "", "ignore blanks in definitions"},
    {kIgnoreTabs, "", "ignore tabs in definitions"},
    {kRowCounts, "", "also compare row counts; default: not compared"},
});
constexpr auto kReports = std::to_array<Option>({
    {kColor, "WHEN", "colours: auto (only on a terminal), always or never; default: auto",
     kNamesOf<kColorings>},
    {kFormat, "FORMAT", "text, tree, json or html, for standard output or -o; default: text",
     kNamesOf<kFormats>},
    {kHtml, kFile, "also write an HTML report"},
    {kJson, kFile, "also write a JSON report"},
    {kOutput, kFile, "write to this file instead of standard output", {}, "-o"},
    {kQuiet, "", "write nothing to standard output; see the exit status", {}, "-q"},
    {kSummary, "", "write counts for each kind of object instead of the differences"},
    {kTree, kFile, "also write the tree of differences"},
});

std::vector<Output> outputsOf(const Arguments& arguments) {
  Output first{choiceOf<kFormats>(arguments, kFormat, Format::text), arguments.value(kOutput)};
  if (arguments.has(kSummary)) {
    if (first.format != Format::text)
      throw UsageError(arguments.called(kSummary) + " writes text, not " +
                       *arguments.value(kFormat));
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
                         leftOutBy(arguments),
                         {arguments.has(kIgnoreTabs), arguments.has(kIgnoreSpaces),
                          arguments.has(kIgnoreLineBreaks), arguments.has(kIgnoreCase)}};
  request.selection = selectionOf(
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
