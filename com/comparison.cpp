#include "com/comparison.h"

#include <olectl.h>

#include "com/enumeration.h"
#include "com/records.h"

namespace kelvane::com {
namespace {

// What was left out is an empty text.
std::u16string dataText(const VARIANT& value) {
  return isMissing(value) ? std::u16string() : textOf(value);
}

IDispatch* objectOf(const std::shared_ptr<HostConnection>& connection) {
  return connection ? connection->object() : nullptr;
}

std::shared_ptr<HostConnection> connectionFor(IDispatch* object) {
  return object ? std::make_shared<HostConnection>(object) : nullptr;
}

}  // namespace

HRESULT CompareDiff::get_IsSchemaCaseSensitive(VARIANT_BOOL* result) {
  return guarded([&] { answer(result) = collector_->IsSchemaCaseSensitive().raw(); });
}
HRESULT CompareDiff::put_IsSchemaCaseSensitive(VARIANT_BOOL newValue) {
  return guarded([&] { collector_->IsSchemaCaseSensitive(Boolean::fromRaw(newValue)); });
}
HRESULT CompareDiff::get_IsDataCaseSensitive(VARIANT_BOOL* result) {
  return guarded([&] { answer(result) = collector_->IsDataCaseSensitive().raw(); });
}
HRESULT CompareDiff::put_IsDataCaseSensitive(VARIANT_BOOL newValue) {
  return guarded([&] { collector_->IsDataCaseSensitive(Boolean::fromRaw(newValue)); });
}
HRESULT CompareDiff::get_Entity(BSTR* result) {
  return guarded([&] { answer(result) = newText(collector_->Entity()); });
}
HRESULT CompareDiff::put_Entity(BSTR newValue) {
  return guarded([&] { collector_->Entity(textOf(newValue)); });
}
HRESULT CompareDiff::get_Owner(BSTR* result) {
  return guarded([&] { answer(result) = newText(collector_->Owner()); });
}
HRESULT CompareDiff::put_Owner(BSTR newValue) {
  return guarded([&] { collector_->Owner(textOf(newValue)); });
}
HRESULT CompareDiff::Add(BSTR Entity, BSTR SubEntityType, BSTR EntityTreeType, BSTR EntityTreeDef,
                         ::enumLocation Location, ::enumDiffType DiffType, VARIANT DataOnSource,
                         VARIANT DataOnTarget) {
  return guarded([&] {
    const std::u16string onSource = dataText(DataOnSource), onTarget = dataText(DataOnTarget);
    collector_->Add(textOf(Entity), textOf(SubEntityType), textOf(EntityTreeType),
                    textOf(EntityTreeDef), static_cast<kelvane::enumLocation>(Location),
                    static_cast<kelvane::enumDiffType>(DiffType), onSource, onTarget);
  });
}
HRESULT CompareDiff::GetDifferences(::diffSchema* result) {
  return guarded([&] { toHost(collector_->GetDifferences(), answer(result)); });
}

CompareSchema::CompareSchema()
    : ComparisonObject(windowsHost()),
      collector_(create<CompareDiff>(comparison_.cCompareDifference())) {}

HRESULT CompareSchema::Cancel() { return S_OK; }
HRESULT CompareSchema::Compare(::Schema* SourceSchema, ::Schema* TargetSchema,
                               ::enumOutputType OutputType, VARIANT_BOOL* result) {
  return guarded([&] {
    answer(result) = VARIANT_FALSE;
    const Schema source = fromHost(answer(SourceSchema)), target = fromHost(answer(TargetSchema));
    const auto preferences = preferences_;
    const bool compared =
        comparison_.Compare(source, target, static_cast<kelvane::enumOutputType>(OutputType));
    *result = Boolean(compared).raw();
  });
}
HRESULT CompareSchema::get_cCompareDifference(_cCompareDiff** result) {
  return guarded([&] { hand(result, collector_); });
}
HRESULT CompareSchema::GetArrayOfDifferences(SAFEARRAY** result) {
  // An array without elements is an unset one.
  return guarded([&] { answer(result) = nullptr; });
}
HRESULT CompareSchema::get_LastError(BSTR* result) {
  return guarded([&] { answer(result) = newText(comparison_.LastError()); });
}
HRESULT CompareSchema::get_Results(::diffSchema* result) {
  return guarded([&] { toHost(comparison_.Results(), answer(result)); });
}
HRESULT CompareSchema::get_IsDataCaseSensitive(VARIANT_BOOL* result) {
  return guarded([&] { answer(result) = comparison_.IsDataCaseSensitive().raw(); });
}
HRESULT CompareSchema::put_IsDataCaseSensitive(VARIANT_BOOL newValue) {
  return guarded([&] { comparison_.IsDataCaseSensitive(Boolean::fromRaw(newValue)); });
}
HRESULT CompareSchema::get_IsSchemaCaseSensitive(VARIANT_BOOL* result) {
  return guarded([&] { answer(result) = comparison_.IsSchemaCaseSensitive().raw(); });
}
HRESULT CompareSchema::put_IsSchemaCaseSensitive(VARIANT_BOOL newValue) {
  return guarded([&] { comparison_.IsSchemaCaseSensitive(Boolean::fromRaw(newValue)); });
}

HRESULT EventConnections::QueryInterface(REFIID id, void** object) {
  if (!object) return E_POINTER;
  const bool known = id == __uuidof(IUnknown) || id == __uuidof(IConnectionPoint);
  *object = known ? this : nullptr;
  if (!known) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}
HRESULT EventConnections::GetConnectionInterface(IID* id) {
  return guarded([&] { answer(id) = __uuidof(__cTableComparison); });
}
HRESULT EventConnections::GetConnectionPointContainer(IConnectionPointContainer** owner) {
  return guarded([&] { answer(owner) = Pointer<IConnectionPointContainer>(owner_).detach(); });
}
HRESULT EventConnections::Advise(IUnknown* sink, DWORD* cookie) {
  if (!sink || !cookie) return E_POINTER;
  HRESULT result = CONNECT_E_CANNOTCONNECT;
  const HRESULT kept = guarded([&] {
    auto events = Pointer<IUnknown>(sink).as<IDispatch>();
    if (!events) return;
    sinks_.emplace(++lastCookie_, std::move(events));
    *cookie = lastCookie_;
    result = S_OK;
  });
  return FAILED(kept) ? kept : result;
}
HRESULT EventConnections::Unadvise(DWORD cookie) {
  return sinks_.erase(cookie) ? S_OK : CONNECT_E_NOCONNECTION;
}
HRESULT EventConnections::EnumConnections(IEnumConnections**) { return E_NOTIMPL; }

HRESULT TableComparison::get_ConnSource(IDispatch** result) {
  return guarded([&] { hand(result, Pointer<IDispatch>(objectOf(source_))); });
}
HRESULT TableComparison::putref_ConnSource(IDispatch* newValue) {
  return guarded([&] {
    source_ = connectionFor(newValue);
    comparison_.ConnSource = source_.get();
  });
}
HRESULT TableComparison::get_ConnTarget(IDispatch** result) {
  return guarded([&] { hand(result, Pointer<IDispatch>(objectOf(target_))); });
}
HRESULT TableComparison::putref_ConnTarget(IDispatch* newValue) {
  return guarded([&] {
    target_ = connectionFor(newValue);
    comparison_.ConnTarget = target_.get();
  });
}
HRESULT TableComparison::Compare(VARIANT_BOOL* result) {
  return guarded([&] {
    answer(result) = VARIANT_FALSE;
    const auto preferences = preferences_;
    const auto source = source_, target = target_;
    *result = comparison_.Compare().raw();
  });
}

HRESULT TableComparison::EnumConnectionPoints(IEnumConnectionPoints** points) {
  return guarded([&] {
    answer(points) = new Enumeration<IEnumConnectionPoints, IConnectionPoint*, IConnectionPoint>(
        {Pointer<IConnectionPoint>(&events_)});
  });
}
HRESULT TableComparison::FindConnectionPoint(REFIID id, IConnectionPoint** point) {
  if (!point) return E_POINTER;
  *point = nullptr;
  if (id != __uuidof(__cTableComparison)) return CONNECT_E_NOCONNECTION;
  events_.AddRef();
  *point = &events_;
  return S_OK;
}
void* TableComparison::further(REFIID id) {
  return id == __uuidof(IConnectionPointContainer) ? static_cast<IConnectionPointContainer*>(this)
                                                   : nullptr;
}

}  // namespace kelvane::com
