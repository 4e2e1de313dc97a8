// What the rows of a table must obey when they are written: checks, rules and foreign keys, as
// conditions of the statement that writes them and as tests of what it leaves behind.
//
// Serves for one statement; refers to its translator and to the table, which must outlive it.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "drivers/embedded/engine/row_rules.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/engine/write_target.h"
#include "drivers/embedded/messages/message.h"

namespace kelvane::embedded {

/// Which columns of which rows a statement writes.
struct RowChange {
  const std::set<int>* columns = nullptr;  ///< of an update, by colid
  bool insertsOneRow = false;
};

class RowConditions {
 public:
  RowConditions(Translator& translator, const WriteTarget& target);

  const RowRules& rules() const { return *rules_; }
  /// The row that is being written: `assigned` says by colid where the new values are; the others
  /// stand under the alias.
  Scope newRow(const std::string& alias, const std::map<int, std::string>& assigned);
  /// What must be true of each row.
  std::vector<std::string> conditions(const Scope& row, const RowChange& change);
  /// Adds to Plan::tests what must be true of the rows that refer to the changed ones; without
  /// `changed`, rows go.
  void testDependents(const std::set<int>* changed, Plan& plan);
  /// The same for rows that refer to others of their table.
  void testOwnReferences(const std::set<int>* changed, Plan& plan);
  /// The same for all rows of the table and all that it references.
  void testAll(Plan& plan);

 private:
  std::string broken(const ForeignKeyRule& key, message::Message<3> violation) const;
  std::string sameKey(const ForeignKeyRule& key, const std::string& referenced,
                      const std::string& referencing);
  std::string referenceHolds(const ForeignKeyRule& key, const Scope& row);
  std::string checkText(const CheckRule& check, const Scope& row);
  void testOrphans(const ForeignKeyRule& key, message::Message<3> violation, Plan& plan);

  Translator& translator_;
  const WriteTarget& target_;
  std::shared_ptr<const RowRules> rules_;
};

}  // namespace kelvane::embedded
