#include "com/collections.h"

#include <vector>

#include "com/enumeration.h"

namespace kelvane::com {

template <class Self, class Interface, class ItemInterface, class ItemObject, class Collection>
HRESULT STDMETHODCALLTYPE CollectionObject<Self, Interface, ItemInterface, ItemObject,
                                           Collection>::get_NewEnum(IUnknown** result) {
  return guarded([&] {
    std::vector<Pointer<IDispatch>> items;
    for (const Item& item : *collection_) items.emplace_back(objectFor(item).get());
    answer(result) = new Enumeration<IEnumVARIANT, VARIANT, IDispatch>(std::move(items));
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
