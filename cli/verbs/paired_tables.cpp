#include "cli/verbs/paired_tables.h"

#include <algorithm>

#include "cli/screen/console.h"
#include "inventory/name_pattern.h"

namespace kelvane::cli {
namespace {

using inventory::Database;
using inventory::QualifiedName;
using inventory::Table;

// What a table is called: that of dbo without its owner.
std::string shownName(const QualifiedName& name) {
  return name.owner == "dbo" ? name.name : name.owner + "." + name.name;
}

bool matches(const QualifiedName& name, std::u16string_view pattern) {
  return pattern.empty() || inventory::matchesPattern(toUtf16(name.name), pattern) ||
         inventory::matchesPattern(toUtf16(name.owner + "." + name.name), pattern);
}

bool hasWildcards(std::u16string_view pattern) {
  return pattern.find_first_of(u"*?") != std::u16string_view::npos;
}

// As patterns.
std::vector<std::string> namedColumns(const rows::PlanOptions& comparing) {
  std::vector<std::string> patterns = comparing.columns;
  patterns.insert(patterns.end(), comparing.ignoredColumns.begin(), comparing.ignoredColumns.end());
  for (const rows::Tolerance& tolerance : comparing.tolerances) {
    if (!rows::isTypeName(tolerance.columns)) patterns.push_back(tolerance.columns);
  }
  return patterns;
}

Table asTable(const inventory::View& view) {
  Table table{.name = view.name};
  for (const inventory::ViewColumn& column : view.columns)
    table.columns.push_back({.name = column.name, .type = column.type});
  return table;
}

}  // namespace

PairedTables::PairedTables(std::array<const Database*, 2> databases,
                           const std::vector<std::u16string>& patterns, const RowOptions& options)
    : databases_(databases),
      patterns_(patterns),
      options_(options),
      mode_(databases[0]->server.ignoresCase && databases[1]->server.ignoresCase
                ? CaseMode::ignore
                : CaseMode::exact) {
  std::array tables{tablesOf(0), tablesOf(1)};
  takeMapped(tables);
  for (Tables& list : tables)
    std::erase_if(list, [&](const Table* one) { return !isWanted(*one); });
  pair(tables);
  requireUse();
  std::ranges::stable_sort(pairs_, {}, &TablePair::name);
}

std::u16string PairedTables::comparable(const std::string& name) const {
  return mode_ == CaseMode::ignore ? foldCase(toUtf16(name)) : toUtf16(name);
}

PairedTables::Key PairedTables::keyOf(const QualifiedName& name) const {
  return {comparable(name.owner), comparable(name.name)};
}

// With its owner, or as it is shown.
bool PairedTables::isNamed(const Table& table, const std::string& name) const {
  const auto wanted = comparable(name);
  return comparable(shownName(table.name)) == wanted ||
         comparable(table.name.owner + "." + table.name.name) == wanted;
}

bool PairedTables::isWanted(const Table& table) {
  bool isWanted = patterns_.empty();
  for (std::size_t at = 0; at < patterns_.size(); ++at) {
    if (!matches(table.name, patterns_[at])) continue;
    isWanted = true;
    used_.insert(at);
  }
  return isWanted;
}

// Tables, and the views that are named.
PairedTables::Tables PairedTables::tablesOf(std::size_t side) {
  Tables tables;
  for (const Table& table : databases_[side]->tables) tables.push_back(&table);
  for (const inventory::View& view : databases_[side]->views) {
    const bool isPattern = std::ranges::any_of(patterns_, [&](const std::u16string& pattern) {
      return !hasWildcards(pattern) && matches(view.name, pattern);
    });
    const bool isMapped = std::ranges::any_of(options_.mapped, [&](const auto& names) {
      return names[side] == shownName(view.name) ||
             names[side] == view.name.owner + "." + view.name.name;
    });
    if (isPattern || isMapped) tables.push_back(&views_.emplace_back(asTable(view)));
  }
  return tables;
}

void PairedTables::takeMapped(std::array<Tables, 2>& tables) {
  for (const auto& names : options_.mapped) {
    std::array<const Table*, 2> found{};
    for (const std::size_t side : {0U, 1U}) {
      const auto table = std::ranges::find_if(
          tables[side], [&](const Table* one) { return isNamed(*one, names[side]); });
      if (table == tables[side].end()) {
        unused_.push_back("--map " + names[0] + "=" + names[1] + ": the " +
                          (side == 0 ? "source" : "target") + " has no table '" + names[side] +
                          "'");
        continue;
      }
      found[side] = *table;
      tables[side].erase(table);
    }
    if (found[0] == nullptr || found[1] == nullptr) continue;
    const bool isSource = isWanted(*found[0]), isTarget = isWanted(*found[1]);
    if (isSource || isTarget)
      add(shownName(found[0]->name) + " = " + shownName(found[1]->name), *found[0], *found[1]);
  }
}

void PairedTables::pair(const std::array<Tables, 2>& tables) {
  std::map<Key, const Table*> targets;
  for (const Table* table : tables[1]) targets.emplace(keyOf(table->name), table);
  for (const Table* table : tables[0]) {
    if (const auto found = targets.find(keyOf(table->name)); found != targets.end()) {
      add(shownName(table->name), *table, *found->second);
      targets.erase(found);
    } else {
      lonely_.push_back({.name = shownName(table->name), .ended = KeyedEnd::missingInTarget});
    }
  }
  for (const auto& [key, table] : targets)
    lonely_.push_back({.name = shownName(table->name), .ended = KeyedEnd::missingInSource});
}

void PairedTables::add(std::string name, const Table& source, const Table& target) {
  pairs_.push_back({std::move(name), {&source, &target}, optionsFor(source)});
}

// Of each pattern and each key.
void PairedTables::requireUse() const {
  std::vector<std::string> unused = unused_;
  for (std::size_t at = 0; at < patterns_.size(); ++at) {
    if (!used_.contains(at)) unused.push_back("no table matches '" + toUtf8(patterns_[at]) + "'");
  }
  const auto isSomeTable = [&](const auto& condition) {
    return std::ranges::any_of(pairs_,
                               [&](const TablePair& pair) { return condition(*pair.tables[0]); });
  };
  for (const auto& [name, columns] : options_.keys) {
    if (!isSomeTable([&, wanted = &name](const Table& table) { return isNamed(table, *wanted); }))
      unused.push_back("--key " + name + ": there is no such table on both sides");
  }
  for (const auto& [tables, text] : options_.conditions) {
    const std::u16string pattern = toUtf16(tables);
    if (!isSomeTable([&](const Table& table) { return matches(table.name, pattern); }))
      unused.push_back("--where " + tables + ": no table on both sides matches");
  }
  for (const std::string& column : namedColumns(options_.comparing)) {
    if (!isSomeColumn(column)) unused.push_back("no column matches '" + column + "'");
  }
  if (!unused.empty()) throw CommandError(std::move(unused));
}

bool PairedTables::isSomeColumn(const std::string& pattern) const {
  return std::ranges::any_of(pairs_, [&](const TablePair& pair) {
    return std::ranges::any_of(pair.tables, [&](const Table* table) {
      return std::ranges::any_of(table->columns, [&](const inventory::Column& column) {
        return rows::matchesColumn(table->name, column.name, pattern);
      });
    });
  });
}

rows::PlanOptions PairedTables::optionsFor(const Table& source) const {
  rows::PlanOptions options = options_.comparing;
  for (const auto& [name, columns] : options_.keys) {
    if (isNamed(source, name)) options.key = columns;
  }
  for (const auto& [tables, text] : options_.conditions) {
    if (!matches(source.name, toUtf16(tables))) continue;
    if (!options.condition.empty()) options.condition += "\n) and (";
    options.condition += text;
  }
  return options;
}

}  // namespace kelvane::cli
