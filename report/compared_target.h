// What a comparison of one database with a reference found, for reports that have a line for each
// difference: lists of many databases, and the formats of programs that collect results.
//
// Lifetime: plain values. Threading: none of their own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "findings/accepted_difference.h"
#include "inventory/compare/changes.h"
#include "inventory/records.h"

namespace kelvane::report {

// An object of either database.
struct ObjectName {
  inventory::Kind kind;
  std::string name;  // with its owner
  auto operator<=>(const ObjectName&) const = default;
};

struct Difference {
  ObjectName object;
  // What differs, without its values, as lists of known differences have it: "table dbo.t, column
  // a, type". The same in every run, so that programs know a difference again.
  std::string place;
  std::string line;  // "table dbo.t, column a: int null -> bigint null"
  enum class Side : std::uint8_t { source, target, both } side;
};

enum class Outcome : std::uint8_t {
  equal,
  differs,
  unread,    // not, or not to its end
  notBegun,  // after Ctrl-C, or after another one where the first difference ends all
};

struct ComparedTarget {
  std::string name;  // how the user calls it, without secrets (UTF-8)
  Outcome outcome = Outcome::notBegun;
  std::vector<std::string> causes = {};  // of Outcome::unread, a line each
  std::vector<std::string> notes = {};   // what was left out, a line each
  std::vector<Difference> differences = {};
  // The same of targets with the same differences, to the last letter of each definition.
  std::string signature = {};
  std::vector<AcceptedDifference> accepted = {};
  // The objects of the reference that took part, of targets with the same ones once; null: none.
  const std::vector<ObjectName>* objects = nullptr;
  std::string database = {};  // its name on a server
  double seconds = 0;
};

// `source`: what the source is called in lines, "only in reference".
std::vector<Difference> differencesOf(const std::vector<inventory::Change>& changes,
                                      std::u16string_view source);

// In the order of reports; the database itself is one where its settings are compared.
std::vector<ObjectName> objectsOf(const inventory::Database& database);

}  // namespace kelvane::report
