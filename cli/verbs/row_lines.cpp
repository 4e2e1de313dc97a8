#include "cli/verbs/row_lines.h"

#include <algorithm>
#include <vector>

#include "cli/verbs/value_text.h"
#include "model/text.h"
#include "report/json_text.h"

namespace kelvane::cli {
namespace {

using Columns = std::vector<std::size_t>;

std::string json(std::string_view utf8) { return jsonString(toUtf16(utf8)); }

std::string jsonObject(const KeyedTable& table, const Texts& texts, const Columns& columns) {
  std::string object = "{";
  for (const std::size_t at : columns) {
    if (object.size() > 1) object += ',';
    const auto& text = texts[at].text;
    object += json(table.plan.columns[at].name) + ':' + (text ? jsonString(*text) : "null");
  }
  return object + '}';
}

std::string csvField(const std::string& text) {
  if (!text.empty() && text.find_first_of("\",\r\n") == std::string::npos) return text;
  std::string field = "\"";
  for (const char byte : text) field += byte == '"' ? "\"\"" : std::string(1, byte);
  return field + '"';
}

std::string csvValue(const Texts& texts, std::size_t at) {
  return at < texts.size() && texts[at].text ? csvField(toUtf8(*texts[at].text)) : std::string();
}

Columns columnsFrom(std::size_t begin, std::size_t end) {
  Columns columns;
  for (std::size_t at = begin; at < end; ++at) columns.push_back(at);
  return columns;
}

}  // namespace

RowLines::RowLines(const Console& console, RowLineFormat format)
    : console_(console), out_(console.out), format_(format) {
  if (format_ == RowLineFormat::csv) out_ << "table,change,key,column,source,target\r\n";
}

void RowLines::tableBegins(const KeyedTable&) {}

void RowLines::rowsDiffer(const KeyedTable& table, const rows::DifferingRows& rows) {
  if (isLeft_) return;
  const rows::TablePlan& plan = table.plan;
  const std::size_t keys = plan.hasKey() ? plan.pairing.keyColumns : 0;
  const Texts source = rows.source.empty() ? Texts() : textsOf(plan, rows.source, 0);
  const Texts target = rows.target.empty() ? Texts() : textsOf(plan, rows.target, 1);
  const bool isChanged = !source.empty() && !target.empty();
  const Columns columns = isChanged ? plan.changedColumns(rows.source, rows.target)
                                    : columnsFrom(keys, plan.columns.size());
  const char sign = isChanged ? '~' : target.empty() ? '-' : '+';
  const std::string key = jsonObject(table, source.empty() ? target : source, columnsFrom(0, keys));
  if (format_ == RowLineFormat::jsonLines) {
    out_ << "{\"table\":" << json(table.name) << ",\"change\":\"" << sign << "\",\"key\":" << key;
    if (!source.empty()) out_ << ",\"source\":" << jsonObject(table, source, columns);
    if (!target.empty()) out_ << ",\"target\":" << jsonObject(table, target, columns);
    out_ << "}\n";
  } else {
    const std::string begin = csvField(table.name) + ',' + sign + ',' + csvField(key) + ',';
    for (const std::size_t at : columns)
      out_ << begin << csvField(plan.columns[at].name) << ',' << csvValue(source, at) << ','
           << csvValue(target, at) << "\r\n";
    // A row that is nothing but its key.
    if (columns.empty()) out_ << begin << ",,\r\n";
  }
  requireWritten();
}

void RowLines::tableEnds(const KeyedTable& table) {
  ended_.insert(table.name);
  writeEnd(table);
  requireWritten();
}

void RowLines::writeEnd(const KeyedTable& table) {
  if (format_ == RowLineFormat::csv) return;
  out_ << "{\"table\":" << json(table.name);
  if (table.ended == KeyedEnd::error) out_ << ",\"error\":" << json(table.error);
  if (table.ended == KeyedEnd::missingInSource) out_ << ",\"missing\":\"source\"";
  if (table.ended == KeyedEnd::missingInTarget) out_ << ",\"missing\":\"target\"";
  if (table.ended == KeyedEnd::whole || table.ended == KeyedEnd::notReached)
    out_ << ",\"whole\":" << (table.ended == KeyedEnd::whole ? "true" : "false")
         << ",\"equal\":" << table.counts.equal << ",\"changed\":" << table.counts.changed
         << ",\"onlyInSource\":" << table.counts.alone[0]
         << ",\"onlyInTarget\":" << table.counts.alone[1]
         << (table.checksums ? ",\"byChecksum\":true" : "");
  out_ << "}\n";
}

void RowLines::finish(const KeyedReport& report) {
  for (const KeyedTable& table : report.tables) {
    if (!ended_.contains(table.name)) writeEnd(table);
  }
  if (format_ == RowLineFormat::jsonLines) {
    for (const std::string& gap : report.gaps) out_ << "{\"gap\":" << json(gap) << "}\n";
    out_ << "{\"complete\":" << (report.status() == kNotProven ? "false" : "true") << "}\n";
  }
  out_.flush();
  requireWritten();
}

void RowLines::requireWritten() {
  if (out_ || isLeft_) return;
  isLeft_ = console_.outIsLeft && console_.outIsLeft();
  if (!isLeft_) throw CommandError({"cannot write the rows to standard output"});
}

}  // namespace kelvane::cli
