#include "cli/sides/changed_copy.h"

#include "change_script/reach.h"

namespace kelvane::cli {

ChangedCopy::ChangedCopy(const Trial& trial, const CatalogCopy::Rows& rows)
    : copy_(trial.target, trial.release) {
  // Tables that get rows are needed although the script may not name them.
  std::string concerned = trial.script;
  for (const inventory::Table* table : rows.tables) concerned += " " + table->name.name;
  inventory::Database part = change_script::Reach(trial.target, trial.changes, concerned).part();
  part.roles.insert(part.roles.end(), trial.roles.begin(), trial.roles.end());
  copy_.make(part, rows);
  if (!copy_.hasFailed()) copy_.run(trial.script);
  connection_ = copy_.connect();
}

}  // namespace kelvane::cli
