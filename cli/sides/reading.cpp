#include "cli/sides/reading.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include "cli/screen/figures.h"
#include "cli/screen/interruption.h"
#include "cli/screen/written_file.h"
#include "cli/sides/password.h"
#include "cli/sides/sides_at_once.h"
#include "cli/sides/snapshot_file.h"
#include "cli/words/detail_switches.h"
#include "cli/words/object_kinds.h"
#include "inventory/publish/publish.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

std::string contentsOf(const Schema& schema) {
  std::string objects;
  for (const ObjectKind& kind : kObjectKinds) {
    std::size_t count = 0;
    kind.forEach(schema, [&](const ObjectName&) { ++count; });
    if (count > 0) objects += (objects.empty() ? "" : ", ") + counted(count, kind.word);
  }
  return objects;
}

// Numbers of rows are in a snapshot only where they were asked for.
bool hasRowCounts(const inventory::Database& database) {
  return std::ranges::all_of(database.tables,
                             [](const inventory::Table& one) { return one.rowCount.has_value(); });
}

// What was wanted and is in no snapshot is left out of all sides.
void keepCommon(const NamedPlace& place, const inventory::Database& snapshot, Readings& readings) {
  if (!readings.switches.Tables_RowCount || hasRowCounts(snapshot)) return;
  readings.switches.Tables_RowCount = False;
  readings.missing.push_back(std::string(place.name) + ": row counts are not compared, because " +
                             std::get<SnapshotPlace>(place.place).path +
                             " was taken without --row-counts");
}

SideReading readingOf(const inventory::Database& snapshot, const NamedPlace& place,
                      const cComparisonOptions& switches) {
  SideReading reading;
  reading.schema = inventory::publish(snapshot, switches);
  leaveOutDetails(reading.schema, switches);
  reading.caseSensitive = !snapshot.server.ignoresCase;
  for (const inventory::Gap& gap : snapshot.gaps)
    reading.gaps.push_back(std::string(place.name) + ": when the snapshot was taken: " + gap.what +
                           ": " + gap.reason);
  return reading;
}

}  // namespace

std::vector<std::unique_ptr<Side>> openSides(std::span<NamedPlace> places, const Console& console,
                                             const OpenSide& open) {
  for (NamedPlace& place : places) {
    if (auto* server = std::get_if<ServerPlace>(&place.place))
      givePassword(*server, place.name, console);
  }
  StatusLine line(console);
  const Interruption ending = endsAtOnce(line, std::string(kNothingRead));
  return forEachSide(places.size(), Pace::Together, line,
                     [&](std::size_t side, std::ostream& complaints) -> std::unique_ptr<Side> {
                       const NamedPlace& place = places[side];
                       if (std::holds_alternative<SnapshotPlace>(place.place) ||
                           std::holds_alternative<RowFilesPlace>(place.place))
                         return nullptr;
                       Console aside{console.out, complaints};
                       if (line.isShown())
                         aside.showStatus = [&](std::u16string status) {
                           line.show(place.name, std::move(status));
                         };
                       if (std::holds_alternative<ServerPlace>(place.place))
                         line.show(place.name, u"connecting");
                       const Told told(place, aside);
                       auto opened = open(place.place, aside);
                       told.opened();
                       line.show(place.name, {});
                       return opened;
                     });
}

Interruption interruptionOf(std::span<const std::unique_ptr<Side>> sides, StatusLine& line) {
  return Interruption(
      [&line](int) { line.complain("interrupted; press Ctrl-C again to end the program at once"); },
      [sides] {
        for (const auto& side : sides) {
          if (side) side->cancel();
        }
      });
}

Readings readPlaces(std::vector<NamedPlace> places, const cComparisonOptions& wanted,
                    const std::optional<std::string>& trace, const Console& console,
                    const OpenSide& open, const Selection& selection) {
  Readings readings{{}, wanted, {}};
  StatusLine line(console);
  std::vector<std::optional<inventory::Database>> snapshots(places.size());
  for (std::size_t side = 0; side < places.size(); ++side) {
    const auto* place = std::get_if<SnapshotPlace>(&places[side].place);
    if (place == nullptr) continue;
    const Interruption ending = endsAtOnce(line, std::string(kNothingRead));
    snapshots[side] = loadSnapshot(*place);
    keepCommon(places[side], *snapshots[side], readings);
  }
  auto sides = openSides(places, console, open);

  std::optional<LogFile> traceFile;
  if (trace) traceFile.emplace("trace", *trace);
  const auto options = std::make_shared<cComparisonOptions>(readings.switches);
  // Without the name the reader cannot tell the primary key's index from others.
  options->Tables_PrimaryKeys_Names = True;
  const Pace pace = traceFile ? Pace::InTurn : Pace::Together;
  {
    const Interruption interruption = interruptionOf(sides, line);
    readings.sides = forEachSide(
        places.size(), pace, line, [&](std::size_t side, std::ostream& complaints) -> SideReading {
          const NamedPlace& place = places[side];
          const Console aside{console.out, complaints};
          const Told told(place, aside);
          if (snapshots[side]) {
            SideReading reading = readingOf(*snapshots[side], place, readings.switches);
            told.read(contentsOf(reading.schema));
            return reading;
          }
          std::optional<Trace> record;
          if (traceFile) record.emplace(traceFile->stream(), toUtf16(place.name));
          SideReading reading =
              readSide(sides[side]->connection(), place.name, options, line,
                       record ? &*record : nullptr, interruption.token(), selection);
          if (!reading.extent) told.read(contentsOf(reading.schema));
          leaveOutDetails(reading.schema, readings.switches);
          reading.complete = sides[side]->isComplete();
          for (const ViewWithoutColumns& view : sides[side]->viewsWithoutColumns()) {
            reading.viewsWithoutColumns.push_back(view.view);
            reading.gaps.push_back(std::string(place.name) + ": " + view.reason);
          }
          return reading;
        });
  }
  if (traceFile) traceFile->close();
  const Interruption ending = endsAtOnce(line, "interrupted: there is no result");
  sides.clear();
  return readings;
}

}  // namespace kelvane::cli
