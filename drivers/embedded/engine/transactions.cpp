#include "drivers/embedded/engine/transactions.h"

#include <algorithm>

namespace kelvane::embedded {

void Transactions::begin(std::string_view name) {
  if (depth_++ > 0) return;
  name_ = name;
  writtenBefore_ = written();
  wasRolledBack_ = false;
  transaction_ = std::make_unique<UserTransaction>(store_);
}

std::pair<std::int64_t, std::uint64_t> Transactions::written() const {
  Database& store = store_.store();
  return {store.totalChanges(), store.undoLog().changes()};
}

void Transactions::commit() {
  if (--depth_ > 0 || !transaction_) return;
  keepSavepoints({});
  transaction_->keep();
  transaction_.reset();
}

void Transactions::save(std::string_view name) {
  if (depth_ > 0) savepoints_.emplace_back(name, std::make_unique<Savepoint>(store_.store()));
}

// From the inside out.
void Transactions::undo() {
  while (!savepoints_.empty()) savepoints_.pop_back();
  transaction_.reset();
}

void Transactions::rollBack() {
  depth_ = 0;
  wasRolledBack_ = true;
  undo();
}

void Transactions::keepSavepoints(const Mark& before) {
  while (savepoints_.size() > before.savepoints) {
    savepoints_.back().second->keep();
    savepoints_.pop_back();
  }
}

void Transactions::leaveTrigger(const Mark& before, bool isUndone) {
  while (savepoints_.size() > before.savepoints) savepoints_.pop_back();
  depth_ = isUndone ? 0 : before.depth;
}

Transactions::Found Transactions::rollBackTo(std::string_view savepoint, const Mark& mark) {
  const auto found = std::ranges::find(savepoints_.rbegin(), savepoints_.rend(), savepoint,
                                       [](const auto& entry) { return entry.first; });
  if (found == savepoints_.rend()) return Found::No;
  const auto kept = static_cast<std::size_t>(savepoints_.rend() - found) - 1;
  if (kept < mark.savepoints) return Found::BeforeMark;
  while (savepoints_.size() > kept) savepoints_.pop_back();
  savepoints_.emplace_back(savepoint, std::make_unique<Savepoint>(store_.store()));
  return Found::Yes;
}

}  // namespace kelvane::embedded
