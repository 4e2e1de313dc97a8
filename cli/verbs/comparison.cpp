#include "cli/verbs/comparison.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "cli/screen/figures.h"
#include "findings/three_ways.h"
#include "inventory/gaps.h"
#include "inventory/roles.h"
#include "inventory/shown.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

using inventory::Database;

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

std::vector<std::string> wordsOf(const inventory::Families& families) {
  std::vector<std::string> words;
  for (const auto& row : inventory::kFamilies) {
    if (!row.word.empty() && families.test(static_cast<std::size_t>(row.family)))
      words.emplace_back(row.word);
  }
  return words;
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

// Facts that one of the sides cannot tell are no differences.
void leaveOutUnpublished(const std::array<Database, 2>& databases, inventory::Rules& rules,
                         ReportHeader& header) {
  if (databases[0].server.embedded && databases[1].server.embedded) return;
  const inventory::Families lost = rules.compared & inventory::unpublishedFamilies();
  if (lost.none()) return;
  rules.compared &= ~lost;
  header.notes.push_back("Not readable from servers: " + listed(wordsOf(lost)));
}

// A server tells of the roles that the database uses, a script of those that it creates.
void leaveOutRolesOfOneSide(std::array<Database, 2>& databases, const inventory::Rules& rules,
                            ReportHeader& header) {
  if (databases[0].server.embedded && databases[1].server.embedded) return;
  if (!rules.compares(inventory::Family::roles)) return;
  const std::vector<std::string> roles = inventory::takeRolesOfOneSide(databases[0], databases[1]);
  if (!roles.empty())
    header.notes.push_back("Roles that only one side uses are left out: " + listed(roles));
}

// What could not be read of one side is no difference.
void leaveOutUnread(const std::array<Database, 2>& databases, inventory::Rules& rules,
                    ReportHeader& header) {
  inventory::Families lost;
  for (const Database& database : databases) {
    for (const inventory::Gap& gap : database.gaps) {
      if (const auto* part = inventory::partOf(gap)) lost |= part->lost & rules.compared;
    }
  }
  if (lost.none()) return;
  rules.compared &= ~lost;
  header.notes.push_back("Not compared, because it could not be read: " + listed(wordsOf(lost)));
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
  return std::ranges::all_of(readings, [](const DatabaseReading& one) {
    return one.complete && one.gaps.empty() && one.database.gaps.empty();
  });
}

// Takes out of both databases what the patterns leave out, and notes it. Throws CommandError where
// an include leaves nothing; says nothing without a console.
void select(const CompareRequest& request, CaseMode mode, bool isProven,
            const std::vector<DatabaseReading>& readings, std::array<Database, 2>& databases,
            const Console* console, ReportHeader& header) {
  if (request.selection.takesAll()) return;
  std::array<Selection::Tally, 2> tallies;
  for (std::size_t side = 0; side < 2; ++side) {
    request.selection.apply(databases[side], mode, tallies[side]);
    for (const Selection::Unread& object : readings[side].leftUnread)
      request.selection.leaveOut(object, mode, tallies[side]);
  }
  header.notes.push_back("Left out by patterns: " + counted(tallies[0].leftOut, "object") +
                         " of the source, " + counted(tallies[1].leftOut, "object") +
                         " of the target");
  if (console == nullptr) return;
  const std::array<const Selection::Tally*, 2> both{&tallies[0], &tallies[1]};
  const Selection::Unmatched unmatched = request.selection.unmatched(
      both, [&](inventory::Kind kind) { return request.inventory.compares(rowOf(kind).family); });
  if (isProven && !unmatched.errors.empty()) throw CommandError(unmatched.errors);
  for (const auto* lines : {&unmatched.errors, &unmatched.others})
    for (const std::string& line : *lines) console->complain(line);
}

// Where one side was not read to its end, or lacks what everything else refers to, what the other
// one has proves nothing.
void dropUnread(std::vector<DatabaseReading>& readings, ReportHeader& header) {
  const auto isEssential = [](const inventory::Gap& gap) {
    const auto* part = inventory::partOf(gap);
    return part != nullptr && part->isEssential;
  };
  const bool areWhole = std::ranges::all_of(readings, &DatabaseReading::wasRead);
  const bool areUsable = std::ranges::none_of(readings, [&](const DatabaseReading& one) {
    return std::ranges::any_of(one.database.gaps, isEssential);
  });
  if (areWhole && areUsable) return;
  header.nothingCompared = true;
  header.gaps.push_back(areWhole ? "nothing was compared: too much of a side could not be read"
                                 : "nothing was compared: a side was not read to its end");
  for (DatabaseReading& one : readings) {
    Database nothing;
    nothing.gaps = std::move(one.database.gaps);
    one.database = std::move(nothing);
  }
}

// Whether the patterns choose an object: owner.name.
bool isChosen(inventory::Kind kind, std::string_view object, const CompareRequest& request,
              CaseMode mode) {
  const std::u16string full = toUtf16(object);
  const std::size_t dot = full.find(u'.');
  Selection::Tally uncounted;
  return request.selection.takes(
      kind, {std::u16string_view(full).substr(dot == full.npos ? 0 : dot + 1), full}, mode,
      uncounted);
}

}  // namespace

void Comparison::read(const OpenSide& open) {
  known_ = loadKnownFiles<findings::KnownChange>(request_, findings::readKnownChanges);
  takeRead(readSides(request_, console_, open));
}

void Comparison::take(DatabaseReading source, DatabaseReading target) {
  known_ = loadKnownFiles<findings::KnownChange>(request_, findings::readKnownChanges);
  std::vector<DatabaseReading> readings;
  readings.push_back(std::move(source));
  readings.push_back(std::move(target));
  takeRead(std::move(readings));
}

void Comparison::takeRead(std::vector<DatabaseReading> readings) {
  readings_ = std::move(readings);
  isProven_ = isReadInFull(readings_);
  dropUnread(readings_, header_);
  databases_ = {std::move(readings_[0].database), std::move(readings_[1].database)};
  renameOwners();
  for (const Database* side : {&databases_[1], &databases_[0]})
    rolesRead_.insert(rolesRead_.end(), side->roles.begin(), side->roles.end());
}

void Comparison::renameOwners() {
  if (request_.owners.empty() || header_.nothingCompared) return;
  const auto [unknown, takenOut] = inventory::renameOwners(databases_[1], request_.owners);
  for (const std::string& owner : unknown) {
    const std::string text = "--owner-map " + request_.owners.at(owner) + "=" + owner +
                             ": the target has no object of " + owner;
    if (isProven_) throw CommandError({text});
    console_.complain(text);
  }
  for (const auto& [owner, name] : request_.owners)
    header_.notes.push_back("Objects of " + owner + " in the target are compared as those of " +
                            name);
  if (takenOut.empty()) return;
  constexpr std::size_t kMostNamed = 5;
  const std::size_t named = std::min(takenOut.size(), kMostNamed);
  const std::vector<std::string> first(takenOut.begin(),
                                       takenOut.begin() + static_cast<std::ptrdiff_t>(named));
  const std::size_t others = takenOut.size() - named;
  header_.notes.push_back(
      "Left out of the target, because others have the name of their owner: " + listed(first) +
      (others == 0 ? "" : " and " + std::to_string(others) + " more"));
}

void Comparison::rename(const std::vector<change_script::Rename>& hints) {
  if (hints.empty()) return;
  auto& [source, target] = databases_;
  asRead_ = target;
  for (const change_script::Rename& hint : hints) {
    std::optional<std::string> obstacle = change_script::rename(target, hint);
    if (!obstacle && !change_script::hasNewName(source, hint))
      obstacle = "the source has nothing of this name";
    if (obstacle) throw CommandError({"--rename " + hint.text + ": " + *obstacle});
  }
}

void Comparison::agreeOnRules(Unmatched unmatched) {
  const bool ignoresCase = request_.rules.ignoreCase ||
                           (databases_[0].server.ignoresCase && databases_[1].server.ignoresCase);
  rules_.names = ignoresCase ? CaseMode::ignore : CaseMode::exact;
  noteWeakenings(request_, header_);
  leaveOutUnread(databases_, rules_, header_);
  const std::size_t ofOptions = header_.notes.size();
  noteServers(databases_, header_);
  leaveOutUnpublished(databases_, rules_, header_);
  leaveOutRolesOfOneSide(databases_, rules_, header_);
  ofServers_.assign(header_.notes.begin() + static_cast<std::ptrdiff_t>(ofOptions),
                    header_.notes.end());
  leaveOutUnknownRows(request_, databases_, rules_, header_);
  leaveOutUnknownColumns(databases_, header_);
  if (request_.readsWholeTarget && !request_.selection.takesAll()) {
    beforeSelection_ = databases_[1];
    if (!asRead_) asRead_ = databases_[1];
  }
  if (!header_.nothingCompared)
    select(request_, rules_.names, isProven_, readings_, databases_,
           unmatched == Unmatched::complain ? &console_ : nullptr, header_);
  noteGaps();
  for (const auto& row : inventory::kFamilies) {
    if (!row.word.empty() && rules_.compares(row.family)) header_.switches.emplace_back(row.word);
  }
}

// What could not be read of something that takes no part says nothing about the comparison.
void Comparison::noteGaps() {
  std::vector<std::string> all;
  for (std::size_t side = 0; side < databases_.size(); ++side) {
    const auto lines = gapsOf(readings_[side], databases_[side],
                              [this](const inventory::Gap& gap) { return concerns(gap); });
    all.insert(all.end(), lines.begin(), lines.end());
  }
  header_.gaps.insert(header_.gaps.begin(), all.begin(), all.end());
}

bool Comparison::concerns(const inventory::Gap& gap) const {
  const std::size_t colon = gap.object.find(':');
  if (colon == gap.object.npos) return true;
  const auto family = inventory::familyOf(gap.family);
  if (family && !rules_.compares(*family)) return false;
  const auto kind = inventory::objectKindOf(gap.object.substr(0, colon));
  return !kind ||
         isChosen(*kind, std::string_view(gap.object).substr(colon + 1), request_, rules_.names);
}

bool Comparison::takesPart(const inventory::Change& change) const {
  const std::string& name =
      change.kind == inventory::Kind::database ? databases_[1].server.database : change.name;
  return isChosen(change.kind, name, request_, rules_.names);
}

void Comparison::compare() {
  const Stopwatch time;
  {
    const Undertaking undertaking = comparing(console_);
    findChanges();
  }
  tellTime(request_, "compared", time, console_);
}

Written Comparison::writeAccepts() {
  if (!request_.writeAccept) return Written::all;
  return tried(console_, [&] {
    writeKnown(known_, console_, [&](const auto& list, const auto& others, std::ostream& out) {
      return findings::writeKnownChanges(
          changes_, list, others, [this](const auto& one) { return couldFind(one); }, out);
    });
  });
}

void Comparison::noteIncompleteSides() {
  for (std::size_t side = 0; side < readings_.size(); ++side) {
    if (!readings_[side].complete)
      header_.gaps.push_back(std::string(kSideNames[side]) + ": not everything could be loaded");
  }
}

void Comparison::accept() {
  if (!request_.accepts()) return;
  if (known_.accept) accept(*known_.accept, known_.accepted, known_.updatesAccepted());
  for (const auto& [path, list] : known_.own) accept(path, list, false);
  header_.notes.push_back("Accepted differences: " + std::to_string(header_.accepted.size()));
}

void Comparison::accept(const std::string& path, const findings::KnownChanges& list,
                        bool isUpdated) {
  auto acceptance = findings::accept(std::move(changes_), list.known, today());
  tellUseless<findings::KnownChange>(
      path, isUpdated, acceptance.expired, acceptance.unused,
      [this](const auto& one) { return couldFind(one); }, console_);
  std::ranges::move(acceptance.accepted, std::back_inserter(header_.accepted));
  changes_ = std::move(acceptance.rest);
}

Comparison::Changes Comparison::withoutAccepted(Changes changes) const {
  if (!aside_.empty()) changes = findings::without(std::move(changes), aside_, rules_.names);
  changes = findings::accept(std::move(changes), known_.accepted.known, today()).rest;
  for (const auto& own : known_.own)
    changes = findings::accept(std::move(changes), own.list.known, today()).rest;
  return changes;
}

void Comparison::setAside(Changes others, Changes rest) {
  aside_ = std::move(others);
  changes_ = std::move(rest);
}

void Comparison::tellNotes() const {
  std::vector<std::string> told = header_.notes;
  // What is so in every run of the same two servers is no news for who asks for nothing else.
  if (request_.quiet)
    std::erase_if(told, [&](const auto& one) { return std::ranges::count(ofServers_, one) != 0; });
  cli::tellNotes(told, request_, console_);
}

// Whether the comparison could have found what a line of a list is about. Where that cannot be
// known the answer is no.
bool Comparison::couldFind(const findings::KnownChange& known) const {
  const bool ignoresText = rules_.ignoreTabs || rules_.ignoreSpaces || rules_.ignoreLineBreaks ||
                           rules_.ignoreComments || rules_.ignoreDefinitionCase;
  const bool isText = known.label == "definition" || known.label == "condition";
  return isProven_ && findings::isCompared(known, rules_.compared) && !(ignoresText && isText) &&
         isChosen(known.kind, known.object, request_, rules_.names);
}

ReadingWish wishOf(const CompareRequest& request) {
  return {
      .rowCounts = request.countsRows || request.inventory.compares(inventory::Family::rowCounts),
      .trace = request.trace,
      .selection = &request.selection,
      .whole = request.readsWholeTarget ? std::optional<std::size_t>(1) : std::nullopt};
}

std::vector<DatabaseReading> readSides(const CompareRequest& request, const Console& console,
                                       const OpenSide& open) {
  return readDatabases({{kSideNames[0], request.places[0]}, {kSideNames[1], request.places[1]}},
                       wishOf(request), console, open);
}

void tellTime(const CompareRequest& request, std::string_view what, const Stopwatch& time,
              const Console& console) {
  if (std::ranges::any_of(request.places, isVerbose))
    console.complain(std::string(what) + " in " + time.text());
}

}  // namespace kelvane::cli
