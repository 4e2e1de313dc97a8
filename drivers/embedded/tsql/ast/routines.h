// Objects with a stored text: views, procedures, functions, triggers, rules and defaults.
//
// The range of the Statement around one is the text to store: that of the whole batch, comments
// included, except for a view among other statements.
#pragma once

#include <string>
#include <vector>

#include "drivers/embedded/tsql/ast/basics.h"
#include "drivers/embedded/tsql/ast/storage.h"

namespace kelvane::tsql {

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
  std::string external;  ///< the library of `as external name`, which has no body
  bool java = false;
};

struct CreateFunction {
  ObjectName name;
  bool orReplace = false;
  std::vector<Parameter> parameters;
  DataType returns;
  SourceRange bodyRange;
  StatementList body;
  std::string external;
};

/// A query whose rows are kept.
struct CreatePrecomputed : TableStorage {
  ObjectName name;
  std::vector<std::string> columns;
  QueryPtr query;
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
  int order = 0;
  SourceRange bodyRange;
  StatementList body;
};

struct CreateRule {
  ObjectName name;
  bool orReplace = false;
  bool isAccess = false;  ///< `create access rule`: which rows may be read
  ExprPtr condition;
};

struct CreateDefault {
  ObjectName name;
  bool orReplace = false;
  ExprPtr value;
};

}  // namespace kelvane::tsql
