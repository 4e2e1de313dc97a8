// Which of the names that there are somebody may have meant.
//
// Lifetime: results are views of what they were found in. Threading: free functions without state.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace kelvane::inventory {

// How many letters must be changed, added or left out to make one text of the other.
std::size_t distance(std::u16string_view a, std::u16string_view b);
// How far a name may be from what was written to be what was meant.
inline std::size_t farthestMeant(std::size_t length) { return length / 3; }

// The name that is nearest; empty where none is near.
std::string_view nearestOf(std::string_view written, std::span<const std::string_view> names);
// "; did you mean 'format'?", or nothing where no name is near.
std::string nearestName(std::string_view written, std::span<const std::string_view> names);

}  // namespace kelvane::inventory
