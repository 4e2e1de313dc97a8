#include "drivers/embedded/engine/server.h"

#include "drivers/embedded/engine/procedure_calls.h"
#include "drivers/embedded/tsql/parser.h"

namespace kelvane::embedded {

Server::Server(const CatalogOptions& options) : catalog(options) {
  running.call = callFunction;
  registerFunctions(catalog, running);
  catalog.store().watchProgress([this] {
    if (running.counted) steps.count();
  });
}

std::shared_ptr<ParsedBatch> Server::procedure(const ObjectInfo& object, int number) {
  auto& kept = procedures_[{object.id, number}];
  SourceText source = catalog.source(object.id, number);
  if (source.text.empty()) return nullptr;
  if (!kept || kept->text != source.text) {
    auto batch = std::make_shared<ParsedBatch>();
    batch->text = std::move(source.text);
    batch->statements = tsql::parseBatch(batch->text, source.options());
    kept = std::move(batch);
  }
  return kept;
}

}  // namespace kelvane::embedded
