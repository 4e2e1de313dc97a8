// Tables with all that belongs to them.

#include <algorithm>
#include <span>

#include "inventory/publish/publishing.h"
#include "model/text.h"
#include "reader/duplicates.h"

namespace kelvane::inventory {
namespace {

constexpr std::size_t kKeyColumns = 16;  // what the published batches ask for

/// Of a declared default with the word that the server keeps before it; both are cut where the
/// first row of the text ends, and capitals that spell that word are left out of it.
std::string defaultText(const Publishing& publishing, const DefaultValue& value) {
  std::string text;
  if (value.bound == QualifiedName{}) {
    if (value.text.empty()) return {};
    text = "DEFAULT " + value.text;
  } else if (const Default* bound = publishing.defaultObject(value.bound)) {
    text = bound->definition.text;
  }
  return toUtf8(replaceAll(toUtf16(publishing.firstPiece(text)), u"DEFAULT ", u""));
}

void addColumns(const Publishing& publishing, const Table& table, kelvane::Table& published) {
  for (const Column& column : table.columns) {
    const std::string text =
        column.defaultValue.isDefault() ? "" : defaultText(publishing, *column.defaultValue);
    published.Columns.append(publishing.column(reader::kTableColumns, column.name, column.type,
                                               text, published.Columns.count() + 1));
  }
}

const KeyConstraint* primaryKey(const Table& table) {
  const auto key = std::ranges::find(table.keys, true, &KeyConstraint::primary);
  return key == table.keys.end() ? nullptr : &*key;
}

std::vector<std::string> keyNames(const IndexStorage& index) {
  std::vector<std::string> names;
  for (const KeyColumn& column :
       std::span(index.columns).first(std::min(index.columns.size(), kKeyColumns)))
    names.push_back(column.name);
  return names;
}

void addPrimaryKey(const Publishing& publishing, const Table& table, kelvane::Table& published) {
  const KeyConstraint* key = primaryKey(table);
  if (key == nullptr) return;
  kelvane::PrimaryKey one;
  if (publishing.options.Tables_PrimaryKeys_Names) one.Name = toUtf16(key->name.name);
  one.Columns = joined(keyNames(*key), ", ");
  // Only under allpages are the rows themselves the last level of an index, which is what is asked.
  const bool isClustered = key->clustered && table.lock == "allpages";
  if (publishing.options.Tables_PrimaryKeys_Attributes)
    one.Attributes = isClustered ? u"Clustered" : u"Non Clustered";
  published.PrimaryKey.append(std::move(one));
}

/// The table that a name without an owner means to the login.
const Table* resolved(const Publishing& publishing, const std::string& name) {
  const Table* own = publishing.table({publishing.database.server.user, name});
  return own ? own : publishing.table({"dbo", name});
}

/// The published batch looks for the key of the referenced table among those of the table's own
/// owner, and for its columns without an owner. None is one blank: the server has no empty texts.
std::string referencedKey(const Publishing& publishing, const Table& table,
                          const ForeignKey& foreignKey) {
  constexpr const char* kNone = " ";
  const QualifiedName name{table.name.owner, foreignKey.referenced.name};
  const Table* referenced = publishing.table(name);
  if (referenced == nullptr || resolved(publishing, name.name) != referenced) return kNone;
  const KeyConstraint* key = primaryKey(*referenced);
  const bool isThatColumn = key && key->columns.size() == 1 &&
                            key->columns.front().name == foreignKey.referencedColumns.front();
  return isThatColumn ? key->name.name : kNone;
}

void addForeignKeys(const Publishing& publishing, const Table& table, kelvane::Table& published) {
  for (const ForeignKey& foreignKey : table.foreignKeys) {
    // The names of columns are asked of this database.
    if (!foreignKey.referenced.database.empty() || foreignKey.columns.empty()) continue;
    kelvane::Key one;
    one.Name = toUtf16(foreignKey.name.name);
    one.ColumnName = joined(foreignKey.columns, ",");
    one.KeySequence = 1;
    one.fk_ReferencesTable = toUtf16(foreignKey.referenced.name);
    one.fk_ReferencesColumn = joined(foreignKey.referencedColumns, ",");
    if (publishing.options.Tables_ForeignKeys_PKRefs)
      one.fk_ReferencesPK = toUtf16(referencedKey(publishing, table, foreignKey));
    published.ForeignKey.append(std::move(one));
  }
  reader::markDuplicates(published.ForeignKey, &kelvane::Key::ColumnName);
  if (!publishing.options.Tables_ForeignKeys_Names) reader::clearNames(published.ForeignKey);
}

/// What sp_helpindex says of an index beside its keys.
struct IndexFacts {
  bool unique = false, ignoreDuplicateKey = false, ignoreDuplicateRow = false,
       allowDuplicateRow = false;
};

std::string descriptionOf(const Table& table, const IndexStorage& index, const IndexFacts& facts) {
  std::string text = index.clustered ? "clustered" : "nonclustered";
  if (facts.unique) text += ", unique";
  if (facts.ignoreDuplicateKey) text += ", ignore duplicate keys";
  if (facts.ignoreDuplicateRow) text += ", ignore duplicate rows";
  if (facts.allowDuplicateRow) text += ", allow duplicate rows";
  // The clustered index of an allpages table is where the table is.
  const bool isTable = index.clustered && table.lock == "allpages";
  std::string segment = isTable ? table.segment : index.segment;
  segment.erase(std::min(segment.find(", text only"), segment.size()));
  return text + " located on " + (segment.empty() ? "default" : segment);
}

void addIndex(const Publishing& publishing, const Table& table, kelvane::Table& published,
              const std::string& name, const IndexStorage& index, const IndexFacts& facts) {
  kelvane::index one;
  one.Name = toUtf16(name);
  std::string keys;
  for (const KeyColumn& column : index.columns)
    keys += (keys.empty() ? " " : ", ") + column.name + (column.descending ? " DESC" : "");
  one.IndexKeys = toUtf16(keys);
  if (publishing.options.Tables_Indexes_Descriptions)
    one.IndexDescription = toUtf16(descriptionOf(table, index, facts));
  published.Indexes.append(std::move(one));
}

void addIndexes(const Publishing& publishing, const Table& table, kelvane::Table& published) {
  for (const KeyConstraint& key : table.keys) {
    // That of a primary key is known from there, where its name was asked for.
    const Array<kelvane::PrimaryKey>& keys = published.PrimaryKey;
    const bool isKnown = !keys.empty() && keys[1].Name == toUtf16(key.name.name);
    if (!isKnown) addIndex(publishing, table, published, key.name.name, key, {.unique = true});
  }
  for (const Index& index : table.indexes)
    addIndex(publishing, table, published, index.name, index,
             {index.unique, index.ignoreDuplicateKey, index.ignoreDuplicateRow,
              index.allowDuplicateRow});
  reader::markDuplicates(published.Indexes, &kelvane::index::IndexKeys);
  if (!publishing.options.Tables_Indexes_Names) reader::clearNames(published.Indexes);
}

void addTriggers(const Table& table, kelvane::Table& published) {
  for (const Trigger& trigger : table.triggers) {
    const bool hasEvent = trigger.onInsert || trigger.onUpdate || trigger.onDelete;
    if (!hasEvent || trigger.insteadOf) continue;
    kelvane::Trigger one;
    one.Name = toUtf16(trigger.name.name);
    // The text is asked for under the table's owner.
    if (trigger.name.owner == table.name.owner) one.Definition = toUtf16(trigger.definition.text);
    one.Is_Insert = trigger.onInsert;
    one.Is_Update = trigger.onUpdate;
    one.Is_Delete = trigger.onDelete;
    published.Triggers.append(std::move(one));
  }
}

}  // namespace

void publishTables(const Publishing& publishing, Array<kelvane::Table>& tables) {
  const cComparisonOptions& options = publishing.options;
  for (const Table* table : publishing.listed(publishing.database.tables)) {
    kelvane::Table published;
    published.Owner = toUtf16(table->name.owner);
    published.Name = toUtf16(table->name.name);
    published.FullName = fullName(published.Owner, published.Name);
    if (options.Tables_Columns) addColumns(publishing, *table, published);
    if (options.Tables_PrimaryKeys) addPrimaryKey(publishing, *table, published);
    if (options.Tables_ForeignKeys) addForeignKeys(publishing, *table, published);
    if (options.Tables_Indexes) addIndexes(publishing, *table, published);
    if (options.Tables_Triggers) addTriggers(*table, published);
    if (options.Tables_RowCount)
      published.Miscallaneous.RowCount = static_cast<std::int32_t>(table->rowCount.value_or(0));
    tables.append(std::move(published));
  }
}

}  // namespace kelvane::inventory
