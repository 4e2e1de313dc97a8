#include "reader/schema_fetch.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "reader/browsing.h"
#include "reader/procedures.h"

namespace kelvane {
namespace {

struct Category {
  Boolean cComparisonOptions::*enabled;
  enumEntityType kind;
};

constexpr Category kCategories[] = {
    {&cComparisonOptions::Tables, entity_TABLE},
    {&cComparisonOptions::Views, entity_VIEW},
    {&cComparisonOptions::StoredProcs, entity_STOREDPROC},
    {&cComparisonOptions::Functions, entity_FUNCTION},
    {&cComparisonOptions::UDDTs, entity_UDDT},
    {&cComparisonOptions::Users, entity_USER},
    {&cComparisonOptions::Groups, entity_GROUP},
};

// The list procedure of each enumEntityType, in the order of its values.
constexpr reader::Status (*kLists[])(reader::FetchContext&) = {
    reader::PopulateTableList,    reader::PopulateViewList,  reader::PopulateStoredProcList,
    reader::PopulateUDDTList,     reader::PopulateGroupList, reader::PopulateUserList,
    reader::PopulateFunctionList,
};

// Makes a sink the one of the call under way. A handler may make another call, with a sink that
// lives no longer than that call: then the sink of the outer call is the current one again.
class CurrentSink {
 public:
  CurrentSink(reader::FetchContext& context, IDBFetchEvents& sink)
      : context_(context), outer_(std::exchange(context.events, &sink)) {}
  CurrentSink(const CurrentSink&) = delete;
  CurrentSink& operator=(const CurrentSink&) = delete;
  ~CurrentSink() { context_.events = outer_; }

 private:
  reader::FetchContext& context_;
  IDBFetchEvents* outer_;
};

}  // namespace

std::shared_ptr<cComparisonOptions> SchemaFetch::CompareOptions() const {
  return context_.compareOptions;
}

void SchemaFetch::CompareOptions(std::shared_ptr<cComparisonOptions> options) {
  context_.compareOptions = std::move(options);
}

void SchemaFetch::AppliesTo(std::shared_ptr<cAppliesTo> scope) {
  context_.appliesTo = std::move(scope);
}

Boolean SchemaFetch::Fetch(IDBFetchEvents& oEvents) {
  context_.schema = {};
  context_.extent = {};
  const CurrentSink sink(context_, oEvents);
  oEvents.StartProcessing(u"Starting", True, OBJECT_SERVER);
  const bool succeeded = context_.trapped(u"Fetch", false, [&] {
    return begin() && std::ranges::all_of(kCategories, [&](const Category& category) {
             return !(context_.options().*category.enabled) || process(category.kind);
           });
  });
  context_.cancelled = false;
  oEvents.EndProcessing(OBJECT_SERVER);
  return succeeded;
}

Boolean SchemaFetch::GetList(enumEntityType Entity, IDBFetchEvents& oEvents) {
  const CurrentSink sink(context_, oEvents);
  if (Entity < 0 || static_cast<std::size_t>(Entity) >= std::size(kLists)) return False;
  return kLists[Entity](context_) != reader::kFailed;
}

std::int32_t SchemaFetch::ObjectExists(EntityIdentifier ObjectType,
                                       const std::u16string& ObjectName) const {
  return browsing::ObjectExists(context_.schema, ObjectType, ObjectName);
}

std::u16string SchemaFetch::GetObjectSource(const std::u16string& ObjectName,
                                            const std::u16string& ObjectType) const {
  return browsing::GetObjectSource(context_.schema, ObjectName, ObjectType);
}

std::shared_ptr<cEntities> SchemaFetch::GetSubEntityListByName(
    EntityIdentifier ParentObjectType, EntityIdentifier ObjectType,
    const std::u16string& ParentObjectName) const {
  return browsing::GetSubEntityList(context_.schema, *context_.host, ParentObjectType, ObjectType,
                                    {.name = ParentObjectName});
}

std::shared_ptr<cEntities> SchemaFetch::GetSubEntityListByIndex(EntityIdentifier ParentObjectType,
                                                                EntityIdentifier ObjectType,
                                                                std::int32_t index) const {
  return browsing::GetSubEntityList(context_.schema, *context_.host, ParentObjectType, ObjectType,
                                    {.index = index});
}

std::shared_ptr<cKeyPairs> SchemaFetch::GetEntityPropertyListByName(
    EntityIdentifier ObjectType, const std::u16string& ObjectName) const {
  // Only tables and types have a list by name; every other kind is refused as an unknown one would
  // be.
  const bool listed = ObjectType == ID_TABLE || ObjectType == ID_UDDT;
  return browsing::GetEntityPropertyList(context_.schema, *context_.host,
                                         listed ? ObjectType : static_cast<EntityIdentifier>(0),
                                         {.name = ObjectName});
}

std::shared_ptr<cKeyPairs> SchemaFetch::GetEntityPropertyListByIndex(EntityIdentifier ObjectType,
                                                                     std::int32_t index) const {
  return browsing::GetEntityPropertyList(context_.schema, *context_.host, ObjectType,
                                         {.index = index});
}

}  // namespace kelvane
