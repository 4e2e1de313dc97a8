// Where rows go that are written with the same words before their values: a kept statement, and how
// literals are bound to it.
//
// Refers to the store, which must outlive it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/types.h"
#include "drivers/embedded/engine/plan.h"
#include "drivers/embedded/engine/row_literal.h"
#include "drivers/embedded/store/sqlite.h"

namespace kelvane::embedded {

class RowTarget {
 public:
  /// `head`: the words before the first value. `types`: of the values of a row.
  RowTarget(std::string head, Database& store, const Plan& plan,
            const std::vector<ColumnType>& types);

  const std::string& head() const { return head_; }
  /// Whether its rows need nothing but this: no trigger, no value of the session in a default.
  bool isPlain() const { return isPlain_; }
  bool givesIdentity() const { return givesIdentity_; }
  std::size_t columnCount() const { return columns_.size(); }
  bool accepts(std::size_t column, RowLiteral::Kind kind) const {
    return ((columns_[column].accepted >> static_cast<unsigned>(kind)) & 1U) != 0;
  }

  /// Writes one row, of as many literals as there are columns; `line` is for errors.
  void write(std::string_view batch, const RowLiteral* row, std::uint32_t line);

 private:
  enum class Way { Integer, Bit, Exact, Approximate, Text, Moment, Other };
  struct Column {
    ColumnType type;
    Way way = Way::Other;
    std::int64_t low = 0;   ///< of integers
    std::int64_t high = 0;  ///< of integers; of exact numbers, the first that does not fit
    std::size_t scale = 0;
    unsigned accepted = 0;  ///< a bit for each RowLiteral::Kind
    int parameter = 0;      ///< 0 if its value is not used
  };

  static Way wayOf(const ColumnType& type);
  static Column columnOf(const ColumnType& type);
  static bool accepts(const Column& column, RowLiteral::Kind kind);
  void bindConstants(const Plan& plan);
  void bind(const Column& column, std::string_view batch, const RowLiteral& value,
            std::uint32_t line);
  bool bindNumber(const Column& column, std::string_view digits, bool isNegative);
  bool bindText(const Column& column, std::string_view text);
  void bindConverted(const Column& column, std::string_view batch, const RowLiteral& value,
                     std::uint32_t line);

  std::string head_;
  bool isPlain_;
  bool givesIdentity_;
  std::vector<Column> columns_;
  Statement statement_;
};

}  // namespace kelvane::embedded
