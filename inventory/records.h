// What a database declares: the records that a reader fills, that are compared, saved and written
// as scripts.
//
// Texts are UTF-8. A text that a server writes as a word (a lock scheme, an event) stands as in
// T-SQL; empty and null members are what was not declared, or what the release does not have.
// attributes.h lists all members that are compared or shown.
//
// Lifetime: plain values. Threading: none of their own.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inventory/rare.h"

namespace kelvane::inventory {

struct QualifiedName {
  std::string owner, name;
  bool operator==(const QualifiedName&) const = default;
};

/// Of a table that may be in another database; an empty one is this database.
struct DatabaseObjectName {
  std::string database, owner, name;
  bool operator==(const DatabaseObjectName&) const = default;
};

/// A text that the server keeps for an object.
struct Definition {
  enum class State : std::uint8_t {
    whole,
    hidden,      ///< by sp_hidetext
    incomplete,  ///< a piece of it is missing in the catalog
    unreadable,  ///< the login may not read it
  };
  std::string text;  ///< exactly as kept; of another state than `whole` what is there of it
  State state = State::whole;
  bool quotedIdentifier = false;  ///< the option was on when the object was created
  bool operator==(const Definition&) const = default;
};

/// As one declares it: varchar(20), numeric(9,2), a user-defined type by name.
struct DataType {
  Rare<std::string> owner = {};  ///< of a user-defined type; none for those of the server
  std::string name = {};
  std::optional<std::int32_t> length = {};  ///< in what the declaration counts: bytes, characters
                                            ///< of nchar, UTF-16 units of unichar
  std::optional<std::int16_t> precision = {}, scale = {};
  bool operator==(const DataType&) const = default;
};

/// A type with what one writes behind it.
struct ColumnType {
  DataType type = {};
  bool nullable = false;
  bool identity = false;
  bool operator==(const ColumnType&) const = default;
};

/// A declared default or a bound one.
struct DefaultValue {
  std::string text = {};  ///< of a declared one: the expression, without the word default
  QualifiedName bound = {};
  Definition::State state = Definition::State::whole;  ///< of the text
  bool operator==(const DefaultValue&) const = default;
};

struct Column {
  std::string name = {};
  ColumnType type = {};
  Rare<DefaultValue> defaultValue = {};
  Rare<QualifiedName> rule = {}, accessRule = {};  ///< bound ones
  Rare<Definition> computed = {};                  ///< the expression
  Rare<DatabaseObjectName> encryptionKey = {};
  Rare<std::string> decryptDefault = {};
  Rare<std::string> compression = {};
  Rare<std::string> replication = {};            ///< of text and image: always, if changed
  std::optional<std::int32_t> inRowLength = {};  ///< in bytes
  bool materialized = false;                     ///< a computed column that is stored
  bool encrypted = false;
  bool offRow = false;
  bool operator==(const Column&) const = default;
};

struct KeyColumn {
  std::string name;  ///< or the expression of a function-based index
  bool isExpression = false;
  bool descending = false;
  Definition::State state = Definition::State::whole;  ///< of the expression
  bool operator==(const KeyColumn&) const = default;
};

/// The name of a constraint or partition. One that the server made differs in each installation.
struct GivenName {
  std::string name = {};
  bool generated = false;
  bool operator==(const GivenName&) const = default;
};

struct Partition {
  GivenName name = {};
  std::string bound = {};  ///< as declared: values <= (10), values ('a', 'b')
  std::string segment = {};
  bool operator==(const Partition&) const = default;
};

struct Check {
  GivenName name = {};
  Definition condition = {};  ///< from the word check on
  std::optional<std::int32_t> message = {};
  bool operator==(const Check&) const = default;
};

/// What an index and a constraint that an index enforces have alike.
struct IndexStorage {
  bool clustered = false;
  std::vector<KeyColumn> columns = {};
  std::optional<std::int32_t> fillFactor = {};  ///< in percent
  std::optional<std::int32_t> maxRowsPerPage = {};
  std::optional<std::int32_t> reservePageGap = {};
  std::string segment = {};
  std::optional<std::int32_t> parallelDegree = {};
  std::string compression = {};
  bool latchFree = false;
  bool local = false;
  std::vector<Partition> partitions =
      {};                          ///< of a local index, or of a global one that has several
  std::string cache = {};          ///< that it is bound to
  std::string cacheStrategy = {};  ///< prefetch off, mru off
  bool operator==(const IndexStorage&) const = default;
};

/// A primary key or a unique constraint.
struct KeyConstraint : IndexStorage {
  GivenName name = {};
  bool primary = false;
  std::optional<std::int32_t> message = {};
  bool operator==(const KeyConstraint&) const = default;
};

struct ForeignKey {
  GivenName name = {};
  std::vector<std::string> columns = {};
  DatabaseObjectName referenced = {};
  std::vector<std::string> referencedColumns = {};
  bool matchFull = false;
  std::optional<std::int32_t> message = {};
  bool operator==(const ForeignKey&) const = default;
};

struct Index : IndexStorage {
  std::string name = {};
  bool unique = false;
  bool ignoreDuplicateKey = false, ignoreDuplicateRow = false, allowDuplicateRow = false;
  bool operator==(const Index&) const = default;
};

struct Trigger {
  QualifiedName name = {};
  bool onInsert = false, onUpdate = false, onDelete = false;
  bool insteadOf = false;
  bool disabled = false;
  std::optional<std::int32_t> order = {};
  Definition definition = {};
  bool operator==(const Trigger&) const = default;
};

/// What sp_primarykey, sp_foreignkey and sp_commonkey said: documentation, nothing is enforced.
struct LogicalKey {
  std::string kind = {};  ///< primary, foreign, common
  std::vector<std::string> columns = {};
  QualifiedName other = {};  ///< table of a foreign or common one
  std::vector<std::string> otherColumns = {};
  bool operator==(const LogicalKey&) const = default;
};

struct Permission {
  std::string effect = {};  ///< grant, revoke, deny
  std::string action = {};  ///< in lower case: select, create table
  std::string grantee = {};
  std::vector<std::string> columns = {};  ///< none: the whole object. In the table's order
  bool grantOption = false;
  std::string grantor = {};
  std::string condition = {};  ///< of a predicated privilege, from the word where on
  bool operator==(const Permission&) const = default;
};

struct Table {
  QualifiedName name = {};
  std::string lock = {};  ///< allpages, datapages, datarows
  std::string segment = {};
  std::optional<std::int32_t> identityGap = {};
  std::optional<std::int32_t> maxRowsPerPage = {};
  std::optional<std::int32_t> expectedRowSize = {};  ///< in bytes
  std::optional<std::int32_t> reservePageGap = {};
  std::optional<std::int32_t> fillFactor = {};  ///< in percent
  std::optional<std::int32_t> concurrencyThreshold = {};
  std::optional<std::int32_t> parallelDegree = {};
  std::optional<std::int64_t> identityBurnMax = {};
  std::string compression = {}, indexCompression = {};  ///< none, row, page
  std::optional<std::int32_t> lobCompression = {};
  std::string logging = {};    ///< dml_logging: full, minimal
  std::string transfer = {};   ///< transfer table: on, off
  std::string erasure = {};    ///< erase residual data: on, off
  std::string latchFree = {};  ///< latch_free_index: 0, 1
  bool deallocatesFirstTextPage = false;
  bool optimisticIndexLock = false;
  std::string cache = {};          ///< that it is bound to
  std::string cacheStrategy = {};  ///< prefetch off, mru off
  std::string pageLockPromotion = {}, rowLockPromotion = {};
  bool replicated = false;
  std::string replicationModes = {};  ///< owner_on, use_index, never
  std::string proxyKind = {};         ///< table, procedure, ... of a proxy table
  std::string proxyPlace = {};        ///< what stands behind at
  std::string partitionKind = {};  ///< roundrobin, hash, range, list; none for an unpartitioned one
  std::vector<std::string> partitionColumns = {};
  std::vector<Partition> partitions = {};
  std::optional<std::int64_t> rowCount = {};  ///< where it was asked for
  std::vector<Column> columns = {};
  std::vector<KeyConstraint> keys = {};
  std::vector<ForeignKey> foreignKeys = {};
  std::vector<Check> checks = {};
  std::vector<Index> indexes = {};
  std::vector<Trigger> triggers = {};
  std::vector<LogicalKey> logicalKeys = {};
  std::vector<Permission> permissions = {};
  bool operator==(const Table&) const = default;
};

struct ViewColumn {
  std::string name = {};
  ColumnType type = {};
  bool operator==(const ViewColumn&) const = default;
};

struct View {
  QualifiedName name = {};
  Definition definition = {};
  bool columnsKnown = true;
  bool precomputed = false;  ///< a precomputed result set
  std::vector<ViewColumn> columns = {};
  std::vector<Trigger> triggers = {};
  std::vector<LogicalKey> logicalKeys = {};
  std::vector<Permission> permissions = {};
  bool operator==(const View&) const = default;
};

/// Of a procedure or function. Its default stands in the definition alone.
struct Parameter {
  std::string name = {};
  DataType type = {};
  bool output = false;
  bool operator==(const Parameter&) const = default;
};

/// One procedure; those of a group are several, which differ in their number.
struct Procedure {
  QualifiedName name = {};
  std::int32_t number = 1;
  std::string language = {};   ///< none for T-SQL; library: an extended one, java
  Definition definition = {};  ///< of an extended one the name of the library
  std::string mode = {};       ///< unchained, chained, anymode
  bool replicated = false;
  std::string replicationModes = {};  ///< table, log_current
  std::vector<Parameter> parameters = {};
  std::vector<Permission> permissions = {};
  bool operator==(const Procedure&) const = default;
};

struct Function {
  QualifiedName name = {};
  std::string language = {};
  Definition definition = {};
  DataType returns = {};
  std::vector<Parameter> parameters = {};
  std::vector<Permission> permissions = {};
  bool operator==(const Function&) const = default;
};

struct Rule {
  QualifiedName name = {};
  bool access = false;
  Definition definition = {};
  bool operator==(const Rule&) const = default;
};

/// An object of create default.
struct Default {
  QualifiedName name = {};
  Definition definition = {};
  bool operator==(const Default&) const = default;
};

struct UserType {
  QualifiedName name = {};
  ColumnType base = {};
  QualifiedName defaultValue = {};  ///< bound ones
  QualifiedName rule = {}, accessRule = {};
  bool operator==(const UserType&) const = default;
};

struct User {
  std::string name = {};
  std::string login = {};
  std::string group = {};               ///< none for public alone
  std::vector<std::string> roles = {};  ///< granted to the login, in order
  bool operator==(const User&) const = default;
};

struct Alias {
  std::string login = {};
  std::string user = {};
  bool operator==(const Alias&) const = default;
};

struct Group {
  std::string name = {};
  bool operator==(const Group&) const = default;
};

/// A role that this database knows.
struct Role {
  std::string name = {};
  std::vector<std::string> roles = {};  ///< granted to it, in order
  bool operator==(const Role&) const = default;
};

struct EncryptionKey {
  QualifiedName name = {};
  std::string kind = {};  ///< key, default, master, dual master
  std::string algorithm = {};
  std::optional<std::int32_t> length = {};  ///< in bits
  bool randomVector = false, randomPadding = false;
  bool hasPassword = false, dualControl = false;
  std::vector<std::string> copies = {};  ///< users who have one
  std::vector<Permission> permissions = {};
  bool operator==(const EncryptionKey&) const = default;
};

/// Of sp_addmessage.
struct Message {
  std::int32_t number = 0;
  std::string language = {};
  std::string text = {};
  bool operator==(const Message&) const = default;
};

struct DatabaseOption {
  std::string name = {};  ///< of one that is set
  bool operator==(const DatabaseOption&) const = default;
};

struct Segment {
  std::string name = {};
  bool operator==(const Segment&) const = default;
};

struct Threshold {
  std::string segment = {};
  std::int32_t freePages = 0;
  std::string procedure = {};
  bool lastChance = false;
  bool operator==(const Threshold&) const = default;
};

/// The database itself.
struct Settings {
  std::string owner = {};  ///< the login
  std::string cache = {};  ///< that it is bound to
  std::string pageLockPromotion = {}, rowLockPromotion = {};
  std::vector<DatabaseOption> options = {};
  std::vector<Segment> segments = {};
  std::vector<Threshold> thresholds = {};
  std::vector<Permission> permissions = {};  ///< create table, ...
  bool operator==(const Settings&) const = default;
};

/// What is of the server, and decides what names and texts mean. Told, but no difference.
struct Server {
  std::string version = {};  ///< what @@version says
  std::string database = {};
  std::string user = {};
  std::string characterSet = {};
  std::string sortOrder = {};
  bool ignoresCase = false;    ///< as the sort order says
  std::int32_t pageSize = 0;   ///< in bytes
  std::int32_t ncharSize = 1;  ///< the most bytes of a character, as many as nchar takes
  bool embedded = false;       ///< the embedded catalog; see unpublishedFamilies()
  bool operator==(const Server&) const = default;
};

/// Something that could not be read, or moved while it was read. A comparison with it proves no
/// equality.
struct Gap {
  std::string what = {};    ///< permissions; the definition of view dbo.v
  std::string reason = {};  ///< the server's words, or what was found
  std::string object = {};  ///< of a single object: view:dbo.v
  std::string family = {};  ///< and the word of the family that it belongs to, if it has one
  bool operator==(const Gap&) const = default;
};

struct Database {
  Server server = {};
  Settings settings = {};
  std::vector<Table> tables = {};
  std::vector<View> views = {};
  std::vector<Procedure> procedures = {};
  std::vector<Function> functions = {};
  std::vector<Rule> rules = {};
  std::vector<Default> defaults = {};
  std::vector<UserType> types = {};
  std::vector<User> users = {};
  std::vector<Alias> aliases = {};
  std::vector<Group> groups = {};
  std::vector<Role> roles = {};
  std::vector<EncryptionKey> encryptionKeys = {};
  std::vector<Message> messages = {};
  std::vector<Gap> gaps = {};
  bool operator==(const Database&) const = default;
};

}  // namespace kelvane::inventory
