// Translates T-SQL queries, conditions and data changes into SQLite's SQL.
//
// A Translator serves for one statement and refers to its context, which must outlive it. Refusals
// are ServerErrors: unknown names, impossible conversions, wrong calls.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/engine/plan.h"
#include "drivers/embedded/engine/scope.h"
#include "drivers/embedded/engine/variables.h"
#include "drivers/embedded/tsql/ast.h"

namespace kelvane::embedded {

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
  bool identityInsert = false;
  /// Tables that the batch will have created by the time it gets to the statement.
  const std::set<std::string, std::less<>>* createdLater = nullptr;
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
  bool isNull = false;  ///< the literal null, which has no type of its own
};

/// The table that an insert, update or delete changes.
struct WriteTarget {
  std::string name;
  int id = 0;  ///< 0 for a temporary table
  std::string sqliteTable;
  std::vector<ColumnInfo> columns;
  std::vector<std::string> defaults = {};  ///< of a temporary table's columns

  bool isTemporary() const { return id == 0; }
};

struct FunctionRule;  // builtins.h

class Translator {
 public:
  explicit Translator(const TranslationContext& context) : context_(context) {}

  Plan select(const tsql::Query& query);
  /// One row with the values, none of which may name a column.
  Plan values(const std::vector<const tsql::Expr*>& expressions);
  /// One row with 1 or 0.
  Plan test(const tsql::Expr& condition);

  Plan insert(const tsql::Insert& statement, const WriteTarget& target);
  /// Inserts one row whose values are bound, of the given types.
  Plan insertBound(const tsql::Insert& statement, const WriteTarget& target,
                   const std::vector<ColumnType>& types);
  Plan update(const tsql::Update& statement);
  Plan remove(const tsql::Delete& statement);

  /// The type of an expression over the columns of a table.
  ColumnType typeOf(const tsql::Expr& expression, const tsql::ObjectName& table);

  /// A table of the user or a temporary one. Throws 208, and 259 for system tables.
  WriteTarget writeTarget(const tsql::ObjectName& name);

 private:
  void requireCreated(const tsql::ObjectName& name) const;
  // Where a condition stands: a positive one only decides about rows being there, so that false
  // and unknown are the same.
  enum class Polarity { Positive, Any };

  struct QueryText {
    std::string sql;
    std::vector<ResultColumn> columns;
    std::vector<bool> nulls;  // which columns are nothing but the literal null
  };
  struct SelectText {
    std::vector<SqlValue> items;
    bool distinct = false;
    std::string tail;  // from the word FROM on
    std::string rowOrder;
    std::uint64_t limit = 0;
  };
  struct FromText {
    std::string sql;
    std::vector<std::string> conditions;
  };
  enum class QueryUse { Result, Values, Existence };

  Plan finish(std::string sql, std::vector<ResultColumn> columns = {});
  std::string parameter(Parameter::Source source, const std::string& name);
  std::string newAlias() { return "s" + std::to_string(++aliases_); }

  // translate_query.cpp
  QueryText query(const tsql::Query& query, const Scope* outer, QueryUse use);
  SelectText selectText(const tsql::Select& select, const tsql::Query& whole, Scope& scope);
  std::vector<SqlValue> selectItems(const tsql::Select& select, const Scope& scope);
  static std::string orderedBy(const SelectText& first, std::size_t ordinal,
                               const tsql::Query& query);
  std::string orderText(const tsql::Query& query, const SelectText& first, const Scope& scope);
  void uniteTypes(std::vector<SelectText>& terms, std::uint32_t line);

  // translate_from.cpp
  FromText fromText(const std::vector<tsql::TableRefPtr>& from, const tsql::Expr* where,
                    Scope& scope);
  void addSources(const tsql::TableRef& table, Scope& scope);
  Source sourceOf(const tsql::NamedTable& table);
  Source sourceOf(const tsql::DerivedTable& table, const Scope* outer);
  std::shared_ptr<const SourceColumns> systemColumns(int tableId);
  void computeColumns(const std::vector<ColumnInfo>& columns, Source& source);
  Source viewSource(const ObjectInfo& view, Source source);
  std::string renderTable(const tsql::TableRef& table, const Scope& scope, std::size_t& next);
  FromText outerJoins(const std::vector<tsql::TableRefPtr>& from,
                      const std::vector<const tsql::Expr*>& terms, const Scope& scope);

  // translate_expression.cpp
  SqlValue value(const tsql::Expr& expr, const Scope* scope);
  SqlValue literal(const tsql::Literal& literal);
  SqlValue variable(const tsql::Variable& variable, std::uint32_t line);
  SqlValue global(const tsql::GlobalVariable& variable, std::uint32_t line);
  SqlValue unary(const tsql::Unary& unary, const tsql::Expr& expr, const Scope* scope);
  SqlValue binary(const tsql::Binary& binary, const tsql::Expr& expr, const Scope* scope);
  SqlValue bitwise(const char* op, const SqlValue& left, const SqlValue& right, std::uint32_t line);
  SqlValue caseValue(const tsql::Case& expr, const tsql::Expr& whole, const Scope* scope);
  SqlValue scalarSubquery(const tsql::Query& query, const Scope* scope);
  SqlValue convertValue(const tsql::Convert& convert, const tsql::Expr& expr, const Scope* scope);
  std::string exactly(char op, const SqlValue& a, const SqlValue& b, const ColumnType& type) const;
  SqlValue concatenation(const SqlValue& left, const SqlValue& right);
  std::string converted(const SqlValue& value, const ColumnType& to, int style = 0);
  std::string assigned(const SqlValue& value, const ColumnType& to, std::uint32_t line);

  // translate_condition.cpp
  std::string condition(const tsql::Expr& expr, const Scope* scope, Polarity polarity);
  std::string comparison(const tsql::Binary& binary, std::uint32_t line, const Scope* scope,
                         Polarity polarity);
  std::string compared(tsql::BinaryOp op, const SqlValue& left, const SqlValue& right,
                       std::uint32_t line);
  std::string membership(const tsql::InList& in, std::uint32_t line, const Scope* scope,
                         Polarity polarity);
  std::string membership(const tsql::InSubquery& in, std::uint32_t line, const Scope* scope,
                         Polarity polarity);
  std::string quantified(const tsql::Quantified& q, std::uint32_t line, const Scope* scope);
  std::string like(const tsql::Like& like, const Scope* scope);
  std::optional<bool> knownNull(const tsql::Expr& expr);
  std::optional<std::string> keyLookup(const tsql::Expr& expr, const Scope* scope,
                                       const std::string& nameTest);

  // translate_call.cpp
  SqlValue call(const tsql::Call& call, const tsql::Expr& expr, const Scope* scope);
  SqlValue aggregate(const std::string& name, const tsql::Call& call, const tsql::Expr& expr,
                     const Scope* scope);
  SqlValue datePartCall(const std::string& name, const tsql::Call& call, const tsql::Expr& expr,
                        const Scope* scope);
  SqlValue isNullCall(const std::vector<SqlValue>& arguments, std::uint32_t line);
  SqlValue coalesceCall(const std::vector<SqlValue>& arguments, std::uint32_t line);
  SqlValue templateCall(const FunctionRule& rule, const std::vector<SqlValue>& arguments,
                        std::uint32_t line);

  // translate_write.cpp
  std::vector<const ColumnInfo*> listedColumns(const tsql::Insert& statement,
                                               const WriteTarget& target, std::size_t valueCount);
  std::string triggerOf(const WriteTarget& target, const std::string& slot);
  Plan finishChange(const WriteTarget& target, const std::string& slot, std::string sql);
  Plan finishInsert(const WriteTarget& target, const std::string& columns,
                    const std::string& query);
  Plan insertRows(const tsql::Insert& statement, const WriteTarget& target,
                  const std::vector<SqlValue>& values, const std::string& from);
  std::string filled(const SqlValue& value, const ColumnInfo& column, const WriteTarget& target,
                     std::uint32_t line);
  std::string omitted(const ColumnInfo& column, const WriteTarget& target, std::uint32_t line);
  struct JoinedTarget {
    Scope scope;
    std::size_t source = 0;
    std::string from;  // the from list with the where clause
  };
  JoinedTarget joinedTarget(const tsql::ObjectName& name, const WriteTarget& target,
                            const std::vector<tsql::TableRefPtr>& from, const tsql::Expr* where);

  const TranslationContext& context_;
  std::vector<Parameter> parameters_;
  std::vector<NullAssumption> assumptions_;
  std::vector<std::string> assignedVariables_;
  int aliases_ = 0;
  bool bindsNumbers_ = false;  // while the values of an insert are translated
  int viewDepth_ = 0;
  int viewCount_ = 0;
};

/// `'it''s'`
std::string quotedText(std::string_view text);
/// `"name"`
std::string quotedName(std::string_view name);
/// Values that SQL collates without trailing blanks where they are texts.
std::string collated(const SqlValue& value);

}  // namespace kelvane::embedded
