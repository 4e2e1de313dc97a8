#include "cli/verbs/freed_values.h"

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <variant>

#include "model/text.h"

namespace kelvane::cli {
namespace {

// Beyond it nobody counts any more.
constexpr std::size_t kMostValues = 1'000'000;

// Whether an index keeps rows apart that have other keys of the plan.
bool isOtherKey(const inventory::IndexStorage& index, const rows::TablePlan& plan) {
  if (!plan.hasKey()) return true;
  std::set<std::string_view> key, columns;
  for (std::size_t at = 0; at < plan.pairing.keyColumns; ++at)
    key.insert(plan.targetColumns[at]->name);
  for (const inventory::KeyColumn& column : index.columns) columns.insert(column.name);
  return !std::ranges::includes(columns, key);
}

// The same for values that a server might take for the same.
std::string comparable(const rows::Cell& cell) {
  std::u16string storage;
  const ado::Value value = rows::valueOf(cell, storage);
  const auto* const text = std::get_if<std::u16string_view>(&value);
  if (text == nullptr)
    return std::string(1, static_cast<char>(cell.kind)) + std::string(cell.content);
  return toUtf8(foldCase(text->substr(0, text->find_last_not_of(u' ') + 1)));
}

}  // namespace

FreedValues::FreedValues(const rows::TablePlan& plan, const inventory::Table& table,
                         bool ignoresCase)
    : plan_(&plan) {
  for (const inventory::KeyConstraint& key : table.keys) {
    if (ignoresCase || isOtherKey(key, plan)) addKey(key);
  }
  for (const inventory::Index& index : table.indexes) {
    if (index.unique && (ignoresCase || isOtherKey(index, plan))) addKey(index);
  }
}

void FreedValues::addKey(const inventory::IndexStorage& index) {
  std::vector<std::size_t>& key = keys_.emplace_back();
  for (const inventory::KeyColumn& column : index.columns) {
    const auto found =
        std::ranges::find(plan_->targetColumns, column.name, &inventory::Column::name);
    if (column.isExpression || found == plan_->targetColumns.end())
      isUnknown_ = true;
    else
      key.push_back(static_cast<std::size_t>(found - plan_->targetColumns.begin()));
  }
}

void FreedValues::add(const rows::DifferingRows& rows) {
  if (keys_.empty() || isUnknown_) return;
  if (rows.source.empty())
    add(rows.target, freed_);
  else
    add(rows.source, taken_);
  if (freed_.size() + taken_.size() > kMostValues) isUnknown_ = true;
}

void FreedValues::add(std::string_view row, std::unordered_set<std::uint64_t>& values) {
  const std::vector<rows::Cell> cells = plan_->cellsOf(row);
  for (std::size_t key = 0; key < keys_.size(); ++key) {
    std::string text = std::to_string(key);
    for (const std::size_t at : keys_[key]) {
      const std::string value = comparable(cells[at]);
      text += ' ' + std::to_string(value.size()) + ' ' + value;
    }
    values.insert(std::hash<std::string>{}(text));
  }
}

bool FreedValues::areTaken() const {
  if (isUnknown_) return true;
  return std::ranges::any_of(taken_, [&](std::uint64_t value) { return freed_.contains(value); });
}

}  // namespace kelvane::cli
