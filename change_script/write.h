// Steps as T-SQL for isql and other tools that know `go`.
//
// Free functions without state.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "change_script/steps.h"

namespace kelvane::change_script {

/// What stands at the top, a line each, and what is not done.
struct Head {
  std::vector<std::string> lines;
  /// Whether the script stops in a database that does not allow copies of data, where it makes
  /// some.
  bool checksOptions = false;
  std::string database = {};  ///< the only one in which the script runs; none: any
};

/// The steps in their order, each behind a comment with the difference that it ends. One that is
/// not allowed is a comment.
void write(const ChangeScript& script, const Head& head, std::ostream& out);

/// What stands in the script for each of its steps, without the headings of stages.
std::vector<std::string> writtenSteps(const ChangeScript& script);

/// "drop-column,narrow", as --allow takes them.
std::string listed(const std::vector<Danger>& dangers);

/// "it needs --allow drop-column,narrow", "it needs a step that cannot be done"
std::string whyNot(const Step& step);

}  // namespace kelvane::change_script
