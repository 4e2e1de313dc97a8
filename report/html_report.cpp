#include "report/html_report.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

#include "model/text.h"
#include "report/diff_walk.h"
#include "report/html/page.h"
#include "report/json_writer.h"
#include "report/kind_words.h"
#include "report/readable_diff.h"
#include "report/renames.h"
#include "report/side_by_side.h"
#include "report/visible_text.h"

namespace kelvane {
namespace report {
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
  const auto allowed = [](const html::PageText& text) {
    return "'sha256-" + base64OfHex(text.sha256) + "'";
  };
  return "default-src 'none'; style-src " + allowed(html::kStyle) + "; script-src " +
         allowed(html::kScript) + "; base-uri 'none'; form-action 'none'";
}

// The data of the page, in the form that its script reads:
//
//   a value   a text, or where some of it is on both sides an array of what both sides have and
//             what one has, in turn
//   a row     a text that is on both sides, or [value of the source, value of the target, note];
//             an empty one is not there
class PageData {
 public:
  PageData(const ReportHeader& header, std::ostream& out)
      : header_(header), renames_(header.renames), json_(out) {
    json_.withinMarkup();
  }

  void write(const diffSchema& differences) {
    json_.beginObject();
    json_.member("version", std::string_view(header_.version));
    json_.member("source", std::string_view(header_.source));
    json_.member("target", std::string_view(header_.target));
    json_.member("switches", header_.switches);
    json_.member("gaps", header_.gaps);
    json_.member("notes", header_.notes);
    json_.key("kinds");
    json_.beginArray();
    forEachKind(differences, [&](const auto& kind, const auto& objects) {
      if (!objects.empty()) writeKind(kind, objects);
    });
    json_.endArray();
    json_.endObject();
  }

 private:
  template <class Object>
  void writeKind(const Kind<Object>& kind, const Array<Object>& objects) {
    json_.beginObject();
    json_.member("one", kind.singular);
    json_.member("many", kind.plural);
    json_.key("objects");
    json_.beginArray();
    for (const Object& object : objects) writeObject(kind, object);
    json_.endArray();
    json_.endObject();
  }

  template <class Object>
  void writeObject(const Kind<Object>& kind, const Object& object) {
    const typeDiff* missing = nullptr;
    json_.beginObject();
    json_.member("name", object.FullName);
    json_.member("owner", object.Owner);
    json_.member("count", differencesOf(object));
    json_.key("diffs");
    json_.beginArray();
    for (const typeDiff& difference : object.Diff) {
      if (difference.DiffType == diff_DoesNotExist)
        missing = &difference;
      else
        writeDifference(difference);
    }
    json_.endArray();
    if (missing != nullptr) writeMissing(kind.entityType, object.FullName, missing->Location);
    json_.key("parts");
    json_.beginArray();
    for (const auto& [part, entities, count] : kParts<Object>)
      for (const diffEntity& entity : object.*entities) writePart(part, entity);
    json_.endArray();
    json_.endObject();
  }

  // The object that it probably is on the other side is told besides.
  void writeMissing(enumEntityType kind, std::u16string_view name, enumLocation side) {
    json_.member("side", sideName(side));
    const Rename* rename = renames_.of(wordOf(kind), side, name);
    if (rename == nullptr) return;
    json_.key("renamed");
    json_.beginObject();
    json_.member("name", side == location_Source ? rename->target : rename->source);
    json_.member("likeness", rename->likeness);
    json_.endObject();
  }

  // As the records have it, the same name may be missing on a side and differ besides.
  void writePart(Part part, const diffEntity& entity) {
    bool differs = false;
    for (const typeDiff& difference : entity.Diff) {
      if (difference.DiffType != diff_DoesNotExist) {
        differs = true;
        continue;
      }
      beginPart(titleOfMissing(part, entity, difference));
      json_.member("side", sideName(difference.Location));
      json_.endObject();
    }
    if (!differs) return;
    beginPart(titleOf(part, entity));
    json_.key("diffs");
    json_.beginArray();
    for (const typeDiff& difference : entity.Diff)
      if (difference.DiffType != diff_DoesNotExist) writeDifference(readable(part, difference));
    json_.endArray();
    json_.endObject();
  }

  void beginPart(const Title& title) {
    json_.beginObject();
    json_.member("word", title.word);
    if (title.nameOf == NameOf::thing) json_.member("name", title.name);
    if (title.nameOf == NameOf::keys) json_.member("keys", title.name);
  }

  void writeDifference(const typeDiff& difference) {
    const auto [before, after, shortLines] = valuesOf(difference);
    json_.beginObject();
    json_.member("label", difference.SubEntityType);
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

  void writeRow(const Row& row) {
    if (row.same) return json_.value(*row.before);
    if (row.before && row.after) return writePair(*row.before, *row.after);
    json_.beginArray();
    json_.value(row.before.value_or(std::u16string_view()));
    json_.value(row.after.value_or(std::u16string_view()));
    json_.endArray();
  }

  void writePair(std::u16string_view before, std::u16string_view after) {
    const MarkedPair marked = markChanges(before, after);
    json_.beginArray();
    writePieces(marked.before);
    writePieces(marked.after);
    if (const auto note = lookAlikeNote(before, after); !note.empty()) json_.value(note);
    json_.endArray();
  }

  void writePieces(const Pieces& pieces) {
    if (pieces.size() == 2 && pieces.front().empty()) return json_.value(pieces.back());
    json_.beginArray();
    for (const std::u16string_view piece : pieces) json_.value(piece);
    json_.endArray();
  }

  static std::u16string_view sideName(enumLocation side) {
    return side == location_Source ? u"source" : u"target";
  }

  const ReportHeader& header_;
  const RenameIndex renames_;
  JsonWriter json_;
};

}  // namespace
}  // namespace report

void writeHtmlReport(const diffSchema& differences, const ReportHeader& header, std::ostream& out) {
  out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      << "<meta http-equiv=\"Content-Security-Policy\" content=\"" << report::contentPolicy()
      << "\">\n<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      << "<title>Differences</title>\n<style>" << html::kStyle.text << "</style>\n</head>\n<body>\n"
      << html::kBody.text << "<script type=\"application/json\" id=\"data\">";
  report::PageData(header, out).write(report::withOwnersOfGroups(differences));
  out << "</script>\n<script>" << html::kScript.text << "</script>\n</body>\n</html>\n";
}

}  // namespace kelvane
