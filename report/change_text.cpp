#include <string>
#include <vector>

#include "inventory/compare/titles.h"
#include "model/text.h"
#include "report/change_parts.h"
#include "report/change_report.h"
#include "report/change_words.h"
#include "report/renames.h"
#include "report/tallies.h"
#include "report/text_lines.h"

namespace kelvane {
namespace report {
namespace {

using inventory::Change;

// One object, with what it is made of.
class Block {
 public:
  Block(const Change& object, Lines& lines) : owner_(ownerOf(object)), lines_(lines) {}

  void write(const Change& object, const RenameIndex& renames) {
    std::u16string title = lines_.paint(Ink::title, headingOf(object));
    if (const auto side = sideOf(object)) {
      lines_.write(0, title + u": " + onlyInLine(object, owner_, lines_.colors()));
      const Rename* rename =
          renames.of(inventory::rowOf(object.kind).singular, *side, toUtf16(object.name));
      if (rename != nullptr) lines_.write(1, renameNote(*rename, *side));
    } else {
      writeChanged(object, std::move(title), Place::object, 0);
    }
    lines_.write(0, u"");
  }

 private:
  void writePart(const Change& part, std::size_t depth) {
    std::u16string title = headingOf(part, owner_);
    if (part.isOnBothSides())
      writeChanged(part, std::move(title), Place::part, depth);
    else
      lines_.write(depth, title + u": " + onlyInLine(part, owner_, lines_.colors()));
  }

  void writeChanged(const Change& change, std::u16string title, Place place, std::size_t depth) {
    const auto [text, label, rest] = inlineOf(change, place, lines_.colors());
    if (!text.empty()) title += u": " + text;
    lines_.write(depth, title);
    for (const ShownChange& one : rest) {
      if (one.isShort()) {
        lines_.write(depth + 1, one.label() + u": " + one.line(lines_.colors()));
      } else {
        lines_.write(depth + 1, one.label() + u":");
        writeLineDiff(one.was(), one.is(), depth + 2, lines_);
      }
    }
    for (const Change& part : change.parts) writePart(part, depth + 1);
  }

  std::string owner_;
  Lines& lines_;
};

}  // namespace

void writeObjects(const std::vector<Change>& changes, const RenameIndex& renames, Lines& lines) {
  for (const Change& object : changes) Block(object, lines).write(object, renames);
}

}  // namespace report

void writeTextReport(const std::vector<inventory::Change>& changes, const ReportHeader& header,
                     Colors colors, std::ostream& out) {
  report::Lines lines(out, colors);
  lines.write(0, report::sidesLine(header, colors));
  lines.write(0, u"");
  report::writeObjects(changes, RenameIndex(header.renames), lines);
  lines.write(0, report::closingLine(report::talliesOf(changes), header));
}

void writeTextSummary(const std::vector<inventory::Change>& changes, const ReportHeader& header,
                      std::ostream& out) {
  report::writeSummary(report::talliesOf(changes), header, out);
}

}  // namespace kelvane
