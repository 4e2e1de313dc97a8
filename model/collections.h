// The small ordered, keyed collections in which the browsing members answer: cKeyPairs of
// name/value pairs and cEntities of named entities with properties.
//
// Lifetime: a collection shares its items with whoever asked for them; they live as long as either.
// Threading: for use on one thread at a time.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "model/boolean.h"
#include "model/runtime_error.h"
#include "model/scalar.h"
#include "model/text.h"

namespace kelvane {

// What cKeyPairs and cEntities have in common. Positions are 1-based; keys are optional, unique and
// matched without regard to case.
template <class ItemType>
class KeyedCollection {
 public:
  using ItemPointer = std::shared_ptr<ItemType>;

  // The item at a position, or with a key. Raises ErrorNumber::invalidArgument when there is none.
  ItemPointer Item(std::int32_t position) const { return entries_[indexOf(position)].item; }
  ItemPointer Item(std::u16string_view key) const { return entries_[indexOf(key)].item; }

  std::int32_t Count() const { return static_cast<std::int32_t>(entries_.size()); }

  // Enumerates the items in order: `for (const auto& item : collection)`.
  class NewEnum {
   public:
    explicit NewEnum(const KeyedCollection& collection, std::size_t at = 0)
        : collection_(&collection), at_(at) {}
    const ItemPointer& operator*() const { return collection_->entries_[at_].item; }
    NewEnum& operator++() {
      ++at_;
      return *this;
    }
    bool operator==(const NewEnum&) const = default;

   private:
    const KeyedCollection* collection_;
    std::size_t at_;
  };
  NewEnum begin() const { return NewEnum(*this); }
  NewEnum end() const { return NewEnum(*this, entries_.size()); }

  // Reorders the items by their property `strPropertyName`: by code units, or by leading numbers
  // when `blnCompareNumeric` is exactly True. Items with equal keys keep their order. The items
  // lose their keys. Raises ErrorNumber::noSuchProperty or typeMismatch, and then leaves the
  // collection as it was.
  void Sort(const Scalar& strPropertyName, Boolean Ascending = True,
            Boolean blnCompareNumeric = False) {
    const std::u16string property = strPropertyName.text();
    struct Keyed {
      std::u16string text;
      double number;
      ItemPointer item;
    };
    std::vector<Keyed> keyed;
    keyed.reserve(entries_.size());
    for (const Entry& entry : entries_) {
      std::u16string text = entry.item->propertyText(property);
      const double number = leadingNumber(text).value;
      keyed.push_back({std::move(text), number, entry.item});
    }
    std::stable_sort(keyed.begin(), keyed.end(), [&](const Keyed& a, const Keyed& b) {
      const auto& [first, second] = Ascending ? std::tie(a, b) : std::tie(b, a);
      return blnCompareNumeric.isTrue() ? first.number < second.number : first.text < second.text;
    });
    std::vector<Entry> sorted;
    sorted.reserve(keyed.size());
    for (Keyed& one : keyed) sorted.push_back({std::move(one.item), std::nullopt});
    entries_ = std::move(sorted);
  }

  void Remove(std::int32_t position) { erase(indexOf(position)); }
  void Remove(std::u16string_view key) { erase(indexOf(key)); }
  void Clear() { entries_.clear(); }

 protected:
  // Raises ErrorNumber::duplicateKey when the collection has the key already.
  void append(ItemPointer item, std::optional<std::u16string> key) {
    if (key && find(*key) != entries_.size())
      throw RuntimeError(ErrorNumber::duplicateKey,
                         u"The key \"" + *key + u"\" is already in this collection");
    entries_.push_back({std::move(item), std::move(key)});
  }

 private:
  struct Entry {
    ItemPointer item;
    std::optional<std::u16string> key;
  };

  std::size_t find(std::u16string_view key) const {
    const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
      return entry.key && equalText(*entry.key, key, CaseMode::ignore);
    });
    return static_cast<std::size_t>(found - entries_.begin());
  }
  std::size_t indexOf(std::int32_t position) const {
    if (position < 1 || position > Count())
      throw RuntimeError(ErrorNumber::invalidArgument,
                         u"There is no item at position " + decimalText(position));
    return static_cast<std::size_t>(position) - 1;
  }
  std::size_t indexOf(std::u16string_view key) const {
    const std::size_t at = find(key);
    if (at == entries_.size())
      throw RuntimeError(ErrorNumber::invalidArgument,
                         u"There is no item with the key \"" + std::u16string(key) + u"\"");
    return at;
  }
  void erase(std::size_t at) { entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(at)); }

  std::vector<Entry> entries_;
};

// A name and a value.
class cKeyPair {
 public:
  std::u16string Name;
  std::u16string Value;

  // A property by its name, whatever its letter case. Raises ErrorNumber::noSuchProperty.
  std::u16string propertyText(std::u16string_view property) const;
};

class cKeyPairs : public KeyedCollection<cKeyPair> {
 public:
  // Appends a new pair with its name as its key.
  void Add(std::u16string Name, const Scalar& Value);
};

// A named entity and its properties.
class cEntity {
 public:
  std::u16string Name;
  std::shared_ptr<cKeyPairs> Properties = std::make_shared<cKeyPairs>();

  // A property by its name, whatever its letter case. Raises ErrorNumber::noSuchProperty, or
  // typeMismatch for `Properties`, which has no text.
  std::u16string propertyText(std::u16string_view property) const;
};

class cEntities : public KeyedCollection<cEntity> {
 public:
  // Appends the entity, under a key where one is given, and hands it back.
  std::shared_ptr<cEntity> Add(std::shared_ptr<cEntity> entity,
                               std::optional<std::u16string> Key = std::nullopt);
};

}  // namespace kelvane
