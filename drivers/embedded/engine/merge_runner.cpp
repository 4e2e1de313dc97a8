#include "drivers/embedded/engine/merge_runner.h"

#include <utility>

#include "drivers/embedded/engine/batch.h"
#include "drivers/embedded/engine/called.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

// Keeps the rows of queries; what is wrong goes on to the client.
class MergeOutcome final : public Outcome {
 public:
  explicit MergeOutcome(Outcome& outcome) : outcome_(outcome) {}

  void beginRows(const std::vector<ResultColumn>& columns) override {
    results.push_back({columns, {}});
  }
  void row(Row row) override { results.back().rows.push_back(std::move(row)); }
  void count(std::int64_t) override {}
  void notice(const Notice& notice) override { outcome_.notice(notice); }

  std::vector<ResultSet> results;

 private:
  Outcome& outcome_;
};

// The texts of the statements that do what a merge does.
class MergeParts {
 public:
  MergeParts(const Merge& merge, std::string_view batch) : merge_(merge), batch_(batch) {
    const NamedTable& target = merge.target;
    table_ = target.name.range.in(batch);
    const std::string& name = target.alias.empty() ? target.name.name : target.alias;
    alias_ = "[" + name + "]";
    source_ = merge.source->range.in(batch);
    on_ = textOf(*merge.on);
  }

  // Rows of the source without a match.
  std::string unmatched(std::size_t clause) const {
    std::string values;
    for (const ExprPtr& value : merge_.clauses[clause].values) {
      values += (values.empty() ? "" : ", ") + textOf(*value);
    }
    return "select " + values + " from " + source_ + " where not exists (select 1 from " + table_ +
           " " + alias_ + " where " + on_ + ")" + conditions(clause);
  }

  std::string removal(std::size_t clause) const { return "delete " + alias_ + joined(clause); }

  std::string update(std::size_t clause) const {
    std::string list;
    for (const Assignment& assignment : merge_.clauses[clause].assignments) {
      list += list.empty() ? "" : ", ";
      list += assignment.range.in(batch_);
    }
    return "update " + alias_ + " set " + list + joined(clause);
  }

 private:
  // In parentheses of their own, on a line of their own in case of a comment.
  std::string textOf(const Expr& expr) const {
    return "(" + std::string(expr.range.in(batch_)) + "\n)";
  }

  std::string joined(std::size_t clause) const {
    return " from " + table_ + " " + alias_ + ", " + source_ + "\nwhere " + on_ +
           conditions(clause);
  }

  // A row belongs to the first clause whose condition holds.
  std::string conditions(std::size_t clause) const {
    const MergeClause& own = merge_.clauses[clause];
    std::string text;
    for (std::size_t i = 0; i < clause; ++i) {
      const MergeClause& before = merge_.clauses[i];
      if (before.matched != own.matched) continue;
      text += before.condition
                  ? " and case when " + textOf(*before.condition) + " then 0 else 1 end = 1"
                  : " and 1 = 0";
    }
    if (own.condition) text += " and " + textOf(*own.condition);
    return text;
  }

  const Merge& merge_;
  std::string_view batch_;
  std::string table_, alias_, source_, on_;
};

}  // namespace

void MergeRunner::runPart(const std::string& text, Outcome& outcome) {
  const std::uint32_t line = frame_.line();
  CalledOutcome called(outcome, line);
  const auto batch = session_.parse(text, called);
  if (!batch) throw BatchEnded{};
  BatchRun part(session_, batch, called);
  part.frame().variables() = frame_.variables();
  part.runBody(batch->statements);
  frame_.resume(line);
}

// Rows to insert are found before others change, and come last; rows to delete go before others
// change what the conditions look at.
void MergeRunner::run(const Merge& merge) {
  frame_.writeTarget(merge.target.name);
  int updates = 0;
  for (const MergeClause& clause : merge.clauses) updates += clause.assignments.empty() ? 0 : 1;
  if (updates > 1) {
    throw ServerError(message::severalMergeUpdates, frame_.line());
  }
  const MergeParts parts(merge, frame_.batch()->text);
  Savepoint savepoint(frame_.catalog().store());
  std::int64_t rows = 0;
  MergeOutcome outcome(reporter_.outcome());
  std::vector<std::pair<const MergeClause*, std::vector<ResultSet>>> inserts;
  for (std::size_t i = 0; i < merge.clauses.size(); ++i) {
    if (!merge.clauses[i].inserts()) continue;
    runPart(parts.unmatched(i), outcome);
    inserts.emplace_back(&merge.clauses[i], std::exchange(outcome.results, {}));
  }
  for (const bool deletes : {true, false}) {
    for (std::size_t i = 0; i < merge.clauses.size(); ++i) {
      const MergeClause& clause = merge.clauses[i];
      if (clause.inserts() || clause.deletes() != deletes) continue;
      runPart(deletes ? parts.removal(i) : parts.update(i), outcome);
      rows += session_.last.rowCount;
    }
  }
  for (const auto& [clause, results] : inserts) {
    const Insert insert{merge.target.name, clause->columns, InsertDefaults{}};
    rows += rows_.insertResults(insert, rows_.targetWithRows(insert.table), results);
  }
  savepoint.keep();
  reporter_.changed(rows);
}

}  // namespace kelvane::embedded
