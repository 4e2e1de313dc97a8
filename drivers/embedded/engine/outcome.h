// What a batch hands to whoever sent it, in the order in which it arises.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "drivers/embedded/catalog/result.h"

namespace kelvane::embedded {

/// A message and where it comes from.
struct Notice {
  ServerMessage message;
  std::uint32_t line = 0;  ///< in the batch; 0 when unknown
  /// The batch was refused before any of it ran.
  bool refused = false;
  /// The statement only removes something, and what it removes is not there.
  bool alreadyGone = false;
  /// The statement, or a part of it, was accepted but leaves no trace in the catalog.
  bool ignored = false;
  /// The view, with its owner, that was kept although its columns are not known.
  std::string withoutColumns = {};

  bool isError() const { return message.severity > 10; }
};

class Outcome {
 public:
  virtual ~Outcome() = default;

  virtual void beginRows(const std::vector<ResultColumn>& columns) = 0;
  virtual void row(Row row) = 0;
  /// A statement without rows that reports how many it changed.
  virtual void count(std::int64_t rows) = 0;
  virtual void notice(const Notice& notice) = 0;
  /// Around what a procedure gives, for those whom it concerns. One that ends the batch has no end.
  virtual void beginProcedure(const std::string& /*name*/) {}
  virtual void endProcedure(int /*status*/) {}
};

}  // namespace kelvane::embedded
