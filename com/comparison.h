// The comparisons of schemas and of data, and the collector of differences, for hosts.
//
// Lifetime: they keep the host's preferences and connections. Threading: see edge.h.
#pragma once

#include <map>
#include <memory>

#include "com/connection.h"
#include "com/settings.h"
#include "compare/compare_schema.h"
#include "data/table_comparison.h"

namespace kelvane::com {

class CompareDiff final : public Object<CompareDiff, _cCompareDiff> {
 public:
  static constexpr const GUID& kClass = __uuidof(::cCompareDiff);

  CompareDiff() : CompareDiff(std::make_shared<cCompareDiff>(windowsHost())) {}
  explicit CompareDiff(std::shared_ptr<cCompareDiff> collector)
      : collector_(std::move(collector)) {}

  HRESULT STDMETHODCALLTYPE get_IsSchemaCaseSensitive(VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE put_IsSchemaCaseSensitive(VARIANT_BOOL newValue) override;
  HRESULT STDMETHODCALLTYPE get_IsDataCaseSensitive(VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE put_IsDataCaseSensitive(VARIANT_BOOL newValue) override;
  HRESULT STDMETHODCALLTYPE get_Entity(BSTR* result) override;
  HRESULT STDMETHODCALLTYPE put_Entity(BSTR newValue) override;
  HRESULT STDMETHODCALLTYPE get_Owner(BSTR* result) override;
  HRESULT STDMETHODCALLTYPE put_Owner(BSTR newValue) override;
  HRESULT STDMETHODCALLTYPE Add(BSTR Entity, BSTR SubEntityType, BSTR EntityTreeType,
                                BSTR EntityTreeDef, ::enumLocation Location,
                                ::enumDiffType DiffType, VARIANT DataOnSource,
                                VARIANT DataOnTarget) override;
  HRESULT STDMETHODCALLTYPE GetDifferences(::diffSchema* result) override;

 private:
  std::shared_ptr<cCompareDiff> collector_;
};

// The members of the host that both comparisons have: what to compare, which objects, and the
// user's preferences.
template <class Self, class Interface, class Comparison>
class ComparisonObject : public Object<Self, Interface> {
 public:
  HRESULT STDMETHODCALLTYPE get_CompareOptions(_cComparisonOptions** result) override {
    return guarded([&] { hand(result, options_); });
  }
  HRESULT STDMETHODCALLTYPE putref_CompareOptions(_cComparisonOptions* newValue) override {
    return guarded([&] {
      options_ = ours<ComparisonOptions>(newValue);
      comparison_.CompareOptions = options_ ? options_->options() : nullptr;
    });
  }
  HRESULT STDMETHODCALLTYPE get_AppliesTo(_cAppliesTo** result) override {
    return guarded([&] { hand(result, scope_); });
  }
  HRESULT STDMETHODCALLTYPE putref_AppliesTo(_cAppliesTo* newValue) override {
    return guarded([&] {
      scope_ = ours<com::AppliesTo>(newValue);
      comparison_.AppliesTo = scope_ ? scope_->scope() : nullptr;
    });
  }
  HRESULT STDMETHODCALLTYPE get_AppPreferences(IDispatch** result) override {
    return guarded(
        [&] { hand(result, Pointer<IDispatch>(preferences_ ? preferences_->object() : nullptr)); });
  }
  HRESULT STDMETHODCALLTYPE putref_AppPreferences(IDispatch* newValue) override {
    return guarded([&] {
      preferences_ = newValue ? std::make_shared<HostPreferences>(newValue) : nullptr;
      comparison_.AppPreferences = preferences_.get();
    });
  }

 protected:
  template <class... Arguments>
  explicit ComparisonObject(Arguments&... arguments) : comparison_(arguments...) {}

  Comparison comparison_;
  std::shared_ptr<HostPreferences> preferences_;

 private:
  Pointer<ComparisonOptions> options_;
  Pointer<com::AppliesTo> scope_;
};

class CompareSchema final
    : public ComparisonObject<CompareSchema, _cCompareSchema, kelvane::cCompareSchema> {
 public:
  static constexpr const GUID& kClass = __uuidof(::cCompareSchema);

  CompareSchema();

  HRESULT STDMETHODCALLTYPE Cancel() override;
  HRESULT STDMETHODCALLTYPE Compare(::Schema* SourceSchema, ::Schema* TargetSchema,
                                    ::enumOutputType OutputType, VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE get_cCompareDifference(_cCompareDiff** result) override;
  HRESULT STDMETHODCALLTYPE GetArrayOfDifferences(SAFEARRAY** result) override;
  HRESULT STDMETHODCALLTYPE get_LastError(BSTR* result) override;
  HRESULT STDMETHODCALLTYPE get_Results(::diffSchema* result) override;
  HRESULT STDMETHODCALLTYPE get_IsDataCaseSensitive(VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE put_IsDataCaseSensitive(VARIANT_BOOL newValue) override;
  HRESULT STDMETHODCALLTYPE get_IsSchemaCaseSensitive(VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE put_IsSchemaCaseSensitive(VARIANT_BOOL newValue) override;

 private:
  Pointer<CompareDiff> collector_;
};

// The place where hosts sign up for the events of a comparison. None of them is ever raised.
class EventConnections final : public IConnectionPoint {
 public:
  explicit EventConnections(IConnectionPointContainer& owner) : owner_(&owner) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return owner_->AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return owner_->Release(); }
  HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* id) override;
  HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** owner) override;
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override;
  HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
  HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** connections) override;

 private:
  IConnectionPointContainer* owner_;  // of which this is a part
  std::map<DWORD, Pointer<IDispatch>> sinks_;
  DWORD lastCookie_ = 0;
};

class TableComparison final
    : public ComparisonObject<TableComparison, _cTableComparison, kelvane::cTableComparison>,
      public IConnectionPointContainer {
 public:
  static constexpr const GUID& kClass = __uuidof(::cTableComparison);

  TableComparison() : events_(*this) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    return Object::QueryInterface(id, object);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return Object::AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return Object::Release(); }

  HRESULT STDMETHODCALLTYPE get_ConnSource(IDispatch** result) override;
  HRESULT STDMETHODCALLTYPE putref_ConnSource(IDispatch* newValue) override;
  HRESULT STDMETHODCALLTYPE get_ConnTarget(IDispatch** result) override;
  HRESULT STDMETHODCALLTYPE putref_ConnTarget(IDispatch* newValue) override;
  HRESULT STDMETHODCALLTYPE Compare(VARIANT_BOOL* result) override;

  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** points) override;
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID id, IConnectionPoint** point) override;

 private:
  void* further(REFIID id) override;

  std::shared_ptr<HostConnection> source_;
  std::shared_ptr<HostConnection> target_;
  EventConnections events_;
};

}  // namespace kelvane::com
