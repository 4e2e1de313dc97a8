// What the reader's procedures share: its settings, the record being filled, the one query
// operation, and the one trap that turns a failure into a status.
//
// Lifetime: part of a cASE_Fetch. Threading: the reader's thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "ado/ado.h"
#include "host/host.h"
#include "model/schema.h"
#include "reader/idb_fetch.h"

namespace kelvane {

// Whether an object that the server lists is to be read.
using ListFilter = std::function<bool(enumEntityType kind, const std::u16string& name,
                                      const std::u16string& fullName)>;

}  // namespace kelvane

namespace kelvane::reader {

// The number of rows or elements read, 0 when there was no result, kFailed after a failure.
using Status = std::int32_t;
inline constexpr Status kFailed = -1;

struct FetchContext {
  std::shared_ptr<cComparisonOptions> compareOptions = std::make_shared<cComparisonOptions>();
  std::shared_ptr<cAppliesTo> appliesTo = std::make_shared<cAppliesTo>();
  ListFilter listFilter;  // none: all are read
  ado::Connection* conn = nullptr;
  Schema schema;
  std::u16string lastError;
  IDBFetchEvents* events = nullptr;
  Host* host = nullptr;
  bool cancelled = false;
  std::int16_t versionCode = 0;
  Boolean dataCaseSensitive;
  Boolean schemaCaseSensitive;

  // The settings; a RuntimeError(notSet) when the host has taken them away.
  const cComparisonOptions& options() const;
  const cAppliesTo& scope() const;

  // Opens `sql` with a client-side cursor. None when cancelled, or when the server refused: then
  // lastError holds the server's text.
  std::unique_ptr<ado::Recordset> GetRecordset(std::u16string_view sql);

  // Puts the failure being handled into lastError, with the name of the procedure that it ended.
  void recordFailure(std::u16string_view procedure);

  // Runs `body`, which answers a value; after a failure records it and answers `onFailure` instead.
  template <class Body, class Result>
  Result trapped(std::u16string_view procedure, Result onFailure, Body&& body) {
    try {
      return std::forward<Body>(body)();
    } catch (...) {
      recordFailure(procedure);
      return onFailure;
    }
  }
  // The same for a procedure that answers a status.
  template <class Body>
  Status trapped(std::u16string_view procedure, Body&& body) {
    return trapped(procedure, kFailed, std::forward<Body>(body));
  }

 private:
  std::u16string describeFailure() const;
};

}  // namespace kelvane::reader
