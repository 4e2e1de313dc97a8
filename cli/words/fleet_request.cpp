#include "cli/words/fleet_request.h"

#include <algorithm>
#include <span>

#include "cli/words/overwriting.h"
#include "cli/words/side_arguments.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kFailFast = "--fail-fast", kFormat = "--format", kJobs = "--jobs",
                           kOutput = "--output", kState = "--state",
                           kTargetLimit = "--target-limit";

constexpr auto kFormats = std::to_array<Choice<FleetFormat>>({
    {"text", FleetFormat::text},
    {"json", FleetFormat::json},
});
constexpr auto kRunning = std::to_array<Option>({
    {kFailFast, "", "begin with no further target after one that differs or could not be read"},
    {kJobs, kNumber, "targets that are read at the same time; default: 8"},
    {kTargetLimit, kSeconds, "time limit for a target; default: none"},
});
constexpr auto kReports = std::to_array<Option>({
    {kFormat, "FORMAT", "text or json; default: text", kNamesOf<kFormats>},
    {kOutput, kFile, "write to this file instead of standard output", {}, "-o"},
    {kState, kFile,
     "keep what was found in FILE, and report only what has changed since the last run"},
});

// No options name one of them.
constexpr SideOptions kNone{};

FleetPlace fleetPlace(const Arguments& arguments, const std::vector<std::string>& operands,
                      const ReadingSettings& settings) {
  Place place = placeOf(arguments, operands, kNone, settings);
  std::string name = nameOf(place, operands);
  return {std::move(name), std::move(place)};
}

}  // namespace

std::vector<OptionFamily> fleetOptions() {
  std::vector<OptionFamily> families = comparingOptions();
  families.push_back({"The targets", kRunning});
  families.push_back({"Reports", kReports});
  families.push_back(resultFileOptions());
  families.push_back(readingOptions());
  return families;
}

FleetRequest fleetRequest(const Arguments& arguments) {
  const std::vector<std::string>& all = arguments.operands;
  const std::size_t first = arguments.parting.value_or(1);
  if (all.size() < first + 1 || first == 0)
    throw UsageError(
        "fleet needs REFERENCE and at least one TARGET, with '--' behind the reference if that is "
        "more than one operand");
  const ReadingSettings settings = readingSettings(arguments);
  const std::span<const std::string> operands(all);
  FleetRequest request{
      .reference = fleetPlace(
          arguments, {operands.begin(), operands.begin() + static_cast<std::ptrdiff_t>(first)},
          settings),
      .targets = {},
      .comparing = comparingRequest(arguments),
      .targetLimit = {},
      .output = arguments.value(kOutput),
      .results = resultFiles(arguments),
      .state = arguments.value(kState)};
  for (const std::string& operand : operands.subspan(first)) {
    FleetPlace target = fleetPlace(arguments, {operand}, settings);
    // Groups may overlap.
    if (std::ranges::find(request.targets, target.name, &FleetPlace::name) == request.targets.end())
      request.targets.push_back(std::move(target));
  }
  if (const auto jobs = numberOf(arguments, kJobs, 1, 256))
    request.jobs = static_cast<std::size_t>(*jobs);
  if (const auto limit = numberOf(arguments, kTargetLimit, 1))
    request.targetLimit = std::chrono::seconds(*limit);
  if (auto* scripts = std::get_if<ScriptPlace>(&request.reference.place))
    scripts->settings.listMade = request.results.sarif.has_value();
  request.failsFast = arguments.has(kFailFast);
  request.format = choiceOf<kFormats>(arguments, kFormat, FleetFormat::text);
  std::vector<Place> places{request.reference.place};
  for (const FleetPlace& target : request.targets) places.push_back(target.place);
  refuseOverwriting(
      arguments, places,
      {.written = {kTrace, kOutput, kState, kJunit, kMarkdown, kOpenMetrics, kSarif}});
  return request;
}

}  // namespace kelvane::cli
