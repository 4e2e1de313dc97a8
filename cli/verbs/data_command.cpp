#include "cli/verbs/data_command.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "cli/screen/pager.h"
#include "cli/screen/written_file.h"
#include "cli/verbs/data_export.h"
#include "cli/verbs/keyed_data.h"
#include "cli/verbs/keyed_page.h"
#include "cli/verbs/listing.h"
#include "cli/verbs/positional_data.h"
#include "cli/verbs/report_output.h"
#include "cli/verbs/row_lines.h"
#include "cli/verbs/row_script.h"
#include "cli/words/overwriting.h"
#include "cli/words/pace_options.h"
#include "cli/words/read_only_sql.h"
#include "cli/words/row_file_paths.h"
#include "cli/words/row_options.h"
#include "cli/words/row_script_request.h"
#include "cli/words/two_sides.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kMaxDifferences = "--max-differences", kMaxRows = "--max-rows",
                           kShow = "--show", kTable = "--table", kByPosition = "--by-position",
                           kRows = "--rows";
constexpr std::array<std::string_view, 2> kNames{"source", "target"};

constexpr auto kTables = std::to_array<Option>({
    {kByPosition, {}, "pair rows by position, not by key"},
    {kExport, kFolder, "write the rows of one side to files of this folder"},
    {kMaxDifferences, kNumber, "with --by-position: stop after more than N differing values"},
    {kMaxRows, kNumber, "with --by-position: compare no more than N rows of a table"},
    {kRows, kStatement, "compare what this select returns; given twice: of source and target"},
    {kTable, kTablePattern, "only tables whose name or owner.name matches (*, ?)"},
});
enum class DataFormat { text, tree, json, csv, jsonLines };
constexpr auto kDataFormats = std::to_array<Choice<DataFormat>>({
    {"text", DataFormat::text},
    {"tree", DataFormat::tree},
    {"json", DataFormat::json},
    {"csv", DataFormat::csv},
    {"jsonl", DataFormat::jsonLines},
});
constexpr std::string_view kFormat = kListingFormat.name, kHtml = "--html";
constexpr std::array<std::string_view, 6> kFormats{"text", "tree", "json", "csv", "jsonl", "bcp"};
constexpr auto kReports = std::to_array<Option>({
    {kFormat, kListingFormat.value,
     "text, tree, json, or each row that differs: csv, jsonl; with --export: csv, jsonl or bcp",
     kFormats},
    {kHtml, kFile, "also write an HTML report"},
    {kShow, kNumber, "show the first N differing rows of each table; default: 3"},
});
constexpr std::size_t kShownRows = 3;

class Limits final : public AppPreferences {
 public:
  explicit Limits(const Arguments& arguments)
      : rows_(numberOf(arguments, kMaxRows)), differences_(numberOf(arguments, kMaxDifferences)) {}
  Boolean LimitDataCompareRows() const override { return rows_.has_value(); }
  std::int32_t MaxDataCompareRows() const override { return rows_.value_or(0); }
  Boolean LimitDataCompareDifferences() const override { return differences_.has_value(); }
  std::int32_t MaxDataCompareDifferences() const override { return differences_.value_or(0); }

 private:
  std::optional<std::int32_t> rows_, differences_;
};

struct DataRequest {
  TwoSides sides;
  Limits limits;
  std::vector<std::u16string> patterns = {};
  std::vector<std::string> selects = {};
  RowOptions rows = {};
  std::vector<std::string> rowOptions = {};  // in effect
  PaceOptions pace = {};
  std::optional<std::size_t> shown = {};
  DataFormat format = DataFormat::text;
  std::optional<std::string> trace = {};
  std::optional<RowScriptRequest> script = {};
  std::optional<std::string> html = {};
};

bool writesRows(const DataRequest& request) {
  return request.format == DataFormat::csv || request.format == DataFormat::jsonLines;
}

std::vector<std::u16string> patternsOf(const Arguments& arguments) {
  std::vector<std::u16string> patterns;
  for (const std::string& pattern : arguments.values(kTable)) patterns.push_back(toUtf16(pattern));
  return patterns;
}

// Files are read as they are.
void refuseForFiles(const Arguments& arguments, const DataRequest& request) {
  const auto isFiles = [&](std::size_t side) {
    return std::holds_alternative<RowFilesPlace>(request.sides.places[side]);
  };
  for (const std::string_view option : {kWhere, kRecheck}) {
    if (arguments.has(option) && (isFiles(0) || isFiles(1)))
      throw UsageError(arguments.called(option) + " is for databases, not for files of rows");
  }
  if (request.script && isFiles(1))
    throw UsageError(std::string(kRowScript) + " makes a script for a database, but the target '" +
                     request.sides.shown[1] + "' contains rows alone");
}

// They say themselves which rows, and nobody knows the tables.
void refuseForSelects(const Arguments& arguments, const DataRequest& request) {
  if (request.selects.empty()) return;
  if (request.selects.size() > 2)
    throw UsageError(arguments.called(kRows) + " may be given twice, for source and target");
  for (const std::string& select : request.selects) {
    if (const std::string why = whyNoSelect(select); !why.empty())
      throw UsageError(arguments.called(kRows) + " takes one select that returns rows, not '" +
                       select + "': " + why);
  }
  for (const std::string_view option : {kByPosition, kTable, kWhere, kRowScript}) {
    if (arguments.has(option))
      throw UsageError(std::string(kRows) + " and " + std::string(option) + " exclude each other");
  }
  for (const Place& place : request.sides.places) {
    if (std::holds_alternative<RowFilesPlace>(place))
      throw UsageError(std::string(kRows) + " is for databases, not for files of rows");
  }
}

// One connection, where a configuration asks for more than there can be.
void limitConnections(const Arguments& arguments, DataRequest& request) {
  if (request.pace.connections == 1) return;
  const bool isGiven = arguments.isGiven(kParallel);
  if (isGiven && !request.selects.empty())
    throw UsageError(std::string(kParallel) + " and " + std::string(kRows) + " exclude each other");
  if (!request.selects.empty()) request.pace.connections = 1;
  for (std::size_t side = 0; side < 2; ++side) {
    if (!std::holds_alternative<ScriptPlace>(request.sides.places[side])) continue;
    if (isGiven)
      throw UsageError(std::string(kParallel) + " is for servers, but '" +
                       request.sides.shown[side] + "' is a script");
    request.pace.connections = 1;
  }
}

DataRequest parseData(const Arguments& arguments) {
  DataRequest request{twoSides(arguments, "data", rowFileFormOf(arguments)), Limits(arguments)};
  request.format = choiceOf<kDataFormats>(arguments, kFormat, DataFormat::text);
  request.trace = arguments.value(kTrace);
  const std::string format =
      arguments.called(kFormat) + " " + arguments.value(kFormat).value_or("");
  const bool isTree = request.format == DataFormat::tree;
  if (arguments.has(kByPosition) && (writesRows(request) || isTree))
    throw UsageError(format + " and " + std::string(kByPosition) + " exclude each other");
  // What was compared by another run is not told again.
  if (arguments.has(kResume) && writesRows(request))
    throw UsageError(format + " and " + std::string(kResume) + " exclude each other");
  for (const std::string_view limit : {kMaxRows, kMaxDifferences}) {
    if (arguments.isGiven(limit) && !arguments.has(kByPosition))
      throw UsageError(std::string(limit) + " needs " + std::string(kByPosition));
  }
  for (const std::string_view given : {givenRowOption(arguments), givenPaceOption(arguments)}) {
    if (!given.empty() && arguments.has(kByPosition))
      throw UsageError(std::string(given) + " and " + std::string(kByPosition) +
                       " exclude each other");
  }
  request.pace = paceOptionsOf(arguments);
  request.rows = rowOptionsOf(arguments);
  request.rowOptions = rowOptionsInEffect(arguments);
  request.script = rowScriptRequest(arguments);
  if (request.script && arguments.has(kByPosition))
    throw UsageError(std::string(kRowScript) + " and " + std::string(kByPosition) +
                     " exclude each other");
  // What was compared by another run is not compared again.
  if (request.script && request.pace.resume)
    throw UsageError(std::string(kRowScript) + " and " + std::string(kResume) +
                     " exclude each other");
  request.html = arguments.value(kHtml);
  if (request.html && arguments.has(kByPosition))
    throw UsageError(std::string(kHtml) + " and " + std::string(kByPosition) +
                     " exclude each other");
  request.patterns = patternsOf(arguments);
  request.selects = arguments.values(kRows);
  if (request.pace.connections > 1 && !request.selects.empty())
    throw UsageError(std::string(kParallel) + " and " + std::string(kRows) + " exclude each other");
  if (const auto shown = numberOf(arguments, kShow))
    request.shown = static_cast<std::size_t>(*shown);
  for (std::size_t side = 0; side < 2; ++side) {
    if (std::holds_alternative<SnapshotPlace>(request.sides.places[side]))
      throw UsageError("'" + request.sides.shown[side] +
                       "' is a snapshot and contains no rows; name the database instead");
    if (arguments.has(kByPosition) &&
        std::holds_alternative<RowFilesPlace>(request.sides.places[side]))
      throw UsageError(std::string(kByPosition) + " is for databases, but '" +
                       request.sides.shown[side] + "' contains rows alone");
  }
  refuseForFiles(arguments, request);
  refuseForSelects(arguments, request);
  limitConnections(arguments, request);
  refuseOverwriting(arguments, request.sides.places,
                    {.written = {kTrace, kResume, kRowScript, kHtml}});
  return request;
}

// The rows of a script need not travel.
ChecksumUse checksumUse(const Arguments& arguments, const DataRequest& request) {
  if (arguments.has(kChecksums)) return ChecksumUse::wherePossible;
  const bool isWired = std::ranges::all_of(request.sides.places, [](const Place& place) {
    return std::holds_alternative<ServerPlace>(place);
  });
  // What a file keeps of a table does not say what that rests on; a table that is summed has one
  // connection.
  const bool isExact = arguments.has(kExact) || request.pace.resume || request.pace.ranges ||
                       request.pace.connections > 1;
  return isWired && !isExact ? ChecksumUse::whereTheyPay : ChecksumUse::never;
}

// What is compared and how, for one who knows a part of the result.
std::string comparisonOf(const DataRequest& request) {
  std::string text = request.sides.shown[0] + "\n" + request.sides.shown[1] + "\n" +
                     std::to_string(request.shown.value_or(kShownRows));
  for (const std::string& option : request.rowOptions) text += "\n" + option;
  for (const std::string& select : request.selects) text += "\n" + select;
  return text;
}

void writeLines(const KeyedReport& report, const DataRequest& request, RowLines* lines,
                const Console& console) {
  lines->finish(report);
  if (request.format != DataFormat::csv) return;
  for (const KeyedTable& table : report.tables) {
    if (table.ended == KeyedEnd::error) console.complain(table.name + ": " + table.error);
    if (table.ended == KeyedEnd::missingInSource)
      console.complain(table.name + " is missing in the source");
    if (table.ended == KeyedEnd::missingInTarget)
      console.complain(table.name + " is missing in the target");
  }
}
void writeLines(const DataReport&, const DataRequest&, RowLines*, const Console&) {}
// Rows by position have no tree; the command line was refused.
void writeTree(const DataReport&, std::ostream&) {}

Written writePage(const KeyedReport& report, const DataRequest& request, const Console& console) {
  if (!request.html) return Written::all;
  return tried(console, [&] {
    WrittenFile file("report", *request.html, console);
    writeHtml(report, file.stream());
    file.close();
  });
}
// Neither have they a page.
Written writePage(const DataReport&, const DataRequest&, const Console&) { return Written::all; }

template <class Report>
ExitStatus write(Report report, const DataRequest& request,
                 std::span<const std::unique_ptr<Side>> sides, const Console& console,
                 RowLines* lines = nullptr) {
  for (std::size_t side = 0; side < 2; ++side) {
    if (sides[side] && !sides[side]->isComplete())
      report.gaps.push_back(std::string(kNames[side]) + ": not everything could be loaded");
  }
  const Written page = writePage(report, request, console);
  if (lines != nullptr)
    writeLines(report, request, lines, console);
  else
    writePaged(console, [&](std::ostream& out) {
      if (request.format == DataFormat::json)
        writeJson(report, out);
      else if (request.format == DataFormat::tree)
        writeTree(report, out);
      else
        writeText(report, out);
    });
  tellGaps(report.gaps, console);
  const ExitStatus status = report.status();
  if (status == kNotProven)
    console.complain("not everything could be compared: equality is not proven");
  return page == Written::notAll ? kError : status;
}

}  // namespace

std::vector<OptionFamily> dataOptions() {
  return {twoSidesOptions(),
          {"Tables", kTables},
          rowOptionFamily(),
          paceOptionFamily(),
          {"Reports", kReports},
          {"The script", rowScriptOptions()},
          {"Files of rows", kRowFileOptions},
          readingOptions()};
}

ExitStatus runData(const Arguments& arguments, const Console& console, const OpenSide& open) {
  if (arguments.has(kExport)) {
    for (const std::string_view option :
         {kByPosition, kShow, kHtml, kRows, givenRowOption(arguments), givenPaceOption(arguments),
          kRowScript}) {
      if (!option.empty() && arguments.isGiven(option))
        throw UsageError(std::string(option) + " and " + std::string(kExport) +
                         " exclude each other");
    }
    return runExport(arguments, patternsOf(arguments), console, open);
  }
  const DataRequest request = parseData(arguments);
  std::vector<NamedPlace> places{{kNames[0], request.sides.places[0]},
                                 {kNames[1], request.sides.places[1]}};
  auto sides = openSides(places, console, open);
  for (std::size_t pair = 1; pair < request.pace.connections; ++pair) {
    for (auto& side : openSides(places, console, open)) sides.push_back(std::move(side));
  }
  if (arguments.has(kByPosition))
    return write(compareByPosition({request.sides, request.limits, request.patterns,
                                    request.shown.value_or(0), request.trace},
                                   sides, console),
                 request, sides, console);
  KeyedRequest keyed;
  keyed.patterns = request.patterns;
  keyed.selects = request.selects;
  keyed.rows = request.rows;
  keyed.rows.comparing.digestsLongValues = !writesRows(request) && !request.script;
  keyed.optionsInEffect = request.rowOptions;
  keyed.ranges = request.pace.ranges;
  keyed.secondLook = request.pace.secondLook;
  keyed.resume = request.pace.resume;
  keyed.checksums = checksumUse(arguments, request);
  keyed.comparison = comparisonOf(request);
  keyed.shown = request.shown.value_or(kShownRows);
  keyed.trace = request.trace;
  std::optional<RowLines> lines;
  if (writesRows(request)) {
    if (!request.html) keyed.shown = 0;
    keyed.sinks.push_back(&lines.emplace(console, request.format == DataFormat::csv
                                                      ? RowLineFormat::csv
                                                      : RowLineFormat::jsonLines));
  }
  std::optional<RowScript> script;
  if (request.script) {
    keyed.sinks.push_back(&script.emplace(*request.script, request.sides.shown));
    keyed.readsConstraints = true;
  }
  KeyedReport report = compareByKey(keyed, request.sides, sides, console);
  const ExitStatus written = script ? script->write(console) : kNoDifference;
  const ExitStatus status =
      write(std::move(report), request, sides, console, lines ? &*lines : nullptr);
  if (keyed.resume && std::filesystem::exists(*keyed.resume))
    console.complain("'" + *keyed.resume +
                     "' has what was compared: the same command goes on from there");
  return written == kNoDifference || status == kError ? status : written;
}

}  // namespace kelvane::cli
