#include "rows/row_source.h"

#include <vector>

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

 private:
  std::unique_ptr<ado::Recordset> rows_;
  std::vector<const ado::Field*> fields_;
  bool isBegun_ = false;
};

}  // namespace

std::unique_ptr<RowSource> openStatement(ado::Connection& connection,
                                         const std::u16string& statement, std::size_t columns) {
  return std::make_unique<StatementRows>(connection, statement, columns);
}

}  // namespace kelvane::rows
