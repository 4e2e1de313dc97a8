#include "cli/verbs/fleet_folder.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/screen/folder_file.h"
#include "cli/verbs/change_script_output.h"
#include "findings/renames.h"
#include "report/change_report.h"
#include "report/groups_html.h"
#include "report/visible_text.h"

namespace kelvane::cli {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = "group-", kPageEnding = ".html", kScriptEnding = ".sql";
// What files of ours begin with.
constexpr std::string_view
    kScriptMark = "-- kelvane fleet",
    kPageMark =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<meta "
        "http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'sha256-";

std::string fileOf(std::size_t group, std::string_view ending) {
  return std::string(kPrefix) + std::to_string(group) + std::string(ending);
}

// The group whose file has the name; 0: it is none of ours.
std::size_t groupOf(const std::string& name, std::string_view ending) {
  if (!name.starts_with(kPrefix) || !name.ends_with(ending)) return 0;
  const char* const begin = name.data() + kPrefix.size();
  const char* const end = name.data() + name.size() - ending.size();
  std::size_t group = 0;
  const auto [rest, failure] = std::from_chars(begin, end, group);
  return failure == std::errc() && rest == end ? group : 0;
}

bool beginsWith(const fs::path& file, std::string_view mark) {
  std::ifstream stream(file, std::ios::binary);
  std::string begin(mark.size(), '\0');
  stream.read(begin.data(), static_cast<std::streamsize>(begin.size()));
  return begin == mark;
}

void writeFile(const fs::path& path, std::string_view mark,
               const std::function<void(std::ostream&)>& write) {
  std::error_code none;
  if (fs::exists(path, none) && !beginsWith(path, mark))
    refuseFile("replace", path, "kelvane did not write it");
  FolderFile file(path);
  write(file.stream());
  file.close();
}

void removeOthers(const fs::path& folder, std::size_t groups, std::string_view ending,
                  std::string_view mark, const Console& console) {
  std::vector<fs::path> others;
  std::error_code none;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, none)) {
    const std::size_t group = groupOf(entry.path().filename().string(), ending);
    if (group > groups && beginsWith(entry.path(), mark)) others.push_back(entry.path());
  }
  std::ranges::sort(others);
  for (const fs::path& path : others) {
    if (fs::remove(path, none))
      console.complain("removed '" + path.string() +
                       "': no group has this number; groups: " + std::to_string(groups));
  }
}

// The script of a group, and who it is for.
class GroupScript {
 public:
  GroupScript(ComparedGroup& group, const FleetResult& result, const FleetGroup& targets,
              const FleetRequest& request)
      : output_(group.request(), wanted(result, targets, request), group.comparison()) {
    head_ = std::string(kScriptMark) + ": for";
    for (const std::size_t at : targets.targets)
      head_ += "\n--     " + report::showMessage(result.targets[at].name);
    head_ += "\n-- The first of them is the one that this was made for and tried on.\n";
  }
  std::string text() const { return head_ + output_.text(); }
  const ChangeScriptOutput& output() const { return output_; }

 private:
  // It may run in databases of several names.
  static ScriptRequest wanted(const FleetResult& result, const FleetGroup& targets,
                              const FleetRequest& request) {
    ScriptRequest wanted = *request.scripting;
    const std::string& first = result.targets[targets.targets.front()].database;
    wanted.checksDatabase = std::ranges::all_of(
        targets.targets, [&](std::size_t at) { return result.targets[at].database == first; });
    return wanted;
  }

  ChangeScriptOutput output_;
  std::string head_;
};

void tell(const ChangeScriptOutput& output, const std::string& file, const Console& console) {
  if (output.hasFailed())
    console.complain(file + ": the script is not proved; its head says more");
  else if (!output.isAllDone())
    console.complain(file + ": some steps are not done; its head says more");
}

void writePage(Comparison& comparison, const GroupScript* script, std::ostream& out) {
  const auto& [source, target] = comparison.databases();
  comparison.header().renames = findings::probableRenames(comparison.changes(), source, target);
  std::optional<ShownScript> shown;
  if (script != nullptr)
    shown.emplace(ShownScript{script->output().script(), script->output().summary()});
  writeHtmlReport(comparison.changes(), comparison.header(), out, shown ? &*shown : nullptr);
}

}  // namespace

Written writeGroups(FleetResult& result, const report::CollectedRun& run,
                    const FleetRequest& request, const Console& console) {
  if (!request.pages && !request.scripts) return Written::all;
  return tried(console, [&] {
    const std::vector<FleetGroup> groups = result.groups();
    std::vector<report::GroupFiles> files(groups.size());
    for (std::size_t at = 0; at < groups.size(); ++at) {
      ComparedGroup& group =
          *result.compared.at(result.targets[groups[at].targets.front()].signature);
      std::optional<GroupScript> script;
      if (request.scripts) {
        script.emplace(group, result, groups[at], request);
        files[at].script = fileOf(at + 1, kScriptEnding);
        writeFile(fs::path(*request.scripts) / files[at].script, kScriptMark,
                  [&](std::ostream& out) { out << script->text(); });
        tell(script->output(), files[at].script, console);
      }
      if (!request.pages) continue;
      files[at].page = fileOf(at + 1, kPageEnding);
      writeFile(fs::path(*request.pages) / files[at].page, kPageMark, [&](std::ostream& out) {
        writePage(group.comparison(), script ? &*script : nullptr, out);
      });
    }
    if (request.scripts)
      removeOthers(*request.scripts, groups.size(), kScriptEnding, kScriptMark, console);
    if (!request.pages) return;
    // Links lead to files of the same folder alone.
    if (request.scripts != request.pages) {
      for (report::GroupFiles& one : files) one.script.clear();
    }
    writeFile(fs::path(*request.pages) / "index.html", kPageMark,
              [&](std::ostream& out) { report::writeGroupsHtml(run, files, out); });
    removeOthers(*request.pages, groups.size(), kPageEnding, kPageMark, console);
  });
}

}  // namespace kelvane::cli
