#include "cli/verbs/data_progress.h"

#include <algorithm>
#include <cmath>

#include "model/text.h"

namespace kelvane::cli {
namespace {

constexpr std::int64_t kRowsBetweenLooks = 64;
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
  table_ = table;
  rowsOfTable_ = 0;
  if (line_.isShown()) show();
}

void DataProgress::rowsPassed(std::int64_t rows) {
  rows_ += rows;
  const std::int64_t before = rowsOfTable_;
  rowsOfTable_ += rows;
  if (before / kRowsBetweenLooks == rowsOfTable_ / kRowsBetweenLooks || !line_.isShown()) return;
  if (Clock::now() - shown_ >= kBetweenTexts) show();
}

std::optional<std::int64_t> DataProgress::rowsLeft() const {
  std::int64_t left = 0;
  for (std::size_t table = table_; table < tables_.size(); ++table) {
    const auto& rows = tables_[table].rows;
    if (!rows) return std::nullopt;
    left += table == table_ ? std::max<std::int64_t>(*rows - rowsOfTable_, 0) : *rows;
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
