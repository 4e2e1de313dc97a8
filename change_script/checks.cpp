// What a script asks of the rows before it changes them.

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "change_script/planner.h"
#include "change_script/types.h"
#include "inventory/ddl/used_names.h"
#include "inventory/shown.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

/// Numbers of which all are in each of the types below.
bool isSmall(const DataType& type) {
  static const std::set<std::string_view> kSmall{
      "bit", "tinyint", "smallint", "unsigned smallint", "int", "unsigned int", "smallmoney"};
  return kSmall.contains(type.name);
}
bool isOfMost(const DataType& type) { return type.name == "bigint" || type.name == "money"; }

bool isApproximate(const DataType& type) {
  return type.name == "real" || type.name == "float" || type.name == "double precision";
}

/// What a value that is lost in the type looks like; `value`: of the column.
std::string misfitOf(const std::string& value, const DataType& was, const DataType& is) {
  static const std::map<std::string_view, std::string_view> kRanges{
      {"tinyint", "0 and 255"},
      {"smallint", "-32768 and 32767"},
      {"int", "-2147483648 and 2147483647"},
      {"unsigned smallint", "0 and 65535"},
      {"unsigned int", "0 and 4294967295"},
      {"smallmoney", "-214748.3648 and 214748.3647"},
      {"bigint", "-9223372036854775808 and 9223372036854775807"},
      {"unsigned bigint", "0 and 18446744073709551615"},
      {"money", "-922337203685477.5808 and 922337203685477.5807"},
      {"smalldatetime", "'19000101' and '20790606 23:59:29'"},
      {"datetime", "'17530101' and '99991231 23:59:59.996'"},
      {"real", "-3.402823e38 and 3.402823e38"}};
  const bool wasText = was.name.find("char") != std::string::npos;
  const bool isText = is.name.find("char") != std::string::npos;
  const ValueKind kind = kindOf(was), to = kindOf(is);
  // Hardly any bytes are what a server keeps a number with a scale in, and some are no finite
  // approximate number.
  if (kind == ValueKind::bytes && (is.precision || isApproximate(is)))
    return value + " is not null";
  const bool isNumber = to == ValueKind::number;
  std::string number = value, misfit;
  if (wasText && isNumber) number = "convert(float, " + value + ")";
  if ((kind != to && !(wasText && isNumber)) || (isOfMost(is) && isSmall(was))) {
    // Another range, or none.
  } else if (const auto range = kRanges.find(is.name); range != kRanges.end()) {
    misfit = number + " not between " + std::string(range->second);
  } else if (is.precision) {
    const auto digits = static_cast<std::size_t>(*is.precision - is.scale.value_or(0));
    const std::string scale = std::to_string(is.scale.value_or(0));
    // The smallest number of a type has no absolute value in it.
    const std::string least = " 1" + std::string(digits, '0');
    misfit = number + " >=" + least + " or " + number + " <= -" + least.substr(1);
    if (!wasText) misfit += " or " + number + " != round(" + number + ", " + scale + ")";
  }
  // Text of anything else than a number cannot be compared with one.
  if (wasText && isNumber) {
    std::string pattern = value + " like '%[^-+.0-9 ]%'";
    if (isApproximate(is)) pattern = value + " like '%[^-+.0-9eE ]%'";
    if (misfit.empty()) return pattern;
    return "case when " + pattern + " then 1 when " + misfit + " then 1 else 0 end = 1";
  }
  if (!misfit.empty()) return misfit;
  if (!is.length) return {};
  const std::string length = " > " + std::to_string(*is.length);
  if (isText && wasText) return "char_length(" + value + ")" + length;
  if (isText) return "char_length(convert(varchar(255), " + value + "))" + length;
  if (is.name.find("binary") != std::string::npos && !wasText)
    return "datalength(" + value + ")" + length;
  return {};
}

/// Digits that are no date: without isdate() that is all that can be asked.
std::string noMomentOf(const std::string& value) {
  const std::string text = "rtrim(" + value + ")", digit = "[0-9]", year = digit + digit;
  const std::string day = "[01][0-9][0-3][0-9]";
  std::string misfit = text + " not like '%[^0-9]%'";
  for (const std::string& date : {std::string(), year + year, year + day, year + year + day})
    misfit += " and " + text + " not like '" + date + "'";
  return misfit;
}

bool hasColumn(const Table& table, std::string_view name) {
  return std::ranges::find(table.columns, name, &Column::name) != table.columns.end();
}

const Column& columnNamed(const Table& table, std::string_view name) {
  return *std::ranges::find(table.columns, name, &Column::name);
}

/// Values that differ may be the same in another type.
void addAsItWillBe(Statement& keys, const Planner& planner, const Table& was, const Table& is,
                   const std::string& name) {
  ColumnType from = planner.storedOld(columnNamed(was, name).type);
  const ColumnType to = planner.storedNew(columnNamed(is, name).type);
  from.nullable = to.nullable;
  const bool isAnother = from.type.name != to.type.name && !dangersOf(from, to).empty() &&
                         columnNamed(is, name).computed.isDefault();
  if (isAnother) keys << "convert(" << shown(to.type) << ", ";
  keys.name(name);
  if (isAnother) keys << ")";
}

/// Whether all rows get the same value in a column that is added.
bool isConstantWhereNew(const Table& table, std::string_view name) {
  const auto column = std::ranges::find(table.columns, name, &Column::name);
  return column != table.columns.end() && !column->type.identity && column->computed.isDefault() &&
         column->type.type.name != "timestamp" &&
         column->defaultValue->text.find('(') == std::string::npos;
}

}  // namespace

std::string stopping(std::string_view reason) {
  return "begin\n    raiserror 20001 " + literal(reason) + "\n    select syb_quit()\nend";
}

Batch stopIf(const Statement& condition, std::string_view reason) {
  Batch batch = callOf("if " + condition.text() + "\n" + stopping(reason));
  batch.quotedIdentifier = condition.needsQuotedIdentifier();
  return batch;
}

/// The table may be gone where the script is started again.
Batch stopUnlessEmpty(const Table& table) {
  Statement rows("exists (select 1 from ");
  rows.name(table.name) << ")";
  const Batch check = stopIf(rows, "table " + shown(table.name) + " has rows");
  Batch batch =
      callOf("if " + idOf(table.name) + " is not null\n    exec(" + literal(check.text) + ")");
  batch.quotedIdentifier = check.quotedIdentifier;
  return batch;
}

std::optional<RowCheck> checkOf(const Planner& planner, const QualifiedName& table,
                                const std::string& column, Danger danger, const DataType& was,
                                const DataType& is) {
  const bool isNull = danger == Danger::nullToNotNull;
  if (danger == Danger::rebuild) return std::nullopt;
  Statement value;
  value.name(column);
  std::string misfit = isNull ? value.text() + " is null" : misfitOf(value.text(), was, is);
  const bool becomesMoment =
      kindOf(was) == ValueKind::text && kindOf(is) == ValueKind::moment && !isNull;
  if (becomesMoment)
    misfit = planner.has(TargetRelease::ase15)
                 ? value.text() + " is not null and isdate(" + value.text() + ") = 0"
                 : noMomentOf(value.text());
  if (misfit.empty()) return std::nullopt;
  Statement rows("exists (select 1 from ");
  rows.name(table) << " where ";
  // Once more, so that the statement knows how the name is quoted.
  if (isNull) {
    rows.name(column) << " is null)";
  } else {
    rows << misfit << ")";
  }
  Batch batch =
      stopIf(rows, "column " + column + " of " + shown(table) +
                       (isNull ? " has rows without a value" : " has values that do not fit"));
  batch.quotedIdentifier = batch.quotedIdentifier || value.needsQuotedIdentifier();
  return RowCheck{std::move(batch), {table}};
}

std::optional<RowCheck> checkOf(const Planner& planner, const Table& table, const ForeignKey& key) {
  const auto& [database, owner, name] = key.referenced;
  const Table* child = planner.uses().table(table.name.owner, table.name.name);
  const Table* parent = planner.uses().table(owner, name);
  if (!database.empty() || child == nullptr) return std::nullopt;
  Statement orphans("exists (select 1 from "), match;
  orphans.name(table.name) << " child where ";
  std::string_view separator;
  for (std::size_t at = 0; at < key.columns.size(); ++at) {
    const std::string& column = key.columns[at];
    const std::string& referenced = key.referencedColumns[at];
    if (!hasColumn(*child, column)) return std::nullopt;
    if (parent != nullptr && !hasColumn(*parent, referenced)) return std::nullopt;
    ((orphans << separator) << "child.").name(column) << " is not null";
    ((match << separator << "parent.").name(referenced) << " = child.").name(column);
    separator = " and ";
  }
  // A table that is new has no row.
  if (parent != nullptr)
    (orphans << " and not exists\n    (select 1 from ").name(key.referenced)
        << " parent where " << match.text() << ")";
  orphans << ")";
  const QualifiedName referenced{owner, name};
  return RowCheck{
      stopIf(orphans, "rows of " + shown(table.name) + " refer to no row of " + shown(referenced)),
      {table.name, referenced}};
}

std::optional<RowCheck> checkOf(const Planner& planner, const Table& table,
                                const IndexStorage& unique) {
  const Table* there = planner.uses().table(table.name.owner, table.name.name);
  if (there == nullptr) return std::nullopt;
  Statement rows("(select 1 from "), keys;
  rows.name(table.name);
  std::string columns, isNotThere;
  std::string_view separator = " group by ";
  for (const KeyColumn& column : unique.columns) {
    columns += (columns.empty() ? "" : ", ") + column.name;
    if (column.isExpression) return std::nullopt;
    if (hasColumn(*there, column.name)) {
      addAsItWillBe(keys << std::exchange(separator, ", "), planner, *there, table, column.name);
    } else if (isConstantWhereNew(table, column.name)) {
      isNotThere = "not exists (select 1 from syscolumns where id = " + idOf(table.name) +
                   " and name = " + literal(column.name) + ")\n    and ";
    } else {
      return std::nullopt;
    }
  }
  Statement duplicates(isNotThere);
  duplicates << "exists " << rows.text() << keys.text() << " having count(*) > 1)";
  Batch batch = stopIf(duplicates, "rows of " + shown(table.name) + " have the same " + columns);
  batch.quotedIdentifier = rows.needsQuotedIdentifier() || keys.needsQuotedIdentifier();
  return RowCheck{std::move(batch), {table.name}};
}

std::optional<RowCheck> checkOf(const Planner& planner, const Table& table, const Check& check) {
  const Table* there = planner.uses().table(table.name.owner, table.name.name);
  constexpr std::string_view kCheck = "check";
  const std::string_view text = check.condition.text;
  if (there == nullptr || text.size() < kCheck.size()) return std::nullopt;
  bool isKnown = true;
  forEachName(text, check.condition.quotedIdentifier, [&](std::string_view name) {
    const auto is = std::ranges::find(table.columns, name, &Column::name);
    const auto was = std::ranges::find(there->columns, name, &Column::name);
    if (is == table.columns.end()) return;
    // What is compared with a number may not be one yet.
    isKnown = isKnown && was != there->columns.end() &&
              kindOf(planner.storedOld(was->type).type) == kindOf(planner.storedNew(is->type).type);
  });
  if (!isKnown) return std::nullopt;
  const bool option = check.condition.quotedIdentifier;
  Statement violations("exists (select 1 from ", option ? Quotes::doubled : Quotes::brackets);
  const std::string_view condition = text.substr(kCheck.size());
  violations.name(table.name) << " where not "
                              << condition.substr(std::min(condition.find('('), condition.size()))
                              << ")";
  Batch batch =
      stopIf(violations, "rows of " + shown(table.name) + " do not pass " +
                             (check.name.generated ? std::string(text) : check.name.name));
  batch.quotedIdentifier = option;
  return RowCheck{std::move(batch), {table.name}};
}

/// A table that has another name meanwhile cannot be asked.
Batch Planner::guardedByRenames(RowCheck check) const {
  std::set<std::string> renamed;
  for (const QualifiedName& table : check.asked) {
    if (nameMeanwhile(table) != nullptr) renamed.insert(idOf(table) + " is not null");
  }
  if (renamed.empty()) return std::move(check.batch);
  std::string condition;
  for (const std::string& one : renamed) condition += (condition.empty() ? "if " : " and ") + one;
  check.batch.text = condition + "\n    exec(" + literal(check.batch.text) + ")";
  return std::move(check.batch);
}

void Planner::addChecks() {
  std::set<std::string> texts;
  for (CheckOfStep& one : checks_) {
    const Step& of = script_.steps[one.step];
    if (!of.isAllowed || !texts.insert(one.check.batch.text).second) continue;
    begin(of.kind, of.object);
    const std::string difference = of.difference;
    add(Stage::checks, difference, {guardedByRenames(std::move(one.check))});
  }
}

}  // namespace kelvane::change_script
