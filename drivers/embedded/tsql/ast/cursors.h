// Cursors.
#pragma once

#include <string>
#include <vector>

#include "drivers/embedded/tsql/ast/basics.h"

namespace kelvane::tsql {

struct DeclareCursor {
  std::string name;
  QueryPtr query;
  bool scroll = false;
  std::vector<std::string> options;  ///< `insensitive`, `no scroll`, ... in lower case
};

struct OpenCursor {
  std::string name;
};

struct CloseCursor {
  std::string name;
};

struct DeallocateCursor {
  std::string name;
};

struct FetchCursor {
  std::string name;
  std::string direction;  ///< `next`, `first`, ... in lower case; empty when absent
  ExprPtr offset;         ///< of `absolute n` and `relative n`
  std::vector<std::string> into;
};

}  // namespace kelvane::tsql
