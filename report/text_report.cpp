#include "report/text_report.h"

#include <array>
#include <iomanip>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "model/text.h"
#include "report/diff_walk.h"
#include "report/line_diff.h"
#include "report/phrases.h"
#include "report/readable_diff.h"
#include "report/visible_text.h"

namespace kelvane {
namespace report {
namespace {

constexpr std::size_t kIndent = 4;
constexpr std::size_t kContextLines = 3;

// Lines, each at its depth.
class Lines {
 public:
  Lines(std::ostream& out, Colors colors) : out_(out), colors_(colors) {}
  std::u16string paint(Ink ink, std::u16string_view text) const {
    return painted(text, ink, colors_);
  }
  std::u16string onlyIn(enumLocation side) const { return report::onlyIn(side, colors_); }
  Colors colors() const { return colors_; }
  void write(std::size_t depth, std::u16string_view text) {
    if (!text.empty()) out_ << std::string(depth * kIndent, ' ') << toUtf8(text);
    out_ << '\n';
  }

 private:
  std::ostream& out_;
  Colors colors_;
};

// The changed lines of one hunk as they are shown: blanks are made visible where a removed and an
// added line differ in nothing else, and in lines of nothing else.
class ShownHunk {
 public:
  explicit ShownHunk(const std::vector<DiffLine>& lines, const Hunk& hunk) {
    for (std::size_t at = hunk.first; at < hunk.last; ++at) {
      if (lines[at].change == LineChange::removed) removed_.push_back(lines[at].text);
      if (lines[at].change == LineChange::added) added_.push_back(lines[at].text);
    }
    std::set<std::u16string> without;
    for (const auto line : removed_) without.insert(withoutBlanks(line));
    for (const auto line : added_)
      if (auto text = withoutBlanks(line); without.contains(text))
        blankOnly_.insert(std::move(text));
    for (const auto line : removed_) shownRemoved_.try_emplace(show(line), line);
  }

  std::u16string show(std::u16string_view line) const {
    const std::u16string text = withoutBlanks(line);
    const bool visible = text.empty() || blankOnly_.contains(text);
    return showLine(line, visible ? Blanks::visible : Blanks::plain);
  }
  // An added line, with a note where it looks like a removed one or stands in its place.
  std::u16string showAdded(std::size_t position) const {
    const std::u16string_view line = added_[position];
    std::u16string shown = show(line);
    if (const auto twin = shownRemoved_.find(shown); twin != shownRemoved_.end())
      shown += lookAlikeNote(twin->second, line);
    else if (position < removed_.size())
      shown += lookAlikeNote(removed_[position], line);
    return shown;
  }

 private:
  std::vector<std::u16string_view> removed_, added_;
  std::set<std::u16string> blankOnly_;
  std::map<std::u16string, std::u16string_view> shownRemoved_;
};

std::u16string marked(char16_t mark, const std::u16string& line) {
  return line.empty() ? line : std::u16string{mark, u' '} + line;
}

void writeLineDiff(std::u16string_view before, std::u16string_view after, std::size_t depth,
                   Lines& out) {
  const auto lines = diffLines(before, after);
  for (const Hunk& hunk : hunks(lines, kContextLines)) {
    out.write(depth, out.paint(Ink::place, u"@@ -" + decimalText(hunk.beforeLine) + u"," +
                                               decimalText(hunk.beforeCount) + u" +" +
                                               decimalText(hunk.afterLine) + u"," +
                                               decimalText(hunk.afterCount) + u" @@"));
    const ShownHunk shown(lines, hunk);
    std::size_t added = 0;
    for (std::size_t at = hunk.first; at < hunk.last; ++at) {
      const DiffLine& line = lines[at];
      if (line.change == LineChange::same)
        out.write(depth, marked(u' ', showLine(line.text, Blanks::plain)));
      else if (line.change == LineChange::removed)
        out.write(depth, out.paint(Ink::source, marked(u'-', shown.show(line.text))));
      else
        out.write(depth, out.paint(Ink::target, marked(u'+', shown.showAdded(added++))));
    }
  }
}

void writeValues(const typeDiff& difference, std::size_t depth, Lines& out) {
  const Values values = valuesOf(difference);
  if (values.shortLines) {
    out.write(depth, valuesLine(difference, values, out.colors()));
  } else {
    out.write(depth, difference.SubEntityType + u":");
    writeLineDiff(values.before, values.after, depth + 1, out);
  }
}

void writePart(Part part, const diffEntity& entity, Lines& out) {
  bool headed = false;
  for (const typeDiff& difference : entity.Diff) {
    if (difference.DiffType == diff_DoesNotExist) {
      out.write(1, heading(titleOfMissing(part, entity, difference)) + u": " +
                       out.onlyIn(difference.Location));
      headed = false;
      continue;
    }
    if (!headed) out.write(1, heading(titleOf(part, entity)));
    headed = true;
    writeValues(readable(part, difference), 2, out);
  }
}

template <class Object>
void writeObject(const Kind<Object>& kind, const Object& object, const RenameIndex& renames,
                 Lines& out) {
  const std::u16string title =
      out.paint(Ink::title, toUtf16(kind.singular) + u" " + showValue(object.FullName));
  bool headed = false;
  for (const typeDiff& difference : object.Diff) {
    if (difference.DiffType == diff_DoesNotExist) {
      out.write(0, title + u": " + out.onlyIn(difference.Location));
      if (const Rename* rename = renames.of(kind.entityType, difference.Location, object.FullName))
        out.write(1, renameNote(*rename, difference.Location));
      headed = true;
      continue;
    }
    if (!headed) out.write(0, title);
    headed = true;
    writeValues(difference, 1, out);
  }
  if (!headed) out.write(0, title);
  for (const auto& [part, entities, count] : kParts<Object>)
    for (const diffEntity& entity : object.*entities) writePart(part, entity, out);
  out.write(0, u"");
}

constexpr int kKindWidth = 18;
constexpr std::array<std::string_view, 4> kCountTitles{"differ", "only in source", "only in target",
                                                       "differences"};

void writeCounts(std::string_view kind, const KindCounts& counts, std::ostream& out) {
  const std::array values{counts.differ, counts.onlyInSource, counts.onlyInTarget,
                          counts.differences};
  out << std::left << std::setw(kKindWidth) << kind << std::right;
  for (std::size_t at = 0; at < values.size(); ++at)
    out << "  " << std::setw(static_cast<int>(kCountTitles[at].size())) << values[at];
  out << '\n';
}

}  // namespace
}  // namespace report

void writeTextReport(const diffSchema& differences, const ReportHeader& header, Colors colors,
                     std::ostream& out) {
  report::Lines lines(out, colors);
  lines.write(0, report::sidesLine(header, colors));
  lines.write(0, u"");
  const diffSchema shown = report::withOwnersOfGroups(differences);
  const RenameIndex renames(header.renames);
  report::forEachKind(shown, [&](const auto& kind, const auto& objects) {
    for (const auto& object : objects) report::writeObject(kind, object, renames, lines);
  });
  lines.write(0, report::closingLine(shown, header));
}

void writeTextSummary(const diffSchema& differences, const ReportHeader& header,
                      std::ostream& out) {
  const diffSchema shown = report::withOwnersOfGroups(differences);
  out << toUtf8(report::sidesLine(header, Colors::none)) << "\n\n";
  bool titled = false;
  report::forEachKind(shown, [&](const auto& kind, const auto& objects) {
    if (objects.empty()) return;
    if (!titled) {
      out << std::string(report::kKindWidth, ' ');
      for (const std::string_view title : report::kCountTitles) out << "  " << title;
      out << '\n';
    }
    titled = true;
    report::writeCounts(kind.plural, report::countsOf(objects), out);
  });
  if (titled) out << '\n';
  out << toUtf8(report::closingLine(shown, header)) << '\n';
}

}  // namespace kelvane
