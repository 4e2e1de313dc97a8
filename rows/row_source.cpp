#include "rows/row_source.h"

#include <utility>

#include "rows/long_value.h"

namespace kelvane::rows {
namespace {

class StatementRows final : public RowSource {
 public:
  StatementRows(ado::Connection& connection, const std::u16string& statement, std::size_t columns)
      : rows_(connection.Open(statement, ado::kForwardOnly)) {
    fields_.reserve(columns);
    for (std::size_t at = 0; at < columns; ++at)
      fields_.push_back(&rows_->Fields(static_cast<std::int32_t>(at)));
  }

  bool next() override {
    if (isBegun_) rows_->MoveNext();
    isBegun_ = true;
    if (!rows_->EndOfRows()) return true;
    while (rows_->NextRecordset()) continue;
    return false;
  }
  ado::Value value(std::size_t column) const override { return fields_[column]->Value(); }
  void packLarge(std::size_t column, std::string& row) const override {
    LargeValue value;
    fields_[column]->Parts([&](const ado::Value& part) { value.add(part); });
    value.appendTo(row);
  }

 private:
  std::unique_ptr<ado::Recordset> rows_;
  std::vector<const ado::Field*> fields_;
  bool isBegun_ = false;
};

class RowsInTurn final : public RowSource {
 public:
  RowsInTurn(ado::Connection& connection, std::vector<std::u16string> statements,
             std::size_t columns)
      : connection_(connection), statements_(std::move(statements)), columns_(columns) {}

  bool next() override {
    while (rows_ == nullptr || !rows_->next()) {
      rows_.reset();
      if (at_ == statements_.size()) return false;
      rows_ = openStatement(connection_, statements_[at_++], columns_);
    }
    return true;
  }
  ado::Value value(std::size_t column) const override { return rows_->value(column); }
  void packLarge(std::size_t column, std::string& row) const override {
    rows_->packLarge(column, row);
  }

 private:
  ado::Connection& connection_;
  std::vector<std::u16string> statements_;
  std::size_t columns_, at_ = 0;
  std::unique_ptr<RowSource> rows_;
};

}  // namespace

std::unique_ptr<RowSource> openStatement(ado::Connection& connection,
                                         const std::u16string& statement, std::size_t columns) {
  return std::make_unique<StatementRows>(connection, statement, columns);
}

std::unique_ptr<RowSource> openStatements(ado::Connection& connection,
                                          std::vector<std::u16string> statements,
                                          std::size_t columns) {
  return std::make_unique<RowsInTurn>(connection, std::move(statements), columns);
}

}  // namespace kelvane::rows
