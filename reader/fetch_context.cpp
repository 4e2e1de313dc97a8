#include "reader/fetch_context.h"

#include "model/common.h"

namespace kelvane::reader {
namespace {

constexpr std::u16string_view kSource = u"Kelvane.reader";

// A connection that fails to say which errors are pending has none: no trap may fail itself.
const std::vector<ado::Error>* pendingErrors(const ado::Connection* connection) {
  try {
    return connection ? &connection->Errors() : nullptr;
  } catch (...) {
    return nullptr;
  }
}

}  // namespace

const cComparisonOptions& FetchContext::options() const {
  return required(compareOptions.get(), u"CompareOptions", kSource);
}

const cAppliesTo& FetchContext::scope() const {
  return required(appliesTo.get(), u"AppliesTo", kSource);
}

std::unique_ptr<ado::Recordset> FetchContext::GetRecordset(std::u16string_view sql) {
  if (cancelled) {
    allRead = false;
    return nullptr;
  }
  try {
    return required(conn, u"conn", kSource).Open(sql, ado::kClientCursor);
  } catch (...) {
    allRead = false;
    lastError = describeFailure();
    return nullptr;
  }
}

void FetchContext::recordFailure(std::u16string_view procedure) {
  allRead = false;
  // The class word is fixed text: hosts look for it.
  lastError =
      describeFailure() + u"\r\nError occured in cMSSQLDB_Fetch." + std::u16string(procedure);
}

std::u16string FetchContext::describeFailure() const {
  const RuntimeError current = RuntimeError::describe(std::current_exception());
  return DescribeErrors(pendingErrors(conn), current);
}

}  // namespace kelvane::reader
