#include "drivers/embedded/engine/scope.h"

#include <algorithm>

#include "drivers/embedded/tsql/error.h"

namespace kelvane::embedded {

const SourceColumn* Source::find(std::string_view column) const {
  if (column == "syb_identity") {
    const auto identity = std::ranges::find_if(
        *columns, [](const SourceColumn& candidate) { return candidate.type.identity; });
    return identity == columns->end() ? nullptr : &*identity;
  }
  for (const SourceColumn& candidate : *columns) {
    if (candidate.name == column) return &candidate;
  }
  return nullptr;
}

std::optional<std::size_t> Scope::sourceNamed(const tsql::ObjectName& prefix) const {
  std::optional<std::size_t> found;
  for (std::size_t i = 0; i < sources.size(); ++i) {
    const Source& source = sources[i];
    const bool ownerFits =
        prefix.owner.empty() || source.owner.empty() || prefix.owner == source.owner;
    const bool databaseFits =
        prefix.database.empty() || source.database.empty() || prefix.database == source.database;
    if (source.exposedName != prefix.name || !ownerFits || !databaseFits) continue;
    // Of tables of the same name, a plain prefix means the one that is named as plainly.
    if (!prefix.database.empty() || !source.namesDatabase) return i;
    if (!found) found = i;
  }
  return found;
}

const Scope* Scope::home(const tsql::ColumnRef& reference) const {
  const auto holds = [&](const Scope& scope) {
    if (!reference.table.empty()) return scope.sourceNamed(reference.table).has_value();
    return std::ranges::any_of(scope.sources, [&](const Source& source) {
      return source.find(reference.column) != nullptr;
    });
  };
  const Scope* scope = this;
  while (scope != nullptr && !holds(*scope)) scope = scope->outer;
  return scope;
}

FoundColumn Scope::resolve(const tsql::ColumnRef& reference, std::uint32_t line) const {
  const auto invalidName = [&] {
    return tsql::ServerError(message::unknownColumn, line, reference.column);
  };
  for (const Scope* scope = this; scope != nullptr; scope = scope->outer) {
    const bool isOuter = scope != this;
    if (!reference.table.empty()) {
      const auto source = scope->sourceNamed(reference.table);
      if (!source) continue;
      const SourceColumn* column = scope->sources[*source].find(reference.column);
      if (column == nullptr) throw invalidName();
      return {*source, scope, isOuter, column, scope->sources[*source].sqlOf(*column)};
    }
    std::optional<FoundColumn> found;
    for (std::size_t i = 0; i < scope->sources.size(); ++i) {
      const SourceColumn* column = scope->sources[i].find(reference.column);
      if (column == nullptr) continue;
      if (found) {
        throw tsql::ServerError(message::ambiguousColumn, line, reference.column);
      }
      found = {i, scope, isOuter, column, scope->sources[i].sqlOf(*column)};
    }
    if (found) return *found;
  }
  if (reference.table.empty()) throw invalidName();
  throw tsql::ServerError(message::unknownPrefix, line, reference.table.name);
}

}  // namespace kelvane::embedded
