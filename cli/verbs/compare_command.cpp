#include "cli/verbs/compare_command.h"

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/screen/figures.h"
#include "cli/screen/written_file.h"
#include "cli/verbs/change_script_output.h"
#include "cli/verbs/comparison.h"
#include "cli/verbs/published_compare.h"
#include "cli/verbs/report_output.h"
#include "cli/verbs/result_output.h"
#include "cli/verbs/three_ways.h"
#include "cli/words/compare_request.h"
#include "findings/renames.h"
#include "report/change_report.h"

namespace kelvane::cli {
namespace {

using Changes = Comparison::Changes;

void write(const Changes& changes, const ReportHeader& header, const ShownScript* script,
           Format format, Colors colors, std::ostream& out) {
  switch (format) {
    case Format::text:
      return writeTextReport(changes, header, colors, out);
    case Format::tree:
      return writeTextTree(changes, header, colors, out);
    case Format::summary:
      return writeTextSummary(changes, header, out);
    case Format::stat:
      return writeTextStat(changes, header, out);
    case Format::patch:
      return writePatch(changes, header, colors, out);
    case Format::json:
      return writeJsonReport(changes, header, out);
    case Format::html:
      return writeHtmlReport(changes, header, out, script);
  }
}

Written writeScript(const ChangeScriptOutput& output, const std::string& path,
                    const Console& console) {
  return tried(console, [&] {
    WrittenFile file("script", path, console);
    file.stream() << output.text();
    file.close();
  });
}

// The exit status does not: it is that of the comparison.
void tell(const ChangeScriptOutput& output, const Console& console) {
  output.complain(console);
  if (output.hasFailed()) console.complain("the script is not proved; its head says more");
}

// `script`: where there is one.
Written report(Comparison& comparison, const ChangeScriptOutput* script,
               const CompareRequest& request, const Console& console) {
  const Stopwatch time;
  const auto& [source, target] = comparison.databases();
  {
    const Undertaking undertaking = comparing(console);
    comparison.header().renames = findings::probableRenames(comparison.changes(), source, target);
  }
  std::optional<ShownScript> shown;
  if (script != nullptr) shown.emplace(ShownScript{script->script(), script->summary()});
  const Written written =
      writeReports(request, console, [&](Format format, Colors colors, std::ostream& out) {
        write(comparison.changes(), comparison.header(), shown ? &*shown : nullptr, format, colors,
              out);
      });
  tellTime(request, "reported", time, console);
  return written;
}

ExitStatus statusOf(const Comparison& comparison) {
  if (comparison.header().coverage() == Coverage::partial) return kNotProven;
  return comparison.changes().empty() ? kNoDifference : kDifferences;
}

Written writeResults(const Comparison& comparison, double seconds, const CompareRequest& request,
                     const Console& console) {
  if (request.results.isEmpty()) return Written::all;
  const std::vector<report::ObjectName> objects = report::objectsOf(comparison.databases().front());
  ComparedTarget target = comparedTarget(comparison, u"source");
  target.objects = &objects;
  target.seconds = seconds;
  report::CollectedRun run{.reference = comparison.header().source,
                           .targets = {&target, 1},
                           .kinds = comparedKinds(comparison.rules()),
                           .exitStatus = statusOf(comparison)};
  if (!target.differences.empty()) run.groups.push_back({0});
  for (const std::size_t side : {1U, 0U}) {
    const auto locations = locationsOf(comparison.made(side));
    run.locations.insert(run.locations.end(), locations.begin(), locations.end());
  }
  return writeResults(std::move(run), request.results, console);
}

}  // namespace

ExitStatus runCompare(const Arguments& arguments, const Console& console, const OpenSide& open) {
  const CompareRequest request = parseCompare(arguments);
  if (request.published) return comparePublished(request, console, open);
  if (request.base) return compareThreeWays(request, console, open);
  const Stopwatch time;
  Comparison comparison(request, console);
  comparison.read(open);
  comparison.agreeOnRules();
  comparison.compare();
  const Written accepts = comparison.writeAccepts();
  const std::vector<std::string> gaps = comparison.header().gaps;
  comparison.noteIncompleteSides();
  comparison.accept();
  const double seconds = std::chrono::duration<double>(time.elapsed()).count();
  std::optional<ChangeScriptOutput> script;
  Written scripts = Written::all;
  if (request.script) {
    const Stopwatch scriptTime;
    {
      const Undertaking undertaking = comparing(console);
      script.emplace(request, request.scripting, comparison);
    }
    tellTime(request, "script made", scriptTime, console);
    scripts = writeScript(*script, *request.script, console);
  }
  const Written reports = report(comparison, script ? &*script : nullptr, request, console);
  const Written results = writeResults(comparison, seconds, request, console);
  comparison.tellNotes();
  for (const std::string& line : gaps) console.complain(line);
  if (script) tell(*script, console);
  for (const Written one : {accepts, scripts, reports, results})
    if (one == Written::notAll) return kError;
  const ExitStatus status = statusOf(comparison);
  if (status == kNotProven)
    console.complain("not everything could be compared: equality is not proven");
  return status;
}

}  // namespace kelvane::cli
