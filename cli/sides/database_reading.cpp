#include "cli/sides/database_reading.h"

#include <utility>

#include "cli/screen/figures.h"
#include "cli/screen/interruption.h"
#include "cli/screen/written_file.h"
#include "cli/sides/sides_at_once.h"
#include "cli/sides/snapshot_file.h"
#include "cli/sides/tracing_connection.h"
#include "inventory/attributes.h"
#include "inventory/read/reader.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

std::string contentsOf(const inventory::Database& database) {
  std::string objects;
  inventory::forEachObjects([&](const auto& list) {
    const auto& row = inventory::rowOf(list.kind);
    const std::size_t count = (database.*list.member).size();
    if (count > 0)
      objects += (objects.empty() ? "" : ", ") + counted(count, row.singular, row.plural);
  });
  return objects;
}

// Shows how far the reading is, and ends it where nothing more is to be asked.
class Watch final : public inventory::ReadEvents {
 public:
  Watch(StatusLine& line, std::string_view side, std::u16string& activity, std::stop_token stop)
      : line_(line), side_(side), activity_(activity), stop_(std::move(stop)) {}
  ~Watch() override { line_.show(side_, {}); }

  void reading(std::string_view what, std::size_t done, std::size_t of) override {
    activity_ = toUtf16(what);
    line_.show(side_, decimalText(static_cast<std::int64_t>(100 * done / of)) + u"% " + activity_);
  }
  bool wantsToStop() override { return stop_.stop_requested(); }

 private:
  StatusLine& line_;
  std::string side_;
  std::u16string& activity_;
  std::stop_token stop_;
};

}  // namespace

DatabaseReading readSide(Side& side, std::string_view name, const ReadingWish& wish,
                         const inventory::Selection* selection, StatusLine& line, Trace* trace,
                         const std::stop_token& stop) {
  std::u16string activity;
  TracingConnection traced(side.connection(), activity, trace, stop);
  inventory::ReadOptions options{
      side.isEmbedded() ? inventory::StatusBits::embedded : inventory::StatusBits::server,
      wish.rowCounts,
      {},
      {}};
  DatabaseReading reading;
  if (wish.kinds) {
    options.wants = [&wish](inventory::Kind kind, const inventory::QualifiedName&) {
      return wish.kinds(kind);
    };
  } else if (selection != nullptr && !selection->takesAll() && !side.isEmbedded()) {
    options.wants = [&](inventory::Kind kind, const inventory::QualifiedName& name) {
      // Which roles a database uses is known from all of its users.
      if (name.owner.empty() || selection->mayTake(kind, name)) return true;
      reading.leftUnread.push_back({kind, name});
      return false;
    };
    options.leftOut = [&reading](const inventory::QualifiedName& name, int number) {
      reading.leftUnread.push_back({inventory::Kind::procedure, name, number});
    };
  }
  try {
    Watch watch(line, name, activity, stop);
    reading.database = inventory::read(traced, options, &watch);
  } catch (const inventory::ReadingStopped&) {
    reading.wasRead = false;
    reading.gaps.push_back(std::string(name) + ": reading interrupted");
  } catch (const ado::Failure& failure) {
    reading.wasRead = false;
    const auto& unanswered = traced.unanswered();
    const std::string reason =
        unanswered ? unansweredText(*unanswered) : toUtf8(activity) + ": " + failure.what();
    reading.gaps.push_back(std::string(name) + (stop.stop_requested()
                                                    ? ": reading interrupted"
                                                    : ": reading stopped: " + reason));
  }
  reading.complete = side.isComplete();
  reading.made = side.made();
  for (const ViewWithoutColumns& view : side.viewsWithoutColumns())
    reading.gaps.push_back(std::string(name) + ": " + view.reason);
  return reading;
}

std::vector<std::string> gapsOf(const DatabaseReading& reading, const inventory::Database& database,
                                const std::function<bool(const inventory::Gap&)>& concerns) {
  std::vector<std::string> gaps = reading.gaps;
  for (const inventory::Gap& gap : database.gaps) {
    if (!concerns || concerns(gap))
      gaps.push_back(reading.gapsBegin + gap.what + ": " + gap.reason);
  }
  return gaps;
}

std::vector<DatabaseReading> readDatabases(std::vector<NamedPlace> places, const ReadingWish& wish,
                                           const Console& console, const OpenSide& open) {
  StatusLine line(console);
  std::vector<DatabaseReading> snapshots(places.size());
  for (std::size_t side = 0; side < places.size(); ++side) {
    const auto* place = std::get_if<SnapshotPlace>(&places[side].place);
    if (place == nullptr) continue;
    const Interruption ending = endsAtOnce(line, std::string(kNothingRead));
    snapshots[side].database = loadSnapshot(*place);
    snapshots[side].gapsBegin = std::string(places[side].name) + ": when the snapshot was taken: ";
  }
  auto sides = openSides(places, console, open);

  std::optional<LogFile> traceFile;
  if (wish.trace) traceFile.emplace("trace", *wish.trace);
  std::vector<DatabaseReading> readings;
  {
    const Interruption interruption = interruptionOf(sides, line);
    readings = forEachSide(places.size(), traceFile ? Pace::InTurn : Pace::Together, line,
                           [&](std::size_t side, std::ostream& complaints) -> DatabaseReading {
                             const NamedPlace& place = places[side];
                             const Console aside{console.out, complaints};
                             const Told told(place, aside);
                             if (!sides[side]) {
                               told.read(contentsOf(snapshots[side].database));
                               return std::move(snapshots[side]);
                             }
                             std::optional<Trace> record;
                             if (traceFile)
                               record.emplace(traceFile->stream(), toUtf16(place.name));
                             DatabaseReading reading =
                                 readSide(*sides[side], place.name, wish,
                                          wish.whole == side ? nullptr : wish.selection, line,
                                          record ? &*record : nullptr, interruption.token());
                             reading.gapsBegin = std::string(place.name) + ": ";
                             if (reading.wasRead) told.read(contentsOf(reading.database));
                             return reading;
                           });
  }
  if (traceFile) traceFile->close();
  const Interruption ending = endsAtOnce(line, "interrupted: there is no result");
  sides.clear();
  return readings;
}

}  // namespace kelvane::cli
