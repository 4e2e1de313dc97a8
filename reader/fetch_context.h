// What the reader's procedures share: its settings, the record being filled, the one query
// operation, and the one trap that turns a failure into a status.
//
// Lifetime: part of a cASE_Fetch. Threading: the reader's thread.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ado/ado.h"
#include "host/host.h"
#include "model/schema.h"
#include "reader/idb_fetch.h"

namespace kelvane {

// Whether an object that the server lists is to be read.
using ListFilter = std::function<bool(enumEntityType kind, const std::u16string& name,
                                      const std::u16string& fullName)>;

// How much of one kind has been read.
struct KindExtent {
  bool listed = false;  // whether the server has answered for the names of all objects
  // Whether an object is complete, for each object that was reached, in the order of the schema's
  // array: whether every statement that was to be sent for it was sent and answered, and every
  // answer could be read.
  std::vector<bool> complete;

  // By the 1-based index of the object.
  bool isComplete(std::int32_t index) const {
    const auto at = static_cast<std::size_t>(index) - 1;
    return at < complete.size() && complete[at];
  }
};
// By enumEntityType.
using ReadExtent = std::array<KindExtent, entity_FUNCTION + 1>;

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
  ReadExtent extent;
  // How often the objects of a kind were listed, by enumEntityType.
  std::array<std::uint32_t, entity_FUNCTION + 1> listings{};
  bool allRead = true;  // false once something could not be read; set by who wants to know
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
