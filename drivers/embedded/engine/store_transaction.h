// The transaction of the store that the statements of a batch share, or several batches of nothing
// but rows.
//
// Refers to the store, which must outlive it.
#pragma once

#include <cstddef>
#include <optional>

#include "drivers/embedded/store/sqlite.h"

namespace kelvane::embedded {

class StoreTransaction {
 public:
  explicit StoreTransaction(Database& store) : store_(store) {}

  /// Makes the statements of a batch one transaction of the store, where it has none already.
  void beginBatch();
  /// Ends that transaction, except for one that a `begin transaction` has left open.
  void endBatch();
  /// The same for batches of nothing but rows, which go on with the transaction of the one before:
  /// any other batch ends it first. Nothing of them is ever undone by the store alone.
  void beginRows();
  void rowsWritten(std::size_t count);
  void endRows();

  Database& store() { return store_; }

 private:
  friend class UserTransaction;

  Database& store_;
  bool ofBatch_ = false;
  /// Rows of the transaction that batches of rows have left open; none without one.
  std::optional<std::size_t> openRows_;
  /// Those that a `begin transaction` of any session has left open.
  int userTransactions_ = 0;
};

/// While it lives, what a batch does is one transaction of the store.
class JoinedStatements {
 public:
  explicit JoinedStatements(StoreTransaction& transaction) : transaction_(transaction) {
    transaction_.beginBatch();
  }
  ~JoinedStatements() { transaction_.endBatch(); }
  JoinedStatements(const JoinedStatements&) = delete;
  JoinedStatements& operator=(const JoinedStatements&) = delete;

 private:
  StoreTransaction& transaction_;
};

/// What lies between `begin transaction` and its end; undone unless kept.
class UserTransaction {
 public:
  explicit UserTransaction(StoreTransaction& transaction)
      : transaction_(transaction), savepoint_(transaction.store_) {
    ++transaction_.userTransactions_;
  }
  ~UserTransaction() { --transaction_.userTransactions_; }
  UserTransaction(const UserTransaction&) = delete;
  UserTransaction& operator=(const UserTransaction&) = delete;
  void keep() { savepoint_.keep(); }

 private:
  StoreTransaction& transaction_;
  Savepoint savepoint_;
};

}  // namespace kelvane::embedded
