#include "cli/verbs/data_command.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <utility>

#include "cli/screen/interruption.h"
#include "cli/screen/written_file.h"
#include "cli/sides/reading.h"
#include "cli/sides/tracing_connection.h"
#include "cli/verbs/data_export.h"
#include "cli/verbs/data_progress.h"
#include "cli/verbs/data_report.h"
#include "cli/verbs/keyed_data.h"
#include "cli/verbs/listing.h"
#include "cli/verbs/row_lines.h"
#include "cli/verbs/row_script.h"
#include "cli/words/overwriting.h"
#include "cli/words/pace_options.h"
#include "cli/words/row_file_paths.h"
#include "cli/words/row_options.h"
#include "cli/words/row_script_request.h"
#include "cli/words/two_sides.h"
#include "inventory/name_pattern.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kMaxDifferences = "--max-differences", kMaxRows = "--max-rows",
                           kShow = "--show", kTable = "--table", kByPosition = "--by-position";
constexpr std::array<std::string_view, 2> kNames{"source", "target"};

constexpr auto kTables = std::to_array<Option>({
    {kByPosition, {}, "pair rows by position, not by key"},
    {kExport, kFolder, "write the rows of one side to files of this folder"},
    {kMaxDifferences, kNumber, "with --by-position: stop after more than N differing values"},
    {kMaxRows, kNumber, "with --by-position: compare no more than N rows of a table"},
    {kTable, kTablePattern, "only tables whose name or owner.name matches (*, ?)"},
});
enum class DataFormat { text, json, csv, jsonLines };
constexpr auto kDataFormats = std::to_array<Choice<DataFormat>>({
    {"text", DataFormat::text},
    {"json", DataFormat::json},
    {"csv", DataFormat::csv},
    {"jsonl", DataFormat::jsonLines},
});
constexpr std::string_view kFormat = kListingFormat.name;
constexpr std::array<std::string_view, 5> kFormats{"text", "json", "csv", "jsonl", "bcp"};
constexpr auto kReports = std::to_array<Option>({
    {kFormat, kListingFormat.value,
     "text, json, or each row that differs: csv, jsonl; with --export: csv, jsonl or bcp",
     kFormats},
    {kShow, kNumber, "show the first N differing rows of each table; default: 3"},
});
constexpr std::size_t kShownRows = 3;

std::optional<std::int32_t> number(const Arguments& arguments, std::string_view option) {
  const auto value = arguments.value(option);
  if (!value) return std::nullopt;
  std::int32_t result = -1;
  const char* const end = value->data() + value->size();
  const auto [stop, error] = std::from_chars(value->data(), end, result);
  if (error != std::errc() || stop != end || result < 0)
    throw UsageError(arguments.called(option) + " takes a number from 0 to " +
                     std::to_string(std::numeric_limits<std::int32_t>::max()) + ", not '" + *value +
                     "'");
  return result;
}

class Limits final : public AppPreferences {
 public:
  explicit Limits(const Arguments& arguments)
      : rows_(number(arguments, kMaxRows)), differences_(number(arguments, kMaxDifferences)) {}
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
  RowOptions rows = {};
  std::vector<std::string> rowOptions = {};  // in effect
  PaceOptions pace = {};
  std::optional<std::size_t> shown = {};
  DataFormat format = DataFormat::text;
  std::optional<std::string> trace = {};
  std::optional<RowScriptRequest> script = {};
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

DataRequest parseData(const Arguments& arguments) {
  DataRequest request{twoSides(arguments, "data", rowFileFormOf(arguments)), Limits(arguments)};
  request.format = choiceOf<kDataFormats>(arguments, kFormat, DataFormat::text);
  request.trace = arguments.value(kTrace);
  for (const std::string_view option : {kByPosition, kResume}) {
    if (writesRows(request) && arguments.has(option))
      throw UsageError(arguments.called(kFormat) + " csv and jsonl and " + std::string(option) +
                       " exclude each other");
  }
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
  request.patterns = patternsOf(arguments);
  if (const auto shown = number(arguments, kShow)) request.shown = static_cast<std::size_t>(*shown);
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
  refuseOverwriting(arguments, request.sides.places, {.written = {kTrace, kResume, kRowScript}});
  return request;
}

// Equal for names that are the same.
std::u16string comparable(const std::u16string& name, CaseMode mode) {
  return mode == CaseMode::ignore ? foldCase(name) : name;
}

struct OwnedTable {
  std::u16string owner, name;

  std::u16string qualified() const { return owner + u"." + name; }
};

// The wanted tables of both sides, by the names that they have in statements.
struct TableNames {
  CaseMode mode = CaseMode::exact;  // unless both servers ignore case
  std::array<std::set<std::u16string>, 2> wanted;
  std::vector<std::u16string> ofSource;            // in its order
  std::map<std::u16string, std::u16string> known;  // those of the source by owner and name
};

struct UserTables {
  bool caseMatters = true;
  std::vector<OwnedTable> tables;
  std::u16string user;  // whom a bare name is first looked for with, before dbo
};

UserTables userTables(ado::Connection& connection) {
  UserTables result;
  const auto rows = connection.Open(
      u"select name, user_name(uid), user_name() from sysobjects where type = 'U' order by name, "
      u"uid",
      ado::kClientCursor);
  for (; !rows->EndOfRows(); rows->MoveNext()) {
    result.tables.push_back({rows->Fields(1).Value().toText(), rows->Fields(0).Value().toText()});
    result.user = rows->Fields(2).Value().toText();
  }
  const auto sense = connection.Open(u"select case 'a' when 'A' then 'ignored' else 'exact' end",
                                     ado::kClientCursor);
  result.caseMatters = sense->Fields(0).Value().toText() == u"exact";
  return result;
}

TableNames tableNames(std::array<ado::Connection*, 2> connections,
                      const std::vector<std::u16string>& patterns) {
  constexpr std::u16string_view kOwner = u"dbo";
  const std::array<UserTables, 2> sides{userTables(*connections[0]), userTables(*connections[1])};
  // Names that would not lead to dbo's table on either side.
  std::set<std::u16string> hidden;
  for (const auto& [caseMatters, tables, user] : sides) {
    for (const OwnedTable& table : tables) {
      if (table.owner == user && user != kOwner) hidden.insert(table.name);
    }
  }
  TableNames result;
  if (!sides[0].caseMatters && !sides[1].caseMatters) result.mode = CaseMode::ignore;
  std::vector<bool> used(patterns.size());
  for (std::size_t side = 0; side < 2; ++side) {
    for (const OwnedTable& table : sides[side].tables) {
      bool wanted = patterns.empty();
      for (std::size_t pattern = 0; pattern < patterns.size(); ++pattern) {
        if (!inventory::matchesPattern(table.name, patterns[pattern]) &&
            !inventory::matchesPattern(table.qualified(), patterns[pattern]))
          continue;
        wanted = used[pattern] = true;
      }
      if (!wanted) continue;
      const bool isBare = table.owner == kOwner && !hidden.contains(table.name);
      const std::u16string name = isBare ? table.name : table.qualified();
      result.wanted[side].insert(name);
      if (side > 0) continue;
      result.ofSource.push_back(name);
      result.known[table.qualified()] = name;
    }
  }
  std::vector<std::string> unused;
  for (std::size_t pattern = 0; pattern < patterns.size(); ++pattern) {
    if (!used[pattern]) unused.push_back("no table matches '" + toUtf8(patterns[pattern]) + "'");
  }
  if (!unused.empty()) throw CommandError(std::move(unused));
  return result;
}

using RowCounts = std::map<std::u16string, std::int64_t>;

// Counting takes a server as long as comparing, an embedded database a fraction of it.
RowCounts countedRows(ado::Connection& connection, const std::vector<std::u16string>& tables) {
  RowCounts rows;
  for (const std::u16string& table : tables) {
    try {
      const auto answer = connection.Open(u"select count(*) from " + table, ado::kClientCursor);
      rows[table] = ado::NullToLong(answer->Fields(0).Value());
    } catch (const RuntimeError&) {
      // It cannot be compared either.
      rows[table] = 0;
    }
  }
  return rows;
}

// About how many rows the tables of a server have, as far as it says so.
RowCounts estimatedRows(ado::Connection& connection,
                        const std::map<std::u16string, std::u16string>& known) {
  constexpr std::array<std::u16string_view, 2> kStatements{
      u"select name, user_name(uid), row_count(db_id(), id) from sysobjects where type = 'U'",
      u"select o.name, user_name(o.uid), rowcnt(i.doampg) from sysobjects o, sysindexes i where "
      u"o.type = 'U' and "
      u"i.id = o.id and i.indid in (0, 1)"};
  RowCounts rows;
  for (const std::u16string_view statement : kStatements) {
    try {
      const auto answer = connection.Open(statement, ado::kClientCursor);
      for (; !answer->EndOfRows(); answer->MoveNext()) {
        const OwnedTable table{answer->Fields(1).Value().toText(),
                               answer->Fields(0).Value().toText()};
        const auto name = known.find(table.qualified());
        if (name != known.end()) rows[name->second] = ado::NullToLong(answer->Fields(2).Value());
      }
      return rows;
    } catch (const RuntimeError&) {
      // A server of another release: the next statement is for it.
      rows.clear();
    }
  }
  return rows;
}

std::vector<ExpectedTable> expectedTables(const DataRequest& request, const TableNames& names,
                                          ado::Connection& source, const StatusLine& line) {
  RowCounts rows;
  if (line.isShown()) {
    rows = std::holds_alternative<ScriptPlace>(request.sides.places[0])
               ? countedRows(source, names.ofSource)
               : estimatedRows(source, names.known);
  }
  std::vector<ExpectedTable> tables;
  for (const std::u16string& name : names.ofSource) {
    ExpectedTable& table = tables.emplace_back(ExpectedTable{name, std::nullopt});
    if (const auto known = rows.find(name); known != rows.end()) {
      const std::int64_t most = request.limits.LimitDataCompareRows()
                                    ? request.limits.MaxDataCompareRows()
                                    : std::numeric_limits<std::int64_t>::max();
      table.rows = std::min(known->second, most);
    }
  }
  return tables;
}

// Names as they are compared.
std::set<std::u16string> comparable(const std::set<std::u16string>& names, CaseMode mode) {
  std::set<std::u16string> result;
  for (const std::u16string& name : names) result.insert(comparable(name, mode));
  return result;
}

static_assert(static_cast<int>(DataEnd::bothEnded) == static_cast<int>(TableEnd::bothEnded) &&
              static_cast<int>(DataEnd::error) == static_cast<int>(TableEnd::error));

std::vector<TableReport> tableReports(const std::vector<TableResult>& results,
                                      const std::vector<WatchedTable>& seen,
                                      const TableNames& names) {
  const std::array sides{comparable(names.wanted[0], names.mode),
                         comparable(names.wanted[1], names.mode)};
  std::vector<TableReport> reports;
  for (std::size_t table = 0; table < names.ofSource.size(); ++table) {
    TableReport& report = reports.emplace_back(TableReport{.table = names.ofSource[table]});
    report.ended = DataEnd::notReached;
    if (table >= std::min(results.size(), seen.size())) continue;
    // A server that ignores case answers for a table of nearly that name.
    if (!sides[1].contains(comparable(report.table, names.mode))) {
      report.ended = DataEnd::missingInTarget;
      continue;
    }
    const TableResult& result = results[table];
    report.ended = static_cast<DataEnd>(result.Ended);
    report.rowsCompared = result.RowsCompared;
    report.differences = result.Differences;
    report.seen = seen[table];
    if (report.ended == DataEnd::error) report.error = result.Error;
  }
  for (const std::u16string& name : names.wanted[1]) {
    if (sides[0].contains(comparable(name, names.mode))) continue;
    reports.push_back({.table = name, .ended = DataEnd::missingInSource});
  }
  return reports;
}

// Why the comparison did not come to its end.
void addStops(std::span<const TracingConnection* const> connections, const std::stop_token& stop,
              std::vector<std::string>& gaps) {
  if (stop.stop_requested()) gaps.push_back("interrupted");
  for (std::size_t side = 0; side < connections.size(); ++side) {
    if (const auto& unanswered = connections[side]->unanswered())
      gaps.push_back(std::string(kNames[side]) + ": no answer to \"" +
                     toUtf8(unanswered->statement) + "\": " + toUtf8(unanswered->error));
  }
}

DataReport compareData(const DataRequest& request, std::array<ado::Connection*, 2> connections,
                       const std::stop_token& stop, std::ostream* record, StatusLine& line) {
  const std::u16string activity = u"comparing rows";
  std::array<std::optional<Trace>, 2> traces;
  if (record != nullptr) {
    for (std::size_t side = 0; side < 2; ++side)
      traces[side].emplace(*record, toUtf16(kNames[side]));
  }
  const auto traced = [&](ado::Connection& inner, std::size_t side) {
    return TracingConnection(inner, activity, traces[side] ? &*traces[side] : nullptr, stop);
  };

  std::array<TracingConnection, 2> lists{traced(*connections[0], 0), traced(*connections[1], 1)};
  const TableNames names = tableNames({&lists[0], &lists[1]}, request.patterns);
  DataProgress progress(line, expectedTables(request, names, *connections[0], line));
  std::function<bool()> isOver;
  DataWatch watch(names.ofSource, names.mode, request.shown.value_or(0),
                  {[&](std::size_t table) { progress.tableBegins(table); },
                   [&] { progress.rowPassed(); }, [&] { return isOver(); }});
  WatchedConnection source(*connections[0], watch, 0), target(*connections[1], watch, 1);
  std::array<TracingConnection, 2> compared{traced(source, 0), traced(target, 1)};
  isOver = [&] { return compared[0].isOver() || compared[1].isOver(); };

  cTableComparison comparison;
  comparison.AppPreferences = &request.limits;
  comparison.ConnSource = &compared[0];
  comparison.ConnTarget = &compared[1];
  comparison.Observer = &watch;
  DataReport report{request.sides.shown, {}, {}};
  try {
    comparison.Compare();
  } catch (const RuntimeError& error) {
    report.gaps.push_back("source: the tables could not be listed: " + toUtf8(error.Description()));
  }
  addStops(std::array<const TracingConnection*, 2>{&compared[0], &compared[1]}, stop, report.gaps);
  report.tables = tableReports(comparison.TableResults(), watch.tables(), names);
  return report;
}

DataReport runByPosition(const DataRequest& request, std::span<const std::unique_ptr<Side>> sides,
                         const Console& console) {
  console.complain(
      "rows are paired by position, in the order in which the servers return them: if that "
      "order differs, equal rows count as different");
  std::optional<LogFile> trace;
  if (request.trace) trace.emplace("trace", *request.trace);
  DataReport report;
  {
    StatusLine line(console);
    const Interruption interruption = interruptionOf(sides, line);
    report = compareData(request, {&sides[0]->connection(), &sides[1]->connection()},
                         interruption.token(), trace ? &trace->stream() : nullptr, line);
  }
  if (trace) trace->close();
  return report;
}

// What is compared and how, for one who knows a part of the result.
std::string comparisonOf(const DataRequest& request) {
  std::string text = request.sides.shown[0] + "\n" + request.sides.shown[1] + "\n" +
                     std::to_string(request.shown.value_or(kShownRows));
  for (const std::string& option : request.rowOptions) text += "\n" + option;
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

template <class Report>
ExitStatus write(Report report, const DataRequest& request,
                 std::span<const std::unique_ptr<Side>> sides, const Console& console,
                 RowLines* lines = nullptr) {
  for (std::size_t side = 0; side < 2; ++side) {
    if (sides[side] && !sides[side]->isComplete())
      report.gaps.push_back(std::string(kNames[side]) + ": not everything could be loaded");
  }
  if (lines != nullptr)
    writeLines(report, request, lines, console);
  else if (request.format == DataFormat::json)
    writeJson(report, console.out);
  else
    writeText(report, console.out);
  tellGaps(report.gaps, console);
  const ExitStatus status = report.status();
  if (status == kNotProven)
    console.complain("not everything could be compared: equality is not proven");
  return status;
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
         {kByPosition, kShow, givenRowOption(arguments), givenPaceOption(arguments), kRowScript}) {
      if (!option.empty() && arguments.isGiven(option))
        throw UsageError(std::string(option) + " and " + std::string(kExport) +
                         " exclude each other");
    }
    return runExport(arguments, patternsOf(arguments), console, open);
  }
  const DataRequest request = parseData(arguments);
  std::vector<NamedPlace> places{{kNames[0], request.sides.places[0]},
                                 {kNames[1], request.sides.places[1]}};
  const auto sides = openSides(places, console, open);
  if (arguments.has(kByPosition))
    return write(runByPosition(request, sides, console), request, sides, console);
  KeyedRequest keyed;
  keyed.patterns = request.patterns;
  keyed.rows = request.rows;
  keyed.optionsInEffect = request.rowOptions;
  keyed.ranges = request.pace.ranges;
  keyed.secondLook = request.pace.secondLook;
  keyed.resume = request.pace.resume;
  keyed.comparison = comparisonOf(request);
  keyed.shown = request.shown.value_or(kShownRows);
  keyed.trace = request.trace;
  std::optional<RowLines> lines;
  if (writesRows(request)) {
    keyed.shown = 0;
    keyed.sinks.push_back(&lines.emplace(console.out, request.format == DataFormat::csv
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
