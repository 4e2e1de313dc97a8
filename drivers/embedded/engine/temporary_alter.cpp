// alter table of a temporary table: its rows are copied into one that is as they shall be.

#include <algorithm>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/temporary_writer.h"
#include "drivers/embedded/engine/walk.h"
#include "drivers/embedded/tsql/overloaded.h"
#include "drivers/embedded/tsql/parser.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

// Where the values of a column come from.
struct Filled {
  std::optional<std::size_t> former;  ///< the column that it was
  bool isNumbered = false;            ///< from 1, a new identity column
  Cell constant = {};
};

bool namesColumn(const Expr& expr, const std::string& name) {
  return anyWithin(expr, [&](const Expr& part) {
    const auto* column = as<ColumnRef>(part);
    return column != nullptr && column->column == name;
  });
}

class TemporaryChange {
 public:
  TemporaryChange(Frame& frame, const TemporaryTable& table, std::uint32_t line)
      : frame_(frame), former_(table), made_(table), line_(line) {
    made_.defaults.resize(made_.columns.size());
    filled_.resize(made_.columns.size());
    for (std::size_t i = 0; i < filled_.size(); ++i) filled_[i].former = i;
    for (const std::string& check : made_.checks) {
      const auto at = static_cast<std::size_t>(&check - made_.checks.data());
      checkNames_.push_back(former_.rules->checks.at(at).constraint);
    }
  }

  void operator()(const AddColumn& action);
  void operator()(const AddConstraint& action) { addChecks({&action.constraint, 1}); }
  void operator()(const DropColumn& action);
  void operator()(const DropConstraint& action);
  void operator()(const ModifyColumn& action);
  void operator()(const ReplaceDefault& action);
  void operator()(const ChangeLock& action) { made_.allPages = action.scheme == "allpages"; }
  void operator()(const ChangePartitions&) { refuse("partitions"); }
  void operator()(const AlterPartition&) { refuse("partitions"); }
  void operator()(const SwitchTrigger&) { refuse("triggers"); }
  void operator()(const ChangeStorage&) { refuse("storage options"); }

  /// Whether the statement has no other action, which may have an effect.
  bool isAlone = false;

  TemporaryTable made();
  void fill(const TemporaryTable& former, const TemporaryTable& changed) const;

 private:
  [[noreturn]] void refuse(std::string_view what) const { throw notKept(made_.name, what, line_); }
  std::size_t require(const std::string& column) const;
  void requireUnused(const std::string& column) const;
  void addChecks(std::span<const Constraint> constraints);
  Cell filledValue(const Filled& from, const ColumnInfo& column, const Statement& read,
                   std::int64_t row) const;

  Frame& frame_;
  const TemporaryTable& former_;
  TemporaryTable made_;
  const std::uint32_t line_;
  std::vector<Filled> filled_;  ///< of each column of made_
  std::vector<std::string> checkNames_;
};

std::size_t TemporaryChange::require(const std::string& column) const {
  const auto found = std::ranges::find(made_.columns, column, &ColumnInfo::name);
  if (found != made_.columns.end()) return static_cast<std::size_t>(found - made_.columns.begin());
  throw ServerError(message::alteredColumnNotFound, line_, made_.name, column);
}

void TemporaryChange::addChecks(std::span<const Constraint> constraints) {
  for (const Constraint& constraint : constraints) {
    const auto* check = std::get_if<CheckConstraint>(&constraint.node);
    if (check == nullptr) continue;
    made_.checks.emplace_back(check->range.in(frame_.batch()->text));
    checkNames_.push_back(constraint.name);
  }
}

void TemporaryChange::operator()(const AddColumn& action) {
  const ColumnDefinition& definition = action.column;
  if (std::ranges::count(made_.columns, definition.name, &ColumnInfo::name) != 0) {
    throw ServerError(message::duplicateColumn, line_, definition.name, made_.name);
  }
  const ColumnInfo column = temporaryColumn(definition, made_.columns, frame_);
  const bool isFilled = column.computed.empty() && !column.type.nullable;
  Filled& filled = filled_.emplace_back();
  filled.isNumbered = column.type.identity;
  if (isFilled && !column.type.identity) {
    if (!definition.defaultClause) {
      throw ServerError(message::addedColumnNeedsDefault, line_, made_.name, column.name);
    }
    filled.constant = frame_.evaluate(*definition.defaultClause->value, &column.type);
  }
  made_.columns.push_back(column);
  made_.defaults.emplace_back(definition.defaultClause
                                  ? definition.defaultClause->range.in(frame_.batch()->text)
                                  : std::string_view());
  addChecks(definition.constraints);
}

void TemporaryChange::requireUnused(const std::string& column) const {
  const auto used = [&](std::string_view user) {
    throw ServerError(message::columnUsed, line_, made_.name, column, user);
  };
  for (const TemporaryIndex& index : made_.indexes) {
    if (std::ranges::count(index.keys, column, &TemporaryKey::column) != 0) used(index.name);
  }
  for (const ColumnInfo& other : made_.columns) {
    if (!other.computed.empty() && namesColumn(*parseExpression(other.computed), column)) {
      used(other.name);
    }
  }
  for (std::size_t i = 0; i < made_.checks.size(); ++i) {
    const SourceText check{made_.checks[i], frame_.session().caller.quotedIdentifier};
    if (namesColumn(*checkCondition(check), column)) used(checkNames_[i]);
  }
}

void TemporaryChange::operator()(const DropColumn& action) {
  const std::size_t at = require(action.column);
  requireUnused(action.column);
  if (made_.columns.size() == 1) {
    throw ServerError(message::lastColumn, line_, made_.name);
  }
  const auto place = static_cast<std::ptrdiff_t>(at);
  made_.columns.erase(made_.columns.begin() + place);
  made_.defaults.erase(made_.defaults.begin() + place);
  filled_.erase(filled_.begin() + place);
}

void TemporaryChange::operator()(const DropConstraint& action) {
  const auto isNamed = [&](const TemporaryIndex& index) {
    return index.isConstraint && index.name == action.constraint;
  };
  if (std::erase_if(made_.indexes, isNamed) != 0) return;
  const auto check = std::ranges::find(checkNames_, action.constraint);
  if (check == checkNames_.end()) {
    throw ServerError(message::notConstraint, line_, action.constraint);
  }
  made_.checks.erase(made_.checks.begin() + (check - checkNames_.begin()));
  checkNames_.erase(check);
}

void TemporaryChange::operator()(const ModifyColumn& action) {
  ColumnInfo& column = made_.columns[require(action.column.name)];
  if (!column.computed.empty() || action.column.computed) refuse("changes of computed columns");
  ColumnType to = column.type;
  if (!action.column.type.name.empty()) {
    to = temporaryColumn(action.column, made_.columns, frame_).type;
    to.identity = column.type.identity;
  }
  const bool isNullable = action.column.nullability == Nullability::Unspecified
                              ? column.type.nullable
                              : action.column.nullability == Nullability::Null;
  to = withNullability(to, isNullable);
  if (to.kind == TypeKind::Timestamp && column.type.kind != to.kind) {
    throw ServerError(message::modifyToTimestamp, line_, column.name, made_.name);
  }
  if (isAlone && to == column.type) {
    throw ServerError(message::modifyWithoutEffect, line_, column.name);
  }
  column.type = to;
}

void TemporaryChange::operator()(const ReplaceDefault& action) {
  const std::size_t at = require(action.column);
  const auto* literal = std::get_if<Literal>(&action.value.value->node);
  const bool isNone = literal != nullptr && literal->kind == LiteralKind::Null;
  made_.defaults[at] =
      isNone ? std::string() : std::string(action.value.range.in(frame_.batch()->text));
}

TemporaryTable TemporaryChange::made() {
  placeColumns(made_);
  RowRules rules;
  for (std::size_t i = 0; i < made_.checks.size(); ++i) {
    const SourceText check{made_.checks[i], frame_.session().caller.quotedIdentifier};
    rules.checks.push_back({checkNames_[i], checkCondition(check)});
  }
  made_.rules = std::make_shared<const RowRules>(std::move(rules));
  return made_;
}

Cell TemporaryChange::filledValue(const Filled& from, const ColumnInfo& column,
                                  const Statement& read, std::int64_t row) const {
  if (from.isNumbered) return row;
  Cell value = from.former ? read.cell(static_cast<int>(*from.former)) : from.constant;
  if (!from.former || !column.computed.empty()) return value;
  if (!isNull(value)) {
    return convertCell(value, former_.columns[*from.former].type, column.type,
                       {ConversionForm::Explicit, 0, line_});
  }
  if (column.type.nullable) return value;
  throw ServerError(message::nullInserted, line_, column.name, made_.name);
}

void TemporaryChange::fill(const TemporaryTable& former, const TemporaryTable& changed) const {
  Database& store = frame_.server().catalog.store();
  std::string places;
  for (std::size_t i = 0; i < filled_.size(); ++i) places += i == 0 ? "?" : ", ?";
  Statement read = store.prepare("SELECT * FROM " + former.sqliteTable + " ORDER BY rowid");
  Statement write =
      store.prepare("INSERT INTO " + changed.sqliteTable + " VALUES (" + places + ")");
  for (std::int64_t row = 1; read.step(); ++row) {
    for (std::size_t i = 0; i < filled_.size(); ++i) {
      write.bind(static_cast<int>(i) + 1, filledValue(filled_[i], changed.columns[i], read, row));
    }
    write.step();
    write.reset();
  }
}

}  // namespace

void TemporaryWriter::addConstraints(TemporaryTable& table, const AlterAction& action) {
  if (const auto* add = std::get_if<AddConstraint>(&action)) {
    addConstraint(table, add->constraint, nullptr);
  } else if (const auto* column = std::get_if<AddColumn>(&action)) {
    for (const Constraint& constraint : column->column.constraints) {
      addConstraint(table, constraint, &column->column);
    }
  }
}

void TemporaryWriter::alter(const AlterTable& statement) {
  const TemporaryTable* table = session_.temporaries.find(statement.table.name);
  const std::uint32_t line = statement.table.range.line;
  if (table == nullptr) {
    throw ServerError(message::objectNotFound, line, statement.table.name);
  }
  const TemporaryTable before = *table;
  TemporaryChange change(frame_, before, line);
  change.isAlone = statement.actions.size() == 1;
  for (const AlterAction& action : statement.actions) std::visit(change, action);
  TemporaryTable made = change.made();
  Savepoint savepoint(server_.catalog.store());
  try {
    const std::vector<TemporaryIndex> indexes = made.indexes;
    TemporaryTable& changed = session_.temporaries.replace(
        std::move(made),
        [&](const TemporaryTable& from, const TemporaryTable& to) { change.fill(from, to); });
    for (const TemporaryIndex& index : indexes) storeIndex(changed, index, line);
    for (const AlterAction& action : statement.actions) addConstraints(changed, action);
    show(changed);
  } catch (...) {
    session_.temporaries.restore(before);
    throw;
  }
  savepoint.keep();
}

}  // namespace kelvane::embedded
