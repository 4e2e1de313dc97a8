// What drivers ask about a server and its databases: sp_tables, sp_databases, sp_server_info,
// sp_datatype_info, sp_stored_procedures.
#include <algorithm>
#include <cstdlib>

#include "drivers/embedded/catalog/procedures/named_objects.h"
#include "drivers/embedded/catalog/procedures/type_reports.h"
#include "drivers/embedded/catalog/system_tables.h"

namespace kelvane::embedded {

namespace {

using enum TypeKind;

constexpr int kRemarksWidth = 254;

// sp_tables

std::string_view tableTypeOf(std::string_view type) {
  if (type == object_type::kView) return "VIEW";
  return type == object_type::kSystemTable ? "SYSTEM TABLE" : "TABLE";
}

// An argument such as "'TABLE', 'VIEW'", in which every type has its own quotes.
bool isAsked(std::string_view types, std::string_view type) {
  return types.empty() || types.find(concat("'", type, "'")) != types.npos || types == type ||
         types == "%" || types == "'%'";
}

// One part alone: what there is of it. Drivers ask so for lists of databases, owners and types.
bool listsPart(ProcedureRun& run, ResultSet& set) {
  constexpr std::string_view kAll = "%";
  const auto isBlank = [&](std::size_t position) {
    const auto value = run.argument(position);
    return value && value->empty();
  };
  const bool noName = isBlank(0), noOwner = isBlank(1), noDatabase = isBlank(2);
  if (noName && noOwner && run.text(2) == kAll) {
    run.store().each("SELECT name FROM sysdatabases ORDER BY name", [&](const Statement& row) {
      set.rows.push_back({row.cell(0), Null{}, Null{}, Null{}, Null{}});
    });
    return true;
  }
  if (noName && noDatabase && run.text(1) == kAll) {
    run.store().each("SELECT DISTINCT uid FROM sysobjects ORDER BY uid", [&](const Statement& row) {
      set.rows.push_back(
          {Null{}, run.catalog().userName(row.number(0)).value_or(""), Null{}, Null{}, Null{}});
    });
    return true;
  }
  // FreeTDS quotes the type and leaves out what is blank.
  const bool allTypes = run.text(3) == kAll || run.text(3) == "'%'";
  if (allTypes && run.text(0).empty() && run.text(1).empty() && run.text(2).empty()) {
    for (const char* type : {"SYSTEM TABLE", "TABLE", "VIEW"})
      set.rows.push_back({Null{}, Null{}, Null{}, std::string(type), Null{}});
    return true;
  }
  return false;
}

void spTables(ProcedureRun& run) {
  ResultSet& set = run.result().resultSets.emplace_back();
  set.columns = {run.nameColumn("table_qualifier", 32, true),
                 run.nameColumn("table_owner", 32, true), run.nameColumn("table_name", 32, true),
                 textColumn("table_type", 32, true), textColumn("remarks", kRemarksWidth, true)};
  if (listsPart(run, set)) return;
  if (run.text(2) != "%") requireCurrentDatabase(run, run.argument(2));
  const std::string name = run.text(0), types = run.text(3);
  const auto isWanted = [&](std::string_view type) {
    return isTableOrView(type) && isAsked(types, tableTypeOf(type));
  };
  for (const NamedObject& table :
       objectsLike(run, name.empty() ? "%" : name, run.argument(1), isWanted)) {
    set.rows.push_back({run.caller().database, table.owner, table.object.name,
                        std::string(tableTypeOf(table.object.type)), Null{}});
  }
  std::ranges::stable_sort(set.rows, {}, [](const Row& row) -> const std::string& {
    return std::get<std::string>(row[3]);
  });
}

// sp_databases

void spDatabases(ProcedureRun& run) {
  ResultSet& set = run.result().resultSets.emplace_back();
  set.columns = {run.nameColumn("database_name", 32, true), intColumn("database_size", Int, true),
                 textColumn("remarks", kRemarksWidth, true)};
  run.store().each("SELECT name FROM sysdatabases ORDER BY name", [&](const Statement& row) {
    set.rows.push_back({row.cell(0), Null{}, Null{}});
  });
}

// sp_server_info

struct ServerFact {
  int id;
  std::string_view name;
  std::string_view value;
};

constexpr ServerFact kServerFacts[] = {
    {1, "DBMS_NAME", "SQL Server"},
    {2, "DBMS_VER", ""},
    {6, "DBE_NAME", ""},
    {10, "OWNER_TERM", "owner"},
    {11, "TABLE_TERM", "table"},
    {12, "MAX_OWNER_NAME_LENGTH", "30"},
    {13, "TABLE_LENGTH", ""},  // of the longest name
    {14, "MAX_QUAL_LENGTH", "30"},
    {15, "COLUMN_LENGTH", ""},
    {16, "IDENTIFIER_CASE", "MIXED"},
    {17, "TX_ISOLATION", "2"},
    {18, "COLLATION_SEQ", "charset=utf8 sort_order=bin_utf8"},
    {19, "SAVEPOINT_SUPPORT", "Y"},
    {20, "MULTI_RESULT_SETS", "Y"},
    {22, "ACCESSIBLE_TABLES", "Y"},
    {100, "USERID_LENGTH", "30"},
    {101, "QUALIFIER_TERM", "database"},
    {102, "NAMED_TRANSACTIONS", "Y"},
    {103, "SPROC_AS_LANGUAGE", "Y"},
    {104, "ACCESSIBLE_SPROC", "Y"},
    {105, "MAX_INDEX_COLS", "31"},
    {106, "RENAME_TABLE", "Y"},
    {107, "RENAME_COLUMN", "Y"},
    {108, "DROP_COLUMN", "Y"},
    {109, "INCREASE_COLUMN_LENGTH", "Y"},
    {110, "DDL_IN_TRANSACTION", "Y"},
    {111, "DESCENDING_INDEXES", "Y"},
    {112, "SP_RENAME", "Y"},
    {500, "SYS_SPROC_VERSION", "1"},
};
constexpr int kVersionFact = 2, kTableLengthFact = 13, kColumnLengthFact = 15;

std::string versionOf(std::optional<Release> release) {
  if (release == Release::ase16) return "16.0";
  return release == Release::ase15 ? "15.7" : "12.5";
}

void spServerInfo(ProcedureRun& run) {
  ResultSet& set = run.result().resultSets.emplace_back();
  set.columns = {intColumn("attribute_id", Int, false), textColumn("attribute_name", 60, false),
                 textColumn("attribute_value", 255, true)};
  const auto asked = run.argument(0);
  for (const ServerFact& fact : kServerFacts) {
    if (asked && std::atoi(asked->c_str()) != fact.id) continue;
    std::string value(fact.value);
    if (fact.id == kVersionFact) value = versionOf(run.catalog().options().release);
    if (fact.id == kTableLengthFact || fact.id == kColumnLengthFact)
      value = std::to_string(run.catalog().options().longestName());
    set.rows.push_back({std::int64_t{fact.id}, std::string(fact.name),
                        value.empty() ? Cell(Null{}) : Cell(std::move(value))});
  }
}

// sp_datatype_info

bool isUnsigned(TypeKind kind) {
  return kind == Tinyint || kind == Usmallint || kind == Uint || kind == Ubigint;
}

// As the names of types before 15.0 go; the others come with their releases.
bool isKnown(const ProcedureRun& run, TypeKind kind) {
  switch (kind) {
    case Unitext:
    case Usmallint:
    case Uint:
    case Ubigint:
    case Bigint:
    case Bigdatetime:
    case Bigtime:
      return run.takesTypesOf15();
    case Sysname:
    case Timestamp:
    case Nchar:
    case Nvarchar:
      return false;  // listed under the types that store them
    default:
      return true;
  }
}

Row datatypeRow(const TypeReport& report) {
  const TypeKind kind = report.kind;
  const bool isText = isCharacter(kind), isBytes = isBinary(kind), isMoment = isTemporal(kind);
  const bool isExact = kind == Numeric || kind == TypeKind::Decimal;
  const bool isNumber = !isText && !isBytes && !isMoment;
  const bool hasSign = isNumber && kind != Bit;
  const bool isMoney = kind == Money || kind == Smallmoney;
  constexpr int kMostDigits = 38, kLongestRow = 16384, kSearchable = 3, kLikeOnly = 1, kNot = 0;
  const bool hasLength = (isText || isBytes) && !isLong(kind);
  const int longest = isUnicode(kind) ? kLongestRow / 2 : kLongestRow;
  const int precision = isExact ? kMostDigits : hasLength ? longest : report.precision;
  const auto quoted = [&](std::string_view quote) {
    return quote.empty() ? Cell(Null{}) : Cell(std::string(quote));
  };
  const std::string_view quote = isText || isMoment ? "'" : isMoney ? "$" : isBytes ? "0x" : "";
  const Cell parameters =
      isExact ? Cell("precision,scale")
      : hasLength
          ? Cell(kind == Char || kind == Unichar || kind == Binary ? "length" : "max length")
          : Cell(Null{});
  const int searchable = !isLong(kind) ? (isText ? kSearchable : 2) : isText ? kLikeOnly : kNot;
  const std::optional<int> identity =
      isExact || isInteger(kind) ? std::optional(kind != Bit) : std::nullopt;
  return {std::string(report.name),
          numberCell(report.odbcCode),
          numberCell(precision),
          quoted(quote),
          quoted(isText || isMoment ? "'" : ""),
          parameters,
          numberCell(kind == Bit ? 0 : 1),
          numberCell(isText ? 1 : 0),
          numberCell(searchable),
          hasSign ? numberCell(isUnsigned(kind) ? 1 : 0) : Cell(Null{}),
          numberCell(isMoney ? 1 : 0),
          numberCell(identity),
          std::string(report.name),
          isExact ? numberCell(0) : numberCell(report.scale),
          isExact ? numberCell(kMostDigits) : numberCell(report.scale),
          numberCell(isOdbcDateTime(kind) ? kOdbcDateTime : report.odbcCode),
          Null{},
          numberCell(report.radix),
          Null{}};
}

void spDatatypeInfo(ProcedureRun& run) {
  ResultSet& set = run.result().resultSets.emplace_back();
  set.columns = {textColumn("type_name", 30, true),
                 intColumn("data_type", Smallint, false),
                 intColumn("precision", Int, true),
                 textColumn("literal_prefix", 32, true),
                 textColumn("literal_suffix", 32, true),
                 textColumn("create_params", 32, true),
                 intColumn("nullable", Smallint, false),
                 intColumn("case_sensitive", Smallint, false),
                 intColumn("searchable", Smallint, false),
                 intColumn("unsigned_attribute", Smallint, true),
                 intColumn("money", Smallint, false),
                 intColumn("auto_increment", Smallint, true),
                 textColumn("local_type_name", 128, true),
                 intColumn("minimum_scale", Smallint, true),
                 intColumn("maximum_scale", Smallint, true),
                 intColumn("sql_data_type", Smallint, true),
                 intColumn("sql_datetime_sub", Smallint, true),
                 intColumn("num_prec_radix", Int, true),
                 intColumn("interval_precision", Smallint, true)};
  const int asked = std::atoi(run.text(0).c_str());
  std::vector<const TypeReport*> reports;
  for (const TypeReport& report : typeReports()) {
    if (isKnown(run, report.kind) && (asked == 0 || asked == report.odbcCode))
      reports.push_back(&report);
  }
  std::ranges::stable_sort(reports, {}, &TypeReport::odbcCode);
  for (const TypeReport* report : reports) set.rows.push_back(datatypeRow(*report));
}

// sp_stored_procedures

void spStoredProcedures(ProcedureRun& run) {
  requireCurrentDatabase(run, run.argument(2));
  ResultSet& set = run.result().resultSets.emplace_back();
  set.columns = {
      run.nameColumn("procedure_qualifier", 32, true), run.nameColumn("procedure_owner", 32, true),
      run.nameColumn("procedure_name", 41, false),     intColumn("num_input_params", Int, false),
      intColumn("num_output_params", Int, false),      intColumn("num_result_sets", Int, false),
      textColumn("remarks", kRemarksWidth, true)};
  constexpr int kUnknown = -1;
  for (const NamedObject& procedure :
       objectsLike(run, run.argument(0).value_or("%"), run.argument(1), isRoutine)) {
    set.rows.push_back({run.caller().database, procedure.owner, concat(procedure.object.name, ";1"),
                        numberCell(kUnknown), numberCell(kUnknown), numberCell(kUnknown), Null{}});
  }
}

constexpr Procedure kProcedures[] = {
    {"sp_tables", "@table_name @table_owner @table_qualifier @table_type", 0, spTables},
    {"sp_databases", "", 0, spDatabases},
    {"sp_server_info", "@attribute_id", 0, spServerInfo},
    {"sp_datatype_info", "@data_type @ODBCVer", 0, spDatatypeInfo},
    {"sp_stored_procedures", "@sp_name @sp_owner @sp_qualifier", 0, spStoredProcedures},
};

}  // namespace

std::span<const Procedure> metadataProcedures() { return kProcedures; }

}  // namespace kelvane::embedded
