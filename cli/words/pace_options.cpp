#include "cli/words/pace_options.h"

#include <algorithm>
#include <charconv>

namespace kelvane::cli {
namespace {

constexpr std::string_view kChunkTime = "--chunk-time", kPause = "--pause";

constexpr auto kOptions = std::to_array<Option>({
    {kChunkTime, kSeconds, "read tables in ranges that take a server about as long, such as 0.5"},
    {kPause, kSeconds, "wait between two ranges"},
    {kParallel, kNumber,
     "compare with N connections to each server: tables, and ranges of large ones"},
    {kRecheck, kSeconds, "wait, then read rows that differ once more: others may write to them"},
    {kExact, "", "read all rows: no checksums, also where a sample says that they take less time"},
    {kChecksums, "", "let servers sum rows wherever they can, and read those whose sums differ"},
    {kResume, kFile, "keep in FILE how far it came; the same command goes on from there"},
});

std::optional<std::chrono::duration<double>> secondsOf(const Arguments& arguments,
                                                       std::string_view option) {
  const auto text = arguments.value(option);
  if (!text) return std::nullopt;
  constexpr double kMost = 86'400;
  double seconds = 0;
  const char* const end = text->data() + text->size();
  const auto [stop, error] = std::from_chars(text->data(), end, seconds);
  if (error != std::errc() || stop != end || !(seconds >= 0 && seconds <= kMost))
    throw UsageError(arguments.called(option) + " takes seconds from 0 to 86400, not '" + *text +
                     "'");
  return std::chrono::duration<double>(seconds);
}

}  // namespace

OptionFamily paceOptionFamily() { return {"Long comparisons", kOptions}; }

std::string_view givenPaceOption(const Arguments& arguments) {
  const auto given = std::ranges::find_if(
      kOptions, [&](const Option& option) { return arguments.isGiven(option.name); });
  return given == kOptions.end() ? std::string_view() : given->name;
}

PaceOptions paceOptionsOf(const Arguments& arguments) {
  PaceOptions options;
  const auto perRange = secondsOf(arguments, kChunkTime), pause = secondsOf(arguments, kPause);
  if (perRange || pause) {
    rows::RangePace& pace = options.ranges.emplace();
    if (perRange) pace.perRange = *perRange;
    if (pause) pace.pause = *pause;
  }
  for (const std::string_view other : {kChunkTime, kPause, kResume, kExact}) {
    if (arguments.has(kChecksums) && arguments.has(other))
      throw UsageError(std::string(kChecksums) + " and " + std::string(other) +
                       " exclude each other");
  }
  options.secondLook = secondsOf(arguments, kRecheck);
  options.resume = arguments.value(kResume);
  constexpr std::int32_t kMostConnections = 64;
  options.connections =
      static_cast<std::size_t>(numberOf(arguments, kParallel, 1, kMostConnections).value_or(1));
  if (options.secondLook && options.resume)
    throw UsageError(std::string(kRecheck) + " and " + std::string(kResume) +
                     " exclude each other");
  return options;
}

}  // namespace kelvane::cli
