#include "cli/verbs/second_look.h"

#include <optional>
#include <string>
#include <unordered_set>
#include <utility>

#include "rows/row_stream.h"

namespace kelvane::cli {
namespace {

// Keys in one statement. Servers have limits for the depth of conditions.
constexpr std::size_t kKeys = 50;

using Keys = std::unordered_set<std::string_view>;

// Only rows with the keys that were asked for: to a server others may be equal to them.
class AskedRows final : public rows::RowSource {
 public:
  AskedRows(std::unique_ptr<rows::RowSource> all, rows::RowLayout layout, const Keys& keys)
      : all_(std::move(all)), layout_(std::move(layout)), keys_(keys) {}

  bool next() override {
    while (all_->next()) {
      key_.clear();
      for (std::size_t at = 0; at < layout_.keyCells; ++at)
        rows::pack(all_->value(layout_.cells[at].column), layout_.cells[at].form, key_);
      if (keys_.contains(key_)) return true;
    }
    return false;
  }
  ado::Value value(std::size_t column) const override { return all_->value(column); }
  void packLarge(std::size_t column, std::string& row) const override {
    all_->packLarge(column, row);
  }

 private:
  std::unique_ptr<rows::RowSource> all_;
  rows::RowLayout layout_;
  const Keys& keys_;
  std::string key_;
};

// The condition of a side for a batch; none where one of its keys cannot be asked for.
template <class Batch>
std::optional<std::string> conditionOf(const rows::TablePlan& plan, std::size_t side,
                                       const Batch& batch) {
  std::string text;
  for (const auto& row : batch) {
    const auto one = plan.keyCondition(side, row.key());
    if (!one) return std::nullopt;
    text += (text.empty() ? "(" : " or ") + *one;
  }
  return text + ")";
}

}  // namespace

bool SecondLook::mayLook(const rows::TablePlan& plan) {
  return plan.hasKey() && plan.pairing.isUnique && !plan.selects[0].keyLiterals.empty() &&
         !plan.selects[1].keyLiterals.empty();
}

void SecondLook::look(KeyedTable& table, const Rows& kept, rows::RowObserver& observer) {
  const rows::TablePlan& plan = table.plan;
  const bool canAsk = mayLook(plan);
  if (canAsk) {
    for (const std::size_t side : {0U, 1U}) sides_[side]->prepare(plan.selects[side]);
  }
  std::vector<Kept> batch;
  spool_.forEach(kept.list_, [&](std::string_view record) {
    const rows::DifferingRows rows = rows::rowsOf(record);
    const Kept& one =
        batch.emplace_back(Kept{std::string(rows.source), std::string(rows.target), rows.keySize});
    if (!canAsk) {
      observer.rowsDiffer(one.rows());
      batch.clear();
    } else if (batch.size() == kKeys) {
      lookAt(table, std::exchange(batch, {}), observer);
    }
  });
  if (!batch.empty()) lookAt(table, batch, observer);
}

void SecondLook::lookAt(KeyedTable& table, const std::vector<Kept>& batch,
                        rows::RowObserver& observer) {
  const rows::TablePlan& plan = table.plan;
  Keys keys;
  rows::RowCounts were;
  were.changedValues.resize(plan.columns.size());
  for (const Kept& one : batch) {
    keys.insert(one.key());
    were.rows[0] += one.source.empty() ? 0 : 1;
    were.rows[1] += one.target.empty() ? 0 : 1;
    if (one.target.empty() || one.source.empty()) {
      ++were.alone[one.source.empty() ? 1 : 0];
      continue;
    }
    ++were.changed;
    for (const std::size_t at : plan.changedColumns(one.source, one.target))
      ++were.changedValues[at];
  }
  std::array<RowWish, 2> wishes;
  for (const std::size_t side : {0U, 1U}) {
    auto condition = conditionOf(plan, side, batch);
    if (!condition) {
      for (const Kept& one : batch) observer.rowsDiffer(one.rows());
      return;
    }
    wishes[side].conditions.push_back(std::move(*condition));
  }
  const auto streamOf = [&](std::size_t side) {
    return [&, open = sides_[side]->rowsOf(plan, side, wishes[side])] {
      return std::make_unique<AskedRows>(open(), plan.layout(), keys);
    };
  };
  rows::RowStream source(streamOf(0), plan.layout(), [this] { sides_[0]->cancel(); });
  rows::RowStream target(streamOf(1), plan.layout(), [this] { sides_[1]->cancel(); });
  bool isWhole = false;
  const rows::RowCounts are = rows::compareRows(source, target, plan.pairing, observer, isWhole);
  table.counts.replace(were, are);
}

}  // namespace kelvane::cli
