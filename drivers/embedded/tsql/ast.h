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
  std::vector<std::string> hints;  ///< `holdlock`, `index x`, ... in lower case; never needed
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

struct Select {
  SourceRange range;
  bool distinct = false;
  std::optional<std::uint64_t> top;
  std::vector<SelectItem> items;
  ObjectName into;  ///< empty when absent
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

enum class ForClause { None, ReadOnly, Browse, Update };

/// Selects united from left to right.
struct Query {
  SourceRange range;
  std::vector<UnionTerm> terms;
  std::vector<OrderItem> orderBy;
  std::vector<ComputeClause> compute;
  ForClause forClause = ForClause::None;
  std::vector<std::string> updateColumns;  ///< `for update of a, b`

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
  bool untilTime = false;  ///< `time`, else `delay`
  ExprPtr value;
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
  std::string
      verb;  ///< the first word (two for `update statistics` and `create database`), lower case
  std::string object = {};  ///< the name after the verb; empty when something else stands there
};

// tables and indexes

enum class Nullability { Unspecified, Null, NotNull };
enum class Clustering { Unspecified, Clustered, Nonclustered };

/// `fillfactor = 80`, `ignore_dup_key`, `statistics using 20 values`; the name in lower case.
struct StorageOption {
  std::string name;
  std::optional<std::int64_t> value;
};

struct IndexKey {
  std::string column;  ///< empty for a function-based key
  ExprPtr expression;  ///< null for a plain column
  SortOrder order = SortOrder::Ascending;
};

/// `partition by roundrobin 3 on (seg)`; only the method is of interest, the rest is in the range.
struct Partitioning {
  std::string method;  ///< `roundrobin`, `hash`, `range`, `list`
  std::vector<std::string> columns;
  SourceRange range;
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
  std::vector<std::string> storage;  ///< `encrypt`, `compressed`, `in row`, `off row`
};

struct CreateTable {
  ObjectName name;
  std::vector<ColumnDefinition> columns;
  std::vector<Constraint> constraints;
  std::string lockScheme;  ///< `allpages`, `datapages`, `datarows`; empty when absent
  std::vector<StorageOption> options;
  std::string segment;
  std::optional<Partitioning> partitioning;
  bool proxy = false;  ///< `create proxy_table` / `existing table`
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

using AlterAction =
    std::variant<AddColumn, AddConstraint, DropColumn, DropConstraint, ModifyColumn, ReplaceDefault,
                 ChangeLock, ChangePartitions, SwitchTrigger, ChangeStorage>;

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
};

struct CreateFunction {
  ObjectName name;
  bool orReplace = false;
  std::vector<Parameter> parameters;
  DataType returns;
  SourceRange bodyRange;
  StatementList body;
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
  SourceRange bodyRange;
  StatementList body;
};

struct CreateRule {
  ObjectName name;
  bool orReplace = false;
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
  Role
};

/// `drop <kind> a, b`. For indexes an entry is table.index: `owner` holds the table of `t.i`, and
/// `database` its owner for `o.t.i`.
struct Drop {
  DropKind kind;
  std::vector<ObjectName> names;
  bool override = false;  ///< `drop role r with override`
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
  ObjectName object;                 ///< empty for commands and roles
  std::vector<std::string> columns;  ///< of `on t (a, b)`
  std::vector<std::string> roles;    ///< of `grant role a, b to c`; no privileges then
  std::vector<std::string> grantees;
  std::string grantor;       ///< of `granted by`
  bool grantOption = false;  ///< `with grant option`, or `grant option for` of a revoke
  bool cascade = false;
};

/// Tables, views and permissions that come to be together. A reference to a table that is created
/// further on is an `alter table` at the end.
struct CreateSchema {
  std::string authorization;
  StatementList statements;
};

using StatementNode =
    std::variant<SelectStatement, Insert, Update, Delete, Truncate, Declare, DeclareCursor,
                 OpenCursor, CloseCursor, DeallocateCursor, FetchCursor, SetOption, SetVariables,
                 Block, If, While, Break, Continue, Return, Goto, Label, Print, RaiseError, WaitFor,
                 Execute, ExecuteImmediate, Transaction, RollbackTrigger, UseDatabase, SetUser,
                 Utility, CreateTable, AlterTable, CreateIndex, CreateView, CreateProcedure,
                 CreateFunction, CreateTrigger, CreateRule, CreateDefault, CreateSchema, Drop,
                 Permission>;

struct Statement {
  SourceRange range;
  StatementNode node;
};

/// `std::visit(Overloaded{[](const Literal& l) {...}, [](const auto&) {...}}, expr.node)`
template <class... Functions>
struct Overloaded : Functions... {
  using Functions::operator()...;
};
template <class... Functions>
Overloaded(Functions...) -> Overloaded<Functions...>;

}  // namespace kelvane::tsql
