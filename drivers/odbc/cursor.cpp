#include "drivers/odbc/cursor.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <limits>

#include "drivers/odbc/value_text.h"
#include "model/text.h"

namespace kelvane::odbc {
namespace {

// How FreeTDS names the times of day, which have a fraction that ODBC's own type lacks.
constexpr SQLSMALLINT kTimeWithFraction = -154;

struct FormOfType {
  SQLSMALLINT type;
  Form form;
};
// Everything else has a text.
constexpr std::array kForms = {
    FormOfType{SQL_BIT, Form::bit},
    FormOfType{SQL_TINYINT, Form::integer},
    FormOfType{SQL_SMALLINT, Form::integer},
    FormOfType{SQL_INTEGER, Form::integer},
    FormOfType{SQL_BIGINT, Form::integer},
    FormOfType{SQL_REAL, Form::real},
    FormOfType{SQL_FLOAT, Form::floating},
    FormOfType{SQL_DOUBLE, Form::floating},
    FormOfType{SQL_NUMERIC, Form::exact},
    FormOfType{SQL_DECIMAL, Form::exact},
    FormOfType{SQL_DATE, Form::date},
    FormOfType{SQL_TYPE_DATE, Form::date},
    FormOfType{SQL_TIME, Form::time},
    FormOfType{SQL_TYPE_TIME, Form::time},
    FormOfType{kTimeWithFraction, Form::time},
    FormOfType{SQL_TIMESTAMP, Form::moment},
    FormOfType{SQL_TYPE_TIMESTAMP, Form::moment},
    FormOfType{SQL_BINARY, Form::bytes},
    FormOfType{SQL_VARBINARY, Form::bytes},
    FormOfType{SQL_LONGVARBINARY, Form::bytes},
};

// In units of the value that is read.
constexpr std::size_t kFirstPiece = 512;
constexpr std::size_t kLongestPiece = std::size_t{1} << 23;
constexpr std::size_t kPart = std::size_t{1} << 17;  // of a value that is taken by parts

ado::Value valueOf(const std::u16string& text) { return std::u16string_view(text); }
ado::Value valueOf(const std::vector<std::byte>& bytes) { return ado::Bytes(bytes); }
// Numbers that come as text are read as a whole.
ado::Value valueOf(const std::string&) { return ado::Null{}; }
// What a cell keeps from row to row.
constexpr std::size_t kKeptRoom = std::size_t{1} << 16;

template <class Date>
std::int32_t daysOf(const Date& date) {
  using namespace std::chrono;
  const sys_days day = year{date.year} / static_cast<int>(date.month) / static_cast<int>(date.day);
  return static_cast<std::int32_t>((day - sys_days{year{1900} / January / 1}).count());
}

// To the precision of the column: servers that count in ticks have digits behind it.
std::int64_t rounded(std::int64_t nanoseconds, int decimals) {
  if (decimals <= 0) return nanoseconds;
  std::int64_t unit = 1;
  for (int i = decimals; i < 9; ++i) unit *= 10;
  return (nanoseconds + unit / 2) / unit * unit;
}

ado::DateTime momentOf(const SQL_TIMESTAMP_STRUCT& moment, int decimals) {
  const std::int64_t seconds = (moment.hour * 60 + moment.minute) * 60 + moment.second;
  return {daysOf(moment), rounded(seconds * 1'000'000'000 + moment.fraction, decimals),
          ado::DateTime::Parts::both};
}

ado::DateTime dateOf(const SQL_DATE_STRUCT& date) {
  return {daysOf(date), 0, ado::DateTime::Parts::dateOnly};
}

template <class Number, class Make>
ado::Value valueOr(const std::optional<Number>& number, Make&& make) {
  if (!number) return ado::Null{};
  return make(*number);
}

}  // namespace

void Row::clear(std::size_t columns) {
  cells_.resize(columns);
  for (Cell& cell : cells_) {
    if (cell.text.capacity() > kKeptRoom) cell.text = {};
    if (cell.bytes.capacity() > kKeptRoom) cell.bytes = {};
  }
  known_ = 0;
}

Cursor::Cursor(Session& session, std::u16string_view statement)
    : session_(session), statement_(session) {
  session.requireSendable(statement);
  if (const auto limit = session.queryLimit().count(); limit > 0) {
    const auto value = reinterpret_cast<SQLPOINTER>(limit);  // NOLINT: a number in a pointer
    if (!SQL_SUCCEEDED(SQLSetStmtAttrW(statement_.get(), SQL_ATTR_QUERY_TIMEOUT, value, 0)))
      session.fail(u"HYC00", u"The ODBC driver does not support a time limit for statements");
  }
  const SQLRETURN outcome = session.await(SQLExecDirectW, statement_.get(), wide(statement),
                                          static_cast<SQLINTEGER>(statement.size()));
  statement_.answered();
  if (outcome == SQL_NO_DATA) return;  // nothing was changed, or nothing has a result
  check(outcome);
  describeResult();
  if (isOnlyMessages()) nextResult();
}

void Cursor::check(SQLRETURN outcome) {
  if (!SQL_SUCCEEDED(outcome)) session_.fail(statement_);
}

void Cursor::describeResult() {
  columns_.clear();
  SQLSMALLINT count = 0;
  check(SQLNumResultCols(statement_.get(), &count));
  for (SQLSMALLINT i = 1; i <= count; ++i)
    columns_.push_back(describeColumn(static_cast<SQLUSMALLINT>(i)));
}

Column Cursor::describeColumn(SQLUSMALLINT number) {
  Column column;
  SQLSMALLINT length = 0;
  SQLSMALLINT type = SQL_UNKNOWN_TYPE;
  SQLSMALLINT decimals = 0;
  column.name.resize(256);
  for (;;) {
    SQLULEN size = 0;
    SQLSMALLINT nullable = 0;
    const auto room = static_cast<SQLSMALLINT>(column.name.size());
    check(SQLDescribeColW(statement_.get(), number, wide(column.name.data()), room, &length, &type,
                          &size, &decimals, &nullable));
    if (length < room || length == std::numeric_limits<SQLSMALLINT>::max()) break;
    column.name.resize(static_cast<std::size_t>(length) + 1);
  }
  column.name.resize(static_cast<std::size_t>(std::max<SQLSMALLINT>(length, 0)));
  const auto known = std::ranges::find(kForms, type, &FormOfType::type);
  if (known != kForms.end()) column.form = known->form;
  column.decimals = std::clamp<int>(decimals, 0, column.form == Form::exact ? 38 : 9);
  if (type == SQL_BIGINT) {
    SQLLEN isUnsigned = SQL_FALSE;
    check(SQLColAttributeW(statement_.get(), number, SQL_DESC_UNSIGNED, nullptr, 0, nullptr,
                           &isUnsigned));
    if (isUnsigned == SQL_TRUE) column.form = Form::unsignedInteger;
  }
  return column;
}

bool Cursor::fetch() {
  if (columns_.empty()) return false;
  session_.refuseIfCancelled();
  const SQLRETURN outcome = session_.await(SQLFetch, statement_.get());
  if (outcome == SQL_NO_DATA) return false;
  check(outcome);
  return true;
}

bool Cursor::nextResult() {
  do {
    session_.refuseIfCancelled();
    columns_.clear();
    const SQLRETURN outcome = session_.await(SQLMoreResults, statement_.get());
    if (outcome == SQL_NO_DATA) return false;
    check(outcome);
    describeResult();
  } while (isOnlyMessages());
  return true;
}

// Where drivers stop at what the server printed between two results.
bool Cursor::isOnlyMessages() const {
  SQLLEN count = 0;
  return columns_.empty() && SQL_SUCCEEDED(SQLRowCount(statement_.get(), &count)) && count < 0;
}

void Cursor::readThrough(Row& row, std::size_t ordinal) {
  for (; row.known_ <= ordinal; ++row.known_) {
    Row::Cell& cell = row.cells_[row.known_];
    cell.value = readCell(cell, columns_[row.known_], static_cast<SQLUSMALLINT>(row.known_ + 1));
  }
}

bool Cursor::readParts(Row& row, const ado::TakePart& take) {
  const Column& column = columns_[row.known_];
  if (column.form != Form::text && column.form != Form::bytes) return false;
  Row::Cell& cell = row.cells_[row.known_];
  const auto number = static_cast<SQLUSMALLINT>(row.known_ + 1);
  const bool isText = column.form == Form::text;
  const bool isNull = isText ? !readPieces(number, SQL_C_WCHAR, cell.text, &take)
                             : !readPieces(number, SQL_C_BINARY, cell.bytes, &take);
  ++row.known_;
  cell.value = ado::Null{};
  take(isNull ? ado::Null{} : isText ? valueOf(cell.text) : valueOf(cell.bytes));
  return true;
}

ado::Value Cursor::readCell(Row::Cell& cell, const Column& column, SQLUSMALLINT number) {
  switch (column.form) {
    case Form::bit:
      return valueOr(readFixed<unsigned char>(number, SQL_C_BIT),
                     [](unsigned char bit) { return bit != 0; });
    case Form::integer:
      return valueOr(readFixed<std::int64_t>(number, SQL_C_SBIGINT), std::identity());
    case Form::unsignedInteger:
      return valueOr(readFixed<std::uint64_t>(number, SQL_C_UBIGINT), std::identity());
    case Form::real:
      return valueOr(readFixed<float>(number, SQL_C_FLOAT), std::identity());
    case Form::floating:
      return valueOr(readFixed<double>(number, SQL_C_DOUBLE), std::identity());
    case Form::exact:
      return readExact(column, number);
    case Form::date:
      return valueOr(readFixed<SQL_DATE_STRUCT>(number, SQL_C_TYPE_DATE), dateOf);
    case Form::time:
      return readTime(column, number);
    case Form::moment:
      return valueOr(readFixed<SQL_TIMESTAMP_STRUCT>(number, SQL_C_TYPE_TIMESTAMP),
                     [&](const auto& moment) { return momentOf(moment, column.decimals); });
    case Form::bytes:
      if (!readPieces(number, SQL_C_BINARY, cell.bytes)) return ado::Null{};
      return ado::Bytes(cell.bytes);
    case Form::text:
      break;
  }
  if (!readPieces(number, SQL_C_WCHAR, cell.text)) return ado::Null{};
  return std::u16string_view(cell.text);
}

template <class Number>
std::optional<Number> Cursor::readFixed(SQLUSMALLINT number, SQLSMALLINT type) {
  Number value{};
  SQLLEN length = 0;
  check(session_.await(SQLGetData, statement_.get(), number, type, &value, sizeof value, &length));
  if (length == SQL_NULL_DATA) return std::nullopt;
  return value;
}

// Text ends with a zero in each piece, which does not belong to it; bytes have none. False for a
// null. With `take` only what that has not got is left in the value.
template <class Text>
bool Cursor::readPieces(SQLUSMALLINT number, SQLSMALLINT type, Text& value,
                        const ado::TakePart* take) {
  using Unit = typename Text::value_type;
  const std::size_t zeros = type == SQL_C_BINARY ? 0 : 1;
  std::size_t kept = 0;
  std::size_t room = kFirstPiece;
  for (;;) {
    value.resize(kept + room);
    // A piece may be a unit shorter than its room, so as not to part a pair of surrogates: then
    // one of these stands behind its zero. Both still stand where FreeTDS cannot convert the text
    // and would go on for ever to say that there is more.
    value.back() = value[value.size() - 2] = Unit{0x7F};
    SQLLEN length = 0;
    const SQLRETURN outcome =
        session_.await(SQLGetData, statement_.get(), number, type, value.data() + kept,
                       static_cast<SQLLEN>(room * sizeof(Unit)), &length);
    if (outcome == SQL_NO_DATA) {
      value.resize(kept);
      return true;
    }
    check(outcome);
    if (length == SQL_NULL_DATA) return false;
    const bool isTotal = length >= 0;
    const std::size_t total = isTotal ? static_cast<std::size_t>(length) / sizeof(Unit) : 0;
    if (isTotal && total + zeros <= room) {
      value.resize(kept + total);
      return true;
    }
    const bool isShort = zeros == 1 && value.back() != Unit{};
    if (isShort && value[value.size() - 2] != Unit{}) refuseText(columns_[number - 1U]);
    const std::size_t arrived = room - zeros - (isShort ? 1 : 0);
    kept += arrived;
    const std::size_t longest = take == nullptr ? kLongestPiece : kPart;
    if (take != nullptr && kept >= kPart) {
      value.resize(kept);
      (*take)(valueOf(value));
      kept = 0;
    }
    room = std::min(isTotal ? total - arrived + zeros : room * 2, longest);
    room = std::max(room, kFirstPiece);
  }
}

std::optional<std::string> Cursor::readAsText(SQLUSMALLINT number) {
  std::string text;
  if (!readPieces(number, SQL_C_CHAR, text)) return std::nullopt;
  return text;
}

ado::Value Cursor::readExact(const Column& column, SQLUSMALLINT number) {
  const auto text = readAsText(number);
  if (!text) return ado::Null{};
  const auto decimal = decimalOf(*text, column.decimals);
  if (!decimal) refuseValue(column, *text);
  return *decimal;
}

// ODBC's own form of a time of day has whole seconds only.
ado::Value Cursor::readTime(const Column& column, SQLUSMALLINT number) {
  const auto text = readAsText(number);
  if (!text) return ado::Null{};
  const auto time = timeOf(*text);
  if (!time) refuseValue(column, *text);
  return *time;
}

void Cursor::refuseValue(const Column& column, std::string_view text) {
  session_.fail(u"22018", u"The ODBC driver returned '" + toUtf16(text) + u"' for column '" +
                              column.name + u"', which is not a value of its type");
}

ado::RowSet Cursor::readResult() {
  ado::RowSet result;
  for (const Column& column : columns_) result.columns.push_back(column.name);
  Row row;
  while (fetch()) {
    row.clear(columns_.size());
    readThrough(row, columns_.size() - 1);
    auto& values = result.rows.emplace_back();
    values.reserve(columns_.size());
    for (std::size_t i = 0; i < columns_.size(); ++i) values.emplace_back(row[i]);
  }
  return result;
}

void Cursor::refuseText(const Column& column) {
  session_.fail(u"22021", u"The ODBC driver cannot convert text of column '" + column.name +
                              u"': its bytes are not valid in the character set of the connection");
}

Cursor::Rest Cursor::readAll() {
  Rest rest;
  rest.results.push_back(readResult());
  try {
    while (nextResult()) rest.results.push_back(readResult());
  } catch (const ado::Failure&) {
    rest.failure = std::current_exception();
  }
  return rest;
}

}  // namespace kelvane::odbc
