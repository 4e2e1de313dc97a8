#include "report/groups_html.h"

#include <algorithm>
#include <ostream>
#include <string_view>

#include "report/collected_words.h"
#include "report/html/page.h"
#include "report/html_page.h"

namespace kelvane::report {
namespace {

constexpr std::size_t kMostLines = 50;  // of differences of a group; its report has all

std::string isolated(std::string_view utf8) { return "<bdi>" + markupText(utf8) + "</bdi>"; }

class GroupsPage {
 public:
  GroupsPage(const CollectedRun& run, const std::vector<GroupFiles>& files, std::ostream& out)
      : run_(run), files_(files), out_(out) {}

  void write() {
    const std::string title = "Compared with " + markupText(run_.reference);
    out_ << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         << "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
         << sourceOf(html::kFleetStyle) << "; base-uri 'none'; form-action 'none'\">\n"
         << "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>"
         << title << "</title>\n<style>" << html::kFleetStyle.text
         << "</style>\n</head>\n<body>\n<h1>Compared with " << isolated(run_.reference)
         << "</h1>\n";
    writeSummary();
    writeMatrix();
    for (std::size_t at = 0; at < run_.groups.size(); ++at) writeGroup(at);
    writeUnread();
    writeList(Outcome::equal, "equal");
    writeList(Outcome::notBegun, "not begun");
    out_ << "</body>\n</html>\n";
  }

 private:
  std::vector<std::size_t> targetsWith(Outcome outcome) const {
    std::vector<std::size_t> targets;
    for (std::size_t at = 0; at < run_.targets.size(); ++at) {
      if (run_.targets[at].outcome == outcome) targets.push_back(at);
    }
    return targets;
  }
  const ComparedTarget& firstOf(std::size_t group) const {
    return run_.targets[run_.groups[group].front()];
  }

  void writeSummary() {
    out_ << "<p>" << counted(run_.targets.size(), "target") << ": "
         << targetsWith(Outcome::equal).size() << " equal, " << targetsWith(Outcome::differs).size()
         << " different in " << counted(run_.groups.size(), "group") << ", "
         << targetsWith(Outcome::unread).size() << " could not be read";
    if (const std::size_t left = targetsWith(Outcome::notBegun).size(); left > 0)
      out_ << ", " << left << " not begun";
    out_ << ".</p>\n";
  }

  void writeMatrix() {
    if (run_.groups.size() < 2) return;
    out_ << "<h2>What differs where</h2>\n<p class=\"quiet\">~ on both sides, &minus; only in the "
            "reference, + only in the targets</p>\n<div class=\"scroll\" tabindex=\"0\">\n<table>\n"
            "<thead><tr><th scope=\"col\">Object</th>";
    for (std::size_t group = 1; group <= run_.groups.size(); ++group)
      out_ << "<th scope=\"col\"><a href=\"#group-" << group << "\">" << group << "</a></th>";
    out_ << "</tr></thead>\n<tbody>\n";
    for (const auto& [object, signs] : signsByObject(run_.targets, run_.groups)) {
      out_ << "<tr><th scope=\"row\">" << isolated(titleOf(object)) << "</th>";
      for (const char sign : signs)
        out_ << "<td>" << (sign == '-' ? "&minus;" : std::string(1, sign)) << "</td>";
      out_ << "</tr>\n";
    }
    out_ << "</tbody>\n</table>\n</div>\n";
  }

  void writeGroup(std::size_t at) {
    const auto& [page, script] = files_[at];
    const std::vector<std::size_t>& group = run_.groups[at];
    const std::vector<Difference>& differences = firstOf(at).differences;
    out_ << "<h2 id=\"group-" << at + 1 << "\">Group " << at + 1 << ": "
         << counted(group.size(), "target") << " with " << (group.size() == 1 ? "" : "the same ")
         << counted(differences.size(), "difference") << "</h2>\n";
    if (!page.empty() || !script.empty()) {
      out_ << "<p>";
      if (!page.empty()) out_ << "<a href=\"" << page << "\">report</a>";
      if (!page.empty() && !script.empty()) out_ << ", ";
      if (!script.empty()) out_ << "<a href=\"" << script << "\">script</a>";
      out_ << "</p>\n";
    }
    writeNames(group);
    out_ << "<ul class=\"lines\">\n";
    for (std::size_t line = 0; line < std::min(differences.size(), kMostLines); ++line)
      out_ << "<li>" << isolated(differences[line].line) << "</li>\n";
    if (differences.size() > kMostLines)
      out_ << "<li class=\"quiet\">and " << differences.size() - kMostLines << " more</li>\n";
    out_ << "</ul>\n";
  }

  void writeNames(const std::vector<std::size_t>& targets) {
    out_ << "<p>";
    for (std::size_t at = 0; at < targets.size(); ++at)
      out_ << (at == 0 ? "" : ", ") << isolated(run_.targets[targets[at]].name);
    out_ << "</p>\n";
  }

  void writeList(Outcome outcome, std::string_view what) {
    const std::vector<std::size_t> targets = targetsWith(outcome);
    if (targets.empty()) return;
    out_ << "<h2>" << counted(targets.size(), "target") << ' ' << what << "</h2>\n";
    writeNames(targets);
  }

  void writeUnread() {
    const std::vector<std::size_t> targets = targetsWith(Outcome::unread);
    if (targets.empty()) return;
    out_ << "<h2>" << counted(targets.size(), "target") << " could not be read</h2>\n<ul>\n";
    for (const std::size_t at : targets) {
      out_ << "<li>" << isolated(run_.targets[at].name) << "<ul class=\"lines\">";
      for (const std::string& cause : run_.targets[at].causes)
        out_ << "<li>" << isolated(cause) << "</li>";
      out_ << "</ul></li>\n";
    }
    out_ << "</ul>\n";
  }

  const CollectedRun& run_;
  const std::vector<GroupFiles>& files_;
  std::ostream& out_;
};

}  // namespace

void writeGroupsHtml(const CollectedRun& run, const std::vector<GroupFiles>& files,
                     std::ostream& out) {
  GroupsPage(run, files, out).write();
}

}  // namespace kelvane::report
