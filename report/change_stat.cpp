#include <algorithm>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "model/text.h"
#include "report/change_report.h"
#include "report/change_words.h"
#include "report/phrases.h"
#include "report/tallies.h"

namespace kelvane {
namespace report {
namespace {

using inventory::Change;

struct Parts {
  std::int64_t changed = 0, onlyInSource = 0, onlyInTarget = 0;

  void add(const Change& change) {
    changed += static_cast<std::int64_t>(change.attributes.size());
    for (const Change& part : change.parts) {
      if (part.isOnBothSides())
        add(part);
      else
        ++(part.isOnlyInSource() ? onlyInSource : onlyInTarget);
    }
  }
  // "2 changed, 1 only in source"
  std::u16string text() const {
    std::u16string text;
    for (const auto& [count, words] : {std::pair{changed, u"changed"},
                                       {onlyInSource, u"only in source"},
                                       {onlyInTarget, u"only in target"}}) {
      if (count > 0) text += (text.empty() ? u"" : u", ") + decimalText(count) + u" " + words;
    }
    return text;
  }
};

struct Row {
  std::u16string object, count, parts;
};

Row rowOf(const Change& object) {
  const std::u16string count = decimalText(static_cast<std::int64_t>(countOf(object)));
  if (!object.isOnBothSides())
    return {headingOf(object), count, onlyIn(*sideOf(object), Colors::none)};
  Parts parts;
  parts.add(object);
  return {headingOf(object), count, parts.text()};
}

}  // namespace
}  // namespace report

void writeTextStat(const std::vector<inventory::Change>& changes, const ReportHeader& header,
                   std::ostream& out) {
  out << toUtf8(report::sidesLine(header, Colors::none)) << "\n\n";
  std::vector<report::Row> rows;
  rows.reserve(changes.size());
  std::size_t objectWidth = 0, countWidth = 0;
  for (const inventory::Change& change : changes) {
    const report::Row& row = rows.emplace_back(report::rowOf(change));
    objectWidth = std::max(objectWidth, row.object.size());
    countWidth = std::max(countWidth, row.count.size());
  }
  for (const auto& [object, count, parts] : rows)
    out << toUtf8(object) << std::string(objectWidth - object.size(), ' ') << "  "
        << std::string(countWidth - count.size(), ' ') << toUtf8(count) << "  " << toUtf8(parts)
        << '\n';
  if (!rows.empty()) out << '\n';
  out << toUtf8(report::closingLine(report::talliesOf(changes), header)) << '\n';
}

}  // namespace kelvane
