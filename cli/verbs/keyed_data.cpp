#include "cli/verbs/keyed_data.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string_view>
#include <utility>

#include "cli/screen/interruption.h"
#include "cli/screen/status_line.h"
#include "cli/screen/written_file.h"
#include "cli/sides/database_reading.h"
#include "cli/sides/sides_at_once.h"
#include "cli/sides/tracing_connection.h"
#include "cli/verbs/connected_rows.h"
#include "cli/verbs/keyed_comparison.h"
#include "cli/verbs/row_file_side.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

using inventory::Database;

constexpr std::array<std::string_view, 2> kNames{"source", "target"};

// Why the comparison did not come to its end.
void addStops(std::array<std::optional<TracingConnection>, 2>& connections,
              const std::stop_token& stop, std::vector<std::string>& gaps) {
  if (stop.stop_requested()) gaps.emplace_back("interrupted");
  for (std::size_t side = 0; side < 2; ++side) {
    if (!connections[side]) continue;
    if (const auto& unanswered = connections[side]->unanswered())
      gaps.push_back(std::string(kNames[side]) + ": " + noAnswerText(*unanswered));
  }
}

// Whether a view may be compared: one that is named.
bool namesViews(const KeyedRequest& request) {
  const auto isName = [](std::u16string_view pattern) {
    return pattern.find_first_of(u"*?") == std::u16string_view::npos;
  };
  return !request.rows.mapped.empty() || std::ranges::any_of(request.patterns, isName);
}

using RowSides = std::array<std::unique_ptr<RowSide>, 2>;

// Files say little of their tables; the other side says the rest.
void addFiles(const TwoSides& places, const std::vector<DatabaseReading>& readings,
              RowSides& sides) {
  std::array<std::vector<RowFile>, 2> files;
  std::array<Database, 2> untyped;
  for (std::size_t side = 0; side < 2; ++side) {
    const auto* const place = std::get_if<RowFilesPlace>(&places.places[side]);
    if (place == nullptr) continue;
    files[side] = rowFilesOf(*place, sides[1 - side] ? &readings[1 - side].database : nullptr);
    untyped[side] = untypedDatabase(files[side]);
  }
  const bool isTyped = sides[0] || sides[1];
  for (std::size_t side = 0; side < 2; ++side) {
    if (sides[side]) continue;
    sides[side] = rowFileSide(std::move(files[side]),
                              isTyped ? readings[1 - side].database : untyped[1 - side], isTyped);
  }
}

}  // namespace

void askForWholeTexts(TracingConnection& connection, std::string_view side,
                      std::vector<std::string>& gaps) {
  try {
    connection.Open(u"set textsize 2147483647", ado::kClientCursor);
  } catch (const RuntimeError& error) {
    gaps.push_back(std::string(side) + ": long texts may be cut: " + toUtf8(error.Description()));
  }
}

KeyedReport compareByKey(const KeyedRequest& request, const TwoSides& places,
                         std::span<const std::unique_ptr<Side>> sides, const Console& console) {
  std::optional<LogFile> traceFile;
  if (request.trace) traceFile.emplace("trace", *request.trace);
  std::mutex shared;
  std::array<std::optional<Trace>, 2> traces;
  for (std::size_t side = 0; traceFile && side < 2; ++side)
    traces[side].emplace(traceFile->stream(), toUtf16(kNames[side]), &shared);
  const auto traceOf = [&](std::size_t side) { return traces[side] ? &*traces[side] : nullptr; };

  StatusLine line(console);
  KeyedReport report{places.shown, request.optionsInEffect, {}, {}};
  {
    const Interruption interruption = interruptionOf(sides, line);
    const ReadingWish wish{.rowCounts = line.isShown() || request.checksums != ChecksumUse::never,
                           .trace = {},
                           .kinds = [&](inventory::Kind kind) {
                             using enum inventory::Kind;
                             if (!request.selects.empty()) return false;
                             const bool isNeeded = kind == rule || kind == defaultObject ||
                                                   kind == user || kind == group;
                             return kind == table || kind == type ||
                                    (kind == view && namesViews(request)) ||
                                    (isNeeded && request.readsConstraints);
                           }};
    const std::vector<DatabaseReading> readings = forEachSide(
        2, traceFile ? Pace::InTurn : Pace::Together, line, [&](std::size_t side, std::ostream&) {
          if (!sides[side]) return DatabaseReading{};
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
    std::array<std::optional<TracingConnection>, 2> connections;
    RowSides rows;
    for (std::size_t side = 0; side < 2; ++side) {
      if (!sides[side]) continue;
      TracingConnection& connection = connections[side].emplace(
          sides[side]->connection(), activity, traceOf(side), interruption.token());
      if (!readings[0].wasRead || !readings[1].wasRead) continue;
      askForWholeTexts(connection, kNames[side], report.gaps);
      rows[side] = request.selects.empty()
                       ? connectedRows(readings[side].database, *sides[side], connection)
                       : selectedRows(request.selects[std::min(side, request.selects.size() - 1)],
                                      readings[side].database.server, places.shown[side],
                                      *sides[side], connection);
    }
    if (readings[0].wasRead && readings[1].wasRead) {
      addFiles(places, readings, rows);
      report.tables =
          compareTables(request, {rows[0].get(), rows[1].get()}, line, interruption.token());
    }
    addStops(connections, interruption.token(), report.gaps);
  }
  if (traceFile) traceFile->close();
  return report;
}

}  // namespace kelvane::cli
