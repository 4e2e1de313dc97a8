// The statements that end the difference between two rows: insert, update, delete, each of which
// finds the row as it was compared, or none.
//
// Lifetime: the plan, the database and the table outlive it. Threading: none of its own.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "inventory/records.h"
#include "rows/literal.h"
#include "rows/table_plan.h"
#include "rows/unmatched_rows.h"

namespace kelvane::rows {

/// What a statement is for. In which order they run, the tables decide.
enum class RowStage : std::uint8_t {
  release,  ///< rows that go refer to no other row any more
  remove,
  change,
  add,
  link,  ///< rows get their references to rows that may be new
};
inline constexpr std::size_t kRowStages = 5;

struct RowStatement {
  RowStage stage;
  std::string text;  ///< one line
};

struct RowStatements {
  std::vector<RowStatement> statements;
  /// Why a part of the difference stays, or all of it; a line each.
  std::vector<std::string> obstacles;
};

struct StatementTarget {
  const inventory::Database& database;
  const inventory::Table& table;
  CharacterSet characters = CharacterSet::all;
  TextUnit unit = TextUnit::bytes;
  /// Columns, as the table has them, that refer to rows which may come later or go earlier: rows
  /// are inserted and deleted with null there.
  std::set<std::string> linked = {};
  /// Whether `delete top 1` is known; else `set rowcount 1`.
  bool knowsTop = true;
  std::size_t longestLiteral = kLongestLiteral;
};

class StatementWriter {
 public:
  StatementWriter(const TablePlan& plan, StatementTarget target);

  /// Of a row that only one side has, or of two of one key.
  RowStatements statementsFor(const DifferingRows& rows) const;
  /// An insert without a question, for a table to which nobody else writes; none where a value has
  /// no literal.
  std::optional<std::string> plainInsert(std::string_view row) const;
  /// Why no row can be inserted; empty: they can.
  const std::string& whyNoInserts() const { return whyNoInserts_; }
  /// Whether inserts give values to an identity column.
  bool insertsIdentity() const { return insertsIdentity_; }
  /// Whether a column of the plan has texts, which a server may compare in its own way.
  bool isText(std::size_t column) const;
  /// dbo.customer, with the quotes that it needs.
  const std::string& name() const { return name_; }
  bool needsQuotedIdentifier() const { return needsQuotedIdentifier_; }

 private:
  struct Column {
    std::string quoted;
    LiteralColumn literal;
    bool isWritable = true;  ///< not a computed one
    bool isIdentity = false;
    bool isLinked = false;
    bool isPadded = false;
    std::string_view compareAs = {};  ///< the type in which values are looked for; none: its own
  };
  /// A condition that a row is as it was, or why it cannot be asked.
  struct Condition {
    std::string text;
    std::string obstacle = {};
    bool isExact = true;
  };
  using Cells = std::vector<Cell>;

  Column columnOf(std::size_t at) const;
  void findWhyNoInserts();
  Literal literalAt(std::size_t column, const Cell& cell) const;
  /// For the column to become it.
  Literal newValueAt(std::size_t column, const Cell& cell) const;
  Condition conditionOf(std::size_t column, const Cell& cell) const;
  /// `asked`: columns besides those of the key. With `linksAreNull` linked ones are null by now.
  Condition conditionOf(const Cells& cells, const std::vector<std::size_t>& asked,
                        bool linksAreNull) const;
  std::vector<std::size_t> othersThanKey() const;
  /// id 3, name nut
  std::string shownKey(const Cells& cells) const;
  std::string checked(const std::string& statement, const Cells& cells,
                      std::string_view reason) const;
  std::string limited(std::string_view verb, const std::string& rest) const;

  void insert(const Cells& cells, RowStatements& result) const;
  void update(const Cells& was, const Cells& is, const std::vector<std::size_t>& changed,
              RowStatements& result) const;
  void remove(const Cells& cells, RowStatements& result) const;

  const TablePlan& plan_;
  const StatementTarget target_;
  std::string name_, whyNoInserts_;
  bool needsQuotedIdentifier_ = false, insertsIdentity_ = false;
  std::vector<Column> columns_;  // those of the plan
};

}  // namespace kelvane::rows
