#include "drivers/embedded/catalog/writer.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>

#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/catalog/utf8.h"

namespace kelvane::embedded {

namespace {

constexpr std::size_t kTextPiece = 255;  // bytes: the width of syscomments.text
constexpr std::size_t kNameTablePart = 10;
constexpr std::size_t kNameColumnPart = 6;

struct TypeStat {
  std::string_view type;
  int sysstat;
};

constexpr TypeStat kTypeStats[] = {
    {object_type::kSystemTable, 1}, {object_type::kView, 2},    {object_type::kTable, 3},
    {object_type::kProcedure, 4},   {object_type::kDefault, 6}, {object_type::kRule, 7},
};

int sysstatOf(std::string_view type) {
  const auto* found = std::ranges::find(kTypeStats, type, &TypeStat::type);
  return found == std::end(kTypeStats) ? 0 : found->sysstat;
}

}  // namespace

int CatalogWriter::ownerFor(const tsql::ObjectName& name) {
  if (!name.database.empty() && name.database != caller_.database) {
    if (!catalog_.databaseId(name.database)) throw UnknownDatabase(name.database, caller_.line);
    fail(message::databaseInCreate, name.database);
  }
  if (name.owner.empty()) return caller_.uid;
  const auto uid = catalog_.userNamed(name.owner);
  if (!uid) {
    fail(message::unknownOwner, name.owner);
  }
  return *uid;
}

void CatalogWriter::requireFreeName(std::string_view name, int uid) {
  if (records_.object(name, uid) != nullptr) {
    fail(message::objectExists, name);
  }
}

int CatalogWriter::newObjectId(std::string_view identity) {
  constexpr std::uint32_t kSmallest = 16000057;
  constexpr std::uint32_t kCount = std::numeric_limits<int>::max() - kSmallest;
  std::uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
  for (const char c : identity) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  for (std::uint64_t place = hash ^ (hash >> 32);; ++place) {
    const int id = static_cast<int>(kSmallest + place % kCount);
    if (catalog_.isFreeId(id)) return id;
  }
}

int CatalogWriter::addObject(const NewObject& object) {
  requireFreeName(object.name, object.uid);
  const int id = newObjectId(concat(*catalog_.userName(object.uid), ".", object.name));
  SysObject row;
  row.name = object.name;
  row.id = id;
  row.uid = object.uid;
  row.type = object.type;
  row.sysstat = sysstatOf(object.type);
  row.sysstat2 = object.sysstat2;
  row.crdate = currentTime();
  row.deltrig = object.deltrig;
  records_.objects.insert(std::move(row));
  return id;
}

int CatalogWriter::addElsewhere(const tsql::ObjectName& name,
                                const std::vector<std::string>& columns) {
  std::string identity = concat(name.database, ".", name.owner, ".", name.name);
  for (const std::string& column : columns) identity += concat(".", column);
  const int id = newObjectId(identity);
  int colid = 0;
  const auto add = [&](const std::string& called) {
    store_.run("INSERT OR REPLACE INTO names_elsewhere(id, colid, db, name) VALUES (?, ?, ?, ?)",
               id, colid++, name.database, called);
  };
  add(name.name);
  std::ranges::for_each(columns, add);
  return id;
}

int CatalogWriter::addUnnamedObject(const ObjectInfo& table, std::string_view column,
                                    std::string_view type) {
  const int id =
      newObjectId(concat(*catalog_.userName(table.uid), ".", table.name, ".", column, ".", type));
  SysObject row;
  row.name = concat(firstCharacters(table.name, kNameTablePart), "_");
  if (!column.empty()) row.name += concat(firstCharacters(column, kNameColumnPart), "_");
  row.name += std::to_string(id);
  row.id = id;
  row.uid = table.uid;
  row.type = type;
  row.sysstat = sysstatOf(type);
  row.crdate = currentTime();
  records_.objects.insert(std::move(row));
  return id;
}

void CatalogWriter::saveText(int id, int number, std::string_view text) {
  for (int colid = 1; !text.empty(); ++colid) {
    const std::string_view piece = firstBytes(text, kTextPiece);
    SysComment row;
    row.id = id;
    row.number = number;
    row.colid = colid;
    row.text = piece;
    row.status = caller_.quotedIdentifier ? kQuotedIdentifiersOn : 0;
    records_.comments.insert(std::move(row));
    text.remove_prefix(piece.size());
  }
}

std::string CatalogWriter::textOf(int id) {
  std::string text;
  records_.comments.each<&SysComment::id>(
      id, [&](Slot, const SysComment& piece) { text += piece.text; });
  return text;
}

void CatalogWriter::removePredicate(int objectId, int predicate) {
  bool isUsed = false;
  records_.protects.each<&SysProtect::id>(objectId, [&](Slot, const SysProtect& row) {
    isUsed = isUsed || row.predicate == predicate;
  });
  if (!isUsed) removeObject(predicate);
}

void CatalogWriter::removeObject(int id) {
  std::vector<int> predicates;
  records_.protects.each<&SysProtect::id>(id, [&](Slot, const SysProtect& row) {
    if (row.predicate) predicates.push_back(*row.predicate);
  });
  records_.objects.eraseAll<&SysObject::id>(id);
  records_.columns.eraseAll<&SysColumn::id>(id);
  records_.comments.eraseAll<&SysComment::id>(id);
  records_.procedures.eraseAll<&SysProcedure::id>(id);
  records_.protects.eraseAll<&SysProtect::id>(id);
  records_.depends.eraseAll<&SysDepend::id>(id);
  records_.depends.eraseAll<&SysDepend::depid>(id);
  for (const int predicate : predicates) removeObject(predicate);
}

ObjectInfo CatalogWriter::requireTable(const tsql::ObjectName& name) {
  ObjectInfo table = catalog_.requireObject(name, caller_);
  if (table.type != object_type::kTable) {
    fail(message::objectNotFound, name.name);
  }
  return table;
}

}  // namespace kelvane::embedded
