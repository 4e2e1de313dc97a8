#include "tests/rows/compared.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>

#include "drivers/embedded/connection.h"
#include "inventory/read/reader.h"
#include "model/text.h"
#include "rows/ranged_rows.h"
#include "rows/table_plan.h"
#include "tests/inventory_read/support.h"

namespace kelvane::rows {
namespace {

struct OpenSide {
  embedded::EmbeddedCatalog catalog;
  std::unique_ptr<ado::Connection> connection = catalog.connect();
  inventory::Database database = inventory::readAll(*connection);

  OpenSide(const std::string& script, embedded::Release release)
      : catalog(inventory::catalogOf(script, release)) {}
  PlannedTable table() const { return {database, database.tables.at(0)}; }
};

std::string textOf(const ado::Value& value) {
  return value.isNull() ? "null" : toUtf8(value.toText());
}

std::string textOf(const TablePlan& plan, std::string_view row) {
  std::string text;
  for (const Cell& cell : plan.cellsOf(row)) {
    std::u16string storage;
    text += (text.empty() ? "" : " | ") + textOf(valueOf(cell, storage));
  }
  return text;
}

std::string differenceOf(const std::string& source, const std::string& target) {
  if (target.empty()) return "- " + source;
  if (source.empty()) return "+ " + target;
  return "~ " + source + " -> " + target;
}

class Observer final : public RowObserver {
 public:
  explicit Observer(const TablePlan& plan) : plan_(plan) {}

  void rowsDiffer(const DifferingRows& rows) override {
    differences.push_back(differenceOf(textOf(plan_, rows.source), textOf(plan_, rows.target)));
  }
  bool goesOn(const RowCounts&) override { return true; }

  std::vector<std::string> differences;

 private:
  const TablePlan& plan_;
};

std::string shown(const RowCounts& counts, const std::vector<std::string>& columns) {
  std::string text = std::to_string(counts.equal) + " equal, " + std::to_string(counts.changed) +
                     " changed, " + std::to_string(counts.alone[0]) + " only in source, " +
                     std::to_string(counts.alone[1]) + " only in target";
  for (std::size_t at = 0; at < columns.size(); ++at) {
    if (counts.changedValues[at] > 0)
      text += "; " + columns[at] + " " + std::to_string(counts.changedValues[at]);
  }
  return text;
}

std::vector<std::string> namesOf(const TablePlan& plan) {
  std::vector<std::string> names;
  names.reserve(plan.columns.size());
  for (const ComparedColumn& column : plan.columns) names.push_back(column.name);
  return names;
}

std::vector<Form> formsOf(const TablePlan& plan) {
  std::vector<Form> forms;
  forms.reserve(plan.columns.size());
  for (const ComparedColumn& column : plan.columns) forms.push_back(column.form);
  return forms;
}

using TextRow = std::vector<std::string>;

std::vector<TextRow> rowsOf(ado::Connection& connection, const std::u16string& statement,
                            const std::vector<Form>& forms) {
  std::vector<TextRow> rows;
  const auto opened = connection.Open(statement, ado::kClientCursor);
  for (; !opened->EndOfRows(); opened->MoveNext()) {
    TextRow& row = rows.emplace_back();
    for (std::size_t at = 0; at < forms.size(); ++at) {
      std::string text = textOf(opened->Fields(static_cast<std::int32_t>(at)).Value());
      if (forms[at] == Form::padded) text.erase(text.find_last_not_of(' ') + 1);
      // Packed numbers have no zeros at their end.
      if (text.ends_with(".0")) text.erase(text.size() - 2);
      row.push_back(text);
    }
  }
  return rows;
}

/// Nulls first; numbers have one digit.
bool isBefore(const TextRow& one, const TextRow& other) {
  return std::ranges::lexicographical_compare(
      one, other, [](const std::string& left, const std::string& right) {
        if (left == "null" || right == "null") return left == "null" && right != "null";
        return left < right;
      });
}

std::string joined(const TextRow& row) {
  std::string text;
  for (const std::string& cell : row) text += (text.empty() ? "" : " | ") + cell;
  return text;
}

class Comparer {
 public:
  explicit Comparer(const TwoTables& tables)
      : tables_(tables),
        source_(tables.source, tables.release),
        target_(tables.target, tables.release),
        plan_(planOf(source_.table(), target_.table(), tables.options)) {
    plan_.pairing.mostBytes = tables.mostBytes;
    plan_.pairing.rowsBetweenCalls = 1;
  }

  const TablePlan& plan() const { return plan_; }

  /// Of the source, packed; empty: none.
  std::string endOf(std::string_view begin, std::int64_t rows) {
    const auto end =
        endOfRange(*source_.connection, plan_.selects[0], literalOfCell(0, begin), rows);
    std::string cell;
    if (end) pack(end->view(), plan_.layout().cells.front().form, cell);
    return cell;
  }

  RowCounts run(RowObserver& observer, std::string_view begin = {}, std::string_view end = {}) {
    RowStream one(opened(source_, 0, begin, end), plan_.layout());
    RowStream other(opened(target_, 1, begin, end), plan_.layout());
    bool isWhole = false;
    RowCounts counts = compareRows(one, other, plan_.pairing, observer, isWhole);
    EXPECT_TRUE(isWhole);
    return counts;
  }

 private:
  std::string literalOfCell(std::size_t side, std::string_view cell) const {
    if (cell.empty()) return {};
    std::u16string storage;
    return literalOf(valueOf(takeCell(cell), storage), plan_.selects[side].cut->literal).text;
  }

  OpenRows opened(OpenSide& side, std::size_t at, std::string_view begin, std::string_view end) {
    const Select& select = plan_.selects[at];
    const RangeBounds bounds{literalOfCell(at, begin), literalOfCell(at, end)};
    return [&, bounds]() -> std::unique_ptr<RowSource> {
      if (tables_.rangeRows > 0 && select.cut)
        return openRanges(*side.connection, select, pace_, bounds);
      return openStatement(*side.connection,
                           select.text(bounds.isAll() ? "" : bounds.condition(*select.cut)),
                           plan_.columns.size());
    };
  }

  const TwoTables& tables_;
  OpenSide source_, target_;
  TablePlan plan_;
  RangePace pace_{.firstRows = tables_.rangeRows, .leastRows = tables_.rangeRows};
};

Compared resultOf(const TablePlan& plan, const RowCounts& counts,
                  std::vector<std::string> differences) {
  std::ranges::sort(differences);
  return {plan.key + (plan.pairing.isOrdered ? ", in order" : "") +
              (plan.pairing.isUnique ? "" : ", not unique"),
          shown(counts, namesOf(plan)), std::move(differences)};
}

/// Remembers each place with what was found before it.
class PlacesObserver final : public RowObserver {
 public:
  struct Place {
    std::string begin;
    RowCounts counts;
    std::vector<std::string> differences;
  };

  explicit PlacesObserver(const TablePlan& plan) : found_(plan) {}
  void rowsDiffer(const DifferingRows& rows) override { found_.rowsDiffer(rows); }
  bool goesOn(const RowCounts&) override { return true; }
  bool wantsPlace() override { return true; }
  void isAt(std::string_view firstCell, const RowCounts& counts) override {
    std::string_view rest = firstCell;
    if (takeCell(rest).kind == CellKind::null) return;
    places.push_back({std::string(firstCell), counts, found_.differences});
  }

  std::vector<Place> places;

 private:
  Observer found_;
};

}  // namespace

Compared compared(const TwoTables& tables) {
  Comparer comparer(tables);
  Observer observer(comparer.plan());
  const RowCounts counts = comparer.run(observer);
  return resultOf(comparer.plan(), counts, observer.differences);
}

std::vector<Compared> comparedInTwoParts(const TwoTables& tables) {
  Comparer comparer(tables);
  if (!comparer.plan().selects[0].cut || !comparer.plan().selects[1].cut) return {};
  PlacesObserver observer(comparer.plan());
  const RowCounts whole = comparer.run(observer);
  std::vector<Compared> results;
  for (PlacesObserver::Place& place : observer.places) {
    Observer rest(comparer.plan());
    place.counts.add(comparer.run(rest, place.begin));
    EXPECT_EQ(place.counts.rows, whole.rows);
    place.differences.insert(place.differences.end(), rest.differences.begin(),
                             rest.differences.end());
    results.push_back(resultOf(comparer.plan(), place.counts, place.differences));
  }
  return results;
}

std::pair<Compared, std::size_t> comparedByRanges(const TwoTables& tables, std::int64_t rows) {
  Comparer comparer(tables);
  RowCounts counts;
  std::vector<std::string> differences;
  std::size_t ranges = 0;
  std::string begin;
  do {
    const std::string end = comparer.endOf(begin, rows);
    Observer observer(comparer.plan());
    counts.add(comparer.run(observer, begin, end));
    std::ranges::move(observer.differences, std::back_inserter(differences));
    begin = end;
    ++ranges;
  } while (!begin.empty());
  return {resultOf(comparer.plan(), counts, std::move(differences)), ranges};
}

Compared naivelyCompared(const TwoTables& tables) {
  OpenSide source(tables.source, tables.release), target(tables.target, tables.release);
  const TablePlan plan = planOf(source.table(), target.table(), tables.options);
  std::vector<TextRow> ones = rowsOf(*source.connection, plan.selects[0].text(), formsOf(plan));
  std::vector<TextRow> others = rowsOf(*target.connection, plan.selects[1].text(), formsOf(plan));
  // Of a key that comes several times, rows are paired in their order.
  for (auto* rows : {&ones, &others}) std::ranges::sort(*rows, isBefore);
  RowCounts counts;
  counts.changedValues.resize(plan.columns.size());
  std::erase_if(ones, [&](const TextRow& row) {
    const auto equal = std::ranges::find(others, row);
    if (equal == others.end()) return false;
    others.erase(equal);
    ++counts.equal;
    return true;
  });
  Compared result;
  for (const TextRow& row : ones) {
    const auto namesake = std::ranges::find_if(others, [&](const TextRow& other) {
      return std::equal(row.begin(), row.begin() + static_cast<int>(plan.pairing.keyColumns),
                        other.begin());
    });
    if (namesake == others.end()) {
      ++counts.alone[0];
      result.differences.push_back(differenceOf(joined(row), ""));
      continue;
    }
    ++counts.changed;
    for (std::size_t at = 0; at < row.size(); ++at)
      counts.changedValues[at] += row[at] == (*namesake)[at] ? 0 : 1;
    result.differences.push_back(differenceOf(joined(row), joined(*namesake)));
    others.erase(namesake);
  }
  for (const TextRow& row : others) {
    ++counts.alone[1];
    result.differences.push_back(differenceOf("", joined(row)));
  }
  std::ranges::sort(result.differences);
  result.counts = shown(counts, namesOf(plan));
  return result;
}

}  // namespace kelvane::rows
