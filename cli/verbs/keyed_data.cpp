#include "cli/verbs/keyed_data.h"

#include <algorithm>
#include <deque>
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

using RowSides = std::array<std::unique_ptr<RowSide>, 2>;

// A pair of sides. What is none of a database, all pairs have from the first.
struct Connected {
  std::array<std::optional<TracingConnection>, 2> connections;
  RowSides own;
};

// Why the comparison did not come to its end.
void addStops(const std::deque<Connected>& pairs, const std::stop_token& stop,
              std::vector<std::string>& gaps) {
  if (stop.stop_requested()) gaps.emplace_back("interrupted");
  for (const Connected& pair : pairs) {
    for (std::size_t side = 0; side < 2; ++side) {
      if (!pair.connections[side]) continue;
      if (const auto& unanswered = pair.connections[side]->unanswered())
        gaps.push_back(std::string(kNames[side]) + ": " + noAnswerText(*unanswered));
    }
  }
}

// Whether a view may be compared: one that is named.
bool namesViews(const KeyedRequest& request) {
  const auto isName = [](std::u16string_view pattern) {
    return pattern.find_first_of(u"*?") == std::u16string_view::npos;
  };
  return !request.rows.mapped.empty() || std::ranges::any_of(request.patterns, isName);
}

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
    const ReadingWish wish{
        .rowCounts = line.isShown() || sides.size() > 2 || request.checksums != ChecksumUse::never,
        .trace = {},
        .kinds = [&](inventory::Kind kind) {
          using enum inventory::Kind;
          if (!request.selects.empty()) return false;
          const bool isNeeded =
              kind == rule || kind == defaultObject || kind == user || kind == group;
          return kind == table || kind == type || (kind == view && namesViews(request)) ||
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
    std::deque<Connected> pairs(sides.size() / 2);
    std::vector<RowLane> lanes;
    for (std::size_t at = 0; at < sides.size(); ++at) {
      if (!sides[at]) continue;
      const std::size_t side = at % 2;
      Connected& pair = pairs[at / 2];
      TracingConnection& connection = pair.connections[side].emplace(
          sides[at]->connection(), activity, traceOf(side), interruption.token());
      if (!readings[0].wasRead || !readings[1].wasRead) continue;
      askForWholeTexts(connection, kNames[side], report.gaps);
      pair.own[side] =
          request.selects.empty()
              ? connectedRows(readings[side].database, *sides[at], connection)
              : selectedRows(request.selects[std::min(side, request.selects.size() - 1)],
                             readings[side].database.server, places.shown[side], *sides[at],
                             connection);
    }
    if (readings[0].wasRead && readings[1].wasRead) {
      RowSides& first = pairs.front().own;
      addFiles(places, readings, first);
      for (const Connected& pair : pairs) {
        const auto sideOf = [&](std::size_t side) {
          return (pair.own[side] ? pair.own : first)[side].get();
        };
        lanes.push_back({sideOf(0), sideOf(1)});
      }
      report.tables = compareTables(request, std::move(lanes), line, interruption.token());
    }
    addStops(pairs, interruption.token(), report.gaps);
  }
  if (traceFile) traceFile->close();
  return report;
}

}  // namespace kelvane::cli
