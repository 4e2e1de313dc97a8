// A table whose rows are being compared, and who is told of those that differ.
//
// Lifetime: what it refers to outlives it. Threading: one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "cli/verbs/keyed_report.h"
#include "cli/verbs/resume_file.h"
#include "cli/verbs/row_sink.h"
#include "cli/verbs/second_look.h"

namespace kelvane::cli {

struct TableTask {
  std::size_t number;  // among all that are compared, 0-based
  KeyedTable& table;
  std::span<RowSink* const> sinks;
  std::size_t shown = 0;                      // samples
  std::optional<std::int64_t> expected = {};  // rows, about
  ResumeFile* resume = nullptr;               // null: nobody wants to know how far it came
  TableState state = {};                      // what was known before
  SecondLook* later = nullptr;                // null: what differs is told at once
  SecondLook::Rows kept = {};

  void begin() const;
  void end() const;
  void take(const rows::DifferingRows& rows);
  // Also of rows that were looked at once more.
  void tell(const rows::DifferingRows& rows);
  // From that value of the key's first column on, packed, rows are not compared yet. `counts`: of
  // those that this run compared.
  void keepPlace(std::string_view begin, const rows::RowCounts& counts);

 private:
  void keepSample(const rows::DifferingRows& rows);
};

}  // namespace kelvane::cli
