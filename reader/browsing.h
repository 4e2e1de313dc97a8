// What a schema answers without asking the server. The reader answers its hosts from the record
// that it holds; a host with a Schema of another origin, one that was kept say, asks here.
//
// Lifetime: results own what they hold. Threading: free functions without state; `host` is called
// on the caller's thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/host.h"
#include "model/collections.h"
#include "model/schema.h"

namespace kelvane::browsing {

// Which object of a kind is meant: the one at an index of 1 or more, otherwise the first with that
// FullName.
struct Selector {
  std::u16string name = {};
  std::int32_t index = 0;
};

// As the members of IDBFetch that are called like these; questions that no kind answers go to
// `host` as messages.
std::int32_t ObjectExists(const Schema& schema, EntityIdentifier ObjectType,
                          const std::u16string& ObjectName);
std::u16string GetObjectSource(const Schema& schema, const std::u16string& ObjectName,
                               const std::u16string& ObjectType);
std::shared_ptr<cEntities> GetSubEntityList(const Schema& schema, Host& host,
                                            EntityIdentifier ParentObjectType,
                                            EntityIdentifier ObjectType, const Selector& parent);
std::shared_ptr<cKeyPairs> GetEntityPropertyList(const Schema& schema, Host& host,
                                                 EntityIdentifier ObjectType,
                                                 const Selector& object);

}  // namespace kelvane::browsing
