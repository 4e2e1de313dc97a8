// Calls of procedures and of texts made at run time.
#pragma once

#include <string>
#include <vector>

#include "drivers/embedded/tsql/ast/basics.h"

namespace kelvane::tsql {

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

}  // namespace kelvane::tsql
