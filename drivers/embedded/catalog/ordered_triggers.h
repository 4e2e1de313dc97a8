// Several triggers of one event, which release 16 has: the first one without an order stands in the
// row of its table, all others in sysconstraints, with their order in place of a column.
//
// Free functions.
#pragma once

#include <vector>

#include "drivers/embedded/catalog/catalog.h"

namespace kelvane::embedded {

namespace trigger_status {
inline constexpr int kDelete = 0x80;
inline constexpr int kInsert = 0x100;
inline constexpr int kUpdate = 0x200;
inline constexpr int kDisabled = 0x400;
}  // namespace trigger_status

/// The bit of the slot's event in sysconstraints.
int triggerStatus(const TriggerSlot& slot);

/// The bits of triggers are those of checks and computed columns too.
bool isTrigger(const SystemRecords& records, const SysConstraint& row);
bool isCheck(const SystemRecords& records, const SysConstraint& row);

/// The triggers that a change of rows fires, one after the other; not those that are disabled.
std::vector<int> firedTriggers(const SystemRecords& records, const SysObject& table,
                               const TriggerSlot& slot);

}  // namespace kelvane::embedded
