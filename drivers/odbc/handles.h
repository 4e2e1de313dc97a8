// ODBC's handles, which free themselves, and what a driver says about them. Private to the driver:
// the only header that shows ODBC's own.
#pragma once

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ado/ado.h"

namespace kelvane::odbc {

static_assert(sizeof(SQLWCHAR) == sizeof(char16_t), "ODBC's wide characters are UTF-16 units");

inline SQLWCHAR* wide(char16_t* text) { return reinterpret_cast<SQLWCHAR*>(text); }
/// For arguments that ODBC only reads.
inline SQLWCHAR* wide(std::u16string_view text) { return wide(const_cast<char16_t*>(text.data())); }

inline constexpr std::int32_t kProviderError = -2147467259;

/// An error that does not come from a driver.
ado::Error ownError(std::u16string_view state, std::u16string_view description);
/// A failure that the driver says nothing about.
ado::Error silentError();

/// What the last call on a handle left, never empty.
std::vector<ado::Error> diagnostics(SQLSMALLINT type, SQLHANDLE handle);

template <SQLSMALLINT type>
class Handle {
 public:
  static constexpr SQLSMALLINT kType = type;

  /// Raises ado::Failure when the parent cannot have another.
  template <SQLSMALLINT parentType>
  explicit Handle(const Handle<parentType>& parent) {
    if (!SQL_SUCCEEDED(SQLAllocHandle(type, parent.get(), &handle_)))
      refuse(diagnostics(parentType, parent.get()));
  }
  /// An environment, which has no parent.
  Handle() {
    if (!SQL_SUCCEEDED(SQLAllocHandle(type, SQL_NULL_HANDLE, &handle_))) refuse({silentError()});
  }
  ~Handle() {
    if constexpr (type == SQL_HANDLE_DBC) SQLDisconnect(handle_);
    SQLFreeHandle(type, handle_);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  SQLHANDLE get() const { return handle_; }

 private:
  [[noreturn]] static void refuse(const std::vector<ado::Error>& errors) {
    throw ado::Failure(errors.front().Number, errors.front().Description, errors.front().Source);
  }

  SQLHANDLE handle_ = SQL_NULL_HANDLE;
};

using Environment = Handle<SQL_HANDLE_ENV>;
using ServerHandle = Handle<SQL_HANDLE_DBC>;
using StatementHandle = Handle<SQL_HANDLE_STMT>;

}  // namespace kelvane::odbc
