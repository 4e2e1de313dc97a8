// Names that the source has for something else: what has them in the target goes before that comes.

#include <algorithm>
#include <iterator>
#include <map>
#include <type_traits>
#include <utility>

#include "change_script/changed_records.h"
#include "change_script/planner.h"
#include "inventory/shown.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

/// What a database has under one name.
struct NamedKind {
  Kind kind;
  std::string_view word, type;  ///< of drop, of sysobjects
};
constexpr NamedKind kNamed[] = {
    {Kind::table, "table", "U"},         {Kind::view, "view", "V"},
    {Kind::procedure, "procedure", "P"}, {Kind::function, "function", "SF"},
    {Kind::rule, "rule", "R"},           {Kind::defaultObject, "default", "D"},
};

const NamedKind* rowOfNamed(Kind kind) {
  const auto row = std::ranges::find(kNamed, kind, &NamedKind::kind);
  return row == std::end(kNamed) ? nullptr : row;
}

const QualifiedName* nameOfTarget(const Change& change) {
  return std::visit(
      [](const auto& record) -> const QualifiedName* {
        if constexpr (requires { std::as_const(record->name).owner; }) {
          return &record->name;
        } else {
          return nullptr;
        }
      },
      change.target);
}

const void* recordOf(const RecordPointer& pointer) {
  return std::visit(
      [](const auto& record) -> const void* {
        if constexpr (std::is_pointer_v<std::remove_cvref_t<decltype(record)>>) {
          return record;
        } else {
          return nullptr;
        }
      },
      pointer);
}

}  // namespace

/// The script may be started again when the name has its new meaning: it drops nothing then.
void Planner::freeNames() {
  std::map<std::string, const Change*> gone;
  for (const Change& change : changes_) {
    if (change.isOnlyInTarget() && rowOfNamed(change.kind) != nullptr)
      gone.emplace(shown(*nameOfTarget(change)), &change);
  }
  if (gone.empty()) return;
  std::map<std::pair<Kind, std::string>, std::vector<std::size_t>> ends;
  for (const Change& change : changes_) {
    const auto found = gone.find(change.name);
    if (!change.isOnlyInSource() || found == gone.end() || rowOfNamed(change.kind) == nullptr)
      continue;
    const Change& old = *found->second;
    ofOtherKind_.insert(&old);
    const QualifiedName& name = *nameOfTarget(old);
    const NamedKind& row = *rowOfNamed(old.kind);
    const auto drops = ends_.find(recordOf(old.target));
    if (drops == ends_.end()) continue;
    for (const std::size_t end : drops->second) {
      step(end).stage = Stage::dropCompiled;
      if (old.kind != Kind::view) {
        Statement drop("drop " + std::string(row.word) + " ");
        drop.name(name);
        step(end).batches = {guarded("exists (select 1 from sysobjects where id = " + idOf(name) +
                                         " and type = '" + std::string(row.type) + "')",
                                     drop)};
      }
      ends[{change.kind, change.name}].push_back(end);
    }
  }
  if (ends.empty()) return;
  for (Step& one : script_.steps) {
    if (const auto found = ends.find({one.kind, one.object}); found != ends.end())
      one.needs.insert(one.needs.end(), found->second.begin(), found->second.end());
  }
}

}  // namespace kelvane::change_script
