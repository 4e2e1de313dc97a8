#include "com/records.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

#include "com/object.h"
#include "com/record_list.h"
#include "model/fields.h"
#include "model/text.h"

namespace kelvane::com {
namespace {

// The structure that hosts know a record by, and its identifier.
template <class Record>
struct Published;
#define KELVANE_PUBLISHED(number, record)                                                \
  template <>                                                                            \
  struct Published<record> {                                                             \
    using Structure = ::record;                                                          \
    static constexpr GUID kId{                                                           \
        0x2590cae9, 0x6f4c, 0x4bda, {0xae, 0xd6, 0x9c, 0xb1, 0xbc, 0xfa, 0x01, number}}; \
  };
KELVANE_RECORDS(KELVANE_PUBLISHED)
#undef KELVANE_PUBLISHED

template <class Value>
constexpr bool isArray = false;
template <class Item>
constexpr bool isArray<Array<Item>> = true;

// Where a field stands in the structure follows from the sizes of those before it.
template <class Value>
constexpr std::size_t sizeInHost() {
  if constexpr (HasFields<Value>) {
    return sizeof(typename Published<Value>::Structure);
  } else if constexpr (isArray<Value> || std::is_same_v<Value, std::u16string>) {
    return sizeof(void*);
  } else {
    return sizeof(Value);
  }
}
template <class Value>
constexpr std::size_t alignmentInHost() {
  if constexpr (HasFields<Value>) {
    return alignof(typename Published<Value>::Structure);
  } else {
    return sizeInHost<Value>();
  }
}
constexpr std::size_t aligned(std::size_t offset, std::size_t alignment) {
  return (offset + alignment - 1) / alignment * alignment;
}

// Calls `visit` with each field's address in the component and in the host.
template <class Record, class Byte, class Visit>
void eachField(Record& record, Byte* structure, Visit&& visit) {
  std::size_t offset = 0;
  const auto one = [&](const auto& field) {
    auto& value = record.*field.value;
    using Value = std::remove_cvref_t<decltype(value)>;
    offset = aligned(offset, alignmentInHost<Value>());
    visit(value, structure + offset);
    offset += sizeInHost<Value>();
  };
  std::apply([&](const auto&... field) { (one(field), ...); },
             kFields<std::remove_const_t<Record>>);
}

// The fields fill the structure; a table's recordset, which is not among them, stands last.
template <class Record>
consteval bool fits() {
  std::size_t offset = 0;
  std::size_t alignment = 1;
  std::apply(
      [&]<class... Value>(const Field<Record, Value>&...) {
        ((offset = aligned(offset, alignmentInHost<Value>()) + sizeInHost<Value>(),
          alignment = std::max(alignment, alignmentInHost<Value>())),
         ...);
      },
      kFields<Record>);
  if (std::is_same_v<Record, Table>) offset = aligned(offset, sizeof(void*)) + sizeof(void*);
  return aligned(offset, alignment) == sizeof(typename Published<Record>::Structure);
}
#define KELVANE_FITS(number, record) static_assert(fits<record>());
KELVANE_RECORDS(KELVANE_FITS)
#undef KELVANE_FITS

template <class Value>
void store(const Value& value, std::byte* place) {
  std::ranges::copy(std::as_bytes(std::span(&value, 1)), place);
}
template <class Value>
Value load(const std::byte* place) {
  Value value;
  const auto bytes = std::as_writable_bytes(std::span(&value, 1));
  std::copy_n(place, bytes.size(), bytes.data());
  return value;
}

// Descriptions of the records whose arrays are made, each asked for once.
class Descriptions {
 public:
  template <class Record>
  IRecordInfo* of() {
    Pointer<IRecordInfo>& description = cache_[Published<Record>::kId.Data4[7]];
    if (!description)
      require(
          GetRecordInfoFromTypeInfo(describe(Published<Record>::kId).get(), description.receive()),
          u"The type library does not describe its records");
    return description.get();
  }

 private:
  // By the number of the record, which is a byte.
  Pointer<IRecordInfo> cache_[256];
};

template <class Record>
void clearRecord(std::byte* structure) noexcept;

// Ends an array with all that its records hold. The system's own function leaves that to the
// description of the record, which not every system has right.
template <class Item>
void destroyArray(SAFEARRAY* array) noexcept {
  if (!array) return;
  auto* items = static_cast<std::byte*>(array->pvData);
  for (ULONG i = 0; i < array->rgsabound[0].cElements; ++i)
    clearRecord<Item>(items + static_cast<std::size_t>(i) * array->cbElements);
  // What is left has nothing to clear: it is no longer an array of records.
  SafeArraySetRecordInfo(array, nullptr);
  array->fFeatures &= static_cast<USHORT>(~FADF_RECORD);
  SafeArrayDestroy(array);
}

template <class Record>
void clearRecord(std::byte* structure) noexcept {
  std::size_t offset = 0;
  const auto one = [&]<class Value>(const Field<Record, Value>&) {
    offset = aligned(offset, alignmentInHost<Value>());
    std::byte* place = structure + offset;
    if constexpr (std::is_same_v<Value, std::u16string>) {
      SysFreeString(load<BSTR>(place));
    } else if constexpr (isArray<Value>) {
      destroyArray<typename Value::value_type>(load<SAFEARRAY*>(place));
    } else if constexpr (HasFields<Value>) {
      clearRecord<Value>(place);
    }
    offset += sizeInHost<Value>();
  };
  std::apply([&](const auto&... field) { (one(field), ...); }, kFields<Record>);
}

template <class Record>
void writeRecord(const Record& record, std::byte* structure, Descriptions& descriptions);

template <class Item>
SAFEARRAY* newArray(const Array<Item>& items, Descriptions& descriptions) {
  if (items.empty()) return nullptr;
  SAFEARRAYBOUND bound{static_cast<ULONG>(items.count()), 1};
  SAFEARRAY* array = SafeArrayCreateEx(VT_RECORD, 1, &bound, descriptions.of<Item>());
  if (!array) throw std::bad_alloc();
  std::unique_ptr<SAFEARRAY, void (*)(SAFEARRAY*)> made(array, destroyArray<Item>);
  auto* place = static_cast<std::byte*>(array->pvData);
  for (const Item& item : items) {
    writeRecord(item, place, descriptions);
    place += array->cbElements;
  }
  return made.release();
}

// `structure` is all zero before; should this fail, it holds what was written until then.
template <class Record>
void writeRecord(const Record& record, std::byte* structure, Descriptions& descriptions) {
  eachField(record, structure, [&]<class Value>(const Value& value, std::byte* place) {
    if constexpr (std::is_same_v<Value, std::u16string>) {
      // A null is an empty text, too.
      if (!value.empty()) store(newText(value), place);
    } else if constexpr (std::is_same_v<Value, Boolean>) {
      store(value.raw(), place);
    } else if constexpr (isArray<Value>) {
      store(newArray(value, descriptions), place);
    } else if constexpr (HasFields<Value>) {
      writeRecord(value, place, descriptions);
    } else {
      store(value, place);
    }
  });
}

template <class Record>
void handOver(const Record& record, typename Published<Record>::Structure& place) {
  auto* structure = reinterpret_cast<std::byte*>(&place);
  std::memset(structure, 0, sizeof place);
  Descriptions descriptions;
  try {
    writeRecord(record, structure, descriptions);
  } catch (...) {
    clear(place);
    throw;
  }
}

template <class Record>
void empty(typename Published<Record>::Structure& place) noexcept {
  auto* structure = reinterpret_cast<std::byte*>(&place);
  clearRecord<Record>(structure);
  std::memset(structure, 0, sizeof place);
}

template <class Record>
void readRecord(const std::byte* structure, Record& record);

template <class Item>
void readArray(SAFEARRAY* array, Array<Item>& items) {
  if (!array || !array->pvData) return;
  const SAFEARRAYBOUND& bound = array->rgsabound[0];
  const std::int64_t last = std::int64_t{bound.lLbound} + bound.cElements - 1;
  if (SafeArrayGetDim(array) != 1 || !std::in_range<std::int32_t>(last) ||
      SafeArrayGetElemsize(array) != sizeof(typename Published<Item>::Structure))
    throw RuntimeError(ErrorNumber::typeMismatch,
                       u"An array of the record does not hold the records that it should");
  if (bound.cElements == 0 || last < 1) return;
  if (bound.lLbound > 1)
    throw RuntimeError(ErrorNumber::outOfRange, u"An array of the record begins with index " +
                                                    decimalText(bound.lLbound) + u" instead of 1");
  // Elements are known by their index: what stands below 1 is nobody's.
  const auto* element =
      static_cast<const std::byte*>(array->pvData) +
      static_cast<std::size_t>(1 - std::int64_t{bound.lLbound}) * array->cbElements;
  items.reserve(static_cast<std::int32_t>(last));
  for (std::int64_t at = 1; at <= last; ++at, element += array->cbElements) {
    Item item;
    readRecord(element, item);
    items.append(std::move(item));
  }
}

template <class Record>
void readRecord(const std::byte* structure, Record& record) {
  eachField(record, structure, []<class Value>(Value& value, const std::byte* place) {
    if constexpr (std::is_same_v<Value, std::u16string>) {
      value = textOf(load<BSTR>(place));
    } else if constexpr (std::is_same_v<Value, Boolean>) {
      value = Boolean::fromRaw(load<std::int16_t>(place));
    } else if constexpr (isArray<Value>) {
      readArray(load<SAFEARRAY*>(place), value);
    } else if constexpr (HasFields<Value>) {
      readRecord(place, value);
    } else {
      value = load<Value>(place);
    }
  });
}

template <class Record>
Record read(const typename Published<Record>::Structure& structure) {
  Record record;
  readRecord(reinterpret_cast<const std::byte*>(&structure), record);
  return record;
}

}  // namespace

void toHost(const Schema& schema, ::Schema& place) { handOver(schema, place); }
void toHost(const diffSchema& differences, ::diffSchema& place) { handOver(differences, place); }

void clear(::Schema& schema) noexcept { empty<Schema>(schema); }
void clear(::diffSchema& differences) noexcept { empty<diffSchema>(differences); }

Schema fromHost(const ::Schema& schema) { return read<Schema>(schema); }
diffSchema fromHost(const ::diffSchema& differences) { return read<diffSchema>(differences); }

}  // namespace kelvane::com
