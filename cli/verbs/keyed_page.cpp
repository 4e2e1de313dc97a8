#include "cli/verbs/keyed_page.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "cli/verbs/keyed_words.h"
#include "cli/verbs/listing.h"
#include "cli/verbs/value_text.h"
#include "model/text.h"
#include "report/html_page.h"
#include "report/visible_text.h"

namespace kelvane::cli {
namespace {

using report::PageData;

std::optional<enumLocation> sideOf(KeyedEnd end) {
  if (end == KeyedEnd::missingInTarget) return location_Source;
  if (end == KeyedEnd::missingInSource) return location_target;
  return std::nullopt;
}

// The page shows what a value is made of; only null has to be told from a text.
std::u16string valueOf(const ValueText& value) {
  if (value.rest) return *value.text + u"... (" + value.length() + u")";
  return value.text && *value.text != u"null" ? *value.text : shown(value.text);
}

std::int64_t differencesOf(const KeyedTable& one) {
  const auto columns = one.plan.columnsOnlyIn[0].size() + one.plan.columnsOnlyIn[1].size();
  return one.counts.changed + one.counts.alone[0] + one.counts.alone[1] +
         static_cast<std::int64_t>(columns) + (sideOf(one.ended) ? 1 : 0);
}

class TablePage {
 public:
  TablePage(const KeyedTable& table, PageData& data)
      : table_(table), data_(data), json_(data.json()) {}

  void write() {
    json_.beginObject();
    json_.member("name", std::string_view(table_.name));
    json_.member("owner", std::string_view(table_.plan.names[0].owner));
    json_.member("count", differencesOf(table_));
    json_.key("diffs");
    json_.beginArray();
    json_.endArray();
    const auto side = sideOf(table_.ended);
    if (side) data_.writeSide(*side);
    if (!side) writeFacts();
    json_.key("parts");
    json_.beginArray();
    for (const std::size_t at : {0U, 1U}) {
      for (const std::string& column : table_.plan.columnsOnlyIn[at])
        writePart(u"column", toUtf16(column), at);
    }
    for (const RowSample& sample : table_.samples) writeRow(sample);
    json_.endArray();
    json_.endObject();
  }

 private:
  void writeFacts() {
    json_.key("facts");
    json_.beginArray();
    const auto add = [&](const std::u16string& fact) {
      if (!fact.empty()) json_.value(std::u16string_view(fact));
    };
    if (!table_.isCompared()) add(endOf(table_));
    add(countsOf(table_));
    add(shownKey(table_));
    for (const std::u16string& note : notesOf(table_)) add(note);
    std::u16string changed;
    for (const std::u16string& column : changedColumns(table_))
      changed += (changed.empty() ? u"changed values: " : u", ") + column;
    add(changed);
    json_.endArray();
  }

  void writePart(std::u16string_view word, const std::u16string& name, std::size_t side,
                 const std::u16string& declaration = {}) {
    json_.beginObject();
    json_.member("word", word);
    json_.member("name", std::u16string_view(name));
    data_.writeSide(side == 0 ? location_Source : location_target);
    if (!declaration.empty()) json_.member("declaration", std::u16string_view(declaration));
    json_.endObject();
  }

  void writeRow(const RowSample& sample) {
    const rows::TablePlan& plan = table_.plan;
    const Texts source = textsOf(plan, sample.cells[0], 0),
                target = textsOf(plan, sample.cells[1], 1);
    const std::size_t keys = plan.pairing.keyColumns;
    const Texts& one = source.empty() ? target : source;
    const std::u16string name = shownCells(table_, one, 0, keys);
    if (source.empty() || target.empty())
      return writePart(u"row", name, source.empty() ? 1 : 0,
                       shownCells(table_, one, keys, one.size()));
    json_.beginObject();
    json_.member("word", "row");
    json_.member("name", std::u16string_view(name));
    json_.key("diffs");
    json_.beginArray();
    for (const std::size_t at : plan.changedColumns(sample.cells[0], sample.cells[1])) {
      std::u16string place = placeOf(source[at], target[at]);
      if (!place.empty()) place = u" (" + place + u")";
      data_.writeDifference(toUtf16(plan.columns[at].name), valueOf(source[at]),
                            valueOf(target[at]) + place);
    }
    json_.endArray();
    json_.endObject();
  }

  const KeyedTable& table_;
  PageData& data_;
  JsonWriter& json_;
};

}  // namespace

void writeHtml(const KeyedReport& report, std::ostream& out) {
  ReportHeader header{report.sides[0], report.sides[1], KELVANE_VERSION};
  header.gaps = report.gaps;
  header.notes = {closingOf(report)};
  for (const std::string& option : report.options)
    header.notes.push_back("Compared with " + option);
  std::vector<const KeyedTable*> differing, equal;
  for (const KeyedTable& one : report.tables) {
    if (!one.isCompared()) header.gaps.push_back(one.name + ": " + toUtf8(endOf(one)));
    if (differencesOf(one) > 0)
      differing.push_back(&one);
    else if (one.isCompared())
      equal.push_back(&one);
  }
  const auto writeTables = [&](PageData& data) {
    if (differing.empty()) return;
    data.writeKind("table", "tables", [&] {
      for (const KeyedTable* one : differing) TablePage(*one, data).write();
    });
  };
  const auto writeEqual = [&](PageData& data) {
    std::vector<std::string> lines;
    for (const KeyedTable* one : equal) {
      std::u16string line = shownCell(one->name) + u": " + countsOf(*one);
      if (const std::u16string key = shownKey(*one); !key.empty()) line += u"; " + key;
      for (const std::u16string& note : notesOf(*one)) line += u"; " + note;
      lines.push_back(toUtf8(line));
    }
    if (!lines.empty()) data.json().member("equal", lines);
  };
  report::writePage(header, {}, {writeTables, writeEqual}, out);
}

}  // namespace kelvane::cli
