#include "cli/verbs/three_ways.h"

#include <ostream>
#include <utility>

#include "cli/screen/written_file.h"
#include "cli/verbs/change_script_output.h"
#include "cli/verbs/comparison.h"
#include "cli/verbs/report_output.h"
#include "findings/three_ways.h"
#include "report/three_ways_report.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kBaseName = "base";

DatabaseReading readBase(const CompareRequest& request, const Console& console,
                         const OpenSide& open) {
  ReadingWish wish = wishOf(request);
  wish.trace.reset();
  wish.whole.reset();
  DatabaseReading base = std::move(
      readDatabases({{std::string(kBaseName), *request.base}}, wish, console, open).front());
  if (!base.wasRead) throw CommandError(gapsOf(base, base.database));
  return base;
}

// What one of the sides has changed since the base.
class ChangedSince {
 public:
  ChangedSince(const CompareRequest& request, DatabaseReading base, DatabaseReading side,
               const Console& console)
      : request_(withoutKnown(request)), comparison_(request_, console) {
    comparison_.take(std::move(base), std::move(side));
    comparison_.agreeOnRules(Comparison::Unmatched::ignore);
    comparison_.findChanges();
  }
  const Comparison::Changes& changes() const { return comparison_.changes(); }

 private:
  static CompareRequest withoutKnown(CompareRequest request) {
    request.accept.reset();
    request.ownAccepts.clear();
    return request;
  }

  CompareRequest request_;
  Comparison comparison_;
};

void noteGapsOfBase(const DatabaseReading& base, ReportHeader& header) {
  for (std::string& line : gapsOf(base, base.database)) header.gaps.push_back(std::move(line));
  if (!base.complete) header.gaps.emplace_back("base: not everything could be loaded");
}

Written writeScript(Comparison& comparison, const findings::ThreeWays& ways,
                    const CompareRequest& request, const Console& console) {
  if (!request.script) return Written::all;
  Comparison::Changes others = ways.byTarget;
  others.insert(others.end(), ways.conflicts.begin(), ways.conflicts.end());
  comparison.setAside(std::move(others), ways.bySource);
  const ChangeScriptOutput script = [&] {
    const Undertaking undertaking = comparing(console);
    return ChangeScriptOutput(request, request.scripting, comparison);
  }();
  const Written written = tried(console, [&] {
    WrittenFile file("script", *request.script, console);
    file.stream() << script.text();
    file.close();
  });
  script.complain(console);
  if (script.hasFailed()) console.complain("the script is not proved; its head says more");
  return written;
}

}  // namespace

ExitStatus compareThreeWays(const CompareRequest& request, const Console& console,
                            const OpenSide& open) {
  std::vector<DatabaseReading> sides = readSides(request, console, open);
  DatabaseReading base = readBase(request, console, open);
  Comparison comparison(request, console);
  comparison.take(sides.front(), sides.back());
  comparison.agreeOnRules();
  comparison.compare();
  comparison.noteIncompleteSides();
  comparison.accept();
  noteGapsOfBase(base, comparison.header());
  const ChangedSince bySource(request, base, std::move(sides.front()), console);
  const ChangedSince byTarget(request, std::move(base), std::move(sides.back()), console);
  const Comparison::Changes changes = comparison.changes();
  const findings::ThreeWays ways = findings::threeWays(
      changes, bySource.changes(), byTarget.changes(), comparison.rules().names);

  const Written script = writeScript(comparison, ways, request, console);
  const Written reports =
      writeReports(request, console, [&](Format format, Colors colors, std::ostream& out) {
        if (format == Format::json)
          return report::writeThreeWaysJson(ways, request.shownBase, comparison.header(), out);
        report::writeThreeWaysText(changes, ways, request.shownBase, comparison.header(), colors,
                                   out);
      });
  comparison.tellNotes();
  for (const std::string& line : comparison.header().gaps) console.complain(line);
  if (script == Written::notAll || reports == Written::notAll) return kError;
  if (comparison.header().coverage() == Coverage::partial) {
    console.complain("not everything could be compared: equality is not proven");
    return kNotProven;
  }
  if (!ways.conflicts.empty()) return kConflicts;
  return changes.empty() ? kNoDifference : kDifferences;
}

}  // namespace kelvane::cli
