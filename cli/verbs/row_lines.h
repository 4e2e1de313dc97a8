// Rows that differ as JSON lines or CSV, written while they are found.
//
// Lifetime: the stream outlives it. Threading: one thread.
#pragma once

#include <ostream>
#include <set>
#include <string>

#include "cli/verbs/row_sink.h"

namespace kelvane::cli {

enum class RowLineFormat { jsonLines, csv };

// Throws CommandError where writing fails, which ends the comparison; where its reader has had
// enough, nothing more is written.
class RowLines final : public RowSink {
 public:
  RowLines(const Console& console, RowLineFormat format);

  void tableBegins(const KeyedTable& table) override;
  void rowsDiffer(const KeyedTable& table, const rows::DifferingRows& rows) override;
  void tableEnds(const KeyedTable& table) override;
  // Tables that were not compared, gaps, and whether that was all.
  void finish(const KeyedReport& report);

 private:
  void writeEnd(const KeyedTable& table);
  void requireWritten();

  const Console& console_;
  std::ostream& out_;
  bool isLeft_ = false;  // nobody reads any more
  RowLineFormat format_;
  std::set<std::string> ended_;
};

}  // namespace kelvane::cli
