// Which tables of two sides are compared with each other, and how.
//
// Lifetime: both databases outlive it. Threading: none of its own.
#pragma once

#include <array>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/verbs/keyed_report.h"
#include "cli/words/row_options.h"
#include "inventory/records.h"
#include "model/text.h"
#include "rows/table_plan.h"

namespace kelvane::cli {

struct TablePair {
  std::string name;  // as it is shown
  std::array<const inventory::Table*, 2> tables;
  rows::PlanOptions options;
};

class PairedTables {
 public:
  // `patterns`: of tables; none: all of them, but for views, which are compared where they are
  // named. Throws CommandError for patterns, keys and the like that match nothing.
  PairedTables(std::array<const inventory::Database*, 2> databases,
               const std::vector<std::u16string>& patterns, const RowOptions& options);

  // In the order of their names.
  const std::vector<TablePair>& pairs() const { return pairs_; }
  // Those that only one side has.
  const std::vector<KeyedTable>& lonely() const { return lonely_; }

 private:
  using Key = std::pair<std::u16string, std::u16string>;
  using Tables = std::vector<const inventory::Table*>;

  std::u16string comparable(const std::string& name) const;
  Key keyOf(const inventory::QualifiedName& name) const;
  bool isNamed(const inventory::Table& table, const std::string& name) const;
  bool isWanted(const inventory::Table& table);
  Tables tablesOf(std::size_t side);
  void takeMapped(std::array<Tables, 2>& tables);
  void pair(const std::array<Tables, 2>& tables);
  void add(std::string name, const inventory::Table& source, const inventory::Table& target);
  void requireUse() const;
  bool isSomeColumn(const std::string& pattern) const;
  rows::PlanOptions optionsFor(const inventory::Table& source) const;

  std::array<const inventory::Database*, 2> databases_;
  const std::vector<std::u16string>& patterns_;
  const RowOptions& options_;
  CaseMode mode_;
  std::set<std::size_t> used_;          // patterns
  std::deque<inventory::Table> views_;  // as tables
  std::vector<std::string> unused_;     // what matches nothing, a line each
  std::vector<TablePair> pairs_;
  std::vector<KeyedTable> lonely_;
};

}  // namespace kelvane::cli
