// Result sets of catalog procedures that are one query over the system tables.
#pragma once

#include <utility>
#include <vector>

#include "drivers/embedded/catalog/procedures/procedure.h"

namespace kelvane::embedded {

/// The rows of an SQLite query, whose text should be constant, as they come.
template <class... Values>
ResultSet queryReport(ProcedureRun& run, std::vector<ResultColumn> columns, std::string_view sql,
                      const Values&... values) {
  ResultSet set{std::move(columns), {}};
  run.store().each(
      sql,
      [&](const Statement& row) {
        Row& cells = set.rows.emplace_back();
        for (std::size_t i = 0; i < set.columns.size(); ++i) {
          cells.push_back(row.cell(static_cast<int>(i)));
        }
      },
      values...);
  return set;
}

}  // namespace kelvane::embedded
