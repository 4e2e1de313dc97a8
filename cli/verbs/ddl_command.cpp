#include "cli/verbs/ddl_command.h"

#include <array>
#include <filesystem>
#include <optional>
#include <utility>
#include <variant>

#include "cli/screen/interruption.h"
#include "cli/screen/pager.h"
#include "cli/sides/database_reading.h"
#include "cli/verbs/ddl_folder.h"
#include "cli/verbs/listing.h"
#include "cli/words/one_side.h"
#include "cli/words/overwriting.h"
#include "cli/words/selection.h"
#include "cli/words/side_arguments.h"
#include "inventory/ddl/ddl.h"
#include "inventory/ddl/files.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kOutput = "--output";
constexpr auto kOptions = std::to_array<Option>({
    {kExclude, kPattern, "leave out the objects that match"},
    {kInclude, kPattern, "only objects that match, such as 'table:dbo.cust*'"},
    {kOutput, kFolder, "write a file for each object to this folder", {}, "-o"},
});

// What is written into a folder of scripts would be one of them.
void refuseWithin(const Place& place, const std::string& folder) {
  namespace fs = std::filesystem;
  const auto* const scripts = std::get_if<ScriptPlace>(&place);
  if (scripts == nullptr) return;
  std::error_code none;
  const fs::path written = fs::weakly_canonical(folder, none);
  for (const std::string& path : scripts->paths) {
    if (!fs::is_directory(path, none)) continue;
    const fs::path relative = written.lexically_relative(fs::weakly_canonical(path, none));
    if (!relative.empty() && *relative.begin() != "..")
      throw UsageError(std::string(kOutput) + " would add scripts to those of '" + path + "'");
  }
}

// Throws CommandError for an include that matches nothing.
void select(const Selection& selection, inventory::Database& database, const Console& console) {
  if (selection.takesAll()) return;
  Selection::Tally tally;
  const CaseMode mode = database.server.ignoresCase ? CaseMode::ignore : CaseMode::exact;
  selection.apply(database, mode, tally);
  const std::array<const Selection::Tally*, 1> one{&tally};
  const Selection::Unmatched unmatched =
      selection.unmatched(one, [](inventory::Kind) { return true; });
  if (!unmatched.errors.empty()) throw CommandError(unmatched.errors);
  for (const std::string& line : unmatched.others) console.complain(line);
}

// What a server declares and does not show. None for the embedded catalog, which shows everything.
std::optional<std::string> unreadable(const inventory::Server& server) {
  if (server.embedded) return std::nullopt;
  std::string words;
  for (const inventory::FamilyRow& row : inventory::kFamilies) {
    if (!inventory::unpublishedFamilies().test(static_cast<std::size_t>(row.family))) continue;
    words += (words.empty() ? "" : ", ") + std::string(row.word);
  }
  return "Not readable from servers, left out: " + words;
}

void writeScript(const inventory::Script& script, const inventory::Server& server,
                 const Console& console) {
  writePaged(console, [&](std::ostream& out) {
    const Undertaking writing(console, u"", "interrupted while writing: the script is incomplete");
    out << inventory::fileHead("database " + server.database);
    if (const auto text = unreadable(server)) out << "\n-- " << *text << "\ngo\n";
    write(script, out);
    out.flush();
  });
}

}  // namespace

std::vector<OptionFamily> ddlOptions() {
  return {oneSideOptions(), {"The scripts", kOptions}, readingOptions()};
}

ExitStatus runDdl(const Arguments& arguments, const Console& console, const OpenSide& open) {
  if (arguments.parting || arguments.operands.empty() != arguments.has(kOneSide.server))
    throw UsageError("ddl needs one SIDE or --server");
  const ReadingSettings settings = readingSettings(arguments);
  const Place place = placeOf(arguments, arguments.operands, kOneSide, settings);
  const Selection selection = selectionOf(arguments);
  refuseOverwriting(arguments, {&place, 1}, {.written = {kTrace, kOutput}});
  if (const auto folder = arguments.value(kOutput)) refuseWithin(place, *folder);
  std::vector<DatabaseReading> readings =
      readDatabases({{"side", place}}, {false, arguments.value(kTrace)}, console, open);
  DatabaseReading& side = readings[0];
  if (!side.wasRead)
    throw CommandError({side.gaps.empty() ? "reading stopped" : side.gaps.front(),
                        "nothing was written: the database was not read completely"});
  std::optional<inventory::Database> whole;
  if (!selection.takesAll()) whole = side.database;
  select(selection, side.database, console);

  std::vector<std::string> gaps = gapsOf(side);
  const bool isWhole = gaps.empty() && selection.takesAll();
  std::optional<inventory::TargetRelease> release = askedRelease(arguments);
  // Without a release the embedded catalog takes the statements of all of them.
  if (!release && !side.database.server.embedded) release = releaseOf(side.database.server);
  inventory::Script script =
      inventory::scriptOf(side.database, release, whole ? *whole : side.database);
  addStatementIfNone(script);
  if (const auto folder = arguments.value(kOutput)) {
    writeFolder(script, *folder, isWhole, console);
  } else {
    writeScript(script, side.database.server, console);
  }
  if (const auto text = unreadable(side.database.server)) console.complain(*text);
  for (const inventory::Omission& one : script.omissions)
    gaps.push_back("left out: " + one.what + ": " + one.reason);
  return tellGaps(gaps, console);
}

}  // namespace kelvane::cli
