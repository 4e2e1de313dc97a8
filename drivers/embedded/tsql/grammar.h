// The recursive-descent parser behind parser.h. One source file for each area of the grammar:
// expressions, queries, data, control, tables, routines, permissions; grammar.cpp has the choice of
// the statement.
//
// Internal to this folder. A parser reads one batch and is then thrown away.
//
// Two bounds keep hostile input from overflowing a stack. `depth_` is how deep the parser itself
// stands; `height_` is the height of the tallest tree finished in the current scope, because a
// chain such as a+b+c+... grows a tall tree without any recursion here, and whoever walks or frees
// the tree later recurses over it.
#pragma once

#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "drivers/embedded/tsql/ast.h"
#include "drivers/embedded/tsql/lexer.h"
#include "drivers/embedded/tsql/shape.h"
#include "drivers/embedded/tsql/token_reader.h"

namespace kelvane::tsql {

class Parser : private TokenReader {
 public:
  Parser(std::string_view batch, ParseOptions options, std::span<const TextSpan> texts = {});

  StatementList batch();
  bool tookEverySlot() const { return slotsTaken_ == texts_.size(); }
  ExprPtr wholeExpression();

 private:
  /// How tightly an operator binds; every operator of one level is left-associative.
  enum class Level { Or, And, Comparison, Additive, Multiplicative, Operand };

  struct BinaryOperator {
    std::string_view symbol;
    BinaryOp op;
    Level level;
  };
  static const BinaryOperator kBinaryOperators[];

  struct Nesting {
    explicit Nesting(Parser& parser);
    ~Nesting() { --parser.depth_; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
    Parser& parser;
  };

  // Expressions.
  ExprPtr expression(Level level = Level::Or);
  ExprPtr binaryTail(ExprPtr left, Level level, const Token& first);
  bool extendLogical(ExprPtr& left, Level level, const Token& first);
  bool extendComparison(ExprPtr& left, const Token& first);
  bool extendBinary(ExprPtr& left, Level level, const Token& first);
  ExprPtr quantifiedOrBinary(BinaryOp op, ExprPtr left, Level operand, const Token& first);
  ExprPtr membership(ExprPtr value, bool negated, const Token& first);
  ExprPtr xmlTest(ExprPtr path, bool negated, const Token& first);
  ExprPtr prefix();
  ExprPtr primary();
  ExprPtr parenthesized();
  int takeSlot(const Token& token);
  ExprPtr literal(LiteralKind kind);
  ExprPtr caseExpression();
  ExprPtr convertCall();
  ExprPtr castCall();
  ExprPtr reservedPrimary();
  ExprPtr nameExpression();
  ExprPtr call(ObjectName function, const Token& first);
  ExprPtr constant();
  bool atConstant() const;
  bool startsExpression() const;
  bool atSubquery() const;
  bool startsQuery() const;
  ExprPtr make(ExprNode node, const Token& first);
  void growTaller();

  // Queries.
  QueryPtr query();
  QueryPtr queryFrom(QueryPtr leading, const Token& first);
  QueryPtr parenthesizedQuery();
  void unionOperand(Query& query, bool all);
  Select select();
  SelectItem selectItem();
  std::string alias();
  bool atAlias() const;
  bool atJoin() const;
  std::vector<TableRefPtr> fromList();
  TableRefPtr tableRef();
  JoinKind joinKind();
  TableRefPtr join(TableRefPtr left, const Token& first);
  TableRefPtr tableFactor();
  NamedTable namedTable();
  void tableHints();
  void rowLimit(Query& query);
  void planClause();
  void selectTail(Query& query);
  void forClause(Query& query);
  std::optional<DataType> xmlTail();
  void isolationClause();

  // Statements.
  StatementPtr statement();
  StatementNode statementNode();
  StatementList statementsUntilEnd();
  void skipSeparators();
  bool endsStatement() const;
  bool atBareCall() const;

  StatementNode selectStatement();
  StatementNode insertStatement();
  StatementNode updateStatement();
  StatementNode deleteStatement();
  StatementNode truncateStatement();
  void targetHints();
  StatementNode mergeStatement();
  MergeClause mergeClause();
  std::optional<std::uint64_t> topClause();
  Assignment assignment();
  void whereClause(ExprPtr& where, std::string& currentOf);

  std::string newVariable();
  void requireDeclared(const Token& variable) const;
  void requireLabels() const;
  StatementNode declareStatement();
  StatementNode declareCursor();
  StatementNode openStatement();
  StatementNode closeStatement();
  StatementNode deallocateStatement();
  StatementNode fetchStatement();
  StatementNode setStatement();
  StatementNode setVariables();
  bool setWords(SetOption& option);
  StatementNode setRole(SetOption option);
  std::string setValue();
  StatementNode beginStatement();
  StatementNode ifStatement();
  StatementNode whileStatement();
  StatementNode breakStatement();
  StatementNode continueStatement();
  StatementNode returnStatement();
  StatementNode gotoStatement();
  StatementNode labelStatement();
  StatementNode printStatement();
  StatementNode raiseErrorStatement();
  StatementNode waitForStatement();
  StatementNode executeStatement();
  StatementNode procedureCall();
  Execute executeCall();
  std::variant<Execute, ExecuteImmediate> executeOrImmediate();
  ExecuteArgument executeArgument();
  bool atArgument() const;
  StatementNode commitStatement();
  StatementNode rollbackStatement();
  StatementNode saveStatement();
  StatementNode transaction(TransactionAction action);
  StatementNode useStatement();
  StatementNode setUserStatement();

  StatementNode encryptionKey();
  bool keyClause(EncryptionKey& key);
  void password();
  StatementNode createLogin();
  bool atUnreservedStatement() const;
  bool atMerge() const;
  std::string utilityVerb();
  StatementNode utilityStatement();

  StatementNode createStatement();
  StatementNode createTable(bool proxy);
  StatementNode createIndex();
  ColumnDefinition columnDefinition();
  bool columnClause(ColumnDefinition& column);
  bool storageClause(ColumnStorage& storage);
  DefaultClause defaultClause();
  Constraint constraint(bool ofColumn);
  bool atConstraint(std::size_t ahead = 0) const;
  KeyConstraint keyConstraint(bool primary, bool ofColumn);
  ForeignKeyConstraint references();
  CheckConstraint check();
  IndexKey indexKey();
  Clustering clustering();
  std::vector<StorageOption> storageOptions();
  StorageOption storageOption();
  bool atNextStorageOption() const;
  std::string segment();
  void tableTail(TableStorage& table);
  Partitioning partitioning();
  std::vector<Partition> unnamedPartitions();
  std::vector<Partition> partitions();
  Partition partition();
  StatementNode alterStatement();
  bool atNewOwner() const;
  StatementNode newOwner(std::string kind, ObjectName name);
  StatementNode modifyOwner();
  void alterAction(AlterTable& table);
  bool atFurtherAction() const;
  bool alterPartition(AlterTable& table);
  void replaceAction(AlterTable& table);
  bool atColumnClause() const;
  void addActions(AlterTable& table);
  void modifyActions(AlterTable& table);
  void dropActions(AlterTable& table);
  SwitchTrigger switchTrigger(bool enable);
  StatementNode dropStatement();

  StatementNode createView(bool orReplace);
  StatementNode createPrecomputed();
  std::string externalName();
  StatementNode createProcedure(bool orReplace);
  StatementNode createFunction(bool orReplace);
  StatementNode createSchema(bool orReplace);
  StatementNode createTrigger(bool orReplace);
  StatementNode createRule(bool orReplace);
  StatementNode createAccessRule(bool orReplace);
  CreateRule rule(bool orReplace);
  StatementNode createDefault(bool orReplace);
  std::vector<Parameter> parameters();
  Parameter parameter();
  StatementList body(SourceRange& range);
  TriggerEvents triggerEvents();

  StatementNode grantStatement();
  StatementNode revokeStatement();
  void privilegesOrRoles(Permission& permission);
  void predicate(Permission& permission);
  Privilege privilege();
  void dbccPlace(Permission& permission);
  StatementNode defaultPermissions();
  void grantees(Permission& permission);
  void grantedBy(Permission& permission);

  struct StatementRule {
    std::string_view word;
    StatementNode (Parser::*parse)();
  };
  static const StatementRule kStatementRules[];
  static const StatementRule* statementRule(std::string_view word);

  static constexpr int kMaxDepth = 250;
  static constexpr int kMaxHeight = 500;

  std::size_t firstStatement_ = 0;  // its position
  int depth_ = 0;
  int height_ = 0;
  std::span<const TextSpan> texts_;
  std::size_t slotsTaken_ = 0;
  std::vector<std::string> hints_;               // of the statement being read
  std::set<std::string, std::less<>> declared_;  // variables and parameters
  bool mayMakeTable_ = false;                    // the select that is read next may have `into`
  std::vector<std::pair<std::string, std::uint32_t>> gotos_;  // with their lines
  std::set<std::string, std::less<>> labels_;
  int loops_ = 0;            // around the statement being read
  bool inBody_ = false;      // within a procedure, function or trigger
  bool wholeBatch_ = false;  // the statement being read is stored with the text of the batch
};

}  // namespace kelvane::tsql
