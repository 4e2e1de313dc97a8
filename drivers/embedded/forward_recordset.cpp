#include "drivers/embedded/forward_recordset.h"

#include "model/text.h"

namespace kelvane::embedded {
namespace {

[[noreturn]] void refuseSort() {
  throw RuntimeError(ErrorNumber::failure, u"Rows that are read forward only cannot be sorted.");
}

[[noreturn]] void refuseClosed() {
  throw RuntimeError(ErrorNumber::failure, u"The recordset is closed.");
}

}  // namespace

class StreamRecordset::StreamField final : public ado::Field {
 public:
  StreamField(const StreamRecordset& rows, int ordinal)
      : rows_(rows),
        ordinal_(ordinal),
        name_(toUtf16(rows.stream_.columns[static_cast<std::size_t>(ordinal)].name)),
        shown_(rows.stream_.columns[static_cast<std::size_t>(ordinal)].type) {}

  const std::u16string& Name() const override { return name_; }
  ado::Value Value() const override {
    if (!rows_.onRow_) throw RuntimeError(ErrorNumber::failure, u"There is no current row.");
    return shown_.show(rows_.stream_.statement.value(ordinal_));
  }

 private:
  const StreamRecordset& rows_;
  int ordinal_;
  std::u16string name_;
  mutable ShownColumn shown_;
};

StreamRecordset::StreamRecordset(Session& session, RowStream stream, std::function<void()> fail)
    : session_(session), stream_(std::move(stream)), fail_(std::move(fail)) {
  for (std::size_t i = 0; i < stream_.columns.size(); ++i) {
    fields_.emplace_back(*this, static_cast<int>(i));
  }
  step();
}

StreamRecordset::~StreamRecordset() = default;

void StreamRecordset::step() {
  onRow_ = false;
  try {
    onRow_ = session_.step(stream_);
  } catch (const std::exception&) {
    fail_();
  }
}

void StreamRecordset::requireOpen() const {
  if (!open_) refuseClosed();
}

ado::ObjectState StreamRecordset::State() const {
  return open_ ? ado::ObjectState::open : ado::ObjectState::closed;
}

bool StreamRecordset::EndOfRows() const {
  requireOpen();
  return !onRow_;
}

void StreamRecordset::MoveNext() {
  requireOpen();
  if (!onRow_) throw RuntimeError(ErrorNumber::failure, u"There is no current row.");
  step();
}

bool StreamRecordset::NextRecordset() {
  open_ = false;
  onRow_ = false;
  fields_.clear();
  stream_.statement.reset();
  return false;
}

std::int32_t StreamRecordset::FieldCount() const {
  return static_cast<std::int32_t>(fields_.size());
}

const ado::Field& StreamRecordset::Fields(std::int32_t ordinal) const {
  if (ordinal < 0 || ordinal >= FieldCount()) {
    throw RuntimeError(ErrorNumber::itemNotFound,
                       u"There is no field with the ordinal " + decimalText(ordinal) + u".");
  }
  return fields_[static_cast<std::size_t>(ordinal)];
}

const ado::Field& StreamRecordset::Fields(std::u16string_view name) const {
  for (const StreamField& field : fields_) {
    if (equalText(field.Name(), name, CaseMode::ignore)) return field;
  }
  throw RuntimeError(ErrorNumber::itemNotFound,
                     u"There is no field with the name '" + std::u16string(name) + u"'.");
}

void StreamRecordset::Sort(std::u16string_view) { refuseSort(); }

void ForwardRecordset::Sort(std::u16string_view) { refuseSort(); }

}  // namespace kelvane::embedded
