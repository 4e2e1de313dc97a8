#include "cli/compare_command.h"

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <vector>

#include "cli/compare_request.h"
#include "cli/database_reading.h"
#include "cli/figures.h"
#include "cli/known_file.h"
#include "cli/published_compare.h"
#include "cli/report_output.h"
#include "findings/known_changes.h"
#include "findings/renames.h"
#include "inventory/compare/compare.h"
#include "inventory/shown.h"
#include "model/text.h"
#include "report/change_report.h"

namespace kelvane::cli {
namespace {

using inventory::Change;
using inventory::Database;
using Changes = std::vector<Change>;

void write(const Changes& changes, const ReportHeader& header, Format format, Colors colors,
           std::ostream& out) {
  switch (format) {
    case Format::text:
      return writeTextReport(changes, header, colors, out);
    case Format::tree:
      return writeTextTree(changes, header, colors, out);
    case Format::summary:
      return writeTextSummary(changes, header, out);
    case Format::json:
      return writeJsonReport(changes, header, out);
    case Format::html:
      return writeHtmlReport(changes, header, out);
  }
}

std::string listed(const std::vector<std::string>& items) {
  std::string list;
  for (const std::string& item : items) list += (list.empty() ? "" : ", ") + item;
  return list;
}

std::vector<std::string> ignoredBy(const inventory::Rules& rules, CaseMode mode) {
  std::vector<std::string> ignored;
  for (const auto& [isIgnored, what] : {std::pair{mode == CaseMode::ignore, "case of names"},
                                        {rules.ignoreTabs, "tabs in definitions"},
                                        {rules.ignoreSpaces, "spaces in definitions"},
                                        {rules.ignoreLineBreaks, "line breaks in definitions"},
                                        {rules.ignoreComments, "comments in definitions"},
                                        {rules.ignoreDefinitionCase, "case of definitions"}}) {
    if (isIgnored) ignored.emplace_back(what);
  }
  return ignored;
}

// A weaker comparison is not to pass for a full one.
void noteWeakenings(const CompareRequest& request, ReportHeader& header) {
  header.ignored =
      ignoredBy(request.inventory, request.rules.ignoreCase ? CaseMode::ignore : CaseMode::exact);
  if (!request.leftOut.empty()) header.notes.push_back("Not compared: " + listed(request.leftOut));
  if (!header.ignored.empty()) header.notes.push_back("Ignored: " + listed(header.ignored));
}

// What is of the servers and no difference of the databases, but may be the reason for one.
void noteServers(const std::array<Database, 2>& databases, ReportHeader& header) {
  const inventory::Server &a = databases[0].server, &b = databases[1].server;
  const auto note = [&](const char* what, const std::string& was, const std::string& is) {
    if (was == is || was.empty() || is.empty()) return;
    header.notes.push_back(std::string("The servers differ in ") + what + ": " + was + " -> " + is);
  };
  note("character set", a.characterSet, b.characterSet);
  note("sort order", a.sortOrder, b.sortOrder);
  if (a.pageSize != 0 && b.pageSize != 0)
    note("page size", std::to_string(a.pageSize), std::to_string(b.pageSize));
}

// Facts that only one of the sides tells are no differences.
void leaveOutUnpublished(const std::array<Database, 2>& databases, inventory::Rules& rules,
                         ReportHeader& header) {
  if (databases[0].server.embedded == databases[1].server.embedded) return;
  const inventory::Families lost = rules.compared & inventory::unpublishedFamilies();
  if (lost.none()) return;
  rules.compared &= ~lost;
  std::vector<std::string> words;
  for (const auto& row : inventory::kFamilies) {
    if (lost.test(static_cast<std::size_t>(row.family))) words.emplace_back(row.word);
  }
  header.notes.push_back("Not told by servers: " + listed(words));
}

// Numbers of rows are in a snapshot only where they were asked for.
void leaveOutUnknownRows(const CompareRequest& request, const std::array<Database, 2>& databases,
                         inventory::Rules& rules, ReportHeader& header) {
  if (!rules.compares(inventory::Family::rowCounts)) return;
  for (std::size_t side = 0; side < 2; ++side) {
    const auto isCounted = [](const inventory::Table& one) { return one.rowCount.has_value(); };
    if (std::ranges::all_of(databases[side].tables, isCounted)) continue;
    rules.compared.reset(static_cast<std::size_t>(inventory::Family::rowCounts));
    header.gaps.push_back(std::string(kSideNames[side]) + ": row counts are not compared: " +
                          request.shown[side] + " does not have them");
  }
}

// Columns that one side does not know are no differences.
void leaveOutUnknownColumns(std::array<Database, 2>& databases, ReportHeader& header) {
  std::set<std::string> unknown;
  for (const Database& database : databases) {
    for (const inventory::View& view : database.views) {
      if (!view.columnsKnown) unknown.insert(nameOf(view));
    }
  }
  if (unknown.empty()) return;
  std::string list;
  for (const std::string& view : unknown) list += (list.empty() ? "view " : ", view ") + view;
  header.notes.push_back("Columns not known: " + list);
  for (Database& database : databases) {
    for (inventory::View& view : database.views) {
      if (!unknown.contains(nameOf(view))) continue;
      view.columns.clear();
      view.columnsKnown = true;
    }
  }
}

// What snapshots were taken without is known, and all else was read.
bool isReadInFull(const std::vector<DatabaseReading>& readings) {
  return std::ranges::all_of(
      readings, [](const DatabaseReading& one) { return one.complete && one.gaps.empty(); });
}

// Takes out of both databases what the patterns leave out, and notes it. Throws CommandError where
// an include leaves nothing.
void select(const CompareRequest& request, CaseMode mode, bool isProven,
            std::array<Database, 2>& databases, const Console& console, ReportHeader& header) {
  if (request.selection.takesAll()) return;
  std::array<Selection::Tally, 2> tallies;
  for (std::size_t side = 0; side < 2; ++side)
    request.selection.apply(databases[side], mode, tallies[side]);
  header.notes.push_back("Left out by patterns: " + counted(tallies[0].leftOut, "object") +
                         " of the source, " + counted(tallies[1].leftOut, "object") +
                         " of the target");
  const std::array<const Selection::Tally*, 2> both{&tallies[0], &tallies[1]};
  const Selection::Unmatched unmatched = request.selection.unmatched(
      both, [&](inventory::Kind kind) { return request.inventory.compares(rowOf(kind).family); });
  if (isProven && !unmatched.errors.empty()) throw CommandError(unmatched.errors);
  for (const auto* lines : {&unmatched.errors, &unmatched.others})
    for (const std::string& line : *lines) console.complain(line);
}

// Where one side was not read to its end, what the other one has proves nothing.
void dropUnread(std::vector<DatabaseReading>& readings, ReportHeader& header) {
  if (std::ranges::all_of(readings, &DatabaseReading::wasRead)) return;
  header.gaps.push_back("nothing was compared: a side was not read to its end");
  for (DatabaseReading& one : readings) one.database = {};
}

// Whether a comparison could have found what a line of a list is about. Where that cannot be known
// the answer is no.
class CouldFind {
 public:
  CouldFind(const CompareRequest& request, const inventory::Rules& rules, bool isProven)
      : request_(request), rules_(rules), isProven_(isProven) {}

  bool operator()(const findings::KnownChange& known) const {
    const bool ignoresText = rules_.ignoreTabs || rules_.ignoreSpaces || rules_.ignoreLineBreaks ||
                             rules_.ignoreComments || rules_.ignoreDefinitionCase;
    const bool isText = known.label == "definition" || known.label == "condition";
    return isProven_ && findings::isCompared(known, rules_.compared) && !(ignoresText && isText) &&
           isSelected(known);
  }

 private:
  bool isSelected(const findings::KnownChange& known) const {
    const std::u16string full = toUtf16(known.object);
    const std::size_t dot = full.find(u'.');
    Selection::Tally uncounted;
    return request_.selection.takes(
        known.kind, {std::u16string_view(full).substr(dot == full.npos ? 0 : dot + 1), full},
        rules_.names, uncounted);
  }

  const CompareRequest& request_;
  const inventory::Rules& rules_;
  bool isProven_;
};

}  // namespace

ExitStatus runCompare(const Arguments& arguments, const Console& console, const OpenSide& open) {
  const CompareRequest request = parseCompare(arguments);
  if (request.published) return comparePublished(request, console, open);
  using findings::KnownChange;
  const auto known = loadKnownFiles<KnownChange>(request, findings::readKnownChanges);
  const bool rowCounts = request.inventory.compares(inventory::Family::rowCounts);
  std::vector<DatabaseReading> readings =
      readDatabases({{kSideNames[0], request.places[0]}, {kSideNames[1], request.places[1]}},
                    {rowCounts, request.trace}, console, open);
  ReportHeader header{request.shown[0], request.shown[1], KELVANE_VERSION};
  for (const DatabaseReading& side : readings)
    header.gaps.insert(header.gaps.end(), side.gaps.begin(), side.gaps.end());
  noteWeakenings(request, header);
  const bool isProven = isReadInFull(readings);
  dropUnread(readings, header);
  std::array<Database, 2> databases{std::move(readings[0].database),
                                    std::move(readings[1].database)};
  inventory::Rules rules = request.inventory;
  const bool ignoresCase = request.rules.ignoreCase ||
                           (databases[0].server.ignoresCase && databases[1].server.ignoresCase);
  rules.names = ignoresCase ? CaseMode::ignore : CaseMode::exact;
  noteServers(databases, header);
  leaveOutUnpublished(databases, rules, header);
  leaveOutUnknownRows(request, databases, rules, header);
  leaveOutUnknownColumns(databases, header);
  select(request, rules.names, isProven, databases, console, header);

  Changes changes;
  {
    const Undertaking undertaking = comparing(console);
    changes = inventory::compare(databases[0], databases[1], rules);
  }
  const CouldFind couldFind(request, rules, isProven);
  Written accepts = Written::all;
  if (request.writeAccept) {
    accepts = tried(console, [&] {
      writeKnown(known, console, [&](const auto& list, const auto& others, std::ostream& out) {
        return findings::writeKnownChanges(changes, list, others, couldFind, out);
      });
    });
  }
  const std::vector<std::string> gaps = header.gaps;
  for (std::size_t side = 0; side < 2; ++side) {
    if (!readings[side].complete)
      header.gaps.push_back(std::string(kSideNames[side]) + ": not everything could be loaded");
  }
  if (request.accept) {
    auto acceptance = findings::accept(std::move(changes), known.accepted.known, today());
    header.notes.push_back("Accepted differences: " + std::to_string(acceptance.accepted.size()));
    tellUseless<KnownChange>(known, acceptance.expired, acceptance.unused, couldFind, console);
    header.accepted = std::move(acceptance.accepted);
    changes = std::move(acceptance.rest);
  }
  {
    const Undertaking undertaking = comparing(console);
    header.renames = findings::probableRenames(changes, databases[0], databases[1]);
  }
  for (const auto& row : inventory::kFamilies) {
    if (!row.word.empty() && rules.compares(row.family)) header.switches.emplace_back(row.word);
  }
  const Written reports =
      writeReports(request, console, [&](Format format, Colors colors, std::ostream& out) {
        write(changes, header, format, colors, out);
      });
  tellNotes(header.notes, request, console);
  for (const std::string& line : gaps) console.complain(line);
  if (accepts == Written::notAll || reports == Written::notAll) return kError;
  if (header.coverage() == Coverage::complete)
    return changes.empty() ? kNoDifference : kDifferences;
  console.complain("not everything could be compared: equality is not proven");
  return kNotProven;
}

}  // namespace kelvane::cli
