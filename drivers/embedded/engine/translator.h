// Translates T-SQL queries, conditions and expressions into SQLite's SQL.
//
// A Translator serves for one statement and refers to its context, which must outlive it. Refusals
// are ServerErrors: unknown names, impossible conversions, wrong calls. Statements that change rows
// stand in write_translator.h.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/kept_by_table.h"
#include "drivers/embedded/engine/plan.h"
#include "drivers/embedded/engine/row_rules.h"
#include "drivers/embedded/engine/scope.h"
#include "drivers/embedded/engine/variables.h"
#include "drivers/embedded/engine/view_target.h"
#include "drivers/embedded/tsql/ast/data_statements.h"

namespace kelvane::embedded {

class TemporaryTables;
struct TemporaryTable;

/// By the table's id.
using SystemColumns = std::map<int, std::shared_ptr<const SourceColumns>>;

struct TranslationContext {
  Catalog& catalog;
  const Caller& caller;
  const TemporaryTables& temporaries;
  const Variables& variables;
  /// Before the batch runs every variable counts as set.
  bool beforeRun = false;
  /// `set rowcount`; 0 for no limit.
  std::uint64_t rowLimit = 0;
  bool writesIdentity = false;
  /// `set ansinull on`: a comparison with null is never true.
  bool ansiNull = false;
  /// `set string_rtruncation on`: a text that a column would cut is refused.
  bool stringRtruncation = false;
  bool numericTruncation = true;
  /// Tables that the batch will have created by the time it gets to the statement.
  const std::set<std::string, std::less<>>* createdLater = nullptr;
  /// What the string literals with a slot contain.
  std::span<const std::string> texts = {};
  /// What rows must obey; without it nothing is asked of them.
  KeptByTable<RowRules>* rowRules = nullptr;
  /// Without it columns are read anew each time, which definitions under way need.
  KeptByTable<std::vector<ColumnInfo>>* tableColumns = nullptr;
  std::uint64_t namesVersion = 0;
  /// Where the columns of system tables are kept from one statement to the next.
  SystemColumns* systemColumns = nullptr;
};

/// Thrown when a statement needs a table of `createdLater`.
struct NotYetCreated {};

/// A value in SQL with the type that the server would give it.
struct SqlValue {
  std::string sql;
  ColumnType type;
  std::string name = {};  ///< of the column that it is
  bool isColumn = false;
  bool isLiteral = false;
  bool isNull = false;      ///< the literal null, which has no type of its own
  std::string joined = {};  ///< of a concatenation: what joins its parts, while `sql` is still that
};

struct FunctionRule;  // builtins.h

class Translator {
 public:
  explicit Translator(const TranslationContext& context)
      : context_(context), caller_(context.caller) {}

  Plan select(const tsql::Query& query);
  /// The columns that the new table gets have the identity property where it is passed on.
  Plan selectInto(const tsql::Query& query);
  /// One row with the values, none of which may name a column.
  Plan values(const std::vector<const tsql::Expr*>& expressions);
  /// One row with 1 or 0.
  Plan test(const tsql::Expr& condition);

  /// The type of an expression over the columns of a table.
  ColumnType typeOf(const tsql::Expr& expression, const tsql::ObjectName& table);
  ColumnType typeOf(const tsql::Expr& expression, const std::vector<ColumnInfo>& columns);

  // For the statements around queries and expressions.

  // Where a condition stands. A positive one only decides about rows being there, so that false and
  // unknown are the same; a conjunct is besides one of those that all rows of a query must meet.
  enum class Polarity { Conjunct, Positive, Any };
  enum class QueryUse { Result, Values, Existence };
  struct QueryText {
    std::string sql;
    std::vector<ResultColumn> columns;
    std::vector<bool> nulls;  // which columns are nothing but the literal null
  };

  const TranslationContext& context() const { return context_; }
  const Caller& caller() const { return caller_; }
  /// Throws NotYetCreated for a table of `createdLater`.
  void requireCreated(const tsql::ObjectName& name) const;
  /// Null when there is none of that name.
  const TemporaryTable* temporary(const std::string& name);
  std::vector<ColumnInfo> columns(int tableId) const;
  SqlValue value(const tsql::Expr& expr, const Scope* scope);
  /// The values of an insert: their numbers are bound, since each row has others.
  std::vector<SqlValue> boundValues(const std::vector<tsql::ExprPtr>& expressions);
  /// The value as a column of the type stores it.
  std::string assigned(const SqlValue& value, const ColumnType& to, std::uint32_t line);
  std::string condition(const tsql::Expr& expr, const Scope* scope, Polarity polarity);
  /// Of a rule, whose variable stands for the value.
  std::string ruleCondition(const tsql::Expr& rule, SqlValue ruled);
  std::string compared(tsql::BinaryOp op, const SqlValue& left, const SqlValue& right,
                       std::uint32_t line);
  QueryText query(const tsql::Query& query, const Scope* outer, QueryUse use);
  Source sourceOf(const tsql::NamedTable& table);
  /// What the view shows of a row of its table.
  ViewedRow viewed(const ViewTarget& view, Source row);
  /// The sources of a from list, before any of it is translated.
  Scope sourcesOf(const std::vector<tsql::TableRefPtr>& from);
  void addSources(const tsql::TableRef& table, Scope& scope);
  /// Whether parentheses stand around the join of which a table is part.
  enum class JoinPlace { Plain, Nested };
  std::string renderTable(const tsql::TableRef& table, const Scope& scope, std::size_t& next,
                          JoinPlace place = JoinPlace::Plain);
  /// Expressions in place of the columns that are computed.
  void computeColumns(const std::vector<ColumnInfo>& columns, Source& source);
  std::string parameter(Parameter::Source source, const std::string& name,
                        std::size_t position = 0);
  /// From here on the variable has the value that the row before left in it.
  void assignsByRow(const std::string& variable) { assignedVariables_.push_back(variable); }
  std::string newAlias() { return "s" + std::to_string(++aliases_); }
  /// The lesser of `top n` and `set rowcount`; none if there is neither.
  std::optional<std::uint64_t> rowLimit(std::optional<std::uint64_t> top) const;
  /// The statement is complete; what it depends on goes into the plan.
  Plan finish(std::string sql, std::vector<ResultColumn> columns = {});

 private:
  struct SelectText {
    std::vector<SqlValue> items;
    bool distinct = false;
    bool hasGroups = false;
    std::string tail;                         // from the word FROM on
    std::unique_ptr<Grouping> grouping = {};  // null without groups
    std::string rowsFrom = {};
    std::string having = {};  // where rows are joined to their groups
    std::string rowOrder;
    std::optional<std::uint64_t> limit = {};
  };
  struct FromText {
    std::string sql;
    std::vector<std::string> conditions;
  };

  // translate_query.cpp
  SelectText selectText(const tsql::Select& select, const tsql::Query& whole, Scope& scope,
                        QueryUse use);
  void groupedText(const tsql::Select& select, Scope& scope, QueryUse use, SelectText& text);
  std::vector<SqlValue> selectItems(const tsql::Select& select, const Scope& scope);
  static void makeOneGroup(SelectText& text);
  static std::string orderedBy(const SelectText& first, std::size_t ordinal,
                               const tsql::Query& query);
  std::string orderText(const tsql::Query& query, const SelectText& first, const Scope& scope);
  void uniteTypes(std::vector<SelectText>& terms, std::uint32_t line);

  // translate_groups.cpp
  bool isKeyExpression(const tsql::Expr& expr, const Scope* scope);
  std::string keyText(const tsql::Expr& expr, const Scope* scope);
  void noteColumn(const Scope* home, const SourceColumn& column, const std::string& sql) const;
  void groupKeys(const tsql::Select& select, Scope& scope, SelectText& text);
  void joinGroups(const tsql::Select& select, Scope& scope, SelectText& text);
  static void refuseColumn(SelectText& text);
  std::string having(const tsql::Expr& condition, Scope& scope);
  static std::string joinedTail(const SelectText& text);

  // translate_from.cpp
  FromText fromText(const std::vector<tsql::TableRefPtr>& from, const tsql::Expr* where,
                    Scope& scope);
  Source sourceOf(const tsql::DerivedTable& table, const Scope* outer);
  std::shared_ptr<const SourceColumns> systemColumns(int tableId);
  Source viewSource(const ObjectInfo& view, Source source);
  FromText outerJoins(const std::vector<tsql::TableRefPtr>& from,
                      const std::vector<const tsql::Expr*>& terms, Scope& scope);

  // translate_expression.cpp
  SqlValue literal(const tsql::Literal& literal, std::uint32_t line);
  std::string textLiteral(const tsql::Literal& literal, const std::string& text);
  SqlValue variable(const tsql::Variable& variable, std::uint32_t line);
  SqlValue global(const tsql::GlobalVariable& variable, std::uint32_t line);
  SqlValue unary(const tsql::Unary& unary, const tsql::Expr& expr, const Scope* scope);
  SqlValue binary(const tsql::Binary& binary, const tsql::Expr& expr, const Scope* scope);
  SqlValue bitwise(const char* op, const SqlValue& left, const SqlValue& right, std::uint32_t line);
  SqlValue caseValue(const tsql::Case& expr, const tsql::Expr& whole, const Scope* scope);
  SqlValue scalarSubquery(const tsql::Query& query, const Scope* scope);
  SqlValue convertValue(const tsql::Convert& convert, const tsql::Expr& expr, const Scope* scope);
  /// Refuses a value that is outside of a type's range when it is computed.
  static std::string within(const std::string& sql, TypeKind kind);
  static std::string exactly(char op, const SqlValue& a, const SqlValue& b, const ColumnType& type);
  SqlValue concatenation(const SqlValue& left, const SqlValue& right);
  std::string converted(const SqlValue& value, const ColumnType& to,
                        ConversionForm form = ConversionForm::ImplicitCut, int style = 0);

  // translate_condition.cpp
  std::string comparison(const tsql::Binary& binary, std::uint32_t line, const Scope* scope,
                         Polarity polarity);
  std::pair<std::string, std::string> comparableBytes(const SqlValue& left, const SqlValue& right);
  std::string membership(const tsql::InList& in, std::uint32_t line, const Scope* scope,
                         Polarity polarity);
  std::string membership(const tsql::InSubquery& in, std::uint32_t line, const Scope* scope,
                         Polarity polarity);
  std::string quantified(const tsql::Quantified& q, std::uint32_t line, const Scope* scope,
                         Polarity polarity);
  std::string callCondition(const tsql::Call& call, const Scope* scope, std::uint32_t line);
  std::string like(const tsql::Like& like, const Scope* scope);
  std::optional<bool> knownNull(const tsql::Expr& expr);
  std::optional<std::string> keyLookup(const tsql::Expr& expr, const Scope* scope,
                                       const std::string& nameTest, Polarity polarity);

  // translate_call.cpp
  SqlValue call(const tsql::Call& call, const tsql::Expr& expr, const Scope* scope);
  SqlValue aggregate(const FunctionRule& rule, const tsql::Call& call, const tsql::Expr& expr,
                     const Scope* scope);
  SqlValue aggregateOf(const Scope* rows, const FunctionRule& rule, const tsql::Call& call,
                       const tsql::Expr& expr, const Scope* scope);
  const Scope* requireAggregation(const tsql::Expr& argument, const Scope* scope,
                                  std::uint32_t line) const;
  SqlValue datePartCall(const std::string& name, const tsql::Call& call, const tsql::Expr& expr,
                        const Scope* scope);
  SqlValue newIdentity(const tsql::Call& call, std::uint32_t line);
  std::optional<SqlValue> schemaFunction(const tsql::Call& call, std::uint32_t line,
                                         const Scope* scope);
  SqlValue isNullCall(const std::vector<SqlValue>& arguments, std::uint32_t line);
  SqlValue coalesceCall(const std::vector<SqlValue>& arguments, std::uint32_t line);
  std::string argumentText(char kind, const SqlValue& argument, std::uint32_t line);
  SqlValue templateCall(const FunctionRule& rule, const std::vector<SqlValue>& arguments,
                        const std::string& option, std::uint32_t line);
  SqlValue dataLength(const SqlValue& argument);
  SqlValue hashCall(const std::string& name, const tsql::Call& call, const Scope* scope,
                    std::uint32_t line);
  SqlValue tableSize(const FunctionRule& rule, const tsql::Call& call, const Scope* scope);
  SqlValue choice(const std::string& name, const std::vector<SqlValue>& arguments,
                  std::uint32_t line);

  const TranslationContext& context_;
  Caller caller_;  ///< within a view, in the view's database
  std::vector<Parameter> parameters_;
  std::vector<NullAssumption> assumptions_;
  std::vector<TemporaryUse> temporaries_;
  bool holdsTexts_ = false;
  bool writesTexts_ = false;  // while keys are compared: texts are written, not bound
  bool isWithinKey_ = false;  // while an expression is translated that is a key of the groups
  std::vector<std::string> assignedVariables_;
  std::string
      joinedTables_;  // by the conjuncts of the query at hand; each row meets one row of them
  int aliases_ = 0;
  bool bindsNumbers_ = false;  // while the values of an insert are translated
  int viewDepth_ = 0;
  const Scope* aggregated_ = nullptr;  // while the argument of an aggregate is translated
  bool makesTable_ = false;            // while the query of a select into is translated
  std::optional<SqlValue> ruled_;      // while a rule is translated: what its variable stands for
  int viewCount_ = 0;
};

/// 174
tsql::ServerError wrongCount(const std::string& name, std::uint32_t line);
/// Of an integer, a decimal or money, as it was written without its sign.
ColumnType numberType(tsql::LiteralKind kind, std::string_view digits);
/// `'it''s'`
std::string quotedText(std::string_view text);
/// `"name"`
std::string quotedName(std::string_view name);
std::string joined(const std::vector<std::string>& parts, const char* separator);
/// The same for a chain of `AND` or `OR`, of which SQLite takes no more than so many in a row.
std::string chained(std::span<const std::string> parts, const char* separator);
/// With the blanks of a column of fixed width.
std::string shownText(const SqlValue& value);
/// Values that SQL collates without trailing blanks where they are texts.
std::string collated(const SqlValue& value);

}  // namespace kelvane::embedded
