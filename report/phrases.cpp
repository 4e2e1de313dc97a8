#include "report/phrases.h"

#include <array>
#include <fmt/color.h>

#include "model/text.h"
#include "report/side_by_side.h"
#include "report/visible_text.h"

namespace kelvane::report {
namespace {

const std::array<fmt::text_style, 4> kInks{fmt::fg(fmt::terminal_color::red),
                                           fmt::fg(fmt::terminal_color::green), fmt::emphasis::bold,
                                           fmt::fg(fmt::terminal_color::cyan)};

}  // namespace

std::u16string painted(std::u16string_view text, Ink ink, Colors colors) {
  if (colors == Colors::none) return std::u16string(text);
  return toUtf16(fmt::format(kInks[static_cast<std::size_t>(ink)], "{}", toUtf8(text)));
}

std::u16string paintedPieces(std::span<const std::u16string_view> pieces, Ink ink) {
  const fmt::text_style plain = kInks[static_cast<std::size_t>(ink)];
  std::string text;
  for (std::size_t at = 0; at < pieces.size(); ++at) {
    if (pieces[at].empty()) continue;
    const fmt::text_style style = at % 2 == 1 ? plain | fmt::emphasis::reverse : plain;
    text += fmt::format(style, "{}", toUtf8(pieces[at]));
  }
  return toUtf16(text);
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

std::u16string valuesLine(const Values& values, Colors colors) {
  const auto [before, after] = showPair(values.before, values.after);
  if (colors == Colors::terminal) {
    const auto [removed, added] = markChanges(before, after);
    // Values that have nothing in common need no marks.
    if (removed.size() > 2 || !removed.front().empty())
      return paintedPieces(removed, Ink::source) + u" -> " + paintedPieces(added, Ink::target) +
             lookAlikeNote(values.before, values.after);
  }
  return painted(before, Ink::source, colors) + u" -> " + painted(after, Ink::target, colors) +
         lookAlikeNote(values.before, values.after);
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

}  // namespace kelvane::report
