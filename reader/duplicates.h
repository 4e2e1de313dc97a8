// What foreign keys and indexes have in common: the marking of equal column lists, and names that
// are left out.
//
// Lifetime and threading: free functions without state.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "model/array.h"

namespace kelvane::reader {

// Counts the elements that share their column list with another one, and marks as many elements
// from the start of the array with their own names, whichever these are: hosts know the lists in
// this form.
template <class Record>
void markDuplicates(Array<Record>& records, std::u16string Record::*columns) {
  std::unordered_map<std::u16string_view, std::int32_t> uses;
  for (const Record& record : std::as_const(records)) ++uses[record.*columns];
  std::int32_t marked = 0;
  for (const auto& [list, count] : uses)
    if (count > 1) marked += count;
  uses.clear();  // the keys are views of what changes now
  for (std::int32_t position = 1; position <= marked; ++position)
    records.edit(position, [&](Record& record) { record.*columns += u" (" + record.Name + u")"; });
}

template <class Record>
void clearNames(Array<Record>& records) {
  for (std::int32_t position = 1; position <= records.count(); ++position)
    records.edit(position, [](Record& record) { record.Name.clear(); });
}

}  // namespace kelvane::reader
