// What differs between two inventories: a tree of typed changes, from which reports make texts and
// scripts their statements.
//
// Lifetime: changes refer to the records of both databases, which must outlive them unmoved.
// Threading: plain values.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "inventory/attributes.h"
#include "inventory/records.h"

namespace kelvane::inventory {

/// A record of either database; none where it has no such object.
using RecordPointer =
    std::variant<std::monostate, const Settings*, const Table*, const View*, const Procedure*,
                 const Function*, const Rule*, const Default*, const UserType*, const User*,
                 const Alias*, const Group*, const Role*, const EncryptionKey*, const Message*,
                 const Column*, const ViewColumn*, const KeyConstraint*, const ForeignKey*,
                 const Check*, const Index*, const Partition*, const Trigger*, const LogicalKey*,
                 const Parameter*, const Permission*, const DatabaseOption*, const Segment*,
                 const Threshold*>;

/// The label of how many partitions there are, where they have no names.
inline constexpr std::string_view kPartitionCount = "partitions";

struct AttributeChange {
  std::string_view label;
  Family family = Family::always;
  Style style = Style::labelled;
  bool isText = false;  ///< a definition of several lines
  std::string was, is;  ///< as `shown`; in the source, in the target
};

/// Of an object or a part of one.
struct Change {
  Kind kind = Kind::database;
  std::string name;  ///< as `nameOf` in the source, where it is there
  RecordPointer source, target;
  std::vector<AttributeChange> attributes;
  std::vector<Change> parts;

  bool isOnlyInSource() const { return std::holds_alternative<std::monostate>(target); }
  bool isOnlyInTarget() const { return std::holds_alternative<std::monostate>(source); }
  bool isOnBothSides() const { return !isOnlyInSource() && !isOnlyInTarget(); }
};

/// How many differences there are: one for what is on one side only, and one for each attribute.
std::size_t countOf(const Change& change);
std::size_t countOf(const std::vector<Change>& changes);

/// How the object or part would be declared, in one line; see `declaration`.
std::string declarationOf(const RecordPointer& record);

}  // namespace kelvane::inventory
