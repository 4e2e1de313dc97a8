// What the reports for terminals say in the same words and colours.
//
// Lifetime and threading: free functions without state.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "model/diff_schema.h"
#include "report/readable_diff.h"
#include "report/report_header.h"
#include "report/text_report.h"

namespace kelvane::report {

enum class Ink { source, target, title, place };
std::u16string painted(std::u16string_view text, Ink ink, Colors colors);
// The same with what changed in reverse: every second piece, from the second on.
std::u16string paintedPieces(std::span<const std::u16string_view> pieces, Ink ink);

// "3 tables"
std::u16string counted(std::int64_t count, std::string_view singular, std::string_view plural);

// "only in source"
std::u16string onlyIn(enumLocation side, Colors colors);

// Which side is which: "source: old.sql -> target: new.sql".
std::u16string sidesLine(const ReportHeader& header, Colors colors);

// "5 -> 9", with a note where letters look alike
std::u16string valuesLine(const Values& values, Colors colors);

// "index ix", "primary key (a, b)"
std::u16string heading(const Title& title);

// What a guess says to the object that it is about on that side.
std::u16string renameNote(const Rename& rename, enumLocation side);

}  // namespace kelvane::report
