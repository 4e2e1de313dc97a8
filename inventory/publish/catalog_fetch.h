// The reader that asks a server a few statements whatever the size of its database, and answers
// with the published Schema.
//
// Lifetime and threading: see SchemaFetch.
#pragma once

#include "model/schema.h"
#include "reader/schema_fetch.h"

namespace kelvane {

/// Members and events are those of cASE_Fetch, and so is what it answers, but for what the
/// statements of that one cannot ask for: such objects are here in full. What a login may not read
/// is empty, and LastError names the first of it.
class cASE_CatalogFetch : public SchemaFetch {
 public:
  explicit cASE_CatalogFetch(Host& host = Host::standard()) : SchemaFetch(host) {}

 private:
  bool begin() override;
  bool process(enumEntityType category) override;

  Schema whole_;  ///< what the server has; the categories take from it
  bool isWhole_ = false;
};

}  // namespace kelvane
