// The reader's interface: how a host reads the schema of one database over a connection that it has
// opened.
//
// Lifetime: the host owns the reader, its sink and its connection; the sink and the connection
// outlive every call that uses them. Options and scope are shared with the host. Threading:
// everything runs on the caller's thread. While a call runs, the reader yields to the host's
// message loop, and the host may call back from there: Cancel is meant for it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "ado/ado.h"
#include "model/boolean.h"
#include "model/collections.h"
#include "model/schema.h"
#include "settings/applies_to.h"
#include "settings/comparison_options.h"

namespace kelvane {

// Told how a call goes on. An exception thrown from one of these is the sink's failure.
class IDBFetchEvents {
 public:
  virtual ~IDBFetchEvents() = default;
  virtual void StartProcessing(const std::u16string& Status, const Boolean& SupportProgressBar,
                               const enumObjectType& ObjectType = OBJECT_IRRELEVANT) = 0;
  // Progress: percent of the category's objects, 0 to 100.
  virtual void Processing(const std::u16string& Status, const std::int16_t& Progress,
                          const enumObjectType& ObjectType = OBJECT_IRRELEVANT) = 0;
  virtual void EndProcessing(const enumObjectType& ObjectType = OBJECT_IRRELEVANT) = 0;
};

class IDBFetch {
 public:
  virtual ~IDBFetch() = default;

  // What went wrong last. Never cleared: read it after a False result. The setter does nothing.
  virtual std::u16string LastError() const = 0;
  virtual void LastError(std::u16string_view text) = 0;

  virtual std::shared_ptr<cComparisonOptions> CompareOptions() const = 0;
  virtual void CompareOptions(std::shared_ptr<cComparisonOptions> options) = 0;
  virtual std::shared_ptr<cAppliesTo> AppliesTo() const = 0;
  virtual void AppliesTo(std::shared_ptr<cAppliesTo> scope) = 0;
  virtual ado::Connection* conn() const = 0;
  virtual void conn(ado::Connection* connection) = 0;

  // Ends the call under way at its next object; that call still returns True, with what it has
  // read.
  virtual void Cancel() = 0;

  // Whether the server tells upper from lower case; False until the first Fetch.
  virtual Boolean IsDataCaseSensitive() const = 0;
  virtual Boolean IsSchemaCaseSensitive() const = 0;

  // The 1-based index of the object with that FullName (exactly) in what was read last, or 0.
  virtual std::int32_t ObjectExists(EntityIdentifier ObjectType,
                                    const std::u16string& ObjectName) const = 0;

  // Reads the database under CompareOptions and AppliesTo. False when a category failed: LastError
  // says why, and what was read before stays. An exception of the sink from the first and the last
  // event passes through.
  virtual Boolean Fetch(IDBFetchEvents& oEvents) = 0;

  // The source text of a read "storedproc", "view", "function" (by FullName) or "trigger" (by
  // Name), or "".
  virtual std::u16string GetObjectSource(const std::u16string& ObjectName,
                                         const std::u16string& ObjectType) const = 0;

  // Columns, keys, permissions, ... of a read object, found by its FullName or its 1-based index.
  virtual std::shared_ptr<cEntities> GetSubEntityListByName(
      EntityIdentifier ParentObjectType, EntityIdentifier ObjectType,
      const std::u16string& ParentObjectName) const = 0;
  virtual std::shared_ptr<cEntities> GetSubEntityListByIndex(EntityIdentifier ParentObjectType,
                                                             EntityIdentifier ObjectType,
                                                             std::int32_t index) const = 0;
  // The properties of a read object, found by its FullName or its 1-based index.
  virtual std::shared_ptr<cKeyPairs> GetEntityPropertyListByName(
      EntityIdentifier ObjectType, const std::u16string& ObjectName) const = 0;
  virtual std::shared_ptr<cKeyPairs> GetEntityPropertyListByIndex(EntityIdentifier ObjectType,
                                                                  std::int32_t index) const = 0;

  // A copy of what was read.
  virtual Schema Results() const = 0;

  // Reads the names of one category, all objects of it. False when that failed or there is no such
  // category.
  virtual Boolean GetList(enumEntityType Entity, IDBFetchEvents& oEvents) = 0;
};

}  // namespace kelvane
