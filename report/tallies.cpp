#include "report/tallies.h"

#include <array>
#include <iomanip>
#include <ostream>
#include <utility>

#include "model/text.h"
#include "report/phrases.h"

namespace kelvane::report {
namespace {

constexpr int kKindWidth = 18;
constexpr std::array<std::string_view, 4> kCountTitles{"differ", "only in source", "only in target",
                                                       "differences"};

std::u16string totals(const Tallies& tallies, const ReportHeader& header) {
  if (header.nothingCompared) return u"Nothing was compared, because too little could be read.";
  std::int64_t total = 0, objects = 0;
  std::u16string kinds;
  for (const auto& [singular, plural, counts] : tallies) {
    objects += counts.objects();
    total += counts.differences;
    kinds += (kinds.empty() ? u"" : u", ") + counted(counts.objects(), singular, plural);
  }
  const bool partial = header.coverage() == Coverage::partial;
  if (objects == 0) return partial ? u"No differences in what could be read." : u"No differences.";
  return counted(total, "difference", "differences") + u" in " +
         counted(objects, "object", "objects") + u": " + kinds +
         (partial ? u". Not everything could be read." : u".");
}

void writeCounts(std::string_view kind, const KindCounts& counts, std::ostream& out) {
  const std::array values{counts.differ, counts.onlyInSource, counts.onlyInTarget,
                          counts.differences};
  out << std::left << std::setw(kKindWidth) << kind << std::right;
  for (std::size_t at = 0; at < values.size(); ++at)
    out << "  " << std::setw(static_cast<int>(kCountTitles[at].size())) << values[at];
  out << '\n';
}

}  // namespace

void KindCounts::add(std::optional<enumLocation> side, std::int64_t itsDifferences) {
  differences += itsDifferences;
  ++(!side ? differ : *side == location_Source ? onlyInSource : onlyInTarget);
}

std::u16string countsText(const KindCounts& counts) {
  std::u16string text;
  for (const auto& [count, words] : {std::pair{counts.differ, u"differ"},
                                     {counts.onlyInSource, u"only in source"},
                                     {counts.onlyInTarget, u"only in target"}}) {
    if (count > 0) text += (text.empty() ? u"" : u", ") + decimalText(count) + u" " + words;
  }
  return text;
}

std::u16string closingLine(const Tallies& tallies, const ReportHeader& header) {
  std::u16string line = totals(tallies, header);
  for (const std::string& note : header.notes) line += u" " + toUtf16(note) + u".";
  return line;
}

void writeSummary(const Tallies& tallies, const ReportHeader& header, std::ostream& out) {
  out << toUtf8(sidesLine(header, Colors::none)) << "\n\n";
  if (!tallies.empty()) {
    out << std::string(kKindWidth, ' ');
    for (const std::string_view title : kCountTitles) out << "  " << title;
    out << '\n';
    for (const KindTally& tally : tallies) writeCounts(tally.plural, tally.counts, out);
    out << '\n';
  }
  out << toUtf8(closingLine(tallies, header)) << '\n';
}

}  // namespace kelvane::report
