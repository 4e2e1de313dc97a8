#include "cli/list_command.h"

#include <array>
#include <memory>
#include <optional>

#include "cli/listing.h"
#include "cli/one_side.h"
#include "cli/overwriting.h"
#include "cli/reading.h"
#include "cli/side_reader.h"
#include "cli/written_file.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

constexpr std::array kOptions{kListingFormat};

struct ListRequest {
  OneSide side;
  std::span<const ObjectKind> kinds = kObjectKinds;
  ListingFormat format = ListingFormat::text;
  std::optional<std::string> trace;
};

ListRequest parseList(const Arguments& arguments) {
  ListRequest request{.side = oneSide(arguments, "list", "KIND"), .trace = arguments.value(kTrace)};
  request.format = listingFormatOf(arguments);
  refuseOverwriting(arguments, {&request.side.place, 1}, {.written = {kTrace}});
  if (const auto& word = request.side.further) {
    const ObjectKind* const kind = objectKindOf(*word);
    if (kind == nullptr) throw UsageError("KIND is " + objectKindWords() + ", not '" + *word + "'");
    request.kinds = {kind, 1};
  }
  if (std::holds_alternative<SnapshotPlace>(request.side.place))
    throw UsageError("list needs a database, but '" + request.side.shown +
                     "' is a snapshot; use kelvane show");
  return request;
}

// One kind: a name a line. Several: as `kelvane show` takes them.
void writeText(const ObjectListing& listing, std::ostream& out) {
  for (const auto& [kind, names] : listing.kinds) {
    for (const std::u16string& name : names) {
      if (listing.kinds.size() > 1) out << kind->word << ':';
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
  std::vector<NamedPlace> places{{"side", request.side.place}};
  const auto sides = openSides(places, console, open);
  std::optional<LogFile> traceFile;
  std::optional<Trace> trace;
  if (request.trace) {
    traceFile.emplace("trace", *request.trace);
    trace.emplace(traceFile->stream(), u"side");
  }
  std::vector<enumEntityType> entities;
  for (const ObjectKind& kind : request.kinds) entities.push_back(kind.list);
  StatusLine line(console);
  const Interruption ending = endsAtOnce(line, "interrupted while reading: there is no result");
  const SideReading reading =
      readLists(sides[0]->connection(), "side", entities, line, trace ? &*trace : nullptr);
  if (traceFile) traceFile->close();

  ObjectListing listing{request.side.shown, reading.gaps, {}};
  if (!sides[0]->isComplete()) listing.gaps.push_back("not everything could be loaded");
  for (const ObjectKind& kind : request.kinds) {
    auto& names = listing.kinds.emplace_back(ObjectListing::Kind{&kind, {}}).names;
    kind.forEach(reading.schema, [&](const ObjectName& name) { names.push_back(name.fullName); });
  }
  request.format == ListingFormat::json ? writeJson(listing, console.out)
                                        : writeText(listing, console.out);
  return tellGaps(listing.gaps, console);
}

}  // namespace kelvane::cli
