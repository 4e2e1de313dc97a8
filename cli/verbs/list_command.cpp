#include "cli/verbs/list_command.h"

#include <array>
#include <optional>

#include "cli/screen/pager.h"
#include "cli/sides/database_reading.h"
#include "cli/verbs/listing.h"
#include "cli/words/one_side.h"
#include "cli/words/overwriting.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

constexpr std::array kOptions{kListingFormat};

struct ListRequest {
  OneSide side;
  std::optional<inventory::Kind> kind;
  ListingFormat format = ListingFormat::text;
  std::optional<std::string> trace;

  bool lists(inventory::Kind one) const { return !kind || *kind == one; }
};

ListRequest parseList(const Arguments& arguments) {
  ListRequest request{.side = oneSide(arguments, "list", "KIND"),
                      .kind = {},
                      .format = listingFormatOf(arguments),
                      .trace = arguments.value(kTrace)};
  refuseOverwriting(arguments, {&request.side.place, 1}, {.written = {kTrace}});
  if (const auto& word = request.side.further) {
    request.kind = inventory::objectKindOf(*word);
    if (!request.kind)
      throw UsageError("KIND is " + inventory::objectKindWords() + ", not '" + *word + "'");
  }
  return request;
}

// One kind: a name a line. Several: as `kelvane show` takes them.
void writeText(const ObjectListing& listing, std::ostream& out) {
  for (const auto& [kind, names] : listing.kinds) {
    for (const std::string& name : names) {
      if (listing.kinds.size() > 1) out << inventory::wordOf(kind) << ':';
      out << toUtf8(shownCell(name)) << '\n';
    }
  }
}

}  // namespace

std::vector<OptionFamily> listOptions() {
  return {oneSideOptions(), {"The list", kOptions}, readingOptions()};
}

ExitStatus runList(const Arguments& arguments, const Console& console, const OpenSide& open) {
  const ListRequest request = parseList(arguments);
  const auto isListed = [&](inventory::Kind kind) { return request.lists(kind); };
  const std::vector<DatabaseReading> readings = readDatabases(
      {{"side", request.side.place}}, {false, request.trace, isListed}, console, open);
  const ObjectListing listing = listingOf(readings[0], request.side.shown, isListed);
  writePaged(console, [&](std::ostream& out) {
    request.format == ListingFormat::json ? writeJson(listing, out) : writeText(listing, out);
  });
  return tellGaps(listing.gaps, console);
}

}  // namespace kelvane::cli
