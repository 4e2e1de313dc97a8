// Tells in the status line how far a comparison of table data has come.
//
// Lifetime: the status line outlives it; what it shows vanishes when it goes. Threading: any, but
// for rowPassed(), which one thread calls.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/screen/status_line.h"

namespace kelvane::cli {

// A table that is to be compared.
struct ExpectedTable {
  std::u16string name;
  std::optional<std::int64_t> rows;  // about; none where nobody knows
};

// "18000 rows/s, 2 min left": the second part only where `rowsLeft` is known.
std::u16string paceText(std::int64_t rows, double seconds, std::optional<std::int64_t> rowsLeft);

class DataProgress {
 public:
  DataProgress(StatusLine& line, std::vector<ExpectedTable> tables)
      : line_(line), tables_(std::move(tables)) {}
  ~DataProgress() { line_.show(kName, {}); }
  DataProgress(const DataProgress&) = delete;
  DataProgress& operator=(const DataProgress&) = delete;

  void tableBegins(std::size_t table);  // 0-based, in this order; those before it may go on
  void tableEnds(std::size_t table);
  void rowsPassed(std::size_t table, std::int64_t rows);
  // Of the table that began last.
  void rowPassed() {
    if (++waiting_ == kRowsAtOnce) rowsPassed(table_, std::exchange(waiting_, 0));
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::string_view kName = "data";
  static constexpr std::int64_t kRowsAtOnce = 64;

  std::optional<std::int64_t> rowsLeft() const;
  void show();

  StatusLine& line_;
  std::mutex mutex_;
  std::vector<ExpectedTable> tables_;  // with the rows that are left
  std::size_t table_ = 0;
  std::int64_t rows_ = 0, waiting_ = 0;
  Clock::time_point begin_ = Clock::now(), shown_ = begin_;
};

}  // namespace kelvane::cli
