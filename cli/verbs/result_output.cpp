#include "cli/verbs/result_output.h"

#include <array>
#include <chrono>
#include <optional>
#include <string_view>
#include <utility>

#include "cli/screen/written_file.h"

namespace kelvane::cli {
namespace {

constexpr auto kObjectTypes = std::to_array<std::pair<std::string_view, inventory::Kind>>({
    {"U", inventory::Kind::table},
    {"V", inventory::Kind::view},
    {"P", inventory::Kind::procedure},
    {"XP", inventory::Kind::procedure},
    {"SF", inventory::Kind::function},
    {"R", inventory::Kind::rule},
    {"D", inventory::Kind::defaultObject},
});

}  // namespace

ComparedTarget comparedTarget(const Comparison& comparison, std::u16string_view source) {
  ComparedTarget target{.name = comparison.header().target,
                        .causes = comparison.header().gaps,
                        .notes = comparison.header().notes,
                        .differences = report::differencesOf(comparison.changes(), source),
                        .accepted = comparison.header().accepted};
  if (!target.causes.empty())
    target.outcome = Outcome::unread;
  else
    target.outcome = comparison.changes().empty() ? Outcome::equal : Outcome::differs;
  return target;
}

std::vector<inventory::Kind> comparedKinds(const inventory::Rules& rules) {
  std::vector<inventory::Kind> kinds;
  for (const inventory::KindRow& row : inventory::kKinds) {
    const bool isCompared = row.family == inventory::Family::always || rules.compares(row.family);
    if (inventory::isObject(row.kind) && isCompared) kinds.push_back(row.kind);
  }
  return kinds;
}

std::vector<report::ScriptLocation> locationsOf(const std::vector<embedded::MadeObject>& made) {
  std::vector<report::ScriptLocation> locations;
  locations.reserve(made.size());
  for (const embedded::MadeObject& one : made) {
    for (const auto& [type, kind] : kObjectTypes) {
      if (type == one.type) locations.push_back({{kind, one.name}, one.file, one.line});
    }
  }
  return locations;
}

Written writeResults(report::CollectedRun run, const ResultFiles& files, const Console& console) {
  run.version = KELVANE_VERSION;
  run.end = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  struct Row {
    const std::optional<std::string>& path;
    void (*write)(const report::CollectedRun&, std::ostream&);
  };
  Written result = Written::all;
  for (const auto& [path, write] : {Row{files.junit, report::writeJunit},
                                    {files.markdown, report::writeMarkdown},
                                    {files.openMetrics, report::writeOpenMetrics},
                                    {files.sarif, report::writeSarif}}) {
    if (!path) continue;
    const Written one = tried(console, [&] {
      WrittenFile file("report", *path, console);
      write(run, file.stream());
      file.close();
    });
    if (one == Written::notAll) result = one;
  }
  return result;
}

}  // namespace kelvane::cli
