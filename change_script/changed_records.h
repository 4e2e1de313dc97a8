// The records that a change is about, and what is among its attributes and parts.
//
// Free functions.
#pragma once

#include <algorithm>
#include <string_view>
#include <variant>

#include "inventory/compare/changes.h"

namespace kelvane::change_script {

/// The target's record of an object that both sides have, or that the target alone has.
template <class Record>
const Record* was(const inventory::Change& change) {
  const auto* record = std::get_if<const Record*>(&change.target);
  return record == nullptr ? nullptr : *record;
}
template <class Record>
const Record* is(const inventory::Change& change) {
  const auto* record = std::get_if<const Record*>(&change.source);
  return record == nullptr ? nullptr : *record;
}

inline bool hasAttribute(const inventory::Change& change, std::string_view label) {
  return std::ranges::find(change.attributes, label, &inventory::AttributeChange::label) !=
         change.attributes.end();
}
inline bool hasPart(const inventory::Change& change, inventory::Kind kind) {
  return std::ranges::find(change.parts, kind, &inventory::Change::kind) != change.parts.end();
}

}  // namespace kelvane::change_script
