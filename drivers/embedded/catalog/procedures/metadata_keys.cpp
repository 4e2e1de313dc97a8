// What drivers ask about the keys of a table: sp_pkeys, sp_fkeys, sp_statistics,
// sp_special_columns.
#include <algorithm>
#include <array>

#include "drivers/embedded/catalog/index_writer.h"
#include "drivers/embedded/catalog/pattern.h"
#include "drivers/embedded/catalog/procedures/named_objects.h"
#include "drivers/embedded/catalog/procedures/type_reports.h"
#include "drivers/embedded/catalog/system_tables.h"

namespace kelvane::embedded {

namespace {

using enum TypeKind;

struct TableIndex {
  std::string name;
  int indid = 0;
  bool isUnique = false;
  bool isPrimaryKey = false;
  bool isClustered = false;
  std::vector<std::string> keys;
};

std::vector<TableIndex> indexesOf(ProcedureRun& run, int tableId) {
  std::vector<TableIndex> indexes;
  run.store().each(
      "SELECT name, indid, status, status2 FROM sysindexes"
      " WHERE id = ? AND indid BETWEEN 1 AND 254 ORDER BY indid",
      [&](const Statement& row) {
        const int indid = row.number(1), status = row.number(2);
        indexes.push_back(
            {row.text(0),
             indid,
             (status & index_status::kUnique) != 0,
             (status & index_status::kPrimaryKey) != 0,
             indid == kClusteredIndid || (row.number(3) & index_status2::kPlacement) != 0,
             {}});
      },
      tableId);
  for (TableIndex& index : indexes) {
    for (int key = 1;; ++key) {
      auto name = run.catalog().indexColumn(tableId, index.indid, key);
      if (!name) break;
      index.keys.push_back(std::move(*name));
    }
  }
  return indexes;
}

std::optional<TableIndex> primaryKeyOf(ProcedureRun& run, int tableId) {
  const auto indexes = indexesOf(run, tableId);
  const auto found = std::ranges::find(indexes, true, &TableIndex::isPrimaryKey);
  return found == indexes.end() ? std::nullopt : std::optional(*found);
}

// sp_pkeys

// The columns that sp_primarykey names; it only documents a key.
std::vector<std::string> documentedKey(ProcedureRun& run, int tableId) {
  constexpr int kPrimary = 1, kMostColumns = 8;
  std::vector<std::string> names;
  run.store().each(
      "SELECT key1, key2, key3, key4, key5, key6, key7, key8 FROM syskeys"
      " WHERE id = ? AND type = ?",
      [&](const Statement& row) {
        for (int i = 0; i < kMostColumns; ++i) {
          const auto name = run.catalog().columnName(tableId, row.number(i));
          if (name && !isNull(row.cell(i))) names.push_back(*name);
        }
      },
      tableId, kPrimary);
  return names;
}

void spPkeys(ProcedureRun& run) {
  requireCurrentDatabase(run, run.argument(2));
  ResultSet& set = run.result().resultSets.emplace_back();
  set.columns = {
      run.nameColumn("table_qualifier", 32, true), run.nameColumn("table_owner", 32, true),
      run.nameColumn("table_name", 32, false),     run.nameColumn("column_name", 32, false),
      intColumn("key_seq", Smallint, false),       run.nameColumn("pk_name", 32, true)};
  const auto table = tableNamed(run, run.text(0), run.argument(1));
  if (!table) return;
  const auto key = primaryKeyOf(run, table->object.id);
  const auto names = key ? key->keys : documentedKey(run, table->object.id);
  int position = 0;
  for (const std::string& name : names) {
    set.rows.push_back({run.caller().database, table->owner, table->object.name, name,
                        numberCell(++position), key ? Cell(key->name) : Cell(Null{})});
  }
}

// sp_fkeys

struct Reference {
  std::string name;
  int tableId = 0;
  int targetId = 0;
  int indid = 0;
  std::vector<int> columns, targetColumns;
};

std::vector<Reference> referencesOf(ProcedureRun& run, std::string_view column, int tableId) {
  constexpr int kColumns = 16, kBefore = 5;
  std::string sql = "SELECT constrid, tableid, reftabid, indexid, keycnt";
  for (const std::string_view key : {"fokey", "refkey"}) {
    for (int i = 1; i <= kColumns; ++i) sql += concat(", ", key, i);
  }
  sql += concat(" FROM sysreferences WHERE ", column, " = ? ORDER BY constrid");
  std::vector<Reference> references;
  run.store().each(
      sql,
      [&](const Statement& row) {
        Reference& reference = references.emplace_back();
        reference.name = run.catalog().objectName(row.number(0)).value_or("");
        reference.tableId = row.number(1);
        reference.targetId = row.number(2);
        reference.indid = row.number(3);
        for (int i = 0; i < std::min(row.number(4), kColumns); ++i) {
          reference.columns.push_back(row.number(kBefore + i));
          reference.targetColumns.push_back(row.number(kBefore + kColumns + i));
        }
      },
      tableId);
  return references;
}

std::optional<NamedObject> objectById(ProcedureRun& run, int id) {
  const auto object = run.catalog().objectById(id);
  if (!object) return std::nullopt;
  return NamedObject{run.catalog().userName(object->uid).value_or(""), *object};
}

void addReference(ProcedureRun& run, ResultSet& set, const Reference& reference) {
  constexpr int kRestrict = 1;
  const auto target = objectById(run, reference.targetId);
  const auto table = objectById(run, reference.tableId);
  if (!target || !table) return;
  const auto index =
      run.store().value<std::string>("SELECT name FROM sysindexes WHERE id = ? AND indid = ?",
                                     reference.targetId, reference.indid);
  const std::string& database = run.caller().database;
  for (std::size_t i = 0; i < reference.columns.size(); ++i) {
    const auto name = [&](int id, int column) {
      return run.catalog().columnName(id, column).value_or("");
    };
    set.rows.push_back(
        {database, target->owner, target->object.name,
         name(reference.targetId, reference.targetColumns[i]), database, table->owner,
         table->object.name, name(reference.tableId, reference.columns[i]),
         numberCell(static_cast<int>(i) + 1), numberCell(kRestrict), numberCell(kRestrict),
         reference.name, index ? Cell(*index) : Cell(Null{})});
  }
}

void spFkeys(ProcedureRun& run) {
  const auto pkName = run.argument(0), fkName = run.argument(3);
  requireCurrentDatabase(run, run.argument(2));
  requireCurrentDatabase(run, run.argument(5));
  if (!pkName && !fkName) run.fail(message::keyTableMissing);
  ResultSet& set = run.result().resultSets.emplace_back();
  for (const std::string_view side : {"pk", "fk"}) {
    set.columns.push_back(run.nameColumn(concat(side, "table_qualifier"), 32, true));
    set.columns.push_back(run.nameColumn(concat(side, "table_owner"), 32, true));
    set.columns.push_back(run.nameColumn(concat(side, "table_name"), 32, false));
    set.columns.push_back(run.nameColumn(concat(side, "column_name"), 32, false));
  }
  for (const char* name : {"key_seq", "update_rule", "delete_rule"})
    set.columns.push_back(intColumn(name, Smallint, false));
  for (const char* name : {"fk_name", "pk_name"})
    set.columns.push_back(run.nameColumn(name, 32, true));

  const auto named = [&](const std::optional<std::string>& name, std::size_t owner) {
    return name ? tableNamed(run, *name, run.argument(owner)) : std::nullopt;
  };
  const auto target = named(pkName, 1), table = named(fkName, 4);
  if ((pkName && !target) || (fkName && !table)) return;
  const auto references = table ? referencesOf(run, "tableid", table->object.id)
                                : referencesOf(run, "reftabid", target->object.id);
  for (const Reference& reference : references) {
    if (!target || reference.targetId == target->object.id) addReference(run, set, reference);
  }
  // By the other table, then by key: those of one table stand together.
  const std::size_t other = table ? 1 : 5;
  std::ranges::stable_sort(set.rows, {}, [&](const Row& row) {
    return std::pair(std::get<std::string>(row[other]), std::get<std::string>(row[other + 1]));
  });
}

// sp_statistics

void spStatistics(ProcedureRun& run) {
  requireCurrentDatabase(run, run.argument(2));
  ResultSet& set = run.result().resultSets.emplace_back();
  set.columns = {
      run.nameColumn("table_qualifier", 32, true), run.nameColumn("table_owner", 32, true),
      run.nameColumn("table_name", 32, false),     intColumn("non_unique", Smallint, true),
      run.nameColumn("index_qualifier", 32, true), run.nameColumn("index_name", 32, true),
      intColumn("type", Smallint, false),          intColumn("seq_in_index", Smallint, true),
      run.nameColumn("column_name", 32, true),     textColumn("collation", 1, true),
      intColumn("cardinality", Int, true),         intColumn("pages", Int, true)};
  const auto table = tableNamed(run, run.text(0), run.argument(1));
  if (!table) return;
  constexpr int kTableItself = 0, kClustered = 1, kOther = 3;
  const Row named{run.caller().database, table->owner, table->object.name};
  const auto add = [&](std::initializer_list<Cell> rest) {
    Row& row = set.rows.emplace_back(named);
    row.insert(row.end(), rest);
  };
  add({Null{}, Null{}, Null{}, numberCell(kTableItself), Null{}, Null{}, Null{}, Null{}, Null{}});
  const std::string pattern = run.argument(3).value_or("%"), unique = run.text(4);
  auto indexes = indexesOf(run, table->object.id);
  // Unique ones first, then the clustered one, then by name.
  std::ranges::sort(indexes, {}, [](const TableIndex& index) {
    return std::tuple(!index.isUnique, !index.isClustered, std::string_view(index.name));
  });
  for (const TableIndex& index : indexes) {
    if (!matchesLike(index.name, pattern) || (unique == "Y" && !index.isUnique)) continue;
    int position = 0;
    for (const std::string& key : index.keys) {
      ++position;
      const bool descends = run.catalog().isDescendingKey(table->object.id, index.indid, position);
      add({numberCell(index.isUnique ? 0 : 1), table->object.name, index.name,
           numberCell(index.isClustered ? kClustered : kOther), numberCell(position), key,
           std::string(descends ? "D" : "A"), Null{}, Null{}});
    }
  }
}

// sp_special_columns

// The columns that tell rows apart best: the primary key, or the first unique index over columns
// that take no null, or the identity.
std::vector<std::string> rowIdentity(ProcedureRun& run, int tableId,
                                     const std::vector<ColumnInfo>& columns) {
  const auto takesNull = [&](const std::string& name) {
    const auto found = std::ranges::find(columns, name, &ColumnInfo::name);
    return found == columns.end() || found->type.nullable;
  };
  const auto indexes = indexesOf(run, tableId);
  for (const bool primary : {true, false}) {
    for (const TableIndex& index : indexes) {
      const bool serves = primary ? index.isPrimaryKey : index.isUnique;
      if (serves && std::ranges::none_of(index.keys, takesNull)) return index.keys;
    }
  }
  for (const ColumnInfo& column : columns) {
    if (column.type.identity) return {column.name};
  }
  return {};
}

void spSpecialColumns(ProcedureRun& run) {
  requireCurrentDatabase(run, run.argument(2));
  ResultSet& set = run.result().resultSets.emplace_back();
  set.columns = {
      intColumn("scope", Smallint, true),      run.nameColumn("column_name", 32, false),
      intColumn("data_type", Smallint, false), textColumn("type_name", 32, false),
      intColumn("precision", Int, true),       intColumn("length", Int, true),
      intColumn("scale", Smallint, true),      intColumn("pseudo_column", Smallint, true)};
  const auto table = tableNamed(run, run.text(0), run.argument(1));
  if (!table) return;
  constexpr int kForTheSession = 2, kNoPseudoColumn = 1;
  const bool versions = run.argument(3).value_or("R") == "V";
  const auto columns = run.catalog().columns(table->object.id);
  const auto identity =
      versions ? std::vector<std::string>() : rowIdentity(run, table->object.id, columns);
  for (const ColumnInfo& column : columns) {
    const bool isWanted =
        versions ? column.type.kind == Timestamp : std::ranges::count(identity, column.name) != 0;
    if (!isWanted) continue;
    const DescribedType type = describe(column.type);
    set.rows.push_back({versions ? Cell(Null{}) : numberCell(kForTheSession), column.name,
                        numberCell(type.report.odbcCode), std::string(type.report.name),
                        numberCell(type.precision), numberCell(column.type.length),
                        numberCell(type.scale), numberCell(kNoPseudoColumn)});
  }
}

constexpr Procedure kProcedures[] = {
    {"sp_pkeys", "@table_name @table_owner @table_qualifier", 1, spPkeys},
    {"sp_fkeys",
     "@pktable_name @pktable_owner @pktable_qualifier @fktable_name @fktable_owner"
     " @fktable_qualifier",
     0, spFkeys},
    {"sp_statistics", "@table_name @table_owner @table_qualifier @index_name @is_unique @accuracy",
     1, spStatistics},
    {"sp_special_columns",
     "@table_name @table_owner @table_qualifier @col_type @scope @nullable @ODBCVer", 1,
     spSpecialColumns},
};

}  // namespace

std::span<const Procedure> keyProcedures() { return kProcedures; }

}  // namespace kelvane::embedded
