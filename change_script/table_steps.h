// What the files about tables share: the statements that several need, and what one leaves for
// the next.
//
// Lifetime: planner, change and both records outlive it. Threading: one thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
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

/// What is dropped to be made again comes back.
enum class Return : std::uint8_t { comesBack, goes };
inline Return returnOf(const std::vector<Danger>& dangers) {
  return dangers.empty() ? Return::comesBack : Return::goes;
}

/// Runs `statement` where `condition` holds, behind what finds the name; `behind`: the end of it.
Batch withName(const inventory::NameInBatch& name, const std::string& condition,
               const Statement& statement, std::string_view behind);
/// How many there are that say the same: "(select count(*) from sysconstraints ...)".
std::string countOf(const inventory::NameInBatch& name);
/// How many of the table's constraints without names of their own say the same.
template <class Constraint>
std::size_t countAlike(const Table* table, const Constraint& constraint) {
  if (table == nullptr) return 0;
  const auto& all = inventory::allOf(*table, constraint);
  return static_cast<std::size_t>(std::ranges::count_if(all, [&](const Constraint& other) {
    return other.name.generated && inventory::areAlike(other, constraint);
  }));
}

/// A constraint without a name, as the table has it on either side.
template <class Constraint>
class Nameless {
 public:
  Nameless(const Planner& planner, const Table& table, const Constraint& constraint)
      : source_(planner.tableOfSource(table.name)),
        target_(planner.tableOfTarget(table.name)),
        constraint_(constraint),
        name_(nameInBatch(table, constraint, &table == source_ ? target_ : source_)) {}

  Batch dropped(const Statement& drop, Return comes) const {
    // Of several that say the same, those that the source has stay.
    const std::size_t stay = comes == Return::goes ? countAlike(source_, constraint_) : 0;
    // The server makes it of the names of the table and a column, whatever stands in them.
    Statement name;
    name.name(constraint_.name.name);
    const bool isQuoted = name.needsQuotedIdentifier();
    Batch batch = withName(
        name_,
        stay == 0 ? name_.argument + " is not null" : countOf(name_) + " > " + std::to_string(stay),
        drop, isQuoted ? "'\"' + @name + '\"'" : name_.argument);
    batch.quotedIdentifier = batch.quotedIdentifier || isQuoted;
    return batch;
  }
  Batch created(const Statement& add) const {
    const std::size_t count =
        std::max(countAlike(source_, constraint_), countAlike(target_, constraint_));
    return withName(
        name_,
        count < 2 ? name_.argument + " is null" : countOf(name_) + " < " + std::to_string(count),
        add, {});
  }

 private:
  const Table *source_, *target_;
  const Constraint& constraint_;
  inventory::NameInBatch name_;
};

/// `exists`: what finds a constraint that has a name of its own.
template <class Constraint>
Batch dropped(const Planner& planner, const Table& table, const Constraint& constraint,
              const std::string& exists, Return comes) {
  Statement drop = alter(table);
  drop << " drop constraint ";
  if (constraint.name.generated) return Nameless(planner, table, constraint).dropped(drop, comes);
  drop.name(constraint.name.name);
  return guarded("exists (" + exists + ")", drop);
}
template <class Constraint>
Batch created(const Planner& planner, const Table& table, const Constraint& constraint,
              const std::string& exists, const Statement& add) {
  if (constraint.name.generated) return Nameless(planner, table, constraint).created(add);
  return guarded("not exists (" + exists + ")", add);
}

}  // namespace kelvane::change_script
