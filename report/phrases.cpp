#include "report/phrases.h"

#include <algorithm>
#include <array>
#include <fmt/color.h>

#include "model/text.h"
#include "report/diff_walk.h"
#include "report/visible_text.h"

namespace kelvane::report {
namespace {

const std::array<fmt::text_style, 4> kInks{fmt::fg(fmt::terminal_color::red),
                                           fmt::fg(fmt::terminal_color::green), fmt::emphasis::bold,
                                           fmt::fg(fmt::terminal_color::cyan)};

std::u16string counts(const diffSchema& differences, Coverage coverage) {
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

std::u16string painted(std::u16string_view text, Ink ink, Colors colors) {
  if (colors == Colors::none) return std::u16string(text);
  return toUtf16(fmt::format(kInks[static_cast<std::size_t>(ink)], "{}", toUtf8(text)));
}

std::u16string counted(std::int64_t count, std::string_view singular, std::string_view plural) {
  return decimalText(count) + u" " + toUtf16(count == 1 ? singular : plural);
}

std::u16string onlyIn(enumLocation side, Colors colors) {
  return side == location_Source ? painted(u"only in source", Ink::source, colors)
                                 : painted(u"only in target", Ink::target, colors);
}

std::u16string sidesLine(const ReportHeader& header, Colors colors) {
  return u"source: " + painted(showValue(toUtf16(header.source)), Ink::source, colors) +
         u" -> target: " + painted(showValue(toUtf16(header.target)), Ink::target, colors);
}

std::u16string valuesLine(const typeDiff& difference, const Values& values, Colors colors) {
  const auto [before, after] = showPair(values.before, values.after);
  return difference.SubEntityType + u": " + painted(before, Ink::source, colors) + u" -> " +
         painted(after, Ink::target, colors) + lookAlikeNote(values.before, values.after);
}

std::u16string heading(const Title& title) {
  std::u16string text(title.word);
  if (title.nameOf == NameOf::keys) text += u" (" + showValue(title.name) + u")";
  if (title.nameOf == NameOf::thing) text += u" " + showValue(title.name);
  return text;
}

std::u16string renameNote(const Rename& rename, enumLocation side) {
  const bool ofSource = side == location_Source;
  return std::u16string(u"probably renamed ") + (ofSource ? u"to " : u"from ") +
         showValue(ofSource ? rename.target : rename.source) +
         (rename.likeness == 100 ? u" (equal contents)"
                                 : u" (" + decimalText(rename.likeness) + u"% of the contents)");
}

std::u16string closingLine(const diffSchema& shown, const ReportHeader& header) {
  std::u16string line = counts(shown, header.coverage());
  for (const std::string& note : header.notes) line += u" " + toUtf16(note) + u".";
  return line;
}

void KindCounts::add(const Array<typeDiff>& own, std::int64_t all) {
  differences += all;
  const auto* missing = std::ranges::find(own, diff_DoesNotExist, &typeDiff::DiffType);
  if (missing == own.end())
    ++differ;
  else
    ++(missing->Location == location_Source ? onlyInSource : onlyInTarget);
}

}  // namespace kelvane::report
