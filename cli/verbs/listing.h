// How commands that list things write them: as text to read or as JSON.
//
// Lifetime: plain values. Threading: free functions without state.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "cli/screen/console.h"
#include "cli/sides/database_reading.h"
#include "cli/words/arguments.h"
#include "inventory/kinds.h"

namespace kelvane {
class JsonWriter;
}

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
std::u16string shownCell(std::u16string_view text);
std::u16string shownCell(std::string_view utf8);

// The names of objects, with their owners, by kind; kinds without objects among them.
struct ObjectListing {
  std::string side;               // as the user calls it
  std::vector<std::string> gaps;  // what could not be read, a line each
  struct Kind {
    inventory::Kind kind;
    std::vector<std::string> names;
  };
  std::vector<Kind> kinds;
};

// The kinds for which `isListed` says so.
ObjectListing listingOf(const DatabaseReading& reading, const std::string& side,
                        const std::function<bool(inventory::Kind)>& isListed);

// "Foreign keys"
std::string capitalized(std::string_view words);

// What stands before all else: "side", "complete", "gaps".
void writeHead(const std::string& side, const std::vector<std::string>& gaps, JsonWriter& writer);
void writeJson(const ObjectListing& listing, std::ostream& out);

// What could not be read or was not even loaded, a line each.
std::vector<std::string> gapsOf(const DatabaseReading& reading);
// Complains about what could not be read.
ExitStatus tellGaps(const std::vector<std::string>& gaps, const Console& console);

}  // namespace kelvane::cli
