// Queries and the tables that they read.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "drivers/embedded/tsql/ast/basics.h"
#include "drivers/embedded/tsql/ast/expressions.h"
#include "drivers/embedded/tsql/ast/storage.h"

namespace kelvane::tsql {

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

enum class ForClause { None, ReadOnly, Browse, Update, Xml };

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

}  // namespace kelvane::tsql
