// What every reader of a database has alike: settings, the record that it fills, the course of a
// call, and the answers about what was read.
//
// Lifetime: owned by the host; owns the record it fills and hands out copies of it. Options and
// scope are made with it and shared with the host. Threading: see IDBFetch.
#pragma once

#include "reader/fetch_context.h"
#include "reader/idb_fetch.h"

namespace kelvane {

class SchemaFetch : public IDBFetch {
 public:
  std::u16string LastError() const override { return context_.lastError; }
  void LastError(std::u16string_view) override {}
  std::shared_ptr<cComparisonOptions> CompareOptions() const override;
  void CompareOptions(std::shared_ptr<cComparisonOptions> options) override;
  std::shared_ptr<cAppliesTo> AppliesTo() const override { return context_.appliesTo; }
  void AppliesTo(std::shared_ptr<cAppliesTo> scope) override;
  ado::Connection* conn() const override { return context_.conn; }
  void conn(ado::Connection* connection) override { context_.conn = connection; }
  void Cancel() override { context_.cancelled = true; }
  Boolean IsDataCaseSensitive() const override { return context_.dataCaseSensitive; }
  Boolean IsSchemaCaseSensitive() const override { return context_.schemaCaseSensitive; }
  std::int32_t ObjectExists(EntityIdentifier ObjectType,
                            const std::u16string& ObjectName) const override;
  Boolean Fetch(IDBFetchEvents& oEvents) override;
  std::u16string GetObjectSource(const std::u16string& ObjectName,
                                 const std::u16string& ObjectType) const override;
  std::shared_ptr<cEntities> GetSubEntityListByName(
      EntityIdentifier ParentObjectType, EntityIdentifier ObjectType,
      const std::u16string& ParentObjectName) const override;
  std::shared_ptr<cEntities> GetSubEntityListByIndex(EntityIdentifier ParentObjectType,
                                                     EntityIdentifier ObjectType,
                                                     std::int32_t index) const override;
  std::shared_ptr<cKeyPairs> GetEntityPropertyListByName(
      EntityIdentifier ObjectType, const std::u16string& ObjectName) const override;
  std::shared_ptr<cKeyPairs> GetEntityPropertyListByIndex(EntityIdentifier ObjectType,
                                                          std::int32_t index) const override;
  Schema Results() const override { return GetSchema(); }
  Boolean GetList(enumEntityType Entity, IDBFetchEvents& oEvents) override;

  // Objects that a category lists and `filter` refuses are left out before anything else is asked
  // about them. It is called on the reader's thread, after the server has told whether names are
  // case sensitive. An empty one lets all through. Scopes that name their objects are not filtered.
  void FilterLists(ListFilter filter) { context_.listFilter = std::move(filter); }

  // A copy of what was read, as Results gives it.
  Schema GetSchema() const { return context_.schema; }

  // How much of the record has been read, for hosts that go on after a failure or a cancel. A kind
  // that Fetch was not asked for is not listed; after GetList no object of that kind is complete.
  const ReadExtent& Extent() const { return context_.extent; }

 protected:
  explicit SchemaFetch(Host& host) { context_.host = &host; }

  reader::FetchContext context_;

 private:
  // What stands before the categories: at least the server's case sensitivity. False, or an
  // exception, ends the fetch.
  virtual bool begin() = 0;
  virtual bool process(enumEntityType category) = 0;
};

}  // namespace kelvane
