// The results of one statement as they come from the server. Private to the driver.
//
// Lifetime: refers to its session, which has one cursor at a time. Threading: as the connection.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ado/client_recordset.h"
#include "drivers/odbc/session.h"

namespace kelvane::odbc {

/// How the values of a column are asked for.
enum class Form : std::uint8_t {
  bit,
  integer,
  unsignedInteger,
  real,
  floating,
  exact,
  date,
  time,
  moment,
  text,
  bytes
};

struct Column {
  std::u16string name;
  Form form = Form::text;
  int decimals = 0;  // of an exact number or of the seconds
};

/// The values of one row, as far as they were read. A value may look into the row; it ends when the
/// row is cleared or destroyed.
class Row {
 public:
  /// Room is kept, but not that of long values.
  void clear(std::size_t columns);

  std::size_t known() const { return known_; }
  const ado::Value& operator[](std::size_t ordinal) const { return cells_[ordinal].value; }

 private:
  friend class Cursor;
  struct Cell {
    ado::Value value;
    std::u16string text;
    std::vector<std::byte> bytes;
  };
  std::vector<Cell> cells_;
  std::size_t known_ = 0;
};

/// Failures of the server are raised as ado::Failure, after they were made errors of the session.
class Cursor {
 public:
  /// Runs a statement and stands on its first result, which is one without columns where the
  /// statement gives none.
  Cursor(Session& session, std::u16string_view statement);

  /// Of the current result.
  const std::vector<Column>& columns() const { return columns_; }
  /// Goes to the current result's next row; false when there is none.
  bool fetch();
  /// Reads the columns of the current row that are not known yet, up to one: drivers give them in
  /// order.
  void readThrough(Row& row, std::size_t ordinal);
  /// Of the first column that is not known yet, the parts of a text or of bytes; the row has null
  /// for it afterwards. False for other columns, which stay unknown.
  bool readParts(Row& row, const ado::TakePart& take);
  bool nextResult();

  /// The rest of the current result and all results behind it.
  struct Rest {
    std::deque<ado::RowSet> results;
    /// What the server raised behind the last of them or among the rows of the next one.
    std::exception_ptr failure;
  };
  /// Raises what breaks off the rows of the current result.
  Rest readAll();

 private:
  void check(SQLRETURN outcome);
  bool isOnlyMessages() const;
  void describeResult();
  ado::RowSet readResult();
  Column describeColumn(SQLUSMALLINT number);
  template <class Number>
  std::optional<Number> readFixed(SQLUSMALLINT number, SQLSMALLINT type);
  template <class Text>
  bool readPieces(SQLUSMALLINT number, SQLSMALLINT type, Text& value,
                  const ado::TakePart* take = nullptr);
  ado::Value readCell(Row::Cell& cell, const Column& column, SQLUSMALLINT number);
  std::optional<std::string> readAsText(SQLUSMALLINT number);
  ado::Value readExact(const Column& column, SQLUSMALLINT number);
  ado::Value readTime(const Column& column, SQLUSMALLINT number);
  [[noreturn]] void refuseText(const Column& column);
  [[noreturn]] void refuseValue(const Column& column, std::string_view text);

  Session& session_;
  Session::Statement statement_;
  std::vector<Column> columns_;
};

}  // namespace kelvane::odbc
