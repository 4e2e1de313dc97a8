// What a batch says to its client: counts, messages and errors.
//
// Refers to the frame and the outcome, which must outlive it.
#pragma once

#include <cstdint>
#include <string>

#include "drivers/embedded/engine/frame.h"
#include "drivers/embedded/engine/outcome.h"
#include "drivers/embedded/tsql/ast/control_flow.h"
#include "drivers/embedded/tsql/error.h"

namespace kelvane::embedded {

/// Ends the batch after its error has been reported.
struct BatchEnded {};

class Reporter {
 public:
  Reporter(Frame& frame, Outcome& outcome) : frame_(frame), outcome_(outcome) {}

  Outcome& outcome() { return outcome_; }

  /// So many rows have been changed.
  void changed(std::int64_t rows);
  /// Something was accepted but leaves no trace.
  void ignored(const std::string& what);
  /// Texts of the statement have lost characters.
  void cut();
  void print(const tsql::Print& print);
  void raiseError(const tsql::RaiseError& raise);
  /// Tells the client; true when it only says that what was to be removed is not there.
  bool tell(const tsql::Statement& statement, const tsql::ServerError& error);
  /// The same, and throws BatchEnded where the batch does not go on.
  void report(const tsql::Statement& statement, const tsql::ServerError& error);
  /// The batch does not run at all. `isAlone`: it has no statement but the one at hand.
  void refused(const tsql::ServerError& error, bool isAlone);

 private:
  Frame& frame_;
  Outcome& outcome_;
  Session& session_{frame_.session()};
};

}  // namespace kelvane::embedded
