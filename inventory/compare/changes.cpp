#include "inventory/compare/changes.h"

#include "inventory/shown.h"

namespace kelvane::inventory {

std::size_t countOf(const Change& change) {
  if (!change.isOnBothSides()) return 1;
  return change.attributes.size() + countOf(change.parts);
}

std::size_t countOf(const std::vector<Change>& changes) {
  std::size_t count = 0;
  for (const Change& change : changes) count += countOf(change);
  return count;
}

std::string declarationOf(const RecordPointer& record) {
  return std::visit(
      []<class Pointer>(Pointer pointer) -> std::string {
        if constexpr (std::is_same_v<Pointer, std::monostate>) {
          return {};
        } else {
          return declaration(*pointer);
        }
      },
      record);
}

}  // namespace kelvane::inventory
