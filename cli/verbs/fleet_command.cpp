#include "cli/verbs/fleet_command.h"

#include <algorithm>
#include <utility>

#include "cli/screen/pager.h"
#include "cli/screen/written_file.h"
#include "cli/verbs/fleet_folder.h"
#include "cli/verbs/fleet_result.h"
#include "cli/verbs/fleet_run.h"
#include "cli/verbs/fleet_state.h"
#include "cli/verbs/report_output.h"
#include "cli/verbs/result_output.h"
#include "cli/words/fleet_request.h"

namespace kelvane::cli {
namespace {

Written writeReport(const FleetResult& result, const FleetRequest& request,
                    const Console& console) {
  const auto write = [&](std::ostream& out) {
    if (request.format == FleetFormat::json)
      writeJson(result, out);
    else
      writeText(result, out);
  };
  if (!request.output) {
    // What has changed takes its place.
    if (!request.state) writePaged(console, write);
    return Written::all;
  }
  return tried(console, [&] {
    WrittenFile file("report", *request.output, console);
    write(file.stream());
    file.close();
  });
}

// The files of other programs, and those of the groups.
Written writeFiles(FleetResult& result, const FleetRequest& request, const Console& console) {
  report::CollectedRun run{.reference = result.reference,
                           .isFleet = true,
                           .targets = result.targets,
                           .kinds = comparedKinds(request.comparing.inventory),
                           .locations = locationsOf(result.made),
                           .exitStatus = result.status()};
  for (const FleetGroup& group : result.groups()) run.groups.push_back(group.targets);
  const Written groups = writeGroups(result, run, request, console);
  return std::max(groups, writeResults(std::move(run), request.results, console));
}

}  // namespace

ExitStatus runFleet(const Arguments& arguments, const Console& console, const OpenSide& open) {
  const FleetRequest request = fleetRequest(arguments);
  FleetState before;
  if (request.state) before = FleetState::load(*request.state);
  FleetResult result = compareFleet(request, console, open);
  const Written report =
      std::max(writeReport(result, request, console), writeFiles(result, request, console));
  if (!request.state) return report == Written::notAll ? kError : result.status();
  if (result.wasInterrupted) {
    console.complain("interrupted: '" + *request.state + "' is left as it was");
    return kNotProven;
  }
  const FleetState after = stateAfter(before, result);
  const ExitStatus news = writeNews(before, after, result, console.out);
  console.out.flush();
  // What nobody has heard of is news the next time too.
  if (!console.out) {
    console.complain("cannot write the changes to standard output; the state is left as it was");
    return kError;
  }
  const Written state = tried(console, [&] {
    WrittenFile file("state", *request.state, console);
    after.write(file.stream());
    file.close();
  });
  return report == Written::notAll || state == Written::notAll ? kError : news;
}

}  // namespace kelvane::cli
