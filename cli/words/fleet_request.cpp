#include "cli/words/fleet_request.h"

#include <algorithm>
#include <filesystem>
#include <span>

#include "cli/words/overwriting.h"
#include "cli/words/side_arguments.h"
#include "drivers/embedded/script.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kFailFast = "--fail-fast", kFormat = "--format", kHtml = "--html",
                           kJobs = "--jobs", kOutput = "--output", kScript = "--script",
                           kState = "--state", kTargetLimit = "--target-limit";

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
    {kHtml, kFolder, "write pages into FOLDER: index.html, and the report of each group"},
    {kOutput, kFile, "write to this file instead of standard output", {}, "-o"},
    {kState, kFile,
     "keep what was found in FILE, and report only what has changed since the last run"},
});

constexpr auto kScripts = std::to_array<Option>({
    {kScript, kFolder,
     "write T-SQL for each group into FOLDER that makes its targets like the reference"},
    {kAllow, kDangerWord, "with --script, do steps that may take something away too"},
    {kNoProof, "", "with --script, do not try the scripts on a copy of a target"},
});

// No options name one of them.
constexpr SideOptions kNone{};

FleetPlace fleetPlace(const Arguments& arguments, const std::vector<std::string>& operands,
                      const ReadingSettings& settings) {
  Place place = placeOf(arguments, operands, kNone, settings);
  std::string name = nameOf(place, operands);
  return {std::move(name), std::move(place)};
}

// Scripts of the groups must not become part of a side.
void refuseScriptsOfSides(const std::string& folder, const std::vector<Place>& places) {
  for (const Place& place : places) {
    const auto* const scripts = std::get_if<ScriptPlace>(&place);
    if (scripts == nullptr) continue;
    for (const std::string& path : scripts->paths) {
      std::error_code none;
      if (!std::filesystem::is_directory(path, none) || !std::filesystem::exists(folder, none))
        continue;
      if (embedded::isScriptOf(path, std::filesystem::path(folder) / "group-1.sql"))
        throw UsageError("--script would write into '" + path + "', which is a side");
    }
  }
}

}  // namespace

std::vector<OptionFamily> fleetOptions() {
  std::vector<OptionFamily> families = comparingOptions();
  families.push_back({"The targets", kRunning});
  families.push_back({"Reports", kReports});
  families.push_back(resultFileOptions());
  families.push_back({"The scripts", kScripts});
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
      .pages = arguments.value(kHtml),
      .scripts = arguments.value(kScript),
      .scripting = {},
      .state = arguments.value(kState)};
  for (const std::string& operand : operands.subspan(first)) {
    FleetPlace target = fleetPlace(arguments, {operand}, settings);
    // Groups may overlap.
    if (std::ranges::find(request.targets, target.name, &FleetPlace::name) != request.targets.end())
      continue;
    if (const auto own = arguments.accepts.find(operand); own != arguments.accepts.end())
      target.accepts = own->second;
    request.targets.push_back(std::move(target));
  }
  if (const auto jobs = numberOf(arguments, kJobs, 1, 256))
    request.jobs = static_cast<std::size_t>(*jobs);
  if (const auto limit = numberOf(arguments, kTargetLimit, 1))
    request.targetLimit = std::chrono::seconds(*limit);
  if (request.scripts) {
    request.scripting = scriptRequest(arguments);
    request.comparing.countsRows = true;
    request.comparing.readsWholeTarget = request.scripting->isTried;
  } else {
    for (const std::string_view option : {kAllow, kNoProof})
      if (arguments.isGiven(option)) throw UsageError(std::string(option) + " needs --script");
  }
  if (auto* scripts = std::get_if<ScriptPlace>(&request.reference.place))
    scripts->settings.listMade = request.results.sarif.has_value();
  request.failsFast = arguments.has(kFailFast);
  request.format = choiceOf<kFormats>(arguments, kFormat, FleetFormat::text);
  std::vector<Place> places{request.reference.place};
  for (const FleetPlace& target : request.targets) places.push_back(target.place);
  if (request.scripts) refuseScriptsOfSides(*request.scripts, places);
  refuseOverwriting(
      arguments, places,
      {.written = {kTrace, kOutput, kState, kJunit, kMarkdown, kOpenMetrics, kSarif}});
  return request;
}

}  // namespace kelvane::cli
