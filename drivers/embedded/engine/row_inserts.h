// Runs `insert ... values (literals)` without a tree: scripts that bring rows are made of little
// else, and each of their statements has other values.
//
// Belongs to one session and must not outlive it.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "drivers/embedded/engine/kept_plans.h"
#include "drivers/embedded/engine/outcome.h"
#include "drivers/embedded/engine/row_scanner.h"

namespace kelvane::embedded {

class Session;

class RowInserts {
 public:
  explicit RowInserts(Session& session);
  ~RowInserts();
  RowInserts(const RowInserts&) = delete;
  RowInserts& operator=(const RowInserts&) = delete;

  /// Runs a batch of nothing but such statements. Returns how many of its bytes have been run and
  /// need no other treatment: none of a batch with anything else in it, and none from a statement
  /// on that fails.
  std::size_t run(std::string_view batch, Outcome& outcome);

 private:
  struct Kept;

  RowTarget* targetFor(std::string_view head, Outcome& outcome);
  std::unique_ptr<Kept> makeTarget(std::string_view head, Outcome& outcome);
  bool serves(const Kept& kept) const;
  void insert(RowTarget& target, std::string_view batch, const RowLiteral* values,
              Outcome& outcome);

  Session& session_;
  /// By what stands before the first value.
  std::unordered_map<std::string, std::unique_ptr<Kept>> targets_;
  /// Of the batch at hand; kept for their memory.
  ScannedRows scanned_;
};

}  // namespace kelvane::embedded
