#include "cli/verbs/keyed_report.h"

#include <algorithm>
#include <optional>

#include "cli/screen/text_table.h"
#include "cli/verbs/listing.h"
#include "cli/verbs/value_text.h"
#include "model/text.h"
#include "report/drawn_tree.h"
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

constexpr std::array<std::u16string_view, 2> kOnlyIn{u"columns only in the source: ",
                                                     u"columns only in the target: "};

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
  if (target.empty()) return u"- " + shownCells(table, source, keys);
  if (source.empty()) return u"+ " + shownCells(table, target, keys);
  std::u16string text = u"~ " + shownCells(table, source, keys) + u": ";
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

// What is to be known of a table besides its counts, a line each.
std::vector<std::u16string> notesOf(const KeyedTable& one) {
  const rows::TablePlan& plan = one.plan;
  std::vector<std::u16string> notes;
  for (const std::size_t side : {0U, 1U}) {
    if (!plan.columnsOnlyIn[side].empty())
      notes.push_back(std::u16string(kOnlyIn[side]) + joined(plan.columnsOnlyIn[side]));
  }
  if (!plan.serverColumns.empty())
    notes.push_back(u"timestamps, which are not compared: " + joined(plan.serverColumns));
  for (const rows::ComparedColumn& column : plan.columns) {
    if (!column.types[0].empty())
      notes.push_back(u"types differ: " + shownCell(column.name) + u" " + toUtf16(column.types[0]) +
                      u" -> " + toUtf16(column.types[1]));
  }
  if (one.checksums)
    notes.push_back(u"by checksum: rows of " + decimalText(one.checksums->differing) + u" of " +
                    decimalText(one.checksums->buckets) +
                    (one.checksums->buckets == 1 ? u" bucket were read" : u" buckets were read"));
  for (const std::string& remark : one.remarks) notes.push_back(toUtf16(remark));
  return notes;
}

// "price 2", of each column that differs anywhere.
std::vector<std::u16string> changedColumns(const KeyedTable& one) {
  std::vector<std::u16string> changed;
  for (std::size_t at = 0; at < one.counts.changedValues.size(); ++at) {
    if (one.counts.changedValues[at] > 0)
      changed.push_back(shownCell(one.plan.columns[at].name) + u" " +
                        decimalText(one.counts.changedValues[at]));
  }
  return changed;
}

void addLines(const KeyedTable& one, TextTable& table) {
  const std::u16string indent = u"  ";
  for (const std::u16string& note : notesOf(one)) table.addBelow(indent + note);
  std::u16string changed;
  for (const std::u16string& column : changedColumns(one))
    changed += (changed.empty() ? u"" : u", ") + column;
  if (!changed.empty()) table.addBelow(indent + u"changed values: " + changed);
  for (const RowSample& sample : one.samples) table.addBelow(indent + shown(one, sample));
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
  if (one.checksums) {
    writer.key("checksums");
    writer.beginObject();
    writer.member("buckets", one.checksums->buckets);
    writer.member("differing", one.checksums->differing);
    writer.endObject();
  }
  writer.member("columnsOnlyInSource", plan.columnsOnlyIn[0]);
  writer.member("columnsOnlyInTarget", plan.columnsOnlyIn[1]);
  writer.member("timestamps", plan.serverColumns);
  writer.member("remarks", one.remarks);
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

namespace {

// How a table ended, where that is not the end of its rows.
std::u16string endOf(const KeyedTable& one) {
  const bool isPart = one.ended == KeyedEnd::notReached && one.counts.rows != NoRows{};
  return (isPart ? u"compared in part" : std::u16string(textOf(one.ended).text)) +
         (one.error.empty() ? u"" : report::showValue(toUtf16(one.error)));
}

// What the result rests on, and how many tables are equal.
void writeClosing(const KeyedReport& report, std::ostream& out) {
  for (const std::string& option : report.options)
    out << (&option == report.options.data() ? "\ncompared with " : ", ")
        << toUtf8(report::showValue(toUtf16(option)));
  if (!report.options.empty()) out << '\n';
  std::size_t differing = 0, failed = 0, summed = 0;
  for (const KeyedTable& one : report.tables) {
    failed += one.isCompared() ? 0 : 1;
    differing += one.isCompared() && one.differs() ? 1 : 0;
    summed += one.checksums ? 1 : 0;
  }
  const std::size_t all = report.tables.size();
  out << '\n'
      << all << (all == 1 ? " table: " : " tables: ") << all - differing - failed << " equal, "
      << differing << " different, " << failed << " not compared to the end";
  if (summed > 0) out << "; " << summed << " by checksum";
  out << '\n';
}

// "item: 1 equal, 2 changed, 1 only in target"
report::Node nodeOf(const KeyedTable& one) {
  const rows::RowCounts& counts = one.counts;
  report::Node node{shownCell(one.name) + u": "};
  if (one.ended == KeyedEnd::missingInSource || one.ended == KeyedEnd::missingInTarget) {
    node.text += textOf(one.ended).text;
    return node;
  }
  node.text += decimalText(counts.equal) + u" equal";
  const auto add = [&](std::int64_t count, std::u16string_view what) {
    if (count > 0) node.text += u", " + decimalText(count) + std::u16string(what);
  };
  add(counts.changed, u" changed");
  add(counts.alone[0], u" only in source");
  add(counts.alone[1], u" only in target");
  if (!one.isCompared()) node.text += u"; " + endOf(one);
  if (const std::u16string key = shownKey(one); !key.empty()) node.children.push_back({key});
  for (std::u16string& note : notesOf(one)) node.children.push_back({std::move(note)});
  if (const auto changed = changedColumns(one); !changed.empty()) {
    report::Node& columns = node.children.emplace_back(report::Node{u"changed values"});
    for (const std::u16string& column : changed) columns.children.push_back({column});
  }
  if (!one.samples.empty()) {
    report::Node& rows = node.children.emplace_back(report::Node{u"rows"});
    for (const RowSample& sample : one.samples) rows.children.push_back({shown(one, sample)});
  }
  return node;
}

}  // namespace

void writeText(const KeyedReport& report, std::ostream& out) {
  using enum TextTable::Align;
  TextTable table({left, right, right, right, right});
  table.add({u"Table", u"Equal", u"Changed", u"Only in source", u"Only in target", u"Key"});
  for (const KeyedTable& one : report.tables) {
    table.add({shownCell(one.name), decimalText(one.counts.equal), decimalText(one.counts.changed),
               decimalText(one.counts.alone[0]), decimalText(one.counts.alone[1]),
               one.ended == KeyedEnd::whole ? shownKey(one) : endOf(one)});
    addLines(one, table);
  }
  table.write(out);
  writeClosing(report, out);
}

void writeTree(const KeyedReport& report, std::ostream& out) {
  out << "source: " << toUtf8(report::showValue(toUtf16(report.sides[0])))
      << " -> target: " << toUtf8(report::showValue(toUtf16(report.sides[1]))) << '\n';
  std::vector<report::Node> nodes;
  for (const KeyedTable& one : report.tables) {
    if (!one.isCompared() || one.differs()) nodes.push_back(nodeOf(one));
  }
  report::drawNodes(nodes, out);
  writeClosing(report, out);
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
