// The server behind its connections.
//
// A Server owns the catalog; sessions refer to it and must not outlive it. No locks: one thread at
// a time for a server and all of its sessions.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/engine/functions.h"
#include "drivers/embedded/engine/kept_by_table.h"
#include "drivers/embedded/engine/kept_statements.h"
#include "drivers/embedded/engine/moment.h"
#include "drivers/embedded/engine/parsed_batch.h"
#include "drivers/embedded/engine/row_rules.h"
#include "drivers/embedded/engine/steps.h"
#include "drivers/embedded/engine/store_transaction.h"
#include "drivers/embedded/engine/temporary_tables.h"
#include "drivers/embedded/engine/translator.h"

namespace kelvane::embedded {

class Server {
 public:
  explicit Server(const CatalogOptions& options = {});
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// The source of a stored procedure, parsed once for each text: another one may get its id.
  /// Null when its group has none of the number.
  std::shared_ptr<ParsedBatch> procedure(const ObjectInfo& object, int number = 1);
  int nextSession() { return ++sessions_; }
  int sessionCount() const { return sessions_; }
  /// Changes with every statement that may change what names mean, those of temporary tables
  /// excepted.
  std::uint64_t namesVersion() const { return running.namesVersion; }
  void namesChanged() { ++running.namesVersion; }

  Catalog catalog;
  Running running;
  /// What translators read of the catalog once.
  SystemColumns systemColumns;
  KeptByTable<RowRules> rowRules;
  KeptByTable<std::vector<ColumnInfo>> tableColumns;
  KeptStatements statements{catalog.store()};
  StoreTransaction transaction{catalog.store()};
  Steps steps{catalog.options().mostSteps};
  DefinitionNumbers definitions;
  /// Where new connections start: the database that the last script was in. A script that names
  /// none is not meant for master.
  std::string database = "main";
  const Moment startedAt = roundToTicks(currentMoment());

 private:
  std::map<std::pair<int, int>, std::shared_ptr<ParsedBatch>> procedures_;
  int sessions_ = 0;
};

}  // namespace kelvane::embedded
