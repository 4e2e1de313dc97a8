// User types, and the binding of rules and defaults to types and columns.
#include <algorithm>
#include <charconv>

#include "drivers/embedded/catalog/name_text.h"
#include "drivers/embedded/catalog/procedures/procedure.h"
#include "drivers/embedded/catalog/status_bits.h"
#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/catalog/table_writer.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

namespace {

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(' ');
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

std::string wordOf(std::string_view text) { return tsql::lowerCase(trimmed(text)); }

/// `numeric(8, 2)` as sp_addtype takes it: a text.
tsql::DataType parsePhysicalType(const ProcedureRun& run, std::string_view text) {
  tsql::DataType type;
  const std::size_t open = std::min(text.find('('), text.size());
  type.name = wordOf(text.substr(0, open));
  const auto number = [&](std::string_view digits) {
    int value = 0;
    digits = trimmed(digits);
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), value);
    if (error != std::errc() || end != digits.end()) {
      run.fail(message::badTypeLength, text);
    }
    return value;
  };
  if (open == text.size()) return type;
  std::string_view inside = text.substr(open + 1);
  inside = inside.substr(0, inside.find(')'));
  const std::size_t comma = inside.find(',');
  type.length = number(inside.substr(0, comma));
  if (comma != std::string_view::npos) type.scale = number(inside.substr(comma + 1));
  return type;
}

struct NullType {
  bool nullable = false;
  bool identity = false;
};

NullType parseNullType(const ProcedureRun& run, std::string_view text, bool allowsNulls) {
  const std::string word = wordOf(text);
  if (word.empty()) return {allowsNulls, false};
  if (word == "null") return {true, false};
  if (word == "not null" || word == "nonull") return {false, false};
  if (word == "identity") return {false, true};
  run.fail(message::badTypeNullability, text);
}

void spAddtype(ProcedureRun& run) {
  const std::string name = run.text(0);
  const std::string physical = run.text(1);
  const tsql::DataType declared = parsePhysicalType(run, physical);
  const SystemType* base = findSystemType(declared.name);
  if (base == nullptr || !run.catalog().options().has(base->since))
    run.fail(message::physicalTypeNotFound, physical);
  if (base->kind == TypeKind::Timestamp) {
    run.fail(message::typeOfTimestamp);
  }
  if (run.store().value("SELECT 1 FROM systypes WHERE name = ?", name)) {
    run.fail(message::typeExists);
  }
  constexpr std::size_t kNullType = 2;
  const bool allowsNulls =
      run.isGiven(kNullType) || run.catalog().allowsNullsByDefault(run.caller().database);
  const NullType nulls = parseNullType(run, run.text(kNullType), allowsNulls);
  const ColumnType type =
      withNullability(run.catalog().resolveType(declared, run.caller()), nulls.nullable);
  run.store().run(
      "INSERT INTO systypes(uid, usertype, variable, allownulls, type, length, name, prec, scale,"
      " ident, hierarchy)"
      " SELECT ?, max(max(usertype), 100) + 1, (SELECT variable FROM systypes WHERE usertype = ?),"
      " ?, ?, ?, ?, ?, ?, ?, (SELECT hierarchy FROM systypes WHERE usertype = ?) FROM systypes",
      run.caller().uid, base->userType, nulls.nullable ? 1 : 0, type.storageCode, type.length, name,
      type.precision, type.scale, nulls.identity ? 1 : 0, base->userType);
  run.print(message::typeAdded);
}

void spDroptype(ProcedureRun& run) {
  const std::string name = run.text(0);
  const auto userType =
      run.store().value("SELECT usertype FROM systypes WHERE name = ? AND usertype > 100", name);
  if (!userType) run.fail(message::userTypeNotFound, name);
  if (run.store().value("SELECT 1 FROM syscolumns WHERE usertype = ?", *userType)) {
    run.fail(message::typeInUse, name);
  }
  run.store().run("DELETE FROM systypes WHERE usertype = ?", *userType);
  run.print(message::typeDropped);
}

// bindings

/// The columns that hold what is bound: the kinds of rules and defaults differ in nothing else.
struct Binding {
  std::string_view noun;
  std::string_view objectType;
  std::string_view columnField;
  std::string_view typeField;
};

constexpr Binding kRule = {"Rule", object_type::kRule, "domain", "domain"};
constexpr Binding kAccessRule = {"Rule", object_type::kRule, "accessrule", "accessrule"};
constexpr Binding kDefault = {"Default", object_type::kDefault, "cdefault", "tdefault"};

struct BoundColumn {
  ObjectInfo table;
  ColumnInfo column;
};

/// `[owner.]table.column`; none for the name of a type.
std::optional<BoundColumn> findColumn(ProcedureRun& run, std::string_view name) {
  const auto [tableName, last] = splitAtLastDot(name, run.quotedNames());
  if (tableName.empty()) return std::nullopt;
  const auto table = run.catalog().findObject(tableName, run.caller());
  if (!table || table->type != object_type::kTable) {
    run.fail(message::boundTableNotFound, tableName);
  }
  const std::string columnName = lastName(last, run.quotedNames());
  auto column = run.catalog().column(table->id, columnName);
  if (!column) {
    run.fail(message::boundColumnNotFound, columnName, table->name);
  }
  return BoundColumn{*table, std::move(*column)};
}

int requireUserType(ProcedureRun& run, std::string_view name) {
  const auto userType =
      run.store().value("SELECT usertype FROM systypes WHERE name = ? AND usertype > 100", name);
  if (!userType) run.fail(message::boundTypeNotFound, name);
  return *userType;
}

bool isFutureOnly(ProcedureRun& run, std::size_t position) {
  const std::string word = wordOf(run.text(position));
  if (!word.empty() && word != "futureonly") {
    run.fail(message::onlyFutureonly, word);
  }
  return !word.empty();
}

/// Sets the binding of a type, and of its columns as far as they have the type's own.
void setOnType(ProcedureRun& run, const Binding& binding, int userType, int objectId,
               bool futureOnly) {
  const int before = run.store()
                         .value(concat("SELECT ifnull(", binding.typeField,
                                       ", 0) FROM systypes WHERE usertype = ?"),
                                userType)
                         .value_or(0);
  run.store().run(concat("UPDATE systypes SET ", binding.typeField, " = ? WHERE usertype = ?"),
                  objectId, userType);
  if (futureOnly) return;
  run.store().run(concat("UPDATE syscolumns SET ", binding.columnField, " = ?1 WHERE usertype = ?2",
                         " AND ifnull(", binding.columnField, ", 0) IN (0, ?3)"),
                  objectId, userType, before);
}

void setOnColumn(ProcedureRun& run, const Binding& binding, const BoundColumn& target,
                 int objectId) {
  run.store().run(
      concat("UPDATE syscolumns SET ", binding.columnField, " = ? WHERE id = ? AND colid = ?"),
      objectId, target.table.id, target.column.colid);
  run.store().run("UPDATE sysobjects SET schemacnt = schemacnt + 1 WHERE id = ?", target.table.id);
}

/// Whether what stands at the column was declared with the table, and not bound.
bool isDeclared(ProcedureRun& run, int objectId) {
  return run.writer().records().isInline(objectId) ||
         run.store().value("SELECT 1 FROM sysconstraints WHERE constrid = ?", objectId).has_value();
}

bool isAccessRule(ProcedureRun& run, int id) {
  const SysObject* object = run.writer().records().object(id);
  return object != nullptr && (object->sysstat2 & rule_status2::kAccess) != 0;
}

void bind(ProcedureRun& run, const Binding& asked) {
  const auto object = run.catalog().findObject(run.text(0), run.caller());
  if (!object || object->type != asked.objectType || isDeclared(run, object->id)) {
    run.fail(message::bindingNotFound, tsql::lowerCase(asked.noun), run.text(0));
  }
  const bool isAccess = &asked == &kRule && isAccessRule(run, object->id);
  const Binding& binding = isAccess ? kAccessRule : asked;
  const bool futureOnly = isFutureOnly(run, 2);
  if (const auto target = findColumn(run, run.text(1))) {
    const bool declaredDefault = &binding == &kDefault && isDeclared(run, target->column.defaultId);
    if (declaredDefault) {
      run.fail(message::columnHasDefault);
    }
    if (&binding == &kDefault && target->column.type.identity) {
      run.fail(message::defaultOnIdentity);
    }
    setOnColumn(run, binding, *target, object->id);
    run.print(message::boundToColumn, binding.noun);
  } else {
    setOnType(run, binding, requireUserType(run, run.text(1)), object->id, futureOnly);
    run.print(message::boundToType, binding.noun);
  }
}

void unbind(ProcedureRun& run, const Binding& binding) {
  const bool futureOnly = isFutureOnly(run, 1);
  if (const auto target = findColumn(run, run.text(0))) {
    const int bound =
        run.store()
            .value(concat("SELECT ifnull(", binding.columnField,
                          ", 0) FROM syscolumns WHERE id = ? AND colid = ? AND number = 0"),
                   target->table.id, target->column.colid)
            .value_or(0);
    if (bound == 0) {
      run.fail(message::nothingBound, run.text(0), tsql::lowerCase(binding.noun));
    }
    if (isDeclared(run, bound)) {
      run.fail(message::declaredWithTable, tsql::lowerCase(binding.noun), run.text(0));
    }
    setOnColumn(run, binding, *target, 0);
    run.print(message::unboundFromColumn, binding.noun);
  } else {
    setOnType(run, binding, requireUserType(run, run.text(0)), 0, futureOnly);
    run.print(message::unboundFromType, binding.noun);
  }
}

void spBindrule(ProcedureRun& run) { bind(run, kRule); }
void spBindefault(ProcedureRun& run) { bind(run, kDefault); }
/// sp_unbindrule object [, futureonly [, "accessrule" | "all"]]
void spUnbindrule(ProcedureRun& run) {
  const std::string what = wordOf(run.text(2));
  if (what != "accessrule") unbind(run, kRule);
  if (what == "accessrule" || what == "all") unbind(run, kAccessRule);
}
void spUnbindefault(ProcedureRun& run) { unbind(run, kDefault); }

constexpr Procedure kProcedures[] = {
    {"sp_addtype", "@typename @phystype @nulltype", 2, spAddtype},
    {"sp_droptype", "@typename", 1, spDroptype},
    {"sp_bindrule", "@rulename @objname @futureonly", 2, spBindrule},
    {"sp_bindefault", "@defname @objname @futureonly", 2, spBindefault},
    {"sp_unbindrule", "@objname @futureonly @accessrule", 1, spUnbindrule},
    {"sp_unbindefault", "@objname @futureonly", 1, spUnbindefault},
};

}  // namespace

std::span<const Procedure> typeProcedures() { return kProcedures; }

}  // namespace kelvane::embedded
