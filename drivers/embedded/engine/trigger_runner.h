// Changes of rows and the triggers that they fire.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "drivers/embedded/engine/frame.h"
#include "drivers/embedded/engine/outcome.h"
#include "drivers/embedded/engine/transactions.h"

namespace kelvane::embedded {

class FiredRows;

/// A change of rows while its trigger runs.
struct Firing {
  FiredTrigger trigger;
  FiredRows& rows;
  std::optional<Savepoint>& savepoint;  ///< before the change; none when that was undone
  Transactions::Mark before;
  Firing* outer;
  int running = 0;  ///< which of the triggers

  /// Whether the statement gave values to the column.
  bool hasWritten(const std::string& column) const {
    return std::ranges::count(trigger.written, column) != 0;
  }
  /// Whether a commit would end the transaction that the change is made in.
  bool isEndedByCommit(const Transactions& transactions) const {
    return transactions.depth() == before.depth + 1;
  }
};

class TriggerRunner {
 public:
  TriggerRunner(Frame& frame, Outcome& outcome) : frame_(frame), outcome_(outcome) {}

  /// Does all that belongs to a change of rows around `write`: tests and the trigger. Returns how
  /// many rows were written. `again` writes once more in another way when a key was there twice.
  using Write = std::function<std::int64_t()>;
  using Again = std::function<std::int64_t(const StoreError& failure)>;
  std::int64_t change(const Plan& plan, const Write& write, const Again& again = {});
  /// Undoes the change that fired the trigger which runs, after `before`.
  [[noreturn]] void rollBackTrigger(const std::function<void()>& before);

 private:
  std::int64_t fire(const Plan& plan, const std::vector<int>& triggers, const Write& write,
                    const Again& again);
  void run(const Firing& firing, std::int64_t rows);

  Frame& frame_;
  Outcome& outcome_;
  Session& session_{frame_.session()};
  Server& server_{frame_.server()};
};

/// Undoes the transaction and the changes whose triggers run.
void rollBackFirings(Session& session);

}  // namespace kelvane::embedded
