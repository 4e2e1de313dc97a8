#include "drivers/embedded/catalog/storage_writer.h"

#include <algorithm>
#include <iterator>

#include "drivers/embedded/catalog/key_writer.h"
#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/tsql/ast/queries.h"

namespace kelvane::embedded {

namespace {

/// A column of the row of sysindexes that stands for the data.
struct NumberOption {
  std::string_view name;
  std::string_view column;
};

constexpr NumberOption kNumbers[] = {{"max_rows_per_page", "maxrowsperpage"},
                                     {"exp_row_size", "exp_rowsize"},
                                     {"reservepagegap", "res_page_gap"},
                                     {"identity_gap", "identitygap"},
                                     {"fillfactor", "fill_factor"}};

/// Bits of sysobjects.sysstat3. Which ones the server uses is not published.
struct FlagOption {
  std::string_view name;
  std::string_view value;
  int mask;
  int bits;
};

constexpr FlagOption kFlags[] = {
    {"dml_logging", "full", 0x3, 0x1},
    {"dml_logging", "minimal", 0x3, 0x2},
    {"transfer table", "off", 0xC, 0x4},
    {"transfer table", "on", 0xC, 0x8},
    {"erase residual data", "off", 0x30, 0x10},
    {"erase residual data", "on", 0x30, 0x20},
    {"compression", "none", 0x700, 0x100},
    {"compression", "row", 0x700, 0x200},
    {"compression", "page", 0x700, 0x400},
    {"index_compression", "none", 0x1800, 0x800},
    {"index_compression", "page", 0x1800, 0x1000},
    {"latch_free_index", "0", 0x6000, 0x2000},
    {"latch_free_index", "off", 0x6000, 0x2000},
    {"latch_free_index", "1", 0x6000, 0x4000},
    {"latch_free_index", "on", 0x6000, 0x4000},
};

constexpr std::string_view kLobCompression = "lob_compression";

constexpr std::string_view kIndexOptions[] = {
    "ignore_dup_key", "ignore_dup_row",    "allow_dup_row",     "fillfactor",
    "reservepagegap", "max_rows_per_page", "index_compression", "latch_free_index",
};

struct Method {
  std::string_view name;
  int type;  ///< sysindexes.partitiontype
};

constexpr Method kMethods[] = {{"range", 1}, {"hash", 2}, {"roundrobin", 3}, {"list", 4}};
constexpr int kList = 4;

constexpr std::string_view kConditions = "N";
constexpr std::string_view kDecryptDefault = "DD";
// Of sysattributes.
constexpr int kProxyClass = 9;
constexpr int kRemote = 0x400, kProxy = 0x800;  // in sysobjects.sysstat2
constexpr int kEncryptionClass = 25;

std::string valueText(const tsql::StorageOption& option) {
  return option.value ? std::to_string(*option.value) : option.text;
}

}  // namespace

bool keepsTableOption(std::string_view name) {
  return name == kLobCompression || std::ranges::count(kNumbers, name, &NumberOption::name) != 0 ||
         std::ranges::count(kFlags, name, &FlagOption::name) != 0;
}

bool keepsIndexOption(std::string_view name) {
  return std::ranges::count(kIndexOptions, name) != 0;
}

int StorageWriter::dataIndid(int tableId) {
  return store_.value("SELECT indid FROM sysindexes WHERE id = ? AND indid IN (0, 1)", tableId)
      .value_or(0);
}

int StorageWriter::segmentNumber(std::string_view name) {
  if (name.empty()) return 1;
  const auto number = store_.value("SELECT segment FROM syssegments WHERE name = ?", name);
  if (!number) writer_.fail(message::segmentNotFound, name);
  return *number;
}

// tables and indexes

void StorageWriter::applyTable(const ObjectInfo& table, const tsql::TableStorage& storage) {
  applyOptions(table, storage.options);
  if (storage.partitioning) partition(table, *storage.partitioning);
}

void StorageWriter::applyOptions(const ObjectInfo& table,
                                 const std::vector<tsql::StorageOption>& options) {
  for (const tsql::StorageOption& option : options) {
    const auto* number = std::ranges::find(kNumbers, option.name, &NumberOption::name);
    if (number != std::end(kNumbers)) {
      store_.run(
          concat("UPDATE sysindexes SET ", number->column, " = ? WHERE id = ? AND indid = ?"),
          option.value.value_or(0), table.id, dataIndid(table.id));
      continue;
    }
    if (option.name == kLobCompression) {
      store_.run("UPDATE sysobjects SET lobcomp_lvl = ? WHERE id = ?", option.value.value_or(0),
                 table.id);
      continue;
    }
    const std::string value = valueText(option);
    const auto* flag = std::ranges::find_if(kFlags, [&](const FlagOption& candidate) {
      return candidate.name == option.name && candidate.value == value;
    });
    if (flag != std::end(kFlags)) {
      store_.run("UPDATE sysobjects SET sysstat3 = (ifnull(sysstat3, 0) & ~?) | ? WHERE id = ?",
                 flag->mask, flag->bits, table.id);
    } else if (keepsTableOption(option.name)) {
      writer_.fail(message::syntax, value);
    }
  }
}

void StorageWriter::applyIndex(const ObjectInfo& table, const tsql::CreateIndex& index) {
  const auto indid = store_.value(
      "SELECT indid FROM sysindexes WHERE id = ? AND name = ? AND indid BETWEEN 1 AND 254",
      table.id, index.name);
  int status3 = index.local ? index_status3::kLocal : 0;
  for (const tsql::StorageOption& option : index.options) {
    const std::string value = valueText(option);
    if (option.name == "index_compression" && value == "page") {
      status3 |= index_status3::kPageCompressed;
    }
    if (option.name == "latch_free_index" && (value == "1" || value == "on")) {
      status3 |= index_status3::kLatchFree;
    }
  }
  if (status3 != 0) {
    store_.run("UPDATE sysindexes SET status3 = ? WHERE id = ? AND indid = ?", status3, table.id,
               indid);
  }
  for (const tsql::Partition& partition : index.partitions) addPartition(table, *indid, partition);
}

void StorageWriter::applyObjectDefinition(const ObjectInfo& table) {
  const auto isDefinition =
      "class = ?1 AND attribute = 1 AND object IS NULL AND object_cinfo IN (?2, ?3)";
  const std::string qualified = concat(*writer_.catalog().userName(table.uid), ".", table.name);
  if (!store_.value(concat("SELECT 1 FROM sysattributes WHERE ", isDefinition), kProxyClass,
                    table.name, qualified)) {
    return;
  }
  store_.run(concat("UPDATE sysattributes SET object = ?4 WHERE ", isDefinition), kProxyClass,
             table.name, qualified, table.id);
  store_.run("UPDATE sysobjects SET sysstat2 = sysstat2 | ? WHERE id = ?", kRemote, table.id);
}

void StorageWriter::applyProxy(const ObjectInfo& table, const tsql::CreateTable& statement) {
  store_.run("UPDATE sysobjects SET sysstat2 = sysstat2 | ? WHERE id = ?", kRemote | kProxy,
             table.id);
  store_.run(
      "INSERT INTO sysattributes(class, attribute, object_type, object_cinfo, object, char_value,"
      " comments) VALUES (?, 1, 'OD', ?, ?, nullif(?, ''), nullif(?, ''))",
      kProxyClass, table.name, table.id, statement.remoteObject, statement.proxyType);
}

// columns

void StorageWriter::applyColumn(const ObjectInfo& table, std::string_view column,
                                const tsql::ColumnStorage& storage) {
  if (storage.place != tsql::LobPlace::Unspecified) place(table, column, storage);
  if (storage.compressed) {
    const int bit =
        *storage.compressed ? column_status2::kCompressed : column_status2::kNotCompressed;
    store_.run(
        "UPDATE syscolumns SET status2 = (ifnull(status2, 0) & ~?) | ?, lobcomp_lvl = ?"
        " WHERE id = ? AND name = ?",
        column_status2::kCompressed | column_status2::kNotCompressed, bit, storage.level, table.id,
        column);
  }
  if (storage.encrypted) encrypt(table, column, storage);
  if (storage.decryptDefault) decryptDefault(table, column, *storage.decryptDefault);
}

void StorageWriter::place(const ObjectInfo& table, std::string_view column,
                          const tsql::ColumnStorage& storage) {
  const bool inRow = storage.place == tsql::LobPlace::InRow;
  store_.run(
      "UPDATE syscolumns SET xstatus = (ifnull(xstatus, 0) & ~?) | ? WHERE id = ? AND name = ?",
      column_xstatus::kInRow | column_xstatus::kOffRow,
      inRow ? column_xstatus::kInRow : column_xstatus::kOffRow, table.id, column);
  if (!writer_.catalog().options().has(Release::ase15)) return;
  store_.run("UPDATE syscolumns SET inrowlen = ? WHERE id = ? AND name = ?", storage.rowLength,
             table.id, column);
}

void StorageWriter::encrypt(const ObjectInfo& table, std::string_view column,
                            const tsql::ColumnStorage& storage) {
  constexpr int kBits = column_status2::kEncrypted | column_status2::kInitVector;
  if (!*storage.encrypted) {
    store_.run(
        "UPDATE syscolumns SET status2 = status2 & ~?, encrtype = NULL, encrlen = NULL,"
        " encrkeyid = NULL, encrkeydb = NULL, encrdate = NULL WHERE id = ? AND name = ?",
        kBits, table.id, column);
    return;
  }
  const ColumnKey key = KeyWriter(writer_).forColumn(storage.key, column);
  store_.run(
      "UPDATE syscolumns SET status2 = (ifnull(status2, 0) & ~?) | ?, encrtype = type,"
      " encrlen = length, encrkeyid = ?, encrkeydb = nullif(?, ''), encrdate = ?"
      " WHERE id = ? AND name = ?",
      kBits, column_status2::kEncrypted | (key.randomVector ? column_status2::kInitVector : 0),
      key.id, key.database, currentTime(), table.id, column);
}

// The value that those read who may not decrypt the column: an object of its own, which
// sysattributes says the column of.
void StorageWriter::decryptDefault(const ObjectInfo& table, std::string_view column,
                                   const tsql::Expr& value) {
  const auto colid =
      store_.value("SELECT colid FROM syscolumns WHERE id = ? AND name = ?", table.id, column);
  const auto before = store_.value(
      "SELECT object_info2 FROM sysattributes WHERE class = ? AND object = ? AND object_info1 = ?",
      kEncryptionClass, table.id, colid);
  if (before) {
    writer_.removeObject(*before);
    store_.run("DELETE FROM sysattributes WHERE class = ? AND object_info2 = ?", kEncryptionClass,
               before);
  }
  const auto* literal = std::get_if<tsql::Literal>(&value.node);
  const bool isNull = literal != nullptr && literal->kind == tsql::LiteralKind::Null;
  if (!isNull || !before) {
    const int id = writer_.addUnnamedObject(table, column, kDecryptDefault);
    writer_.saveText(id, 0, concat("DECRYPT_DEFAULT ", value.range.in(text_)));
    store_.run(
        "INSERT INTO sysattributes(class, attribute, object_type, object, object_info1,"
        " object_info2) VALUES (?, 1, 'EC', ?, ?, ?)",
        kEncryptionClass, table.id, colid, id);
  }
  store_.run(
      "UPDATE syscolumns SET status2 = (ifnull(status2, 0) & ~?) | ? WHERE id = ? AND name = ?",
      column_status2::kDecryptDefault, isNull && before ? 0 : column_status2::kDecryptDefault,
      table.id, column);
}

void StorageWriter::removeColumn(int tableId, int colid) {
  if (const auto object = store_.value("SELECT object_info2 FROM sysattributes WHERE class = ?"
                                       " AND object = ? AND object_info1 = ?",
                                       kEncryptionClass, tableId, colid)) {
    writer_.removeObject(*object);
  }
  store_.run("DELETE FROM sysattributes WHERE class = ? AND object = ? AND object_info1 = ?",
             kEncryptionClass, tableId, colid);
  store_.run(
      "UPDATE sysattributes SET object_info1 = object_info1 - 1"
      " WHERE class = ? AND object = ? AND object_info1 > ?",
      kEncryptionClass, tableId, colid);
}

// partitions

void StorageWriter::partition(const ObjectInfo& table, const tsql::Partitioning& partitioning) {
  const auto* method = std::ranges::find(kMethods, partitioning.method, &Method::name);
  if (method == std::end(kMethods)) {
    writer_.fail(message::syntax, partitioning.method);
  }
  unpartition(table.id);
  if (!writer_.catalog().options().has(Release::ase15)) {
    int number = 0;
    for (std::size_t i = 0; i < partitioning.partitions.size(); ++i) {
      store_.run("INSERT INTO syspartitions(id, partitionid) VALUES (?, ?)", table.id, ++number);
    }
    return;
  }
  const int indid = dataIndid(table.id);
  store_.run("UPDATE sysindexes SET partitiontype = ? WHERE id = ? AND indid = ?", method->type,
             table.id, indid);
  int position = 0;
  for (const std::string& name : partitioning.columns) {
    const auto column = writer_.catalog().column(table.id, name);
    if (!column) writer_.fail(message::unknownColumn, name);
    store_.run("INSERT INTO syspartitionkeys(indid, id, colid, position) VALUES (?, ?, ?, ?)",
               indid, table.id, column->colid, ++position);
  }
  for (const tsql::Partition& one : partitioning.partitions) addPartition(table, indid, one);
}

void StorageWriter::unpartition(int tableId) {
  if (!writer_.catalog().options().has(Release::ase15)) {
    store_.run("DELETE FROM syspartitions WHERE id = ?", tableId);
    return;
  }
  const auto conditions =
      store_.value("SELECT conditionid FROM sysindexes WHERE id = ? AND conditionid > 0", tableId);
  if (conditions) writer_.removeObject(*conditions);
  store_.run("DELETE FROM syspartitions WHERE id = ? AND indid IN (0, 1)", tableId);
  store_.run("DELETE FROM syspartitionkeys WHERE id = ?", tableId);
  store_.run("UPDATE sysindexes SET partitiontype = NULL, conditionid = NULL WHERE id = ?",
             tableId);
}

int StorageWriter::conditionsOf(const ObjectInfo& table) {
  const auto known =
      store_.value("SELECT conditionid FROM sysindexes WHERE id = ? AND conditionid > 0", table.id);
  if (known) return *known;
  const int id = writer_.addUnnamedObject(table, "", kConditions);
  store_.run("UPDATE sysindexes SET conditionid = ? WHERE id = ? AND indid = ?", id, table.id,
             dataIndid(table.id));
  return id;
}

// They rise within a table, because its partitions come in the order of their ids.
int StorageWriter::newPartitionId(const ObjectInfo& table, int indid) {
  const auto last = store_.value(
      "SELECT max(partitionid) FROM syspartitions WHERE id = ? AND indid = ?", table.id, indid);
  int id = last ? *last + 1
                : writer_.newObjectId(concat(table.uid, ".", table.name, ".partition ", indid));
  while (store_.value("SELECT 1 FROM syspartitions WHERE partitionid = ?", id)) ++id;
  return id;
}

void StorageWriter::addPartition(const ObjectInfo& table, int indid,
                                 const tsql::Partition& partition) {
  const int id = newPartitionId(table, indid);
  const std::string name = partition.name.empty() ? concat(table.name, "_", id) : partition.name;
  if (store_.value("SELECT 1 FROM syspartitions WHERE id = ? AND indid = ? AND name = ?", table.id,
                   indid, name)) {
    writer_.fail(message::objectExists, name);
  }
  store_.run(
      "INSERT INTO syspartitions(name, indid, id, partitionid, segment, data_partitionid, crdate)"
      " VALUES (?, ?, ?, ?, ?, ?, ?)",
      name, indid, table.id, id, segmentNumber(partition.segment), id, currentTime());
  if (!partition.condition) return;
  const int conditions = conditionsOf(table);
  const int number =
      store_.value("SELECT max(number) FROM syscomments WHERE id = ?", conditions).value_or(0) + 1;
  writer_.saveText(conditions, number, partition.condition->in(text_));
  store_.run("UPDATE syscomments SET partitionid = ? WHERE id = ? AND number = ?", id, conditions,
             number);
}

std::string StorageWriter::conditionOf(int tableId, std::string_view partition) {
  std::string condition;
  store_.each(
      "SELECT c.text FROM syspartitions p JOIN sysindexes i ON i.id = p.id AND i.conditionid > 0"
      " JOIN syscomments c ON c.id = i.conditionid AND c.partitionid = p.partitionid"
      " WHERE p.id = ? AND p.name = ? ORDER BY c.colid2, c.colid",
      [&](const Statement& row) { condition += row.view(0); }, tableId, partition);
  return condition;
}

void StorageWriter::removePartition(const ObjectInfo& table, std::string_view name) {
  const auto id = store_.value(
      "SELECT partitionid FROM syspartitions WHERE id = ? AND indid IN (0, 1) AND name = ?",
      table.id, name);
  if (!id) {
    writer_.fail(message::noSuchPartition, table.name, name);
  }
  store_.run("DELETE FROM syspartitions WHERE partitionid = ?", id);
  store_.run("DELETE FROM syscomments WHERE partitionid = ?", id);
}

void StorageWriter::alterPartition(const ObjectInfo& table, const tsql::AlterPartition& action) {
  using enum tsql::AlterPartition::Kind;
  if (action.kind == Move) {
    for (const std::string& name : action.names) {
      store_.run("UPDATE syspartitions SET segment = ? WHERE id = ? AND name = ?",
                 segmentNumber(action.segment), table.id, name);
    }
    return;
  }
  if (action.kind == Modify) return;
  std::string merged;
  const int indid = dataIndid(table.id);
  const bool isList =
      store_.value("SELECT partitiontype FROM sysindexes WHERE id = ? AND indid = ?", table.id,
                   indid) == kList;
  for (const std::string& name : action.names) {
    // Of ranges the last one holds for all; of lists all values together.
    std::string condition = conditionOf(table.id, name);
    const std::size_t open = condition.find('(');
    if (isList && !merged.empty() && open != std::string::npos) {
      merged.replace(merged.rfind(')'), 1, ", " + condition.substr(open + 1));
    } else {
      merged = std::move(condition);
    }
    removePartition(table, name);
  }
  for (const tsql::Partition& partition : action.partitions) {
    if (action.kind == Merge && !partition.condition && !merged.empty()) {
      tsql::Partition whole = partition;
      whole.condition = tsql::SourceRange{0, static_cast<std::uint32_t>(merged.size()), 1};
      StorageWriter(writer_, merged).addPartition(table, indid, whole);
    } else {
      addPartition(table, indid, partition);
    }
  }
}

void StorageWriter::remove(int tableId) {
  unpartition(tableId);
  store_.run("DELETE FROM syspartitions WHERE id = ?", tableId);
  store_.each(
      "SELECT object_info2 FROM sysattributes WHERE class = ? AND object = ?",
      [&](const Statement& row) { writer_.removeObject(row.number(0)); }, kEncryptionClass,
      tableId);
  store_.run("DELETE FROM sysattributes WHERE class IN (?, ?) AND object = ?", kEncryptionClass,
             kProxyClass, tableId);
}

}  // namespace kelvane::embedded
