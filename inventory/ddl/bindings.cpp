// Foreign keys, logical keys, and what procedures of the server say about tables.

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include "inventory/ddl/tables.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

/// The numbers of "PCT = 30, LWM = 10, HWM = 20".
std::array<std::string, 3> numbersOf(const std::string& text) {
  std::array<std::string, 3> numbers;
  std::size_t at = 0;
  for (std::string& number : numbers) {
    while (at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])) == 0) ++at;
    while (at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])) != 0)
      number += text[at++];
  }
  return numbers;
}

void writeMessage(Writing& writing, const Table& table, const std::string& title,
                  const NameInBatch& name, const std::optional<std::int32_t>& message) {
  if (!message || writing.isLeftOut(title)) return;
  writing.call(Phase::bindings,
               name.before + "exec sp_bindmsg " + name.argument + ", " + std::to_string(*message),
               userOf(table));
}

void writeIndexSettings(Writing& writing, const Table& table, const NameInBatch& name,
                        const std::string& title, const IndexStorage& index) {
  if (writing.isLeftOut(title)) return;
  writeCaches(writing, table, name, index.cache, index.cacheStrategy);
  if (!index.parallelDegree ||
      !writing.allows(TargetRelease::ase15, Phase::bindings, title + ": parallel degree"))
    return;
  const std::vector<std::string> path{table.name.owner, table.name.name};
  const std::string degree = ", 'plldegree', " + std::to_string(*index.parallelDegree);
  if (name.given) {
    return writing.call(Phase::bindings, "exec sp_chgattribute " +
                                             argument({path[0], path[1], *name.given}) + degree);
  }
  writing.call(Phase::bindings, name.before + "select " + name.argument + " = " + argument(path) +
                                    " + '.' + " + name.argument + "\nexec sp_chgattribute " +
                                    name.argument + degree);
}

const Column* columnOf(const Table& table, const std::string& name) {
  const auto found = std::ranges::find(table.columns, name, &Column::name);
  return found == table.columns.end() ? nullptr : &*found;
}

/// A column that gets another type than the one that it refers to, or that refers to it.
std::optional<std::string> changedType(const Writing& writing, const Table& table,
                                       const ForeignKey& key) {
  const Table* const other = writing.table({key.referenced.owner, key.referenced.name});
  if (writing.has(TargetRelease::ase15) || other == nullptr || !key.referenced.database.empty())
    return std::nullopt;
  for (std::size_t at = 0; at < key.columns.size() && at < key.referencedColumns.size(); ++at) {
    const Column* const from = columnOf(table, key.columns[at]);
    const Column* const to = columnOf(*other, key.referencedColumns[at]);
    if (from == nullptr || to == nullptr) continue;
    const ColumnType fromType = typeFor(writing, *from), toType = typeFor(writing, *to);
    if (fromType.type == toType.type) continue;
    if (fromType != from->type) return from->name;
    if (toType != to->type) return to->name;
  }
  return std::nullopt;
}

}  // namespace

void writeForeignKeys(Writing& writing, const Table& table) {
  for (const ForeignKey& key : table.foreignKeys) {
    const std::string title = titleOfPart(table, "foreign key", key.name);
    if (!writing.allowsName(shown(key.name), Phase::references, title)) continue;
    if (key.referenced.database.empty() &&
        !allowsReference(writing, Phase::references, title,
                         {key.referenced.owner, key.referenced.name}, key.referencedColumns))
      continue;
    if (const auto column = changedType(writing, table, key)) {
      writing.omit(Phase::references, title, "column " + *column + " has another type there");
      continue;
    }
    Statement alter("alter table ");
    alter.name(table.name) << " add ";
    if (!key.name.generated) alter << "constraint ", alter.name(key.name.name) << " ";
    alter << "foreign key ";
    alter.names(key.columns) << " references ";
    alter.name(key.referenced) << " ";
    alter.names(key.referencedColumns) << (key.matchFull ? " match full" : "");
    writing.add(Phase::references, alter);
    writeMessage(writing, table, title, nameInBatch(table, key), key.message);
  }
}

void writeLogicalKeys(Writing& writing, const std::string& title, const QualifiedName& table,
                      const std::vector<LogicalKey>& keys) {
  const auto isBefore = [&](const LogicalKey& key) {
    return std::tie(table.owner, table.name, key.columns) <=
           std::tie(key.other.owner, key.other.name, key.otherColumns);
  };
  for (const LogicalKey& key : keys) {
    // Common keys stand with both tables.
    if (key.kind == "common" && !isBefore(key)) continue;
    if (!key.other.name.empty() &&
        !allowsReference(writing, Phase::bindings, title + ": logical key " + nameOf(key),
                         key.other, key.otherColumns))
      continue;
    std::string call = "exec sp_" + key.kind + "key " + argument({table.owner, table.name});
    if (!key.other.name.empty()) call += ", " + argument({key.other.owner, key.other.name});
    for (std::size_t at = 0; at < key.columns.size(); ++at) {
      call += ", " + argument({key.columns[at]});
      if (key.kind == "common") call += ", " + argument({key.otherColumns.at(at)});
    }
    // A foreign one needs the primary one of the other table.
    const bool isPrimary = key.kind == "primary";
    const bool hasView = writing.isView(table) || writing.isView(key.other);
    const Phase phase = hasView ? (isPrimary ? Phase::compiled : Phase::triggers)
                                : (isPrimary ? Phase::references : Phase::bindings);
    writing.call(phase, std::move(call));
  }
}

void writeCaches(Writing& writing, const Table& table, const NameInBatch& target,
                 const std::string& cache, const std::string& strategy) {
  const std::string name = argument({table.name.owner, table.name.name});
  const bool isTable = target.argument == "'table only'";
  const auto add = [&](const std::string& call) {
    writing.call(Phase::bindings, std::string(kThisDatabase) + target.before + call);
  };
  if (!cache.empty()) {
    add("exec sp_bindcache " + literal(cache) + ", @db, " + name +
        (isTable ? std::string() : ", " + target.argument));
  }
  for (const char* const what : {"prefetch", "mru"}) {
    if (strategy.find(what) != std::string::npos)
      add("exec sp_cachestrategy @db, " + name + ", " + target.argument + ", " + what + ", 'off'");
  }
}

void writeLockPromotion(Writing& writing, Phase phase, const std::string& target,
                        const std::string& pages, const std::string& rows) {
  for (const auto& [procedure, value] :
       {std::pair<std::string_view, const std::string&>("sp_setpglockpromote", pages),
        std::pair<std::string_view, const std::string&>("sp_setrowlockpromote", rows)}) {
    if (value.empty()) continue;
    const auto [percent, low, high] = numbersOf(value);
    const bool isDatabase = target.empty();
    writing.call(phase, std::string(isDatabase ? kThisDatabase : "") + "exec " +
                            std::string(procedure) +
                            (isDatabase ? " 'database', @db" : " 'table', " + target) + ", " + low +
                            ", " + high + ", " + percent);
  }
}

void writeBindings(Writing& writing, const Table& table) {
  const auto bind = [&](std::string_view procedure, Kind kind, const QualifiedName& bound,
                        const Column& column) {
    if (bound == QualifiedName{}) return;
    const std::string what = titleOf(table) + ": column " + column.name + ": ";
    if (!writing.allowsUse(Phase::bindings, what + std::string(rowOf(kind).singular),
                           titleOf(kind, shown(bound))))
      return;
    writing.call(Phase::bindings,
                 "exec " + std::string(procedure) + " " + argument({bound.owner, bound.name}) +
                     ", " + argument({table.name.name, column.name}),
                 userOf(table));
  };
  for (const Column& column : table.columns) {
    bind("sp_bindefault", Kind::defaultObject, column.defaultValue->bound, column);
    bind("sp_bindrule", Kind::rule, *column.rule, column);
    bind("sp_bindrule", Kind::rule, *column.accessRule, column);
    if (column.replication->empty()) continue;
    writing.call(
        Phase::bindings,
        "exec sp_setrepcol " + argument({table.name.owner, table.name.name}) + ", " +
            argument({column.name}) + ", " +
            (*column.replication == "always" ? "'always_replicate'" : "'replicate_if_changed'"));
  }
  for (const KeyConstraint& key : table.keys) {
    const NameInBatch name = nameInBatch(table, key);
    const std::string title = titleOfPart(table, "constraint", key.name);
    writeMessage(writing, table, title, name, key.message);
    writeIndexSettings(writing, table, name, title, key);
  }
  for (const Check& check : table.checks) {
    if (check.condition.state == Definition::State::whole)
      writeMessage(writing, table, titleOfPart(table, "check", check.name),
                   nameInBatch(table, check), check.message);
  }
  for (const Index& index : table.indexes) {
    writeIndexSettings(writing, table, nameInBatch(index),
                       titleOfPart(table, "index", {index.name, false}), index);
  }
  writeReplication(writing, table);
  const auto [dataCache, textCache] = dataAndTexts(table.cache, "; ");
  const auto [dataStrategy, textStrategy] = dataAndTexts(table.cacheStrategy, "; ");
  writeCaches(writing, table, {{}, "'table only'", {}}, dataCache, dataStrategy);
  writeCaches(writing, table, {{}, "'text only'", {}}, textCache, textStrategy);
  writeLockPromotion(writing, Phase::bindings, argument({table.name.owner, table.name.name}),
                     table.pageLockPromotion, table.rowLockPromotion);
}

}  // namespace kelvane::inventory
