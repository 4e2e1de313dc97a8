// The script that makes the rows of the target like those of the source: collected while they are
// compared, put in order when all are known, tried on a copy of the target.
//
// Lifetime: the request outlives it; databases and sides only until the comparison has ended.
// Threading: one thread.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "cli/screen/console.h"
#include "cli/sides/row_proof.h"
#include "cli/verbs/freed_values.h"
#include "cli/verbs/row_sink.h"
#include "cli/words/row_script_request.h"
#include "rows/row_statements.h"
#include "rows/spool.h"
#include "rows/table_order.h"
#include "rows/unnamed_file.h"

namespace kelvane::cli {

class RowScript final : public RowSink {
 public:
  // `shown`: the sides, as the user calls them. `server`: that of the target, where its rows are
  // compared in a copy elsewhere.
  RowScript(const RowScriptRequest& request, std::array<std::string, 2> shown,
            std::optional<inventory::Server> server = {})
      : request_(request), shown_(std::move(shown)), server_(std::move(server)) {}

  void comparisonBegins(const std::array<RowSide*, 2>& sides) override;
  void tableBegins(const KeyedTable& table) override;
  void rowsDiffer(const KeyedTable& table, const rows::DifferingRows& rows) override;
  void tableEnds(const KeyedTable& table) override;
  void comparisonEnds(const std::vector<KeyedTable>& tables) override;

  // Behind the comparison. The status is kError where the file cannot be written, kNotProven where
  // the script could not be tried, or leaves what it should have ended; kNoDifference otherwise.
  ExitStatus write(const Console& console);
  // The same in two steps, for those who have more to write.
  void writeTo(std::ostream& out);
  ExitStatus tell(const Console& console) const;
  // Whether all that differs has statements.
  bool isAllDone() const { return leftOut().empty(); }

 private:
  enum class Change : std::uint8_t { insert, update, remove };
  using Counts = std::array<std::int64_t, 3>;  // by Change

  struct TableScript {
    std::string name;
    const inventory::Table* table = nullptr;
    rows::TablePlan plan;
    std::unique_ptr<rows::StatementWriter> writer;
    std::optional<FreedValues> freed;  // set, once the plan is where it stays
    std::array<rows::Spool::List, rows::kRowStages> stages;
    Counts done{}, left{};  // rows
    std::int64_t notAllowed = 0;
    std::vector<std::string> obstacles;  // the first ones
    std::int64_t moreObstacles = 0;
    std::string unfilled;  // columns of the source that are not compared, so that inserts lack them
    bool isWhole = false;

    rows::Spool::List& list(rows::RowStage stage) {
      return stages[static_cast<std::size_t>(stage)];
    }
    const rows::Spool::List& list(rows::RowStage stage) const {
      return stages[static_cast<std::size_t>(stage)];
    }
    bool hasStatements() const;
  };

  static Change changeOf(const rows::DifferingRows& rows);
  void assemble();
  void writeBegin(const std::vector<TableScript*>& scripts);
  void writeStage(TableScript& one, rows::RowStage stage);
  void beginBatch();
  void endBatch();
  void put(std::string_view text);
  std::vector<bool> earlyRemovals(const std::vector<TableScript*>& scripts) const;
  void tryOut();
  void addLeft(const TableScript& one, const rows::RowCounts& counts);
  std::vector<std::string> leftOut() const;
  std::vector<std::string> notes() const;
  std::vector<std::string> firedTriggers() const;
  std::optional<inventory::TargetRelease> release() const;
  std::vector<std::string> head() const;
  const inventory::Server& server() const {
    return server_ ? *server_ : sides_[1]->database().server;
  }
  bool isEmpty() const { return bodySize_ == 0; }
  bool isProved() const { return obstacles_.empty() && left_.empty(); }

  const RowScriptRequest& request_;
  std::array<std::string, 2> shown_;
  std::optional<inventory::Server> server_;
  std::array<RowSide*, 2> sides_{};
  std::vector<rows::OrderedTable> order_;                       // all tables of the target
  std::map<std::string, std::size_t> places_;                   // in order_, by owner.name
  std::map<std::string, std::unique_ptr<TableScript>> tables_;  // by the name of the table
  rows::Spool spool_;

  rows::UnnamedFile body_;  // the text but for its head
  std::int64_t bodySize_ = 0;
  std::int64_t batches_ = 0;

  std::vector<std::string> missing_;    // tables for which nothing is done, and why
  std::vector<std::string> triggers_;   // that fire
  std::vector<std::string> obstacles_;  // why nothing is proved
  std::vector<std::string> left_;       // what the proof found that was not told
};

}  // namespace kelvane::cli
