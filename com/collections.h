// The small collections, their items, and the settings: objects that hold values for hosts and the
// component alike.
//
// Lifetime: each shares what it holds with the component. Threading: see edge.h.
#pragma once

#include <map>
#include <memory>

#include "com/object.h"
#include "model/collections.h"

namespace kelvane::com {

class KeyPair final : public Object<KeyPair, _cKeyPair> {
 public:
  static constexpr const GUID& kClass = __uuidof(::cKeyPair);

  explicit KeyPair(std::shared_ptr<cKeyPair> pair = std::make_shared<cKeyPair>())
      : pair_(std::move(pair)) {}

  HRESULT STDMETHODCALLTYPE get_Name(BSTR* result) override;
  HRESULT STDMETHODCALLTYPE put_Name(BSTR newValue) override;
  HRESULT STDMETHODCALLTYPE get_Value(BSTR* result) override;
  HRESULT STDMETHODCALLTYPE put_Value(BSTR newValue) override;

 private:
  std::shared_ptr<cKeyPair> pair_;
};

// What the two collections have in common. An item is the same object each time that it is asked
// for.
template <class Self, class Interface, class ItemInterface, class ItemObject, class Collection>
class CollectionObject : public Object<Self, Interface> {
 public:
  explicit CollectionObject(std::shared_ptr<Collection> collection)
      : collection_(std::move(collection)) {}

  const std::shared_ptr<Collection>& collection() const { return collection_; }

  HRESULT STDMETHODCALLTYPE get_Item(VARIANT index, ItemInterface** result) override {
    return guarded([&] { hand(result, objectFor(itemAt(index))); });
  }
  HRESULT STDMETHODCALLTYPE get_Count(long* result) override {
    return guarded([&] { answer(result) = collection_->Count(); });
  }
  HRESULT STDMETHODCALLTYPE get_NewEnum(IUnknown** result) override;
  HRESULT STDMETHODCALLTYPE Sort(VARIANT strPropertyName, VARIANT_BOOL Ascending,
                                 VARIANT_BOOL blnCompareNumeric) override {
    return guarded([&] {
      collection_->Sort(Scalar(textOf(strPropertyName)), Boolean::fromRaw(Ascending),
                        Boolean::fromRaw(blnCompareNumeric));
    });
  }

 private:
  using Item = typename Collection::ItemPointer;

  Item itemAt(const VARIANT& index) const {
    const VARTYPE type = index.vt & VT_TYPEMASK;
    const bool key = type == VT_BSTR || (index.vt == (VT_BYREF | VT_VARIANT) &&
                                         (index.pvarVal->vt & VT_TYPEMASK) == VT_BSTR);
    return key ? collection_->Item(textOf(index)) : collection_->Item(numberOf(index));
  }
  const Pointer<ItemObject>& objectFor(const Item& item) {
    Pointer<ItemObject>& object = objects_[item.get()];
    if (!object) object = create<ItemObject>(item);
    return object;
  }

  std::shared_ptr<Collection> collection_;
  std::map<const typename Item::element_type*, Pointer<ItemObject>> objects_;
};

class KeyPairs final
    : public CollectionObject<KeyPairs, _cKeyPairs, _cKeyPair, KeyPair, cKeyPairs> {
 public:
  static constexpr const GUID& kClass = __uuidof(::cKeyPairs);

  explicit KeyPairs(std::shared_ptr<cKeyPairs> pairs = std::make_shared<cKeyPairs>())
      : CollectionObject(std::move(pairs)) {}
};

class Entity final : public Object<Entity, _cEntity> {
 public:
  static constexpr const GUID& kClass = __uuidof(::cEntity);

  explicit Entity(std::shared_ptr<cEntity> entity = std::make_shared<cEntity>());

  HRESULT STDMETHODCALLTYPE get_Name(BSTR* result) override;
  HRESULT STDMETHODCALLTYPE put_Name(BSTR newValue) override;
  HRESULT STDMETHODCALLTYPE get_Properties(_cKeyPairs** result) override;
  HRESULT STDMETHODCALLTYPE putref_Properties(_cKeyPairs* newValue) override;

 private:
  std::shared_ptr<cEntity> entity_;
  Pointer<KeyPairs> properties_;
};

class Entities final : public CollectionObject<Entities, _cEntities, _cEntity, Entity, cEntities> {
 public:
  static constexpr const GUID& kClass = __uuidof(::cEntities);

  explicit Entities(std::shared_ptr<cEntities> entities = std::make_shared<cEntities>())
      : CollectionObject(std::move(entities)) {}
};

}  // namespace kelvane::com
