#include <concepts>
#include <ostream>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "inventory/ddl/file_names.h"
#include "inventory/ddl/script.h"
#include "model/text.h"
#include "report/change_report.h"
#include "report/change_words.h"
#include "report/line_diff.h"
#include "report/phrases.h"
#include "report/tallies.h"

namespace kelvane {
namespace report {
namespace {

using inventory::Change;
using inventory::Definition;
using inventory::Kind;
using inventory::RecordPointer;

constexpr std::size_t kContextLines = 3;

template <class Record>
concept IsDefined = requires(const Record& record) {
  { record.definition } -> std::same_as<const Definition&>;
  record.name.owner;
};

// The text of a record and the name of its file; null and empty where it has none.
struct DefinedText {
  const Definition* definition = nullptr;
  std::string path = {};
};

template <class Record>
DefinedText definedText(Kind kind, const Record& record) {
  // What an extended procedure has instead is the name of a library.
  if constexpr (requires { record.language; }) {
    if (!record.language.empty()) return {};
  }
  std::vector<std::string> parts{record.name.owner, record.name.name};
  if constexpr (requires { record.number; }) {
    if (record.number != 1) parts.push_back(std::to_string(record.number));
  }
  return {&record.definition,
          inventory::folderOf(kind) + '/' + inventory::fileName(parts) + ".sql"};
}

DefinedText definedText(Kind kind, const RecordPointer& pointer) {
  return std::visit(
      [&]<class Pointer>(const Pointer& record) -> DefinedText {
        using Record = std::remove_cvref_t<std::remove_pointer_t<Pointer>>;
        if constexpr (IsDefined<Record>) return definedText(kind, *record);
        return {};
      },
      pointer);
}

class Patch {
 public:
  Patch(Colors colors, std::ostream& out) : colors_(colors), out_(out) {}

  // What differs and is not in it: where a definition is not known, and all else.
  std::size_t leftOut() const { return leftOut_; }

  void add(const Change& change) {
    const DefinedText source = definedText(change.kind, change.source),
                      target = definedText(change.kind, change.target);
    const std::string& path = source.definition != nullptr ? source.path : target.path;
    if (!change.isOnBothSides()) {
      leftOut_ += write(path, source.definition, target.definition) ? 0 : 1;
      addTriggers(change.source, Side::source);
      addTriggers(change.target, Side::target);
      return;
    }
    for (const inventory::AttributeChange& one : change.attributes) {
      const bool isWritten = one.label == "definition" && source.definition != nullptr &&
                             write(path, source.definition, target.definition);
      leftOut_ += isWritten ? 0 : 1;
    }
    for (const Change& part : change.parts) add(part);
  }

 private:
  enum class Side { source, target };

  // A table or view on one side: nobody lists its triggers as differences of their own.
  void addTriggers(const RecordPointer& pointer, Side side) {
    std::visit(
        [&](const auto& record) {
          if constexpr (requires { record->triggers; }) {
            for (const inventory::Trigger& one : record->triggers) {
              const DefinedText text = definedText(Kind::trigger, one);
              const bool isSource = side == Side::source;
              const bool isWritten = write(text.path, isSource ? text.definition : nullptr,
                                           isSource ? nullptr : text.definition);
              leftOut_ += isWritten ? 0 : 1;
            }
          }
        },
        pointer);
  }

  // False where there is nothing to write.
  bool write(const std::string& path, const Definition* source, const Definition* target) {
    const auto isKnown = [](const Definition* one) {
      return one == nullptr || one->state == Definition::State::whole;
    };
    if ((source == nullptr && target == nullptr) || !isKnown(source) || !isKnown(target))
      return false;
    const std::u16string before = source == nullptr ? u"" : toUtf16(source->text),
                         after = target == nullptr ? u"" : toUtf16(target->text);
    const std::vector<DiffLine> lines = diffFedLines(before, after);
    const std::vector<Hunk> changed = hunks(lines, kContextLines);
    if (changed.empty()) return false;
    line(Ink::title, "--- " + (source == nullptr ? "/dev/null" : "a/" + path));
    line(Ink::title, "+++ " + (target == nullptr ? "/dev/null" : "b/" + path));
    for (const Hunk& hunk : changed) write(hunk, lines);
    return true;
  }

  // Of no lines at all it says the line before.
  static std::string range(std::int64_t first, std::int64_t count) {
    return std::to_string(count == 0 ? first - 1 : first) +
           (count == 1 ? "" : ',' + std::to_string(count));
  }

  void write(const Hunk& hunk, const std::vector<DiffLine>& lines) {
    line(Ink::place, "@@ -" + range(hunk.beforeLine, hunk.beforeCount) + " +" +
                         range(hunk.afterLine, hunk.afterCount) + " @@");
    for (std::size_t at = hunk.first; at < hunk.last; ++at) {
      const auto& [change, text] = lines[at];
      const bool isEnded = text.ends_with(u'\n');
      const std::string shown = toUtf8(text.substr(0, text.size() - (isEnded ? 1 : 0)));
      if (change == LineChange::same)
        out_ << ' ' << shown << '\n';
      else if (change == LineChange::removed)
        line(Ink::source, '-' + shown);
      else
        line(Ink::target, '+' + shown);
      if (!isEnded) out_ << "\\ No newline at end of file\n";
    }
  }

  void line(Ink ink, const std::string& text) {
    if (colors_ == Colors::none)
      out_ << text << '\n';
    else
      out_ << toUtf8(painted(toUtf16(text), ink, colors_)) << '\n';
  }

  Colors colors_;
  std::ostream& out_;
  std::size_t leftOut_ = 0;
};

}  // namespace
}  // namespace report

void writePatch(const std::vector<inventory::Change>& changes, const ReportHeader& header,
                Colors colors, std::ostream& out) {
  std::ostringstream diff;
  report::Patch patch(colors, diff);
  for (const inventory::Change& change : changes) patch.add(change);
  out << toUtf8(report::sidesLine(header, colors)) << '\n'
      << toUtf8(report::closingLine(report::talliesOf(changes), header)) << '\n';
  if (patch.leftOut() > 0)
    out << toUtf8(report::counted(static_cast<std::int64_t>(patch.leftOut()), "difference",
                                  "differences"))
        << " that no patch of definitions can say: see --format text\n";
  out << '\n' << diff.str();
}

}  // namespace kelvane
