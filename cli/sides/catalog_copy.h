// A copy of a part of a database in the embedded catalog, rows included, on which scripts are
// tried.
//
// Lifetime: the database outlives the copy; connections end before it. Threading: one thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ado/ado.h"
#include "drivers/embedded/connection.h"
#include "inventory/ddl/ddl.h"
#include "inventory/records.h"
#include "rows/row_statements.h"
#include "rows/table_plan.h"

namespace kelvane::cli {

class CatalogCopy {
 public:
  // All rows of a table, with the columns of a plan of which both sides are that table.
  using RowsOf = std::function<rows::OpenRows(const rows::TablePlan& plan)>;
  struct Rows {
    std::vector<const inventory::Table*> tables;  // of the database, that `part` has too
    RowsOf rowsOf;
    std::int64_t most;  // more are an obstacle
  };

  // Without a release the catalog has everything.
  CatalogCopy(const inventory::Database& database, std::optional<inventory::TargetRelease> release);

  // Throws RuntimeError for rows that cannot be read.
  void make(const inventory::Database& part, const Rows& rows);
  void run(std::string_view script);
  // Why one of them failed, a line each. What comes behind that is not done.
  const std::vector<std::string>& obstacles() const { return obstacles_; }
  bool hasFailed() const { return !obstacles_.empty(); }
  std::unique_ptr<ado::Connection> connect() { return catalog_.connect(); }

 private:
  void obstacle(std::string_view what, std::string_view reason) {
    obstacles_.push_back(std::string(what) + std::string(reason));
  }
  void load(const char* name, std::string_view text, std::string_view failed);
  void fill(ado::Connection& connection, const inventory::Table& table, const Rows& rows);
  void fill(ado::Connection& connection, const rows::TablePlan& plan,
            const rows::StatementWriter& writer, const Rows& rows);

  const inventory::Database& database_;
  std::optional<inventory::TargetRelease> release_;
  embedded::EmbeddedCatalog catalog_;
  std::int64_t filled_ = 0;
  std::vector<std::string> obstacles_;
};

}  // namespace kelvane::cli
