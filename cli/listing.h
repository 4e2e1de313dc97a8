// How commands that list things write them: as text to read or as JSON.
//
// Lifetime: plain values. Threading: free functions without state.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "cli/arguments.h"
#include "cli/console.h"
#include "cli/object_kinds.h"

namespace kelvane::cli {

enum class ListingFormat { text, json };
inline constexpr auto kListingFormats = std::to_array<Choice<ListingFormat>>({
    {"text", ListingFormat::text},
    {"json", ListingFormat::json},
});

inline constexpr Option kListingFormat{"--format", "FORMAT", "text or json",
                                       kNamesOf<kListingFormats>};

// Throws UsageError.
ListingFormat listingFormatOf(const Arguments& arguments);

// A text as a cell of a table: nothing where it is empty, otherwise as showValue shows it.
std::u16string shownCell(const std::u16string& text);

// The full names of objects of some kinds.
struct ObjectListing {
  std::string side;               // as the user calls it
  std::vector<std::string> gaps;  // what could not be read, a line each
  struct Kind {
    const ObjectKind* kind;
    std::vector<std::u16string> names;
  };
  std::vector<Kind> kinds;
};

void writeJson(const ObjectListing& listing, std::ostream& out);

// Complains about what could not be read.
ExitStatus tellGaps(const std::vector<std::string>& gaps, const Console& console);

}  // namespace kelvane::cli
