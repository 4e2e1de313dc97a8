// Lists of differences that people know of and accept, one a line, each with its reason:
//
//   table dbo.gift_card: only in target                                # not in use yet
//   table dbo.customer, column name, Nullable: True -> False until 2027-01-31 # release 12
//   table dbo.customer, "Row Count": *                                 # rows come and go
//   procedure dbo.p, Definition: <812 characters, 0c5f21e9b1f4aa07> -> <840 characters, 7d...>
//
// A star accepts any two values. Long values are told by their length and FNV-1a hash. Names and
// values that are not of letters, digits and a few signs stand between double quotes, with the
// escapes of JSON.
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "findings/known_list.h"
#include "model/diff_schema.h"
#include "model/schema.h"

namespace kelvane {

struct KnownDifference : findings::KnownLine {
  enumEntityType kind = entity_TABLE;  // of the object
  std::u16string object;               // its full name
  std::string part;      // the word of the sub-entity, "foreign-key"; empty: the object itself
  std::u16string label;  // "Length"; empty: it is on one side alone
};

// A file of them.
using KnownList = findings::KnownListOf<KnownDifference>;

// Throws KnownDifferencesError. Empty lines and those that begin with '#' say nothing.
KnownList readKnownDifferences(std::string_view utf8);

struct Acceptance {
  diffSchema rest;           // what is not accepted
  std::size_t accepted = 0;  // differences
  std::vector<const KnownDifference*> expired, unused;
};

// Takes the known differences that have not expired on `today` out of a tree. A known one that has
// is neither used nor unused. The result refers to `known`.
Acceptance accept(const diffSchema& differences, std::span<const KnownDifference> known,
                  std::chrono::year_month_day today);

using KnownUpdate = findings::KnownUpdateOf<KnownDifference>;

// Writes `list` so that it has a line for each of the differences and, of the others, those whose
// difference could not be found. What stays, remarks included, stays as it is and where it is.
// `others` may be asked for lines that the list lacks or has no reason for; those of its lines
// whose difference could not be found are added. The result refers to `list`.
KnownUpdate writeKnownDifferences(const diffSchema& differences, const KnownList& list,
                                  const KnownList& others,
                                  const std::function<bool(const KnownDifference&)>& couldBeFound,
                                  std::ostream& out);

}  // namespace kelvane
