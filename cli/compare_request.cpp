#include "cli/compare_request.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "cli/side_arguments.h"
#include "cli/switch_arguments.h"
#include "cli/two_sides.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kAccept = "--accept", kColor = "--color", kFormat = "--format",
                           kHtml = "--html", kIgnoreCase = "--ignore-case",
                           kIgnoreLineBreaks = "--ignore-line-breaks",
                           kIgnoreSpaces = "--ignore-spaces", kIgnoreTabs = "--ignore-tabs",
                           kJson = "--json", kOutput = "-o", kQ = "-q", kQuiet = "--quiet",
                           kSummary = "--summary", kTree = "--tree",
                           kWriteAccept = "--write-accept";

constexpr auto kOptions = std::to_array<Option>({
    {kAccept, "FILE", "of known differences, which do not count"},
    {kColor, "WHEN", "colours in texts: auto (on a terminal), always or never"},
    {kExclude, "PATTERN", "leave out the objects that it matches. May be repeated"},
    {kInclude, "PATTERN",
     "only objects that it matches, such as 'table:dbo.cust*'. May be repeated"},
    {kFormat, "FORMAT", "of standard output or of the file of -o: text, tree, json or html"},
    {kHtml, "FILE", "write an HTML report besides"},
    {kIgnoreCase, "", "names that differ in case alone are the same"},
    {kIgnoreLineBreaks, "", "leave line breaks out of definitions"},
    {kIgnoreSpaces, "", "leave blanks out of definitions"},
    {kIgnoreTabs, "", "leave tabs out of definitions"},
    {kJson, "FILE", "write the differences as JSON besides"},
    {kOutput, "FILE", "write to this file instead of standard output"},
    {kQ, "", "as --quiet"},
    {kQuiet, "", "write nothing to standard output: the exit status tells"},
    {kSummary, "", "the counts of each kind of objects instead of the differences"},
    {kTree, "FILE", "write the tree of differences besides"},
    {kWriteAccept, "FILE", "write the differences there, in the form that --accept takes"},
});

struct FormatName {
  std::string_view name;
  Format format;
};
constexpr auto kFormats = std::to_array<FormatName>({
    {"text", Format::text},
    {"tree", Format::tree},
    {"json", Format::json},
    {"html", Format::html},
});

struct ColoringName {
  std::string_view name;
  Coloring coloring;
};
constexpr auto kColorings = std::to_array<ColoringName>({
    {"auto", Coloring::onTerminal},
    {"always", Coloring::always},
    {"never", Coloring::never},
});

std::string text(std::string_view option) { return std::string(option); }

std::vector<Output> outputsOf(const Arguments& arguments) {
  Output first{Format::text, arguments.value(kOutput)};
  if (const auto name = arguments.value(kFormat)) {
    const auto* known = std::ranges::find(kFormats, *name, &FormatName::name);
    if (known == kFormats.end())
      throw UsageError(text(kFormat) + " takes text, tree, json or html, not '" + *name + "'");
    first.format = known->format;
  }
  if (arguments.has(kSummary)) {
    if (first.format != Format::text)
      throw UsageError(text(kSummary) + " is a text, not " + *arguments.value(kFormat));
    first.format = Format::summary;
  }
  std::vector<Output> outputs;
  const bool quiet = arguments.has(kQ) || arguments.has(kQuiet);
  if (first.file || !quiet) outputs.push_back(first);
  for (const auto& [option, format] :
       {std::pair{kHtml, Format::html}, {kJson, Format::json}, {kTree, Format::tree}}) {
    if (const auto file = arguments.value(option)) outputs.push_back({format, *file});
  }
  return outputs;
}

Coloring coloringOf(const Arguments& arguments) {
  const std::string name = arguments.value(kColor).value_or("auto");
  const auto* known = std::ranges::find(kColorings, name, &ColoringName::name);
  if (known == kColorings.end())
    throw UsageError(text(kColor) + " takes auto, always or never, not '" + name + "'");
  return known->coloring;
}

}  // namespace

std::vector<Option> compareOptions() {
  std::vector<Option> options(kOptions.begin(), kOptions.end());
  for (const auto shared : {twoSidesOptions(), readingOptions(), switchOptions()})
    options.insert(options.end(), shared.begin(), shared.end());
  std::ranges::sort(options, {}, &Option::name);
  return options;
}

CompareRequest parseCompare(std::span<const std::string> words) {
  const std::vector<Option> options = compareOptions();
  const Arguments arguments = parseArguments(words, options);
  const TwoSides sides = twoSides(arguments, "compare");
  CompareRequest request{sides.places,
                         sides.shown,
                         arguments.value(kTrace),
                         outputsOf(arguments),
                         switchesOf(arguments),
                         {arguments.has(kIgnoreTabs), arguments.has(kIgnoreSpaces),
                          arguments.has(kIgnoreLineBreaks), arguments.has(kIgnoreCase)}};
  request.selection = Selection(
      arguments, request.rules.ignoreCase ? std::optional(CaseMode::ignore) : std::nullopt);
  request.coloring = coloringOf(arguments);
  request.accept = arguments.value(kAccept);
  request.writeAccept = arguments.value(kWriteAccept);
  for (const std::string_view option : {kTrace, kOutput, kHtml, kJson, kTree, kWriteAccept})
    refuseOverwriting(arguments, option, kTwoSides);
  return request;
}

}  // namespace kelvane::cli
