#include "cli/verbs/fleet_command.h"

#include "cli/screen/written_file.h"
#include "cli/verbs/fleet_result.h"
#include "cli/verbs/fleet_run.h"
#include "cli/verbs/report_output.h"
#include "cli/words/fleet_request.h"

namespace kelvane::cli {

ExitStatus runFleet(const Arguments& arguments, const Console& console, const OpenSide& open) {
  const FleetRequest request = fleetRequest(arguments);
  const FleetResult result = compareFleet(request, console, open);
  const auto write = [&](std::ostream& out) {
    if (request.format == FleetFormat::json)
      writeJson(result, out);
    else
      writeText(result, out);
  };
  if (!request.output) {
    write(console.out);
    return result.status();
  }
  const Written written = tried(console, [&] {
    WrittenFile file("report", *request.output, console);
    write(file.stream());
    file.close();
  });
  return written == Written::notAll ? kError : result.status();
}

}  // namespace kelvane::cli
