// The transaction of a session: how deep it is, its savepoints, how the last one ended.
//
// Refers to the transaction of the store, which must outlive it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "drivers/embedded/engine/store_transaction.h"

namespace kelvane::embedded {

class Transactions {
 public:
  explicit Transactions(StoreTransaction& store) : store_(store) {}
  ~Transactions() { undo(); }
  Transactions(const Transactions&) = delete;
  Transactions& operator=(const Transactions&) = delete;

  /// How many `begin transaction` have had no end. A trigger counts as one.
  int depth() const { return depth_; }
  /// Whether it is open and has changed anything.
  bool hasChanges() const { return isOpen() && written() != writtenBefore_; }
  /// Whether a rollback may take back what is made now.
  bool isOpen() const { return transaction_ != nullptr; }
  bool isNamed(std::string_view name) const { return depth_ > 0 && !name.empty() && name == name_; }
  /// How the last one ended.
  bool wasRolledBack() const { return wasRolledBack_; }

  /// Names count for the outermost one alone.
  void begin(std::string_view name = {});
  /// There must be one.
  void commit();
  /// Nothing outside of a transaction.
  void save(std::string_view name);
  void rollBack();

  /// Where a session stands before a trigger.
  struct Mark {
    std::size_t savepoints = 0;
    int depth = 0;
  };
  Mark mark() const { return {savepoints_.size(), depth_}; }
  /// A trigger runs in a transaction always.
  void enterTrigger(const Mark& before) { depth_ = before.depth + 1; }
  void keepSavepoints(const Mark& before);
  /// Undoes the savepoints since that have not been kept.
  void leaveTrigger(const Mark& before, bool isUndone);

  enum class Found { Yes, No, BeforeMark };
  /// Undoes what came after the savepoint, if there is one of the name. One from before the mark is
  /// left alone.
  Found rollBackTo(std::string_view savepoint, const Mark& mark);

 private:
  void undo();
  /// Grows with each change of rows and of system tables.
  std::pair<std::int64_t, std::uint64_t> written() const;

  StoreTransaction& store_;
  std::unique_ptr<UserTransaction> transaction_;
  std::vector<std::pair<std::string, std::unique_ptr<Savepoint>>> savepoints_;
  std::pair<std::int64_t, std::uint64_t> writtenBefore_;
  std::string name_;
  int depth_ = 0;
  bool wasRolledBack_ = false;
};

}  // namespace kelvane::embedded
