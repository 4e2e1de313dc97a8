// A system table: records in memory, with the look-ups that definitions need. SQLite sees them as
// rows (`store/virtual_table.h`).
//
// A reference to a record is valid until the next change of its table. Changes are logged, so that
// they are undone with the transaction. Threading: as for the catalog.
#pragma once

#include <algorithm>
#include <array>
#include <deque>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "drivers/embedded/catalog/types.h"
#include "drivers/embedded/store/slot_index.h"
#include "drivers/embedded/store/sqlite.h"
#include "drivers/embedded/tsql/error.h"

namespace kelvane::embedded {

struct NamedColumn {
  std::string name;
  ColumnType type;
};

/// A record of a table that nothing looks into but SQL.
struct PlainRow {
  std::vector<Cell> cells;
};

/// How the value of a column is read from a record and written to it.
template <class Record>
struct Field {
  std::string_view column;
  Cell (*read)(const Record& record, std::size_t number);
  void (*write)(Record& record, std::size_t number, const Cell& value);
  std::size_t number = 0;  ///< of several values that one member holds
};

/// A look-up of the records by one of their members, which is a number or a text.
template <class Record>
struct RecordLookup {
  std::string_view column;
  int expectedRows;  ///< with the same value
  /// Whether records with 0, which most have, are left out.
  bool skipsZero;
  std::int64_t (*number)(const Record& record, std::size_t number) = nullptr;
  std::string_view (*text)(const Record& record, std::size_t number) = nullptr;
  const void* member = nullptr;  ///< tells look-ups apart
  std::size_t position = 0;      ///< of the value, as in Field
};

namespace field {

inline std::int64_t numberOf(const Cell& value) {
  if (const auto* number = std::get_if<std::int64_t>(&value)) return *number;
  if (const auto* number = std::get_if<double>(&value)) return static_cast<std::int64_t>(*number);
  return 0;
}

template <class Value>
Cell toCell(const Value& value) {
  if constexpr (requires { value.has_value(); }) {
    return value ? toCell(*value) : Cell();
  } else if constexpr (std::integral<Value>) {
    return std::int64_t{value};
  } else {
    return value;
  }
}

template <class Value>
void fromCell(Value& to, const Cell& value) {
  if constexpr (requires { to.has_value(); }) {
    if (isNull(value)) {
      to.reset();
    } else {
      fromCell(to.emplace(), value);
    }
  } else if constexpr (std::integral<Value>) {
    to = static_cast<Value>(numberOf(value));
  } else {
    const auto* content = std::get_if<Value>(&value);
    to = content == nullptr ? Value() : *content;
  }
}

template <class Member>
struct RecordOf;
template <class Record, class Value>
struct RecordOf<Value Record::*> {
  using Type = Record;
};
template <auto kMember>
using RecordOfMember = typename RecordOf<decltype(kMember)>::Type;

template <auto kMember>
inline constexpr char kTag = 0;

}  // namespace field

template <auto kMember, class Record = field::RecordOfMember<kMember>>
Field<Record> fieldOf(std::string_view column) {
  return {column, [](const Record& record, std::size_t) { return field::toCell(record.*kMember); },
          [](Record& record, std::size_t, const Cell& value) {
            field::fromCell(record.*kMember, value);
          }};
}

/// `kMember` is an array.
template <auto kMember, class Record = field::RecordOfMember<kMember>>
Field<Record> elementOf(std::string_view column, std::size_t number) {
  return {column,
          [](const Record& record, std::size_t at) { return field::toCell((record.*kMember)[at]); },
          [](Record& record, std::size_t at, const Cell& value) {
            field::fromCell((record.*kMember)[at], value);
          },
          number};
}

template <auto kMember, class Record = field::RecordOfMember<kMember>>
RecordLookup<Record> lookupOf(std::string_view column, int expectedRows, bool skipsZero = false) {
  RecordLookup<Record> lookup{column, expectedRows, skipsZero};
  using Value = std::decay_t<decltype(std::declval<Record>().*kMember)>;
  if constexpr (std::is_same_v<Value, std::string>) {
    lookup.text = [](const Record& record, std::size_t) -> std::string_view {
      return record.*kMember;
    };
  } else {
    lookup.number = [](const Record& record, std::size_t) -> std::int64_t {
      return record.*kMember;
    };
  }
  lookup.member = &field::kTag<kMember>;
  return lookup;
}

/// The order of records with the same key; by default that of their creation.
template <class Record>
bool isBefore(const Record& /*a*/, const Record& /*b*/) {
  return false;
}

/// The rows of a system table, whatever their records are.
class SystemRows : public RowSource, public Undoable {};

template <class Record>
class RecordTable final : public SystemRows {
 public:
  /// `columns` are those that SQLite sees, in their order. Those that no field stands for have a
  /// constant value.
  RecordTable(UndoLog& log, const std::vector<NamedColumn>& columns,
              const std::vector<Field<Record>>& fields, std::vector<RecordLookup<Record>> lookups)
      : log_(&log), lookups_(std::move(lookups)) {
    for (const NamedColumn& column : columns) {
      Column& added = columns_.emplace_back();
      added.name = column.name;
      if (!column.type.nullable) {
        const bool isNumber = !isCharacter(column.type.kind) && !isBinary(column.type.kind);
        added.constant = isNumber ? Cell(std::int64_t{0}) : Cell(std::string(" "));
      }
      const auto field = std::ranges::find(fields, column.name, &Field<Record>::column);
      if (field != fields.end()) added.field = *field;
    }
    indexes_.resize(lookups_.size());
  }
  RecordTable(const RecordTable&) = delete;
  RecordTable& operator=(const RecordTable&) = delete;

  void logTo(UndoLog& log) override { log_ = &log; }

  // look-ups

  /// In the order of isBefore, then of creation. There must be a look-up of the member.
  template <auto kMember, class Key>
  std::span<const Slot> where(const Key& key) const {
    const std::size_t lookup = position(&field::kTag<kMember>);
    if constexpr (std::integral<Key>) {
      return find(lookup, std::int64_t{key});
    } else {
      return find(lookup, withoutBlanks(key));
    }
  }
  /// Calls visit(slot, record) for each record with the value; visit may change and erase it.
  template <auto kMember, class Key, class Visit>
  void each(const Key& key, Visit visit) {
    const auto found = where<kMember>(key);
    const std::vector<Slot> slots(found.begin(), found.end());
    for (const Slot slot : slots) visit(slot, records_[slot]);
  }
  template <auto kMember, class Key>
  void eraseAll(const Key& key) {
    each<kMember>(key, [this](Slot slot, const Record&) { erase(slot); });
  }
  /// The first such record, null if there is none.
  template <auto kMember, class Key>
  const Record* first(const Key& key) const {
    const auto slots = where<kMember>(key);
    return slots.empty() ? nullptr : &records_[slots.front()];
  }
  const Record& operator[](Slot slot) const { return records_[slot]; }

  /// Another number after each change of what look-ups lead to.
  std::uint64_t version() const { return version_; }

  // changes

  Slot insert(Record record) {
    const auto slot = static_cast<Slot>(records_.size());
    records_.push_back(std::move(record));
    isLive_.push_back(true);
    addToLookups(slot);
    log_->note(*this, Change::Inserted, slot);
    return slot;
  }

  /// `edit(record)` changes it.
  template <class Edit>
  void change(Slot slot, Edit edit) {
    Record edited = records_[slot];
    edit(edited);
    const bool isElsewhere = isFoundElsewhere(records_[slot], edited);
    if (isElsewhere) takeFromLookups(slot);
    former_.push_back(std::exchange(records_[slot], std::move(edited)));
    if (isElsewhere) addToLookups(slot);
    log_->note(*this, Change::Changed, slot);
  }

  void erase(Slot slot) override {
    takeFromLookups(slot);
    isLive_[slot] = false;
    ++erased_;
    log_->note(*this, Change::Erased, slot);
  }

  void undo(Change change, Slot slot) override {
    if (change == Change::Erased) {
      isLive_[slot] = true;
      --erased_;
      addToLookups(slot);
      return;
    }
    takeFromLookups(slot);
    if (change == Change::Changed) {
      records_[slot] = std::move(former_.back());
      former_.pop_back();
      addToLookups(slot);
    } else {
      // What was inserted later has been undone.
      records_.pop_back();
      isLive_.pop_back();
    }
  }

  void settle() override {
    constexpr std::size_t kManyErased = 1000;
    former_.clear();
    if (erased_ > kManyErased && erased_ > records_.size() / 2 && !isRead()) compact();
  }

  // what SQLite asks

  Slot slots() const override { return static_cast<Slot>(records_.size()); }
  bool holds(Slot slot) const override { return slot < isLive_.size() && isLive_[slot]; }

  void read(Slot slot, int column, FunctionCall& result) const override {
    result.result(value(slot, column));
  }

  std::optional<std::int64_t> integer(Slot slot, int column) const override {
    const Cell cell = value(slot, column);
    const auto* number = std::get_if<std::int64_t>(&cell);
    return number == nullptr ? std::nullopt : std::optional(*number);
  }

  std::span<const Slot> find(std::size_t lookup, std::int64_t key) const override {
    return indexes_[lookup].find(hashOf(key), [](Slot) { return true; });
  }
  std::span<const Slot> find(std::size_t lookup, std::string_view key) const override {
    return indexes_[lookup].find(hashOf(key), hasText(lookups_[lookup], key));
  }

  Slot write(std::optional<Slot> slot, std::span<const Cell> values) override {
    Record record = slot ? records_[*slot] : Record();
    for (std::size_t i = 0; i < values.size(); ++i) {
      const Column& column = columns_[i];
      // SQLite passes null for columns that an insert does not name.
      const Cell& value = isNull(values[i]) ? column.constant : values[i];
      if (column.field) {
        column.field->write(record, column.field->number, value);
      } else {
        requireConstant(column, value);
      }
    }
    if (!slot) return insert(std::move(record));
    change(*slot, [&](Record& changed) { changed = std::move(record); });
    return *slot;
  }

 private:
  struct Column {
    std::string name;
    std::optional<Field<Record>> field;
    Cell constant;  ///< where nothing was given
  };

  static std::string_view withoutBlanks(std::string_view text) {
    return text.substr(0, text.find_last_not_of(' ') + 1);
  }

  Cell value(Slot slot, int column) const {
    const Column& described = columns_[static_cast<std::size_t>(column)];
    if (!described.field) return described.constant;
    return described.field->read(records_[slot], described.field->number);
  }

  static void requireConstant(const Column& column, const Cell& value) {
    if (value == column.constant || isNull(value)) return;
    throw tsql::ServerError(message::noValuesInColumn, 0, column.name);
  }

  std::size_t position(const void* member) const {
    for (std::size_t i = 0; i < lookups_.size(); ++i) {
      if (lookups_[i].member == member) return i;
    }
    throw std::logic_error("a system table has no such look-up");
  }

  /// Different for different keys.
  static std::uint64_t hashOf(std::int64_t key) {
    constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15;
    constexpr int kHalf = 32;
    const std::uint64_t spread = static_cast<std::uint64_t>(key) * kGoldenRatio;
    return spread ^ (spread >> kHalf);
  }
  static std::uint64_t hashOf(std::string_view key) { return std::hash<std::string_view>{}(key); }

  auto hasText(const RecordLookup<Record>& lookup, std::string_view key) const {
    return [this, &lookup, key](Slot slot) {
      return withoutBlanks(lookup.text(records_[slot], lookup.position)) == key;
    };
  }

  /// Calls visit(index, hash, isKey) for each look-up that has the record.
  template <class Visit>
  void eachLookup(Slot slot, Visit visit) {
    const Record& record = records_[slot];
    for (std::size_t i = 0; i < lookups_.size(); ++i) {
      const RecordLookup<Record>& lookup = lookups_[i];
      if (lookup.text != nullptr) {
        const std::string_view key = withoutBlanks(lookup.text(record, lookup.position));
        visit(indexes_[i], hashOf(key), hasText(lookup, key));
      } else {
        const std::int64_t key = lookup.number(record, lookup.position);
        if (key != 0 || !lookup.skipsZero) {
          visit(indexes_[i], hashOf(key), [](Slot) { return true; });
        }
      }
    }
  }

  bool isFoundElsewhere(const Record& a, const Record& b) const {
    if (isBefore(a, b) || isBefore(b, a)) return true;
    return std::ranges::any_of(lookups_, [&](const RecordLookup<Record>& lookup) {
      if (lookup.text != nullptr) {
        return lookup.text(a, lookup.position) != lookup.text(b, lookup.position);
      }
      return lookup.number(a, lookup.position) != lookup.number(b, lookup.position);
    });
  }

  void addToLookups(Slot slot) {
    ++version_;
    const auto precedes = [&](Slot a, Slot b) {
      if (isBefore(records_[a], records_[b])) return true;
      return a < b && !isBefore(records_[b], records_[a]);
    };
    eachLookup(slot, [&](SlotIndex& index, std::uint64_t hash, const auto& isKey) {
      index.add(hash, slot, isKey, precedes);
    });
  }

  void takeFromLookups(Slot slot) {
    ++version_;
    eachLookup(slot, [&](SlotIndex& index, std::uint64_t hash, const auto& isKey) {
      index.remove(hash, slot, isKey);
    });
  }

  void compact() {
    std::deque<Record> kept;
    for (Slot slot = 0; slot < records_.size(); ++slot) {
      if (isLive_[slot]) kept.push_back(std::move(records_[slot]));
    }
    records_ = std::move(kept);
    isLive_.assign(records_.size(), true);
    erased_ = 0;
    for (SlotIndex& index : indexes_) index.clear();
    for (Slot slot = 0; slot < records_.size(); ++slot) addToLookups(slot);
  }

  UndoLog* log_;
  std::vector<Column> columns_;
  std::deque<Record> records_;
  std::vector<bool> isLive_;
  std::vector<Record> former_;  ///< of the changes that may be undone
  std::size_t erased_ = 0;
  std::uint64_t version_ = 0;
  std::vector<RecordLookup<Record>> lookups_;
  std::vector<SlotIndex> indexes_;  ///< by the positions of the look-ups
};

}  // namespace kelvane::embedded
