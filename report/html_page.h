// The page that HTML reports have in common, and its data as the page's script reads them.
//
// Lifetime: the header and the stream outlive the data. Threading: one thread.
#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

#include "model/diff_schema.h"
#include "report/html/page.h"
#include "report/json_writer.h"
#include "report/renames.h"
#include "report/report_header.h"
#include "report/side_by_side.h"

namespace kelvane::report {

// The data of the page, in the form that its script reads:
//
//   a value   a text, or where some of it is on both sides an array of what both sides have and
//             what one has, in turn
//   a row     a text that is on both sides, or [value of the source, value of the target, note];
//             an empty one is not there
class PageData {
 public:
  PageData(const ReportHeader& header, std::ostream& out) : renames_(header.renames), json_(out) {
    json_.withinMarkup();
  }

  JsonWriter& json() { return json_; }

  // An element of "kinds": "table" and "tables", and what writes its objects.
  void writeKind(std::string_view one, std::string_view many,
                 const std::function<void()>& writeObjects);
  // An element of "diffs".
  void writeDifference(std::u16string_view label, std::u16string_view before,
                       std::u16string_view after);
  // A line on either side or on both.
  void writeRow(const Row& row);
  // That an object is on one side only, and which one it probably is on the other side.
  void writeMissing(std::string_view kind, std::u16string_view name, enumLocation side);
  void writeSide(enumLocation side);

 private:
  void writePair(std::u16string_view before, std::u16string_view after);
  void writePieces(const Pieces& pieces);

  RenameIndex renames_;
  JsonWriter json_;
};

// What the content policy of a page calls a style or a script within it.
std::string sourceOf(const html::PageText& text);

struct PageWriting {
  std::function<void(PageData&)> kinds;      // the elements of "kinds"
  std::function<void(PageData&)> more = {};  // members behind it
};

// Writes the whole page. `switches`: those that it lists.
void writePage(const ReportHeader& header, const std::vector<std::string>& switches,
               const PageWriting& write, std::ostream& out);

}  // namespace kelvane::report
