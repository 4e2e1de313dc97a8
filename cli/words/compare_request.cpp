#include "cli/words/compare_request.h"

#include <algorithm>
#include <sstream>
#include <utility>
#include <vector>

#include "cli/words/overwriting.h"
#include "cli/words/side_arguments.h"
#include "cli/words/switch_arguments.h"
#include "cli/words/two_sides.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kAccept = "--accept", kBase = "--base", kColor = "--color",
                           kFormat = "--format", kGit = "--git", kHtml = "--html",
                           kIgnoreCase = "--ignore-case", kIgnoreComments = "--ignore-comments",
                           kIgnoreDefinitionCase = "--ignore-definition-case",
                           kIgnoreLineBreaks = "--ignore-line-breaks",
                           kIgnoreSpaces = "--ignore-spaces", kIgnoreTabs = "--ignore-tabs",
                           kJson = "--json", kOutput = "--output", kOwnerMap = "--owner-map",
                           kQuiet = "--quiet", kPublished = "--published", kScript = "--script",
                           kStat = "--stat", kSummary = "--summary", kTree = "--tree",
                           kWriteAccept = "--write-accept";

constexpr auto kFormats = std::to_array<Choice<Format>>({
    {"text", Format::text},
    {"tree", Format::tree},
    {"patch", Format::patch},
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
constexpr auto kKnown = std::to_array<Option>({
    {kAccept, kFile, "known differences, which stay"},
});
constexpr auto kTexts = std::to_array<Option>({
    {kIgnoreCase, "", "ignore upper and lower case in names"},
    {kIgnoreComments, "", "ignore comments in definitions"},
    {kIgnoreDefinitionCase, "", "ignore upper and lower case in definitions"},
    {kIgnoreLineBreaks, "", "ignore line breaks in definitions"},
    {kIgnoreSpaces, "", "ignore blanks in definitions"},
    {kIgnoreTabs, "", "ignore tabs in definitions"},
});
constexpr auto kRules = std::to_array<Option>({
    {kIgnoreCase, "", "ignore upper and lower case in names"},
    {kIgnoreComments, "", "ignore comments in definitions"},
    {kIgnoreDefinitionCase, "", "ignore upper and lower case in definitions"},
    {kIgnoreLineBreaks, "", "ignore line breaks in definitions"},
    {kIgnoreSpaces, "", "ignore blanks in definitions"},
    {kIgnoreTabs, "", "ignore tabs in definitions"},
    {kOwnerMap, kOwners, "compare the objects of one owner with those of another, as in dbo=app"},
    {kRowCounts, "", "also compare row counts; default: not compared"},
    {kPublished, "", "read and compare as the component's published classes do"},
});
constexpr auto kReports = std::to_array<Option>({
    {kColor, "WHEN", "colours: auto (only on a terminal), always or never; default: auto",
     kNamesOf<kColorings>},
    {kFormat, "FORMAT", "text, tree, patch (of definitions), json or html; default: text",
     kNamesOf<kFormats>},
    {kHtml, kFile, "also write an HTML report; with --script, it shows the script too"},
    {kJson, kFile, "also write a JSON report"},
    {kOutput, kFile, "write to this file instead of standard output", {}, "-o"},
    {kQuiet, "", "write nothing to standard output; see the exit status", {}, "-q"},
    {kStat, "", "write a line with counts for each object instead of the differences"},
    {kSummary, "", "write counts for each kind of object instead of the differences"},
    {kTree, kFile, "also write the tree of differences"},
});

constexpr auto kVersions = std::to_array<Option>({
    {kBase, kSide, "what both sides come from: says of each difference which side made it"},
    {kGit, "OLD..NEW", "compare PATH at two revisions of its git repository"},
});
constexpr auto kScripts = std::to_array<Option>({
    {kScript, kFile, "also write T-SQL that makes the target like the source; see kelvane script"},
    {kAllow, kDangerWord, "with --script, do steps that may take something away too"},
    {kNoProof, "", "with --script, do not try the script on a copy of the target"},
});

std::vector<Output> outputsOf(const Arguments& arguments) {
  Output first{choiceOf<kFormats>(arguments, kFormat, Format::text), arguments.value(kOutput)};
  if (arguments.has(kSummary) && arguments.has(kStat))
    throw UsageError(arguments.called(kSummary) + " and " + arguments.called(kStat) +
                     " cannot be combined");
  for (const auto& [option, format] :
       {std::pair{kSummary, Format::summary}, {kStat, Format::stat}}) {
    if (!arguments.has(option)) continue;
    if (first.format != Format::text)
      throw UsageError(arguments.called(option) + " writes text, not " + *arguments.value(kFormat));
    first.format = format;
    break;
  }
  std::vector<Output> outputs;
  if (first.file || !arguments.has(kQuiet)) outputs.push_back(first);
  for (const auto& [option, format] :
       {std::pair{kHtml, Format::html}, {kJson, Format::json}, {kTree, Format::tree}}) {
    if (const auto file = arguments.value(option)) outputs.push_back({format, *file});
  }
  return outputs;
}

// Objects and rules, which both ways of comparing have.
CompareRequest requestOfRules(const Arguments& arguments) {
  CompareRequest request;
  request.trace = arguments.value(kTrace);
  request.rules = {arguments.has(kIgnoreTabs), arguments.has(kIgnoreSpaces),
                   arguments.has(kIgnoreLineBreaks), arguments.has(kIgnoreCase)};
  request.selection = selectionOf(
      arguments, request.rules.ignoreCase ? std::optional(CaseMode::ignore) : std::nullopt);
  request.accept = arguments.value(kAccept);
  return request;
}

// Two revisions, "main..HEAD", of which one may be left out; from where both were one,
// "main...HEAD"; or one, "main", and the files as they are.
TwoSides revisionsOf(const Arguments& arguments) {
  const std::string range = *arguments.value(kGit);
  if (arguments.operands.empty() || arguments.parting)
    throw UsageError("--git needs the files or folders to compare: kelvane compare --git " + range +
                     " PATH");
  for (const SideOptions& side : kTwoSides) {
    for (const std::string_view option : {side.server, side.user, side.passwordFile})
      if (arguments.has(option))
        throw UsageError(std::string(option) + " cannot be combined with --git");
  }
  if (arguments.has(kBase)) throw UsageError("--base cannot be combined with --git");
  const std::size_t dots = range.find("..");
  const bool fromAncestor = dots != range.npos && range.substr(dots).starts_with("...");
  const auto orHead = [](const std::string& name) { return name.empty() ? "HEAD" : name; };
  const std::array<std::string, 2> names{
      orHead(range.substr(0, dots)),
      dots == range.npos ? "" : orHead(range.substr(dots + (fromAncestor ? 3 : 2)))};
  const ReadingSettings settings = readingSettings(arguments);
  TwoSides sides;
  for (std::size_t side = 0; side < 2; ++side) {
    ScriptPlace place{arguments.operands, settings.load, arguments.value(kTwoSides[side].database),
                      kTwoSides[side].database};
    if (!names[side].empty()) place.revision = names[side];
    if (side == 0 && fromAncestor) place.ancestorWith = names[1];
    std::string paths;
    for (const std::string& path : arguments.operands) paths += (paths.empty() ? "" : " ") + path;
    sides.shown[side] = names[side].empty() ? paths : names[side] + ":" + paths;
    if (place.ancestorWith) sides.shown[side] = names[0] + "..." + names[1] + ":" + paths;
    sides.places[side] = std::move(place);
  }
  return sides;
}

CompareRequest requestOfSides(const Arguments& arguments, std::string_view command) {
  const TwoSides sides =
      arguments.has(kGit) ? revisionsOf(arguments) : twoSides(arguments, command);
  CompareRequest request = requestOfRules(arguments);
  request.places = sides.places;
  request.shown = sides.shown;
  for (const std::string& operand : arguments.operands) {
    const auto own = arguments.accepts.find(operand);
    if (own == arguments.accepts.end()) continue;
    request.ownAccepts.insert(request.ownAccepts.end(), own->second.begin(), own->second.end());
  }
  return request;
}

void setCompared(CompareRequest& request, const Arguments& arguments) {
  inventory::Rules& rules = request.inventory;
  rules.compared = comparedFamiliesOf(arguments);
  request.leftOut = leftOutOf(arguments, rules.compared);
  rules.ignoreTabs = request.rules.ignoreTabs;
  rules.ignoreSpaces = request.rules.ignoreSpaces;
  rules.ignoreLineBreaks = request.rules.ignoreLineBreaks;
  rules.ignoreComments = arguments.has(kIgnoreComments);
  rules.ignoreDefinitionCase = arguments.has(kIgnoreDefinitionCase);
}

void setScript(CompareRequest& request, const Arguments& arguments) {
  request.script = arguments.value(kScript);
  if (!request.script) {
    // A file may say them for other commands.
    for (const std::string_view option : {kAllow, kNoProof})
      if (arguments.isGiven(option)) throw UsageError(std::string(option) + " needs --script");
    return;
  }
  request.scripting = scriptRequest(arguments);
  request.countsRows = true;
  request.readsWholeTarget = request.scripting.isTried;
}

// The database that both come from.
void setBase(CompareRequest& request, const Arguments& arguments) {
  const auto base = arguments.value(kBase);
  if (!base) return;
  for (const std::string_view option : {kPublished, kHtml, kTree, kStat, kSummary, kWriteAccept,
                                        kJunit, kMarkdown, kOpenMetrics, kSarif})
    if (arguments.has(option))
      throw UsageError(arguments.called(option) + " cannot be combined with --base");
  for (const Output& output : request.outputs) {
    if (output.format != Format::text && output.format != Format::json)
      throw UsageError("with --base a report is text or json");
  }
  constexpr SideOptions kNone{};
  request.base = placeOf(arguments, {*base}, kNone, readingSettings(arguments));
  request.shownBase = nameOf(*request.base, {*base});
}

// dbo=app, or several of them between commas.
void setOwners(CompareRequest& request, const Arguments& arguments) {
  for (const std::string& list : arguments.values(kOwnerMap)) {
    std::istringstream words(list);
    for (std::string word; std::getline(words, word, ',');) {
      const std::size_t sign = word.find('=');
      const bool isPair = sign != word.npos && sign > 0 && sign + 1 < word.size();
      if (!isPair || !request.owners.emplace(word.substr(sign + 1), word.substr(0, sign)).second)
        throw UsageError(arguments.called(kOwnerMap) +
                         " takes SOURCE=TARGET, such as dbo=app, once for each owner; not '" +
                         word + "'");
    }
  }
  if (request.owners.empty()) return;
  for (const auto& [option, isThere] : {std::pair{kPublished, request.published},
                                        {kScript, request.script.has_value()},
                                        {kBase, arguments.has(kBase)}})
    if (isThere)
      throw UsageError(arguments.called(kOwnerMap) + " cannot be combined with " +
                       std::string(option));
}

void setResults(CompareRequest& request, const Arguments& arguments) {
  request.results = resultFiles(arguments);
  if (request.published && !request.results.isEmpty())
    for (const std::string_view option : kResultFiles)
      if (arguments.has(option))
        throw UsageError(arguments.called(option) + " cannot be combined with --published");
  if (!request.results.sarif) return;
  for (Place& place : request.places) {
    if (auto* scripts = std::get_if<ScriptPlace>(&place)) scripts->settings.listMade = true;
  }
}

}  // namespace

std::vector<OptionFamily> compareOptions() {
  return {twoSidesOptions(),
          {"Versions", kVersions, Elsewhere::nowhere},
          {"Choosing objects", kSelecting, Elsewhere::environments},
          {"Known differences", kAccepting},
          {"Comparing", kRules, Elsewhere::environments},
          switchOptions(),
          {"Reports", kReports},
          resultFileOptions(),
          {"The script", kScripts},
          readingOptions()};
}

std::vector<OptionFamily> comparingOptions() {
  return {{"Choosing objects", kSelecting, Elsewhere::environments},
          {"Known differences", kKnown},
          {"Comparing", kTexts, Elsewhere::environments},
          switchOptions()};
}

std::vector<OptionFamily> comparedOptions() {
  std::vector<OptionFamily> families = comparingOptions();
  families.insert(families.begin(), twoSidesOptions());
  return families;
}

CompareRequest comparingRequest(const Arguments& arguments) {
  CompareRequest request = requestOfRules(arguments);
  setCompared(request, arguments);
  return request;
}

CompareRequest comparedRequest(const Arguments& arguments, std::string_view command) {
  CompareRequest request = requestOfSides(arguments, command);
  setCompared(request, arguments);
  return request;
}

CompareRequest parseCompare(const Arguments& arguments) {
  CompareRequest request = requestOfSides(arguments, "compare");
  request.outputs = outputsOf(arguments);
  request.quiet = arguments.has(kQuiet);
  request.published = arguments.has(kPublished);
  setScript(request, arguments);
  if (request.published) {
    for (const std::string_view option :
         {kIgnoreComments, kIgnoreDefinitionCase, kIgnore, kScript, kStat})
      if (arguments.has(option))
        throw UsageError(arguments.called(option) + " cannot be combined with --published");
    for (const Output& output : request.outputs)
      if (output.format == Format::patch)
        throw UsageError(arguments.called(kFormat) + " patch cannot be combined with --published");
    request.switches = comparedSwitchesOf(arguments);
    request.ownAccepts.clear();  // they are about typed changes
    request.leftOut = leftOutBy(arguments);
  } else {
    setCompared(request, arguments);
  }
  request.coloring = choiceOf<kColorings>(arguments, kColor, Coloring::onTerminal);
  request.writeAccept = arguments.value(kWriteAccept);
  setResults(request, arguments);
  setBase(request, arguments);
  setOwners(request, arguments);
  std::vector<Place> places(request.places.begin(), request.places.end());
  if (request.base) places.push_back(*request.base);
  refuseOverwriting(arguments, places,
                    {.written = {kTrace, kOutput, kHtml, kJson, kTree, kScript, kWriteAccept,
                                 kJunit, kMarkdown, kOpenMetrics, kSarif},
                     .read = kAccept,
                     .updates = kWriteAccept});
  return request;
}

}  // namespace kelvane::cli
