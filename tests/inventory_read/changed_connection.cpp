#include "tests/inventory_read/changed_connection.h"

#include "model/text.h"

namespace kelvane::inventory {

class ChangedConnection::FailingRecordset final : public ado::Recordset {
 public:
  FailingRecordset(ChangedConnection& connection, std::unique_ptr<ado::Recordset> inner)
      : connection_(connection), inner_(std::move(inner)) {}

  ado::ObjectState State() const override { return inner_->State(); }
  std::int32_t RecordCount() const override { return inner_->RecordCount(); }
  bool EndOfRows() const override { return inner_->EndOfRows(); }
  void MoveNext() override { connection_.refuse(u"HY000", u"The rows ended with an error"); }
  bool NextRecordset() override { return false; }
  std::int32_t FieldCount() const override { return inner_->FieldCount(); }
  const ado::Field& Fields(std::int32_t ordinal) const override { return inner_->Fields(ordinal); }
  const ado::Field& Fields(std::u16string_view name) const override { return inner_->Fields(name); }
  void Sort(std::u16string_view criteria) override { inner_->Sort(criteria); }

 private:
  ChangedConnection& connection_;
  std::unique_ptr<ado::Recordset> inner_;
};

void ChangedConnection::refuse(std::u16string state, std::u16string text) {
  errors_ = {{1, text, 1, u"server", std::move(state)}};
  throw ado::Failure(ErrorNumber::failure, text, u"server");
}

std::unique_ptr<ado::Recordset> ChangedConnection::Open(std::u16string_view source,
                                                        const ado::OpenMode& mode) {
  errors_.clear();
  const std::size_t number = sent_.size();
  sent_.push_back(toUtf8(source));
  if (onStatement) {
    if (auto own = onStatement(sent_.back(), number)) return own;
  }
  auto rows = inner_.Open(source, mode);
  if (number == failingRows) return std::make_unique<FailingRecordset>(*this, std::move(rows));
  return rows;
}

std::unique_ptr<ado::Recordset> answer(std::vector<std::vector<ado::Value>> rows) {
  ado::RowSet set;
  for (std::size_t at = 0; at < (rows.empty() ? 1 : rows.front().size()); ++at)
    set.columns.emplace_back();
  for (const auto& row : rows) {
    auto& stored = set.rows.emplace_back();
    for (const ado::Value& value : row) stored.emplace_back(value);
  }
  return std::make_unique<ado::ClientRecordset>(std::deque<ado::RowSet>{std::move(set)});
}

}  // namespace kelvane::inventory
