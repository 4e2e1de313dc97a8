#include "ado/client_recordset.h"

#include <algorithm>
#include <utility>

#include "ado/recordset_errors.h"
#include "model/text.h"

namespace kelvane::ado {
namespace {

std::u16string_view trimmed(std::u16string_view text) {
  const std::size_t first = text.find_first_not_of(u" \t");
  if (first == std::u16string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(u" \t") - first + 1);
}

struct SortColumn {
  std::size_t ordinal;
  bool descending;
};

// Nulls first, then numbers by value where both are numbers, otherwise by text in lower case.
int compareForSort(const Value& a, const Value& b) {
  if (a.isNull() || b.isNull()) return static_cast<int>(b.isNull()) - static_cast<int>(a.isNull());
  const auto* left = std::get_if<std::int64_t>(&a);
  const auto* right = std::get_if<std::int64_t>(&b);
  if (left && right) return *left < *right ? -1 : *left > *right ? 1 : 0;
  return compareLowerCase(a.toText(), b.toText());
}

}  // namespace

StoredValue::StoredValue(const Value& value) {
  if (const auto* text = std::get_if<std::u16string_view>(&value)) {
    value_ = std::u16string(*text);
  } else if (const auto* bytes = std::get_if<Bytes>(&value)) {
    value_ = std::vector<std::byte>(bytes->begin(), bytes->end());
  } else {
    value_ = value;
  }
}

Value StoredValue::view() const {
  if (const auto* text = std::get_if<std::u16string>(&value_)) return std::u16string_view(*text);
  if (const auto* bytes = std::get_if<std::vector<std::byte>>(&value_)) return Bytes(*bytes);
  return std::get<ado::Value>(value_);
}

class ClientRecordset::RowField final : public Field {
 public:
  RowField(const ClientRecordset& owner, std::size_t ordinal) : owner_(&owner), ordinal_(ordinal) {}

  const std::u16string& Name() const override { return owner_->results_.front().columns[ordinal_]; }
  ado::Value Value() const override {
    const auto& rows = owner_->results_.front().rows;
    if (owner_->row_ >= rows.size()) throw noRowError();
    return rows[owner_->row_][ordinal_].view();
  }

 private:
  const ClientRecordset* owner_;
  std::size_t ordinal_;
};

ClientRecordset::ClientRecordset(std::deque<RowSet> results, std::exception_ptr failure)
    : results_(std::move(results)), failure_(std::move(failure)) {
  openFirst();
}

ClientRecordset::~ClientRecordset() = default;

void ClientRecordset::openFirst() {
  row_ = 0;
  fields_.clear();
  const std::size_t columns = results_.empty() ? 0 : results_.front().columns.size();
  for (std::size_t ordinal = 0; ordinal < columns; ++ordinal) fields_.emplace_back(*this, ordinal);
}

void ClientRecordset::requireOpen() const {
  if (fields_.empty()) throw closedError();
}

ObjectState ClientRecordset::State() const {
  return fields_.empty() ? ObjectState::closed : ObjectState::open;
}

std::int32_t ClientRecordset::RecordCount() const {
  requireOpen();
  return static_cast<std::int32_t>(results_.front().rows.size());
}

bool ClientRecordset::EndOfRows() const {
  requireOpen();
  return row_ >= results_.front().rows.size();
}

void ClientRecordset::MoveNext() {
  if (EndOfRows()) throw noRowError();
  ++row_;
}

bool ClientRecordset::NextRecordset() {
  if (!results_.empty()) results_.pop_front();
  openFirst();
  if (!results_.empty()) return true;
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
  return false;
}

std::int32_t ClientRecordset::FieldCount() const {
  return static_cast<std::int32_t>(fields_.size());
}

const Field& ClientRecordset::Fields(std::int32_t ordinal) const {
  if (ordinal < 0 || ordinal >= FieldCount()) throw noFieldError(decimalText(ordinal));
  return fields_[static_cast<std::size_t>(ordinal)];
}

const Field& ClientRecordset::Fields(std::u16string_view name) const {
  for (const RowField& field : fields_)
    if (equalText(field.Name(), name, CaseMode::ignore)) return field;
  throw noFieldError(name);
}

void ClientRecordset::Sort(std::u16string_view criteria) {
  requireOpen();
  RowSet& result = results_.front();
  std::vector<SortColumn> columns;
  for (std::u16string_view piece : split(criteria, u',')) {
    piece = trimmed(piece);
    const std::size_t blank = piece.find_last_of(u" \t");
    const std::u16string_view direction =
        blank == std::u16string_view::npos ? std::u16string_view() : piece.substr(blank + 1);
    const bool descending = equalText(direction, u"DESC", CaseMode::ignore);
    if (descending || equalText(direction, u"ASC", CaseMode::ignore))
      piece = trimmed(piece.substr(0, blank));
    const auto found = std::ranges::find_if(result.columns, [&](const std::u16string& column) {
      return equalText(column, piece, CaseMode::ignore);
    });
    if (found == result.columns.end()) throw noFieldError(piece);
    columns.push_back({static_cast<std::size_t>(found - result.columns.begin()), descending});
  }
  std::ranges::stable_sort(result.rows, [&](const auto& a, const auto& b) {
    for (const SortColumn& column : columns) {
      const int order = compareForSort(a[column.ordinal].view(), b[column.ordinal].view());
      if (order != 0) return column.descending ? order > 0 : order < 0;
    }
    return false;
  });
  row_ = 0;
}

}  // namespace kelvane::ado
