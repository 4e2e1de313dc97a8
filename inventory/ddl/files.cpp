#include "inventory/ddl/files.h"

#include <algorithm>
#include <array>
#include <optional>
#include <sstream>
#include <utility>

#include "inventory/ddl/batch_lines.h"
#include "inventory/ddl/use_graph.h"
#include "inventory/ddl/used_names.h"

namespace kelvane::inventory {
namespace {

// As a script of all objects has them.
constexpr std::array kOrder{
    Kind::database, Kind::message,       Kind::role,     Kind::group,     Kind::user,
    Kind::alias,    Kind::defaultObject, Kind::rule,     Kind::type,      Kind::encryptionKey,
    Kind::table,    Kind::view,          Kind::function, Kind::procedure,
};

static_assert(kOrder.size() == static_cast<std::size_t>(Kind::column));

struct ObjectOfFile {
  Kind kind;
  std::string owner, name;
};

/// What the head of a file says; none for a file that was written by hand.
std::optional<ObjectOfFile> objectOf(std::string_view text) {
  if (!text.starts_with(kFileMark)) return std::nullopt;
  const std::string_view line = lineAt(text, 0).substr(kFileMark.size());
  const KindRow* longest = nullptr;
  for (const KindRow& row : kKinds) {
    const bool isIt = isObject(row.kind) && line.starts_with(row.singular) &&
                      (line.size() == row.singular.size() || line[row.singular.size()] == ' ');
    if (isIt && (longest == nullptr || longest->singular.size() < row.singular.size()))
      longest = &row;
  }
  if (longest == nullptr) return std::nullopt;
  std::string_view name = line.substr(longest->singular.size());
  if (name.starts_with(' ')) name.remove_prefix(1);
  std::string_view owner;
  if (const std::size_t point = name.find('.'); point != std::string_view::npos) {
    owner = name.substr(0, point);
    name.remove_prefix(point + 1);
  }
  return ObjectOfFile{longest->kind, std::string(owner), std::string(name)};
}

bool hasStatements(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::string_view line = lineAt(text, at);
    if (!line.empty() && !line.starts_with("--") && !isBatchEnd(line)) return true;
    at = nextLine(text, at);
  }
  return false;
}

struct Part {
  std::size_t file;
  Phase phase;
  std::size_t rank;
  std::string text;
};

/// Divides a file at its phases, and behind texts that end within a line: such a text is the end
/// of a script.
class Division {
 public:
  Division(std::size_t file, const ObjectOfFile& object, std::string_view text,
           std::vector<Part>& parts)
      : file_(file),
        rank_(static_cast<std::size_t>(std::ranges::find(kOrder, object.kind) - kOrder.begin())),
        phase_(usualPhase(object.kind)),
        text_(text),
        parts_(parts) {}

  void run() {
    bool isBehindGo = true, endsWithin = false;
    for (std::size_t at = 0; at < text_.size();) {
      const std::string_view line = lineAt(text_, at);
      const std::size_t next = nextLine(text_, at);
      if (isBehindGo) {
        if (const auto phase = phaseOfHeading(line)) {
          finish(at, at);
          phase_ = *phase;
        }
        // The heading has a `go` of its own.
        if (line == kEndsWithinLine) endsWithin = true, isMarked_ = true;
      }
      const bool isGo = isBatchEnd(line);
      isBehindGo = isGo || (isBehindGo && line.empty());
      if (isGo && endsWithin && !std::exchange(isMarked_, false)) {
        finish(lineEndBefore(at), next);
        endsWithin = false;
      }
      at = next;
    }
    finish(text_.size(), text_.size());
  }

 private:
  std::size_t lineEndBefore(std::size_t at) const {
    if (at > 0 && text_[at - 1] == '\n') --at;
    return at > 0 && text_[at - 1] == '\r' ? at - 1 : at;
  }
  /// Ends the part; the next one begins at `next`.
  void finish(std::size_t end, std::size_t next) {
    if (hasStatements(text_.substr(begin_, end - begin_))) {
      parts_.push_back(
          {file_, phase_, rank_,
           std::string(lines_, '\n') + std::string(text_.substr(begin_, end - begin_))});
    }
    lines_ +=
        static_cast<std::size_t>(std::ranges::count(text_.substr(begin_, next - begin_), '\n'));
    begin_ = next;
  }

  std::size_t file_, rank_;
  Phase phase_;
  std::string_view text_;
  std::vector<Part>& parts_;
  std::size_t begin_ = 0, lines_ = 0;
  bool isMarked_ = false;
};

/// What the first batch that creates something creates.
std::optional<UsedObject> firstCreation(std::string_view text, bool quotedIdentifier) {
  std::size_t begin = 0;
  for (std::size_t at = 0; at < text.size(); at = nextLine(text, at)) {
    if (!isBatchEnd(lineAt(text, at))) continue;
    if (const auto found = createdObject(text.substr(begin, at - begin), quotedIdentifier))
      return found;
    begin = nextLine(text, at);
  }
  return createdObject(text.substr(begin), quotedIdentifier);
}

using Objects = std::vector<std::optional<ObjectOfFile>>;

/// What a file has in a phase.
struct Unit {
  std::span<Part> parts;
  std::string text = {};

  std::size_t file() const { return parts.front().file; }
  Phase phase() const { return parts.front().phase; }
};

std::vector<Unit> unitsOf(std::span<Part> parts) {
  std::vector<Unit> units;
  for (std::size_t at = 0; at < parts.size();) {
    const std::size_t first = at;
    Unit unit;
    for (; at < parts.size() && parts[at].file == parts[first].file &&
           parts[at].phase == parts[first].phase;
         ++at)
      unit.text += parts[at].text;
    unit.parts = parts.subspan(first, at - first);
    units.push_back(std::move(unit));
  }
  return units;
}

bool hasQuotedNames(const Unit& unit) {
  return unit.text.find(kQuotedIdentifierOn) != std::string::npos;
}

void moveInto(std::span<Part> parts, const std::vector<Unit>& units,
              const std::vector<std::size_t>& order) {
  std::vector<Part> sorted;
  sorted.reserve(parts.size());
  for (const std::size_t at : order) std::ranges::move(units[at].parts, std::back_inserter(sorted));
  std::ranges::move(sorted, parts.begin());
}

/// Views, functions and procedures, as they name one another in whatever place.
void sortByNames(std::span<Part> parts, const Objects& objects, bool ignoresCase) {
  const std::vector<Unit> units = unitsOf(parts);
  std::vector<NamedText> named;
  named.reserve(units.size());
  for (const Unit& unit : units)
    named.push_back({objects[unit.file()]->name, unit.text, hasQuotedNames(unit)});
  moveInto(parts, units, inOrderOfUse(named, ignoresCase));
}

/// What is used comes first: where tables call functions, those are created among the tables.
class SortingByUse {
 public:
  SortingByUse(std::span<Part> parts, const Objects& objects, bool ignoresCase)
      : parts_(parts), objects_(objects), units_(unitsOf(parts)), graph_({}, ignoresCase) {}

  void run() {
    for (const Unit& unit : units_) add(unit);
    for (std::size_t at = 0; at < units_.size(); ++at) addFormerName(at);
    for (std::size_t at = 0; at < units_.size(); ++at) addUses(at);
    const std::vector<bool> isEarly = graph_.closure(early_);
    for (std::size_t at = 0; at < units_.size(); ++at) {
      if (!isEarly[at] || units_[at].phase() != Phase::compiled) continue;
      setPhase(units_[at], Phase::tables);
    }
    std::vector<std::size_t> order = graph_.order();
    std::ranges::stable_sort(order, {}, [&](std::size_t at) { return units_[at].phase(); });
    moveInto(parts_, units_, order);
  }

 private:
  Kind kindOf(const Unit& unit) const { return objects_[unit.file()]->kind; }

  static void setPhase(const Unit& unit, Phase phase) {
    for (Part& part : unit.parts) part.phase = phase;
  }

  void add(const Unit& unit) {
    const ObjectOfFile& object = *objects_[unit.file()];
    const bool isCompiled = usualPhase(object.kind) == Phase::compiled;
    if (isCompiled || unit.phase() == usualPhase(object.kind)) {
      graph_.add(object.kind, object.owner, object.name);
    } else {
      graph_.add(Kind::database, {}, {});
    }
  }
  /// What the text creates, and what is renamed behind it.
  void addFormerName(std::size_t at) {
    const ObjectOfFile& object = *objects_[units_[at].file()];
    if (usualPhase(object.kind) != Phase::compiled) return;
    if (const auto created = firstCreation(units_[at].text, hasQuotedNames(units_[at])))
      graph_.addName(at, object.owner, created->name);
  }
  void addUses(std::size_t at) {
    const Unit& unit = units_[at];
    const ObjectOfFile& object = *objects_[unit.file()];
    const bool isCompiled = usualPhase(object.kind) == Phase::compiled;
    graph_.forEachUsed(object.owner, unit.text, hasQuotedNames(unit), [&](std::size_t used) {
      if (isCompiled) return graph_.addUse(at, used);
      if (kindOf(units_[used]) != Kind::function) return;
      early_.push_back(used);
      if (unit.phase() == Phase::values) setPhase(unit, Phase::tables);
      // An index comes behind all tables, so that its function may use its table.
      if (unit.phase() <= Phase::tables) graph_.addUse(at, used);
    });
  }

  std::span<Part> parts_;
  const Objects& objects_;
  std::vector<Unit> units_;
  UseGraph graph_;
  std::vector<std::size_t> early_;
};

}  // namespace

std::string fileHead(std::string_view of) {
  std::string line(kFileMark);
  for (const char c : of) line += c == '\n' || c == '\r' ? ' ' : c;
  return line + "\ngo\n";
}

std::string fileText(const ScriptedObject& object) {
  const std::string kind(rowOf(object.kind).singular);
  std::ostringstream out;
  out << fileHead(object.kind == Kind::database ? kind : kind + ' ' + object.name);
  write(object, out);
  return out.str();
}

std::vector<FilePart> inRunningOrder(std::span<const std::string> texts, bool ignoresCase) {
  std::vector<Part> parts;
  Objects objects(texts.size());
  std::vector<FilePart> order, behind;
  for (std::size_t file = 0; file < texts.size(); ++file) {
    objects[file] = objectOf(texts[file]);
    if (objects[file]) {
      Division(file, *objects[file], texts[file], parts).run();
    } else {
      (parts.empty() ? order : behind).push_back({file, texts[file]});
    }
  }
  std::ranges::stable_sort(parts, {},
                           [](const Part& one) { return std::pair(one.phase, one.rank); });
  const auto compiled = std::ranges::equal_range(parts, Phase::compiled, {}, &Part::phase);
  sortByNames({compiled.begin(), compiled.end()}, objects, ignoresCase);
  const auto values = std::ranges::lower_bound(parts, Phase::values, {}, &Part::phase);
  SortingByUse({values, compiled.end()}, objects, ignoresCase).run();
  for (Part& part : parts) order.push_back({part.file, std::move(part.text)});
  std::ranges::move(behind, std::back_inserter(order));
  return order;
}

}  // namespace kelvane::inventory
