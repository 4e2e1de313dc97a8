#include "rows/table_plan.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include "inventory/ddl/ddl.h"
#include "inventory/ddl/statement.h"
#include "inventory/shown.h"
#include "model/text.h"

namespace kelvane::rows {
namespace {

using namespace inventory;

enum class Family : std::uint8_t { exact, single, approximate, moment, text, bytes, large, other };

struct TypeRow {
  std::string_view name;
  Family family;
};
constexpr TypeRow kTypes[] = {
    {"bit", Family::exact},
    {"tinyint", Family::exact},
    {"smallint", Family::exact},
    {"int", Family::exact},
    {"bigint", Family::exact},
    {"unsigned smallint", Family::exact},
    {"unsigned int", Family::exact},
    {"unsigned bigint", Family::exact},
    {"numeric", Family::exact},
    {"decimal", Family::exact},
    {"money", Family::exact},
    {"smallmoney", Family::exact},
    {"real", Family::single},
    {"float", Family::approximate},
    {"double precision", Family::approximate},
    {"datetime", Family::moment},
    {"smalldatetime", Family::moment},
    {"bigdatetime", Family::moment},
    {"date", Family::moment},
    {"time", Family::moment},
    {"bigtime", Family::moment},
    {"char", Family::text},
    {"varchar", Family::text},
    {"nchar", Family::text},
    {"nvarchar", Family::text},
    {"unichar", Family::text},
    {"univarchar", Family::text},
    {"sysname", Family::text},
    {"longsysname", Family::text},
    {"binary", Family::bytes},
    {"varbinary", Family::bytes},
    {"text", Family::large},
    {"unitext", Family::large},
    {"image", Family::large},
};

Family familyOf(const DataType& type) {
  const auto row = std::ranges::find(kTypes, type.name, &TypeRow::name);
  return row == std::end(kTypes) ? Family::other : row->family;
}

bool isNumber(Family family) { return family <= Family::approximate; }

/// What a user-defined type is stored as.
DataType storedType(const Database& database, const DataType& type) {
  const auto found = std::ranges::find_if(database.types, [&](const UserType& one) {
    return one.name.name == type.name && (type.owner->empty() || one.name.owner == *type.owner);
  });
  return found == database.types.end() ? type : found->base.type;
}

bool isPadded(const DataType& type) {
  return type.name == "char" || type.name == "nchar" || type.name == "unichar";
}

Form formOf(const DataType& one, const DataType& other) {
  if (isPadded(one) || isPadded(other)) return Form::padded;
  if (one.name == other.name) return Form::asItIs;
  const Family family = familyOf(one), second = familyOf(other);
  if (family == Family::moment && second == Family::moment) return Form::moment;
  if (!isNumber(family) || !isNumber(second)) return Form::asItIs;
  if (family == Family::single || second == Family::single) return Form::single;
  if (family == Family::approximate || second == Family::approximate) return Form::approximate;
  return Form::asItIs;
}

using NamePair = std::array<const Column*, 2>;

class TablePlanner {
 public:
  TablePlanner(const PlannedTable& source, const PlannedTable& target)
      : sides_{&source, &target},
        mode_(source.database.server.ignoresCase && target.database.server.ignoresCase
                  ? CaseMode::ignore
                  : CaseMode::exact) {}

  TablePlan plan(const std::vector<std::string>& asked) {
    pairColumns();
    chooseKey(asked);
    orderColumns();
    writeStatements();
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

  void pairColumns() {
    for (std::size_t side = 0; side < 2; ++side) {
      plan_.names[side] = sides_[side]->table.name;
      for (const Column& column : sides_[side]->table.columns) {
        const Column* const other = columnOf(1 - side, column.name);
        if (other == nullptr) {
          plan_.columnsOnlyIn[side].push_back(column.name);
        } else if (typeOf(side, column).name == "timestamp" ||
                   typeOf(1 - side, *other).name == "timestamp") {
          if (side == 0) plan_.serverColumns.push_back(column.name);
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

  void chooseKey(const std::vector<std::string>& asked) {
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

  void orderColumns() {
    std::vector<NamePair> ordered;
    for (const std::string& name : key_) {
      const auto pair = std::ranges::find_if(
          pairs_, [&](const NamePair& one) { return isSame(one[0]->name, name); });
      ordered.push_back(*pair);
    }
    for (const NamePair& pair : pairs_) {
      if (std::ranges::find(ordered, pair) == ordered.end()) ordered.push_back(pair);
    }
    pairs_ = std::move(ordered);
    Pairing& pairing = plan_.pairing;
    pairing.columns = pairs_.size();
    pairing.keyColumns = key_.empty() ? pairs_.size() : key_.size();
    pairing.isOrdered = !key_.empty();
    for (std::size_t at = 0; at < pairs_.size(); ++at) {
      const auto& [one, other] = pairs_[at];
      const DataType was = typeOf(0, *one), is = typeOf(1, *other);
      ComparedColumn& column = plan_.columns.emplace_back(
          ComparedColumn{.name = one->name, .form = formOf(was, is), .types = {}});
      if (was != is) column.types = {inventory::shown(was), inventory::shown(is)};
      if (at >= key_.size()) continue;
      const Family family = familyOf(was), second = familyOf(is);
      const bool hasOrder = (isNumber(family) && isNumber(second)) ||
                            (family == Family::moment && second == Family::moment);
      if (!hasOrder) pairing.isOrdered = false;
    }
  }

  void writeStatements() {
    for (std::size_t side = 0; side < 2; ++side) {
      const auto release = releaseOf(sides_[side]->database.server);
      const bool hasBrackets = release && *release >= TargetRelease::ase15;
      Statement select("select ", hasBrackets ? Quotes::brackets : Quotes::doubled);
      for (std::size_t at = 0; at < pairs_.size(); ++at)
        (select << (at == 0 ? "" : ", ")).name(pairs_[at][side]->name);
      (select << " from ").name(sides_[side]->table.name);
      for (std::size_t at = 0; at < key_.size(); ++at)
        (select << (at == 0 ? " order by " : ", ")).name(pairs_[at][side]->name);
      plan_.statements[side] = toUtf16(select.text());
      plan_.needsQuotedIdentifier[side] = select.needsQuotedIdentifier();
    }
  }

  std::array<const PlannedTable*, 2> sides_;
  CaseMode mode_;
  std::vector<NamePair> pairs_;
  std::vector<std::string> key_;
  TablePlan plan_;
};

}  // namespace

std::vector<Form> TablePlan::forms() const {
  std::vector<Form> result;
  result.reserve(columns.size());
  for (const ComparedColumn& column : columns) result.push_back(column.form);
  return result;
}

TablePlan planOf(const PlannedTable& source, const PlannedTable& target,
                 const std::vector<std::string>& key) {
  return TablePlanner(source, target).plan(key);
}

}  // namespace kelvane::rows
