#include "cli/verbs/positional_data.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <stop_token>
#include <utility>

#include "cli/screen/interruption.h"
#include "cli/screen/written_file.h"
#include "cli/sides/reading.h"
#include "cli/sides/tracing_connection.h"
#include "cli/verbs/data_progress.h"
#include "inventory/name_pattern.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

constexpr std::array<std::string_view, 2> kNames{"source", "target"};

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

std::vector<ExpectedTable> expectedTables(const PositionalRequest& request, const TableNames& names,
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

DataReport compareData(const PositionalRequest& request,
                       std::array<ado::Connection*, 2> connections, const std::stop_token& stop,
                       std::ostream* record, StatusLine& line) {
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
  DataWatch watch(names.ofSource, names.mode, request.shown,
                  {[&](std::size_t table) {
                     if (table > 0) progress.tableEnds(table - 1);
                     progress.tableBegins(table);
                   },
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

}  // namespace

DataReport compareByPosition(const PositionalRequest& request,
                             std::span<const std::unique_ptr<Side>> sides, const Console& console) {
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

}  // namespace kelvane::cli
