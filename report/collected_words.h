// What the formats of collected_reports.h say alike.
//
// Lifetime: results own what they hold, or refer to the target where said. Threading: free
// functions without state.
#pragma once

#include <cstddef>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "report/compared_target.h"

namespace kelvane::report {

// "table dbo.t"; "database"
std::string titleOf(const ObjectName& object);

// The differences of each object that has some; they refer to the target.
using DifferencesByObject = std::map<ObjectName, std::vector<const Difference*>>;
DifferencesByObject byObject(const ComparedTarget& target);

// "2 targets"
std::string counted(std::size_t count, std::string_view one);

// How objects differ in groups of targets that differ alike: for each object a letter for each
// group, '-' only in the reference, '+' only in the targets, '~' on both sides, ' ' not at all.
std::map<ObjectName, std::string> signsByObject(
    std::span<const ComparedTarget> targets, const std::vector<std::vector<std::size_t>>& groups);

// "2 differences", "equal", "could not be read", "not begun"
std::string resultOf(const ComparedTarget& target);

// For texts and attributes of XML and HTML: '<', '>', '&' and '"' are escaped. What cannot be seen
// is shown first, as showMessage does, and so is what XML does not allow.
std::string markupText(std::string_view utf8);

}  // namespace kelvane::report
