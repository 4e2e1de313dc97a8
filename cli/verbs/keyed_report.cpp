#include "cli/verbs/keyed_report.h"

#include <algorithm>
#include <optional>

#include "cli/screen/text_table.h"
#include "cli/verbs/listing.h"
#include "cli/verbs/value_text.h"
#include "model/text.h"
#include "report/json_writer.h"
#include "report/visible_text.h"

namespace kelvane::cli {
namespace {

struct EndText {
  std::string_view member;  // in JSON
  std::u16string_view text;
};
// In the order of KeyedEnd.
constexpr auto kEnds = std::to_array<EndText>({
    {"whole", u""},
    {"error", u"error: "},
    {"missingInSource", u"missing in the source"},
    {"missingInTarget", u"missing in the target"},
    {"notReached", u"not compared"},
});
const EndText& textOf(KeyedEnd end) { return kEnds[static_cast<std::size_t>(end)]; }

constexpr std::array<std::u16string_view, 2> kOnlyIn{u"  columns only in the source: ",
                                                     u"  columns only in the target: "};

using NoRows = std::array<std::int64_t, 2>;
using Texts = std::vector<std::optional<std::u16string>>;

std::u16string shown(const std::optional<std::u16string>& text) {
  if (!text) return u"null";
  return *text == u"null" ? u"\"null\"" : report::showValue(*text);
}

std::u16string joined(const std::vector<std::string>& names) {
  std::u16string text;
  for (const std::string& name : names) text += (text.empty() ? u"" : u", ") + shownCell(name);
  return text;
}

// "id 3, line 2"
std::u16string shownCells(const KeyedTable& table, const Texts& texts, std::size_t count) {
  std::u16string text;
  for (std::size_t at = 0; at < count; ++at)
    text += (text.empty() ? u"" : u", ") + shownCell(table.plan.columns[at].name) + u" " +
            shown(texts[at]);
  return text;
}

std::u16string shown(const KeyedTable& table, const RowSample& sample) {
  const Texts source = textsOf(table.plan, sample.cells[0], 0),
              target = textsOf(table.plan, sample.cells[1], 1);
  const std::size_t keys = table.plan.pairing.keyColumns;
  if (target.empty()) return u"  - " + shownCells(table, source, keys);
  if (source.empty()) return u"  + " + shownCells(table, target, keys);
  std::u16string text = u"  ~ " + shownCells(table, source, keys) + u": ";
  bool isFirst = true;
  for (const std::size_t at : table.plan.changedColumns(sample.cells[0], sample.cells[1])) {
    if (!isFirst) text += u", ";
    isFirst = false;
    text += shownCell(table.plan.columns[at].name) + u" " + shown(source[at]) + u" -> " +
            shown(target[at]);
    if (source[at] && target[at]) text += report::lookAlikeNote(*source[at], *target[at]);
  }
  return text;
}

void addLines(const KeyedTable& one, TextTable& table) {
  const rows::TablePlan& plan = one.plan;
  for (const std::size_t side : {0U, 1U}) {
    if (!plan.columnsOnlyIn[side].empty())
      table.addBelow(std::u16string(kOnlyIn[side]) + joined(plan.columnsOnlyIn[side]));
  }
  if (!plan.serverColumns.empty())
    table.addBelow(u"  timestamps, which are not compared: " + joined(plan.serverColumns));
  for (const rows::ComparedColumn& column : plan.columns) {
    if (!column.types[0].empty())
      table.addBelow(u"  types differ: " + shownCell(column.name) + u" " +
                     toUtf16(column.types[0]) + u" -> " + toUtf16(column.types[1]));
  }
  std::u16string changed;
  for (std::size_t at = 0; at < one.counts.changedValues.size(); ++at) {
    if (one.counts.changedValues[at] > 0)
      changed += (changed.empty() ? u"" : u", ") + shownCell(plan.columns[at].name) + u" " +
                 decimalText(one.counts.changedValues[at]);
  }
  if (!changed.empty()) table.addBelow(u"  changed values: " + changed);
  for (const RowSample& sample : one.samples) table.addBelow(shown(one, sample));
}

std::u16string shownKey(const KeyedTable& table) {
  const rows::TablePlan& plan = table.plan;
  if (plan.columns.empty()) return {};
  if (plan.key == "none") return u"none: whole rows";
  std::u16string text = shownCell(plan.key) + u": ";
  for (std::size_t at = 0; at < plan.pairing.keyColumns; ++at)
    text += (at == 0 ? u"" : u", ") + shownCell(plan.columns[at].name);
  return plan.pairing.isUnique ? text : text + u" (not unique)";
}

void writeTexts(JsonWriter& writer, std::string_view member, const Texts& texts,
                const KeyedTable& table, std::size_t begin, std::size_t end) {
  writer.key(member);
  writer.beginObject();
  for (std::size_t at = begin; at < end; ++at) {
    if (texts[at]) writer.member(table.plan.columns[at].name, *texts[at]);
  }
  writer.endObject();
}

void writeSample(JsonWriter& writer, const KeyedTable& table, const RowSample& sample) {
  const Texts source = textsOf(table.plan, sample.cells[0], 0),
              target = textsOf(table.plan, sample.cells[1], 1);
  const std::size_t keys = table.plan.pairing.keyColumns, all = table.plan.columns.size();
  writer.beginObject();
  writer.member("kind", std::string_view(target.empty()   ? "onlyInSource"
                                         : source.empty() ? "onlyInTarget"
                                                          : "changed"));
  writeTexts(writer, "key", source.empty() ? target : source, table, 0, keys);
  if (!source.empty()) writeTexts(writer, "source", source, table, keys, all);
  if (!target.empty()) writeTexts(writer, "target", target, table, keys, all);
  writer.endObject();
}

void writeTable(JsonWriter& writer, const KeyedTable& one) {
  const rows::TablePlan& plan = one.plan;
  const rows::RowCounts& counts = one.counts;
  writer.beginObject();
  writer.member("table", std::string_view(one.name));
  writer.member("ended", textOf(one.ended).member);
  writer.member("error", std::string_view(one.error));
  writer.member("key", std::string_view(plan.key));
  writer.key("keyColumns");
  writer.beginArray();
  for (std::size_t at = 0; plan.key != "none" && at < plan.pairing.keyColumns; ++at)
    writer.value(std::string_view(plan.columns[at].name));
  writer.endArray();
  writer.member("unique", plan.pairing.isUnique);
  writer.member("sourceRows", counts.rows[0]);
  writer.member("targetRows", counts.rows[1]);
  writer.member("equal", counts.equal);
  writer.member("changed", counts.changed);
  writer.member("onlyInSource", counts.alone[0]);
  writer.member("onlyInTarget", counts.alone[1]);
  writer.member("columnsOnlyInSource", plan.columnsOnlyIn[0]);
  writer.member("columnsOnlyInTarget", plan.columnsOnlyIn[1]);
  writer.member("timestamps", plan.serverColumns);
  writer.key("columns");
  writer.beginArray();
  for (std::size_t at = 0; at < plan.columns.size(); ++at) {
    const rows::ComparedColumn& column = plan.columns[at];
    writer.beginObject();
    writer.member("column", std::string_view(column.name));
    if (at < counts.changedValues.size()) writer.member("changed", counts.changedValues[at]);
    if (!column.types[0].empty()) {
      writer.member("sourceType", std::string_view(column.types[0]));
      writer.member("targetType", std::string_view(column.types[1]));
    }
    writer.endObject();
  }
  writer.endArray();
  writer.key("samples");
  writer.beginArray();
  for (const RowSample& sample : one.samples) writeSample(writer, one, sample);
  writer.endArray();
  writer.endObject();
}

}  // namespace

bool KeyedTable::differs() const {
  return ended == KeyedEnd::missingInSource || ended == KeyedEnd::missingInTarget ||
         counts.differ() || !plan.columnsOnlyIn[0].empty() || !plan.columnsOnlyIn[1].empty();
}

ExitStatus KeyedReport::status() const {
  if (!gaps.empty() || !std::ranges::all_of(tables, &KeyedTable::isCompared)) return kNotProven;
  return std::ranges::any_of(tables, &KeyedTable::differs) ? kDifferences : kNoDifference;
}

void writeText(const KeyedReport& report, std::ostream& out) {
  using enum TextTable::Align;
  TextTable table({left, right, right, right, right});
  table.add({u"Table", u"Equal", u"Changed", u"Only in source", u"Only in target", u"Key"});
  std::size_t differing = 0, failed = 0;
  for (const KeyedTable& one : report.tables) {
    const bool isPart = one.ended == KeyedEnd::notReached && one.counts.rows != NoRows{};
    const std::u16string end =
        (isPart ? u"compared in part" : std::u16string(textOf(one.ended).text)) +
        (one.error.empty() ? u"" : report::showValue(toUtf16(one.error)));
    table.add({shownCell(one.name), decimalText(one.counts.equal), decimalText(one.counts.changed),
               decimalText(one.counts.alone[0]), decimalText(one.counts.alone[1]),
               one.ended == KeyedEnd::whole ? shownKey(one) : end});
    addLines(one, table);
    if (!one.isCompared())
      ++failed;
    else if (one.differs())
      ++differing;
  }
  table.write(out);
  for (const std::string& option : report.options)
    out << (&option == report.options.data() ? "\ncompared with " : ", ")
        << toUtf8(report::showValue(toUtf16(option)));
  if (!report.options.empty()) out << '\n';
  const std::size_t all = report.tables.size();
  out << '\n'
      << all << (all == 1 ? " table: " : " tables: ") << all - differing - failed << " equal, "
      << differing << " different, " << failed << " not compared to the end\n";
}

void writeJson(const KeyedReport& report, std::ostream& out) {
  JsonWriter writer(out);
  writer.beginObject();
  writer.member("format", 2);
  writer.member("source", std::string_view(report.sides[0]));
  writer.member("target", std::string_view(report.sides[1]));
  writer.member("complete",
                report.gaps.empty() && std::ranges::all_of(report.tables, &KeyedTable::isCompared));
  writer.member("gaps", report.gaps);
  writer.member("options", report.options);
  writer.key("tables");
  writer.beginArray();
  for (const KeyedTable& one : report.tables) writeTable(writer, one);
  writer.endArray();
  writer.endObject();
}

}  // namespace kelvane::cli
