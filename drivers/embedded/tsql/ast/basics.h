// What all nodes of a syntax tree are made of; see ast.h for the tree.
//
// An ExprPtr, QueryPtr or StatementPtr can be declared with this header alone. Code that makes or
// frees one includes ast/queries.h, since an expression may hold a query, or ast.h for statements.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
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

enum class SortOrder { Ascending, Descending };

}  // namespace kelvane::tsql
