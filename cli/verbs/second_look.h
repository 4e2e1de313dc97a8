// Looks once more at rows that differed: a row that is written while both sides are read is seen
// before the change on one of them.
//
// Lifetime: the sides outlive it. Threading: one thread.
#pragma once

#include <array>
#include <functional>
#include <string_view>
#include <vector>

#include "cli/verbs/keyed_report.h"
#include "cli/verbs/row_side.h"
#include "rows/compare_rows.h"
#include "rows/kept_rows.h"
#include "rows/spool.h"

namespace kelvane::cli {

class SecondLook {
 public:
  explicit SecondLook(std::array<RowSide*, 2> sides) : sides_(sides) {}

  // Rows of one table.
  class Rows {
   private:
    friend class SecondLook;
    rows::Spool::List list_;
  };
  void keep(Rows& kept, const rows::DifferingRows& rows) {
    spool_.add(kept.list_, rows::recordOf(rows));
  }

  // In the order in which they were kept.
  void forEach(const Rows& kept, const std::function<void(const rows::DifferingRows&)>& take) {
    spool_.forEach(kept.list_, [&](std::string_view record) { take(rows::rowsOf(record)); });
  }

  // Whether the rows of a table can be asked for by their keys.
  static bool mayLook(const rows::TablePlan& plan);

  // Tells the observer of the rows that still differ, in their order, and counts them anew. Rows
  // without a key of their own, or one that nobody can ask for, differ as they did. Throws what
  // reading throws.
  void look(KeyedTable& table, const Rows& kept, rows::RowObserver& observer);

 private:
  struct Kept {
    std::string source, target;
    std::size_t keySize = 0;

    std::string_view key() const {
      return std::string_view(source.empty() ? target : source).substr(0, keySize);
    }
    rows::DifferingRows rows() const { return {source, target, keySize}; }
  };

  void lookAt(KeyedTable& table, const std::vector<Kept>& batch, rows::RowObserver& observer);

  std::array<RowSide*, 2> sides_;
  rows::Spool spool_;
};

}  // namespace kelvane::cli
