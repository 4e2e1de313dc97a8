#include "cli/verbs/script_command.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

#include "change_script/plan.h"
#include "change_script/write.h"
#include "cli/screen/clock.h"
#include "cli/screen/figures.h"
#include "cli/screen/interruption.h"
#include "cli/screen/written_file.h"
#include "cli/sides/proof.h"
#include "cli/verbs/comparison.h"
#include "cli/words/overwriting.h"
#include "cli/words/side_arguments.h"
#include "inventory/ddl/statement.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kAllow = "--allow", kNoProof = "--no-proof", kOutput = "--output",
                           kReverse = "--reverse";

std::vector<std::string> dangerWords() {
  std::vector<std::string> words;
  words.reserve(change_script::kDangers.size());
  for (const auto& row : change_script::kDangers) words.emplace_back(row.word);
  return words;
}

constexpr auto kOptions = std::to_array<Option>({
    {kAllow, kDangerWord, "do steps that may take something away too"},
    {kNoProof, "", "do not try the script on a copy of the target"},
    {kOutput, kFile, "write to this file instead of standard output", {}, "-o"},
    {kReverse, "", "make the source like the target"},
});

// drop-column, drop-column:empty
void allow(std::string_view word, change_script::Allowed& allowed) {
  constexpr std::string_view kEmpty = ":empty";
  const bool whereEmpty = word.ends_with(kEmpty);
  const std::string_view name = word.substr(0, word.size() - (whereEmpty ? kEmpty.size() : 0));
  const auto* row =
      std::ranges::find(change_script::kDangers, name, &change_script::DangerRow::word);
  if (row == change_script::kDangers.end()) {
    std::string all;
    for (const std::string& one : dangerWords()) all += (all.empty() ? "" : ", ") + one;
    throw UsageError("--allow takes " + all + "; not '" + std::string(word) + "'");
  }
  if (!whereEmpty) return allowed.add(row->danger);
  if (!row->concernsRows)
    throw UsageError("--allow " + std::string(name) + " has nothing to do with rows; leave out " +
                     std::string(kEmpty));
  allowed.addWhereEmpty(row->danger);
}

change_script::Allowed allowedBy(const Arguments& arguments) {
  change_script::Allowed allowed;
  for (const std::string& list : arguments.values(kAllow)) {
    std::istringstream words(list);
    for (std::string word; std::getline(words, word, ',');) allow(word, allowed);
  }
  return allowed;
}

std::optional<inventory::TargetRelease> releaseFor(const inventory::Server& server) {
  // Without a release the embedded catalog takes the statements of all of them.
  return server.embedded && server.version.empty() ? std::nullopt : inventory::releaseOf(server);
}

// "3 steps in 2 tables and 1 view, 1 of them copies the data of a table; 1 step not done"
std::string counted(const change_script::ChangeScript& script) {
  std::size_t done = 0, copying = 0, left = 0;
  std::map<inventory::Kind, std::set<std::string>> objects;
  for (const change_script::Step& step : script.steps) {
    if (step.stage == change_script::Stage::checks) continue;
    if (!step.isAllowed) {
      ++left;
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
  return text;
}

class Scripting {
 public:
  Scripting(const Arguments& arguments, const Console& console)
      : arguments_(arguments),
        console_(console),
        request_(comparedRequest(arguments, "script")),
        comparison_(request_, console) {
    if (arguments.has(kReverse)) {
      std::swap(request_.places[0], request_.places[1]);
      std::swap(request_.shown[0], request_.shown[1]);
      comparison_.header().source = request_.shown[0];
      comparison_.header().target = request_.shown[1];
    }
    options_.allowed = allowedBy(arguments);
    request_.countsRows = true;
  }

  ExitStatus run(const OpenSide& open) {
    refuseOverwriting(arguments_, request_.places, {.written = {kTrace, kOutput}});
    comparison_.read(open);
    const auto& [source, target] = comparison_.databases();
    for (const inventory::Database* side : {&target, &source})
      roles_.insert(roles_.end(), side->roles.begin(), side->roles.end());
    comparison_.agreeOnRules();
    comparison_.compare();
    comparison_.noteIncompleteSides();
    comparison_.accept();
    options_.release = releaseFor(target.server);
    script_ = plan(source, target, comparison_.changes(), options_);
    const std::string text = textOf({});
    if (!arguments_.has(kNoProof)) tryOut(text);
    write(textOf(head()));
    return tell();
  }

 private:
  std::string textOf(const change_script::Head& head) const {
    std::ostringstream out;
    change_script::write(script_, head, out);
    return out.str();
  }

  void tryOut(const std::string& text) {
    const auto& [source, target] = comparison_.databases();
    Proof proof = prove(withRoles(target), options_.release, text);
    obstacles_ = std::move(proof.obstacles);
    if (!obstacles_.empty()) return;
    result_ = std::move(proof.result);
    if (!source.server.embedded || !target.server.embedded) {
      std::erase_if(result_.roles, [&](const inventory::Role& one) {
        return std::ranges::find(source.roles, one.name, &inventory::Role::name) ==
               source.roles.end();
      });
    }
    Selection::Tally uncounted;
    request_.selection.apply(result_, comparison_.rules().names, uncounted);
    left_ = inventory::compare(source, result_, comparison_.rules());
    isTried_ = true;
  }

  /// With the roles of the server that the comparison left out: permissions name them.
  inventory::Database withRoles(const inventory::Database& target) const {
    inventory::Database whole = target;
    if (comparison_.databases()[0].server.embedded && target.server.embedded) return whole;
    for (const inventory::Role& role : roles_) {
      if (std::ranges::find(whole.roles, role.name, &inventory::Role::name) == whole.roles.end())
        whole.roles.push_back(role);
    }
    return whole;
  }

  bool isProved() const { return isTried_ && left_.empty(); }

  change_script::Head head() const {
    change_script::Head head;
    head.checksOptions = true;
    const inventory::Server& server = comparison_.databases()[1].server;
    if (!server.embedded) head.database = server.database;
    std::vector<std::string>& lines = head.lines;
    lines.push_back("kelvane script: makes " + request_.shown[1] + " like " + request_.shown[0]);
    lines.push_back("made " + timestamp() + " by kelvane " + KELVANE_VERSION);
    lines.push_back(counted(script_));
    if (isProved()) {
      lines.emplace_back("proved: after this script nothing differs");
    } else if (isTried_) {
      lines.emplace_back("proved: after this script this is left:");
      for (const inventory::Change& change : left_) addLeft(change, lines);
    } else {
      lines.emplace_back("not proved");
      for (const std::string& one : obstacles_) lines.push_back("  " + one);
    }
    for (const inventory::Omission& one : script_.omissions)
      lines.push_back("left out: " + one.what + ": " + one.reason);
    return head;
  }

  static void addLeft(const inventory::Change& change, std::vector<std::string>& lines) {
    if (!change.isOnBothSides() || !change.attributes.empty())
      lines.push_back("  " + change_script::described(change));
    for (const inventory::Change& part : change.parts)
      lines.push_back("  " + change_script::described(change, &part));
  }

  void write(const std::string& text) const {
    if (const auto path = arguments_.value(kOutput)) {
      WrittenFile file("script", *path, console_);
      file.stream() << text;
      file.close();
      return;
    }
    const Undertaking writing(console_, u"", "interrupted while writing: the script is incomplete");
    console_.out << text;
    console_.out.flush();
  }

  ExitStatus tell() const {
    comparison_.tellNotes();
    for (const std::string& line : comparison_.header().gaps) console_.complain(line);
    for (const std::string& line : obstacles_) console_.complain(line);
    for (const inventory::Omission& one : script_.omissions)
      console_.complain("left out: " + one.what + ": " + one.reason);
    const bool isAllDone = std::ranges::all_of(script_.steps, &change_script::Step::isAllowed) &&
                           script_.omissions.empty();
    for (const change_script::Step& step : script_.steps) {
      if (!step.isAllowed && !step.dangers.empty())
        console_.complain("not done: " + step.difference + ": " + whyNot(step));
    }
    if (comparison_.header().coverage() != Coverage::complete || !obstacles_.empty())
      return kNotProven;
    if (isTried_ && !left_.empty() && isAllDone) return kNotProven;
    return isAllDone ? kNoDifference : kDifferences;
  }

  const Arguments& arguments_;
  const Console& console_;
  CompareRequest request_;
  Comparison comparison_;
  change_script::PlanOptions options_;
  change_script::ChangeScript script_;
  std::vector<inventory::Role> roles_;  // of both sides, as they were read
  bool isTried_ = false;
  std::vector<std::string> obstacles_;
  inventory::Database result_;
  Comparison::Changes left_;
};

}  // namespace

std::vector<OptionFamily> scriptOptions() {
  std::vector<OptionFamily> families = comparedOptions();
  families.push_back(OptionFamily{"The script", kOptions});
  families.push_back(readingOptions());
  return families;
}

ExitStatus runScript(const Arguments& arguments, const Console& console, const OpenSide& open) {
  return Scripting(arguments, console).run(open);
}

}  // namespace kelvane::cli
