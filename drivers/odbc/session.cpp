#include "drivers/odbc/session.h"

#include <cstdint>
#include <iterator>
#include <limits>

#include "model/text.h"

namespace kelvane::odbc {
namespace {

// Attributes that are numbers travel in the pointer.
SQLPOINTER attribute(std::uintptr_t value) {
  return reinterpret_cast<SQLPOINTER>(value);  // NOLINT
}

const Environment& asVersion3(const Environment& environment) {
  SQLSetEnvAttr(environment.get(), SQL_ATTR_ODBC_VERSION, attribute(SQL_OV_ODBC3), 0);
  return environment;
}

ado::Failure connectFailure(const std::vector<ado::Error>& errors) {
  std::u16string text;
  for (const ado::Error& error : errors) {
    text += (text.empty() ? u"" : u"; ") + error.Description + u" (" + error.SQLState;
    if (error.NativeError != 0) text += u", " + decimalText(error.NativeError);
    text += u", " + error.Source + u")";
  }
  return {kProviderError, text, errors.front().Source};
}

}  // namespace

Session::Session(std::u16string_view connectionString, const ConnectOptions& options)
    : server_(asVersion3(environment_)), queryLimit_(options.queryLimit) {
  if (options.loginLimit.count() > 0) {
    SQLSetConnectAttrW(server_.get(), SQL_ATTR_LOGIN_TIMEOUT,
                       attribute(static_cast<std::uintptr_t>(options.loginLimit.count())), 0);
  }
  if (connectionString.size() > std::numeric_limits<SQLSMALLINT>::max())
    throw ado::Failure(kProviderError, u"The connection string is too long", u"ODBC");
  SQLSMALLINT completedLength = 0;
  const SQLRETURN outcome = SQLDriverConnectW(server_.get(), nullptr, wide(connectionString),
                                              static_cast<SQLSMALLINT>(connectionString.size()),
                                              nullptr, 0, &completedLength, SQL_DRIVER_NOPROMPT);
  if (!SQL_SUCCEEDED(outcome))
    throw connectFailure(diagnostics(ServerHandle::kType, server_.get()));
}

void Session::fail(const StatementHandle& statement) {
  std::vector<ado::Error> newest = diagnostics(StatementHandle::kType, statement.get());
  const ado::Failure failure(newest.front().Number, newest.front().Description,
                             newest.front().Source);
  errors.insert(errors.end(), std::make_move_iterator(newest.begin()),
                std::make_move_iterator(newest.end()));
  throw failure;
}

Session::UnderWay::UnderWay(Session& session, const StatementHandle& statement)
    : session_(session) {
  const std::lock_guard lock(session_.underWayMutex_);
  session_.underWay_ = statement.get();
}

Session::UnderWay::~UnderWay() {
  const std::lock_guard lock(session_.underWayMutex_);
  session_.underWay_ = SQL_NULL_HANDLE;
}

void Session::cancel() noexcept {
  const std::lock_guard lock(underWayMutex_);
  if (underWay_ != SQL_NULL_HANDLE) SQLCancel(underWay_);
}

}  // namespace kelvane::odbc
