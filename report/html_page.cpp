#include "report/html_page.h"

#include <cstdint>
#include <ostream>

#include "model/text.h"
#include "report/html/page.h"
#include "report/readable_diff.h"
#include "report/visible_text.h"

namespace kelvane::report {
namespace {

// How a content policy names a text that it lets run.
std::string base64OfHex(std::string_view hex) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  constexpr std::string_view kLetters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string result;
  std::uint32_t bits = 0;
  std::size_t count = 0;
  for (const char digit : hex) {
    bits = bits << 4 | static_cast<std::uint32_t>(kDigits.find(digit));
    count += 4;
    if (count < 6) continue;
    count -= 6;
    result += kLetters[bits >> count & 63];
  }
  if (count > 0) result += kLetters[bits << (6 - count) & 63];
  result.append((4 - result.size() % 4) % 4, '=');
  return result;
}

std::string contentPolicy() {
  return "default-src 'none'; style-src " + sourceOf(html::kStyle) + "; script-src " +
         sourceOf(html::kScript) + "; base-uri 'none'; form-action 'none'";
}

}  // namespace

std::string sourceOf(const html::PageText& text) {
  return "'sha256-" + base64OfHex(text.sha256) + "'";
}

void PageData::writeDifference(std::u16string_view label, std::u16string_view wholeBefore,
                               std::u16string_view wholeAfter) {
  const auto [before, after, shortLines] = valuesOf(wholeBefore, wholeAfter);
  json_.beginObject();
  json_.member("label", label);
  if (shortLines) {
    json_.key("values");
    writePair(before, after);
  } else {
    json_.key("rows");
    json_.beginArray();
    for (const Row& row : sideBySide(before, after)) writeRow(row);
    json_.endArray();
  }
  json_.endObject();
}

void PageData::writeMissing(std::string_view kind, std::u16string_view name, enumLocation side) {
  writeSide(side);
  const Rename* rename = renames_.of(kind, side, name);
  if (rename == nullptr) return;
  json_.key("renamed");
  json_.beginObject();
  json_.member("name", side == location_Source ? rename->target : rename->source);
  json_.member("likeness", rename->likeness);
  json_.endObject();
}

void PageData::writeKind(std::string_view one, std::string_view many,
                         const std::function<void()>& writeObjects) {
  json_.beginObject();
  json_.member("one", one);
  json_.member("many", many);
  json_.key("objects");
  json_.beginArray();
  writeObjects();
  json_.endArray();
  json_.endObject();
}

void PageData::writeSide(enumLocation side) {
  json_.member("side", side == location_Source ? "source" : "target");
}

void PageData::writeRow(const Row& row) {
  if (row.same) return json_.value(*row.before);
  if (row.before && row.after) return writePair(*row.before, *row.after);
  json_.beginArray();
  json_.value(row.before.value_or(std::u16string_view()));
  json_.value(row.after.value_or(std::u16string_view()));
  json_.endArray();
}

void PageData::writePair(std::u16string_view before, std::u16string_view after) {
  const MarkedPair marked = markChanges(before, after);
  json_.beginArray();
  writePieces(marked.before);
  writePieces(marked.after);
  if (const auto note = lookAlikeNote(before, after); !note.empty()) json_.value(note);
  json_.endArray();
}

void PageData::writePieces(const Pieces& pieces) {
  if (pieces.size() == 2 && pieces.front().empty()) return json_.value(pieces.back());
  json_.beginArray();
  for (const std::u16string_view piece : pieces) json_.value(piece);
  json_.endArray();
}

void writePage(const ReportHeader& header, const std::vector<std::string>& switches,
               const PageWriting& write, std::ostream& out) {
  out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      << "<meta http-equiv=\"Content-Security-Policy\" content=\"" << contentPolicy()
      << "\">\n<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      << "<title>Differences</title>\n<style>" << html::kStyle.text << "</style>\n</head>\n<body>\n"
      << html::kBody.text << "<script type=\"application/json\" id=\"data\">";
  PageData data(header, out);
  JsonWriter& json = data.json();
  json.beginObject();
  json.member("version", std::string_view(header.version));
  json.member("source", std::string_view(header.source));
  json.member("target", std::string_view(header.target));
  json.member("switches", switches);
  json.member("gaps", header.gaps);
  json.member("notes", header.notes);
  json.key("kinds");
  json.beginArray();
  write.kinds(data);
  json.endArray();
  if (write.more) write.more(data);
  json.endObject();
  out << "</script>\n<script>" << html::kScript.text << "</script>\n</body>\n</html>\n";
}

}  // namespace kelvane::report
