#include "cli/sides/catalog_copy.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "cli/sides/proof.h"
#include "drivers/embedded/script.h"
#include "inventory/shown.h"
#include "model/text.h"
#include "rows/row_stream.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kCannotBeMade = "the target cannot be made for the proof: ";

template <class Wanted>
std::string phases(inventory::Script script, Wanted isWanted) {
  for (inventory::ScriptedObject& object : script.objects)
    std::erase_if(object.batches,
                  [&](const inventory::Batch& batch) { return !isWanted(batch.phase); });
  std::ostringstream text;
  write(script, text);
  return std::move(text).str();
}

void setIdentityInsert(ado::Connection& connection, const rows::StatementWriter& writer,
                       std::string_view state) {
  connection.Open(toUtf16("set identity_insert " + writer.name() + " " + std::string(state)), {});
}

}  // namespace

CatalogCopy::CatalogCopy(const inventory::Database& database,
                         std::optional<inventory::TargetRelease> release)
    : database_(database), release_(release), catalog_({.release = embeddedRelease(release)}) {}

void CatalogCopy::make(const inventory::Database& part, const Rows& rows) {
  const inventory::Script made = inventory::scriptOf(part, release_, database_);
  for (const inventory::Omission& one : made.omissions)
    obstacle(kCannotBeMade, one.what + ": " + one.reason);
  if (hasFailed()) return;
  // Rows that are there already are not checked against foreign keys.
  load("target", phases(made, [](auto phase) { return phase < inventory::Phase::references; }),
       kCannotBeMade);
  const auto connection = connect();
  for (const inventory::Table* table : rows.tables) {
    if (!hasFailed()) fill(*connection, *table, rows);
  }
  if (hasFailed()) return;
  load("target", phases(made, [](auto phase) { return phase >= inventory::Phase::references; }),
       kCannotBeMade);
}

void CatalogCopy::run(std::string_view script) { load("script", script, "the script fails: "); }

void CatalogCopy::load(const char* name, std::string_view text, std::string_view failed) {
  // A script without a statement is an error.
  const auto report = embedded::loadScript(catalog_, name, "select 1\ngo\n" + std::string(text));
  if (report.errors.empty()) return;
  // Others follow from it.
  const embedded::ScriptNote& error = report.errors.front();
  constexpr std::size_t kLongest = 200;
  const std::string near = error.statement.size() > kLongest
                               ? error.statement.substr(0, kLongest) + "..."
                               : error.statement;
  obstacle(failed, error.text + (near.empty() ? "" : " (near \"" + near + "\")"));
}

void CatalogCopy::fill(ado::Connection& connection, const inventory::Table& table,
                       const Rows& rows) {
  const rows::PlannedTable planned{database_, table};
  rows::TablePlan plan;
  try {
    plan = rows::planOf(planned, planned);
  } catch (const rows::UnusableTable&) {
    return;  // it has nothing that anybody could write
  }
  rows::StatementTarget target{database_, table};
  target.unit = rows::TextUnit::characters;
  target.longestLiteral = std::string::npos;
  const rows::StatementWriter writer(plan, target);
  if (writer.needsQuotedIdentifier()) connection.Open(u"set quoted_identifier on", {});
  if (writer.insertsIdentity()) setIdentityInsert(connection, writer, "on");
  try {
    fill(connection, plan, writer, rows);
  } catch (const RuntimeError& error) {
    obstacle(kCannotBeMade,
             "rows of " + inventory::shown(table.name) + ": " + toUtf8(error.Description()));
  }
  if (writer.insertsIdentity() && !hasFailed()) setIdentityInsert(connection, writer, "off");
}

void CatalogCopy::fill(ado::Connection& connection, const rows::TablePlan& plan,
                       const rows::StatementWriter& writer, const Rows& rows) {
  constexpr std::size_t kBatchBytes = 256U << 10U;
  std::string batch;
  rows::RowStream stream(rows.rowsOf(plan), plan.layout());
  const auto run = [&] {
    if (batch.empty()) return;
    // An error of a later statement comes with its result.
    const auto results = connection.Open(toUtf16(batch), {});
    while (results->NextRecordset()) continue;
    batch.clear();
  };
  while (stream.next()) {
    if (++filled_ > rows.most)
      return obstacle({},
                      "more than " + std::to_string(rows.most) + " rows would have to be copied");
    const auto insert = writer.plainInsert(stream.row().cells);
    if (!insert)
      return obstacle(kCannotBeMade,
                      "a row of " + writer.name() + " has a value without a literal");
    batch += *insert + '\n';
    if (batch.size() >= kBatchBytes) run();
  }
  run();
}

}  // namespace kelvane::cli
