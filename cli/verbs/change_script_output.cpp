#include "cli/verbs/change_script_output.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

#include "change_script/plan.h"
#include "cli/screen/clock.h"
#include "cli/screen/figures.h"
#include "cli/sides/proof.h"
#include "findings/renames.h"
#include "model/text.h"
#include "report/json_writer.h"

namespace kelvane::cli {
namespace {

// "3 steps in 2 tables, 1 view; 1 copies the data of a table; 1 step not done (--allow narrow)"
std::string counted(const change_script::ChangeScript& script) {
  std::size_t done = 0, copying = 0, left = 0, missing = 0;
  std::set<change_script::Danger> classes;
  std::map<inventory::Kind, std::set<std::string>> objects;
  for (const change_script::Step& step : script.steps) {
    if (step.stage == change_script::Stage::checks) continue;
    if (!step.isAllowed) {
      ++left;
      missing += step.missing.empty() ? 0 : 1;
      classes.insert(step.missing.begin(), step.missing.end());
      continue;
    }
    ++done;
    copying += step.copiesData ? 1 : 0;
    objects[step.kind].insert(step.object);
  }
  std::string text = cli::counted(done, "step");
  std::string_view separator = " in ";
  for (const auto& [kind, names] : objects) {
    const inventory::KindRow& row = rowOf(kind);
    text += std::string(std::exchange(separator, ", ")) +
            cli::counted(names.size(), row.singular, row.plural);
  }
  if (copying > 0) {
    text += "; " + std::to_string(copying) + (copying == 1 ? " copies" : " copy") +
            " the data of a table";
  }
  if (left > 0) text += "; " + cli::counted(left, "step") + " not done";
  if (missing > 0) {
    text += " (--allow " + change_script::listed({classes.begin(), classes.end()});
    text += missing == left ? ")" : " for " + std::to_string(missing) + " of them)";
  }
  return text;
}

std::vector<std::string> linesOf(const Comparison::Changes& left) {
  std::vector<std::string> lines;
  for (const inventory::Change& change : left) {
    if (!change.isOnBothSides() || !change.attributes.empty())
      lines.push_back(change_script::described(change));
    for (const inventory::Change& part : change.parts)
      lines.push_back(change_script::described(change, &part));
  }
  return lines;
}

std::vector<std::string> wordsOf(const std::vector<change_script::Danger>& dangers) {
  std::vector<std::string> words;
  words.reserve(dangers.size());
  for (const change_script::Danger danger : dangers) words.emplace_back(rowOf(danger).word);
  return words;
}

// A column that goes and one of the same type that comes, where there are no others.
std::optional<std::string> hintForColumn(const inventory::Change& table) {
  const inventory::Column *gone = nullptr, *come = nullptr;
  for (const inventory::Change& part : table.parts) {
    if (part.kind != inventory::Kind::column || part.isOnBothSides()) continue;
    const inventory::Column*& one = part.isOnlyInTarget() ? gone : come;
    if (one != nullptr) return std::nullopt;
    one = std::get<const inventory::Column*>(part.isOnlyInTarget() ? part.target : part.source);
  }
  if (gone == nullptr || come == nullptr || gone->type != come->type) return std::nullopt;
  return table.name + "." + gone->name + "=" + come->name;
}

// What the user may have to say with --rename.
std::vector<std::string> hintsFor(const Comparison& comparison) {
  std::vector<std::string> hints;
  for (const inventory::Change& change : comparison.changes()) {
    if (change.kind != inventory::Kind::table || !change.isOnBothSides()) continue;
    if (auto hint = hintForColumn(change)) hints.push_back(*std::move(hint));
  }
  const auto& [source, target] = comparison.databases();
  for (const Rename& one : findings::probableRenames(comparison.changes(), source, target)) {
    const std::string now = toUtf8(one.source), old = toUtf8(one.target);
    const std::size_t dot = now.find('.');
    if (one.kind == rowOf(inventory::Kind::table).singular &&
        old.starts_with(now.substr(0, dot + 1)))
      hints.push_back(old + "=" + now.substr(dot + 1));
  }
  return hints;
}

void writeStep(const change_script::Step& step, JsonWriter& out) {
  out.beginObject();
  out.member("stage", headingOf(step.stage));
  out.member("kind", rowOf(step.kind).singular);
  out.member("object", std::string_view(step.object));
  out.member("difference", std::string_view(step.difference));
  out.member("classes", wordsOf(step.dangers));
  out.member("missing", wordsOf(step.missing));
  out.member("done", step.isAllowed);
  if (!step.isAllowed) out.member("reason", std::string_view(whyNot(step)));
  out.member("copiesData", step.copiesData);
  if (step.rows) out.member("rows", *step.rows);
  out.key("needs");
  out.beginArray();
  for (const std::size_t needed : step.needs) out.value(needed + 1);
  out.endArray();
  out.key("batches");
  out.beginArray();
  for (const inventory::Batch& batch : step.batches) {
    out.beginObject();
    out.member("text", std::string_view(batch.text));
    out.member("user", std::string_view(batch.user));
    out.member("quotedIdentifier", batch.quotedIdentifier);
    out.endObject();
  }
  out.endArray();
  out.endObject();
}

}  // namespace

ChangeScriptOutput::ChangeScriptOutput(const CompareRequest& request, const ScriptRequest& wanted,
                                       const Comparison& comparison)
    : request_(request),
      comparison_(comparison),
      options_(wanted.plan),
      checksDatabase_(wanted.checksDatabase) {
  const auto& [source, target] = comparison_.databases();
  // Without a release the embedded catalog takes the statements of all of them.
  if (!target.server.embedded) options_.release = releaseOf(target.server);
  options_.isWhole = request.selection.takesAll() && request.leftOut.empty() && !request.accept &&
                     !comparison.hasSetAside();
  script_ = plan(source, target, comparison_.changes(), options_);
  if (wanted.isTried) tryOut();
}

std::string ChangeScriptOutput::textOf(const change_script::Head& head) const {
  std::ostringstream out;
  change_script::write(script_, head, out);
  return out.str();
}

void ChangeScriptOutput::tryOut() {
  const auto& [source, target] = comparison_.databases();
  Proof proof = prove({comparison_.targetAsRead(), comparison_.changes(), body(), options_.release,
                       rolesOfServer()});
  obstacles_ = std::move(proof.obstacles);
  if (!obstacles_.empty()) return;
  result_ = std::move(proof.result);
  if (!source.server.embedded || !target.server.embedded) {
    std::erase_if(result_.roles, [&](const inventory::Role& one) {
      return std::ranges::find(source.roles, one.name, &inventory::Role::name) ==
             source.roles.end();
    });
  }
  findDamage();
  if (!obstacles_.empty()) return;
  Selection::Tally uncounted;
  request_.selection.apply(result_, comparison_.rules().names, uncounted);
  left_ = comparison_.withoutAccepted(inventory::compare(source, result_, comparison_.rules()));
  isTried_ = true;
}

/// What patterns leave out has to stay as it is.
void ChangeScriptOutput::findDamage() {
  const auto& whole = comparison_.targetBeforeSelection();
  if (!whole) return;
  for (const inventory::Change& change : inventory::compare(result_, *whole, comparison_.rules())) {
    if (comparison_.takesPart(change)) continue;
    for (const std::string& line : linesOf({change}))
      obstacles_.push_back("the script changes what patterns leave out: " + line);
  }
}

/// Roles that the comparison left out: permissions name them.
std::vector<inventory::Role> ChangeScriptOutput::rolesOfServer() const {
  const inventory::Database& target = comparison_.targetAsRead();
  std::vector<inventory::Role> roles;
  if (comparison_.databases()[0].server.embedded && target.server.embedded) return roles;
  for (const inventory::Role& role : comparison_.rolesRead()) {
    if (std::ranges::find(target.roles, role.name, &inventory::Role::name) == target.roles.end())
      roles.push_back(role);
  }
  return roles;
}

std::vector<std::string> ChangeScriptOutput::summary() const {
  std::vector<std::string> lines;
  lines.push_back("kelvane script: makes " + request_.shown[1] + " like " + request_.shown[0]);
  lines.push_back("made " + timestamp() + " by kelvane " + KELVANE_VERSION);
  lines.push_back(counted(script_));
  if (isProved()) {
    lines.push_back(std::string("proved: after this script nothing differs") +
                    (request_.accepts() ? " but what is accepted" : "") +
                    (comparison_.hasSetAside() ? "; what the target has changed stays" : ""));
  } else if (isTried_) {
    lines.emplace_back("tried: after this script this is left:");
    for (const std::string& line : linesOf(left_)) lines.push_back("  " + line);
  } else {
    lines.emplace_back("not proved");
    for (const std::string& one : obstacles_) lines.push_back("  " + one);
  }
  return lines;
}

change_script::Head ChangeScriptOutput::head() const {
  change_script::Head head;
  head.checksOptions = true;
  const inventory::Server& server = comparison_.databases()[1].server;
  if (!server.embedded && checksDatabase_) head.database = server.database;
  head.lines = summary();
  for (const inventory::Omission& one : script_.omissions)
    head.lines.push_back("left out: " + one.what + ": " + one.reason);
  return head;
}

std::string ChangeScriptOutput::json() const {
  std::ostringstream text;
  JsonWriter out(text);
  out.beginObject();
  out.member("format", 1);
  out.member("version", KELVANE_VERSION);
  out.member("made", std::string_view(timestamp()));
  out.member("source", std::string_view(request_.shown[0]));
  out.member("target", std::string_view(request_.shown[1]));
  out.member("proved", isProved());
  out.member("obstacles", obstacles_);
  out.member("left", linesOf(left_));
  out.key("steps");
  out.beginArray();
  for (const change_script::Step& step : script_.steps) writeStep(step, out);
  out.endArray();
  out.key("leftOut");
  out.beginArray();
  for (const inventory::Omission& one : script_.omissions) {
    out.beginObject();
    out.member("what", std::string_view(one.what));
    out.member("reason", std::string_view(one.reason));
    out.endObject();
  }
  out.endArray();
  out.endObject();
  text << '\n';
  return text.str();
}

void ChangeScriptOutput::complain(const Console& console) const {
  for (const std::string& line : obstacles_) console.complain(line);
  for (const inventory::Omission& one : script_.omissions)
    console.complain("left out: " + one.what + ": " + one.reason);
  std::set<std::string> said;
  for (const change_script::Step& step : script_.steps) {
    if (step.isAllowed || (step.dangers.empty() && step.isPossible)) continue;
    std::string line = "not done: " + step.difference + ": " + whyNot(step);
    if (said.insert(line).second) console.complain(line);
  }
  if (isAllDone()) return;
  for (const std::string& hint : hintsFor(comparison_))
    console.complain("probably renamed; if so: --rename " + hint);
}

bool ChangeScriptOutput::isAllDone() const {
  return std::ranges::all_of(script_.steps, &change_script::Step::isAllowed) &&
         script_.omissions.empty();
}

bool ChangeScriptOutput::hasFailed() const {
  return !obstacles_.empty() || (isTried_ && !left_.empty() && isAllDone());
}

}  // namespace kelvane::cli
