#include "cli/verbs/keyed_data.h"

#include <algorithm>
#include <compare>
#include <mutex>
#include <set>
#include <stop_token>
#include <string_view>
#include <utility>

#include "cli/screen/interruption.h"
#include "cli/screen/status_line.h"
#include "cli/screen/written_file.h"
#include "cli/sides/database_reading.h"
#include "cli/sides/sides_at_once.h"
#include "cli/sides/tracing_connection.h"
#include "cli/verbs/data_progress.h"
#include "inventory/name_pattern.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

using inventory::Database;
using inventory::Table;

constexpr std::array<std::string_view, 2> kNames{"source", "target"};

// What a table is called: that of dbo without its owner.
std::string shownName(const Table& table) {
  return table.name.owner == "dbo" ? table.name.name : table.name.owner + "." + table.name.name;
}

// Keeps the rows with the smallest keys, and tells how far the comparison is.
class Watch final : public rows::RowObserver {
 public:
  Watch(KeyedTable& table, std::size_t most, DataProgress& progress, std::stop_token stop)
      : table_(table), most_(most), progress_(progress), stop_(std::move(stop)) {}

  void rowsDiffer(const rows::DifferingRows& rows) override {
    if (most_ == 0) return;
    const std::string_view key =
        (rows.source.empty() ? rows.target : rows.source).substr(0, rows.keySize);
    std::vector<RowSample>& samples = table_.samples;
    const auto isBehind = [&](const RowSample& kept) {
      return std::is_lt(rows::orderOf(key, kept.key()));
    };
    if (samples.size() == most_ && !isBehind(samples.back())) return;
    samples.insert(std::ranges::find_if(samples, isBehind),
                   {{std::string(rows.source), std::string(rows.target)}, rows.keySize});
    if (samples.size() > most_) samples.pop_back();
  }
  bool goesOn(const rows::RowCounts& counts) override {
    progress_.rowsPassed(std::max(counts.rows[0], counts.rows[1]) - passed_);
    passed_ = std::max(counts.rows[0], counts.rows[1]);
    return !stop_.stop_requested();
  }

 private:
  KeyedTable& table_;
  std::size_t most_;
  DataProgress& progress_;
  std::stop_token stop_;
  std::int64_t passed_ = 0;
};

class KeyedComparison {
 public:
  KeyedComparison(const KeyedRequest& request, std::array<TracingConnection*, 2> connections,
                  const std::vector<DatabaseReading>& readings, std::stop_token stop)
      : request_(request),
        connections_(connections),
        databases_{&readings[0].database, &readings[1].database},
        stop_(std::move(stop)),
        mode_(databases_[0]->server.ignoresCase && databases_[1]->server.ignoresCase
                  ? CaseMode::ignore
                  : CaseMode::exact) {}

  std::vector<KeyedTable> run(StatusLine& line) {
    pairTables();
    std::vector<ExpectedTable> expected;
    expected.reserve(pairs_.size());
    for (const Pair& pair : pairs_)
      expected.push_back({toUtf16(pair.name), pair.tables[0]->rowCount});
    DataProgress progress(line, std::move(expected));
    for (std::size_t at = 0; at < pairs_.size(); ++at) {
      KeyedTable& result = results_.emplace_back(KeyedTable{.name = pairs_[at].name});
      if (isOver()) continue;
      progress.tableBegins(at);
      compare(pairs_[at], result, progress);
    }
    addLonelyTables();
    return std::move(results_);
  }

 private:
  struct Pair {
    std::string name;
    std::array<const Table*, 2> tables;
  };
  using Key = std::pair<std::u16string, std::u16string>;

  bool isOver() const {
    return stop_.stop_requested() || connections_[0]->isOver() || connections_[1]->isOver();
  }

  Key keyOf(const Table& table) const {
    const auto comparable = [&](const std::string& name) {
      return mode_ == CaseMode::ignore ? foldCase(toUtf16(name)) : toUtf16(name);
    };
    return {comparable(table.name.owner), comparable(table.name.name)};
  }

  bool isWanted(const Table& table) {
    bool isWanted = request_.patterns.empty();
    for (std::size_t at = 0; at < request_.patterns.size(); ++at) {
      if (!inventory::matchesPattern(toUtf16(table.name.name), request_.patterns[at]) &&
          !inventory::matchesPattern(toUtf16(table.name.owner + "." + table.name.name),
                                     request_.patterns[at]))
        continue;
      isWanted = true;
      used_.insert(at);
    }
    return isWanted;
  }

  void pairTables() {
    std::map<Key, const Table*> targets;
    for (const Table& table : databases_[1]->tables) {
      if (isWanted(table)) targets.emplace(keyOf(table), &table);
    }
    for (const Table& table : databases_[0]->tables) {
      if (!isWanted(table)) continue;
      if (const auto found = targets.find(keyOf(table)); found != targets.end()) {
        pairs_.push_back({shownName(table), {&table, found->second}});
        targets.erase(found);
      } else {
        lonely_.push_back({.name = shownName(table), .ended = KeyedEnd::missingInTarget});
      }
    }
    for (const auto& [key, table] : targets)
      lonely_.push_back({.name = shownName(*table), .ended = KeyedEnd::missingInSource});
    requireUse();
    std::ranges::sort(pairs_, {}, &Pair::name);
  }

  // Of each pattern and each key.
  void requireUse() const {
    std::vector<std::string> unused;
    for (std::size_t at = 0; at < request_.patterns.size(); ++at) {
      if (!used_.contains(at))
        unused.push_back("no table matches '" + toUtf8(request_.patterns[at]) + "'");
    }
    for (const auto& [name, columns] : request_.keys) {
      if (std::ranges::none_of(
              pairs_, [&, wanted = &name](const Pair& pair) { return isNamed(pair, *wanted); }))
        unused.push_back("--key " + name + ": there is no such table on both sides");
    }
    if (!unused.empty()) throw CommandError(std::move(unused));
  }

  static bool isNamed(const Pair& pair, const std::string& name) {
    return pair.name == name ||
           pair.tables[0]->name.owner + "." + pair.tables[0]->name.name == name;
  }

  void addLonelyTables() {
    results_.insert(results_.end(), lonely_.begin(), lonely_.end());
    std::ranges::stable_sort(results_, {}, &KeyedTable::name);
  }

  void compare(const Pair& pair, KeyedTable& result, DataProgress& progress) {
    rows::PlanOptions options = request_.comparing;
    for (const auto& [name, columns] : request_.keys) {
      if (isNamed(pair, name)) options.key = columns;
    }
    try {
      result.plan = rows::planOf({*databases_[0], *pair.tables[0]},
                                 {*databases_[1], *pair.tables[1]}, options);
      const rows::TablePlan& plan = result.plan;
      for (const std::size_t side : {0U, 1U}) {
        if (plan.selects[side].needsQuotedIdentifier)
          connections_[side]->Open(u"set quoted_identifier on", ado::kClientCursor);
      }
      const auto rowsOf = [&](std::size_t side) {
        return [&, side] {
          return rows::openStatement(*connections_[side], plan.selects[side].text(),
                                     plan.columns.size());
        };
      };
      rows::RowStream source(rowsOf(0), plan.layout()), target(rowsOf(1), plan.layout());
      Watch watch(result, request_.shown, progress, stop_);
      bool isWhole = false;
      result.counts = rows::compareRows(source, target, plan.pairing, watch, isWhole);
      result.ended = isWhole ? KeyedEnd::whole : KeyedEnd::notReached;
    } catch (const RuntimeError& error) {
      fail(result, toUtf8(error.Description()));
    } catch (const std::runtime_error& error) {
      fail(result, error.what());
    }
  }

  // Failures after a stop was requested are none of the server's.
  void fail(KeyedTable& result, std::string reason) const {
    if (stop_.stop_requested()) return;
    result.ended = KeyedEnd::error;
    result.error = std::move(reason);
  }

  const KeyedRequest& request_;
  std::array<TracingConnection*, 2> connections_;
  std::array<const Database*, 2> databases_;
  std::stop_token stop_;
  CaseMode mode_;
  std::set<std::size_t> used_;  // patterns
  std::vector<Pair> pairs_;
  std::vector<KeyedTable> lonely_, results_;
};

// A server cuts text and image after 32 kilobytes where nobody asks for more.
void askForWholeTexts(TracingConnection& connection, std::string_view side,
                      std::vector<std::string>& gaps) {
  try {
    connection.Open(u"set textsize 2147483647", ado::kClientCursor);
  } catch (const RuntimeError& error) {
    gaps.push_back(std::string(side) + ": long texts may be cut: " + toUtf8(error.Description()));
  }
}

// Why the comparison did not come to its end.
void addStops(std::array<TracingConnection*, 2> connections, const std::stop_token& stop,
              std::vector<std::string>& gaps) {
  if (stop.stop_requested()) gaps.emplace_back("interrupted");
  for (std::size_t side = 0; side < 2; ++side) {
    if (const auto& unanswered = connections[side]->unanswered())
      gaps.push_back(std::string(kNames[side]) + ": no answer to \"" +
                     toUtf8(unanswered->statement) + "\": " + toUtf8(unanswered->error));
  }
}

}  // namespace

KeyedReport compareByKey(const KeyedRequest& request, std::span<const std::unique_ptr<Side>> sides,
                         const std::array<std::string, 2>& shown, const Console& console) {
  std::optional<LogFile> traceFile;
  if (request.trace) traceFile.emplace("trace", *request.trace);
  std::mutex shared;
  std::array<std::optional<Trace>, 2> traces;
  for (std::size_t side = 0; traceFile && side < 2; ++side)
    traces[side].emplace(traceFile->stream(), toUtf16(kNames[side]), &shared);
  const auto traceOf = [&](std::size_t side) { return traces[side] ? &*traces[side] : nullptr; };

  StatusLine line(console);
  KeyedReport report{shown, {}, {}};
  {
    const Interruption interruption = interruptionOf(sides, line);
    const ReadingWish wish{
        .rowCounts = line.isShown(), .trace = {}, .kinds = [](inventory::Kind kind) {
          return kind == inventory::Kind::table || kind == inventory::Kind::type;
        }};
    const std::vector<DatabaseReading> readings = forEachSide(
        2, traceFile ? Pace::InTurn : Pace::Together, line, [&](std::size_t side, std::ostream&) {
          DatabaseReading reading = readSide(*sides[side], kNames[side], wish, nullptr, line,
                                             traceOf(side), interruption.token());
          reading.gapsBegin = std::string(kNames[side]) + ": ";
          return reading;
        });
    for (const DatabaseReading& reading : readings) {
      for (std::string& gap : gapsOf(reading, reading.database))
        report.gaps.push_back(std::move(gap));
    }
    const std::u16string activity = u"comparing rows";
    TracingConnection source(sides[0]->connection(), activity, traceOf(0), interruption.token());
    TracingConnection target(sides[1]->connection(), activity, traceOf(1), interruption.token());
    const std::array connections{&source, &target};
    if (readings[0].wasRead && readings[1].wasRead) {
      for (std::size_t side = 0; side < 2; ++side)
        askForWholeTexts(*connections[side], kNames[side], report.gaps);
      report.tables =
          KeyedComparison(request, connections, readings, interruption.token()).run(line);
    }
    addStops(connections, interruption.token(), report.gaps);
  }
  if (traceFile) traceFile->close();
  return report;
}

}  // namespace kelvane::cli
