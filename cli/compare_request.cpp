#include "cli/compare_request.h"

#include <algorithm>
#include <filesystem>
#include <vector>

#include "cli/side_arguments.h"
#include "cli/switch_arguments.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kAccept = "--accept", kColor = "--color", kFormat = "--format",
                           kHtml = "--html", kIgnoreCase = "--ignore-case",
                           kIgnoreLineBreaks = "--ignore-line-breaks",
                           kIgnoreSpaces = "--ignore-spaces", kIgnoreTabs = "--ignore-tabs",
                           kJson = "--json", kOutput = "-o", kQ = "-q", kQuiet = "--quiet",
                           kSummary = "--summary", kWriteAccept = "--write-accept";

constexpr std::array<SideOptions, 2> kSideOptions{{
    {"--source-server", "--source-user", "--source-database", "--source-password-file"},
    {"--target-server", "--target-user", "--target-database", "--target-password-file"},
}};

constexpr auto kOptions = std::to_array<Option>({
    {kAccept, "FILE", "of known differences, which do not count"},
    {kColor, "WHEN", "colours in texts: auto (on a terminal), always or never"},
    {kExclude, "PATTERN", "leave out the objects that it matches. May be repeated"},
    {kInclude, "PATTERN",
     "only objects that it matches, such as 'table:dbo.cust*'. May be repeated"},
    {kFormat, "FORMAT", "of standard output or of the file of -o: text, json or html"},
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
    {kWriteAccept, "FILE", "write the differences there, in the form that --accept takes"},
    {kSideOptions[0].server, "SERVER", "as the driver knows it, or HOST:PORT; in place of SOURCE"},
    {kSideOptions[0].user, "USER", "to log in to that server as"},
    {kSideOptions[0].database, "DATABASE", "of that server; that of the login unless said"},
    {kSideOptions[0].passwordFile, "FILE", "that only you may read; its first line is used"},
    {kSideOptions[1].server, "SERVER", "as --source-server, in place of TARGET"},
    {kSideOptions[1].user, "USER", "as --source-user"},
    {kSideOptions[1].database, "DATABASE", "as --source-database"},
    {kSideOptions[1].passwordFile, "FILE", "as --source-password-file"},
});

struct FormatName {
  std::string_view name;
  Format format;
};
constexpr auto kFormats = std::to_array<FormatName>({
    {"text", Format::text},
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

// The operands of each side; a side that is given by options has none.
std::array<std::vector<std::string>, 2> operandsOfSides(const Arguments& arguments) {
  const std::vector<std::string>& all = arguments.operands;
  std::array<bool, 2> byOption{};
  for (std::size_t side = 0; side < 2; ++side)
    byOption[side] = arguments.has(kSideOptions[side].server);
  const auto count = std::ranges::count(byOption, true);
  if (count == 0 && arguments.has(kOdbcDriver))
    throw UsageError(text(kOdbcDriver) + " needs " + text(kSideOptions[0].server) + " or " +
                     text(kSideOptions[1].server) + "; behind 'odbc:' write Driver=");
  if (count > 0) {
    const bool enough = count == 2 ? all.empty() : !all.empty();
    if (arguments.parting || !enough)
      throw UsageError(count == 2 ? "both sides are given by options, and nothing may stand besides"
                                  : "one side is given by options, and the operands are the other");
    return {byOption[0] ? std::vector<std::string>() : all,
            byOption[1] ? std::vector<std::string>() : all};
  }
  if (!arguments.parting && all.size() != 2)
    throw UsageError(
        "compare needs SOURCE and TARGET, with '--' between them when they are more"
        " than two, and was given " +
        std::to_string(all.size()));
  const auto parting = all.begin() + static_cast<std::ptrdiff_t>(arguments.parting.value_or(1));
  if (parting == all.end()) throw UsageError("compare needs a TARGET behind '--'");
  return {std::vector(all.begin(), parting), std::vector(parting, all.end())};
}

std::vector<Output> outputsOf(const Arguments& arguments) {
  Output first{Format::text, arguments.value(kOutput)};
  if (const auto name = arguments.value(kFormat)) {
    const auto* known = std::ranges::find(kFormats, *name, &FormatName::name);
    if (known == kFormats.end())
      throw UsageError(text(kFormat) + " takes text, json or html, not '" + *name + "'");
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
  if (const auto file = arguments.value(kHtml)) outputs.push_back({Format::html, *file});
  if (const auto file = arguments.value(kJson)) outputs.push_back({Format::json, *file});
  return outputs;
}

Coloring coloringOf(const Arguments& arguments) {
  const std::string name = arguments.value(kColor).value_or("auto");
  const auto* known = std::ranges::find(kColorings, name, &ColoringName::name);
  if (known == kColorings.end())
    throw UsageError(text(kColor) + " takes auto, always or never, not '" + name + "'");
  return known->coloring;
}

std::string shownPlace(const Place& place, const std::vector<std::string>& operands) {
  if (const auto* server = std::get_if<ServerPlace>(&place)) return server->name;
  std::string names;
  for (const std::string& operand : operands) names += (names.empty() ? "" : " ") + operand;
  return names;
}

}  // namespace

std::vector<Option> compareOptions() {
  std::vector<Option> options(kOptions.begin(), kOptions.end());
  for (const auto shared : {readingOptions(), switchOptions()})
    options.insert(options.end(), shared.begin(), shared.end());
  std::ranges::sort(options, {}, &Option::name);
  return options;
}

CompareRequest parseCompare(std::span<const std::string> words) {
  const std::vector<Option> options = compareOptions();
  const Arguments arguments = parseArguments(words, options);
  const auto operands = operandsOfSides(arguments);
  const ReadingSettings settings = readingSettings(arguments);
  CompareRequest request{{placeOf(arguments, operands[0], kSideOptions[0], settings),
                          placeOf(arguments, operands[1], kSideOptions[1], settings)},
                         {},
                         arguments.value(kTrace),
                         outputsOf(arguments),
                         switchesOf(arguments),
                         {arguments.has(kIgnoreTabs), arguments.has(kIgnoreSpaces),
                          arguments.has(kIgnoreLineBreaks), arguments.has(kIgnoreCase)}};
  request.selection = Selection(
      arguments, request.rules.ignoreCase ? std::optional(CaseMode::ignore) : std::nullopt);
  for (std::size_t side = 0; side < 2; ++side)
    request.shown[side] = shownPlace(request.places[side], operands[side]);
  request.coloring = coloringOf(arguments);
  request.accept = arguments.value(kAccept);
  request.writeAccept = arguments.value(kWriteAccept);
  for (const std::string_view option : {kTrace, kOutput, kHtml, kJson, kWriteAccept})
    refuseOverwriting(arguments, option, kSideOptions);
  return request;
}

}  // namespace kelvane::cli
