#include "inventory/compare/titles.h"

#include <concepts>
#include <type_traits>
#include <utility>
#include <variant>

#include "inventory/compare/matching.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

constexpr std::string_view kUsualGrantor = "dbo";
// Parts of a table that was only told how many it has.
constexpr std::string_view kUnnamed = "without a name";

const RecordPointer& presentOf(const Change& change) {
  return change.isOnlyInTarget() ? change.target : change.source;
}

/// Takes a word and the blank behind it off the text.
std::string without(std::string_view word, std::string text) {
  if (text.starts_with(word) && text.size() > word.size() &&
      (text[word.size()] == ' ' || text[word.size()] == '('))
    text.erase(0, text.find_first_not_of(' ', word.size()));
  return text;
}

// A check's own text begins with the word for its kind.
std::string conditionOf(const Check& check) { return without("check", shown(check.condition)); }

std::string columnsOf(const KeyConstraint& key) { return shown(key.columns); }
std::string columnsOf(const ForeignKey& key) { return shown(key.columns); }
std::string columnsOf(const Check& check) { return conditionOf(check); }
std::string columnsOf(const Partition& partition) { return partition.bound; }

template <class Record>
std::string_view wordOf(Kind kind, const Record& record) {
  if constexpr (std::is_same_v<Record, KeyConstraint>) {
    return record.primary ? "primary key" : "unique";
  } else {
    return rowOf(kind).singular;
  }
}

Title titleOf(const Permission& permission, bool isOnOneSide, std::string_view owner) {
  const bool isUsual =
      permission.grantor.empty() || permission.grantor == (owner.empty() ? kUsualGrantor : owner);
  if (!isOnOneSide)
    return {{}, nameOf(permission) + (isUsual ? "" : " granted by " + permission.grantor)};
  Permission granted = permission;
  if (isUsual) granted.grantor.clear();
  return {{}, declaration(granted), true};
}

template <class Record>
Title titleOf(const Change& change, const Record& record, std::string_view owner) {
  const bool isOnOneSide = !change.isOnBothSides();
  if constexpr (std::is_same_v<Record, Permission>) {
    return titleOf(record, isOnOneSide, owner);
  } else if constexpr (MayHaveGeneratedName<Record>) {
    if (change.name.empty()) {
      const std::string_view word = wordOf(change.kind, record);
      std::string said = isOnOneSide ? without(word, declaration(record)) : columnsOf(record);
      if (said.empty()) said = kUnnamed;
      return {word, std::move(said), isOnOneSide};
    }
  }
  return {rowOf(change.kind).singular, change.name};
}

template <class Record>
concept IsOwned = requires(const Record& record) {
  { record.name } -> std::convertible_to<const QualifiedName&>;
};

}  // namespace

Title titleOf(const Change& change, std::string_view owner) {
  return std::visit(
      [&]<class Pointer>(Pointer pointer) -> Title {
        if constexpr (std::is_same_v<Pointer, std::monostate>) {
          return {};
        } else {
          return titleOf(change, *pointer, owner);
        }
      },
      presentOf(change));
}

std::string ownerOf(const Change& change) {
  return std::visit(
      []<class Pointer>(Pointer pointer) -> std::string {
        if constexpr (IsOwned<std::remove_pointer_t<Pointer>>) return pointer->name.owner;
        return {};
      },
      presentOf(change));
}

std::string bareNameOf(const Change& change) {
  const std::string owner = ownerOf(change);
  return owner.empty() ? change.name : change.name.substr(owner.size() + 1);
}

}  // namespace kelvane::inventory
