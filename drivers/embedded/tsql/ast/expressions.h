// Expressions.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "drivers/embedded/tsql/ast/basics.h"
#include "drivers/embedded/tsql/overloaded.h"

namespace kelvane::tsql {

enum class LiteralKind { Integer, Decimal, Float, Money, String, Binary, Null };

/// `text` is the number as written (money without its `$`), the decoded string, or the hex digits
/// after `0x`. It is empty for null. `slot` is the place of a string among BatchShape::texts, -1
/// for any other literal.
struct Literal {
  LiteralKind kind = LiteralKind::Null;
  std::string text;
  int slot = -1;
  bool isUnicode = false;  ///< `U&'...'`
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

}  // namespace kelvane::tsql
