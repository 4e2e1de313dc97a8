// Known differences of two inventories, which people accept, one a line, each with its reason:
//
//   table dbo.gift_card: only in target                                    # not in use yet
//   table dbo.customer, lock: allpages -> datarows until 2027-01-31        # release 12
//   table dbo.customer, column phone, type: "char(16) null" -> "char(20) null" # longer numbers
//   table dbo.customer, primary-key "(id)", fillfactor: *                  # tuned by hand
//   table dbo.customer, permission "grant select to clerks": only in source # until the audit
//   database, option "allow nulls by default": only in source              # the old server
//
// A line names the object, its parts from the outermost on, what differs, and both values; a star
// accepts any two values. What has no name is called by what it says. Long values are told by their
// length and hash.
//
// Lifetime: results own what they hold, or refer to the lists where said. Threading: free functions
// without state.
#pragma once

#include <chrono>
#include <functional>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "findings/accepted_difference.h"
#include "findings/known_list.h"
#include "inventory/compare/changes.h"
#include "inventory/families.h"
#include "inventory/kinds.h"

namespace kelvane::findings {

/// How a difference is known whatever its values are: "table dbo.customer", then for each part
/// around it ", column phone", then for an attribute ", type".
std::string placeOf(const inventory::Change& object);
std::string placeWithin(const inventory::Change& part, const std::string& owner);
std::string placeWithin(std::string_view label);

struct KnownChange : KnownLine {
  inventory::Kind kind = inventory::Kind::table;
  std::string object;                       ///< with its owner
  std::vector<inventory::Kind> parts = {};  ///< from the outermost on; empty: the object itself
  std::string label = {};                   ///< of the attribute; empty: it is on one side alone
};

using KnownChanges = KnownListOf<KnownChange>;

/// Throws KnownDifferencesError. Empty lines and those that begin with '#' say nothing.
KnownChanges readKnownChanges(std::string_view utf8);

struct ChangeAcceptance {
  std::vector<inventory::Change> rest;       ///< what is not accepted
  std::vector<AcceptedDifference> accepted;  ///< in the order of the changes
  std::vector<const KnownChange*> expired, unused;
};

/// Takes the known differences that have not expired on `today` out of the changes. A known one
/// that has is neither used nor unused. The result refers to `known`.
ChangeAcceptance accept(std::vector<inventory::Change> changes, std::span<const KnownChange> known,
                        std::chrono::year_month_day today);

/// Writes `list` so that it has a line for each of the changes and, of the others, those whose
/// difference could not be found. What stays, remarks included, stays as it is and where it is.
/// `others` may be asked for lines that the list lacks or has no reason for; those of its lines
/// whose difference could not be found are added. The result refers to `list`.
KnownUpdateOf<KnownChange> writeKnownChanges(
    const std::vector<inventory::Change>& changes, const KnownChanges& list,
    const KnownChanges& others, const std::function<bool(const KnownChange&)>& couldBeFound,
    std::ostream& out);

/// Whether a comparison of these families looks at what the difference is about.
bool isCompared(const KnownChange& known, const inventory::Families& compared);

}  // namespace kelvane::findings
