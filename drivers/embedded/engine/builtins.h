// The built-in functions of T-SQL: what they take, what they give, how SQLite says them.
//
// A constant table.
#pragma once

#include <string>
#include <string_view>

#include "drivers/embedded/catalog/types.h"

namespace kelvane::embedded {

enum class ResultRule {
  Int,
  Float,
  Moment,
  Name,  ///< varchar(30)
  Text255,
  Wide,        ///< varchar(16384): as long as it gets
  First,       ///< the type of the first argument
  FirstText,   ///< a varying text (or binary) as long as the first argument
  PartOfText,  ///< likewise, but no longer than the last argument where that is a number
  Binary16,
};

struct FunctionRule {
  std::string_view name;
  /// One letter an argument: `c` text, `i` integer, `n` number, `d` date, `*` anything. Small
  /// letters convert where the server does so by itself.
  std::string_view arguments;
  ResultRule result;
  /// `$1`...`$9` are the arguments; `$uid` and `$database` come from the session.
  std::string_view sql;
  bool nullable = true;
};

/// The rule of a function (lower-case name) with so many arguments; null when there is none.
const FunctionRule* findFunction(std::string_view name, std::size_t argumentCount);
/// count, sum, avg, min, max, in any letter case.
bool isAggregateName(std::string_view name);
/// Whether there is such a function with any number of arguments.
bool isFunction(std::string_view name);
/// Whether two calls with the same arguments may give different values (lower-case name).
bool isVolatileFunction(std::string_view name);

}  // namespace kelvane::embedded
