#include "drivers/embedded/engine/row_inserts.h"

#include <limits>
#include <utility>

#include "drivers/embedded/engine/batch.h"
#include "drivers/embedded/engine/row_target.h"
#include "drivers/embedded/tsql/ast.h"
#include "drivers/embedded/tsql/parser.h"

namespace kelvane::embedded {

// A target and what it was made under.
struct RowInserts::Kept {
  Circumstances made;
  std::string table;
  RowTarget target;
};

RowInserts::RowInserts(Session& session) : session_(session) {}
RowInserts::~RowInserts() = default;

bool RowInserts::serves(const Kept& kept) const {
  const SessionOptions& options = session_.options;
  return kept.made == Circumstances{session_.server.namesVersion(),
                                    session_.caller.uid,
                                    session_.caller.database,
                                    options.rowLimit,
                                    options.identityInsertTable == kept.table,
                                    options.ansiNull,
                                    options.stringRtruncation,
                                    options.numericTruncation};
}

RowTarget* RowInserts::targetFor(std::string_view head, Outcome& outcome) {
  constexpr std::size_t kMostTargets = 256;
  std::string key(head);
  auto found = targets_.find(key);
  if (found == targets_.end() || !serves(*found->second)) {
    auto made = makeTarget(head, outcome);
    if (!made) return nullptr;
    if (found == targets_.end()) {
      // Rows of the batch at hand refer to theirs.
      if (targets_.size() >= kMostTargets && scanned_.rows.empty()) targets_.clear();
      found = targets_.emplace(std::move(key), nullptr).first;
    } else if (!scanned_.rows.empty()) {
      return nullptr;
    }
    found->second = std::move(made);
  }
  RowTarget& target = found->second->target;
  return target.isPlain() ? &target : nullptr;
}

// Null if the words are not understood.
std::unique_ptr<RowInserts::Kept> RowInserts::makeTarget(std::string_view head, Outcome& outcome) {
  auto batch = std::make_shared<ParsedBatch>(std::string(head) + "null)");
  session_.server.transaction.beginRows();
  try {
    batch->statements = tsql::parseBatch(batch->text, session_.parseOptions());
    const auto* insert = std::get_if<tsql::Insert>(&batch->statements.front()->node);
    if (insert == nullptr || batch->statements.size() != 1) return nullptr;
    BatchRun run(session_, batch, outcome);
    RowPlan rows = run.rowPlan(*batch->statements.front());
    RowTarget target(std::string(head), session_.server.catalog.store(), rows.plan, rows.types);
    return std::make_unique<Kept>(std::move(rows.made), insert->table.name, std::move(target));
  } catch (const tsql::ServerError&) {
    return nullptr;
  } catch (const StoreError&) {
    return nullptr;
  }
}

std::size_t RowInserts::run(std::string_view batch, Outcome& outcome) {
  constexpr std::string_view kBegin = "iI \t\r\n";
  if (batch.empty() || kBegin.find(batch.front()) == std::string_view::npos) return 0;
  const SessionOptions& options = session_.options;
  if (session_.caller.chained || options.stringRtruncation) return 0;
  if (options.noExec || options.parseOnly || options.formatOnly || !options.numericTruncation) {
    return 0;
  }
  if (batch.size() > std::numeric_limits<std::uint32_t>::max()) return 0;
  scanned_.clear();
  const auto target = [&](std::string_view head) { return targetFor(head, outcome); };
  if (!scanRows(batch, session_.caller.quotedIdentifier, target, scanned_)) return 0;
  Server& server = session_.server;
  server.transaction.beginRows();
  Variables none;
  server.running.session = &session_;
  server.running.caller = &session_.caller;
  server.running.variables = &none;
  const RowLiteral* values = scanned_.values.data();
  for (const ScannedRows::Row& row : scanned_.rows) {
    try {
      server.steps.count();
      insert(*row.target, batch, values, outcome);
    } catch (const tsql::ServerError&) {
      return row.begin;
    } catch (const StoreError&) {
      return row.begin;
    }
    values += row.target->columnCount();
  }
  server.transaction.rowsWritten(scanned_.rows.size());
  return batch.size();
}

void RowInserts::insert(RowTarget& target, std::string_view batch, const RowLiteral* values,
                        Outcome& outcome) {
  Server& server = session_.server;
  server.running.beginStatement();
  target.write(batch, values, session_.caller.line);
  const std::int64_t rows = server.catalog.store().changes();
  session_.last.error = 0;
  session_.last.rowCount = rows;
  if (!session_.options.noCount) outcome.count(rows);
  if (target.givesIdentity()) session_.last.identity = server.running.lastIdentity;
}

}  // namespace kelvane::embedded
