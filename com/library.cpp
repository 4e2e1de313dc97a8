// The entry points of the library, and its classes for hosts.
#include "com/library.h"

#include "com/collections.h"
#include "com/comparison.h"
#include "com/reader.h"
#include "com/registration.h"
#include "com/settings.h"

namespace kelvane::com {
namespace {

template <class Self>
Pointer<IUnknown> make() {
  return create<Self>().template as<IUnknown>();
}

template <class Self>
Class named(const wchar_t* name) {
  return {name, Self::kClass, make<Self>};
}

class Factory final : public Single<Factory, IClassFactory> {
 public:
  explicit Factory(const Class& made) : made_(&made) {}

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    HRESULT found = E_NOINTERFACE;
    const HRESULT made = guarded([&] { found = made_->make()->QueryInterface(id, object); });
    return FAILED(made) ? made : found;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    liveObjects() += lock ? 1 : -1;
    return S_OK;
  }

 private:
  const Class* made_;
};

}  // namespace

std::span<const Class> classes() {
  static const Class kClasses[] = {
      named<Reader>(L"cASE_Fetch"),
      named<ComparisonOptions>(L"cComparisonOptions"),
      named<AppliesTo>(L"cAppliesTo"),
      named<ResultsObject>(L"cResults"),
      named<CompareSchema>(L"cCompareSchema"),
      named<CompareDiff>(L"cCompareDiff"),
      named<TableComparison>(L"cTableComparison"),
      named<KeyPair>(L"cKeyPair"),
      named<KeyPairs>(L"cKeyPairs"),
      named<Entity>(L"cEntity"),
      named<Entities>(L"cEntities"),
      named<CatalogReader>(L"cASE_CatalogFetch"),
  };
  return kClasses;
}

}  // namespace kelvane::com

using namespace kelvane::com;

STDAPI DllGetClassObject(REFCLSID id, REFIID interfaceId, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  for (const Class& one : classes()) {
    if (one.id != id) continue;
    HRESULT found = E_NOINTERFACE;
    const HRESULT made = guarded([&] {
      found = Pointer<Factory>::taking(new Factory(one))->QueryInterface(interfaceId, object);
    });
    return FAILED(made) ? made : found;
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() {
  if (liveObjects() != 0) return S_FALSE;
  releaseTypeLibrary();
  return S_OK;
}

STDAPI DllRegisterServer() { return enterInRegistry(); }

STDAPI DllUnregisterServer() { return takeFromRegistry(); }
