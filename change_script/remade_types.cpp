// User-defined types that get another base while columns use them: the columns get the old base,
// the type is made again, and the columns get it back.

#include <algorithm>
#include <set>
#include <utility>

#include "change_script/changed_records.h"
#include "change_script/planner.h"
#include "change_script/table_steps.h"
#include "inventory/compare/titles.h"
#include "inventory/ddl/tables.h"
#include "inventory/shown.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

bool isOf(const DataType& type, const QualifiedName& user) {
  return type.name == user.name && *type.owner == user.owner;
}

/// Whether systypes t is the type that it was: by what the script changes of it. Columns tell their
/// length, precision and scale themselves.
std::string isStill(const ColumnType& was, const ColumnType& is) {
  std::string text;
  if (was.type.name != is.type.name)
    text +=
        "\n    and t.hierarchy = (select hierarchy from systypes where usertype < 100 and name = " +
        literal(storedName(was.type)) + ")";
  if (was.nullable != is.nullable)
    text += std::string("\n    and t.allownulls = ") + (was.nullable ? "1" : "0");
  if (was.identity != is.identity)
    text += std::string("\n    and t.ident = ") + (was.identity ? "1" : "0");
  return text;
}

Change unchanged(Kind kind, std::string name, RecordPointer source, RecordPointer target) {
  Change change;
  change.kind = kind;
  change.name = std::move(name);
  change.source = source;
  change.target = target;
  return change;
}

/// As if its text had changed; false: it has.
bool addRemade(Change& change) {
  if (hasAttribute(change, "definition")) return false;
  change.attributes.push_back({"definition", Family::definitions, Style::labelled, true, {}, {}});
  return true;
}

/// Changes of objects that differ by nothing but what a type of theirs is.
class Extension {
 public:
  Extension(const Database& source, const Database& target, std::vector<Change>& changes)
      : source_(source), target_(target), changes_(changes) {
    for (std::size_t at = 0; at < changes.size(); ++at)
      places_.emplace(std::pair(changes[at].kind, changes[at].name), at);
    for (const Table& table : source.tables) tables_.emplace(shown(table.name), &table);
  }

  /// None: the column goes, or its table.
  void addColumn(const UserType& type, const Table& old, const Column& column) {
    const auto now = tables_.find(shown(old.name));
    if (now == tables_.end()) return;
    const auto after = std::ranges::find(now->second->columns, column.name, &Column::name);
    if (after == now->second->columns.end()) return;
    Change& table = changeOf(Kind::table, shown(old.name), now->second, &old);
    const auto part = std::ranges::find_if(table.parts, [&](const Change& one) {
      return one.kind == Kind::column && was<Column>(one) == &column;
    });
    const AttributeChange attribute{
        "type", Family::always,     Style::bare,
        false,  shown(after->type), shown(column.type) + " (" + shown(type.base.type) + ")"};
    if (part == table.parts.end()) {
      table.parts.push_back(unchanged(Kind::column, column.name, &*after, &column));
      table.parts.back().attributes.push_back(attribute);
    } else if (!hasAttribute(*part, "type")) {
      part->attributes.push_back(attribute);
    }
  }

  /// Calls goes(record) for those that only the target has, and comes(kind, name, onlyForType) for
  /// those that are made again.
  template <class Goes, class Comes>
  void addCompiled(const QualifiedName& type, const Goes& goes, const Comes& comes) {
    const auto usesType = [&](const auto& record) {
      const auto isUsed = [&](const DataType& one) { return isOf(one, type); };
      if constexpr (requires { record.parameters; }) {
        return std::ranges::any_of(record.parameters, isUsed, &Parameter::type);
      } else {
        return std::ranges::any_of(record.columns,
                                   [&](const ViewColumn& one) { return isUsed(one.type.type); });
      }
    };
    const auto addAll = [&](Kind kind, const auto& old, const auto& now) {
      for (const auto& one : old) {
        if (!usesType(one)) continue;
        const std::string name = nameOf(one);
        const auto same =
            std::ranges::find_if(now, [&](const auto& other) { return nameOf(other) == name; });
        if (same != now.end()) {
          comes(kind, shown(one.name), addRemade(changeOf(kind, name, &*same, &one)));
        } else {
          goes(&one);
        }
      }
    };
    addAll(Kind::view, target_.views, source_.views);
    addAll(Kind::procedure, target_.procedures, source_.procedures);
    addAll(Kind::function, target_.functions, source_.functions);
  }

 private:
  Change& changeOf(Kind kind, const std::string& name, RecordPointer source, RecordPointer target) {
    const auto [place, isNew] = places_.emplace(std::pair(kind, name), changes_.size());
    if (isNew) changes_.push_back(unchanged(kind, name, source, target));
    return changes_[place->second];
  }

  const Database& source_;
  const Database& target_;
  std::vector<Change>& changes_;
  std::map<std::pair<Kind, std::string>, std::size_t> places_;
  std::map<std::string, const Table*> tables_;
};

}  // namespace

void Planner::planRemadeTypes() {
  const std::size_t count = changes_.size();
  std::optional<Extension> extension;
  for (std::size_t at = 0; at < count; ++at) {
    // The list grows.
    const Change change = changes_[at];
    const auto* old = change.kind == Kind::type ? was<UserType>(change) : nullptr;
    const auto* now = change.kind == Kind::type ? is<UserType>(change) : nullptr;
    if (old == nullptr || now == nullptr || old->base == now->base) continue;
    const std::string difference = described(change);
    begin(change);
    const std::string isType = "name = " + literal(old->name.name);
    const std::size_t drop = add(
        Stage::freedTypes, difference,
        {callOf("if exists (select 1 from systypes where " + isType +
                    ")\n    and not exists (select 1 from syscolumns c, systypes t\n        where "
                    "c.usertype = t.usertype and t." +
                    isType + ")\n    exec sp_droptype " + argument({old->name.name}),
                Writing::userFor(old->name.owner))});
    hasRemadeTypes_ = true;
    dropForMade(change.kind, change.name, drop);
    made_.types.push_back(*now);
    describeMade(change, difference);
    if (!extension) extension.emplace(source_, target_, changes_);
    for (const auto& [table, column] : uses_.columnsOfType(old->name)) {
      extension->addColumn(*old, *table, *column);
      planFreedColumn(*table, *column, {old->base, now->base}, drop);
    }
    extension->addCompiled(
        old->name, [&](const void* record) { needEarlyEnd(drop, record); },
        [&](Kind kind, const std::string& name, bool onlyForType) {
          usersOfTypes_[{kind, name}].push_back(drop);
          if (onlyForType) madeForTypes_[{kind, name}].push_back(drop);
        });
  }
}

void Planner::planFreedColumn(const Table& table, const Column& column, const RemadeBase& base,
                              std::size_t drop) {
  begin(Kind::table, shown(table.name));
  Column freed;
  freed.name = column.name;
  freed.type = column.type;
  freed.type.type = base.was.type;
  Statement text;
  fromTarget([&](Writing& writing) { text = columnText(writing, table, freed); });
  Statement modify = alter(table);
  modify << " modify " << text.text();
  // Where the script is started again the type may be the new one.
  ColumnType asBase = freed.type;
  asBase.type.owner = column.type.type.owner;
  asBase.type.name = column.type.type.name;
  Batch batch = guarded(
      "exists (" + columnOf(table, column.name, asBase) + isStill(base.was, base.is) + ")", modify);
  batch.quotedIdentifier = batch.quotedIdentifier || text.needsQuotedIdentifier();
  const std::size_t at =
      add(Stage::freedColumns, "column " + column.name + ": its type is made again", {batch});
  needEachOther(at, drop);
  freed_.emplace(&column, FreedColumn{freed.type, at});
}

}  // namespace kelvane::change_script
