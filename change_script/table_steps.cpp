#include "change_script/table_steps.h"

namespace kelvane::change_script {

using namespace inventory;

namespace {

std::string ofTable(const Table& table, std::string_view catalog, std::string_view id,
                    std::string_view name, const std::string& called) {
  return "select 1 from " + std::string(catalog) + " where " + std::string(id) + " = " +
         idOf(table.name) + " and " + std::string(name) + " = " + literal(called);
}

}  // namespace

Statement alter(const Table& table) {
  Statement statement("alter table ");
  statement.name(table.name);
  return statement;
}

Batch withName(const NameInBatch& name, const std::string& condition, const Statement& statement,
               std::string_view behind) {
  std::string text = name.before + "if " + condition + "\n    exec(" + literal(statement.text());
  if (!behind.empty()) text += " + " + std::string(behind);
  return {Phase::tables, text + ")", {}, statement.needsQuotedIdentifier(), false};
}

std::string countOf(const NameInBatch& name) { return "(select count(*) from " + name.from + ")"; }

std::string constraintOf(const Table& table, const std::string& name) {
  return ofTable(table, "sysconstraints", "tableid", "object_name(constrid)", name);
}
std::string indexOf(const Table& table, const std::string& name) {
  return ofTable(table, "sysindexes", "id", "name", name);
}
std::string columnOf(const Table& table, const std::string& name) {
  return ofTable(table, "syscolumns", "id", "name", name);
}

std::string storedName(const DataType& type) {
  constexpr std::string_view kUnsigned = "unsigned ";
  return type.name.starts_with(kUnsigned) ? "u" + type.name.substr(kUnsigned.size()) : type.name;
}

std::string columnOf(const Table& table, const std::string& name, const ColumnType& column) {
  const DataType& type = column.type;
  std::string text =
      "select 1 from syscolumns c, systypes t\n    where c.id = " + idOf(table.name) +
      " and c.name = " + literal(name) +
      " and c.usertype = t.usertype\n    and t.name = " + literal(storedName(type));
  if (!type.owner.isDefault()) text += " and t.uid = user_id(" + literal(*type.owner) + ")";
  text += std::string(" and c.status & 8 = ") + (column.nullable ? "8" : "0");
  if (type.precision) {
    text += " and c.prec = " + std::to_string(*type.precision) +
            " and c.scale = " + std::to_string(type.scale.value_or(0));
  } else if (type.length) {
    text += " and c.length = " + std::to_string(*type.length);
    if (type.name.starts_with("uni")) text += " * @@unicharsize";
    if (type.name.starts_with("n")) text += " * @@ncharsize";
  }
  return text;
}

}  // namespace kelvane::change_script
