#include "com/connection.h"

#include <array>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <deque>
#include <utility>
#include <vector>

#include "ado/client_recordset.h"
#include "ado/recordset_errors.h"
#include "model/text.h"

namespace kelvane::com {
namespace {

// Numbers are rounded once, to what they are declared as: in 32-bit builds, too.
static_assert(FLT_EVAL_METHOD == 0);

constexpr std::int32_t kAllRows = -1;
// So many rows of a forward-only result are asked for at a time.
constexpr std::int32_t kBlock = 512;
constexpr std::int32_t kOpen = 1;  // a flag among others

// A failure of ADO is the driver's.
template <class Body>
auto asFailure(Body&& body) {
  try {
    return std::forward<Body>(body)();
  } catch (const RuntimeError& error) {
    throw ado::Failure(error.Number(), error.Description(), error.Source());
  }
}

ado::DateTime dateTime(DATE date) {
  constexpr double kMilliseconds = 86'400'000;
  // Days since 1899-12-30; the fraction counts forward also behind a negative day.
  const double day = std::trunc(date);
  auto days = static_cast<std::int32_t>(day) - 2;
  auto milliseconds = std::llround(std::fabs(date - day) * kMilliseconds);
  if (milliseconds >= static_cast<long long>(kMilliseconds)) {
    milliseconds = 0;
    ++days;
  }
  return {days, milliseconds * 1'000'000, ado::DateTime::Parts::both};
}

ado::Decimal decimal(const DECIMAL& number) {
  return {{number.Lo64, number.Hi32}, number.scale, (number.sign & DECIMAL_NEG) != 0};
}

ado::Decimal currency(LONGLONG tenThousandths) {
  const bool negative = tenThousandths < 0;
  const auto magnitude = static_cast<std::uint64_t>(tenThousandths);
  return {{negative ? 0 - magnitude : magnitude, 0}, 4, negative};
}

ado::StoredValue bytes(SAFEARRAY* array) {
  if (SafeArrayGetDim(array) != 1)
    throw RuntimeError(ErrorNumber::typeMismatch, u"The field holds an array");
  const ado::Bytes view(static_cast<const std::byte*>(array->pvData),
                        array->rgsabound[0].cElements);
  return ado::StoredValue(ado::Value(view));
}

ado::StoredValue stored(const VARIANT& value) {
  const auto simple = [](auto plain) { return ado::StoredValue(ado::Value(plain)); };
  const auto integer = [&](auto number) { return simple(static_cast<std::int64_t>(number)); };
  switch (value.vt) {
    case VT_EMPTY:
    case VT_NULL:
      return {};
    case VT_BSTR:
      return ado::StoredValue(std::u16string(textOf(value.bstrVal)));
    case VT_BOOL:
      return simple(value.boolVal != 0);
    case VT_I1:
      return integer(static_cast<signed char>(value.cVal));
    case VT_UI1:
      return integer(value.bVal);
    case VT_I2:
      return integer(value.iVal);
    case VT_UI2:
      return integer(value.uiVal);
    case VT_I4:
      return integer(value.lVal);
    case VT_UI4:
      return integer(value.ulVal);
    case VT_INT:
      return integer(value.intVal);
    case VT_UINT:
      return integer(value.uintVal);
    case VT_I8:
      return integer(value.llVal);
    case VT_UI8:
      return simple(static_cast<std::uint64_t>(value.ullVal));
    case VT_R4:
      return simple(value.fltVal);
    case VT_R8:
      return simple(value.dblVal);
    case VT_CY:
      return simple(currency(value.cyVal.int64));
    case VT_DECIMAL:
      return simple(decimal(value.decVal));
    case VT_DATE:
      return simple(dateTime(value.date));
    case VT_ARRAY | VT_UI1:
      return bytes(value.parray);
    default:
      throw RuntimeError(
          ErrorNumber::typeMismatch,
          u"A field is of the type " + decimalText(value.vt) + u", which is not known");
  }
}

class HostRecordset final : public ado::Recordset {
 public:
  HostRecordset(Automation recordset, bool clientSide)
      : recordset_(std::move(recordset)), clientSide_(clientSide) {
    openResult();
  }
  HostRecordset(const HostRecordset&) = delete;  // its fields refer to it
  HostRecordset& operator=(const HostRecordset&) = delete;

  ado::ObjectState State() const override {
    return open_ ? ado::ObjectState::open : ado::ObjectState::closed;
  }
  std::int32_t RecordCount() const override {
    requireOpen();
    return clientSide_ ? static_cast<std::int32_t>(rows_.size()) : -1;
  }
  bool EndOfRows() const override {
    requireOpen();
    return row_ >= rows_.size();
  }
  void MoveNext() override {
    requireOpen();
    if (row_ >= rows_.size()) throw ado::noRowError();
    if (++row_ == rows_.size() && !clientSide_) asFailure([&] { readRows(); });
  }
  bool NextRecordset() override {
    return asFailure([&] {
      if (!recordset_.get()) return false;
      Variant next;
      recordset_.call(L"NextRecordset", {}, &next);
      recordset_ = Automation(objectOf(*next));
      openResult();
      return recordset_.get() != nullptr;
    });
  }

  std::int32_t FieldCount() const override { return static_cast<std::int32_t>(fields_.size()); }
  const ado::Field& Fields(std::int32_t ordinal) const override {
    if (ordinal < 0 || ordinal >= FieldCount()) throw ado::noFieldError(decimalText(ordinal));
    return fields_[static_cast<std::size_t>(ordinal)];
  }
  const ado::Field& Fields(std::u16string_view name) const override {
    for (const RowField& field : fields_)
      if (equalText(field.Name(), name, CaseMode::ignore)) return field;
    throw ado::noFieldError(name);
  }

  void Sort(std::u16string_view criteria) override {
    requireOpen();
    if (!clientSide_) throw ado::forwardOnlyError();
    asFailure([&] {
      recordset_.put(L"Sort", Variant(criteria));
      if (rows_.empty()) return;
      recordset_.call(L"MoveFirst");
      readRows();
    });
  }

 private:
  class RowField final : public ado::Field {
   public:
    RowField(const HostRecordset& owner, std::size_t ordinal, std::u16string name)
        : owner_(&owner), ordinal_(ordinal), name_(std::move(name)) {}

    const std::u16string& Name() const override { return name_; }
    ado::Value Value() const override {
      if (owner_->row_ >= owner_->rows_.size()) throw ado::noRowError();
      return owner_->rows_[owner_->row_][ordinal_].view();
    }

   private:
    const HostRecordset* owner_;
    std::size_t ordinal_;
    std::u16string name_;
  };

  void requireOpen() const {
    if (!open_) throw ado::closedError();
  }

  void openResult() {
    fields_.clear();
    rows_.clear();
    row_ = 0;
    open_ = recordset_.get() && (recordset_.number(L"State") & kOpen);
    if (!open_) return;
    Automation fields = recordset_.object(L"Fields");
    const std::int32_t count = fields.number(L"Count");
    for (std::int32_t ordinal = 0; ordinal < count; ++ordinal) {
      Variant field;
      fields.item(ordinal, field);
      fields_.emplace_back(*this, fields_.size(), Automation(objectOf(*field)).text(L"Name"));
    }
    readRows();
  }

  // The rows from the current one on: all of them, or a block. ADO answers with a table, the fields
  // of a row side by side.
  void readRows() {
    rows_.clear();
    row_ = 0;
    if (recordset_.boolean(L"EOF")) return;
    const Variant count(clientSide_ ? kAllRows : kBlock);
    std::array arguments{*count};
    Variant table;
    recordset_.call(L"GetRows", arguments, &table);
    SAFEARRAY* array = table->vt == (VT_ARRAY | VT_VARIANT) ? table->parray : nullptr;
    if (!array || SafeArrayGetDim(array) != 2)
      throw RuntimeError(ErrorNumber::typeMismatch, u"GetRows did not answer with a table");
    // Bounds stand in the reverse of their order.
    const std::size_t rowCount = array->rgsabound[0].cElements;
    if (array->rgsabound[1].cElements != fields_.size())
      throw RuntimeError(ErrorNumber::typeMismatch, u"GetRows did not answer with all fields");
    const auto* values = static_cast<const VARIANT*>(array->pvData);
    rows_.reserve(rowCount);
    for (std::size_t row = 0; row < rowCount; ++row) {
      std::vector<ado::StoredValue>& one = rows_.emplace_back();
      one.reserve(fields_.size());
      for (std::size_t field = 0; field < fields_.size(); ++field) one.push_back(stored(*values++));
    }
  }

  Automation recordset_;
  bool clientSide_;
  bool open_ = false;
  std::deque<RowField> fields_;
  std::vector<std::vector<ado::StoredValue>> rows_;
  std::size_t row_ = 0;
};

Automation newRecordset() {
  CLSID id;
  require(CLSIDFromProgID(L"ADODB.Recordset", &id), u"ADO is not installed");
  Pointer<IDispatch> recordset;
  require(CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IDispatch),
                           reinterpret_cast<void**>(recordset.receive())),
          u"ADO does not make a recordset");
  return Automation(std::move(recordset));
}

}  // namespace

std::unique_ptr<ado::Recordset> HostConnection::Open(std::u16string_view source,
                                                     const ado::OpenMode& mode) {
  return asFailure([&]() -> std::unique_ptr<ado::Recordset> {
    Automation recordset = newRecordset();
    recordset.put(L"Source", Variant(source));
    recordset.put(L"CursorLocation", Variant(static_cast<std::int32_t>(mode.location)));
    const Variant connection(object_.get()), cursor(static_cast<std::int32_t>(mode.cursorType)),
        lock(static_cast<std::int32_t>(mode.lockType)), options(mode.options);
    VARIANT sourceAsSet{};
    sourceAsSet.vt = VT_ERROR;
    sourceAsSet.scode = DISP_E_PARAMNOTFOUND;
    std::array arguments{sourceAsSet, *connection, *cursor, *lock, *options};
    recordset.call(L"Open", arguments);
    return std::make_unique<HostRecordset>(std::move(recordset),
                                           mode.location == ado::CursorLocation::client);
  });
}

const std::vector<ado::Error>& HostConnection::Errors() const {
  errors_.clear();
  Automation errors = object_.object(L"Errors");
  const std::int32_t count = errors.number(L"Count");
  for (std::int32_t i = 0; i < count; ++i) {
    Variant item;
    errors.item(i, item);
    Automation error(objectOf(*item));
    errors_.push_back({error.number(L"Number"), error.text(L"Description"),
                       error.number(L"NativeError"), error.text(L"Source"),
                       error.text(L"SQLState")});
  }
  return errors_;
}

}  // namespace kelvane::com
