// A T-SQL statement in SQLite's words.
//
// Plain values.
#pragma once

#include <cstdint>
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
    Session,   ///< `uid`, `database`, `login`, `host` or `process` of the session
    Text,      ///< a text of the batch: its slot
    Literal,   ///< a text of the statement: with it in the SQL, each text would be prepared anew
    Number,    ///< likewise, of the rows of an insert
    Real,      ///< likewise, with an exponent
    Bound,     ///< a value of the row that is being written: its position from 0
    Written,   ///< whether the change that fired the trigger wrote the column of this name
  };
  Source source;
  std::string name;
  std::size_t position = 0;
  bool operator==(const Parameter&) const = default;
};

/// None for what differs from one run to the next.
std::optional<Cell> constantValue(const Parameter& parameter);

/// A comparison with a variable is written differently while the variable is null: `= @v` then
/// finds the nulls. A plan serves as long as its assumptions hold.
struct NullAssumption {
  std::string variable;
  bool isNull;
};

/// A temporary table that the plan reads or writes, as it was defined then.
struct TemporaryUse {
  std::string name;
  std::uint64_t definition;
};

/// The triggers that a change of rows fires, in their order.
struct FiredTrigger {
  std::vector<int> ids;
  int table = 0;
  std::string sqliteTable;
  std::vector<std::string> written;  ///< columns that the statement gives values to
};

struct Plan {
  std::string sql;
  std::vector<Parameter> parameters;
  std::vector<ResultColumn> columns;
  std::vector<NullAssumption> assumptions;
  std::vector<TemporaryUse> temporaries;
  /// Of an insert: the table that has no rows yet, else 0; and whether rows get an identity.
  int rowlessTable = 0;
  bool givesIdentity = false;
  /// Rows that are there already are not inserted again.
  bool leavesOutDuplicates = false;
  /// Of an update: its table in SQLite, and the database there that it is in.
  std::string updatedTable = {}, updatedStore = {};
  std::optional<FiredTrigger> trigger = {};
  /// Whether a text of the batch stands in the SQL itself.
  bool holdsTexts = false;
  /// Queries to run when rows have changed; they end in an error when the rows break a rule.
  std::vector<std::string> tests = {};
};

}  // namespace kelvane::embedded
