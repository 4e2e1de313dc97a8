#include "change_script/write.h"

#include <algorithm>
#include <sstream>
#include <string_view>
#include <utility>

#include "change_script/planner.h"

namespace kelvane::change_script {
namespace {

using inventory::Batch;

struct StageRow {
  Stage stage;
  std::string_view heading;
};
constexpr StageRow kStages[] = {
    {Stage::hints, "renames"},
    {Stage::checks, "what must hold before anything is done"},
    {Stage::dropReferences, "foreign keys that are in the way"},
    {Stage::dropCompiled, "views, procedures, functions and triggers that are made again"},
    {Stage::dropIndexes, "indexes and constraints that are in the way"},
    {Stage::freedColumns, "columns whose type is made again"},
    {Stage::freedTypes, "types that are made again"},
    {Stage::settings, "settings"},
    {Stage::principals, "groups, roles and users"},
    {Stage::values, "defaults, rules and types"},
    {Stage::renames, "tables that are made again"},
    {Stage::tables, "tables"},
    {Stage::copies, "rows of tables that are made again"},
    {Stage::columns, "columns"},
    {Stage::indexes, "indexes and constraints"},
    {Stage::references, "foreign keys"},
    {Stage::bindings, "bindings"},
    {Stage::compiled, "views, functions and procedures"},
    {Stage::triggers, "triggers"},
    {Stage::permissions, "permissions"},
    {Stage::drops, "what is only in the target"},
    {Stage::endings, "modes and options"},
    {Stage::closing, "options that close the database"},
};

/// Where the script is tried in the embedded catalog, the database has another name and needs no
/// option.
constexpr std::string_view kOnServers = "\n    and isnull(@@servername, '') != 'EMBEDDED'";

/// Each line as a comment.
std::string commented(std::string_view text) {
  std::string all;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    all += line.empty() ? "--\n" : "-- " + std::string(line) + '\n';
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return all;
}

Batch comment(std::string text) {
  if (text.ends_with('\n')) text.pop_back();
  return {inventory::Phase::tables, std::move(text), {}, false, false};
}

/// As the script has it where a stage begins.
std::string headed(std::string_view heading) {
  return heading.empty() ? "" : "-- ---- " + std::string(heading) + "\n\n";
}

/// `heading`: of the stage, where it begins.
std::vector<Batch> batchesOf(const Step& step, std::string_view heading) {
  std::vector<Batch> batches;
  std::string said = headed(heading) + commented(step.difference);
  if (step.copiesData) said += "-- copies the data of the table\n";
  if (!step.isAllowed) {
    said += "-- not done: " + whyNot(step) + '\n';
    for (const Batch& batch : step.batches) said += commented(batch.text);
    batches.push_back(comment(std::move(said)));
    return batches;
  }
  for (const Batch& batch : step.batches) {
    Batch one = batch;
    one.phase = inventory::Phase::tables;
    // A comment before a text that the server keeps would be kept too.
    if (one.isText && !said.empty()) batches.push_back(comment(std::exchange(said, {})));
    one.text.insert(0, std::exchange(said, {}));
    batches.push_back(std::move(one));
  }
  return batches;
}

/// An object for each step: the session is switched between them where a batch asks for it.
inventory::ScriptedObject scripted(std::vector<Batch> batches) {
  return {inventory::Kind::database, {}, {}, std::move(batches)};
}

/// Of the stage where the step is its first one.
std::string_view headingBefore(const ChangeScript& script, std::size_t at) {
  const std::vector<Step>& steps = script.steps;
  const bool begins = at == 0 || steps[at - 1].stage != steps[at].stage;
  return begins ? headingOf(steps[at].stage) : "";
}

void addSteps(const ChangeScript& script, inventory::Script& all) {
  all.objects.reserve(all.objects.size() + script.steps.size());
  for (std::size_t at = 0; at < script.steps.size(); ++at)
    all.objects.push_back(scripted(batchesOf(script.steps[at], headingBefore(script, at))));
}

}  // namespace

std::string_view headingOf(Stage stage) { return kStages[static_cast<std::size_t>(stage)].heading; }

std::string listed(const std::vector<Danger>& dangers) {
  std::string words;
  for (const Danger danger : dangers)
    words += (words.empty() ? "" : ",") + std::string(rowOf(danger).word);
  return words;
}

std::string whyNot(const Step& step) {
  constexpr std::string_view kImpossible = "a step that cannot be done";
  std::string words = "it needs ";
  if (step.missing.empty()) return words.append(kImpossible);
  words += "--allow " + listed(step.missing);
  if (!step.isPossible) words.append(" and ").append(kImpossible);
  if (step.rows.value_or(0) > 0)
    words += "; the table has " + std::to_string(*step.rows) + (*step.rows == 1 ? " row" : " rows");
  return words;
}

void write(const ChangeScript& script, const Head& head, std::ostream& out) {
  for (const std::string& line : head.lines) out << commented(line);
  out << '\n';
  std::vector<Batch> checks;
  const bool copies = std::ranges::any_of(script.steps, [](const Step& step) {
    return step.isAllowed && step.copiesData && step.stage == Stage::columns;
  });
  if (!head.database.empty()) {
    checks.push_back(comment("if db_name() != " + inventory::literal(head.database) +
                             std::string(kOnServers) + "\n" +
                             stopping("this script is for the database " + head.database)));
  }
  if (head.checksOptions && copies) {
    constexpr std::string_view kOption = "select into/bulkcopy/pllsort";
    checks.push_back(comment(
        "if not exists (select 1 from master..sysdatabases where name = db_name() and status & 4 "
        "= 4)" +
        std::string(kOnServers) + "\n" +
        stopping("the database needs the option '" + std::string(kOption) +
                 "' for steps that copy data")));
  }
  inventory::Script all;
  all.objects.push_back(scripted(std::move(checks)));
  addSteps(script, all);
  write(all, out);
}

std::vector<std::string> writtenSteps(const ChangeScript& script) {
  inventory::Script all;
  addSteps(script, all);
  std::ostringstream out;
  std::vector<std::size_t> begins(script.steps.size(), 0);
  write(all, out, [&](std::size_t at) { begins[at] = static_cast<std::size_t>(out.tellp()); });
  const std::string text = std::move(out).str();
  std::vector<std::string> steps(script.steps.size());
  std::size_t end = text.size();
  for (std::size_t at = steps.size(); at-- > 0;) {
    if (all.objects[at].batches.empty()) continue;
    std::string& step = steps[at] = text.substr(begins[at], end - begins[at]);
    end = begins[at];
    if (step.starts_with('\n')) step.erase(0, 1);
    const std::string heading = headed(headingBefore(script, at));
    if (const auto found = step.find(heading); found != step.npos)
      step.erase(found, heading.size());
  }
  return steps;
}

}  // namespace kelvane::change_script
