// sp_columns and sp_sproc_columns.
#include <algorithm>
#include <iterator>
#include <limits>

#include "drivers/embedded/catalog/pattern.h"
#include "drivers/embedded/catalog/procedures/procedure.h"
#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/catalog/utf8.h"

namespace kelvane::embedded {

namespace {

using enum TypeKind;

constexpr int kLongPrecision = std::numeric_limits<int>::max();
constexpr int kOdbcDateTime = 9;

/// How the catalog procedures describe a type. A precision of 0 is the column's own: its declared
/// one, or its length.
struct TypeReport {
  TypeKind kind;
  std::string_view name;
  int odbcCode;
  int precision = 0;
  std::optional<int> scale = {};
  std::optional<int> radix = {};
};

constexpr TypeReport kTypeReports[] = {
    {Char, "char", 1},
    {Nchar, "char", 1},
    {Varchar, "varchar", 12},
    {Nvarchar, "varchar", 12},
    {Sysname, "varchar", 12},
    {Unichar, "unichar", -8},
    {Univarchar, "univarchar", -9},
    {Text, "text", -1, kLongPrecision},
    {Unitext, "unitext", -10, kLongPrecision},
    {Binary, "binary", -2},
    {Varbinary, "varbinary", -3},
    {Timestamp, "varbinary", -3},
    {Image, "image", -4, kLongPrecision},
    {Bit, "bit", -7, 1, 0, 2},
    {Tinyint, "tinyint", -6, 3, 0, 10},
    {Smallint, "smallint", 5, 5, 0, 10},
    {Usmallint, "usmallint", 65, 5, 0, 10},
    {Int, "int", 4, 10, 0, 10},
    {Uint, "uint", 66, 10, 0, 10},
    {Bigint, "bigint", -5, 19, 0, 10},
    {Ubigint, "ubigint", 67, 20, 0, 10},
    {Numeric, "numeric", 2, 0, {}, 10},
    {Decimal, "decimal", 3, 0, {}, 10},
    {Float, "float", 6, 15, {}, 10},
    {Real, "real", 7, 7, {}, 10},
    {Money, "money", 3, 19, 4, 10},
    {Smallmoney, "smallmoney", 3, 10, 4, 10},
    {Datetime, "datetime", 11, 23, 3, 10},
    {Smalldatetime, "smalldatetime", 11, 16, 0, 10},
    {Date, "date", 91, 10, 0, 10},
    {Time, "time", 92, 16, 0, 10},
    {Bigdatetime, "bigdatetime", 93, 26, 6, 10},
    {Bigtime, "bigtime", 94, 15, 6, 10},
};

struct Described {
  const TypeReport& report;
  int precision;
  std::optional<int> scale;
  int octets;  ///< of character and binary types, else 0
  int sqlType;
};

Described describe(const ColumnType& type) {
  const TypeReport& report = *std::ranges::find(kTypeReports, type.kind, &TypeReport::kind);
  const int own = type.precision.value_or(type.length);
  const int precision = report.precision == 0 ? own : report.precision;
  const bool hasOctets = isCharacter(type.kind) || isBinary(type.kind);
  const bool isDateTime = type.kind == Datetime || type.kind == Smalldatetime;
  return {report, precision, type.precision ? type.scale : report.scale, hasOctets ? precision : 0,
          isDateTime ? kOdbcDateTime : report.odbcCode};
}

ResultColumn textColumn(std::string name, int length, bool nullable) {
  return {std::move(name), declaredType(Varchar, length, {}, nullable)};
}

ResultColumn intColumn(std::string name, TypeKind kind, bool nullable) {
  return {std::move(name), declaredType(kind, {}, {}, nullable)};
}

Cell cellOf(const std::optional<int>& number) {
  return number ? Cell(std::int64_t{*number}) : Cell(Null{});
}

// which objects

/// Visits the objects whose name fits a pattern, in order of name. The fixed text up to the next
/// wildcard is sought in the index, so that a name which merely holds a `_` costs a few steps.
class PatternScan {
 public:
  PatternScan(Database& store, std::string_view pattern) : store_(store), pattern_(pattern) {}

  template <class Visit>
  void each(Visit&& visit) {
    std::string from = literalFrom(0);
    int fromUid = std::numeric_limits<int>::min();
    for (bool more = true; more;) {
      more = false;
      std::string name;
      ObjectInfo object;
      store_.each(
          "SELECT name, id, uid, type FROM sysobjects WHERE (name, uid) > (?, ?)"
          " ORDER BY name, uid LIMIT 1",
          [&](const Statement& row) {
            object = {row.number(1), row.number(2), row.text(3), row.text(0), {}};
            more = true;
          },
          from, fromUid);
      if (!more) return;
      if (matchesLike(object.name, pattern_)) {
        visit(object);
        from = object.name;
        fromUid = object.uid;
      } else {
        const std::optional<std::string> next = nextCandidate(object.name);
        if (!next) return;
        const bool advances = *next > object.name;
        from = advances ? *next : object.name;
        fromUid = advances ? std::numeric_limits<int>::min() : object.uid;
      }
    }
  }

 private:
  static bool isWildcard(char c) { return c == '_' || c == '%' || c == '['; }

  std::string literalFrom(std::size_t at) const {
    std::size_t end = at;
    while (end < pattern_.size() && !isWildcard(pattern_[end])) ++end;
    return std::string(pattern_.substr(at, end - at));
  }

  /// The least text after `name` that the pattern may fit; `name` itself where stepping on is the
  /// best that can be done, none past the last.
  std::optional<std::string> nextCandidate(std::string_view name) const {
    std::size_t n = 0;
    std::size_t p = 0;
    // Before the last single-character wildcard passed, in the name and in the pattern.
    std::optional<std::pair<std::size_t, std::size_t>> wildcard;
    while (p < pattern_.size() && n < name.size()) {
      if (pattern_[p] == '%' || pattern_[p] == '[') return std::string(name);
      if (pattern_[p] == '_') {
        wildcard = {n, p};
        n += characterAt(name, n).size();
        ++p;
      } else if (name[n] == pattern_[p]) {
        ++n;
        ++p;
      } else {
        break;
      }
    }
    const bool isBefore =
        p < pattern_.size() && (n >= name.size() || static_cast<unsigned char>(name[n]) <
                                                        static_cast<unsigned char>(pattern_[p]));
    if (isBefore) {
      const std::string literal = literalFrom(p);
      return literal.empty() ? std::string(name) : concat(name.substr(0, n), literal);
    }
    if (!wildcard) return std::nullopt;
    std::string next(name.substr(0, wildcard->first));
    const std::string_view character = characterAt(name, wildcard->first);
    // Beyond ASCII the next character is left to the index: it is the next name.
    if (character.size() > 1 || character[0] == '\x7F') return std::string(name);
    next += static_cast<char>(character[0] + 1);
    return next + literalFrom(wildcard->second + 1);
  }

  Database& store_;
  std::string_view pattern_;
};

bool hasWildcard(std::string_view text) {
  return text.find_first_of("%_") != std::string_view::npos;
}

struct NamedObject {
  std::string owner;
  ObjectInfo object;
};

/// The one object of that name, or all that fit name and owner as patterns.
template <class Accept>
std::vector<NamedObject> objectsLike(ProcedureRun& run, const std::string& name,
                                     const std::optional<std::string>& owner, Accept&& accept) {
  const std::string qualified = owner ? concat(*owner, ".", name) : name;
  std::vector<NamedObject> found;
  if (!hasWildcard(qualified)) {
    if (const auto object = run.catalog().findObject(qualified, run.caller())) {
      if (accept(object->type)) {
        found.push_back({run.catalog().userName(object->uid).value_or(""), *object});
      }
      return found;
    }
  }
  PatternScan(run.store(), name).each([&](const ObjectInfo& object) {
    std::string objectOwner = run.catalog().userName(object.uid).value_or("");
    if (accept(object.type) && matchesLike(objectOwner, owner.value_or("%"))) {
      found.push_back({std::move(objectOwner), object});
    }
  });
  std::ranges::stable_sort(found, {}, &NamedObject::owner);
  return found;
}

void requireCurrentDatabase(const ProcedureRun& run, const std::optional<std::string>& database) {
  if (database && !database->empty() && *database != run.caller().database) {
    run.fail(18039, "Table qualifier must be name of current database.");
  }
}

// sp_columns

std::vector<ResultColumn> columnsLayout(ProcedureRun& run) {
  return {run.nameColumn("table_qualifier", 32, true),
          run.nameColumn("table_owner", 32, true),
          run.nameColumn("table_name", 32, false),
          run.nameColumn("column_name", 32, false),
          intColumn("data_type", Smallint, true),
          textColumn("type_name", 30, true),
          intColumn("precision", Int, true),
          intColumn("length", Int, true),
          intColumn("scale", Smallint, true),
          intColumn("radix", Smallint, true),
          intColumn("nullable", Smallint, false),
          textColumn("remarks", 254, true),
          intColumn("ss_data_type", Smallint, false),
          intColumn("colid", Int, false),
          textColumn("column_def", 255, true),
          intColumn("sql_data_type", Smallint, true),
          intColumn("sql_datetime_sub", Smallint, true),
          intColumn("char_octet_length", Int, true),
          intColumn("ordinal_position", Int, false),
          textColumn("is_nullable", 10, false)};
}

Row columnsRow(const ProcedureRun& run, const NamedObject& table, const ColumnInfo& column) {
  const Described type = describe(column.type);
  const bool nullable = column.type.nullable;
  return {run.caller().database,
          table.owner,
          table.object.name,
          column.name,
          cellOf(type.report.odbcCode),
          std::string(type.report.name),
          cellOf(type.precision),
          cellOf(column.type.length),
          cellOf(type.scale),
          cellOf(type.report.radix),
          cellOf(nullable ? 1 : 0),
          Null{},
          cellOf(column.type.storageCode),
          cellOf(column.colid),
          Null{},
          cellOf(type.sqlType),
          Null{},
          cellOf(type.octets),
          cellOf(column.colid),
          std::string(nullable ? "YES" : "NO")};
}

void spColumns(ProcedureRun& run) {
  requireCurrentDatabase(run, run.argument(2));
  const std::string columnPattern = run.argument(3).value_or("%");
  ResultSet& set = run.result().resultSets.emplace_back(columnsLayout(run));
  const auto isTable = [](std::string_view type) {
    return type == object_type::kTable || type == object_type::kView ||
           type == object_type::kSystemTable;
  };
  for (const NamedObject& table : objectsLike(run, run.text(0), run.argument(1), isTable)) {
    for (const ColumnInfo& column : run.catalog().columns(table.object.id)) {
      if (matchesLike(column.name, columnPattern)) {
        set.rows.push_back(columnsRow(run, table, column));
      }
    }
  }
}

// sp_sproc_columns

std::vector<ResultColumn> parametersLayout(ProcedureRun& run) {
  return {run.nameColumn("procedure_qualifier", 30, true),
          run.nameColumn("procedure_owner", 30, true),
          run.nameColumn("procedure_name", 41, false),
          run.nameColumn("column_name", 30, false),
          intColumn("column_type", Smallint, false),
          intColumn("data_type", Smallint, true),
          {"type_name", declaredType(Char, 30, {}, false)},
          intColumn("precision", Int, true),
          intColumn("length", Int, true),
          intColumn("scale", Smallint, true),
          intColumn("radix", Smallint, true),
          intColumn("nullable", Smallint, false),
          textColumn("remarks", 254, true),
          intColumn("ss_data_type", Tinyint, false),
          intColumn("colid", Tinyint, false),
          textColumn("column_def", 255, true),
          intColumn("sql_data_type", Smallint, true),
          intColumn("sql_datetime_sub", Smallint, true),
          intColumn("char_octet_length", Int, true),
          intColumn("ordinal_position", Int, false),
          textColumn("is_nullable", 3, false)};
}

Row parameterRow(const ProcedureRun& run, const NamedObject& procedure, const ColumnInfo& parameter,
                 int direction) {
  const Described type = describe(parameter.type);
  return {run.caller().database,
          procedure.owner,
          procedure.object.name,
          parameter.name,
          cellOf(direction),
          cellOf(type.report.odbcCode),
          std::string(type.report.name),
          cellOf(type.precision),
          cellOf(parameter.type.length),
          cellOf(type.scale),
          cellOf(type.report.radix),
          cellOf(1),  // a parameter accepts null whatever its type says
          Null{},
          cellOf(parameter.type.storageCode),
          cellOf(parameter.colid),
          Null{},
          cellOf(type.sqlType),
          Null{},
          cellOf(type.octets),
          cellOf(parameter.colid),
          std::string("YES")};
}

void spSprocColumns(ProcedureRun& run) {
  requireCurrentDatabase(run, run.argument(2));
  std::string name = run.text(0);
  int number = 1;
  if (const std::size_t semicolon = name.find(';'); semicolon != std::string::npos) {
    number = std::atoi(name.c_str() + semicolon + 1);
    name.erase(semicolon);
  }
  const std::string pattern = run.argument(3).value_or("%");
  ResultSet& set = run.result().resultSets.emplace_back(parametersLayout(run));
  const auto isRoutine = [](std::string_view type) {
    return type == object_type::kProcedure || type == object_type::kFunction;
  };
  for (const NamedObject& procedure : objectsLike(run, name, run.argument(1), isRoutine)) {
    for (const ColumnInfo& parameter : run.catalog().parameters(procedure.object.id, number)) {
      if (!matchesLike(parameter.name, pattern)) continue;
      const int direction =
          run.store()
              .value("SELECT status2 FROM syscolumns WHERE id = ? AND number = ? AND colid = ?",
                     procedure.object.id, number, parameter.colid)
              .value_or(1);
      set.rows.push_back(parameterRow(run, procedure, parameter, direction));
    }
  }
}

constexpr Procedure kProcedures[] = {
    {"sp_columns", "@table_name @table_owner @table_qualifier @column_name", 1, spColumns},
    {"sp_sproc_columns", "@procedure_name @procedure_owner @procedure_qualifier @column_name", 1,
     spSprocColumns},
};

}  // namespace

std::span<const Procedure> columnProcedures() { return kProcedures; }

}  // namespace kelvane::embedded
