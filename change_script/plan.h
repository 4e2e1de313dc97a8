// Makes the steps from two inventories and what differs between them.
//
// Free functions. Threading: none; the inventories are only read.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "change_script/renames.h"
#include "change_script/steps.h"
#include "inventory/compare/changes.h"
#include "inventory/ddl/ddl.h"
#include "inventory/records.h"

namespace kelvane::change_script {

struct PlanOptions {
  std::optional<inventory::TargetRelease> release = {};  ///< of the target; none: has everything
  Allowed allowed = {};
  std::vector<Rename> renames = {};  ///< which `target` has already
};

/// Steps that make `target` like `source`, of which `changes` are the differences: those that
/// compare() found, or some of them.
ChangeScript plan(const inventory::Database& source, const inventory::Database& target,
                  const std::vector<inventory::Change>& changes, const PlanOptions& options);

/// "table dbo.t, column a: int null -> int not null": what differs in an object, or in a part of
/// it, from what the target has to what it gets.
std::string described(const inventory::Change& object, const inventory::Change* part = nullptr);

}  // namespace kelvane::change_script
