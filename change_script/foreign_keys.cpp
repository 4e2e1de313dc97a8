// Steps for foreign keys, which several tables have something to do with.

#include <utility>

#include "change_script/table_steps.h"
#include "inventory/ddl/tables.h"

namespace kelvane::change_script {

using namespace inventory;

std::size_t planDrop(Planner& planner, const Table& table, const ForeignKey& key,
                     std::string difference, std::vector<Danger> dangers) {
  const Return comes = returnOf(dangers);
  const std::size_t at =
      planner.add(Stage::dropReferences, std::move(difference),
                  {dropped(planner, table, key, constraintOf(table, key.name.name), comes)},
                  std::move(dangers));
  planner.end(&key, at);
  return at;
}

std::size_t planCreation(Planner& planner, const Table& table, const ForeignKey& key,
                         std::string difference) {
  std::vector<Batch> batches = planner.fromSource([&](Writing& writing) {
    Table one;
    one.name = table.name;
    one.foreignKeys = {key};
    writeForeignKeys(writing, one);
  });
  for (Batch& batch : batches) {
    if (!batch.text.starts_with("alter table ")) continue;
    Statement add(batch.text);
    const bool option = batch.quotedIdentifier;
    batch = created(planner, table, key, constraintOf(table, key.name.name), add);
    batch.quotedIdentifier = option;
  }
  const std::size_t at = planner.add(Stage::references, std::move(difference), std::move(batches));
  planner.addReference(table, key, at);
  return at;
}

}  // namespace kelvane::change_script
