// What a script asks of the objects that it changes before it begins: they may have changed since
// it was made, or the script may have been stopped half-way.

#include <algorithm>
#include <span>
#include <string>
#include <vector>

#include "change_script/changed_records.h"
#include "change_script/table_steps.h"
#include "inventory/compare/definition_text.h"
#include "inventory/shown.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

std::string listed(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + literal(name);
  return "(" + text + ")";
}

/// What a column that does not change may be: its type may be made again.
std::vector<ColumnType> statesOf(const Planner& planner, const Column& column) {
  std::vector<ColumnType> states{column.type};
  if (const auto* freed = planner.freed(column)) states.push_back(freed->type);
  return states;
}

/// Whether the column is none of `states`.
std::string isNeither(const Table& table, const std::string& column,
                      const std::vector<ColumnType>& states) {
  std::string text;
  for (const ColumnType& state : states) {
    text += (text.empty() ? "" : "\n    and ") + std::string("not exists (") +
            columnOf(table, column, state) + ")";
  }
  return text;
}

/// The name that the table has while it is made again must be free, or that of what it was: columns
/// tell. Where both are there the table must not be the old one any more.
std::string isAnothers(const Planner& planner, const Change& change, const Table& old,
                       const QualifiedName& meanwhile) {
  Table kept = old;
  kept.name = meanwhile;
  std::string text = "exists (select 1 from sysobjects where id = " + idOf(meanwhile) +
                     ")\n    and (" + std::to_string(old.columns.size()) +
                     " != (select count(*) from syscolumns where id = " + idOf(meanwhile) +
                     "\n        and name not like 'sybfi%')";
  for (const Column& column : old.columns) {
    if (column.computed.isDefault())
      text += "\n    or " + isNeither(kept, column.name, statesOf(planner, column));
  }
  const auto* now = is<Table>(change);
  std::string same = idOf(old.name) + " is not null";
  for (const Column& column : old.columns) {
    same += "\n    and exists (select 1 from syscolumns where id = " + idOf(old.name) +
            " and name = " + literal(column.name) +
            " and colid = " + std::to_string(&column - old.columns.data() + 1) +
            " and status & 128 = " + (column.type.identity ? "128" : "0") + ")";
  }
  const bool isTold =
      !std::ranges::equal(old.columns, now->columns, [](const auto& a, const auto& b) {
        return a.name == b.name && a.type.identity == b.type.identity;
      });
  return text + (isTold ? "\n    or " + same : "") + ")";
}

/// Columns that the script takes away or adds may be there or not; others must be.
std::string columnsOf(const Planner& planner, const Change& change, const Table& old) {
  std::vector<std::string> known, stay;
  for (const Column& column : old.columns) known.push_back(column.name);
  stay = known;
  std::string types;
  for (const Change& part : change.parts) {
    if (part.kind != Kind::column) continue;
    const auto* before = was<Column>(part);
    const auto* after = is<Column>(part);
    if (before == nullptr) known.push_back(after->name);
    if (after == nullptr) std::erase(stay, before->name);
    if (before == nullptr || after == nullptr || before->type == after->type ||
        !before->computed.isDefault() || !after->computed.isDefault())
      continue;
    std::vector<ColumnType> states{before->type, after->type};
    if (const auto* freed = planner.freed(*before)) states.push_back(freed->type);
    std::string_view separator = "\n    or ";
    for (const ColumnType& state : states) {
      types += std::string(separator) + "not exists (" + columnOf(old, before->name, state) + ")";
      separator = "\n    and ";
    }
  }
  const std::string from = "from syscolumns\n        where id = " + idOf(old.name) + " and name ";
  // Expressions of indexes are hidden columns.
  std::string text = "exists (select 1 " + from + "not in " + listed(known) +
                     "\n        and name not like 'sybfi%')";
  if (!stay.empty())
    text += "\n    or " + std::to_string(stay.size()) + " != (select count(*) " + from + "in " +
            listed(stay) + ")";
  return text + types;
}

/// All of a table that is made again must be as it was, or as it will be.
std::string keptColumns(const Planner& planner, const Change& change, const Table& old) {
  const auto* now = is<Table>(change);
  std::string text;
  for (const Column& column : old.columns) {
    const auto after = std::ranges::find(now->columns, column.name, &Column::name);
    if (after == now->columns.end() || !column.computed.isDefault() ||
        !after->computed.isDefault() || after->type.type != column.type.type ||
        after->type.nullable != column.type.nullable)
      continue;
    text += "\n    or " + isNeither(old, column.name, statesOf(planner, column));
  }
  return text;
}

std::optional<Batch> stateOfTable(const Planner& planner, const Change& change) {
  const auto* old = was<Table>(change);
  if (old == nullptr) return std::nullopt;
  const std::string id = idOf(old->name);
  const std::string columns = columnsOf(planner, change, *old);
  std::string text;
  if (change.isOnlyInTarget()) {
    // It may have gone.
    const std::string isThere =
        planner.changesKind(change)
            ? "exists (select 1 from sysobjects where id = " + id + " and type = 'U')"
            : id + " is not null";
    text = isThere + " and (" + columns + ")";
  } else if (const QualifiedName* meanwhile = planner.nameMeanwhile(old->name)) {
    text = id + " is null and " + idOf(*meanwhile) + " is null\n    or " + id +
           " is not null and (" + columns + keptColumns(planner, change, *old) + ")\n    or " +
           isAnothers(planner, change, *old, *meanwhile);
  } else {
    text = id + " is null\n    or " + columns;
  }
  return stopIf(Statement(text), "the columns of table " + shown(old->name) +
                                     " are not what they were when this script was made");
}

bool isAscii(std::string_view text) {
  return std::ranges::all_of(text, [](char one) { return static_cast<unsigned char>(one) < 0x80; });
}

/// By the length of its text, which another character set of the server would change.
std::optional<Batch> stateOfText(Kind kind, const QualifiedName& name,
                                 const std::vector<const Definition*>& old,
                                 const std::vector<const Definition*>& now) {
  if (old.empty()) return std::nullopt;
  std::vector<std::size_t> lengths;
  for (const auto* texts : {&old, &now}) {
    std::size_t length = 0;
    for (const Definition* one : *texts) {
      if (one->state != Definition::State::whole || !isAscii(one->text)) return std::nullopt;
      length += one->text.size();
    }
    if (!texts->empty()) lengths.push_back(length);
  }
  if (lengths.size() > 1 && now.size() == 1) {
    if (const auto replacing = withReplace(now.front()->text)) lengths.push_back(replacing->size());
  }
  std::string list = std::to_string(lengths.front());
  for (const std::size_t length : std::span(lengths).subspan(1))
    list += ", " + std::to_string(length);
  return stopIf(Statement("exists (select 1 from syscomments where id = " + idOf(name) +
                          "\n    having sum(char_length(text)) not in (" + list + "))"),
                "the text of " + titleOf(kind, shown(name)) +
                    " is not what it was when this script was made");
}

template <class Record>
std::optional<Batch> stateOfRecord(const Change& change) {
  const auto* old = was<Record>(change);
  const auto* now = is<Record>(change);
  if (old == nullptr) return std::nullopt;
  std::vector<const Definition*> before{&old->definition}, after;
  if (now != nullptr) after.push_back(&now->definition);
  return stateOfText(change.kind, old->name, before, after);
}

/// Those of a group are one object.
std::optional<Batch> stateOfProcedures(const Planner& planner, const Change& change) {
  const auto* one =
      was<Procedure>(change) != nullptr ? was<Procedure>(change) : is<Procedure>(change);
  const auto textsOf = [](const std::vector<const Procedure*>& procedures) {
    std::vector<const Definition*> texts;
    texts.reserve(procedures.size());
    for (const Procedure* each : procedures) texts.push_back(&each->definition);
    return texts;
  };
  return stateOfText(change.kind, one->name, textsOf(planner.groupsOfTarget().named(one->name)),
                     textsOf(planner.groupsOfSource().named(one->name)));
}

}  // namespace

std::optional<Batch> stateOf(const Planner& planner, const Change& change) {
  if (change.kind == Kind::table) return stateOfTable(planner, change);
  // A server keeps a text as it was sent, which is not always what stands in a file.
  if (planner.target().server.embedded || planner.changesKind(change)) return std::nullopt;
  switch (change.kind) {
    case Kind::view:
      return stateOfRecord<View>(change);
    case Kind::function:
      return stateOfRecord<Function>(change);
    case Kind::rule:
      return stateOfRecord<Rule>(change);
    case Kind::defaultObject:
      return stateOfRecord<Default>(change);
    case Kind::procedure:
      return stateOfProcedures(planner, change);
    default:
      return std::nullopt;
  }
}

}  // namespace kelvane::change_script
