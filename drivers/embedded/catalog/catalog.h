// The catalog of an embedded server: the system tables of its databases, which are records that
// SQLite sees as virtual tables, and everything that writes them.
//
// A Catalog is not safe for several threads at once. Each statement is all or nothing: a member
// that throws has changed nothing. What the server would refuse is a tsql::ServerError with the
// server's own number and text; its line is the caller's.
//
// How things are stored, for those who translate queries:
// - a system table of the current database goes by its own name and column names; ObjectInfo says
//   what SQL calls that of another database;
// - a user table with object id N is the SQLite table "tN", its column with colid C is "cC". Its
//   columns have no SQLite type, so a value is kept as it was bound; nullability and defaults are
//   for the writer of rows to see to, unique keys are SQLite indexes. Most tables of a schema never
//   get a row: "tN" is there once rowTable was called, before that kNoRows stands for it;
// - every column that may hold text collates RTRIM;
// - temporary tables are not the catalog's.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/records.h"
#include "drivers/embedded/catalog/result.h"
#include "drivers/embedded/catalog/types.h"
#include "drivers/embedded/options.h"
#include "drivers/embedded/store/sqlite.h"
#include "drivers/embedded/tsql/ast/basics.h"
#include "drivers/embedded/tsql/ast/routines.h"
#include "drivers/embedded/tsql/error.h"
#include "drivers/embedded/tsql/lexer.h"

namespace kelvane::tsql {

struct AlterTable;
struct CreateIndex;
struct CreateLogin;
struct CreateTable;
struct Drop;
struct EncryptionKey;
struct ModifyOwner;
struct Permission;

}  // namespace kelvane::tsql

namespace kelvane::embedded {

/// An SQLite table that is always empty and has every column that a user table may have.
inline constexpr std::string_view kNoRows = "no_rows";
inline constexpr int kLargestColumnCount = 1024;

/// In syscomments.status.
inline constexpr int kQuotedIdentifiersOn = 4;

inline constexpr int kPublicUid = 0;
inline constexpr int kDboUid = 1;
inline constexpr int kGuestUid = 2;
inline constexpr std::string_view kGuestName = "guest";

/// Where sysobjects says which trigger a change of rows fires, and in sysstat2 that it does not.
struct TriggerSlot {
  int SysObject::*column;
  int disabled;
  bool tsql::TriggerEvents::*event;
};
inline constexpr TriggerSlot kInsertSlot{&SysObject::instrig, 0x100000,
                                         &tsql::TriggerEvents::insert};
inline constexpr TriggerSlot kDeleteSlot{&SysObject::deltrig, 0x200000,
                                         &tsql::TriggerEvents::remove};
inline constexpr TriggerSlot kUpdateSlot{&SysObject::updtrig, 0x400000,
                                         &tsql::TriggerEvents::update};
inline constexpr TriggerSlot kTriggerSlots[] = {kInsertSlot, kUpdateSlot, kDeleteSlot};

/// 911: a name leads to a database that the server does not have.
struct UnknownDatabase : tsql::ServerError {
  UnknownDatabase(const std::string& database, std::uint32_t line);
  std::string database;
};

/// On whose behalf a statement runs, and where it stands (for errors).
struct Caller {
  int uid = kDboUid;
  std::string database = "master";
  std::uint32_t line = 1;
  bool quotedIdentifier = false;  ///< how its texts are read, which stored ones keep
  /// Whether a statement that touches rows begins a transaction where there is none, which stored
  /// procedures keep.
  bool chained = false;
};

struct ObjectInfo {
  int id = 0;
  int uid = kDboUid;
  std::string type;  ///< without padding: `U`, `S`, `V`, `P`, `TR`, `D`, `R`, `RI`, ...
  std::string name;
  std::string sqliteTable;  ///< where to read rows; empty unless it is a table (`U`, `S`)

  bool operator==(const ObjectInfo&) const = default;
};

struct ColumnInfo {
  std::string name;
  int colid = 0;
  ColumnType type;
  std::string sqliteColumn;  ///< empty for the columns of views and procedures
  int defaultId = 0;
  std::string computed;  ///< expression of a computed column as written; else empty
};

/// The source of a stored object.
struct SourceText {
  std::string text;
  bool quotedIdentifier = false;

  tsql::ParseOptions options() const {
    tsql::ParseOptions options;
    options.quotedIdentifier = quotedIdentifier;
    return options;
  }
};

struct ProcedureArgument {
  std::string name;  ///< with its `@`; empty when positional
  std::optional<std::string> value;
};

/// An object that a stored definition uses.
struct UsedObject {
  enum class Kind { Table, Procedure, Function };
  tsql::ObjectName name;
  Kind kind = Kind::Table;
  int number = 0;  ///< of a procedure in its group
  bool isRead = false;
  bool isWritten = false;
  bool allColumns = false;  ///< `select *`
};

/// What definitions need of those who evaluate expressions; the catalog does not.
struct RowValues {
  /// The value of a default, as a value of the type.
  std::function<Cell(const tsql::Expr& value, const ColumnType& type)> evaluate;
  std::function<Cell(const Cell& value, const ColumnType& from, const ColumnType& to)> convert;
  /// The type of an expression over the columns of a table.
  std::function<ColumnType(const tsql::Expr& expression, const tsql::ObjectName& table)> typeOf;
};

/// A call of a system procedure.
struct ProcedureCall {
  std::string name;
  std::vector<ProcedureArgument> arguments;
  Caller caller;
};

struct ProcedureResult {
  std::vector<ResultSet> resultSets;
  std::vector<ServerMessage> messages;
  int status = 0;
  /// What was accepted but is not kept.
  std::vector<std::string> ignored = {};
  struct Output {
    std::size_t position = 0;
    std::string name;  ///< of the parameter, with its `@`
    std::optional<std::string> value;
  };
  std::vector<Output> outputs = {};
};

class Databases;

class Catalog {
 public:
  /// A fresh server: master and the other databases that each server has, and `main`, where
  /// everything begins.
  explicit Catalog(const CatalogOptions& options = {});
  ~Catalog();
  Catalog(const Catalog&) = delete;
  Catalog& operator=(const Catalog&) = delete;

  Database& store() { return store_; }

  // databases

  /// What the system tables of the current database hold; SQL means these.
  SystemRecords& records();
  /// Of another database; of the current one if there is none of the name.
  SystemRecords& recordsIn(std::string_view database);
  /// Of the database that has the object.
  SystemRecords& recordsOf(int objectId);
  /// The name of the database that has the object.
  const std::string& databaseOf(int objectId);
  /// Makes a database the current one, if there is one of the name.
  void enter(std::string_view database);
  const std::string& currentDatabase() const;
  /// The same person in another database.
  Caller callerIn(std::string_view database, const Caller& caller);
  /// The databases that have more than system tables, in order of their numbers.
  std::vector<std::string> databasesWithObjects();
  /// Removes a database, which must not be the current one, with all that it has.
  void removeDatabase(std::string_view name);
  /// The foreign keys of any database that refer to the table.
  std::vector<SysReference> referencesTo(int tableId) const;
  /// Whether no database has an object of the id.
  bool isFreeId(int id) const;
  const CatalogOptions& options() const { return options_; }

  // look-ups

  /// Any object of sysobjects, in any database. Without an owner: the caller's, else dbo's. Tables
  /// of master are found under `master..` only, or when it is the caller's database.
  std::optional<ObjectInfo> findObject(const tsql::ObjectName& name, const Caller& caller);
  /// As findObject; throws 208, UnknownDatabase.
  ObjectInfo requireObject(const tsql::ObjectName& name, const Caller& caller);
  std::optional<ObjectInfo> objectById(int id);
  /// The parts of a name that comes as a text; none if there are too many.
  std::optional<tsql::ObjectName> objectName(std::string_view text, const Caller& caller) const;
  /// `[[db.]owner.]name` as a text, as object_id() takes it.
  std::optional<ObjectInfo> findObject(std::string_view text, const Caller& caller);
  /// Whether such texts may hold names in double quotes.
  bool readsQuotedNames(const Caller& caller) const;

  /// In colid order: columns of a table or view, parameters of an ungrouped procedure.
  std::vector<ColumnInfo> columns(int objectId);
  /// Parameters of procedure `number` of a group.
  std::vector<ColumnInfo> parameters(int procedureId, int number);
  std::optional<ColumnInfo> column(int objectId, std::string_view name);

  std::optional<std::string> objectName(int id);
  std::optional<std::string> columnName(int objectId, int colid);
  /// Key `key` (from 1) of an index; none past the last.
  std::optional<std::string> indexColumn(int objectId, int indid, int key);
  bool isDescendingKey(int objectId, int indid, int key);
  std::optional<std::string> userName(int uid);
  std::optional<int> userId(std::string_view name);
  /// The same for a name in a statement. A database has no guest until somebody adds one, but a
  /// script may refer to that of the database that it was written for: then there is one.
  std::optional<int> userNamed(std::string_view name);
  std::optional<std::string> loginName(int suid);
  std::optional<int> loginId(std::string_view name);
  std::optional<int> userOfLogin(int suid);
  std::optional<std::string> databaseName(int dbid);
  std::optional<int> databaseId(std::string_view name);
  /// Both the names of databases; there is one of the first and none of the second.
  void renameDatabase(std::string_view from, std::string_view to);
  /// Makes a database if there is none of the name. What came before the first name that is used
  /// belongs to it: the database where everything begins gets that name.
  void useDatabase(std::string_view name);
  /// Whether one of the name was dropped and none created since.
  bool wasRemoved(std::string_view name) const;

  /// System types, then types of the caller, then of dbo. Throws 2715 for an unknown type. The
  /// nullability is the type's own: of a user type, else not null.
  ColumnType resolveType(const tsql::DataType& type, const Caller& caller);

  /// Whether definitions may stand in transactions: in a database that `create database` made, an
  /// option. Of others nobody has said how they are set.
  bool allowsDefinitionsInTransaction(std::string_view database);

  /// Whether columns without `null` or `not null` accept null, a database option.
  bool allowsNullsByDefault(std::string_view database);

  /// The source of a view, procedure, trigger, rule or default; empty when there is none.
  std::string sourceText(int objectId);
  /// With how it is to be read.
  SourceText source(int objectId);
  /// Of one procedure of a group.
  SourceText source(int procedureId, int number);

  /// The SQLite table to write rows of a user table to. Queries translated while kNoRows stood for
  /// it must be translated anew.
  std::string rowTable(int tableId);

  /// One more than the highest value of the table's identity column, 1 in an empty table.
  std::int64_t nextIdentity(int tableId);

  /// 2601 for a StoreError with isDuplicateKey that a write to a user table met.
  tsql::ServerError duplicateKeyError(const StoreError& error, std::uint32_t line);

  /// The keys of a table with ignore_dup_key or ignore_dup_row, as SQLite's conflict targets.
  std::vector<std::string> ignoredDuplicates(int tableId);

  // statements
  // `text` is the batch that the ranges of the statement count in.

  void createTable(const tsql::CreateTable& statement, std::string_view text,
                   const RowValues& values, const Caller& caller);
  /// For `select into`; returns the new table.
  ObjectInfo createTable(const tsql::ObjectName& name, const std::vector<NamedColumn>& columns,
                         const tsql::TableStorage& storage, std::string_view text,
                         const Caller& caller);
  void alterTable(const tsql::AlterTable& statement, std::string_view text, const RowValues& values,
                  const Caller& caller);
  void createIndex(const tsql::CreateIndex& statement, std::string_view text,
                   const RowValues& values, const Caller& caller);

  /// `columns` is the select list with its types, where they are known; the statement's column
  /// names override.
  void createView(const tsql::CreateView& statement, std::string_view text,
                  const std::optional<std::vector<NamedColumn>>& columns, const Caller& caller);
  void createPrecomputed(const tsql::CreatePrecomputed& statement, std::string_view text,
                         const std::vector<NamedColumn>& columns, const Caller& caller);
  void createProcedure(const tsql::CreateProcedure& statement, std::string_view text,
                       const Caller& caller);
  void createFunction(const tsql::CreateFunction& statement, std::string_view text,
                      const Caller& caller);
  void createTrigger(const tsql::CreateTrigger& statement, std::string_view text,
                     const Caller& caller);
  void createRule(const tsql::CreateRule& statement, std::string_view text, const Caller& caller);
  void createDefault(const tsql::CreateDefault& statement, std::string_view text,
                     const Caller& caller);

  /// What the object uses takes the place of what it used. Objects that are not there are left out.
  void saveUses(const tsql::ObjectName& user, int number, const std::vector<UsedObject>& used,
                const Caller& caller);

  /// Names of temporary tables must have been taken out.
  void drop(const tsql::Drop& statement, const Caller& caller);
  /// Those whose session ends.
  void removeTemporaryProcedures(const std::set<int>& ids);
  /// What of the statement has no row, in words, as a right of the object's owner; else empty.
  std::string_view permission(const tsql::Permission& statement, std::string_view text,
                              const Caller& caller);
  void encryptionKey(const tsql::EncryptionKey& statement, const Caller& caller);
  void modifyOwner(const tsql::ModifyOwner& statement, const Caller& caller);
  void createLogin(const tsql::CreateLogin& statement, const Caller& caller);
  void createDatabase(std::string_view name, const Caller& caller);
  void createRole(std::string_view name, const Caller& caller);

  // system procedures

  /// None when there is no system procedure of that name (the caller may raise 2812).
  std::optional<ProcedureResult> callSystemProcedure(const ProcedureCall& call);

 private:
  bool isQuoted(int objectId);
  ColumnInfo columnOf(const SystemRecords& records, const SysColumn& row, bool inTable);
  std::vector<ColumnInfo> readColumns(int objectId, int number, bool inTable);
  const SysIndexKey* indexKey(int objectId, int indid, int key);

  const CatalogOptions options_;
  // Goes after the store, which undoes what is still open in its records.
  std::unique_ptr<Databases> databases_;
  Database store_;
};

}  // namespace kelvane::embedded
