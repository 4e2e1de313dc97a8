// Variables, control of flow and messages.
#pragma once

#include <string>
#include <vector>

#include "drivers/embedded/tsql/ast/basics.h"
#include "drivers/embedded/tsql/ast/data_statements.h"

namespace kelvane::tsql {

struct VariableDeclaration {
  std::string name;
  DataType type;
  ExprPtr initial;  ///< `declare @v int = 1`; may be null
};

struct Declare {
  std::vector<VariableDeclaration> variables;
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

}  // namespace kelvane::tsql
