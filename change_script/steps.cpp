// Steps and the batches that they are made of.

#include "change_script/steps.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "change_script/planner.h"

namespace kelvane::change_script {

using namespace inventory;

void Step::absorb(Step other) {
  difference += '\n' + other.difference;
  std::move(other.batches.begin() + 1, other.batches.end(), std::back_inserter(batches));
  for (const Danger danger : other.dangers) {
    if (std::ranges::find(dangers, danger) == dangers.end()) dangers.push_back(danger);
  }
  needs.insert(needs.end(), other.needs.begin(), other.needs.end());
}

Stage stageOf(Phase phase) {
  switch (phase) {
    case Phase::settings:
      return Stage::settings;
    case Phase::principals:
      return Stage::principals;
    case Phase::values:
      return Stage::values;
    case Phase::tables:
      return Stage::tables;
    case Phase::indexes:
      return Stage::indexes;
    case Phase::references:
      return Stage::references;
    case Phase::bindings:
      return Stage::bindings;
    case Phase::compiled:
      return Stage::compiled;
    case Phase::triggers:
      return Stage::triggers;
    case Phase::permissions:
      return Stage::permissions;
    case Phase::endings:
      return Stage::endings;
    case Phase::closing:
      return Stage::closing;
  }
  return Stage::settings;
}

std::string idOf(const QualifiedName& name) { return inventory::idOf(name.owner, name.name); }

Batch batchOf(const Statement& statement) {
  return {Phase::tables, statement.text(), {}, statement.needsQuotedIdentifier(), false};
}

Batch callOf(std::string text, std::string user) {
  const bool hasQuotes = text.find('"') != std::string::npos;
  return {Phase::tables, std::move(text), std::move(user), hasQuotes, false};
}

Batch guarded(std::string_view condition, const Statement& statement) {
  return {Phase::tables,
          "if " + std::string(condition) + "\n    exec(" + literal(statement.text()) + ")",
          {},
          statement.needsQuotedIdentifier(),
          false};
}

Batch droppedObject(std::string_view word, const QualifiedName& name) {
  Statement drop("drop " + std::string(word) + " ");
  drop.name(name);
  return guarded(idOf(name) + " is not null", drop);
}

}  // namespace kelvane::change_script
