#include "drivers/embedded/engine/trigger_runner.h"

#include <algorithm>
#include <array>
#include <utility>

#include "drivers/embedded/engine/batch.h"
#include "drivers/embedded/engine/called.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

// Ends the trigger and those whose statements fired it.
struct TriggerUndone {};

// What a trigger changes of its session only while it runs.
class RunningTrigger {
 public:
  RunningTrigger(Session& session, Firing& firing)
      : session_(session), firing_(firing), options_(session.options) {
    session_.firing = &firing;
    session_.transactions.enterTrigger(firing.before);
  }
  ~RunningTrigger() {
    const bool isUndone = !firing_.savepoint;
    session_.transactions.leaveTrigger(firing_.before, isUndone);
    session_.firing = firing_.outer;
    options_.identityInsertTable = session_.options.identityInsertTable;
    session_.options = std::move(options_);
  }
  RunningTrigger(const RunningTrigger&) = delete;
  RunningTrigger& operator=(const RunningTrigger&) = delete;

 private:
  Session& session_;
  const Firing& firing_;
  SessionOptions options_;
};

}  // namespace

// `inserted` and `deleted` while a trigger runs, in place of those of the trigger around it.
class FiredRows {
 public:
  FiredRows(Session& session, const FiredTrigger& trigger)
      : session_(session),
        isInTransaction_(session.transactions.isOpen()),
        columns_(session.server.tableColumns.of(trigger.table, session.server.namesVersion(), [&] {
          return session.server.catalog.columns(trigger.table);
        })) {
    for (const ColumnInfo& column : *columns_) {
      sqliteColumns_ += (sqliteColumns_.empty() ? "" : ", ") + column.sqliteColumn +
                        std::string(" COLLATE RTRIM");
      places_ += places_.empty() ? "?" : ", ?";
    }
    for (std::size_t i = 0; i < kNames.size(); ++i) {
      outer_[i] = session_.temporaries.hide(kNames[i]);
      add(kNames[i]);
    }
  }
  ~FiredRows() {
    for (std::size_t i = 0; i < kNames.size(); ++i) {
      session_.temporaries.drop(kNames[i]);
      session_.temporaries.show(std::move(outer_[i]));
    }
    // The transaction that those of the trigger around it were made in has been rolled back.
    if (isInTransaction_ && !session_.transactions.isOpen()) session_.temporaries.followRollback();
  }
  FiredRows(const FiredRows&) = delete;
  FiredRows& operator=(const FiredRows&) = delete;

  void fill(RowWatch& watch) {
    rows_ = {std::move(watch.after), std::move(watch.before)};
    for (std::size_t i = 0; i < kNames.size(); ++i) write(kNames[i], rows_[i]);
  }

  /// After a rollback that took the tables with it: the trigger still sees what fired it.
  void renew() {
    for (std::size_t i = 0; i < kNames.size(); ++i) {
      session_.temporaries.drop(kNames[i]);
      add(kNames[i]);
      write(kNames[i], rows_[i]);
    }
  }

 private:
  static constexpr std::array<const char*, 2> kNames = {"inserted", "deleted"};

  void add(const char* name) {
    TemporaryTable table;
    table.name = name;
    table.columns = *columns_;
    table.sqliteColumns = sqliteColumns_;
    session_.temporaries.add(std::move(table));
  }

  void write(const char* name, const std::vector<Row>& rows) {
    if (rows.empty()) return;
    const std::string sql =
        "INSERT INTO " + session_.temporaries.find(name)->sqliteTable + " VALUES (" + places_ + ")";
    Statement insert = session_.server.statements.take(sql);
    for (const Row& row : rows) {
      insert.reset();
      for (std::size_t i = 0; i < row.size(); ++i) insert.bind(static_cast<int>(i) + 1, row[i]);
      insert.step();
    }
    session_.server.statements.giveBack(sql, std::move(insert));
  }

  Session& session_;
  bool isInTransaction_;
  std::shared_ptr<const std::vector<ColumnInfo>> columns_;
  std::string sqliteColumns_;
  std::string places_;
  std::array<std::vector<Row>, 2> rows_;
  std::array<TemporaryTables::Hidden, 2> outer_;
};

namespace {

template <class Failed>
std::int64_t rowsWritten(const TriggerRunner::Write& write, const TriggerRunner::Again& again,
                         Failed failed) {
  try {
    return write();
  } catch (const StoreError& error) {
    if (!again || !error.isDuplicateKey()) throw;
    failed();
    return again(error);
  }
}

}  // namespace

std::int64_t TriggerRunner::change(const Plan& plan, const Write& write, const Again& again) {
  std::vector<int> triggers;
  if (plan.trigger) triggers = plan.trigger->ids;
  // A trigger does not fire itself.
  if (session_.firing != nullptr) std::erase(triggers, session_.firing->running);
  if (!triggers.empty()) return fire(plan, triggers, write, again);
  const auto nothing = [] {};
  if (plan.tests.empty()) return rowsWritten(write, again, nothing);
  Savepoint savepoint(server_.catalog.store());
  const std::int64_t rows = rowsWritten(write, again, nothing);
  if (rows > 0) frame_.runTests(plan.tests);
  savepoint.keep();
  return rows;
}

std::int64_t TriggerRunner::fire(const Plan& plan, const std::vector<int>& triggers,
                                 const Write& write, const Again& again) {
  // Outside of what an undone change takes with it.
  FiredRows fired(session_, *plan.trigger);
  std::optional<Savepoint> savepoint(std::in_place, server_.catalog.store());
  Firing firing{*plan.trigger, fired, savepoint, session_.transactions.mark(), session_.firing};
  std::int64_t rows = 0;
  {
    RowWatch watch(server_.catalog.store(), rowStore(firing.trigger.table),
                   firing.trigger.sqliteTable);
    rows = rowsWritten(write, again, [&] {
      watch.before.clear();
      watch.after.clear();
    });
    if (rows > 0) frame_.runTests(plan.tests);
    fired.fill(watch);
  }
  const auto undo = [&] {
    savepoint.reset();
    session_.temporaries.followRollback();
  };
  try {
    for (const int trigger : triggers) {
      firing.running = trigger;
      const RunningTrigger running(session_, firing);
      run(firing, rows);
      // A rollback in the trigger ends the batch that fired it.
      if (!savepoint) throw BatchEnded{};
    }
    session_.transactions.keepSavepoints(firing.before);
  } catch (const TriggerUndone&) {
    undo();
    if (firing.outer != nullptr) throw;
    return 0;
  } catch (...) {
    undo();
    throw;
  }
  savepoint->keep();
  return rows;
}

void TriggerRunner::run(const Firing& firing, std::int64_t rows) {
  constexpr int kOfTriggers = 0;
  const auto object = server_.catalog.objectById(firing.running);
  const auto stored = object ? server_.procedure(*object, kOfTriggers) : nullptr;
  const auto* create =
      stored ? std::get_if<CreateTrigger>(&stored->statements.front()->node) : nullptr;
  if (create == nullptr) return;
  const std::uint32_t line = session_.caller.line;
  const Level level(session_, line, object->id);
  CalledOutcome called(outcome_, line);
  BatchRun body(session_, stored, called);
  session_.last.rowCount = rows;
  {
    const InDatabase there(session_, server_.catalog.databaseOf(object->id));
    body.runBody(create->body);
  }
  frame_.resume(line);
}

void TriggerRunner::rollBackTrigger(const std::function<void()>& before) {
  if (session_.firing == nullptr) {
    throw ServerError(message::rollbackTriggerOutside, session_.caller.line);
  }
  before();
  throw TriggerUndone{};
}

void rollBackFirings(Session& session) {
  for (Firing* one = session.firing; one != nullptr; one = one->outer) one->savepoint.reset();
  session.transactions.rollBack();
  session.temporaries.followRollback();
  if (session.firing != nullptr) session.firing->rows.renew();
}

}  // namespace kelvane::embedded
