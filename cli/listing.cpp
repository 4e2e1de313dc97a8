#include "cli/listing.h"

#include "report/json_writer.h"
#include "report/visible_text.h"

namespace kelvane::cli {

ListingFormat listingFormatOf(const Arguments& arguments) {
  return choiceOf<kListingFormats>(arguments, kListingFormat.name, ListingFormat::text);
}

std::u16string shownCell(const std::u16string& text) {
  return text.empty() ? text : report::showValue(text);
}

void writeJson(const ObjectListing& listing, std::ostream& out) {
  JsonWriter writer(out);
  writer.beginObject();
  writer.member("side", std::string_view(listing.side));
  writer.member("complete", listing.gaps.empty());
  writer.member("gaps", listing.gaps);
  writer.key("objects");
  writer.beginObject();
  for (const auto& [kind, names] : listing.kinds) {
    writer.key(kind->word);
    writer.beginArray();
    for (const std::u16string& name : names) writer.value(name);
    writer.endArray();
  }
  writer.endObject();
  writer.endObject();
}

ExitStatus tellGaps(const std::vector<std::string>& gaps, const Console& console) {
  for (const std::string& gap : gaps) console.complain(gap);
  return gaps.empty() ? kNoDifference : kNotProven;
}

}  // namespace kelvane::cli
