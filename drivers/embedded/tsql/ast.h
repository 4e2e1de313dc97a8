// The syntax tree of one T-SQL batch (Adaptive Server 12.5.4 dialect).
//
// Nodes are values: a statement or an expression owns everything below it, and nothing points
// upwards. Texts are UTF-8 and decoded (quotes removed, doubled quotes halved); identifiers keep
// the case they were written in. Source ranges are byte offsets into the batch that was parsed;
// a tree does not keep that text alive and does not need it.
// Trees have no hidden state, so that several threads may read one.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kelvane::tsql {

/// Bytes [begin, end) of the batch; `line` (1-based, counted in the batch) is where `begin` stands.
struct SourceRange {
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
  std::uint32_t line = 1;

  std::string_view in(std::string_view batch) const { return batch.substr(begin, end - begin); }
};

struct Expr;
struct Query;
struct Statement;
using ExprPtr = std::unique_ptr<Expr>;
using QueryPtr = std::unique_ptr<Query>;
using StatementPtr = std::unique_ptr<Statement>;
using StatementList = std::vector<StatementPtr>;

/// `[[[server.]database.]owner.]name`; parts not written (also between two dots) are empty.
struct ObjectName {
  std::string server;
  std::string database;
  std::string owner;
  std::string name;
  SourceRange range;

  bool empty() const { return name.empty(); }
};

/// A built-in or user type. Names of several words (`double precision`, `unsigned int`,
/// `character varying`) come in lower case with single blanks; every other name as written.
struct DataType {
  std::string owner;
  std::string name;
  std::optional<int> length;  ///< length or precision
  std::optional<int> scale;
  SourceRange range;
};

// expressions

enum class LiteralKind { Integer, Decimal, Float, Money, String, Binary, Null };

/// `text` is the number as written (money without its `$`), the decoded string, or the hex digits
/// after `0x`. It is empty for null. `slot` is the place of a string among BatchShape::texts, -1
/// for any other literal.
struct Literal {
  LiteralKind kind = LiteralKind::Null;
  std::string text;
  int slot = -1;
};

/// `@v`; the name keeps its `@`.
struct Variable {
  std::string name;
};

/// `@@rowcount`; the name keeps its `@@`.
struct GlobalVariable {
  std::string name;
};

/// `[[[db.]owner.]table.]column`; `table.name` is empty when the column stands alone.
struct ColumnRef {
  ObjectName table;
  std::string column;
  bool quoted = false;  ///< the column was written in brackets or as "identifier"
};

/// `*` or `t.*`, in select lists and in `count(*)`.
struct Star {
  ObjectName table;
};

enum class UnaryOp { Plus, Minus, BitNot, Not };

struct Unary {
  UnaryOp op;
  ExprPtr operand;
};

enum class BinaryOp {
  Add,
  Subtract,
  Multiply,
  Divide,
  Modulo,
  BitAnd,
  BitOr,
  BitXor,
  Concat,  ///< `||`
  Equal,
  NotEqual,
  Less,
  LessEqual,
  Greater,
  GreaterEqual,
  LeftOuterEqual,   ///< `*=`: rows of the left table are kept
  RightOuterEqual,  ///< `=*`: rows of the right table are kept
};

/// `!<` and `!>` come as GreaterEqual and LessEqual, `!=` and `<>` as NotEqual.
struct Binary {
  BinaryOp op;
  ExprPtr left;
  ExprPtr right;
};

enum class LogicalOp { And, Or };

/// A chain `a and b and c` (or `or`) of at least two operands; flat, so that long conditions do
/// not make deep trees.
struct Logical {
  LogicalOp op;
  std::vector<ExprPtr> operands;
};

struct Like {
  ExprPtr value;
  ExprPtr pattern;
  ExprPtr escape;  ///< may be null
  bool negated = false;
};

struct InList {
  ExprPtr value;
  std::vector<ExprPtr> list;
  bool negated = false;
};

struct InSubquery {
  ExprPtr value;
  QueryPtr query;
  bool negated = false;
};

struct Between {
  ExprPtr value;
  ExprPtr low;
  ExprPtr high;
  bool negated = false;
};

struct IsNull {
  ExprPtr value;
  bool negated = false;
};

struct Exists {
  QueryPtr query;
};

struct ScalarSubquery {
  QueryPtr query;
};

enum class Quantifier { Any, All };

/// `value op any (query)`; `some` is `any`.
struct Quantified {
  BinaryOp op;
  ExprPtr value;
  Quantifier quantifier;
  QueryPtr query;
};

struct CaseBranch {
  ExprPtr when;
  ExprPtr then;
};

struct Case {
  ExprPtr operand;  ///< null for the searched form
  std::vector<CaseBranch> branches;
  ExprPtr otherwise;  ///< may be null
};

/// A function or aggregate. The trigger test `update(c)` is a call named `update` with a ColumnRef.
/// `count(*)` has one Star argument. Special names (`user`, `current_user`...) are plain columns
/// unless they are reserved, in which case they are calls without parentheses.
struct Call {
  ObjectName function;
  std::vector<ExprPtr> arguments;
  bool distinct = false;
  bool parenthesized = true;  ///< false for a niladic word such as `user`
  std::string option = {};    ///< `bytes` of `patindex(.., using bytes)`, in lower case
};

/// `convert(type [null|not null], value [, style])` and `cast(value as type)`.
struct Convert {
  DataType type;
  ExprPtr value;
  ExprPtr style;  ///< may be null
  std::optional<bool> nullable = {};
};

using ExprNode = std::variant<Literal, Variable, GlobalVariable, ColumnRef, Star, Unary, Binary,
                              Logical, Like, InList, InSubquery, Between, IsNull, Exists,
                              ScalarSubquery, Quantified, Case, Call, Convert>;

/// The range covers enclosing parentheses.
struct Expr {
  SourceRange range;
  ExprNode node;
};

// queries

/// One element of a select list. At most one of alias and variable is set.
struct SelectItem {
  ExprPtr value;
  std::string alias;     ///< `e as name`, `e name`, `name = e`, `e 'name'`
  std::string variable;  ///< `@v = e`: the name with its `@`
};

struct NamedTable {
  ObjectName name;
  std::string alias;
};

struct DerivedTable {
  QueryPtr query;
  std::string alias;
  std::vector<std::string> columns;
};

struct TableRef;
using TableRefPtr = std::unique_ptr<TableRef>;

enum class JoinKind { Inner, Left, Right, Full, Cross };

struct Join {
  JoinKind kind;
  TableRefPtr left;
  TableRefPtr right;
  ExprPtr on;  ///< null for a cross join
};

struct TableRef {
  SourceRange range;
  std::variant<NamedTable, DerivedTable, Join> node;
};

/// `fillfactor = 80`, `ignore_dup_key`, `statistics using 20 values`; the name in lower case.
struct StorageOption {
  std::string name;
  std::optional<std::int64_t> value;
  std::string text;  ///< of `dml_logging = minimal`, `erase residual data on`, in lower case
};

struct Partition {
  std::string name;                      ///< empty: generated
  std::optional<SourceRange> condition;  ///< `values <= (10)`, `values (1, 2)`
  std::string segment;
};

/// `partition by range (a) (p1 values <= (10) on seg, ...)`, `partition by roundrobin 3`
struct Partitioning {
  std::string method;  ///< `roundrobin`, `hash`, `range`, `list`
  std::vector<std::string> columns;
  std::vector<Partition> partitions;
};

/// What stands behind the columns of a table.
struct TableStorage {
  std::string lockScheme;  ///< `allpages`, `datapages`, `datarows`; empty when absent
  std::vector<StorageOption> options;
  std::string segment;
  std::optional<Partitioning> partitioning;
};

struct Select {
  SourceRange range;
  bool distinct = false;
  std::optional<std::uint64_t> top;
  std::vector<SelectItem> items;
  ObjectName into;  ///< empty when absent
  TableStorage intoStorage;
  bool intoExisting = false;  ///< `into existing table`: the rows are added
  std::vector<TableRefPtr> from;
  ExprPtr where;
  bool groupByAll = false;
  std::vector<ExprPtr> groupBy;
  ExprPtr having;
};

/// `all` tells how this select is united with those before it; of no meaning for the first one.
struct UnionTerm {
  bool all = false;
  Select select;
};

enum class SortOrder { Ascending, Descending };

struct OrderItem {
  ExprPtr value;  ///< an Integer literal is an ordinal
  SortOrder order = SortOrder::Ascending;
};

struct ComputeClause {
  std::vector<ExprPtr> aggregates;
  std::vector<ExprPtr> by;
};

/// `rows limit n offset m`
struct RowLimit {
  std::uint64_t count = 0;  ///< 0 for all
  std::uint64_t offset = 0;
};

enum class ForClause { None, ReadOnly, Browse, Update };

/// Selects united from left to right.
struct Query {
  SourceRange range;
  std::vector<UnionTerm> terms;
  std::vector<OrderItem> orderBy;
  std::vector<ComputeClause> compute;
  ForClause forClause = ForClause::None;
  std::vector<std::string> updateColumns;  ///< `for update of a, b`
  std::optional<RowLimit> limit;

  bool isSingle() const { return terms.size() == 1; }
};

// data statements

/// Also an assignment (all items have a variable) and `select ... into`.
struct SelectStatement {
  QueryPtr query;
};

struct ExecuteArgument {
  std::string name;  ///< `@n` of `@n = v`; empty when positional
  ExprPtr value;     ///< a literal, signed number, variable or global variable; null for `default`
  bool bareWord = false;  ///< an unquoted identifier taken as a string literal
  bool output = false;
};

/// `exec [@r =] proc[;n] args`, or a procedure name alone at the start of a batch.
struct Execute {
  ObjectName procedure;
  std::string procedureVariable;  ///< `exec @p args`: the name comes from the variable
  int number = 1;
  std::string statusVariable;
  std::vector<ExecuteArgument> arguments;
  bool recompile = false;
};

/// `exec ('text' + @v)`
struct ExecuteImmediate {
  ExprPtr text;
};

struct InsertValues {
  std::vector<ExprPtr> values;
};
struct InsertDefaults {};

struct Insert {
  ObjectName table;
  std::vector<std::string> columns;
  std::variant<InsertValues, InsertDefaults, QueryPtr, Execute, ExecuteImmediate> source;
};

/// `[qualifier.]column = value` or `@v = value`.
struct Assignment {
  ObjectName qualifier;
  std::string column;
  std::string variable;
  ExprPtr value;
  SourceRange range;
};

/// The target may be an alias of the from list.
struct Update {
  ObjectName target;
  std::optional<std::uint64_t> top;
  std::vector<Assignment> assignments;
  std::vector<TableRefPtr> from;
  ExprPtr where;
  std::string currentOf;  ///< cursor of `where current of`
};

struct Delete {
  ObjectName target;
  std::optional<std::uint64_t> top;
  std::vector<TableRefPtr> from;
  ExprPtr where;
  std::string currentOf;
};

struct Truncate {
  ObjectName table;
  std::string partition;  ///< empty for all
};

/// What `merge` does with the rows of its source that match, or do not match, one of its target.
struct MergeClause {
  bool matched = false;
  ExprPtr condition;                    ///< `and ...`; may be null
  std::vector<Assignment> assignments;  ///< of an update
  std::vector<std::string> columns;     ///< of an insert
  std::vector<ExprPtr> values;          ///< of an insert; none for update and delete

  bool inserts() const { return !matched; }
  bool deletes() const { return matched && assignments.empty(); }
};

struct Merge {
  NamedTable target;
  TableRefPtr source;
  ExprPtr on;
  std::vector<MergeClause> clauses;
};

// control of flow

struct VariableDeclaration {
  std::string name;
  DataType type;
  ExprPtr initial;  ///< `declare @v int = 1`; may be null
};

struct Declare {
  std::vector<VariableDeclaration> variables;
};

struct DeclareCursor {
  std::string name;
  QueryPtr query;
  bool scroll = false;
  std::vector<std::string> options;  ///< `insensitive`, `no scroll`, ... in lower case
};

struct OpenCursor {
  std::string name;
};

struct CloseCursor {
  std::string name;
};

struct DeallocateCursor {
  std::string name;
};

struct FetchCursor {
  std::string name;
  std::string direction;  ///< `next`, `first`, ... in lower case; empty when absent
  ExprPtr offset;         ///< of `absolute n` and `relative n`
  std::vector<std::string> into;
};

/// `set <name> <values>`. Both in lower case unless a value was a string, a variable or an object:
/// `nocount` `on`; `identity_insert` `dbo.t` `on`; `transaction` `isolation` `level` `1`.
struct SetOption {
  std::vector<std::string> names;  ///< several in `set arithabort, nocount on`
  std::vector<std::string> values;
};

/// `set @v = e [, @w = e]`
struct SetVariables {
  std::vector<Assignment> assignments;
};

struct Block {
  StatementList statements;
};

struct If {
  ExprPtr condition;
  StatementPtr then;
  StatementPtr otherwise;  ///< may be null
};

struct While {
  ExprPtr condition;
  StatementPtr body;
};

struct Break {};
struct Continue {};

struct Return {
  ExprPtr value;  ///< may be null
};

struct Goto {
  std::string label;
};

struct Label {
  std::string name;
};

struct Print {
  ExprPtr format;
  std::vector<ExprPtr> arguments;
};

struct RaiseError {
  ExprPtr number;
  ExprPtr format;  ///< may be null
  std::vector<ExprPtr> arguments;
};

struct WaitFor {
  std::string event;  ///< `delay`, `time`, `errorexit`, `processexit`, `mirrorexit`
  ExprPtr value;      ///< of `delay` and `time`
};

/// Undoes the change that fired the trigger.
struct RollbackTrigger {
  StatementPtr raise;  ///< may be null
};

enum class TransactionAction { Begin, Commit, Rollback, Save };

struct Transaction {
  TransactionAction action;
  std::string name;  ///< also `@v`
};

struct UseDatabase {
  std::string database;
};

/// `setuser` without a name goes back to the login's own user.
struct SetUser {
  std::optional<std::string> user;
};

/// A statement without effect on a catalog (`checkpoint`, `dump tran`, `update statistics`, ...):
/// its words up to the next statement, in the source range of the statement.
struct Utility {
  std::string verb;         ///< as in the table of utilities, lower case
  std::string object = {};  ///< the name after the verb; empty when something else stands there
  bool hasMore = false;     ///< whether anything stands behind the object
};

/// `create login`; the password is not kept.
struct CreateLogin {
  std::string name;
  std::string fullName;
  std::string database;
  std::string language;
  std::vector<std::string> others;  ///< names of further attributes
};

enum class KeyAction { Create, Alter, Drop };

/// `create`, `alter` and `drop encryption key`; passwords are not kept.
struct EncryptionKey {
  KeyAction action = KeyAction::Create;
  ObjectName name;  ///< `master` and `dual master` are names here
  std::optional<bool> isDefault;
  std::optional<int> bits;  ///< `keylength`
  bool randomPad = false;
  bool randomVector = true;
  bool hasPassword = false;
  bool masterKey = false;
  bool dualControl = false;
  std::string copyFor;  ///< user of `add encryption for user u`, `drop encryption for user u`
  bool addsCopy = false;
  std::string newOwner;             ///< of `modify owner`
  std::vector<std::string> others;  ///< `recover encryption`, ... of no trace
};

/// `alter table t modify owner u`, `alter view`, ...
struct ModifyOwner {
  std::string kind;  ///< `table`, `view`, ..., `all`; lower case
  ObjectName name;   ///< `*` for all objects of the owner
  std::string newOwner;
  bool preservePermissions = false;
};

// tables and indexes

enum class Nullability { Unspecified, Null, NotNull };
enum class Clustering { Unspecified, Clustered, Nonclustered };

struct IndexKey {
  std::string column;  ///< empty for a function-based key
  ExprPtr expression;  ///< null for a plain column
  SortOrder order = SortOrder::Ascending;
};

/// `default e`; the range begins at the keyword.
struct DefaultClause {
  SourceRange range;
  ExprPtr value;
};

/// Unique or primary key. `columns` is empty when the constraint belongs to one column.
struct KeyConstraint {
  bool primary = false;
  Clustering clustering = Clustering::Unspecified;
  std::vector<IndexKey> columns;
  std::vector<StorageOption> options;
  std::string segment;
};

struct ForeignKeyConstraint {
  std::vector<std::string> columns;  ///< empty when the constraint belongs to one column
  ObjectName table;
  std::vector<std::string> referenced;  ///< may be empty
  bool matchFull = false;
};

struct CheckConstraint {
  SourceRange range;  ///< begins at `check`, ends after the parenthesis
  ExprPtr condition;
};

struct Constraint {
  SourceRange range;  ///< begins at `constraint` where there is a name
  std::string name;   ///< empty when unnamed
  std::variant<KeyConstraint, ForeignKeyConstraint, CheckConstraint> node;
};

enum class LobPlace { Unspecified, InRow, OffRow };

/// How a column is stored.
struct ColumnStorage {
  LobPlace place = LobPlace::Unspecified;
  std::optional<int> rowLength;    ///< n of `in row (n)`
  std::optional<bool> compressed;  ///< false for `not compressed`
  std::optional<int> level;        ///< n of `compressed = n`
  std::optional<bool> encrypted;   ///< false for `decrypt`
  ObjectName key;                  ///< empty: the default key
  ExprPtr decryptDefault;          ///< a null literal takes it away; may be null
};

struct ColumnDefinition {
  SourceRange range;
  std::string name;
  DataType type;  ///< empty name for a computed column
  std::optional<DefaultClause> defaultClause;
  Nullability nullability = Nullability::Unspecified;
  bool identity = false;
  std::vector<Constraint> constraints;
  ExprPtr computed;  ///< `c as e`, `c compute e`; else null
  bool materialized = false;
  ColumnStorage storage;
};

struct CreateTable : TableStorage {
  ObjectName name;
  std::vector<ColumnDefinition> columns;
  std::vector<Constraint> constraints;
  bool proxy = false;        ///< `create proxy_table` / `existing table`
  std::string proxyType;     ///< `table`, `procedure`, `file`, ... of `external`
  std::string remoteObject;  ///< of `at`
};

struct AddColumn {
  ColumnDefinition column;
};
struct AddConstraint {
  Constraint constraint;
};
struct DropColumn {
  std::string column;
};
struct DropConstraint {
  std::string constraint;
};
/// The type's name is empty when only the nullability changes.
struct ModifyColumn {
  ColumnDefinition column;
};
/// `replace c default e`
struct ReplaceDefault {
  std::string column;
  DefaultClause value;  ///< a null literal takes the default away
};
struct ChangeLock {
  std::string scheme;
};
struct ChangePartitions {
  std::optional<std::int64_t> count;  ///< none for `unpartition`
  std::optional<Partitioning> partitioning;
};
struct SwitchTrigger {
  bool enable = false;
  std::string trigger;  ///< empty for all triggers of the table
};
struct ChangeStorage {
  std::vector<StorageOption> options;
};
/// `split partition p into (...)`, `merge partition p, q into r`, `move partition p to seg`, ...
struct AlterPartition {
  enum class Kind { Add, Drop, Split, Merge, Move, Modify };
  Kind kind = Kind::Add;
  std::vector<std::string> names;
  std::vector<Partition> partitions;   ///< those that come to be
  std::string segment;                 ///< of Move
  std::vector<StorageOption> options;  ///< of Modify
};

using AlterAction =
    std::variant<AddColumn, AddConstraint, DropColumn, DropConstraint, ModifyColumn, ReplaceDefault,
                 ChangeLock, ChangePartitions, SwitchTrigger, ChangeStorage, AlterPartition>;

struct AlterTable {
  ObjectName table;
  std::vector<AlterAction> actions;
};

struct CreateIndex {
  bool unique = false;
  Clustering clustering = Clustering::Unspecified;
  std::string name;
  ObjectName table;
  std::vector<IndexKey> keys;
  std::vector<StorageOption> options;
  std::string segment;
  bool local = false;  ///< `local index`
  std::vector<Partition> partitions;
};

// objects with a stored text

// The range of the Statement around it is the text to store: that of the whole batch, comments
// included, but for a view among other statements.

struct CreateView {
  ObjectName name;
  bool orReplace = false;
  std::vector<std::string> columns;
  QueryPtr query;
  bool checkOption = false;
};

struct Parameter {
  SourceRange range;
  std::string name;
  DataType type;
  ExprPtr defaultValue;      ///< may be null; a bare word comes as a string literal
  SourceRange defaultRange;  ///< text of the default value
  bool output = false;
};

struct CreateProcedure {
  ObjectName name;
  int number = 1;
  bool orReplace = false;
  std::vector<Parameter> parameters;
  bool recompile = false;
  SourceRange bodyRange;  ///< begins after `as`
  StatementList body;
  std::string external;  ///< the library of `as external name`, which has no body
  bool java = false;
};

struct CreateFunction {
  ObjectName name;
  bool orReplace = false;
  std::vector<Parameter> parameters;
  DataType returns;
  SourceRange bodyRange;
  StatementList body;
  std::string external;
};

/// A query whose rows are kept.
struct CreatePrecomputed : TableStorage {
  ObjectName name;
  std::vector<std::string> columns;
  QueryPtr query;
};

struct TriggerEvents {
  bool insert = false;
  bool update = false;
  bool remove = false;
};

struct CreateTrigger {
  ObjectName name;
  bool orReplace = false;
  bool insteadOf = false;
  ObjectName table;
  TriggerEvents events;
  int order = 0;
  SourceRange bodyRange;
  StatementList body;
};

struct CreateRule {
  ObjectName name;
  bool orReplace = false;
  bool isAccess = false;  ///< `create access rule`: which rows may be read
  ExprPtr condition;
};

struct CreateDefault {
  ObjectName name;
  bool orReplace = false;
  ExprPtr value;
};

enum class DropKind {
  Table,
  View,
  Procedure,
  Function,
  Trigger,
  Rule,
  Default,
  Index,
  Database,
  Role,
  Precomputed,
  Login
};

/// `drop <kind> a, b`. For indexes an entry is table.index: `owner` holds the table of `t.i`, and
/// `database` its owner for `o.t.i`.
struct Drop {
  DropKind kind;
  std::vector<ObjectName> names;
  bool override = false;  ///< `with override`, of roles and logins
};

// permissions

/// An action or command in lower case: `select`, `all`, `create table`, `dump database`, ...
struct Privilege {
  std::string name;
  std::vector<std::string> columns;  ///< of `update (a, b)`
};

enum class PermissionAction { Grant, Revoke };

struct Permission {
  PermissionAction action;
  std::vector<Privilege> privileges;
  ObjectName object;                  ///< empty for commands and roles
  std::vector<std::string> columns;   ///< of `on t (a, b)`
  std::vector<std::string> roles;     ///< of `grant role a, b to c`; no privileges then
  std::vector<std::string> grantees;  ///< `@v` for the name in a variable
  std::string grantor;                ///< of `granted by`
  bool grantOption = false;           ///< `with grant option`, or `grant option for` of a revoke
  bool cascade = false;
};

/// Tables, views and permissions that come to be together. A reference to a table that is created
/// further on is an `alter table` at the end.
struct CreateSchema {
  std::string authorization;
  StatementList statements;
};

using StatementNode =
    std::variant<SelectStatement, Insert, Update, Delete, Truncate, Merge, Declare, DeclareCursor,
                 OpenCursor, CloseCursor, DeallocateCursor, FetchCursor, SetOption, SetVariables,
                 Block, If, While, Break, Continue, Return, Goto, Label, Print, RaiseError, WaitFor,
                 Execute, ExecuteImmediate, Transaction, RollbackTrigger, UseDatabase, SetUser,
                 Utility, CreateLogin, EncryptionKey, ModifyOwner, CreatePrecomputed, CreateTable,
                 AlterTable, CreateIndex, CreateView, CreateProcedure, CreateFunction,
                 CreateTrigger, CreateRule, CreateDefault, CreateSchema, Drop, Permission>;

struct Statement {
  SourceRange range;
  StatementNode node;
  /// What it advises without effect on rows: `plan`, `holdlock`, `at isolation`, `index` of a hint.
  std::vector<std::string> hints = {};
};

/// `std::visit(Overloaded{[](const Literal& l) {...}, [](const auto&) {...}}, expr.node)`
template <class... Functions>
struct Overloaded : Functions... {
  using Functions::operator()...;
};
template <class... Functions>
Overloaded(Functions...) -> Overloaded<Functions...>;

}  // namespace kelvane::tsql
