#include "change_script/alter_clauses.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "change_script/planner.h"

namespace kelvane::change_script {

using inventory::Batch;
using inventory::Phase;
using inventory::Statement;

Batch batchOf(const std::vector<const AlterClause*>& clauses) {
  constexpr std::array<std::string_view, 3> kVerbs{"add", "drop", "modify"};
  Statement alter("alter table ");
  alter.name(clauses.front()->table->name);
  Batch batch{Phase::tables, "if ", {}, alter.needsQuotedIdentifier(), false};
  for (std::size_t verb = 0; verb < kVerbs.size(); ++verb) {
    std::string_view separator;
    for (const AlterClause* clause : clauses) {
      if (static_cast<std::size_t>(clause->verb) != verb) continue;
      if (separator.empty()) {
        alter << (clauses.size() > 1 ? "\n    " : " ") << kVerbs[verb] << " ";
        separator = ",\n        ";
      } else {
        alter << separator;
      }
      alter << clause->text;
      batch.quotedIdentifier = batch.quotedIdentifier || clause->quotedIdentifier;
    }
  }
  std::string_view separator;
  for (const AlterClause* clause : clauses) {
    batch.text += std::string(separator) + clause->condition;
    separator = "\n    or ";
  }
  batch.text += "\n    exec(" + inventory::literal(alter.text()) + ")";
  return batch;
}

}  // namespace kelvane::change_script
