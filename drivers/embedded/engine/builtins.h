// The built-in functions of T-SQL: what they take, what they give, since when there are, what
// their values depend on, and how SQLite says them.
//
// A constant table.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "drivers/embedded/catalog/types.h"
#include "drivers/embedded/options.h"

namespace kelvane::embedded {

struct ResultRule {
  enum class Form {
    Given,       ///< `kind` and `length`
    First,       ///< the type of the first argument
    Whole,       ///< likewise, without digits behind the point
    Rounded,     ///< likewise, with room for a digit more before the point
    Widest,      ///< likewise, with as many digits as there are
    FirstText,   ///< a varying text (or binary) as long as the first argument
    PartOfText,  ///< likewise, but no longer than the last argument where that is a number
  };
  Form form = Form::Given;
  TypeKind kind = TypeKind::Int;
  int length = 0;
};

/// How a call is translated.
enum class FunctionForm {
  Template,     ///< by `sql`
  Aggregate,    ///< `sql` is the name of SQLite's aggregate where it has its own
  DatePart,     ///< the first argument is the name of a part
  Choice,       ///< isnull, coalesce, nullif
  Hash,         ///< of any number of values as the server has them in memory
  TableSize,    ///< of the table that the row of sysindexes belongs to
  Condition,    ///< stands where a condition does
  UnknownHere,  ///< its value is a fact of a running server
};

enum FunctionFlag : unsigned {
  kCatalog = 1,   ///< depends on the catalog
  kSession = 2,   ///< depends on the session: its user, its options, its state
  kServer = 4,    ///< depends on the server
  kVaries = 8,    ///< two calls with the same arguments may give different values
  kNotNull = 16,  ///< is never null
  kSince15 = 32,
  kSince16 = 64,
};

struct FunctionRule {
  std::string_view name;
  /// One letter an argument: `c` text, `t` text with the blanks of a column of fixed width, `i`
  /// integer, `n` number, `d` date, `v` anything, texts as `t`; `o` object by name or
  /// id, `w` word that is no value, `*` anything; converted where the server does so by itself.
  /// Those behind a `?` may be left out, and a `.` stands for any number more.
  std::string_view arguments;
  ResultRule result;
  /// `$1`...`$9` are the arguments, NULL where left out, `$rest` those of the `.`. Of argument 1,
  /// `$exact` is 1 for a number that is, `$scale` the digits behind its point, `$type` its type in
  /// four numbers. `$using` is the word behind `using`. `$uid`, `$database`, `$login`,
  /// `$host` and `$process` come from the session.
  std::string_view sql;
  unsigned flags = 0;
  FunctionForm form = FunctionForm::Template;

  bool has(FunctionFlag flag) const { return (flags & flag) != 0; }
  /// The same value whenever and wherever it is called with the same arguments.
  bool isSteady() const { return (flags & (kCatalog | kSession | kServer | kVaries)) == 0; }
  bool takes(std::size_t argumentCount) const;
};

/// The rule of a function, in any letter case, with so many arguments; null when the release has
/// none.
const FunctionRule* findFunction(std::string_view name, std::size_t argumentCount,
                                 const CatalogOptions& options);
/// Whether the release has such a function with any number of arguments.
bool isFunction(std::string_view name, const CatalogOptions& options);
/// Whether the argument, the first being 0, is a word that is no value, as the part of dateadd is.
bool takesWord(std::string_view name, std::size_t argument);
/// count, sum, avg, ... in any letter case, whatever the release.
bool isAggregateName(std::string_view name);
/// Whether a function has the same value whenever it is called with the same arguments; true for
/// those that are not built in.
bool isSteadyFunction(std::string_view name);

}  // namespace kelvane::embedded
