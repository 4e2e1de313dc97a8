#include "drivers/odbc/forward_recordset.h"

#include <utility>

#include "ado/recordset_errors.h"
#include "model/text.h"

namespace kelvane::odbc {

class ForwardRecordset::RowField final : public ado::Field {
 public:
  RowField(const ForwardRecordset& rows, std::size_t ordinal, std::u16string name)
      : rows_(&rows), ordinal_(ordinal), name_(std::move(name)) {}

  const std::u16string& Name() const override { return name_; }
  ado::Value Value() const override { return rows_->valueOf(ordinal_); }
  void Parts(const ado::TakePart& take) const override { rows_->partsOf(ordinal_, take); }

 private:
  const ForwardRecordset* rows_;
  std::size_t ordinal_;
  std::u16string name_;
};

ForwardRecordset::ForwardRecordset(Session& session, std::u16string_view statement)
    : session_(session) {
  cursor_.emplace(session, statement);
  openResult();
  session_.streaming = this;
}

ForwardRecordset::~ForwardRecordset() { stopStreaming(); }

void ForwardRecordset::stopStreaming() {
  if (session_.streaming == this) session_.streaming = nullptr;
  cursor_.reset();
}

// After the last result, and after a failure: rows that could not be read are not the end of rows.
void ForwardRecordset::close() {
  onRow_ = false;
  onRest_ = false;
  fields_.clear();
  rest_.reset();
  stopStreaming();
}

void ForwardRecordset::openResult() {
  fields_.clear();
  if (rest_) {
    for (std::int32_t i = 0; i < rest_->FieldCount(); ++i)
      fields_.emplace_back(*this, fields_.size(), rest_->Fields(i).Name());
    onRest_ = true;
  } else {
    for (const Column& column : cursor_->columns())
      fields_.emplace_back(*this, fields_.size(), column.name);
    step();
  }
}

void ForwardRecordset::step() {
  onRow_ = cursor_->fetch();
  row_.clear(fields_.size());
}

void ForwardRecordset::raiseKept(const std::exception_ptr& failure) const {
  session_.errors.insert(session_.errors.end(), keptErrors_.begin(), keptErrors_.end());
  std::rethrow_exception(failure);
}

void ForwardRecordset::requireOpen() const {
  if (fields_.empty()) throw ado::closedError();
}

ado::ObjectState ForwardRecordset::State() const {
  return fields_.empty() ? ado::ObjectState::closed : ado::ObjectState::open;
}

bool ForwardRecordset::EndOfRows() const {
  requireOpen();
  return onRest_ ? rest_->EndOfRows() : !onRow_;
}

ado::Value ForwardRecordset::valueOf(std::size_t ordinal) const {
  if (onRest_) return rest_->Fields(static_cast<std::int32_t>(ordinal)).Value();
  if (!onRow_) throw ado::noRowError();
  if (ordinal < row_.known()) return row_[ordinal];
  if (broken_) raiseKept(broken_);
  cursor_->readThrough(row_, ordinal);
  return row_[ordinal];
}

void ForwardRecordset::partsOf(std::size_t ordinal, const ado::TakePart& take) const {
  const bool isNext = onRow_ && !onRest_ && !broken_ && ordinal == row_.known();
  if (!isNext || !cursor_->readParts(row_, take)) take(valueOf(ordinal));
}

void ForwardRecordset::MoveNext() {
  if (EndOfRows() && !broken_) throw ado::noRowError();
  if (broken_) raiseBroken();
  if (onRest_) {
    rest_->MoveNext();
  } else if (rest_) {
    onRest_ = true;
  } else {
    try {
      step();
    } catch (const ado::Failure&) {
      close();
      throw;
    }
  }
}

bool ForwardRecordset::NextRecordset() {
  if (broken_) raiseBroken();
  if (!rest_ && !cursor_) return false;
  try {
    if (rest_ ? rest_->NextRecordset() : cursor_->nextResult()) {
      openResult();
      return true;
    }
  } catch (const ado::Failure&) {
    const bool wasKept = rest_.has_value();
    close();
    if (wasKept) raiseKept(std::current_exception());
    throw;
  }
  close();
  return false;
}

void ForwardRecordset::raiseBroken() {
  close();
  raiseKept(std::exchange(broken_, nullptr));
}

std::int32_t ForwardRecordset::FieldCount() const {
  return static_cast<std::int32_t>(fields_.size());
}

const ado::Field& ForwardRecordset::Fields(std::int32_t ordinal) const {
  if (ordinal < 0 || ordinal >= FieldCount()) throw ado::noFieldError(decimalText(ordinal));
  return fields_[static_cast<std::size_t>(ordinal)];
}

const ado::Field& ForwardRecordset::Fields(std::u16string_view name) const {
  for (const RowField& field : fields_)
    if (equalText(field.Name(), name, CaseMode::ignore)) return field;
  throw ado::noFieldError(name);
}

void ForwardRecordset::Sort(std::u16string_view) { throw ado::forwardOnlyError(); }

void ForwardRecordset::keepRest() {
  const std::vector<ado::Error> before = std::exchange(session_.errors, {});
  try {
    if (onRow_) cursor_->readThrough(row_, fields_.size() - 1);
    Cursor::Rest rest = cursor_->readAll();
    rest_.emplace(std::move(rest.results), rest.failure);
    onRest_ = !onRow_;
  } catch (const ado::Failure&) {
    broken_ = std::current_exception();
  }
  keptErrors_ = std::exchange(session_.errors, before);
  stopStreaming();
}

}  // namespace kelvane::odbc
