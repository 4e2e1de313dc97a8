// How tables, indexes and kept queries are stored.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drivers/embedded/tsql/ast/basics.h"

namespace kelvane::tsql {

/// `fillfactor = 80`, `ignore_dup_key`, `statistics using 20 values`; the name in lower case.
struct StorageOption {
  std::string name;
  std::optional<std::int64_t> value;
  std::string text;  ///< of `dml_logging = minimal`, `erase residual data on`, in lower case
};

struct Partition {
  std::string name;                      ///< empty: generated
  std::optional<SourceRange> condition;  ///< `values <= (10)`, `values (1, 2)`
  std::string segment;
};

/// `partition by range (a) (p1 values <= (10) on seg, ...)`, `partition by roundrobin 3`
struct Partitioning {
  std::string method;  ///< `roundrobin`, `hash`, `range`, `list`
  std::vector<std::string> columns;
  std::vector<Partition> partitions;
};

/// What stands behind the columns of a table.
struct TableStorage {
  std::string lockScheme;  ///< `allpages`, `datapages`, `datarows`; empty when absent
  std::vector<StorageOption> options;
  std::string segment;
  std::optional<Partitioning> partitioning;
};

}  // namespace kelvane::tsql
