// Enumerators, with which hosts go over items one after the other.
//
// Lifetime: holds references to its items. Threading: see edge.h.
#pragma once

#include <algorithm>
#include <vector>

#include "com/object.h"

namespace kelvane::com {

// Hands an item over, in the shape in which the enumerator's interface wants it.
inline void handItem(VARIANT& place, Pointer<IDispatch> item) {
  VariantInit(&place);
  place.vt = VT_DISPATCH;
  place.pdispVal = item.detach();
}
template <class Item>
void handItem(Item*& place, Pointer<Item> item) {
  place = item.detach();
}

// Goes over the items that there were when it was made. `Element` is what its interface fills in.
template <class Interface, class Element, class Item>
class Enumeration final : public Single<Enumeration<Interface, Element, Item>, Interface> {
 public:
  explicit Enumeration(std::vector<Pointer<Item>> items, std::size_t at = 0)
      : items_(std::move(items)), at_(at) {}

  HRESULT STDMETHODCALLTYPE Next(ULONG count, Element* places, ULONG* fetched) override {
    if (!places || (count > 1 && !fetched)) return E_POINTER;
    ULONG given = 0;
    for (; given < count && at_ < items_.size(); ++given, ++at_)
      handItem(places[given], items_[at_]);
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
  HRESULT STDMETHODCALLTYPE Clone(Interface** clone) override {
    return guarded([&] { answer(clone) = new Enumeration(items_, at_); });
  }

 private:
  std::vector<Pointer<Item>> items_;
  std::size_t at_;
};

}  // namespace kelvane::com
