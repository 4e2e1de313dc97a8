#include "report/text_lines.h"

#include <map>
#include <ostream>
#include <set>
#include <utility>
#include <vector>

#include "model/text.h"
#include "report/line_diff.h"
#include "report/side_by_side.h"
#include "report/visible_text.h"

namespace kelvane::report {
namespace {

constexpr std::size_t kIndent = 4;
constexpr std::size_t kContextLines = 3;

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
  // What to say behind an added line that looks like a removed one or stands in its place.
  std::u16string noteOnAdded(std::size_t position) const {
    const std::u16string_view line = added_[position];
    if (const auto twin = shownRemoved_.find(show(line)); twin != shownRemoved_.end())
      return lookAlikeNote(twin->second, line);
    return position < removed_.size() ? lookAlikeNote(removed_[position], line) : u"";
  }

 private:
  std::vector<std::u16string_view> removed_, added_;
  std::set<std::u16string> blankOnly_;
  std::map<std::u16string, std::u16string_view> shownRemoved_;
};

std::u16string marked(char16_t mark, const std::u16string& line) {
  return line.empty() ? line : std::u16string{mark, u' '} + line;
}

// Which line of the other text stands in the place of a changed one: views into both texts, by
// where a line begins.
using Counterparts = std::map<const char16_t*, std::u16string_view>;
Counterparts counterpartsOf(std::u16string_view before, std::u16string_view after) {
  Counterparts counterparts;
  for (const Row& row : sideBySide(before, after)) {
    if (row.same || !row.before || !row.after) continue;
    counterparts.emplace(row.before->data(), *row.after);
    counterparts.emplace(row.after->data(), *row.before);
  }
  return counterparts;
}

// A changed line in its colour, with the words marked that its counterpart does not have.
std::u16string paintedLine(const DiffLine& line, const ShownHunk& shown,
                           const Counterparts& counterparts, const Lines& out) {
  const bool isRemoved = line.change == LineChange::removed;
  const Ink ink = isRemoved ? Ink::source : Ink::target;
  const char16_t mark = isRemoved ? u'-' : u'+';
  const std::u16string text = shown.show(line.text);
  const auto other = counterparts.find(line.text.data());
  if (other == counterparts.end() || text.empty()) return out.paint(ink, marked(mark, text));
  const std::u16string otherText = shown.show(other->second);
  const auto [before, after] = markChanges(text, otherText);
  return out.paint(ink, std::u16string{mark, u' '}) + paintedPieces(before, ink);
}

}  // namespace

void Lines::write(std::size_t depth, std::u16string_view text) {
  if (!text.empty()) out_ << std::string(depth * kIndent, ' ') << toUtf8(text);
  out_ << '\n';
}

void writeLineDiff(std::u16string_view before, std::u16string_view after, std::size_t depth,
                   Lines& out) {
  const auto lines = diffLines(before, after);
  const Counterparts counterparts =
      out.colors() == Colors::terminal ? counterpartsOf(before, after) : Counterparts();
  for (const Hunk& hunk : hunks(lines, kContextLines)) {
    out.write(depth, out.paint(Ink::place, u"@@ -" + decimalText(hunk.beforeLine) + u"," +
                                               decimalText(hunk.beforeCount) + u" +" +
                                               decimalText(hunk.afterLine) + u"," +
                                               decimalText(hunk.afterCount) + u" @@"));
    const ShownHunk shown(lines, hunk);
    std::size_t added = 0;
    for (std::size_t at = hunk.first; at < hunk.last; ++at) {
      const DiffLine& line = lines[at];
      if (line.change == LineChange::same) {
        out.write(depth, marked(u' ', showLine(line.text, Blanks::plain)));
        continue;
      }
      std::u16string text = paintedLine(line, shown, counterparts, out);
      if (line.change == LineChange::added)
        if (const auto note = shown.noteOnAdded(added++); !note.empty())
          text += out.paint(Ink::target, note);
      out.write(depth, text);
    }
  }
}

}  // namespace kelvane::report
