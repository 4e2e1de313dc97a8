// Tables of SQL whose rows SQLite does not hold: it sees rows of C++ through a RowSource.
//
// Threading: as for the database that they belong to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/store/cell.h"
#include "drivers/embedded/store/undo_log.h"

namespace kelvane::embedded {

class FunctionCall;

/// A column whose values lead to their rows without a search.
struct Lookup {
  int column = 0;
  bool isText = false;
  /// How many rows a value leads to, for SQLite's choice between lookups.
  int expectedRows = 1;
  /// Whether 0, which most rows have, leads to none of them.
  bool skipsZero = false;
};

class RowSource {
 public:
  virtual ~RowSource() = default;

  /// One more than the highest slot.
  virtual Slot slots() const = 0;
  virtual bool holds(Slot slot) const = 0;
  virtual void read(Slot slot, int column, FunctionCall& result) const = 0;
  /// None for null. For columns of integers.
  virtual std::optional<std::int64_t> integer(Slot slot, int column) const = 0;

  /// By position in the lookups of the table. Text comes without the blanks at its end.
  virtual std::span<const Slot> find(std::size_t lookup, std::int64_t key) const = 0;
  virtual std::span<const Slot> find(std::size_t lookup, std::string_view key) const = 0;

  /// Adds a row, or replaces one. What it throws ends the statement.
  virtual Slot write(std::optional<Slot> slot, std::span<const Cell> values) = 0;
  virtual void erase(Slot slot) = 0;

  /// Slots are not given to other rows while there are readers.
  void beginReading() { ++readers_; }
  void endReading() { --readers_; }

 protected:
  bool isRead() const { return readers_ > 0; }

 private:
  int readers_ = 0;
};

struct VirtualTable {
  std::string name;
  /// As in a definition of SQLite: `name TEXT COLLATE RTRIM NOT NULL, id INTEGER NOT NULL`.
  std::string columns;
  std::vector<bool> isInteger;  ///< by column
  std::vector<Lookup> lookups;
  int expectedRows = 0;
  /// Whose rows a statement sees that begins to read or writes now.
  std::function<RowSource&()> source;
};

}  // namespace kelvane::embedded
