#include "cli/verbs/published_compare.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cli/screen/figures.h"
#include "cli/sides/reading.h"
#include "cli/verbs/known_file.h"
#include "cli/verbs/report_output.h"
#include "cli/words/compare_request.h"
#include "cli/words/compared_scope.h"
#include "cli/words/switch_arguments.h"
#include "compare/compare_schema.h"
#include "model/text.h"
#include "report/html_report.h"
#include "report/json_report.h"
#include "report/text_report.h"

namespace kelvane::cli {
namespace {

// The collector speaks through message boxes: a difference that it has no place for.
class CollectorHost final : public Host {
 public:
  explicit CollectorHost(std::vector<std::string>& gaps) : gaps_(gaps) {}
  void MessageBox(std::u16string_view text, MessageIcon) override {
    gaps_.push_back("a difference could not be recorded: " + toUtf8(text));
  }

 private:
  std::vector<std::string>& gaps_;
};

class RulePreferences final : public AppPreferences {
 public:
  explicit RulePreferences(const Rules& rules) : rules_(rules) {}
  Boolean IgnoreTabs() const override { return rules_.ignoreTabs; }
  Boolean IgnoreSpaces() const override { return rules_.ignoreSpaces; }
  Boolean IgnoreLineBreaks() const override { return rules_.ignoreLineBreaks; }

 private:
  const Rules& rules_;
};

void write(const diffSchema& differences, const ReportHeader& header, Format format, Colors colors,
           std::ostream& out) {
  switch (format) {
    case Format::text:
      return writeTextReport(differences, header, colors, out);
    case Format::patch:  // refused
    case Format::tree:
      return writeTextTree(differences, header, colors, out);
    case Format::summary:
    case Format::stat:
      return writeTextSummary(differences, header, out);
    case Format::json:
      return writeJsonReport(differences, header, out);
    case Format::html:
      return writeHtmlReport(differences, header, out);
  }
}

std::vector<std::string> ignoredBy(const Rules& rules) {
  std::vector<std::string> ignored;
  for (const auto& [isIgnored, what] : {std::pair{rules.ignoreCase, "case of names"},
                                        {rules.ignoreTabs, "tabs in definitions"},
                                        {rules.ignoreSpaces, "spaces in definitions"},
                                        {rules.ignoreLineBreaks, "line breaks in definitions"}}) {
    if (isIgnored) ignored.emplace_back(what);
  }
  return ignored;
}

// A weaker comparison is not to pass for a full one.
void noteWeakenings(const CompareRequest& request, ReportHeader& header) {
  header.ignored = ignoredBy(request.rules);
  for (const auto& [what, names] :
       {std::pair{"Not compared: ", request.leftOut}, {"Ignored: ", header.ignored}}) {
    std::string list;
    for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
    if (!list.empty()) header.notes.push_back(what + list);
  }
}

ReportHeader headerOf(const CompareRequest& request, const Readings& readings) {
  ReportHeader header{request.shown[0], request.shown[1], KELVANE_VERSION, {}, readings.missing};
  for (const SideReading& side : readings.sides)
    header.gaps.insert(header.gaps.end(), side.gaps.begin(), side.gaps.end());
  for (const Switch& one : kSwitches) {
    if (readings.switches.*one.value) header.switches.push_back(toUtf8(one.name));
  }
  noteWeakenings(request, header);
  return header;
}

// What snapshots were taken without is known, and all else was read.
bool isReadInFull(const Readings& readings, const ReportHeader& header) {
  return header.gaps.size() == readings.missing.size() &&
         std::ranges::all_of(readings.sides, [](const SideReading& side) { return side.complete; });
}

// Takes out of both schemas what the patterns leave out, and notes it. Throws CommandError where an
// include leaves nothing.
void select(const Selection& selection, CaseMode mode, Readings& readings,
            std::array<Schema, 2>& schemas, const Console& console, ReportHeader& header) {
  if (selection.takesAll()) return;
  std::vector<SideReading>& sides = readings.sides;
  std::array<const Selection::Tally*, 2> tallies{};
  for (std::size_t side = 0; side < 2; ++side) {
    apply(selection, schemas[side], mode, sides[side].selected);
    tallies[side] = &sides[side].selected;
  }
  header.notes.push_back("Left out by patterns: " + counted(tallies[0]->leftOut, "object") +
                         " of the source, " + counted(tallies[1]->leftOut, "object") +
                         " of the target");
  const Selection::Unmatched unmatched =
      selection.unmatched(tallies, comparedKinds(readings.switches));
  const bool isProven = isReadInFull(readings, header);
  if (isProven && !unmatched.errors.empty()) throw CommandError(unmatched.errors);
  for (const auto* lines : {&unmatched.errors, &unmatched.others})
    for (const std::string& line : *lines) console.complain(line);
}

// Columns that one side does not know are no differences.
void leaveOutUnknownColumns(const std::vector<SideReading>& sides, std::array<Schema, 2>& schemas,
                            ReportHeader& header) {
  std::set<std::string> unknown;
  for (const SideReading& side : sides)
    unknown.insert(side.viewsWithoutColumns.begin(), side.viewsWithoutColumns.end());
  if (unknown.empty()) return;
  std::string list;
  for (const std::string& view : unknown) list += (list.empty() ? "view " : ", view ") + view;
  header.notes.push_back("Columns not known: " + list);
  for (Schema& schema : schemas) {
    for (std::int32_t i = 1; i <= schema.Views.count(); ++i) {
      schema.Views.edit(i, [&](View& view) {
        if (unknown.contains(toUtf8(view.FullName))) view.Columns = {};
      });
    }
  }
}

diffSchema compared(const std::array<Schema, 2>& schemas, const CompareRequest& request,
                    const cComparisonOptions& switches, CaseMode mode, const Console& console,
                    std::vector<std::string>& gaps) {
  const Undertaking undertaking = comparing(console);
  CollectorHost host(gaps);
  const RulePreferences preferences(request.rules);
  cCompareSchema engine(host);
  engine.CompareOptions = std::make_shared<cComparisonOptions>(switches);
  engine.AppPreferences = &preferences;
  engine.IsSchemaCaseSensitive(Boolean(mode == CaseMode::exact));
  engine.Compare(schemas[0], schemas[1], output_DiffText);
  return engine.Results();
}

}  // namespace

ExitStatus comparePublished(const CompareRequest& request, const Console& console,
                            const OpenSide& open) {
  const auto known = loadKnownFiles<KnownDifference>(request, readKnownDifferences);
  Readings readings =
      readPlaces({{kSideNames[0], request.places[0]}, {kSideNames[1], request.places[1]}},
                 request.switches, request.trace, console, open, request.selection);
  ReportHeader header = headerOf(request, readings);
  std::vector<SideReading>& sides = readings.sides;
  std::array<Schema, 2> schemas{sides[0].schema, sides[1].schema};
  if (sides[0].extent || sides[1].extent) {
    keepComparable(schemas, {sides[0].extent, sides[1].extent});
    header.gaps.push_back(
        "the result is partial: only objects that were read in full on both sides are compared");
  }
  leaveOutUnknownColumns(sides, schemas, header);
  const bool exact =
      !request.rules.ignoreCase && (sides[0].caseSensitive || sides[1].caseSensitive);
  const CaseMode mode = exact ? CaseMode::exact : CaseMode::ignore;
  select(request.selection, mode, readings, schemas, console, header);
  diffSchema differences =
      compared(schemas, request, readings.switches, mode, console, header.gaps);

  const ComparedScope scope{request.selection, readings.switches, request.rules, mode,
                            isReadInFull(readings, header)};
  const auto couldFind = [&](const KnownDifference& one) { return scope.couldFind(one); };
  Written accepts = Written::all;
  if (request.writeAccept)
    accepts = tried(console, [&] {
      writeKnown(known, console, [&](const auto& list, const auto& others, std::ostream& out) {
        return writeKnownDifferences(differences, list, others, couldFind, out);
      });
    });
  const std::vector<std::string> gaps = header.gaps;
  for (std::size_t side = 0; side < 2; ++side) {
    if (!sides[side].complete)
      header.gaps.push_back(std::string(kSideNames[side]) + ": not everything could be loaded");
  }
  if (request.accept) {
    Acceptance acceptance = accept(differences, known.accepted.known, today());
    header.notes.push_back("Accepted differences: " + std::to_string(acceptance.accepted));
    tellUseless<KnownDifference>(*known.accept, known.updatesAccepted(), acceptance.expired,
                                 acceptance.unused, couldFind, console);
    differences = std::move(acceptance.rest);
  }
  {
    const Undertaking undertaking = comparing(console);
    header.renames = probableRenames(differences, schemas[0], schemas[1]);
  }
  const Written reports =
      writeReports(request, console, [&](Format format, Colors colors, std::ostream& out) {
        write(differences, header, format, colors, out);
      });
  tellNotes(header.notes, request, console);
  for (const std::string& line : gaps) console.complain(line);
  if (accepts == Written::notAll || reports == Written::notAll) return kError;
  if (header.coverage() == Coverage::complete)
    return differences == diffSchema{} ? kNoDifference : kDifferences;
  console.complain("not everything could be compared: equality is not proven");
  return kNotProven;
}

}  // namespace kelvane::cli
