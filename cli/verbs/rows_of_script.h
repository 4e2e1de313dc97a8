// The rows behind a script for the schema: those of the source, for tables as they are when the
// script has run.
//
// Lifetime: what it is made with outlives it. Threading: one thread.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "cli/screen/console.h"
#include "cli/sides/reading.h"
#include "cli/verbs/change_script_output.h"
#include "cli/verbs/comparison.h"
#include "cli/verbs/row_script.h"
#include "cli/words/compare_request.h"
#include "cli/words/row_script_request.h"

namespace kelvane::cli {

struct ScriptedRows {
  std::vector<std::u16string> tables;  // patterns
  RowScriptRequest request;
};

class RowsOfScript {
 public:
  // Opens both sides again, copies what the script concerns, with the rows of the tables and of
  // those that they are linked with, runs the script there, and compares. Throws CommandError.
  RowsOfScript(const ScriptedRows& wanted, const CompareRequest& request,
               const std::vector<change_script::Rename>& renames, const Comparison& comparison,
               const ChangeScriptOutput& schema, const Console& console, const OpenSide& open);

  void writeTo(std::ostream& out);
  // kDifferences where something is left out, kNotProven as for all scripts of rows.
  ExitStatus tell(const Console& console) const;

 private:
  bool isWanted(const inventory::QualifiedName& name) const;
  std::vector<const inventory::Table*> copied() const;
  void compare(const ChangeScriptOutput& schema, const Console& console, const OpenSide& open);

  const ScriptedRows& wanted_;
  const CompareRequest& request_;
  const std::vector<change_script::Rename>& renames_;
  const Comparison& comparison_;
  std::vector<std::string> obstacles_;  // why there are no rows, a line each
  std::vector<std::string> gaps_;       // what could not be read
  RowScript script_;
};

}  // namespace kelvane::cli
