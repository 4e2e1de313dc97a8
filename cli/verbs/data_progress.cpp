#include "cli/verbs/data_progress.h"

#include <algorithm>
#include <cmath>

#include "model/text.h"

namespace kelvane::cli {
namespace {

constexpr auto kBetweenTexts = std::chrono::milliseconds(200);

std::u16string durationText(double seconds) {
  struct Unit {
    double seconds;
    std::u16string_view name;
  };
  // Each up to twice the next one, so that no digit is lost that matters.
  for (const auto& [length, name] : {Unit{3600, u" h"}, Unit{60, u" min"}}) {
    if (seconds >= 2 * length)
      return decimalText(std::llround(seconds / length)) + std::u16string(name);
  }
  return decimalText(std::llround(seconds)) + u" s";
}

}  // namespace

std::u16string paceText(std::int64_t rows, double seconds, std::optional<std::int64_t> rowsLeft) {
  if (seconds <= 0 || rows <= 0) return {};
  const double rate = static_cast<double>(rows) / seconds;
  std::u16string text = decimalText(std::llround(rate)) + u" rows/s";
  if (rowsLeft) text += u", " + durationText(static_cast<double>(*rowsLeft) / rate) + u" left";
  return text;
}

void DataProgress::tableBegins(std::size_t table) {
  const std::lock_guard lock(mutex_);
  table_ = table;
  waiting_ = 0;
  if (line_.isShown()) show();
}

void DataProgress::tableEnds(std::size_t table) {
  const std::lock_guard lock(mutex_);
  tables_[table].rows = 0;
}

void DataProgress::rowsPassed(std::size_t table, std::int64_t rows) {
  const std::lock_guard lock(mutex_);
  rows_ += rows;
  auto& left = tables_[table].rows;
  if (left) left = std::max<std::int64_t>(*left - rows, 0);
  if (line_.isShown() && Clock::now() - shown_ >= kBetweenTexts) show();
}

std::optional<std::int64_t> DataProgress::rowsLeft() const {
  std::int64_t left = 0;
  for (const ExpectedTable& table : tables_) {
    if (!table.rows) return std::nullopt;
    left += *table.rows;
  }
  return left;
}

void DataProgress::show() {
  shown_ = Clock::now();
  const double seconds = std::chrono::duration<double>(shown_ - begin_).count();
  const std::u16string pace = paceText(rows_, seconds, rowsLeft());
  line_.show(kName, decimalText(static_cast<std::int64_t>(table_ + 1)) + u" of " +
                        decimalText(static_cast<std::int64_t>(tables_.size())) +
                        (pace.empty() ? u"" : u", " + pace) + u": " + tables_[table_].name);
}

}  // namespace kelvane::cli
