#include "cli/verbs/listing.h"

#include "inventory/attributes.h"
#include "inventory/browse/search.h"
#include "inventory/shown.h"
#include "model/text.h"
#include "report/json_writer.h"
#include "report/visible_text.h"

namespace kelvane::cli {

ListingFormat listingFormatOf(const Arguments& arguments) {
  return choiceOf<kListingFormats>(arguments, kListingFormat.name, ListingFormat::text);
}

std::u16string shownCell(std::u16string_view text) {
  return text.empty() ? std::u16string() : report::showValue(text);
}
std::u16string shownCell(std::string_view utf8) { return shownCell(toUtf16(utf8)); }

ObjectListing listingOf(const DatabaseReading& reading, const std::string& side,
                        const std::function<bool(inventory::Kind)>& isListed) {
  ObjectListing listing{side, gapsOf(reading), {}};
  const inventory::Database& database = reading.database;
  if (isListed(inventory::Kind::database) && reading.wasRead)
    listing.kinds.push_back({inventory::Kind::database, {nameOfDatabase(database)}});
  inventory::forEachObjects([&](const auto& objects) {
    if (!isListed(objects.kind)) return;
    auto& names = listing.kinds.emplace_back(ObjectListing::Kind{objects.kind, {}}).names;
    for (const auto& object : database.*objects.member) names.push_back(nameOf(object));
  });
  return listing;
}

std::string capitalized(std::string_view words) {
  std::string text(words);
  if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 32);
  return text;
}

void writeHead(const std::string& side, const std::vector<std::string>& gaps, JsonWriter& writer) {
  writer.member("side", std::string_view(side));
  writer.member("complete", gaps.empty());
  writer.member("gaps", gaps);
}

void writeJson(const ObjectListing& listing, std::ostream& out) {
  JsonWriter writer(out);
  writer.beginObject();
  writeHead(listing.side, listing.gaps, writer);
  writer.key("objects");
  writer.beginObject();
  for (const auto& [kind, names] : listing.kinds) {
    writer.key(inventory::wordOf(kind));
    writer.beginArray();
    for (const std::string& name : names) writer.value(std::string_view(name));
    writer.endArray();
  }
  writer.endObject();
  writer.endObject();
}

std::vector<std::string> gapsOf(const DatabaseReading& reading) {
  std::vector<std::string> gaps = gapsOf(reading, reading.database);
  if (!reading.complete) gaps.push_back("not everything could be loaded");
  return gaps;
}

ExitStatus tellGaps(const std::vector<std::string>& gaps, const Console& console) {
  for (const std::string& gap : gaps) console.complain(gap);
  return gaps.empty() ? kNoDifference : kNotProven;
}

}  // namespace kelvane::cli
