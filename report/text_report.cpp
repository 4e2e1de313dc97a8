#include "report/text_report.h"

#include <ostream>
#include <string>

#include "model/text.h"
#include "report/diff_walk.h"
#include "report/kind_words.h"
#include "report/phrases.h"
#include "report/readable_diff.h"
#include "report/renames.h"
#include "report/tallies.h"
#include "report/text_lines.h"
#include "report/visible_text.h"

namespace kelvane {
namespace report {
namespace {

void writeValues(const typeDiff& difference, std::size_t depth, Lines& out) {
  const Values values = valuesOf(difference);
  if (values.shortLines) {
    out.write(depth, difference.SubEntityType + u": " + valuesLine(values, out.colors()));
  } else {
    out.write(depth, difference.SubEntityType + u":");
    writeLineDiff(values.before, values.after, depth + 1, out);
  }
}

void writePart(Part part, const diffEntity& entity, Lines& out) {
  bool headed = false;
  for (const typeDiff& difference : entity.Diff) {
    if (difference.DiffType == diff_DoesNotExist) {
      out.write(1, heading(titleOfMissing(part, entity, difference)) + u": " +
                       out.onlyIn(difference.Location));
      headed = false;
      continue;
    }
    if (!headed) out.write(1, heading(titleOf(part, entity)));
    headed = true;
    writeValues(readable(part, difference), 2, out);
  }
}

template <class Object>
void writeObject(const Kind<Object>& kind, const Object& object, const RenameIndex& renames,
                 Lines& out) {
  const std::u16string title =
      out.paint(Ink::title, toUtf16(kind.singular) + u" " + showValue(object.FullName));
  bool headed = false;
  for (const typeDiff& difference : object.Diff) {
    if (difference.DiffType == diff_DoesNotExist) {
      out.write(0, title + u": " + out.onlyIn(difference.Location));
      if (const Rename* rename =
              renames.of(wordOf(kind.entityType), difference.Location, object.FullName))
        out.write(1, renameNote(*rename, difference.Location));
      headed = true;
      continue;
    }
    if (!headed) out.write(0, title);
    headed = true;
    writeValues(difference, 1, out);
  }
  if (!headed) out.write(0, title);
  for (const auto& [part, entities, count] : kParts<Object>)
    for (const diffEntity& entity : object.*entities) writePart(part, entity, out);
  out.write(0, u"");
}

}  // namespace
}  // namespace report

void writeTextReport(const diffSchema& differences, const ReportHeader& header, Colors colors,
                     std::ostream& out) {
  report::Lines lines(out, colors);
  lines.write(0, report::sidesLine(header, colors));
  lines.write(0, u"");
  const diffSchema shown = report::withOwnersOfGroups(differences);
  const RenameIndex renames(header.renames);
  report::forEachKind(shown, [&](const auto& kind, const auto& objects) {
    for (const auto& object : objects) report::writeObject(kind, object, renames, lines);
  });
  lines.write(0, report::closingLine(report::talliesOf(shown), header));
}

void writeTextSummary(const diffSchema& differences, const ReportHeader& header,
                      std::ostream& out) {
  report::writeSummary(report::talliesOf(report::withOwnersOfGroups(differences)), header, out);
}

}  // namespace kelvane
