#include "cli/verbs/data_watch.h"

#include <algorithm>
#include <utility>
#include <variant>

#include "ado/client_recordset.h"
#include "ado/recordset_errors.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

struct TypeName {
  std::string_view operator()(ado::Null) const { return "null"; }
  std::string_view operator()(bool) const { return "bit"; }
  std::string_view operator()(std::int64_t) const { return "int"; }
  std::string_view operator()(std::uint64_t) const { return "unsigned bigint"; }
  std::string_view operator()(float) const { return "real"; }
  std::string_view operator()(double) const { return "float"; }
  std::string_view operator()(const ado::Decimal&) const { return "numeric"; }
  std::string_view operator()(const ado::DateTime& moment) const {
    using enum ado::DateTime::Parts;
    return moment.parts == dateOnly ? "date" : moment.parts == timeOnly ? "time" : "datetime";
  }
  std::string_view operator()(std::u16string_view) const { return "varchar"; }
  std::string_view operator()(ado::Bytes) const { return "varbinary"; }
};

ShownSide shownSide(const ado::Value& value) {
  return {value.isNull() ? std::nullopt : std::optional(value.toText()),
          std::visit(TypeName{}, static_cast<const ado::ValueBase&>(value))};
}

}  // namespace

std::vector<std::u16string> WatchedTable::fieldsOnlyIn(std::size_t side) const {
  std::vector<std::u16string> only;
  if (fields[1 - side].empty()) return only;
  for (const std::u16string& name : fields[side]) {
    const bool common = std::ranges::any_of(fields[1 - side], [&](const std::u16string& other) {
      return equalText(name, other, names);
    });
    if (!common) only.push_back(name);
  }
  return only;
}

void DataWatch::begin() {
  if (events_.isOver()) throw ado::Failure(ErrorNumber::failure, u"not compared", u"kelvane");
  events_.tableBegins(tables_.size());
  tables_.push_back({.names = names_});
  row_ = 1;
}

void DataWatch::atRow(std::size_t side) {
  if (events_.isOver()) throw ado::Failure(ErrorNumber::failure, u"interrupted", u"kelvane");
  if (side != 0) return;
  ++row_;
  events_.rowPassed();
}

// The comparison asks for a field of the source and then for that of the target.
void DataWatch::sees(std::size_t side, const std::u16string& field, const ado::Value& value) {
  if (side == 0) {
    source_ = value;
  } else if (source_.isNull() != value.isNull()) {
    ++tables_.back().nulls;
    keep(row_, field, source_, value);
  }
}

void DataWatch::ValueDiffers(const DifferingValue& value) {
  keep(value.Row, value.Field, value.Source, value.Target);
}

void DataWatch::keep(std::int64_t row, const std::u16string& field, const ado::Value& source,
                     const ado::Value& target) {
  std::vector<ShownValue>& values = tables_.back().values;
  if (values.size() >= most_) return;
  values.push_back({row, field, shownSide(source), shownSide(target)});
}

class WatchedConnection::WatchedField final : public ado::Field {
 public:
  WatchedField(const ado::Field& inner, const WatchedConnection& connection)
      : inner_(inner), connection_(connection) {}
  bool shows(const ado::Field& field) const { return &inner_ == &field; }
  const std::u16string& Name() const override { return inner_.Name(); }
  ado::Value Value() const override {
    const ado::Value value = inner_.Value();
    connection_.watch_.sees(connection_.side_, inner_.Name(), value);
    return value;
  }

 private:
  const ado::Field& inner_;
  const WatchedConnection& connection_;
};

class WatchedConnection::WatchedRecordset final : public ado::Recordset {
 public:
  WatchedRecordset(std::unique_ptr<ado::Recordset> inner, WatchedConnection& connection)
      : inner_(std::move(inner)), connection_(connection) {
    if (inner_->State() == ado::ObjectState::closed) return;
    auto& names = connection.watch_.tables_.back().fields[connection.side_];
    for (std::int32_t ordinal = 0; ordinal < inner_->FieldCount(); ++ordinal) {
      fields_.emplace_back(inner_->Fields(ordinal), connection);
      names.push_back(fields_.back().Name());
    }
  }

  ado::ObjectState State() const override { return inner_->State(); }
  std::int32_t RecordCount() const override { return inner_->RecordCount(); }
  bool EndOfRows() const override { return inner_->EndOfRows(); }
  void MoveNext() override {
    connection_.watch_.atRow(connection_.side_);
    inner_->MoveNext();
  }
  bool NextRecordset() override {
    const bool open = inner_->State() == ado::ObjectState::open;
    return (!open || inner_->EndOfRows()) && inner_->NextRecordset();
  }
  std::int32_t FieldCount() const override { return inner_->FieldCount(); }
  const ado::Field& Fields(std::int32_t ordinal) const override {
    return watched(inner_->Fields(ordinal));
  }
  const ado::Field& Fields(std::u16string_view name) const override {
    // Recordsets take the first name that is the same but for case.
    const ado::Field& alike = inner_->Fields(name);
    for (const WatchedField& field : fields_) {
      if (field.Name() == name) return field;
    }
    if (connection_.watch_.names_ == CaseMode::exact) throw ado::noFieldError(name);
    return watched(alike);
  }
  void Sort(std::u16string_view criteria) override { inner_->Sort(criteria); }

 private:
  const ado::Field& watched(const ado::Field& inner) const {
    for (const WatchedField& field : fields_) {
      if (field.shows(inner)) return field;
    }
    return inner;
  }

  std::unique_ptr<ado::Recordset> inner_;
  WatchedConnection& connection_;
  std::vector<WatchedField> fields_;
};

std::unique_ptr<ado::Recordset> WatchedConnection::Open(std::u16string_view source,
                                                        const ado::OpenMode& mode) {
  if (side_ == 0 && !std::exchange(listed_, true)) {
    const auto all = inner_.Open(source, mode);
    ado::RowSet wanted{{all->Fields(0).Name()}, {}};
    for (const std::u16string& name : watch_.wanted_)
      wanted.rows.push_back({ado::StoredValue(name)});
    return std::make_unique<ado::ClientRecordset>(std::deque{std::move(wanted)});
  }
  if (side_ == 0) watch_.begin();
  return std::make_unique<WatchedRecordset>(inner_.Open(source, mode), *this);
}

}  // namespace kelvane::cli
