// The reader of Adaptive Server Enterprise databases: object by object, with the published
// statements.
//
// Lifetime and threading: see SchemaFetch.
#pragma once

#include "reader/schema_fetch.h"

namespace kelvane {

// Published without members.
class cResults {};

class cASE_Fetch : public SchemaFetch {
 public:
  explicit cASE_Fetch(Host& host = Host::standard()) : SchemaFetch(host) {}

 private:
  bool begin() override;
  bool process(enumEntityType category) override;

  // Lives as long as the reader; nothing looks at it.
  [[maybe_unused]] cResults results_;
};

}  // namespace kelvane
