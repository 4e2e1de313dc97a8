#include "drivers/embedded/catalog/ordered_triggers.h"

#include <algorithm>

#include "drivers/embedded/catalog/status_bits.h"
#include "drivers/embedded/catalog/writer.h"

namespace kelvane::embedded {

int triggerStatus(const TriggerSlot& slot) {
  if (slot.event == &tsql::TriggerEvents::insert) return trigger_status::kInsert;
  return slot.event == &tsql::TriggerEvents::update ? trigger_status::kUpdate
                                                    : trigger_status::kDelete;
}

bool isTrigger(const SystemRecords& records, const SysConstraint& row) {
  const SysObject* object = records.object(row.constrid);
  return object != nullptr && object->type == object_type::kTrigger;
}

bool isCheck(const SystemRecords& records, const SysConstraint& row) {
  return (row.status & constraint_status::kCheck) != 0 && !isTrigger(records, row);
}

std::vector<int> firedTriggers(const SystemRecords& records, const SysObject& table,
                               const TriggerSlot& slot) {
  std::vector<SysConstraint> ordered;
  for (const Slot at : records.constraints.where<&SysConstraint::tableid>(table.id)) {
    const SysConstraint& row = records.constraints[at];
    const bool isOn =
        (row.status & triggerStatus(slot)) != 0 && (row.status & trigger_status::kDisabled) == 0;
    if (isOn && isTrigger(records, row)) ordered.push_back(row);
  }
  std::ranges::stable_sort(ordered, {}, &SysConstraint::colid);
  std::vector<int> triggers;
  const int first = table.*slot.column;
  if ((table.sysstat2 & slot.disabled) == 0 && records.object(first) != nullptr) {
    triggers.push_back(first);
  }
  for (const SysConstraint& row : ordered) triggers.push_back(row.constrid);
  return triggers;
}

}  // namespace kelvane::embedded
