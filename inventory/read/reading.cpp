#include "inventory/read/reading.h"

#include <algorithm>

namespace kelvane::inventory {

std::string Reading::userName(int uid) const {
  const auto found = users.find(uid);
  return found == users.end() ? "user " + std::to_string(uid) : found->second;
}

QualifiedName Reading::nameOf(int id) const {
  if (id == 0) return {};
  const ObjectEntry* entry = object(id);
  return entry ? nameOf(*entry) : QualifiedName{{}, "object " + std::to_string(id)};
}

std::string Reading::columnName(const ObjectEntry& entry, int colid) const {
  const auto named = [colid](const Shape& shape, const auto& columns) -> std::string {
    const auto place = static_cast<std::size_t>(colid) - 1;
    if (place < shape.colids.size() && shape.colids[place] == colid) return columns[place].name;
    const auto found = std::ranges::lower_bound(shape.colids, colid);
    if (found == shape.colids.end() || *found != colid) return {};
    return columns[static_cast<std::size_t>(found - shape.colids.begin())].name;
  };
  if (!entry.isWanted) return {};
  if (entry.type == ObjectType::table)
    return named(tables[entry.at], database.tables[entry.at].columns);
  if (entry.type == ObjectType::view)
    return named(views[entry.at], database.views[entry.at].columns);
  return {};
}

std::string Reading::segmentName(int segment) const {
  constexpr int kDefault = 1;
  if (segment == kDefault) return {};
  const auto found = segments.find(segment);
  return found == segments.end() ? "segment " + std::to_string(segment) : found->second;
}

std::string Reading::among(std::string_view column,
                           const std::optional<std::vector<int>>& ids) const {
  constexpr std::size_t kMost = 200;
  if (!ids || ids->size() > kMost) return {};
  std::string list;
  for (const int id : *ids) list += (list.empty() ? "" : ", ") + std::to_string(id);
  // No object has the number 0.
  return " and " + std::string(column) + " in (" + (list.empty() ? "0" : list) + ")";
}

std::string Reading::list(std::string_view table, std::string_view alias,
                          std::initializer_list<std::string_view> names) const {
  std::string all;
  for (const std::string_view name : names) {
    if (!all.empty()) all += ", ";
    if (!catalog.has(table, name)) {
      all += "null";
      continue;
    }
    all.append(alias).append(alias.empty() ? "" : ".").append(name);
  }
  return all;
}

}  // namespace kelvane::inventory
