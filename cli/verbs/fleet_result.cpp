#include "cli/verbs/fleet_result.h"

#include <algorithm>
#include <array>
#include <map>
#include <string_view>
#include <utility>

#include "cli/screen/figures.h"
#include "cli/screen/text_table.h"
#include "cli/verbs/listing.h"
#include "inventory/kinds.h"
#include "model/text.h"
#include "report/collected_words.h"
#include "report/json_writer.h"
#include "report/visible_text.h"

namespace kelvane::cli {
namespace {

// In the order of Outcome.
constexpr std::array<std::string_view, 4> kOutcomes{"equal", "differs", "unread", "notBegun"};

constexpr std::size_t kMostNames = 12;

// What fits on a screen: less of each where there are many groups.
std::size_t mostLines(std::size_t groups) {
  constexpr std::size_t kRoom = 16, kLeast = 2, kMost = 8;
  return std::clamp(kRoom / std::max<std::size_t>(groups, 1), kLeast, kMost);
}
std::size_t mostObjects(std::size_t groups) {
  constexpr std::size_t kFewGroups = 3, kMost = 20, kOfMany = 10;
  return groups <= kFewGroups ? kMost : kOfMany;
}

std::string outcomeOf(const ComparedTarget& target) {
  return std::string(kOutcomes[static_cast<std::size_t>(target.outcome)]);
}

// "a, b, c and 20 more"
std::string namesOf(const FleetResult& result, const std::vector<std::size_t>& targets) {
  std::string names;
  for (std::size_t at = 0; at < std::min(targets.size(), kMostNames); ++at)
    names += (at == 0 ? "" : ", ") + report::showMessage(result.targets[targets[at]].name);
  if (targets.size() > kMostNames)
    names += " and " + std::to_string(targets.size() - kMostNames) + " more";
  return names;
}

std::vector<std::size_t> targetsWith(const FleetResult& result, Outcome outcome) {
  std::vector<std::size_t> targets;
  for (std::size_t at = 0; at < result.targets.size(); ++at) {
    if (result.targets[at].outcome == outcome) targets.push_back(at);
  }
  return targets;
}

// By what keeps them from being compared: the names of targets stand in causes.
std::vector<FleetGroup> byCause(const FleetResult& result) {
  std::vector<FleetGroup> groups;
  std::map<std::string, std::size_t> places;
  for (const std::size_t at : targetsWith(result, Outcome::unread)) {
    const ComparedTarget& target = result.targets[at];
    std::string key;
    for (const std::string& cause : target.causes)
      key += toUtf8(replaceAll(toUtf16(cause), toUtf16(target.name), u"")) + "\n";
    const auto [place, isNew] = places.emplace(std::move(key), groups.size());
    if (isNew) groups.emplace_back();
    groups[place->second].targets.push_back(at);
  }
  return groups;
}

class Text {
 public:
  Text(const FleetResult& result, std::ostream& out)
      : result_(result), out_(out), groups_(result.groups()) {}

  void write() {
    out_ << "reference: " << report::showMessage(result_.reference) << '\n';
    list(Outcome::equal, "equal");
    for (std::size_t at = 0; at < groups_.size(); ++at) writeGroup(at);
    for (const FleetGroup& group : byCause(result_)) {
      head(group.targets, "could not be read");
      for (const std::string& cause : result_.targets[group.targets.front()].causes)
        out_ << "    " << report::showMessage(cause) << '\n';
    }
    list(Outcome::notBegun, "not begun");
    writeMatrix();
    writeNotes();
    writeClosing();
  }

 private:
  void head(const std::vector<std::size_t>& targets, const std::string& what) {
    out_ << '\n'
         << counted(targets.size(), "target") << ' ' << what << "\n  " << namesOf(result_, targets)
         << '\n';
  }
  void list(Outcome outcome, const std::string& what) {
    const auto targets = targetsWith(result_, outcome);
    if (!targets.empty()) head(targets, what);
  }

  void writeGroup(std::size_t at) {
    const FleetGroup& group = groups_[at];
    const auto& differences = result_.targets[group.targets.front()].differences;
    head(group.targets, (group.targets.size() == 1 ? "with " : "with the same ") +
                            counted(differences.size(), "difference") +
                            (groups_.size() > 1 ? ": group " + std::to_string(at + 1) : ""));
    const std::size_t most = mostLines(groups_.size());
    for (std::size_t line = 0; line < std::min(differences.size(), most); ++line)
      out_ << "    " << report::showMessage(differences[line].line) << '\n';
    if (differences.size() > most) out_ << "    and " << differences.size() - most << " more\n";
  }

  // Which objects differ in which groups.
  void writeMatrix() {
    if (groups_.size() < 2) return;
    std::vector<std::vector<std::size_t>> groups;
    groups.reserve(groups_.size());
    for (const FleetGroup& group : groups_) groups.push_back(group.targets);
    const auto rows = report::signsByObject(result_.targets, groups);
    TextTable table;
    std::vector<std::u16string> titles{u"Differs in group"};
    for (std::size_t at = 1; at <= groups_.size(); ++at)
      titles.push_back(decimalText(static_cast<std::int64_t>(at)));
    table.add(std::move(titles));
    const std::size_t most = mostObjects(groups_.size());
    std::size_t left = most;
    for (const auto& [object, signs] : rows) {
      if (left-- == 0) break;
      std::vector<std::u16string> cells{toUtf16(rowOf(object.kind).singular) + u" " +
                                        shownCell(object.name)};
      for (const char sign : signs)
        cells.push_back(sign == ' ' ? std::u16string() : toUtf16(std::string(1, sign)));
      table.add(std::move(cells));
    }
    if (rows.size() > most)
      table.addBelow(u"and " + decimalText(static_cast<std::int64_t>(rows.size() - most)) +
                     u" more");
    out_ << '\n';
    table.write(out_);
  }

  // What holds for all that were compared.
  void writeNotes() {
    const std::vector<std::string>* first = nullptr;
    std::vector<std::string> common;
    for (const ComparedTarget& target : result_.targets) {
      if (target.outcome != Outcome::equal && target.outcome != Outcome::differs) continue;
      if (std::exchange(first, &target.notes) == nullptr) {
        common = target.notes;
        continue;
      }
      std::erase_if(common, [&](const std::string& note) {
        return std::ranges::find(target.notes, note) == target.notes.end();
      });
    }
    if (!common.empty()) out_ << '\n';
    for (const std::string& note : common) out_ << report::showMessage(note) << '\n';
  }

  void writeClosing() {
    const std::size_t equal = targetsWith(result_, Outcome::equal).size(),
                      unread = targetsWith(result_, Outcome::unread).size(),
                      notBegun = targetsWith(result_, Outcome::notBegun).size();
    out_ << '\n' << counted(result_.targets.size(), "target") << ": " << equal << " equal";
    for (const FleetGroup& group : groups_)
      out_ << "; " << group.targets.size() << " with "
           << (group.targets.size() == 1 ? "" : "the same ")
           << counted(result_.targets[group.targets.front()].differences.size(), "difference");
    if (unread > 0) out_ << "; " << unread << " could not be read";
    if (notBegun > 0) out_ << "; " << notBegun << " not begun";
    out_ << '\n';
  }

  const FleetResult& result_;
  std::ostream& out_;
  std::vector<FleetGroup> groups_;
};

std::vector<std::string> linesOf(const ComparedTarget& target) {
  std::vector<std::string> lines;
  lines.reserve(target.differences.size());
  for (const report::Difference& one : target.differences) lines.push_back(one.line);
  return lines;
}

}  // namespace

ExitStatus statusOf(const ComparedTarget& target) {
  if (target.outcome == Outcome::equal) return kNoDifference;
  return target.outcome == Outcome::differs ? kDifferences : kNotProven;
}

std::vector<FleetGroup> FleetResult::groups() const {
  std::vector<FleetGroup> groups;
  std::map<std::string_view, std::size_t> places;
  for (const std::size_t at : targetsWith(*this, Outcome::differs)) {
    const auto [place, isNew] = places.emplace(targets[at].signature, groups.size());
    if (isNew) groups.emplace_back();
    groups[place->second].targets.push_back(at);
  }
  std::ranges::stable_sort(groups, [](const FleetGroup& one, const FleetGroup& other) {
    return one.targets.size() > other.targets.size();
  });
  return groups;
}

ExitStatus FleetResult::status() const {
  const auto has = [this](ExitStatus status) {
    return std::ranges::any_of(
        targets, [&](const ComparedTarget& target) { return statusOf(target) == status; });
  };
  if (wasInterrupted || has(kNotProven)) return kNotProven;
  return has(kDifferences) ? kDifferences : kNoDifference;
}

void writeText(const FleetResult& result, std::ostream& out) { Text(result, out).write(); }

void writeJson(const FleetResult& result, std::ostream& out) {
  const std::vector<FleetGroup> groups = result.groups();
  std::map<std::size_t, std::size_t> groupOf;
  for (std::size_t at = 0; at < groups.size(); ++at) {
    for (const std::size_t target : groups[at].targets) groupOf[target] = at + 1;
  }
  JsonWriter writer(out);
  writer.beginObject();
  writer.member("format", 1);
  writer.member("version", KELVANE_VERSION);
  writer.member("reference", std::string_view(result.reference));
  writer.member("interrupted", result.wasInterrupted);
  writer.member("status", static_cast<std::int64_t>(result.status()));
  writer.key("targets");
  writer.beginArray();
  for (std::size_t at = 0; at < result.targets.size(); ++at) {
    const ComparedTarget& target = result.targets[at];
    writer.beginObject();
    writer.member("target", std::string_view(target.name));
    writer.member("outcome", outcomeOf(target));
    writer.member("status", static_cast<std::int64_t>(statusOf(target)));
    if (groupOf.contains(at)) writer.member("group", static_cast<std::int64_t>(groupOf[at]));
    writer.member("causes", target.causes);
    writer.member("notes", target.notes);
    if (!groupOf.contains(at)) writer.member("differences", linesOf(target));
    writer.member("milliseconds", static_cast<std::int64_t>(target.seconds * 1000));
    writer.endObject();
  }
  writer.endArray();
  writer.key("groups");
  writer.beginArray();
  for (const FleetGroup& group : groups) {
    writer.beginObject();
    std::vector<std::string> names;
    names.reserve(group.targets.size());
    for (const std::size_t at : group.targets) names.push_back(result.targets[at].name);
    writer.member("targets", names);
    writer.member("differences", linesOf(result.targets[group.targets.front()]));
    writer.endObject();
  }
  writer.endArray();
  writer.endObject();
}

}  // namespace kelvane::cli
