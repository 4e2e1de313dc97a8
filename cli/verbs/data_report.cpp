#include "cli/verbs/data_report.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "cli/screen/text_table.h"
#include "cli/verbs/listing.h"
#include "model/text.h"
#include "report/json_writer.h"
#include "report/visible_text.h"

namespace kelvane::cli {
namespace {

struct EndText {
  std::string_view member;  // in JSON
  std::u16string_view text;
};
// In the order of DataEnd.
constexpr auto kEnds = std::to_array<EndText>({
    {"bothEnded", u"all rows"},
    {"sourceEnded", u"the target has more rows"},
    {"targetEnded", u"the source has more rows"},
    {"rowLimit", u"row limit reached"},
    {"differenceLimit", u"difference limit reached"},
    {"error", u"error: "},
    {"missingInSource", u"missing in the source"},
    {"missingInTarget", u"missing in the target"},
    {"notReached", u"not compared"},
});
const EndText& textOf(DataEnd end) { return kEnds[static_cast<std::size_t>(end)]; }

constexpr std::array<std::string_view, 2> kOnlyIn{"columnsOnlyInSource", "columnsOnlyInTarget"};
constexpr std::array<std::u16string_view, 2> kOnlyInText{u"  columns only in the source: ",
                                                         u"  columns only in the target: "};

std::u16string shown(const ShownSide& side) {
  if (!side.text) return u"null";
  return *side.text == u"null" ? u"\"null\"" : report::showValue(*side.text);
}

// "x -> y", or "int 1 -> varchar 1".
std::u16string shown(const ShownValue& value) {
  const auto [source, target] = std::pair(shown(value.source), shown(value.target));
  if (value.lookAlike())
    return toUtf16(value.source.type) + u" " + source + u" -> " + toUtf16(value.target.type) +
           u" " + target;
  const bool both = value.source.text && value.target.text;
  return source + u" -> " + target +
         (both ? report::lookAlikeNote(*value.source.text, *value.target.text) : u"");
}

void addLines(const WatchedTable& seen, TextTable& table) {
  for (const std::size_t side : {0, 1}) {
    std::u16string names;
    for (const std::u16string& name : seen.fieldsOnlyIn(side))
      names += (names.empty() ? u"" : u", ") + shownCell(name);
    if (!names.empty()) table.addBelow(std::u16string(kOnlyInText[side]) + names);
  }
  for (const ShownValue& one : seen.values) {
    table.addBelow(u"  row " + decimalText(one.row) + u", " + shownCell(one.field) + u": " +
                   shown(one));
  }
}

}  // namespace

bool TableReport::differs() const {
  constexpr std::array kProofs{DataEnd::sourceEnded, DataEnd::targetEnded, DataEnd::missingInSource,
                               DataEnd::missingInTarget};
  return differences > 0 || seen.nulls > 0 || std::ranges::count(kProofs, ended) > 0 ||
         !seen.fieldsOnlyIn(0).empty() || !seen.fieldsOnlyIn(1).empty();
}

ExitStatus DataReport::status() const {
  if (!gaps.empty() || !std::ranges::all_of(tables, &TableReport::isCompared)) return kNotProven;
  if (std::ranges::any_of(tables, &TableReport::differs)) return kDifferences;
  return std::ranges::any_of(tables, &TableReport::isLimited) ? kNotProven : kNoDifference;
}

void writeText(const DataReport& report, std::ostream& out) {
  using enum TextTable::Align;
  TextTable table({left, right, right, right});
  table.add({u"Table", u"Rows compared", u"Differing values", u"Null on one side", u"Ended"});
  std::size_t differing = 0, limited = 0, failed = 0;
  for (const TableReport& one : report.tables) {
    const std::u16string error = one.error.empty() ? u"" : report::showValue(one.error);
    table.add({shownCell(one.table), decimalText(one.rowsCompared), decimalText(one.differences),
               decimalText(one.seen.nulls), std::u16string(textOf(one.ended).text) + error});
    addLines(one.seen, table);
    if (!one.isCompared())
      ++failed;
    else if (one.differs())
      ++differing;
    else if (one.isLimited())
      ++limited;
  }
  table.write(out);
  const std::size_t all = report.tables.size();
  out << '\n'
      << all << (all == 1 ? " table: " : " tables: ") << all - differing - limited - failed
      << " equal, " << differing << " different, " << limited << " equal up to a limit, " << failed
      << " not compared to the end\n";
}

void writeJson(const DataReport& report, std::ostream& out) {
  JsonWriter writer(out);
  const auto names = [&](std::string_view member, const std::vector<std::u16string>& texts) {
    writer.key(member);
    writer.beginArray();
    for (const std::u16string& text : texts) writer.value(text);
    writer.endArray();
  };
  writer.beginObject();
  writer.member("format", 1);
  writer.member("source", std::string_view(report.sides[0]));
  writer.member("target", std::string_view(report.sides[1]));
  writer.member("complete", report.gaps.empty() &&
                                std::ranges::all_of(report.tables, &TableReport::isCompared));
  writer.member("gaps", report.gaps);
  writer.key("tables");
  writer.beginArray();
  for (const TableReport& one : report.tables) {
    writer.beginObject();
    writer.member("table", one.table);
    writer.member("rowsCompared", one.rowsCompared);
    writer.member("differingValues", one.differences);
    writer.member("nullsOnOneSide", one.seen.nulls);
    writer.member("ended", textOf(one.ended).member);
    writer.member("error", one.error);
    for (const std::size_t side : {0, 1}) names(kOnlyIn[side], one.seen.fieldsOnlyIn(side));
    writer.key("values");
    writer.beginArray();
    for (const ShownValue& value : one.seen.values) {
      writer.beginObject();
      writer.member("row", value.row);
      writer.member("column", value.field);
      if (value.source.text) writer.member("source", *value.source.text);
      if (value.target.text) writer.member("target", *value.target.text);
      if (value.lookAlike()) {
        writer.member("sourceType", value.source.type);
        writer.member("targetType", value.target.type);
      }
      writer.endObject();
    }
    writer.endArray();
    writer.endObject();
  }
  writer.endArray();
  writer.endObject();
}

}  // namespace kelvane::cli
