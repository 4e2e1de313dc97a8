#include "cli/verbs/snapshot_command.h"

#include <array>
#include <optional>

#include "cli/screen/clock.h"
#include "cli/screen/interruption.h"
#include "cli/screen/written_file.h"
#include "cli/sides/database_reading.h"
#include "cli/words/one_side.h"
#include "cli/words/overwriting.h"
#include "cli/words/side_arguments.h"
#include "cli/words/switch_arguments.h"
#include "inventory/store/snapshot.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kDated = "--dated", kOutput = "--output";
constexpr auto kOptions = std::to_array<Option>({
    {kDated, "", "include the time of the snapshot"},
    {kRowCounts, "", "include the numbers of rows"},
    {kOutput, kFile, "write to this file instead of standard output", {}, "-o"},
});

void write(const inventory::Snapshot& snapshot, const std::optional<std::string>& path,
           const Console& console) {
  if (path) {
    WrittenFile file("snapshot", *path, console);
    writeSnapshot(snapshot, file.stream());
    file.close();
  } else {
    const Undertaking writing(console, u"",
                              "interrupted while writing: the snapshot is incomplete");
    writeSnapshot(snapshot, console.out);
    console.out.flush();
  }
}

}  // namespace

std::vector<OptionFamily> snapshotOptions() {
  return {oneSideOptions(), {"The snapshot", kOptions}, readingOptions()};
}

ExitStatus runSnapshot(const Arguments& arguments, const Console& console, const OpenSide& open) {
  if (arguments.parting || arguments.operands.empty() != arguments.has(kOneSide.server))
    throw UsageError("snapshot needs one SIDE or --server");
  const Place place = placeOf(arguments, arguments.operands, kOneSide, readingSettings(arguments));
  refuseOverwriting(arguments, {&place, 1}, {.written = {kTrace, kOutput}});
  std::vector<DatabaseReading> readings = readDatabases(
      {{"side", place}}, {arguments.has(kRowCounts), arguments.value(kTrace)}, console, open);
  DatabaseReading& side = readings[0];
  if (!side.wasRead)
    throw CommandError({side.gaps.empty() ? "reading stopped" : side.gaps.front(),
                        "no snapshot was written: the database was not read completely"});

  const std::vector<std::string> lines = gapsOf(side, side.database);
  inventory::Snapshot snapshot{std::move(side.database), {}};
  std::vector<inventory::Gap>& gaps = snapshot.database.gaps;
  if (!side.complete) gaps.push_back({"scripts", "not everything could be loaded", {}, {}});
  if (arguments.has(kDated)) snapshot.taken = timestamp();
  write(snapshot, arguments.value(kOutput), console);
  for (const std::string& line : lines) console.complain(line);
  if (gaps.empty() && lines.empty()) return kNoDifference;
  console.complain("not everything could be read: the snapshot is marked as incomplete");
  return kNotProven;
}

}  // namespace kelvane::cli
