#include "tests/com/odbc_connection.h"

#include <array>
#include <cstddef>
#include <deque>
#include <sql.h>
#include <sqlext.h>
#include <vector>

#include "ado/client_recordset.h"

namespace kelvane::testing {
namespace {

SQLWCHAR* odbcText(std::u16string& text) { return reinterpret_cast<SQLWCHAR*>(text.data()); }
std::u16string ownText(const SQLWCHAR* text) {
  return std::u16string(reinterpret_cast<const char16_t*>(text));
}

ado::StoredValue integer(SQLHSTMT statement, SQLUSMALLINT column) {
  SQLBIGINT number = 0;
  SQLLEN length = 0;
  SQLGetData(statement, column, SQL_C_SBIGINT, &number, sizeof number, &length);
  if (length == SQL_NULL_DATA) return {};
  return ado::StoredValue(ado::Value(static_cast<std::int64_t>(number)));
}

ado::StoredValue text(SQLHSTMT statement, SQLUSMALLINT column) {
  std::u16string whole;
  std::array<SQLWCHAR, 2048> part{};
  SQLLEN length = 0;
  for (;;) {
    const SQLRETURN got =
        SQLGetData(statement, column, SQL_C_WCHAR, part.data(), sizeof part, &length);
    if (got == SQL_NO_DATA || !SQL_SUCCEEDED(got)) break;
    if (length == SQL_NULL_DATA) return {};
    whole += ownText(part.data());
    if (got == SQL_SUCCESS) break;
  }
  return ado::StoredValue(std::move(whole));
}

ado::StoredValue bytes(SQLHSTMT statement, SQLUSMALLINT column) {
  std::vector<std::byte> whole;
  std::array<std::byte, 4096> part{};
  SQLLEN length = 0;
  for (;;) {
    const SQLRETURN got =
        SQLGetData(statement, column, SQL_C_BINARY, part.data(), sizeof part, &length);
    if (got == SQL_NO_DATA || !SQL_SUCCEEDED(got)) break;
    if (length == SQL_NULL_DATA) return {};
    const bool isLast = got == SQL_SUCCESS;
    whole.insert(whole.end(), part.begin(), isLast ? part.begin() + length : part.end());
    if (isLast) break;
  }
  return ado::StoredValue(ado::Value(ado::Bytes(whole)));
}

using Reader = ado::StoredValue (*)(SQLHSTMT statement, SQLUSMALLINT column);

Reader readerOf(SQLSMALLINT type) {
  switch (type) {
    case SQL_INTEGER:
    case SQL_SMALLINT:
    case SQL_TINYINT:
    case SQL_BIGINT:
    case SQL_BIT:
      return integer;
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY:
      return bytes;
    default:
      return text;
  }
}

ado::RowSet readResult(SQLHSTMT statement) {
  ado::RowSet result;
  SQLSMALLINT columns = 0;
  SQLNumResultCols(statement, &columns);
  std::vector<Reader> readers;
  for (SQLUSMALLINT at = 1; at <= columns; ++at) {
    std::array<SQLWCHAR, 256> name{};
    SQLSMALLINT length = 0, type = 0, scale = 0, nullable = 0;
    SQLULEN size = 0;
    SQLDescribeColW(statement, at, name.data(), static_cast<SQLSMALLINT>(name.size()), &length,
                    &type, &size, &scale, &nullable);
    result.columns.push_back(ownText(name.data()));
    readers.push_back(readerOf(type));
  }
  while (columns > 0 && SQL_SUCCEEDED(SQLFetch(statement))) {
    auto& row = result.rows.emplace_back();
    for (SQLUSMALLINT at = 1; at <= columns; ++at) row.push_back(readers[at - 1U](statement, at));
  }
  return result;
}

}  // namespace

OdbcConnection::OdbcConnection(std::u16string connectionString) {
  SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment_);
  SQLSetEnvAttr(environment_, SQL_ATTR_ODBC_VERSION,
                reinterpret_cast<SQLPOINTER>(static_cast<std::uintptr_t>(SQL_OV_ODBC3)), 0);
  SQLAllocHandle(SQL_HANDLE_DBC, environment_, &connection_);
  SQLSMALLINT length = 0;
  if (!SQL_SUCCEEDED(SQLDriverConnectW(connection_, nullptr, odbcText(connectionString), SQL_NTS,
                                       nullptr, 0, &length, SQL_DRIVER_NOPROMPT)))
    throw failure(SQL_HANDLE_DBC, connection_);
}

OdbcConnection::~OdbcConnection() {
  SQLDisconnect(connection_);
  SQLFreeHandle(SQL_HANDLE_DBC, connection_);
  SQLFreeHandle(SQL_HANDLE_ENV, environment_);
}

std::unique_ptr<ado::Recordset> OdbcConnection::Open(std::u16string_view source,
                                                     const ado::OpenMode&) {
  errors_.clear();
  std::u16string statementText(source);
  SQLHSTMT statement = nullptr;
  SQLAllocHandle(SQL_HANDLE_STMT, connection_, &statement);
  const std::unique_ptr<void, void (*)(void*)> freed(
      statement, [](void* handle) { SQLFreeHandle(SQL_HANDLE_STMT, handle); });
  SQLRETURN done = SQLExecDirectW(statement, odbcText(statementText), SQL_NTS);
  std::deque<ado::RowSet> results;
  std::exception_ptr behind;
  while (done != SQL_NO_DATA) {
    if (!SQL_SUCCEEDED(done)) {
      if (results.empty()) throw failure(SQL_HANDLE_STMT, statement);
      behind = std::make_exception_ptr(failure(SQL_HANDLE_STMT, statement));
      break;
    }
    results.push_back(readResult(statement));
    done = SQLMoreResults(statement);
  }
  return std::make_unique<ado::ClientRecordset>(std::move(results), std::move(behind));
}

ado::Failure OdbcConnection::failure(short kind, void* handle) {
  for (SQLSMALLINT number = 1;; ++number) {
    std::array<SQLWCHAR, 6> state{};
    std::array<SQLWCHAR, 1024> message{};
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    if (!SQL_SUCCEEDED(SQLGetDiagRecW(kind, handle, number, state.data(), &native, message.data(),
                                      static_cast<SQLSMALLINT>(message.size()), &length)))
      break;
    errors_.push_back({native, ownText(message.data()), native, u"ODBC", ownText(state.data())});
  }
  if (errors_.empty()) return {-1, u"ODBC failed without a word", u"ODBC"};
  return {errors_.front().Number, errors_.front().Description, errors_.front().Source};
}

}  // namespace kelvane::testing
