#include "cli/verbs/connected_rows.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "model/text.h"
#include "rows/ranged_rows.h"

namespace kelvane::cli {
namespace {

using inventory::Database;

class ConnectedRows final : public RowSide {
 public:
  ConnectedRows(const Database& database, Side& side, TracingConnection& connection)
      : database_(database), side_(side), connection_(connection) {}

  const Database& database() const override { return database_; }
  void prepare(const rows::Select& select) override {
    if (select.needsQuotedIdentifier)
      connection_.Open(u"set quoted_identifier on", ado::kClientCursor);
  }
  rows::OpenRows rowsOf(const rows::TablePlan& plan, std::size_t side,
                        const RowWish& wish) override {
    return [&, side]() -> std::unique_ptr<rows::RowSource> {
      const rows::Select& select = plan.selects[side];
      if (wish.ranges && select.cut)
        return rows::openRanges(connection_, select, *wish.ranges, wish.bounds);
      std::vector<std::u16string> statements;
      statements.reserve(wish.conditions.size());
      for (const std::string& condition : wish.conditions)
        statements.push_back(select.text(condition));
      const std::size_t columns = plan.columns.size();
      if (!statements.empty())
        return rows::openStatements(connection_, std::move(statements), columns);
      std::string range;
      if (!wish.bounds.isAll()) range = wish.bounds.condition(*select.cut);
      return rows::openStatement(connection_, select.text(range), columns);
    };
  }
  std::optional<ado::StoredValue> endOfRange(const rows::Select& select, const std::string& begin,
                                             std::int64_t rows) override {
    return rows::endOfRange(connection_, select, begin, rows);
  }
  ado::Connection* connection() override { return &connection_; }
  void cancel() noexcept override { side_.cancel(); }
  bool isOver() const override { return connection_.isOver(); }

 private:
  const Database& database_;
  Side& side_;
  TracingConnection& connection_;
};

// The columns of the plan, in its order.
class Reordered final : public rows::RowSource {
 public:
  Reordered(std::unique_ptr<rows::RowSource> inner, std::vector<std::size_t> columns)
      : inner_(std::move(inner)), columns_(std::move(columns)) {}

  bool next() override { return inner_->next(); }
  ado::Value value(std::size_t column) const override { return inner_->value(columns_[column]); }

 private:
  std::unique_ptr<rows::RowSource> inner_;
  std::vector<std::size_t> columns_;
};

class SelectedRows final : public RowSide {
 public:
  SelectedRows(const std::string& text, const inventory::Server& server, const std::string& name,
               Side& side, TracingConnection& connection)
      : text_(toUtf16(text)), side_(side), connection_(connection) {
    database_.server = server;
    inventory::Table& table = database_.tables.emplace_back();
    table.name = {"dbo", kSelectedTable};
    try {
      // One row is enough to know the columns.
      connection_.Open(u"set rowcount 1", ado::kClientCursor);
      const auto rows = connection_.Open(text_, ado::kClientCursor);
      if (rows->State() == ado::ObjectState::open) {
        for (std::int32_t at = 0; at < rows->FieldCount(); ++at)
          table.columns.push_back(
              {.name = toUtf8(rows->Fields(at).Name()), .type = {.nullable = true}});
      }
    } catch (const RuntimeError& error) {
      throw CommandError({name + ": --rows: " + toUtf8(error.Description())});
    }
    connection_.Open(u"set rowcount 0", ado::kClientCursor);
    requireNames(name);
  }

  const Database& database() const override { return database_; }
  void prepare(const rows::Select&) override {}
  rows::OpenRows rowsOf(const rows::TablePlan& plan, std::size_t side, const RowWish&) override {
    const std::vector<inventory::Column>& columns = database_.tables.front().columns;
    std::vector<std::size_t> order;
    for (const inventory::Column* column : side == 0 ? plan.sourceColumns : plan.targetColumns)
      order.push_back(static_cast<std::size_t>(column - columns.data()));
    return [this, order, count = columns.size()] {
      return std::make_unique<Reordered>(rows::openStatement(connection_, text_, count), order);
    };
  }
  bool comesInOrder() const override { return false; }
  void cancel() noexcept override { side_.cancel(); }
  bool isOver() const override { return connection_.isOver(); }

 private:
  void requireNames(const std::string& name) const {
    const std::vector<inventory::Column>& columns = database_.tables.front().columns;
    if (columns.empty()) throw CommandError({name + ": --rows: the statement returns no columns"});
    for (std::size_t at = 0; at < columns.size(); ++at) {
      const auto column = columns.begin() + static_cast<std::ptrdiff_t>(at);
      const std::string number = std::to_string(at + 1);
      if (column->name.empty())
        throw CommandError({name + ": --rows: column " + number + " has no name; give it one"});
      if (std::ranges::find(columns.begin(), column, column->name, &inventory::Column::name) !=
          column)
        throw CommandError({name + ": --rows: column " + number + " is called '" + column->name +
                            "' like another one; give it another name"});
    }
  }

  std::u16string text_;
  Database database_;
  Side& side_;
  TracingConnection& connection_;
};

}  // namespace

std::unique_ptr<RowSide> connectedRows(const Database& database, Side& side,
                                       TracingConnection& connection) {
  return std::make_unique<ConnectedRows>(database, side, connection);
}

std::unique_ptr<RowSide> selectedRows(const std::string& text, const inventory::Server& server,
                                      const std::string& name, Side& side,
                                      TracingConnection& connection) {
  return std::make_unique<SelectedRows>(text, server, name, side, connection);
}

}  // namespace kelvane::cli
