#include "report/three_ways_report.h"

#include <array>
#include <ostream>
#include <string_view>

#include "model/text.h"
#include "report/change_parts.h"
#include "report/change_words.h"
#include "report/json_report.h"
#include "report/tallies.h"

namespace kelvane::report {
namespace {

using findings::ThreeWays;

constexpr int kFormat = 1;

struct ListRow {
  ThreeWays::Changes ThreeWays::*changes;
  std::u16string_view title;
  std::string_view member;
  std::u16string_view closing;
};

constexpr std::array kLists{
    ListRow{&ThreeWays::conflicts, u"conflicts: both changed it, each in its own way", "conflicts",
            u" in conflict"},
    ListRow{&ThreeWays::bySource, u"only the source changed it", "bySource", u" by the source"},
    ListRow{&ThreeWays::byTarget, u"only the target changed it", "byTarget", u" by the target"},
    ListRow{&ThreeWays::alike, u"both changed it alike; shown is base -> both", "alike",
            u" by both alike"}};

}  // namespace

void writeThreeWaysText(const ThreeWays::Changes& changes, const ThreeWays& ways,
                        const std::string& base, const ReportHeader& header, Colors colors,
                        std::ostream& out) {
  Lines lines(out, colors);
  lines.write(0, u"base: " + toUtf16(base));
  lines.write(0, sidesLine(header, colors));
  lines.write(0, u"");
  std::u16string counts;
  for (const ListRow& row : kLists) {
    const ThreeWays::Changes& list = ways.*row.changes;
    if (list.empty()) continue;
    lines.write(0, u"== " + std::u16string(row.title));
    lines.write(0, u"");
    writeObjects(list, RenameIndex(header.renames), lines);
    counts += (counts.empty() ? u"" : u", ") +
              decimalText(static_cast<std::int64_t>(inventory::countOf(list))) +
              std::u16string(row.closing);
  }
  if (!counts.empty()) lines.write(0, u"changed: " + counts);
  lines.write(0, closingLine(talliesOf(changes), header));
}

void writeThreeWaysJson(const ThreeWays& ways, const std::string& base, const ReportHeader& header,
                        std::ostream& out) {
  JsonWriter json(out);
  json.beginObject();
  json.member("format", kFormat);
  writeJsonHeader(header, json);
  json.member("base", std::string_view(base));
  json.member("compared", header.switches);
  json.key("counts");
  json.beginObject();
  for (const ListRow& row : kLists) json.member(row.member, inventory::countOf(ways.*row.changes));
  json.endObject();
  for (const ListRow& row : kLists) {
    json.key(row.member);
    writeJsonChanges(ways.*row.changes, json);
  }
  json.endObject();
}

}  // namespace kelvane::report
