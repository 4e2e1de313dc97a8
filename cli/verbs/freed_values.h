// Whether rows that come need values of rows that go: no two rows may have them in common, so that
// the latter have to go first.
//
// Lifetime: the plan outlives it. Threading: one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "inventory/records.h"
#include "rows/table_plan.h"
#include "rows/unmatched_rows.h"

namespace kelvane::cli {

class FreedValues {
 public:
  // `table` is the target of the plan, on a server that may ignore case.
  FreedValues(const rows::TablePlan& plan, const inventory::Table& table, bool ignoresCase);

  void add(const rows::DifferingRows& rows);
  // Also where there were too many to know, or values that were not compared.
  bool areTaken() const;

 private:
  void addKey(const inventory::IndexStorage& index);
  void add(std::string_view row, std::unordered_set<std::uint64_t>& values);

  const rows::TablePlan* plan_;
  std::vector<std::vector<std::size_t>> keys_;  // the plan's columns of each unique index
  bool isUnknown_ = false;
  std::unordered_set<std::uint64_t> freed_, taken_;  // hashes
};

}  // namespace kelvane::cli
