// The readers, for hosts.
//
// Lifetime: keeps the host's connection and the sink of the call under way. Threading: see edge.h.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "com/collections.h"
#include "com/connection.h"
#include "com/records.h"
#include "com/settings.h"
#include "inventory/publish/catalog_fetch.h"
#include "reader/ase_fetch.h"

namespace kelvane::com {

// Published without members.
class ResultsObject final : public Object<ResultsObject, _cResults> {
 public:
  static constexpr const GUID& kClass = __uuidof(::cResults);
};

// A reader as the class `Self` with the dual interface `Interface`, which is IDBFetch and
// GetSchema.
template <class Self, class Interface, class Fetches>
class ReaderObject : public Object<Self, Interface> {
 public:
  HRESULT STDMETHODCALLTYPE get_LastError(BSTR* result) override {
    return guarded([&] { answer(result) = newText(reader_.LastError()); });
  }
  HRESULT STDMETHODCALLTYPE put_LastError(BSTR) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE get_CompareOptions(_cComparisonOptions** result) override {
    return guarded([&] { hand(result, options_); });
  }
  HRESULT STDMETHODCALLTYPE putref_CompareOptions(_cComparisonOptions* newValue) override {
    return guarded([&] {
      options_ = ours<ComparisonOptions>(newValue);
      reader_.CompareOptions(options_ ? options_->options() : nullptr);
    });
  }
  HRESULT STDMETHODCALLTYPE get_AppliesTo(_cAppliesTo** result) override {
    return guarded([&] { hand(result, scope_); });
  }
  HRESULT STDMETHODCALLTYPE putref_AppliesTo(_cAppliesTo* newValue) override {
    return guarded([&] {
      scope_ = ours<AppliesTo>(newValue);
      reader_.AppliesTo(scope_ ? scope_->scope() : nullptr);
    });
  }
  HRESULT STDMETHODCALLTYPE get_conn(IDispatch** result) override {
    return guarded(
        [&] { hand(result, Pointer<IDispatch>(connection_ ? connection_->object() : nullptr)); });
  }
  HRESULT STDMETHODCALLTYPE putref_conn(IDispatch* newValue) override {
    return guarded([&] {
      const auto former = connection_;
      connection_ = newValue ? std::make_shared<HostConnection>(newValue) : nullptr;
      reader_.conn(connection_.get());
    });
  }
  HRESULT STDMETHODCALLTYPE Cancel() override {
    return guarded([&] { reader_.Cancel(); });
  }
  HRESULT STDMETHODCALLTYPE get_IsDataCaseSensitive(VARIANT_BOOL* result) override {
    return guarded([&] { answer(result) = reader_.IsDataCaseSensitive().raw(); });
  }
  HRESULT STDMETHODCALLTYPE get_IsSchemaCaseSensitive(VARIANT_BOOL* result) override {
    return guarded([&] { answer(result) = reader_.IsSchemaCaseSensitive().raw(); });
  }
  HRESULT STDMETHODCALLTYPE ObjectExists(::EntityIdentifier ObjectType, BSTR ObjectName,
                                         long* result) override {
    return guarded(
        [&] { answer(result) = reader_.ObjectExists(identified(ObjectType), copied(ObjectName)); });
  }
  HRESULT STDMETHODCALLTYPE Fetch(IDispatch* oEvents, VARIANT_BOOL* result) override {
    return guarded([&] {
      answer(result) = VARIANT_FALSE;
      const Boolean succeeded =
          reporting(oEvents, [&](kelvane::IDBFetchEvents& sink) { return reader_.Fetch(sink); });
      *result = succeeded.raw();
    });
  }
  HRESULT STDMETHODCALLTYPE GetObjectSource(BSTR ObjectName, BSTR ObjectType,
                                            BSTR* result) override {
    return guarded([&] {
      answer(result) = newText(reader_.GetObjectSource(copied(ObjectName), copied(ObjectType)));
    });
  }
  HRESULT STDMETHODCALLTYPE GetSubEntityListByName(::EntityIdentifier ParentObjectType,
                                                   ::EntityIdentifier ObjectType,
                                                   BSTR ParentObjectName,
                                                   _cEntities** result) override {
    return guarded([&] {
      hand(result,
           create<Entities>(reader_.GetSubEntityListByName(
               identified(ParentObjectType), identified(ObjectType), copied(ParentObjectName))));
    });
  }
  HRESULT STDMETHODCALLTYPE GetSubEntityListByIndex(::EntityIdentifier ParentObjectType,
                                                    ::EntityIdentifier ObjectType, long index,
                                                    _cEntities** result) override {
    return guarded([&] {
      hand(result, create<Entities>(reader_.GetSubEntityListByIndex(
                       identified(ParentObjectType), identified(ObjectType), index)));
    });
  }
  HRESULT STDMETHODCALLTYPE GetEntityPropertyListByName(::EntityIdentifier ObjectType,
                                                        BSTR ObjectName,
                                                        _cKeyPairs** result) override {
    return guarded([&] {
      hand(result, create<KeyPairs>(reader_.GetEntityPropertyListByName(identified(ObjectType),
                                                                        copied(ObjectName))));
    });
  }
  HRESULT STDMETHODCALLTYPE GetEntityPropertyListByIndex(::EntityIdentifier ObjectType, long index,
                                                         _cKeyPairs** result) override {
    return guarded([&] {
      hand(result,
           create<KeyPairs>(reader_.GetEntityPropertyListByIndex(identified(ObjectType), index)));
    });
  }
  HRESULT STDMETHODCALLTYPE Results(::Schema* result) override { return GetSchema(result); }
  HRESULT STDMETHODCALLTYPE GetList(::enumEntityType Entity, IDispatch* oEvents,
                                    VARIANT_BOOL* result) override {
    return guarded([&] {
      answer(result) = VARIANT_FALSE;
      const Boolean succeeded = reporting(oEvents, [&](kelvane::IDBFetchEvents& sink) {
        return reader_.GetList(static_cast<kelvane::enumEntityType>(Entity), sink);
      });
      *result = succeeded.raw();
    });
  }
  HRESULT STDMETHODCALLTYPE GetSchema(::Schema* result) override {
    return guarded([&] { toHost(reader_.GetSchema(), answer(result)); });
  }

 private:
  static kelvane::EntityIdentifier identified(::EntityIdentifier id) {
    return static_cast<kelvane::EntityIdentifier>(id);
  }
  static std::u16string copied(BSTR text) { return std::u16string(textOf(text)); }

  bool isInterface(REFIID id) const override {
    return id == __uuidof(Interface) || id == __uuidof(::IDBFetch);
  }

  // Runs a call that reports to a sink, with all that it needs kept until it ends.
  template <class Call>
  Boolean reporting(IDispatch* oEvents, Call&& call) {
    // A sink may let go of anything, the reader included.
    const Pointer<Self> self(static_cast<Self*>(this));
    const auto sink = sinkFor(oEvents);
    const auto connection = connection_;
    const auto end = [](ReaderObject* reader) {
      if (--reader->calls_ == 0) std::exchange(reader->sinks_, {}).clear();
    };
    sinks_.push_back(sink);
    ++calls_;
    const std::unique_ptr<ReaderObject, decltype(end)> ending(this, end);
    return call(*sink);
  }

  Fetches reader_{windowsHost()};
  Pointer<ComparisonOptions> options_ = create<ComparisonOptions>(reader_.CompareOptions());
  Pointer<AppliesTo> scope_ = create<AppliesTo>(reader_.AppliesTo());
  std::shared_ptr<HostConnection> connection_;
  // Those of the calls under way, of which there may be one from within another: the reader goes on
  // reporting to the last one. None is kept longer, as a sink may well keep its reader.
  std::vector<std::shared_ptr<kelvane::IDBFetchEvents>> sinks_;
  int calls_ = 0;
};

class Reader final : public ReaderObject<Reader, _cASE_Fetch, kelvane::cASE_Fetch> {
 public:
  static constexpr const GUID& kClass = __uuidof(::cASE_Fetch);
};

class CatalogReader final
    : public ReaderObject<CatalogReader, _cASE_CatalogFetch, kelvane::cASE_CatalogFetch> {
 public:
  static constexpr const GUID& kClass = __uuidof(::cASE_CatalogFetch);
};

}  // namespace kelvane::com
