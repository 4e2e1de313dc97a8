// Foreign keys, logical keys, and what procedures of the server say about tables.

#include <array>
#include <cctype>

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

void writePromotion(Writing& writing, const Table& table, std::string_view procedure,
                    const std::string& value) {
  if (value.empty()) return;
  const auto [percent, low, high] = numbersOf(value);
  writing.call(Phase::bindings, "exec " + std::string(procedure) + " 'table', " +
                                    argument({table.name.owner, table.name.name}) + ", " + low +
                                    ", " + high + ", " + percent);
}

void writeMessage(Writing& writing, const Table& table, const GivenName& name,
                  const std::optional<std::int32_t>& message) {
  if (!message) return;
  if (name.generated) {
    return writing.omit(Phase::bindings, titleOf(table) + ": message " + std::to_string(*message),
                        "it is bound to a constraint whose name the server made");
  }
  writing.call(Phase::bindings,
               "exec sp_bindmsg " + argument({name.name}) + ", " + std::to_string(*message),
               userOf(table));
}

void writeIndexCaches(Writing& writing, const Table& table, const GivenName& name,
                      const IndexStorage& index) {
  if (index.cache.empty() && index.cacheStrategy.empty()) return;
  if (name.generated) {
    return writing.omit(Phase::bindings, titleOf(table) + ": cache of an index",
                        "it is of a constraint whose name the server made");
  }
  writeCaches(writing, table, argument({name.name}), index.cache, index.cacheStrategy);
}

}  // namespace

void writeForeignKeys(Writing& writing, const Table& table) {
  for (const ForeignKey& key : table.foreignKeys) {
    const std::string title = titleOf(table) + ": foreign key " + shown(key.name);
    if (!writing.allowsName(shown(key.name), Phase::references, title)) continue;
    Statement alter("alter table ");
    alter.name(table.name) << " add ";
    if (!key.name.generated) alter << "constraint ", alter.name(key.name.name) << " ";
    alter << "foreign key ";
    alter.names(key.columns) << " references ";
    alter.name(key.referenced) << " ";
    alter.names(key.referencedColumns) << (key.matchFull ? " match full" : "");
    writing.add(Phase::references, alter);
    writeMessage(writing, table, key.name, key.message);
  }
}

void writeLogicalKeys(Writing& writing, const QualifiedName& table,
                      const std::vector<LogicalKey>& keys) {
  const auto isBefore = [&](const LogicalKey& key) {
    return std::tie(table.owner, table.name, key.columns) <=
           std::tie(key.other.owner, key.other.name, key.otherColumns);
  };
  for (const LogicalKey& key : keys) {
    // Common keys stand with both tables.
    if (key.kind == "common" && !isBefore(key)) continue;
    std::string call = "exec sp_" + key.kind + "key " + argument({table.owner, table.name});
    if (!key.other.name.empty()) call += ", " + argument({key.other.owner, key.other.name});
    for (std::size_t at = 0; at < key.columns.size(); ++at) {
      call += ", " + argument({key.columns[at]});
      if (key.kind == "common") call += ", " + argument({key.otherColumns.at(at)});
    }
    // A foreign one needs the primary one of the other table.
    writing.call(key.kind == "primary" ? Phase::references : Phase::bindings, std::move(call));
  }
}

void writeCaches(Writing& writing, const Table& table, const std::string& target,
                 const std::string& cache, const std::string& strategy) {
  const std::string name = argument({table.name.owner, table.name.name});
  const bool isTable = target == "'table only'";
  const auto add = [&](const std::string& call) {
    writing.call(Phase::bindings, std::string(kThisDatabase) + call);
  };
  if (!cache.empty()) {
    add("exec sp_bindcache " + literal(cache) + ", @db, " + name +
        (isTable ? std::string() : ", " + target));
  }
  for (const char* const what : {"prefetch", "mru"}) {
    if (strategy.find(what) != std::string::npos)
      add("exec sp_cachestrategy @db, " + name + ", " + target + ", " + what + ", 'off'");
  }
}

void writeBindings(Writing& writing, const Table& table) {
  const auto bind = [&](std::string_view procedure, const QualifiedName& bound,
                        const Column& column) {
    if (bound == QualifiedName{}) return;
    writing.call(Phase::bindings,
                 "exec " + std::string(procedure) + " " + argument({bound.owner, bound.name}) +
                     ", " + argument({table.name.name, column.name}),
                 userOf(table));
  };
  for (const Column& column : table.columns) {
    bind("sp_bindefault", column.defaultValue->bound, column);
    bind("sp_bindrule", *column.rule, column);
    bind("sp_bindrule", *column.accessRule, column);
    if (column.replication->empty()) continue;
    writing.call(
        Phase::bindings,
        "exec sp_setrepcol " + argument({table.name.owner, table.name.name}) + ", " +
            argument({column.name}) + ", " +
            (*column.replication == "always" ? "'always_replicate'" : "'replicate_if_changed'"));
  }
  for (const KeyConstraint& key : table.keys) {
    writeMessage(writing, table, key.name, key.message);
    writeIndexCaches(writing, table, key.name, key);
  }
  for (const Check& check : table.checks) writeMessage(writing, table, check.name, check.message);
  for (const Index& index : table.indexes)
    writeIndexCaches(writing, table, {index.name, false}, index);
  if (table.replicated) {
    writing.call(Phase::bindings, "exec sp_setreptable " +
                                      argument({table.name.owner, table.name.name}) + ", 'true'");
  }
  const auto [dataCache, textCache] = dataAndTexts(table.cache, "; ");
  const auto [dataStrategy, textStrategy] = dataAndTexts(table.cacheStrategy, "; ");
  writeCaches(writing, table, "'table only'", dataCache, dataStrategy);
  writeCaches(writing, table, "'text only'", textCache, textStrategy);
  writePromotion(writing, table, "sp_setpglockpromote", table.pageLockPromotion);
  writePromotion(writing, table, "sp_setrowlockpromote", table.rowLockPromotion);
}

}  // namespace kelvane::inventory
