// The reader, for hosts.
//
// Lifetime: keeps the host's connection and the sink of the call under way. Threading: see edge.h.
#pragma once

#include <memory>
#include <vector>

#include "com/collections.h"
#include "com/connection.h"
#include "com/settings.h"
#include "reader/ase_fetch.h"

namespace kelvane::com {

// Published without members.
class ResultsObject final : public Object<ResultsObject, _cResults> {
 public:
  static constexpr const GUID& kClass = __uuidof(::cResults);
};

class Reader final : public Object<Reader, _cASE_Fetch> {
 public:
  static constexpr const GUID& kClass = __uuidof(::cASE_Fetch);

  Reader();

  HRESULT STDMETHODCALLTYPE get_LastError(BSTR* result) override;
  HRESULT STDMETHODCALLTYPE put_LastError(BSTR newValue) override;
  HRESULT STDMETHODCALLTYPE get_CompareOptions(_cComparisonOptions** result) override;
  HRESULT STDMETHODCALLTYPE putref_CompareOptions(_cComparisonOptions* newValue) override;
  HRESULT STDMETHODCALLTYPE get_AppliesTo(_cAppliesTo** result) override;
  HRESULT STDMETHODCALLTYPE putref_AppliesTo(_cAppliesTo* newValue) override;
  HRESULT STDMETHODCALLTYPE get_conn(IDispatch** result) override;
  HRESULT STDMETHODCALLTYPE putref_conn(IDispatch* newValue) override;
  HRESULT STDMETHODCALLTYPE Cancel() override;
  HRESULT STDMETHODCALLTYPE get_IsDataCaseSensitive(VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE get_IsSchemaCaseSensitive(VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE ObjectExists(::EntityIdentifier ObjectType, BSTR ObjectName,
                                         long* result) override;
  HRESULT STDMETHODCALLTYPE Fetch(IDispatch* oEvents, VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE GetObjectSource(BSTR ObjectName, BSTR ObjectType,
                                            BSTR* result) override;
  HRESULT STDMETHODCALLTYPE GetSubEntityListByName(::EntityIdentifier ParentObjectType,
                                                   ::EntityIdentifier ObjectType,
                                                   BSTR ParentObjectName,
                                                   _cEntities** result) override;
  HRESULT STDMETHODCALLTYPE GetSubEntityListByIndex(::EntityIdentifier ParentObjectType,
                                                    ::EntityIdentifier ObjectType, long index,
                                                    _cEntities** result) override;
  HRESULT STDMETHODCALLTYPE GetEntityPropertyListByName(::EntityIdentifier ObjectType,
                                                        BSTR ObjectName,
                                                        _cKeyPairs** result) override;
  HRESULT STDMETHODCALLTYPE GetEntityPropertyListByIndex(::EntityIdentifier ObjectType, long index,
                                                         _cKeyPairs** result) override;
  HRESULT STDMETHODCALLTYPE Results(::Schema* result) override;
  HRESULT STDMETHODCALLTYPE GetList(::enumEntityType Entity, IDispatch* oEvents,
                                    VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE GetSchema(::Schema* result) override;

 private:
  bool isInterface(REFIID id) const override {
    return id == __uuidof(_cASE_Fetch) || id == __uuidof(::IDBFetch);
  }
  // Runs a call that reports to a sink, with all that it needs kept until it ends.
  template <class Call>
  Boolean reporting(IDispatch* oEvents, Call&& call);

  cASE_Fetch reader_;
  Pointer<ComparisonOptions> options_;
  Pointer<AppliesTo> scope_;
  std::shared_ptr<HostConnection> connection_;
  // Those of the calls under way, of which there may be one from within another: the reader goes on
  // reporting to the last one. None is kept longer, as a sink may well keep its reader.
  std::vector<std::shared_ptr<kelvane::IDBFetchEvents>> sinks_;
  int calls_ = 0;
};

}  // namespace kelvane::com
