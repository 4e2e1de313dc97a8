#include "findings/renames.h"

#include <array>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <utility>

#include "findings/rename_search.h"
#include "inventory/shown.h"
#include "model/text.h"

namespace kelvane::findings {
namespace {

using namespace inventory;

// What is about who may use an object, and not about the object.
constexpr bool isOfContents(Kind kind) { return kind != Kind::permission; }

template <class Record>
void addParts(const Record& record, Contents& contents);

/// Names of constraints, indexes and triggers do not count.
template <class Record>
void addPart(const Record& record, Contents& contents) {
  std::string line;
  if constexpr (std::is_same_v<Record, Column> || std::is_same_v<Record, ViewColumn> ||
                std::is_same_v<Record, Parameter> || std::is_same_v<Record, LogicalKey>)
    line = nameOf(record) + ' ';
  line += declaration(record);
  if constexpr (std::is_same_v<Record, Trigger>)
    line +=
        '\n' + withoutName(withoutName(record.definition.text, record.name.name), contents.name);
  contents.lines.push_back(std::move(line));
  addParts(record, contents);
}

template <class Record>
void addParts(const Record& record, Contents& contents) {
  forEachParts<Record>([&](const auto& parts) {
    if (!isOfContents(parts.kind)) return;
    for (const auto& part : record.*parts.member) addPart(part, contents);
  });
}

template <class Record>
Contents contentsOf(const Record& record) {
  Contents contents{record.name.name, toUtf16(nameOf(record)), {}};
  forEachAttribute<Record>([&]<class Owner, class Value>(const Attribute<Owner, Value>& one) {
    if (one.style == Style::name || one.family == Family::rowCounts) return;
    if constexpr (std::is_same_v<Value, Definition>) {
      addLines((record.*one.member).text, contents.name, contents.lines);
    } else {
      static const Record kUsual{};
      const Value& value = record.*one.member;
      if (value != kUsual.*one.member)
        contents.lines.push_back(std::string(one.label) + ' ' + shown(value));
    }
  });
  addParts(record, contents);
  return contents;
}

template <class Record>
using Records = std::unordered_set<const Record*>;

template <class Record>
void addMissing(const RecordPointer& record, Records<Record>& missing) {
  if (const auto* pointer = std::get_if<const Record*>(&record)) missing.insert(*pointer);
}

template <class Record>
void addRenames(const std::vector<Change>& changes, Kind kind,
                std::vector<Record> Database::*records,
                const std::array<const Database*, 2>& databases, std::vector<Rename>& renames) {
  std::array<Records<Record>, 2> missing;
  for (const Change& change : changes) {
    if (change.isOnlyInSource()) addMissing(change.source, missing[0]);
    if (change.isOnlyInTarget()) addMissing(change.target, missing[1]);
  }
  if (missing[0].empty() || missing[1].empty()) return;
  RenameSearch search(rowOf(kind).singular);
  for (std::size_t side = 0; side < 2; ++side) {
    for (const Record& record : databases[side]->*records)
      search.add(side, contentsOf(record),
                 missing[side].contains(&record) ? RenameSearch::Presence::alone
                                                 : RenameSearch::Presence::both);
  }
  search.find(renames);
}

}  // namespace

std::vector<Rename> probableRenames(const std::vector<Change>& changes, const Database& source,
                                    const Database& target) {
  std::vector<Rename> renames;
  const std::array sides{&source, &target};
  addRenames(changes, Kind::table, &Database::tables, sides, renames);
  addRenames(changes, Kind::view, &Database::views, sides, renames);
  addRenames(changes, Kind::procedure, &Database::procedures, sides, renames);
  addRenames(changes, Kind::function, &Database::functions, sides, renames);
  addRenames(changes, Kind::rule, &Database::rules, sides, renames);
  addRenames(changes, Kind::defaultObject, &Database::defaults, sides, renames);
  addRenames(changes, Kind::type, &Database::types, sides, renames);
  return renames;
}

}  // namespace kelvane::findings
