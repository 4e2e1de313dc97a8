#include "rows/table_plan.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include "inventory/ddl/ddl.h"
#include "inventory/ddl/statement.h"
#include "inventory/name_pattern.h"
#include "inventory/shown.h"
#include "model/text.h"
#include "rows/stored_type.h"

namespace kelvane::rows {
namespace {

using namespace inventory;

/// What values of a type are compared as; none for types that are not known.
std::optional<TypeFamily> familyOf(const DataType& type) {
  const StoredType* const stored = storedTypeNamed(type.name);
  return stored == nullptr ? std::nullopt : std::optional(stored->family);
}

bool isNumber(std::optional<TypeFamily> family) { return family && rows::isNumber(*family); }

bool isPaddedText(const DataType& type) {
  const StoredType* const stored = storedTypeNamed(type.name);
  return stored != nullptr && stored->isPadded && isText(stored->family);
}

bool isLarge(const DataType& type) {
  const StoredType* const stored = storedTypeNamed(type.name);
  return stored == nullptr || stored->isLarge;
}

/// Whether one of two columns of bytes is filled with zeros to a length that the other has not.
bool isFilledAlone(const Column& one, const DataType& type, const Column& other,
                   const DataType& otherType) {
  const auto isFilled = [](const Column& column, const DataType& stored) {
    return stored.name == "binary" && !column.type.nullable;
  };
  if (familyOf(type) != TypeFamily::bytes || familyOf(otherType) != TypeFamily::bytes) return false;
  const bool is = isFilled(one, type), isOther = isFilled(other, otherType);
  return is != isOther || (is && type.length != otherType.length);
}

Form formOf(const DataType& one, const DataType& other) {
  if (isPaddedText(one) || isPaddedText(other)) return Form::padded;
  if (one.name == other.name) return Form::asItIs;
  const auto family = familyOf(one), second = familyOf(other);
  if (family == TypeFamily::moment && second == TypeFamily::moment) return Form::moment;
  if (!isNumber(family) || !isNumber(second)) return Form::asItIs;
  if (family == TypeFamily::single || second == TypeFamily::single) return Form::single;
  if (family == TypeFamily::approximate || second == TypeFamily::approximate)
    return Form::approximate;
  return Form::asItIs;
}

using NamePair = std::array<const Column*, 2>;

class TablePlanner {
 public:
  TablePlanner(const PlannedTable& source, const PlannedTable& target, const PlanOptions& options)
      : sides_{&source, &target},
        options_(options),
        mode_(source.database.server.ignoresCase && target.database.server.ignoresCase
                  ? CaseMode::ignore
                  : CaseMode::exact) {}

  TablePlan plan() {
    pairColumns();
    chooseKey();
    orderColumns();
    describeColumns();
    for (const std::size_t side : {0U, 1U}) plan_.selects[side] = selectOf(side);
    return std::move(plan_);
  }

 private:
  struct Candidate {
    std::string words;
    std::vector<std::string> columns;
  };

  bool isSame(std::string_view one, std::string_view other) const {
    return equalText(toUtf16(one), toUtf16(other), mode_);
  }

  const Column* columnOf(std::size_t side, std::string_view name) const {
    const auto& columns = sides_[side]->table.columns;
    const auto found = std::ranges::find_if(
        columns, [&](const Column& column) { return isSame(column.name, name); });
    return found == columns.end() ? nullptr : &*found;
  }

  DataType typeOf(std::size_t side, const Column& column) const {
    return storedType(sides_[side]->database, column.type.type);
  }

  bool matches(const std::vector<std::string>& patterns, const std::string& column) const {
    return std::ranges::any_of(patterns, [&](const std::string& pattern) {
      return matchesColumn(sides_[0]->table.name, column, pattern) ||
             matchesColumn(sides_[1]->table.name, column, pattern);
    });
  }

  bool isWanted(const std::string& column) const {
    return options_.columns.empty() || matches(options_.columns, column);
  }

  void pairColumns() {
    for (const std::size_t side : {0U, 1U}) {
      plan_.names[side] = sides_[side]->table.name;
      for (const Column& column : sides_[side]->table.columns) {
        if (matches(options_.ignoredColumns, column.name)) continue;
        const Column* const other = columnOf(1 - side, column.name);
        if (other == nullptr) {
          if (isWanted(column.name)) plan_.columnsOnlyIn[side].push_back(column.name);
        } else if (typeOf(side, column).name == "timestamp" ||
                   typeOf(1 - side, *other).name == "timestamp") {
          if (side == 0 && isWanted(column.name)) plan_.serverColumns.push_back(column.name);
        } else if (side == 0) {
          pairs_.push_back({&column, other});
        }
      }
    }
    if (pairs_.empty()) throw UnusableTable("the two sides have no column in common");
  }

  /// Keys of rows that all have one, in the order of preference.
  std::vector<Candidate> candidatesOf(std::size_t side) const {
    const Table& table = sides_[side]->table;
    std::vector<Candidate> result;
    const auto add = [&](std::string words, const IndexStorage& index) {
      Candidate candidate{std::move(words), {}};
      for (const KeyColumn& key : index.columns) {
        const Column* const column = key.isExpression ? nullptr : columnOf(side, key.name);
        if (column == nullptr || column->type.nullable) return;
        candidate.columns.push_back(column->name);
      }
      result.push_back(std::move(candidate));
    };
    for (const bool primary : {true, false}) {
      for (const KeyConstraint& key : table.keys) {
        if (key.primary == primary) add(primary ? "primary key" : "unique constraint", key);
      }
    }
    for (const Index& index : table.indexes) {
      if (index.unique) add("unique index " + index.name, index);
    }
    return result;
  }

  bool isPaired(const std::string& name) const {
    return std::ranges::any_of(pairs_,
                               [&](const NamePair& pair) { return isSame(pair[0]->name, name); });
  }

  bool isUniqueOn(std::size_t side, const std::vector<std::string>& columns) const {
    const auto folded = [&](const std::vector<std::string>& names) {
      std::set<std::u16string> result;
      for (const std::string& name : names)
        result.insert(mode_ == CaseMode::ignore ? foldCase(toUtf16(name)) : toUtf16(name));
      return result;
    };
    const auto wanted = folded(columns);
    return std::ranges::any_of(candidatesOf(side), [&](const Candidate& candidate) {
      const auto has = folded(candidate.columns);
      return std::ranges::includes(wanted, has);
    });
  }

  void take(const Candidate& candidate) {
    plan_.key = candidate.words;
    key_ = candidate.columns;
    plan_.pairing.isUnique = isUniqueOn(0, key_) && isUniqueOn(1, key_);
  }

  void chooseKey() {
    const std::vector<std::string>& asked = options_.key;
    for (const std::string& name : asked) {
      if (!isPaired(name))
        throw UnusableTable("the key's column " + name + " is not on both sides");
    }
    if (!asked.empty()) return take({"asked for", asked});
    std::optional<Candidate> first;
    for (const std::size_t side : {0U, 1U}) {
      for (const Candidate& candidate : candidatesOf(side)) {
        if (!std::ranges::all_of(candidate.columns,
                                 [&](const std::string& name) { return isPaired(name); }))
          continue;
        if (isUniqueOn(1 - side, candidate.columns)) return take(candidate);
        if (!first) first = candidate;
      }
    }
    if (first) return take(*first);
    plan_.key = "none";
    plan_.pairing.isUnique = false;
  }

  /// Those of the key come first. Without one, rows are equal or not: what is within a tolerance
  /// is found among those that have the rest in common.
  void orderColumns() {
    std::vector<NamePair> ordered;
    for (const std::string& name : key_) {
      const auto pair = std::ranges::find_if(
          pairs_, [&](const NamePair& one) { return isSame(one[0]->name, name); });
      if (std::ranges::find(ordered, *pair) == ordered.end()) ordered.push_back(*pair);
    }
    plan_.pairing.keyColumns = ordered.size();
    for (const NamePair& pair : pairs_) {
      if (isWanted(pair[0]->name) && std::ranges::find(ordered, pair) == ordered.end())
        ordered.push_back(pair);
    }
    if (ordered.empty()) throw UnusableTable("none of its columns is to be compared");
    pairs_ = std::move(ordered);
    if (!key_.empty()) return;
    const auto exact = std::ranges::stable_partition(
        pairs_, [&](const NamePair& pair) { return !leniencyOf(pair).tolerates(); });
    plan_.pairing.keyColumns = pairs_.size() - exact.size();
  }

  bool hasNamedTolerance(const Column& column) const {
    return std::ranges::any_of(options_.tolerances, [&](const Tolerance& tolerance) {
      return matches({tolerance.columns}, column.name) && !isTypeName(tolerance.columns);
    });
  }

  Leniency leniencyOf(const NamePair& pair) const {
    Leniency result = options_.texts;
    for (const Tolerance& tolerance : options_.tolerances) {
      const bool isMeant = matches({tolerance.columns}, pair[0]->name) ||
                           typeOf(0, *pair[0]).name == tolerance.columns ||
                           typeOf(1, *pair[1]).name == tolerance.columns;
      if (!isMeant) continue;
      result.tolerance = tolerance.within.tolerance;
      result.exactTolerance = tolerance.within.exactTolerance;
      result.nanoseconds = tolerance.within.nanoseconds;
    }
    return meaningful(result, typeOf(0, *pair[0]), typeOf(1, *pair[1]));
  }

  /// What folds holds only for values that it can change.
  static Leniency meaningful(Leniency leniency, const DataType& one, const DataType& other) {
    const auto mayFold = [](const DataType& type) {
      const auto family = familyOf(type);
      return !family || *family >= TypeFamily::text;
    };
    if (!mayFold(one) && !mayFold(other))
      leniency.trims = leniency.emptyIsNull = leniency.ignoresCase = false;
    // Of what a file has nobody knows the type.
    const auto mayBe = [&](auto isFamily) {
      const auto family = familyOf(one), second = familyOf(other);
      return !family || !second || isFamily(*family) || isFamily(*second);
    };
    if (!mayBe([](TypeFamily family) { return rows::isNumber(family); })) {
      leniency.tolerance = 0;
      leniency.exactTolerance = {};
    }
    if (!mayBe([](TypeFamily family) { return family == TypeFamily::moment; }))
      leniency.nanoseconds = 0;
    return leniency;
  }

  void describeColumns() {
    Pairing& pairing = plan_.pairing;
    pairing.isOrdered = plan_.hasKey() && sides_[0]->comesInOrder && sides_[1]->comesInOrder;
    for (std::size_t at = 0; at < pairs_.size(); ++at) {
      const auto& [one, other] = pairs_[at];
      const DataType was = typeOf(0, *one), is = typeOf(1, *other);
      const auto family = familyOf(was), second = familyOf(is);
      ComparedColumn& column = plan_.columns.emplace_back(ComparedColumn{
          .name = one->name,
          .form = isFilledAlone(*one, was, *other, is) ? Form::padded : formOf(was, is),
          .leniency = leniencyOf(pairs_[at]),
          .types = {},
          .stored = {was, is}});
      // What folds needs whole values.
      const bool mayBeLong = isLarge(was) || isLarge(is);
      if (options_.digestsLongValues && mayBeLong && column.form == Form::asItIs &&
          !column.leniency.folds())
        column.form = Form::large;
      const bool isKey = plan_.hasKey() && at < pairing.keyColumns;
      if (hasNamedTolerance(*one) && (isKey || !column.leniency.tolerates()))
        plan_.withoutTolerance.push_back(one->name);
      if (was != is) column.types = {inventory::shown(was), inventory::shown(is)};
      plan_.sourceColumns.push_back(one);
      plan_.targetColumns.push_back(other);
      pairing.columns.push_back(column.leniency);
      if (at >= pairing.keyColumns) continue;
      const bool hasOrder = (isNumber(family) && isNumber(second)) ||
                            (family == second && !isLarge(was) && !isLarge(is) &&
                             (family == TypeFamily::moment || family == TypeFamily::bytes));
      if (!hasOrder) pairing.isOrdered = false;
      // Keys that the server tells apart may be the same here.
      const bool joins =
          column.leniency.folds() ||
          (was != is && (column.form == Form::single || column.form == Form::approximate));
      if (joins) pairing.isUnique = false;
    }
  }

  Select selectOf(std::size_t side) const {
    const auto release = releaseOf(sides_[side]->database.server);
    const Quotes quotes =
        release && *release >= TargetRelease::ase15 ? Quotes::brackets : Quotes::doubled;
    Select select;
    const auto quoted = [&](const auto& name) {
      Statement statement({}, quotes);
      statement.name(name);
      if (statement.needsQuotedIdentifier()) select.needsQuotedIdentifier = true;
      return statement.text();
    };
    for (const NamePair& pair : pairs_) select.columns.push_back(quoted(pair[side]->name));
    select.table = quoted(sides_[side]->table.name);
    select.condition = options_.condition;
    if (!plan_.hasKey()) return select;
    select.ordered = plan_.pairing.keyColumns;
    select.cut = cutOf(side, select.columns.front());
    for (std::size_t at = 0; at < select.ordered; ++at) {
      // A literal of the precision of real is none: it is a float.
      const auto family = familyOf(typeOf(side, *pairs_[at][side]));
      if (!family || family == TypeFamily::single) {
        select.keyLiterals.clear();
        break;
      }
      select.keyLiterals.push_back(literalColumnOf(side, *pairs_[at][side]));
    }
    return select;
  }

  LiteralColumn literalColumnOf(std::size_t side, const Column& column) const {
    const Server& server = sides_[side]->database.server;
    return {typeOf(side, column), characterSetOf(server.characterSet), TextUnit::bytes};
  }

  std::optional<Cut> cutOf(std::size_t side, const std::string& quotedName) const {
    const Column& column = *pairs_.front()[side];
    const DataType type = typeOf(side, column);
    const auto family = familyOf(type);
    const bool isExact =
        !isLarge(type) && family != TypeFamily::single && family != TypeFamily::approximate;
    if (!isExact || !beginsIndex(sides_[side]->table, column.name)) return std::nullopt;
    return Cut{quotedName, inventory::shown(type), literalColumnOf(side, column),
               column.type.nullable};
  }

  static bool beginsIndex(const Table& table, const std::string& column) {
    const auto begins = [&](const IndexStorage& index) {
      return !index.columns.empty() && !index.columns.front().isExpression &&
             index.columns.front().name == column;
    };
    return std::ranges::any_of(table.keys, begins) || std::ranges::any_of(table.indexes, begins);
  }

  std::array<const PlannedTable*, 2> sides_;
  const PlanOptions& options_;
  CaseMode mode_;
  std::vector<NamePair> pairs_;
  std::vector<std::string> key_;
  TablePlan plan_;
};

}  // namespace

DataType storedType(const Database& database, const DataType& type) {
  const auto found = std::ranges::find_if(database.types, [&](const UserType& one) {
    return one.name.name == type.name && (type.owner->empty() || one.name.owner == *type.owner);
  });
  return found == database.types.end() ? type : found->base.type;
}

std::string Select::where(std::string_view range) const {
  std::string text;
  // Behind a condition may be a comment to the end of its line.
  if (!condition.empty()) text += " where (" + condition + "\n)";
  if (!range.empty()) text += (condition.empty() ? " where " : " and ") + std::string(range);
  return text;
}

std::u16string Select::text(std::string_view range) const {
  std::string text = "select ";
  for (const std::string& column : columns)
    text += (&column == columns.data() ? "" : ", ") + column;
  text += from() + where(range);
  for (std::size_t at = 0; at < ordered; ++at)
    text += (at == 0 ? " order by " : ", ") + columns[at];
  return toUtf16(text);
}

RowLayout TablePlan::layout() const {
  RowLayout layout{{}, pairing.keyColumns};
  std::vector<PackedColumn> asTheyAre;
  for (std::size_t at = 0; at < columns.size(); ++at) {
    const bool folds = at < pairing.keyColumns && columns[at].leniency.folds();
    layout.cells.push_back({at, columns[at].form, folds ? columns[at].leniency : Leniency{}});
    if (folds) asTheyAre.push_back({at, columns[at].form, {}});
  }
  layout.cells.insert(layout.cells.end(), asTheyAre.begin(), asTheyAre.end());
  return layout;
}

std::vector<Cell> TablePlan::cellsOf(std::string_view row) const {
  std::vector<Cell> cells;
  while (!row.empty()) cells.push_back(takeCell(row));
  // Behind the columns are the values of a key that is compared as something else.
  std::size_t asItIs = columns.size();
  for (std::size_t at = 0; at < pairing.keyColumns && asItIs < cells.size(); ++at) {
    if (columns[at].leniency.folds()) cells[at] = cells[asItIs++];
  }
  cells.resize(std::min(cells.size(), columns.size()));
  return cells;
}

std::optional<std::string> TablePlan::keyCondition(std::size_t side, std::string_view row) const {
  const Select& select = selects[side];
  if (select.keyLiterals.empty()) return std::nullopt;
  std::string text;
  for (std::size_t at = 0; at < select.keyLiterals.size(); ++at) {
    if (columns[at].leniency.folds()) return std::nullopt;
    const Cell cell = takeCell(row);
    text += (text.empty() ? "(" : " and ") + select.columns[at];
    if (cell.kind == CellKind::null) {
      text += " is null";
      continue;
    }
    std::u16string storage;
    const Literal literal = literalOf(valueOf(cell, storage), select.keyLiterals[at]);
    if (!literal.isWritten()) return std::nullopt;
    text += " = " + literal.text;
  }
  return text + ")";
}

std::vector<std::size_t> TablePlan::changedColumns(std::string_view source,
                                                   std::string_view target) const {
  std::vector<std::size_t> changed;
  for (std::size_t at = 0; at < columns.size(); ++at) {
    if (!isSame(takeCell(source), takeCell(target), columns[at].leniency)) changed.push_back(at);
  }
  return changed;
}

bool matchesColumn(const QualifiedName& table, std::string_view column, std::string_view pattern) {
  const std::u16string wanted = toUtf16(pattern);
  std::u16string name = toUtf16(column);
  if (matchesPattern(name, wanted)) return true;
  name = toUtf16(table.name) + u"." + name;
  if (matchesPattern(name, wanted)) return true;
  return matchesPattern(toUtf16(table.owner) + u"." + name, wanted);
}

bool isTypeName(std::string_view name) { return storedTypeNamed(name) != nullptr; }

TablePlan planOf(const PlannedTable& source, const PlannedTable& target,
                 const PlanOptions& options) {
  return TablePlanner(source, target, options).plan();
}

}  // namespace kelvane::rows
