#include "report/script_html.h"

#include <algorithm>
#include <string_view>

#include "change_script/plan.h"
#include "change_script/write.h"
#include "inventory/compare/titles.h"

namespace kelvane::report {
namespace {

using change_script::ChangeScript;
using change_script::Step;

std::vector<std::string> linesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (true) {
    const std::size_t end = text.find('\n');
    lines.emplace_back(text.substr(0, end));
    if (end == text.npos) return lines;
    text.remove_prefix(end + 1);
  }
}

// "table dbo.customer"
std::string nameOf(const inventory::Change& object) {
  const inventory::Title title = inventory::titleOf(object, {});
  return std::string(title.word) + ' ' + title.name;
}

void writeStep(const ChangeScript& script, const Step& step, std::size_t stage,
               const std::string& text, JsonWriter& json) {
  json.beginObject();
  json.member("stage", stage);
  json.member("object", std::string(inventory::rowOf(step.kind).singular) + ' ' + step.object);
  json.member("lines", linesOf(step.difference));
  std::vector<std::string> classes;
  classes.reserve(step.dangers.size());
  for (const change_script::Danger danger : step.dangers)
    classes.emplace_back(change_script::rowOf(danger).word);
  if (!classes.empty()) json.member("classes", classes);
  if (step.stage == change_script::Stage::checks) json.member("isCheck", true);
  if (step.copiesData) json.member("copies", true);
  if (!step.isAllowed) {
    json.member("why", change_script::whyNot(step));
    json.key("needs");
    json.beginArray();
    for (const std::size_t needed : step.needs) {
      if (!script.steps[needed].isAllowed) json.value(needed);
    }
    json.endArray();
  }
  json.member("text", text);
  json.endObject();
}

}  // namespace

ScriptLinks::ScriptLinks(const ChangeScript& script) {
  for (std::size_t at = 0; at < script.steps.size(); ++at) {
    // What a check looks for is no end of a difference.
    if (script.steps[at].stage == change_script::Stage::checks) continue;
    const std::string& difference = script.steps[at].difference;
    const std::vector<std::string> lines = linesOf(difference);
    for (std::size_t line = 0; line < lines.size(); ++line)
      lines_[lines[line]].push_back({at, line});
    // One whose names have ends of lines.
    if (lines.size() > 1) lines_[difference].push_back({at, 0});
  }
  for (std::size_t at = 0; at < script.omissions.size(); ++at) {
    const std::string& what = script.omissions[at].what;
    omissions_[what].push_back(at);
    // "table dbo.customer: column order" is about the table.
    if (const std::size_t end = std::min(what.find(": "), what.find(", ")); end != what.npos)
      omissions_[what.substr(0, end)].push_back(at);
  }
}

void ScriptLinks::write(const inventory::Change& object, const inventory::Change* part,
                        JsonWriter& json) const {
  const std::string difference = change_script::described(object, part);
  json.key("steps");
  json.beginArray();
  if (const auto found = lines_.find(difference); found != lines_.end()) {
    for (const auto& [step, line] : found->second) {
      json.beginArray();
      json.value(step);
      json.value(line);
      json.endArray();
    }
  }
  json.endArray();
  json.key("omitted");
  json.beginArray();
  const std::string title = part == nullptr ? nameOf(object) : "";
  for (const std::string& key : {difference, title == difference ? "" : title}) {
    const auto found = omissions_.find(key);
    if (found == omissions_.end()) continue;
    for (const std::size_t at : found->second) json.value(at);
  }
  json.endArray();
}

void writeScript(const ShownScript& shown, JsonWriter& json) {
  const std::vector<Step>& steps = shown.script.steps;
  json.key("script");
  json.beginObject();
  json.member("head", shown.head);
  json.key("steps");
  json.beginArray();
  const std::vector<std::string> texts = writtenSteps(shown.script);
  std::vector<std::string> stages;
  for (std::size_t at = 0; at < steps.size(); ++at) {
    if (at == 0 || steps[at - 1].stage != steps[at].stage)
      stages.emplace_back(headingOf(steps[at].stage));
    writeStep(shown.script, steps[at], stages.size() - 1, texts[at], json);
  }
  json.endArray();
  json.member("stages", stages);
  json.key("omissions");
  json.beginArray();
  for (const inventory::Omission& one : shown.script.omissions) {
    json.beginObject();
    json.member("what", one.what);
    json.member("reason", one.reason);
    json.endObject();
  }
  json.endArray();
  json.endObject();
}

}  // namespace kelvane::report
