#include "com/reader.h"

#include <memory>
#include <utility>

#include "com/records.h"

namespace kelvane::com {
namespace {

kelvane::EntityIdentifier identifier(::EntityIdentifier id) {
  return static_cast<kelvane::EntityIdentifier>(id);
}

std::u16string copy(BSTR text) { return std::u16string(textOf(text)); }

}  // namespace

Reader::Reader()
    : reader_(windowsHost()),
      options_(create<ComparisonOptions>(reader_.CompareOptions())),
      scope_(create<AppliesTo>(reader_.AppliesTo())) {}

HRESULT Reader::get_LastError(BSTR* result) {
  return guarded([&] { answer(result) = newText(reader_.LastError()); });
}
HRESULT Reader::put_LastError(BSTR) { return S_OK; }

HRESULT Reader::get_CompareOptions(_cComparisonOptions** result) {
  return guarded([&] { hand(result, options_); });
}
HRESULT Reader::putref_CompareOptions(_cComparisonOptions* newValue) {
  return guarded([&] {
    options_ = ours<ComparisonOptions>(newValue);
    reader_.CompareOptions(options_ ? options_->options() : nullptr);
  });
}
HRESULT Reader::get_AppliesTo(_cAppliesTo** result) {
  return guarded([&] { hand(result, scope_); });
}
HRESULT Reader::putref_AppliesTo(_cAppliesTo* newValue) {
  return guarded([&] {
    scope_ = ours<AppliesTo>(newValue);
    reader_.AppliesTo(scope_ ? scope_->scope() : nullptr);
  });
}
HRESULT Reader::get_conn(IDispatch** result) {
  return guarded(
      [&] { hand(result, Pointer<IDispatch>(connection_ ? connection_->object() : nullptr)); });
}
HRESULT Reader::putref_conn(IDispatch* newValue) {
  return guarded([&] {
    const auto former = connection_;
    connection_ = newValue ? std::make_shared<HostConnection>(newValue) : nullptr;
    reader_.conn(connection_.get());
  });
}

HRESULT Reader::Cancel() {
  return guarded([&] { reader_.Cancel(); });
}
HRESULT Reader::get_IsDataCaseSensitive(VARIANT_BOOL* result) {
  return guarded([&] { answer(result) = reader_.IsDataCaseSensitive().raw(); });
}
HRESULT Reader::get_IsSchemaCaseSensitive(VARIANT_BOOL* result) {
  return guarded([&] { answer(result) = reader_.IsSchemaCaseSensitive().raw(); });
}
HRESULT Reader::ObjectExists(::EntityIdentifier ObjectType, BSTR ObjectName, long* result) {
  return guarded(
      [&] { answer(result) = reader_.ObjectExists(identifier(ObjectType), copy(ObjectName)); });
}

template <class Call>
Boolean Reader::reporting(IDispatch* oEvents, Call&& call) {
  // A sink may let go of anything, the reader included.
  const Pointer<Reader> self(this);
  const auto sink = sinkFor(oEvents);
  const auto connection = connection_;
  const auto end = [](Reader* reader) {
    if (--reader->calls_ == 0) std::exchange(reader->sinks_, {}).clear();
  };
  sinks_.push_back(sink);
  ++calls_;
  const std::unique_ptr<Reader, decltype(end)> ending(this, end);
  return call(*sink);
}

HRESULT Reader::Fetch(IDispatch* oEvents, VARIANT_BOOL* result) {
  return guarded([&] {
    answer(result) = VARIANT_FALSE;
    const Boolean succeeded =
        reporting(oEvents, [&](kelvane::IDBFetchEvents& sink) { return reader_.Fetch(sink); });
    *result = succeeded.raw();
  });
}
HRESULT Reader::GetList(::enumEntityType Entity, IDispatch* oEvents, VARIANT_BOOL* result) {
  return guarded([&] {
    answer(result) = VARIANT_FALSE;
    const Boolean succeeded = reporting(oEvents, [&](kelvane::IDBFetchEvents& sink) {
      return reader_.GetList(static_cast<kelvane::enumEntityType>(Entity), sink);
    });
    *result = succeeded.raw();
  });
}

HRESULT Reader::GetObjectSource(BSTR ObjectName, BSTR ObjectType, BSTR* result) {
  return guarded([&] {
    answer(result) = newText(reader_.GetObjectSource(copy(ObjectName), copy(ObjectType)));
  });
}
HRESULT Reader::GetSubEntityListByName(::EntityIdentifier ParentObjectType,
                                       ::EntityIdentifier ObjectType, BSTR ParentObjectName,
                                       _cEntities** result) {
  return guarded([&] {
    hand(result,
         create<Entities>(reader_.GetSubEntityListByName(
             identifier(ParentObjectType), identifier(ObjectType), copy(ParentObjectName))));
  });
}
HRESULT Reader::GetSubEntityListByIndex(::EntityIdentifier ParentObjectType,
                                        ::EntityIdentifier ObjectType, long index,
                                        _cEntities** result) {
  return guarded([&] {
    hand(result, create<Entities>(reader_.GetSubEntityListByIndex(identifier(ParentObjectType),
                                                                  identifier(ObjectType), index)));
  });
}
HRESULT Reader::GetEntityPropertyListByName(::EntityIdentifier ObjectType, BSTR ObjectName,
                                            _cKeyPairs** result) {
  return guarded([&] {
    hand(result, create<KeyPairs>(reader_.GetEntityPropertyListByName(identifier(ObjectType),
                                                                      copy(ObjectName))));
  });
}
HRESULT Reader::GetEntityPropertyListByIndex(::EntityIdentifier ObjectType, long index,
                                             _cKeyPairs** result) {
  return guarded([&] {
    hand(result,
         create<KeyPairs>(reader_.GetEntityPropertyListByIndex(identifier(ObjectType), index)));
  });
}

HRESULT Reader::Results(::Schema* result) { return GetSchema(result); }
HRESULT Reader::GetSchema(::Schema* result) {
  return guarded([&] { toHost(reader_.GetSchema(), answer(result)); });
}

}  // namespace kelvane::com
