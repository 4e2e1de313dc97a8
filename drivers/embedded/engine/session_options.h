// `set` options; they stay for the session.
//
// Plain values.
#pragma once

#include <cstdint>
#include <string>

namespace kelvane::embedded {

struct SessionOptions {
  bool noCount = false;
  /// Whether nothing is equal to null.
  bool ansiNull = false;
  /// Whether a text that a column would cut is refused.
  bool stringRtruncation = false;
  /// Whether an overflow or a division by zero undoes the transaction and ends the batch, not the
  /// statement alone.
  bool arithAbort = true;
  /// Whether an assignment refuses to lose digits behind the point.
  bool numericTruncation = true;
  /// Whether statements other than `set` are only compiled, or only parsed.
  bool noExec = false, parseOnly = false;
  /// Whether queries give the columns of their results without rows, and nothing else is done.
  bool formatOnly = false;
  std::int64_t isolation = 1;
  std::int64_t textSize = 32768;
  std::uint64_t rowLimit = 0;
  std::string identityInsertTable;
  std::string identityUpdateTable;
};

}  // namespace kelvane::embedded
