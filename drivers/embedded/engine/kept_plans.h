// The plans of a batch, which serve again when the batch runs again.
//
// Plain values; the nodes of the batch's tree are their keys, so that they live and die with it.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>

#include "drivers/embedded/engine/plan.h"
#include "drivers/embedded/store/sqlite.h"

namespace kelvane::embedded {

/// What every plan was made under, besides what it says of itself.
struct Circumstances {
  std::uint64_t namesVersion = 0;
  int uid = 0;
  std::string database;
  std::uint64_t rowLimit = 0;
  bool writesIdentity = false;
  bool ansiNull = false;
  bool stringRtruncation = false;
  bool numericTruncation = true;
  bool operator==(const Circumstances&) const = default;
};

struct Prepared {
  Plan plan;
  Circumstances made;
  std::optional<Statement> statement;  ///< while it runs
};

/// The plans for one node. They stay where they are while others are added.
using NodePlans = std::deque<Prepared>;
using KeptPlans = std::unordered_map<const void*, NodePlans>;

}  // namespace kelvane::embedded
