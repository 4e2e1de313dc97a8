#include "cli/verbs/rows_of_script.h"

#include <algorithm>
#include <memory>
#include <set>
#include <span>
#include <utility>

#include "cli/screen/interruption.h"
#include "cli/screen/status_line.h"
#include "cli/sides/changed_copy.h"
#include "cli/sides/tracing_connection.h"
#include "cli/verbs/connected_rows.h"
#include "cli/verbs/keyed_data.h"
#include "inventory/name_pattern.h"
#include "inventory/shown.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

using inventory::QualifiedName;
using inventory::Table;

// Beyond that, a copy takes longer than anybody waits.
constexpr std::int64_t kMostRows = 1'000'000;

QualifiedName referencedBy(const inventory::ForeignKey& key, const Table& table) {
  return {key.referenced.owner.empty() ? table.name.owner : key.referenced.owner,
          key.referenced.name};
}

}  // namespace

RowsOfScript::RowsOfScript(const ScriptedRows& wanted, const CompareRequest& request,
                           const std::vector<change_script::Rename>& renames,
                           const Comparison& comparison, const ChangeScriptOutput& schema,
                           const Console& console, const OpenSide& open)
    : wanted_(wanted),
      request_(request),
      renames_(renames),
      comparison_(comparison),
      script_(wanted.request, request.shown, comparison.targetAsRead().server) {
  if (schema.hasFailed())
    obstacles_.emplace_back("the rows are left out: the script for the schema is not proved");
  else
    compare(schema, console, open);
}

bool RowsOfScript::isWanted(const QualifiedName& name) const {
  const std::u16string table = toUtf16(name.name), whole = toUtf16(inventory::shown(name));
  return std::ranges::any_of(wanted_.tables, [&](const std::u16string& pattern) {
    return inventory::matchesPattern(table, pattern) || inventory::matchesPattern(whole, pattern);
  });
}

// Of the target as it was read: the tables, and those whose rows may refer to theirs or the other
// way round, before the script or after it.
std::vector<const Table*> RowsOfScript::copied() const {
  std::set<std::string> names;
  const auto add = [&](const QualifiedName& name) { names.insert(inventory::shown(name)); };
  for (const inventory::Database& database : comparison_.databases()) {
    for (const Table& table : database.tables) {
      const bool isOne = isWanted(table.name);
      if (isOne) add(table.name);
      for (const inventory::ForeignKey& key : table.foreignKeys) {
        const QualifiedName referenced = referencedBy(key, table);
        if (isOne) add(referenced);
        if (isWanted(referenced)) add(table.name);
      }
    }
  }
  for (const change_script::Rename& rename : renames_) {
    if (rename.part.empty() &&
        names.contains(inventory::shown(QualifiedName{rename.table.owner, rename.to})))
      add(rename.table);
  }
  std::vector<const Table*> tables;
  for (const Table& table : comparison_.targetAsRead().tables) {
    if (names.contains(inventory::shown(table.name))) tables.push_back(&table);
  }
  return tables;
}

void RowsOfScript::compare(const ChangeScriptOutput& schema, const Console& console,
                           const OpenSide& open) {
  std::vector<NamedPlace> places{{kSideNames[0], request_.places[0]},
                                 {kSideNames[1], request_.places[1]}};
  auto sides = openSides(places, console, open);
  const inventory::Database& target = comparison_.targetAsRead();
  {
    StatusLine line(console);
    line.show("script", u"copying rows of the target");
    const Interruption interruption = interruptionOf(sides, line);
    const std::u16string activity = u"copying rows";
    TracingConnection connection(sides[1]->connection(), activity, nullptr, interruption.token());
    askForWholeTexts(connection, kSideNames[1], gaps_);
    const auto rows = connectedRows(target, *sides[1], connection);
    const std::string body = schema.body();
    try {
      auto copy = std::make_unique<ChangedCopy>(
          Trial{target, comparison_.changes(), body, schema.release(), schema.rolesOfServer()},
          CatalogCopy::Rows{copied(),
                            [&](const rows::TablePlan& plan) {
                              rows->prepare(plan.selects[1]);
                              return rows->rowsOf(plan, 1);
                            },
                            kMostRows});
      for (const std::string& line : copy->obstacles())
        obstacles_.push_back("the rows are left out: " + line);
      sides[1] = std::move(copy);
    } catch (const RuntimeError& error) {
      obstacles_.push_back("the rows are left out: " + toUtf8(error.Description()));
    } catch (const std::runtime_error& error) {
      obstacles_.push_back("the rows are left out: " + std::string(error.what()));
    }
    if (interruption.token().stop_requested()) throw CommandError({"interrupted"});
  }
  if (!obstacles_.empty()) return;
  KeyedRequest keyed;
  keyed.patterns = wanted_.tables;
  keyed.readsConstraints = true;
  keyed.sinks.push_back(&script_);
  const KeyedReport report = compareByKey(keyed, {request_.places, request_.shown}, sides, console);
  gaps_.insert(gaps_.end(), report.gaps.begin(), report.gaps.end());
  for (const KeyedTable& table : report.tables) {
    if (table.ended == KeyedEnd::error) gaps_.push_back(table.name + ": " + table.error);
  }
}

void RowsOfScript::writeTo(std::ostream& out) {
  out << '\n';
  if (obstacles_.empty()) return script_.writeTo(out);
  for (std::string line : obstacles_) {
    std::ranges::replace_if(
        line, [](char letter) { return letter == '\n' || letter == '\r'; }, ' ');
    out << "-- " << line << '\n';
  }
}

ExitStatus RowsOfScript::tell(const Console& console) const {
  for (const auto* const lines : {&obstacles_, &gaps_}) {
    for (const std::string& line : *lines) console.complain(line);
  }
  if (!obstacles_.empty()) return kNotProven;
  const ExitStatus status = script_.tell(console);
  if (status != kNoDifference || !gaps_.empty()) return kNotProven;
  return script_.isAllDone() ? kNoDifference : kDifferences;
}

}  // namespace kelvane::cli
