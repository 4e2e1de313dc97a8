#include "change_script/write.h"

#include <algorithm>
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

/// `heading`: of the stage, where it begins.
void addStep(const Step& step, std::string_view heading, std::vector<Batch>& batches) {
  std::string said = heading.empty() ? "" : "-- ---- " + std::string(heading) + "\n\n";
  said += commented(step.difference);
  if (step.copiesData) said += "-- copies the data of the table\n";
  if (!step.isAllowed) {
    said += "-- not done: " + whyNot(step) + '\n';
    for (const Batch& batch : step.batches) said += commented(batch.text);
    return batches.push_back(comment(std::move(said)));
  }
  for (const Batch& batch : step.batches) {
    Batch one = batch;
    one.phase = inventory::Phase::tables;
    // A comment before a text that the server keeps would be kept too.
    if (one.isText && !said.empty()) batches.push_back(comment(std::exchange(said, {})));
    one.text.insert(0, std::exchange(said, {}));
    batches.push_back(std::move(one));
  }
}

}  // namespace

std::string_view headingOf(Stage stage) { return kStages[static_cast<std::size_t>(stage)].heading; }

std::string whyNot(const Step& step) {
  std::string words;
  for (const Danger danger : step.dangers)
    words += (words.empty() ? "" : ",") + std::string(rowOf(danger).word);
  if (words.empty()) return "it needs a step that is not done";
  words.insert(0, "it needs --allow ");
  if (step.rows.value_or(0) > 0)
    words += "; the table has " + std::to_string(*step.rows) + (*step.rows == 1 ? " row" : " rows");
  return words;
}

void write(const ChangeScript& script, const Head& head, std::ostream& out) {
  for (const std::string& line : head.lines) out << commented(line);
  out << '\n';
  // One object, so that the session is switched where a batch asks for it.
  inventory::ScriptedObject all{inventory::Kind::database, {}, {}, {}};
  const bool copies = std::ranges::any_of(script.steps, [](const Step& step) {
    return step.isAllowed && step.copiesData && step.stage == Stage::columns;
  });
  if (!head.database.empty()) {
    all.batches.push_back(comment("if db_name() != " + inventory::literal(head.database) +
                                  std::string(kOnServers) + "\n" +
                                  stopping("this script is for the database " + head.database)));
  }
  if (head.checksOptions && copies) {
    constexpr std::string_view kOption = "select into/bulkcopy/pllsort";
    all.batches.push_back(comment(
        "if not exists (select 1 from master..sysdatabases where name = db_name() and status & 4 "
        "= 4)" +
        std::string(kOnServers) + "\n" +
        stopping("the database needs the option '" + std::string(kOption) +
                 "' for steps that copy data")));
  }
  const Step* before = nullptr;
  for (const Step& step : script.steps) {
    const bool begins = before == nullptr || before->stage != step.stage;
    before = &step;
    addStep(step, begins ? headingOf(step.stage) : "", all.batches);
  }
  inventory::Script one;
  one.objects.push_back(std::move(all));
  write(one, out);
}

}  // namespace kelvane::change_script
