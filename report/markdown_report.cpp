#include <algorithm>
#include <ostream>
#include <string>
#include <string_view>

#include "report/collected_reports.h"
#include "report/collected_words.h"
#include "report/visible_text.h"

namespace kelvane::report {
namespace {

constexpr std::size_t kMostNames = 20;
// For what is said at the end of what was left out.
constexpr std::size_t kRoomForEnd = 400;

// As HTML, and with what Markdown knows escaped, so that nothing in it is emphasis, a mention or a
// reference.
std::string code(std::string_view utf8) {
  constexpr std::string_view kMarks = "!#()*@[\\]^_`{|}~";
  std::string text = "<code>";
  for (const char c : markupText(utf8)) {
    if (kMarks.find(c) == kMarks.npos)
      text += c;
    else
      text += "&#" + std::to_string(static_cast<int>(c)) + ";";
  }
  return text + "</code>";
}

// Fenced, with more backticks than any line has.
std::string block(const std::vector<std::string>& lines) {
  std::string text;
  std::size_t longest = 2, run = 0;
  for (const std::string& line : lines) {
    const std::string shown = showMessage(line);
    for (const char c : shown) longest = std::max(longest, run = c == '`' ? run + 1 : 0);
    run = 0;
    text += shown + "\n";
  }
  const std::string fence(longest + 1, '`');
  return fence + "text\n" + text + fence + "\n";
}

class Comment {
 public:
  explicit Comment(const CollectedRun& run) : run_(run) {}

  std::string write() {
    writeHead();
    for (const auto& group : run_.groups) writeGroup(group);
    for (const ComparedTarget& target : run_.targets) {
      if (target.outcome == Outcome::unread)
        addFolded(code(target.name) + " could not be read", target.causes);
    }
    for (const ComparedTarget& target : run_.targets) writeAccepted(target);
    writeNotes();
    if (left_ > 0)
      text_ += "\nThis comment would be too long: " + counted(left_, "section") +
               (left_ == 1 ? " is" : " are") + " left out.\n";
    return text_;
  }

 private:
  std::size_t count(Outcome outcome) const {
    return static_cast<std::size_t>(
        std::ranges::count(run_.targets, outcome, &ComparedTarget::outcome));
  }

  void writeHead() {
    text_ += "### Schema comparison with " + code(run_.reference) + "\n\n";
    if (run_.targets.size() == 1) {
      const ComparedTarget& target = run_.targets.front();
      text_ += code(target.name) + ": **" + resultOf(target) + "**\n";
      return;
    }
    text_ += "**" + counted(run_.targets.size(), "target") +
             "**: " + std::to_string(count(Outcome::equal)) + " equal, " +
             std::to_string(count(Outcome::differs)) + " different, " +
             std::to_string(count(Outcome::unread)) + " could not be read";
    if (count(Outcome::notBegun) > 0)
      text_ += ", " + std::to_string(count(Outcome::notBegun)) + " not begun";
    text_ += "\n";
  }

  void writeGroup(const std::vector<std::size_t>& group) {
    const ComparedTarget& first = run_.targets[group.front()];
    if (run_.targets.size() > 1) {
      std::string names;
      for (std::size_t at = 0; at < std::min(group.size(), kMostNames); ++at)
        names += (at == 0 ? "" : ", ") + code(run_.targets[group[at]].name);
      if (group.size() > kMostNames)
        names += " and " + std::to_string(group.size() - kMostNames) + " more";
      add("\n#### " + counted(group.size(), "target") + " with " +
          (group.size() == 1 ? "" : "the same ") + counted(first.differences.size(), "difference") +
          "\n\n" + names + "\n");
    }
    for (const auto& [object, differences] : byObject(first)) {
      std::vector<std::string> lines;
      lines.reserve(differences.size());
      for (const Difference* one : differences) lines.push_back(one->line);
      addFolded(code(titleOf(object)) + ": " + counted(lines.size(), "difference"), lines);
    }
  }

  void writeAccepted(const ComparedTarget& target) {
    if (target.accepted.empty()) return;
    std::vector<std::string> lines;
    lines.reserve(target.accepted.size());
    for (const AcceptedDifference& one : target.accepted)
      lines.push_back(one.difference + " # " + one.reason);
    addFolded((run_.targets.size() == 1 ? "" : code(target.name) + ": ") +
                  counted(lines.size(), "known difference"),
              lines);
  }

  // Those of one target; of several, each has its own.
  void writeNotes() {
    if (run_.targets.size() != 1 || run_.targets.front().notes.empty()) return;
    addFolded("Notes", run_.targets.front().notes);
  }

  void addFolded(const std::string& summary, const std::vector<std::string>& lines) {
    add("\n<details><summary>" + summary + "</summary>\n\n" + block(lines) + "\n</details>\n");
  }
  // A section, where there is room for it.
  void add(const std::string& section) {
    if (text_.size() + section.size() + kRoomForEnd > kMostMarkdown)
      ++left_;
    else
      text_ += section;
  }

  const CollectedRun& run_;
  std::string text_;
  std::size_t left_ = 0;  // sections without room
};

}  // namespace

void writeMarkdown(const CollectedRun& run, std::ostream& out) { out << Comment(run).write(); }

}  // namespace kelvane::report
