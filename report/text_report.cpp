#include "report/text_report.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "model/text.h"
#include "report/diff_walk.h"
#include "report/line_diff.h"
#include "report/visible_text.h"

namespace kelvane {
namespace report {
namespace {

constexpr std::size_t kIndent = 4;
constexpr std::size_t kContextLines = 3;
constexpr std::size_t kLongestValue = 100;

std::u16string number(std::int64_t value) { return decimalText(value); }

// Lines, each at its depth.
class Lines {
 public:
  explicit Lines(std::ostream& out) : out_(out) {}
  void write(std::size_t depth, std::u16string_view text) {
    if (!text.empty()) out_ << std::string(depth * kIndent, ' ') << toUtf8(text);
    out_ << '\n';
  }

 private:
  std::ostream& out_;
};

// The changed lines of one hunk as they are shown: where a removed and an added line differ in
// nothing but blanks, these are made visible.
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
    const bool visible =
        blankOnly_.contains(text) || (text.empty() && !showLine(line, Blanks::plain).empty());
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
  if (line.empty()) return mark == u' ' ? u"" : std::u16string(1, mark);
  return std::u16string{mark, u' '} + line;
}

void writeLineDiff(std::u16string_view before, std::u16string_view after, std::size_t depth,
                   Lines& out) {
  const auto lines = diffLines(before, after);
  for (const Hunk& hunk : hunks(lines, kContextLines)) {
    out.write(depth, u"@@ -" + number(hunk.beforeLine) + u"," + number(hunk.beforeCount) + u" +" +
                         number(hunk.afterLine) + u"," + number(hunk.afterCount) + u" @@");
    const ShownHunk shown(lines, hunk);
    std::size_t added = 0;
    for (std::size_t at = hunk.first; at < hunk.last; ++at) {
      const DiffLine& line = lines[at];
      if (line.change == LineChange::same)
        out.write(depth, marked(u' ', showLine(line.text, Blanks::plain)));
      else if (line.change == LineChange::removed)
        out.write(depth, marked(u'-', shown.show(line.text)));
      else
        out.write(depth, marked(u'+', shown.showAdded(added++)));
    }
  }
}

std::u16string_view sideOf(const typeDiff& difference) {
  return difference.Location == location_Source ? u"source" : u"target";
}

// A trigger's row for an event pairs the source's text with the target's flag. The row exists
// because the flags differ, which tells the source's.
std::optional<std::u16string_view> oppositeFlag(std::u16string_view flag) {
  if (flag == u"True") return u"False";
  if (flag == u"False") return u"True";
  return std::nullopt;
}

typeDiff readable(Part part, const typeDiff& difference) {
  typeDiff result = difference;
  if (part == Part::trigger &&
      (difference.SubEntityType == u"On Insert" || difference.SubEntityType == u"On Update"))
    if (const auto flag = oppositeFlag(difference.DataOnTarget)) result.DataOnSource = *flag;
  return result;
}

std::u16string_view withoutTrailingBlanks(std::u16string_view text) {
  return text.substr(0, text.find_last_not_of(u" \t\r\n") + 1);
}

bool fitsInALine(std::u16string_view value) {
  return value.size() <= kLongestValue && value.find_first_of(u"\r\n") == value.npos;
}

void writeValues(const typeDiff& difference, std::size_t depth, Lines& out) {
  std::u16string_view before = withoutTrailingBlanks(difference.DataOnSource);
  std::u16string_view after = withoutTrailingBlanks(difference.DataOnTarget);
  // Servers pad some texts; what they end with is shown only where nothing else differs.
  if (before == after || !fitsInALine(before) || !fitsInALine(after)) {
    before = difference.DataOnSource;
    after = difference.DataOnTarget;
  }
  if (fitsInALine(before) && fitsInALine(after)) {
    out.write(depth, difference.SubEntityType + u": " + showValue(before) + u" -> " +
                         showValue(after) + lookAlikeNote(before, after));
  } else {
    out.write(depth, difference.SubEntityType + u":");
    writeLineDiff(before, after, depth + 1, out);
  }
}

// Key lists come with the server's leading blank.
std::u16string keyList(std::u16string_view name) {
  while (name.starts_with(u' ')) name.remove_prefix(1);
  return u"(" + showValue(name) + u")";
}

// What a sub-entity is called, and what its name is.
enum class NameOf { thing, keys, nothing };
struct PartWord {
  Part part;
  std::u16string_view word;
  NameOf name = NameOf::thing;
};
constexpr auto kPartWords = std::to_array<PartWord>({
    {Part::column, u"column"},
    {Part::parameter, u"parameter"},
    {Part::primaryKey, u"primary key", NameOf::keys},
    {Part::foreignKey, u"foreign key", NameOf::keys},
    {Part::reference, u"reference"},
    {Part::index, u"index"},
    {Part::trigger, u"trigger"},
    {Part::data, u"data"},
    {Part::systemPermission, u"system permissions", NameOf::nothing},
    {Part::objectPermission, u"permissions on"},
    {Part::member, u"member"},
});

std::u16string heading(Part part, std::u16string_view name) {
  const auto& [_, word, nameOf] = *std::ranges::find(kPartWords, part, &PartWord::part);
  std::u16string text(word);
  if (nameOf == NameOf::keys) text += u" " + keyList(name);
  if (nameOf == NameOf::thing) text += u" " + showValue(name);
  return text;
}

// An index that only the target has is known by its key list, one of the source by its name.
std::u16string missingHeading(Part part, std::u16string_view name, const typeDiff& difference) {
  if (part == Part::index && difference.Location == location_target)
    return u"index on " + keyList(name);
  return heading(part, name);
}

void writePart(Part part, const diffEntity& entity, Lines& out) {
  bool headed = false;
  for (const typeDiff& difference : entity.Diff) {
    if (difference.DiffType == diff_DoesNotExist) {
      out.write(1, missingHeading(part, entity.Name, difference) + u": only in " +
                       std::u16string(sideOf(difference)));
      headed = false;
      continue;
    }
    if (!headed) out.write(1, heading(part, entity.Name));
    headed = true;
    writeValues(readable(part, difference), 2, out);
  }
}

template <class Object>
std::int64_t differencesOf(const Object& object) {
  std::int64_t total = object.Diff.count();
  for (const auto& parts : kParts<Object>)
    for (const diffEntity& entity : object.*parts.entities) total += entity.Diff.count();
  return total;
}

// A group's owner is reported as a row of a table of the group's name; tables have no such row of
// their own. Puts these rows where they belong.
diffSchema withOwnersOfGroups(const diffSchema& differences) {
  diffSchema result = differences;
  result.Tables.clear();
  const auto groupNamed = [&](const diffTable& table) {
    std::int32_t at = 1;
    while (at <= result.Groups.count() && std::as_const(result.Groups)[at].Name != table.Name) ++at;
    if (at > result.Groups.count()) {
      diffGroup group;
      group.Name = group.FullName = table.Name;
      group.Owner = table.Owner;
      result.Groups.append(std::move(group));
    }
    return at;
  };
  for (const diffTable& table : differences.Tables) {
    diffTable kept = table;
    kept.Diff.clear();
    for (const typeDiff& row : table.Diff) {
      if (row.SubEntityType == u"Owner")
        result.Groups.edit(groupNamed(table), [&](diffGroup& group) { group.Diff.append(row); });
      else
        kept.Diff.append(row);
    }
    if (differencesOf(kept) > 0) result.Tables.append(std::move(kept));
  }
  return result;
}

template <class Object>
void writeObject(const Kind<Object>& kind, const Object& object, Lines& out) {
  const std::u16string title = toUtf16(kind.singular) + u" " + showValue(object.FullName);
  bool headed = false;
  for (const typeDiff& difference : object.Diff) {
    if (difference.DiffType == diff_DoesNotExist) {
      out.write(0, title + u": only in " + std::u16string(sideOf(difference)));
      headed = true;
      continue;
    }
    if (!headed) out.write(0, title);
    headed = true;
    writeValues(difference, 1, out);
  }
  if (!headed) out.write(0, title);
  for (const auto& [part, entities] : kParts<Object>)
    for (const diffEntity& entity : object.*entities) writePart(part, entity, out);
  out.write(0, u"");
}

std::u16string counted(std::int64_t count, std::string_view singular, std::string_view plural) {
  return number(count) + u" " + toUtf16(count == 1 ? singular : plural);
}

std::u16string summary(const diffSchema& differences, Coverage coverage) {
  std::int64_t total = 0, objects = 0;
  std::u16string kinds;
  forEachKind(differences, [&](const auto& kind, const auto& all) {
    if (all.empty()) return;
    objects += all.count();
    for (const auto& object : all) total += differencesOf(object);
    kinds += (kinds.empty() ? u"" : u", ") + counted(all.count(), kind.singular, kind.plural);
  });
  const bool partial = coverage == Coverage::partial;
  if (objects == 0) return partial ? u"No differences in what could be read." : u"No differences.";
  return counted(total, "difference", "differences") + u" in " +
         counted(objects, "object", "objects") + u": " + kinds +
         (partial ? u". Not everything could be read." : u".");
}

}  // namespace
}  // namespace report

void writeTextReport(const diffSchema& differences, Coverage coverage, std::ostream& out) {
  report::Lines lines(out);
  const diffSchema shown = report::withOwnersOfGroups(differences);
  report::forEachKind(shown, [&](const auto& kind, const auto& objects) {
    for (const auto& object : objects) report::writeObject(kind, object, lines);
  });
  lines.write(0, report::summary(shown, coverage));
}

}  // namespace kelvane
