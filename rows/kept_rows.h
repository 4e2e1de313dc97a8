// Rows that differ and wait until somebody wants them: in memory, and in a file without a name when
// they become many.
//
// Lifetime: owns what it keeps. Threading: one thread at a time. Throws std::system_error.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "rows/spool.h"
#include "rows/unmatched_rows.h"

namespace kelvane::rows {

/// As one text, for a spool.
std::string recordOf(const DifferingRows& rows);
/// They refer to the record.
DifferingRows rowsOf(std::string_view record);

class KeptRows {
 public:
  void add(const DifferingRows& rows) { spool_.add(list_, recordOf(rows)); }
  /// In the order in which they came.
  void forEach(const std::function<void(const DifferingRows&)>& take) {
    spool_.forEach(list_, [&](std::string_view record) { take(rowsOf(record)); });
  }

 private:
  Spool spool_;
  Spool::List list_;
};

}  // namespace kelvane::rows
