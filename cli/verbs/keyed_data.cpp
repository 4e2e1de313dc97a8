#include "cli/verbs/keyed_data.h"

#include <algorithm>
#include <mutex>
#include <stop_token>
#include <string_view>
#include <utility>

#include "cli/screen/interruption.h"
#include "cli/screen/status_line.h"
#include "cli/screen/written_file.h"
#include "cli/sides/database_reading.h"
#include "cli/sides/sides_at_once.h"
#include "cli/sides/tracing_connection.h"
#include "cli/verbs/keyed_comparison.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

using inventory::Database;

constexpr std::array<std::string_view, 2> kNames{"source", "target"};

// A database that answers statements.
class ConnectedRows final : public RowSide {
 public:
  ConnectedRows(const Database& database, Side& side, TracingConnection& connection)
      : database_(database), side_(side), connection_(connection) {}

  const Database& database() const override { return database_; }
  void prepare(const rows::Select& select) override {
    if (select.needsQuotedIdentifier)
      connection_.Open(u"set quoted_identifier on", ado::kClientCursor);
  }
  rows::OpenRows rowsOf(const rows::TablePlan& plan, std::size_t side,
                        const RowWish& wish) override {
    return [&, side]() -> std::unique_ptr<rows::RowSource> {
      const rows::Select& select = plan.selects[side];
      if (wish.ranges && select.cut)
        return rows::openRanges(connection_, select, *wish.ranges, wish.begin);
      std::string condition = wish.condition;
      if (!wish.begin.empty()) condition = select.cut->column + " >= " + wish.begin;
      return rows::openStatement(connection_, select.text(condition), plan.columns.size());
    };
  }
  void cancel() noexcept override { side_.cancel(); }
  bool isOver() const override { return connection_.isOver(); }

 private:
  const Database& database_;
  Side& side_;
  TracingConnection& connection_;
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

// Whether a view may be compared: one that is named.
bool namesViews(const KeyedRequest& request) {
  const auto isName = [](std::u16string_view pattern) {
    return pattern.find_first_of(u"*?") == std::u16string_view::npos;
  };
  return !request.rows.mapped.empty() || std::ranges::any_of(request.patterns, isName);
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
  KeyedReport report{shown, request.optionsInEffect, {}, {}};
  {
    const Interruption interruption = interruptionOf(sides, line);
    const ReadingWish wish{
        .rowCounts = line.isShown(), .trace = {}, .kinds = [&](inventory::Kind kind) {
          using enum inventory::Kind;
          const bool isNeeded =
              kind == rule || kind == defaultObject || kind == user || kind == group;
          return kind == table || kind == type || (kind == view && namesViews(request)) ||
                 (isNeeded && request.readsConstraints);
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
      ConnectedRows ofSource(readings[0].database, *sides[0], source);
      ConnectedRows ofTarget(readings[1].database, *sides[1], target);
      report.tables = compareTables(request, {&ofSource, &ofTarget}, line, interruption.token());
    }
    addStops(connections, interruption.token(), report.gaps);
  }
  if (traceFile) traceFile->close();
  return report;
}

}  // namespace kelvane::cli
