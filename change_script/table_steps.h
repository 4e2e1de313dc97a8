// What the files about tables share: the statements that several need, and what one leaves for
// the next.
//
// Lifetime: planner, change and both records outlive it. Threading: one thread.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "change_script/planner.h"
#include "inventory/ddl/generated_names.h"

namespace kelvane::change_script {

/// A table that both sides have.
struct TablePair {
  Planner& planner;
  const Change& change;
  const Table& now;  ///< of the source
  const Table& old;  ///< of the target
};

/// Steps for columns, by their names.
struct ColumnSteps {
  std::map<std::string, std::size_t> touched;    ///< change or drop one, and are done
  std::map<std::string, std::size_t> untouched;  ///< would change or drop one, and are not done
  std::map<std::string, std::size_t> comes;      ///< make one, or make it what it is in the source
  std::set<std::string> kept;                    ///< of another type, for which there is no step
};
ColumnSteps planColumns(const TablePair& pair);
/// Constraints and indexes, and what stands on columns that change.
void planParts(const TablePair& pair, const ColumnSteps& columns);

/// Makes the table again, where that is needed and allowed; otherwise nothing is planned.
bool planRebuild(const TablePair& pair);
/// Whether the columns have the source's order when those that are new come last.
bool keepsOrder(const Table& old, const Table& now);
/// Whether there is a statement for an attribute of a table.
bool isAlterable(const inventory::AttributeChange& one);
/// The table with all that belongs to it; what makes the table itself, which runs only where
/// `whether` holds ("object_id('dbo.a') is null and ") and where it is missing.
std::size_t planNewTable(Planner& planner, const Table& table, const std::string& difference,
                         const std::string& whether = {});

/// An index where it is missing, and what belongs to it.
std::vector<Batch> batchesOf(Planner& planner, const Table& table, const inventory::Index& index);
/// For one part of it.
Table emptyLike(const Table& table);

/// "alter table dbo.t"
Statement alter(const Table& table);

// Statements that find what a table has.
std::string constraintOf(const Table& table, const std::string& name);
std::string indexOf(const Table& table, const std::string& name);
std::string storedName(const inventory::DataType& type);  ///< in systypes
std::string columnOf(const Table& table, const std::string& name);
std::string columnOf(const Table& table, const std::string& name,
                     const inventory::ColumnType& type);

/// Runs the end of `alter` with the name that `name` finds; `whether` of its being there.
Batch withName(const inventory::NameInBatch& name, std::string_view whether,
               const Statement& statement, std::string_view behind);

/// `exists`: what finds a constraint that has a name of its own.
template <class Constraint>
Batch dropped(const Table& table, const Constraint& constraint, const std::string& exists) {
  Statement drop = alter(table);
  drop << " drop constraint ";
  if (constraint.name.generated) {
    // The server makes it of the names of the table and a column, whatever stands in them.
    inventory::Statement name;
    name.name(constraint.name.name);
    const bool isQuoted = name.needsQuotedIdentifier();
    Batch batch = withName(nameInBatch(table, constraint), "not null", drop,
                           isQuoted ? "'\"' + @name + '\"'" : "@name");
    batch.quotedIdentifier = batch.quotedIdentifier || isQuoted;
    return batch;
  }
  drop.name(constraint.name.name);
  return guarded("exists (" + exists + ")", drop);
}
template <class Constraint>
Batch created(const Table& table, const Constraint& constraint, const std::string& exists,
              const Statement& add) {
  if (constraint.name.generated) return withName(nameInBatch(table, constraint), "null", add, {});
  return guarded("not exists (" + exists + ")", add);
}

}  // namespace kelvane::change_script
