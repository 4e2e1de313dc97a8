#include "com/collections.h"

#include <algorithm>
#include <vector>

namespace kelvane::com {
namespace {

// Goes over the items that a collection had when it was asked: a sort does not disturb it.
class Enumerator final : public IEnumVARIANT {
 public:
  explicit Enumerator(std::vector<Pointer<IDispatch>> items, std::size_t at = 0)
      : items_(std::move(items)), at_(at) {
    ++liveObjects();
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!object) return E_POINTER;
    const bool known = id == __uuidof(IUnknown) || id == __uuidof(IEnumVARIANT);
    *object = known ? this : nullptr;
    if (!known) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

  HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* items, ULONG* fetched) override {
    if (!items || (count > 1 && !fetched)) return E_POINTER;
    ULONG given = 0;
    for (; given < count && at_ < items_.size(); ++given, ++at_) {
      VariantInit(items + given);
      items[given].vt = VT_DISPATCH;
      items[given].pdispVal = Pointer<IDispatch>(items_[at_]).detach();
    }
    if (fetched) *fetched = given;
    return given == count ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
    const std::size_t left = items_.size() - at_;
    at_ += std::min<std::size_t>(count, left);
    return count <= left ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Reset() override {
    at_ = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** clone) override {
    return guarded([&] { answer(clone) = new Enumerator(items_, at_); });
  }

 private:
  ~Enumerator() { --liveObjects(); }

  std::vector<Pointer<IDispatch>> items_;
  std::size_t at_;
  std::atomic<ULONG> references_{1};
};

}  // namespace

template <class Self, class Interface, class ItemInterface, class ItemObject, class Collection>
HRESULT STDMETHODCALLTYPE CollectionObject<Self, Interface, ItemInterface, ItemObject,
                                           Collection>::get_NewEnum(IUnknown** result) {
  return guarded([&] {
    std::vector<Pointer<IDispatch>> items;
    for (const Item& item : *collection_) items.emplace_back(objectFor(item).get());
    answer(result) = new Enumerator(std::move(items));
  });
}

template class CollectionObject<KeyPairs, _cKeyPairs, _cKeyPair, KeyPair, cKeyPairs>;
template class CollectionObject<Entities, _cEntities, _cEntity, Entity, cEntities>;

HRESULT KeyPair::get_Name(BSTR* result) {
  return guarded([&] { answer(result) = newText(pair_->Name); });
}
HRESULT KeyPair::put_Name(BSTR newValue) {
  return guarded([&] { pair_->Name = textOf(newValue); });
}
HRESULT KeyPair::get_Value(BSTR* result) {
  return guarded([&] { answer(result) = newText(pair_->Value); });
}
HRESULT KeyPair::put_Value(BSTR newValue) {
  return guarded([&] { pair_->Value = textOf(newValue); });
}

Entity::Entity(std::shared_ptr<cEntity> entity)
    : entity_(std::move(entity)), properties_(create<KeyPairs>(entity_->Properties)) {}

HRESULT Entity::get_Name(BSTR* result) {
  return guarded([&] { answer(result) = newText(entity_->Name); });
}
HRESULT Entity::put_Name(BSTR newValue) {
  return guarded([&] { entity_->Name = textOf(newValue); });
}
HRESULT Entity::get_Properties(_cKeyPairs** result) {
  return guarded([&] { hand(result, properties_); });
}
HRESULT Entity::putref_Properties(_cKeyPairs* newValue) {
  return guarded([&] {
    properties_ = ours<KeyPairs>(newValue);
    entity_->Properties = properties_ ? properties_->collection() : nullptr;
  });
}

}  // namespace kelvane::com
