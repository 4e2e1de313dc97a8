#include "cli/verbs/keyed_report.h"

#include <algorithm>
#include <optional>

#include "cli/screen/text_table.h"
#include "cli/verbs/keyed_words.h"
#include "cli/verbs/listing.h"
#include "cli/verbs/value_text.h"
#include "model/text.h"
#include "report/drawn_tree.h"
#include "report/json_writer.h"
#include "report/visible_text.h"

namespace kelvane::cli {
namespace {

void addLines(const KeyedTable& one, TextTable& table) {
  const std::u16string indent = u"  ";
  for (const std::u16string& note : notesOf(one)) table.addBelow(indent + note);
  std::u16string changed;
  for (const std::u16string& column : changedColumns(one))
    changed += (changed.empty() ? u"" : u", ") + column;
  if (!changed.empty()) table.addBelow(indent + u"changed values: " + changed);
  for (const RowSample& sample : one.samples) table.addBelow(indent + shown(one, sample));
}

void writeTexts(JsonWriter& writer, std::string_view member, const Texts& texts,
                const KeyedTable& table, std::size_t begin, std::size_t end) {
  writer.key(member);
  writer.beginObject();
  for (std::size_t at = begin; at < end; ++at) {
    const auto& [text, rest] = texts[at];
    const std::string& name = table.plan.columns[at].name;
    if (text && !rest) writer.member(name, *text);
    if (!rest) continue;
    writer.key(name);
    writer.beginObject();
    writer.member("begins", *text);
    writer.member(rest->isText ? "characters" : "bytes",
                  static_cast<std::int64_t>(rest->isText ? rest->characters : rest->size));
    writer.endObject();
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

// What the result rests on, and how many tables are equal.
void writeClosing(const KeyedReport& report, std::ostream& out) {
  for (const std::string& option : report.options)
    out << (&option == report.options.data() ? "\ncompared with " : ", ")
        << toUtf8(report::showValue(toUtf16(option)));
  if (!report.options.empty()) out << '\n';
  out << '\n' << closingOf(report) << '\n';
}

// "item: 1 equal, 2 changed, 1 only in target"
report::Node nodeOf(const KeyedTable& one) {
  report::Node node{shownCell(one.name) + u": "};
  if (one.ended == KeyedEnd::missingInSource || one.ended == KeyedEnd::missingInTarget) {
    node.text += textOf(one.ended).text;
    return node;
  }
  node.text += countsOf(one);
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
