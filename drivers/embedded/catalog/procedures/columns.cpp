// sp_columns and sp_sproc_columns.
#include <cstdlib>

#include "drivers/embedded/catalog/pattern.h"
#include "drivers/embedded/catalog/procedures/named_objects.h"
#include "drivers/embedded/catalog/procedures/type_reports.h"

namespace kelvane::embedded {

namespace {

using enum TypeKind;

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
  const DescribedType type = describe(column.type);
  const bool nullable = column.type.nullable;
  return {run.caller().database,
          table.owner,
          table.object.name,
          column.name,
          numberCell(type.report.odbcCode),
          std::string(type.report.name),
          numberCell(type.precision),
          numberCell(column.type.length),
          numberCell(type.scale),
          numberCell(type.report.radix),
          numberCell(nullable ? 1 : 0),
          Null{},
          numberCell(column.type.storageCode),
          numberCell(column.colid),
          Null{},
          numberCell(type.sqlType),
          Null{},
          numberCell(type.octets),
          numberCell(column.colid),
          std::string(nullable ? "YES" : "NO")};
}

void spColumns(ProcedureRun& run) {
  requireCurrentDatabase(run, run.argument(2));
  const std::string columnPattern = run.argument(3).value_or("%");
  ResultSet& set = run.result().resultSets.emplace_back(columnsLayout(run));
  for (const NamedObject& table : objectsLike(run, run.text(0), run.argument(1), isTableOrView)) {
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
  const DescribedType type = describe(parameter.type);
  return {run.caller().database,
          procedure.owner,
          procedure.object.name,
          parameter.name,
          numberCell(direction),
          numberCell(type.report.odbcCode),
          std::string(type.report.name),
          numberCell(type.precision),
          numberCell(parameter.type.length),
          numberCell(type.scale),
          numberCell(type.report.radix),
          numberCell(1),  // a parameter accepts null whatever its type says
          Null{},
          numberCell(parameter.type.storageCode),
          numberCell(parameter.colid),
          Null{},
          numberCell(type.sqlType),
          Null{},
          numberCell(type.octets),
          numberCell(parameter.colid),
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
    {"sp_columns", "@table_name @table_owner @table_qualifier @column_name @ODBCVer", 1, spColumns},
    {"sp_sproc_columns",
     "@procedure_name @procedure_owner @procedure_qualifier @column_name @ODBCVer", 1,
     spSprocColumns},
};

}  // namespace

std::span<const Procedure> columnProcedures() { return kProcedures; }

}  // namespace kelvane::embedded
