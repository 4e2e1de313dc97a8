// A T-SQL statement in SQLite's words.
//
// Plain values.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "drivers/embedded/catalog/result.h"

namespace kelvane::embedded {

/// What is bound to ?1, ?2, ... when a plan runs.
struct Parameter {
  enum class Source {
    Variable,  ///< `@v`
    Global,    ///< `@@rowcount`
    Session,   ///< `uid` or `database` of the session
    Literal,   ///< a text of the statement: with it in the SQL, each text would be prepared anew
    Number,    ///< likewise, of the rows of an insert
    Bound,     ///< a value of the row that is being written: its position from 0
  };
  Source source;
  std::string name;
  bool operator==(const Parameter&) const = default;
};

/// A comparison with a variable is written differently while the variable is null: `= @v` then
/// finds the nulls. A plan serves as long as its assumptions hold.
struct NullAssumption {
  std::string variable;
  bool isNull;
};

struct Plan {
  std::string sql;
  std::vector<Parameter> parameters;
  std::vector<ResultColumn> columns;
  std::vector<NullAssumption> assumptions;
  /// Of an insert: the table that has no rows yet, else 0; and whether rows get an identity.
  int rowlessTable = 0;
  bool givesIdentity = false;
  /// Rows that are there already are not inserted again.
  bool leavesOutDuplicates = false;
  /// The trigger that the server would run when the change touches a row; empty without one.
  std::string trigger = {};
  /// Queries to run when rows have changed; they end in an error when the rows break a rule.
  std::vector<std::string> tests = {};
};

}  // namespace kelvane::embedded
