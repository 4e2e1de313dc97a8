// The attributes of all records, by name.
#pragma once

#include <set>
#include <string>

#include "inventory/attributes.h"

namespace kelvane::inventory {

template <class Owner, class Value>
std::string pathOf(const std::string& record, const Attribute<Owner, Value>& attribute) {
  return record + ": " + std::string(attribute.label);
}
template <class Owner, class Item>
std::string pathOf(const std::string& record, const Parts<Owner, Item>& parts) {
  return record + " > " + std::string(rowOf(parts.kind).singular);
}

/// What follows from a definition comes back with it.
template <class Record>
void addAttributes(const std::string& path, std::set<std::string>& all) {
  forEachAttribute<Record>([&](const auto& one) {
    if (one.origin == Origin::own) all.insert(pathOf(path, one));
  });
  forEachParts<Record>([&]<class Owner, class Item>(const Parts<Owner, Item>& parts) {
    if (parts.origin == Origin::own) addAttributes<Item>(pathOf(path, parts), all);
  });
}

/// table > column: default
inline std::set<std::string> allAttributes() {
  std::set<std::string> all;
  addAttributes<Settings>("database", all);
  forEachObjects([&]<class Object>(const Parts<Database, Object>& objects) {
    addAttributes<Object>(std::string(rowOf(objects.kind).singular), all);
  });
  return all;
}

}  // namespace kelvane::inventory
