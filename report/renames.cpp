#include "report/renames.h"

#include <array>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "findings/rename_search.h"
#include "model/fields.h"
#include "model/text.h"
#include "report/diff_walk.h"
#include "report/kind_words.h"

namespace kelvane {
namespace report {
namespace {

using findings::Contents;
using findings::RenameSearch;

constexpr char16_t kEndOfField = u'\0';

template <HasFields Record>
void addLine(const Record& record, Contents& contents) {
  std::u16string line;
  const auto add = [&]<class Value>(const Value& value) {
    if constexpr (std::is_same_v<Value, std::u16string>)
      line += value;
    else if constexpr (std::is_same_v<Value, Boolean>)
      line += decimalText(value.raw());
    else
      line += decimalText(value);
    line += kEndOfField;
  };
  std::apply([&](const auto&... field) { (add(record.*field.value), ...); }, kFields<Record>);
  contents.lines.push_back(toUtf8(line));
}

// Their order tells their positions, so that one more column makes but one line.
void addColumns(const Array<Column>& columns, Contents& contents) {
  for (Column column : columns) {
    column.OrdinalPosition = 0;
    addLine(column, contents);
  }
}

void addLines(const Table& table, Contents& contents) {
  addColumns(table.Columns, contents);
  const auto nameless = [&](auto record) {
    record.Name.clear();
    addLine(record, contents);
  };
  for (const PrimaryKey& key : table.PrimaryKey) nameless(key);
  for (const Key& key : table.ForeignKey) nameless(key);
  for (const index& one : table.Indexes) nameless(one);
  for (Trigger trigger : table.Triggers) {
    const std::string text =
        findings::withoutName(toUtf8(trigger.Definition), toUtf8(trigger.Name));
    trigger.Definition = toUtf16(findings::withoutName(text, contents.name));
    nameless(std::move(trigger));
  }
}
// Views, procedures and functions.
template <class Code>
void addLines(const Code& code, Contents& contents) {
  addColumns(code.Columns, contents);
  findings::addLines(toUtf8(code.Definition), contents.name, contents.lines);
}
void addLines(UDDT type, Contents& contents) {
  type.Name.clear();
  type.Owner.clear();
  type.FullName.clear();
  addLine(type, contents);
}

template <class Object, class Record>
void addRenames(const Array<Object>& differing, Array<Record> Schema::*records,
                const std::array<const Schema*, 2>& schemas, std::vector<Rename>& renames) {
  std::array<std::unordered_set<std::u16string_view>, 2> missing;
  for (const Object& object : differing) {
    for (const typeDiff& row : object.Diff)
      if (row.DiffType == diff_DoesNotExist)
        missing[row.Location == location_Source ? 0 : 1].insert(object.FullName);
  }
  if (missing[0].empty() || missing[1].empty()) return;
  RenameSearch search(wordOf(kKind<Object>.entityType));
  for (std::size_t side = 0; side < 2; ++side) {
    for (const Record& record : schemas[side]->*records) {
      Contents contents{toUtf8(record.Name), record.FullName, {}};
      addLines(record, contents);
      search.add(side, std::move(contents),
                 missing[side].contains(record.FullName) ? RenameSearch::Presence::alone
                                                         : RenameSearch::Presence::both);
    }
  }
  search.find(renames);
}

}  // namespace
}  // namespace report

std::vector<Rename> probableRenames(const diffSchema& differences, const Schema& source,
                                    const Schema& target) {
  std::vector<Rename> result;
  const std::array sides{&source, &target};
  report::addRenames(differences.Tables, &Schema::Tables, sides, result);
  report::addRenames(differences.Views, &Schema::Views, sides, result);
  report::addRenames(differences.StoredProcs, &Schema::StoredProcs, sides, result);
  report::addRenames(differences.Functions, &Schema::Functions, sides, result);
  report::addRenames(differences.UDDTs, &Schema::UDDTs, sides, result);
  return result;
}

RenameIndex::RenameIndex(const std::vector<Rename>& renames) {
  for (const Rename& rename : renames) {
    renames_[{rename.kind, location_Source, rename.source}] = &rename;
    renames_[{rename.kind, location_target, rename.target}] = &rename;
  }
}

const Rename* RenameIndex::of(std::string_view kind, enumLocation side,
                              std::u16string_view fullName) const {
  const auto found = renames_.find({kind, side, fullName});
  return found == renames_.end() ? nullptr : found->second;
}

}  // namespace kelvane
