// Changes of what is kept in memory outside of SQLite, in order, so that they can be undone with
// the transaction that made them.
//
// Threading: as for the database that it belongs to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kelvane::embedded {

/// The number of a row within its table. A row keeps it until it is erased and the transaction has
/// ended.
using Slot = std::uint32_t;

/// A table whose changes are logged.
class Undoable {
 public:
  enum class Change : std::uint8_t { Inserted, Changed, Erased };

  virtual ~Undoable() = default;
  /// Called in the reverse order of the changes.
  virtual void undo(Change change, Slot slot) = 0;
  /// What was logged cannot be undone any more. Called once for each of its changes, or more often.
  virtual void settle() = 0;
  /// Where the changes from now on are logged.
  virtual void logTo(class UndoLog& log) = 0;
};

class UndoLog {
 public:
  using Mark = std::size_t;

  Mark mark() const { return entries_.size(); }
  void note(Undoable& table, Undoable::Change change, Slot slot) {
    entries_.push_back({&table, slot, change});
    ++changes_;
  }
  void undoTo(Mark mark) {
    while (entries_.size() > mark) {
      const Entry last = entries_.back();
      entries_.pop_back();
      last.table->undo(last.change, last.slot);
      ++changes_;
    }
  }
  void settle() {
    Undoable* settled = nullptr;
    for (const Entry& entry : entries_) {
      if (entry.table != settled) entry.table->settle();
      settled = entry.table;
    }
    entries_.clear();
  }
  /// How many changes there have been, those undone and their undoing included.
  std::uint64_t changes() const { return changes_; }

 private:
  struct Entry {
    Undoable* table;
    Slot slot;
    Undoable::Change change;
  };

  std::vector<Entry> entries_;
  std::uint64_t changes_ = 0;
};

}  // namespace kelvane::embedded
