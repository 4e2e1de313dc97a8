// What one reading knows so far: the records being filled, and by what the catalog refers to them.
//
// Lifetime: one reading. Threading: none of its own.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "inventory/read/session.h"
#include "inventory/read/types.h"
#include "inventory/records.h"

namespace kelvane::inventory {

/// Which columns the tables of the catalog have: releases differ in them.
class CatalogColumns {
 public:
  void add(std::string table, std::string column) {
    tables_[std::move(table)].insert(std::move(column));
  }
  bool has(std::string_view table) const { return tables_.contains(table); }
  bool has(std::string_view table, std::string_view column) const {
    const auto found = tables_.find(table);
    return found != tables_.end() && found->second.contains(column);
  }

 private:
  std::map<std::string, std::set<std::string, std::less<>>, std::less<>> tables_;
};

enum class ObjectType : std::uint8_t {
  other,
  part,  ///< what is read where it belongs to, or nothing that was declared
  systemTable,
  table,
  view,
  procedure,
  function,
  trigger,
  rule,
  defaultObject,
  encryptionKey,
};

/// An object of the catalog.
struct ObjectEntry {
  int id = 0, uid = 0;
  ObjectType type = ObjectType::other;
  bool isWanted = true;
  std::uint32_t at = 0;  ///< of a table, view, function or key: its record
  std::string code;      ///< the server's letters for the type
  std::string name;
  int status = 0, status2 = 0, status3 = 0;
  int triggerTable = 0;  ///< of a trigger
  int lobCompression = 0;
  std::optional<std::int64_t> identityBurnMax;
  int version = 0;  ///< counts its changes
  std::int64_t created = 0;
};

/// What a text belongs to: an object, of a procedure with its number in the group.
using TextKey = std::pair<int, int>;
struct TextKeyHash {
  std::size_t operator()(const TextKey& key) const {
    return std::hash<std::int64_t>()((static_cast<std::int64_t>(key.first) << 16) ^ key.second);
  }
};

/// Where the record of an index is.
struct IndexSlot {
  int indid = 0;
  bool isConstraint = false;
  std::size_t at = 0;
};

/// Of a table or view while it is filled.
struct Shape {
  std::vector<int> colids;                           ///< of its columns, in their order
  std::unordered_map<std::string, int> expressions;  ///< texts of hidden columns, by their names
  std::vector<IndexSlot> indexes;
  std::vector<int> checks;  ///< ids of the table's checks, in their order
  int dataIndid = 0;        ///< of the row of sysindexes that stands for the data
  int conditions = 0;       ///< the text of the bounds of its partitions
};

/// What a column has that is only known by its number yet.
struct ColumnReferences {
  std::uint32_t table = 0, column = 0;
  int defaultValue = 0, rule = 0, accessRule = 0, computed = 0, key = 0;
  std::string keyDatabase, keyName;
};

/// The same of a user-defined type.
struct TypeReferences {
  int defaultValue = 0, rule = 0, accessRule = 0;
};

struct TriggerState {
  bool onInsert = false, onUpdate = false, onDelete = false, isDisabled = false;
  std::optional<int> order;
};

/// A text of syscomments.
struct StoredText {
  std::string text;
  Definition::State state = Definition::State::whole;
  bool quotedIdentifier = false;
};

/// What those read who may not decrypt a column.
struct DecryptDefault {
  int table = 0, colid = 0, text = 0;
};

struct Reading {
  Session session;
  const ReadOptions& options;
  Database database = {};
  CatalogColumns catalog = {};
  // Of the server.
  int characterSet = 0;
  std::unordered_map<int, std::string> actions = {};
  std::unordered_map<int, std::string> segments = {};
  // Of the database.
  std::unordered_map<int, std::string> users = {};
  std::unordered_map<int, std::string> usersOfLogins = {};  ///< by suid
  std::unordered_set<std::string> logins = {};              ///< of users, but for dbo
  Types types = {};
  std::unordered_map<int, ObjectEntry> objects = {};
  std::optional<std::vector<int>> chosen = {};  ///< ids, where not all objects are read
  std::vector<Shape> tables = {}, views = {};   ///< in the order of the records
  std::unordered_map<int, TriggerState> triggers = {};
  std::unordered_set<int> checks = {};          ///< rules that are checks of tables
  std::unordered_map<int, int> messages = {};   ///< of foreign keys
  std::unordered_set<int> declaredInline = {};  ///< defaults and checks declared with a table
  std::unordered_map<TextKey, std::size_t, TextKeyHash> procedures = {};   ///< their records
  std::unordered_map<int, std::vector<Permission>> groupPermissions = {};  ///< of procedures
  std::unordered_set<int> predicates = {};  ///< conditions of permissions
  std::vector<ColumnReferences> references = {};
  std::vector<TypeReferences> typeReferences = {};  ///< in the order of the records
  std::vector<DecryptDefault> decryptDefaults = {};
  std::unordered_map<TextKey, StoredText, TextKeyHash> texts = {};
  std::unordered_map<int, std::string> bounds = {};         ///< of partitions
  std::unordered_map<int, std::vector<int>> boundIds = {};  ///< of a table's partitions
  std::string unreadableTexts = {};                         ///< why, where the server refused them

  bool usesEmbeddedBits() const { return options.bits == StatusBits::embedded; }
  bool wants(Kind kind, const QualifiedName& name) const {
    return !options.wants || options.wants(kind, name);
  }
  /// Null if there is none.
  const ObjectEntry* object(int id) const {
    const auto found = objects.find(id);
    return found == objects.end() ? nullptr : &found->second;
  }
  /// The table that is read; null if the id is of none.
  const ObjectEntry* table(int id) const {
    const ObjectEntry* entry = object(id);
    return entry && entry->type == ObjectType::table && entry->isWanted ? entry : nullptr;
  }
  std::string userName(int uid) const;
  QualifiedName nameOf(const ObjectEntry& entry) const { return {userName(entry.uid), entry.name}; }
  /// Empty for 0; a number where the object is not known.
  QualifiedName nameOf(int id) const;
  /// Of a table's or view's column; empty if there is none.
  std::string columnName(const ObjectEntry& entry, int colid) const;
  std::string segmentName(int segment) const;
  /// The condition that leaves out what is not read: " and id in (1, 2)". Empty where the server is
  /// to send all: a list of many ids is no condition that it takes.
  std::string among(std::string_view column, const std::optional<std::vector<int>>& ids) const;
  std::string amongChosen(std::string_view column) const { return among(column, chosen); }
  /// How an object is replicated; empty where the catalog does not tell.
  std::string replicationModes(const ObjectEntry& entry) const;
  /// The select list of `names` with `alias.` before each; `null` for those that the server's
  /// catalog does not have.
  std::string list(std::string_view table, std::string_view alias,
                   std::initializer_list<std::string_view> names) const;
};

// Each sends one statement; reader.cpp has their order.
void readServer(Reading& reading);
void readCatalogColumns(Reading& reading);
void readUsers(Reading& reading);
void readRoles(Reading& reading);
void readDatabase(Reading& reading);
void readSegments(Reading& reading);
void readTypes(Reading& reading);
void readObjects(Reading& reading);
void readConstraints(Reading& reading);
void readProcedures(Reading& reading);
void readColumns(Reading& reading);
void readIndexes(Reading& reading);
void readIndexKeys(Reading& reading);
void readReferences(Reading& reading);
void readPartitions(Reading& reading);
void readPartitionKeys(Reading& reading);
void readAttributes(Reading& reading);
void readEncryptionKeys(Reading& reading);
void readLogicalKeys(Reading& reading);
void readTexts(Reading& reading);
void readPermissions(Reading& reading);
void readMessages(Reading& reading);
void readRowCounts(Reading& reading);
void readObjectsAgain(Reading& reading);

/// The index or constraint of that number; null if there is none.
IndexStorage* indexStorage(Table& table, const Shape& shape, int indid);
/// The record of one procedure of a group, made where there is none yet.
Procedure& procedureOf(Reading& reading, const ObjectEntry& entry, int number);

/// Puts the texts, and what is known by their numbers, into the records.
void applyTexts(Reading& reading);

}  // namespace kelvane::inventory
