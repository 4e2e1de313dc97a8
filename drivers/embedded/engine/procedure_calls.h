// Calls: procedures of the server, those that a script stored, and texts made at run time.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "drivers/embedded/engine/frame.h"
#include "drivers/embedded/engine/outcome.h"
#include "drivers/embedded/engine/reporter.h"
#include "drivers/embedded/tsql/ast/calls.h"
#include "drivers/embedded/tsql/ast/routines.h"

namespace kelvane::embedded {

class ProcedureCalls {
 public:
  ProcedureCalls(Frame& frame, Reporter& reporter) : frame_(frame), reporter_(reporter) {}

  /// What the procedure gives goes to `outcome`.
  void call(const tsql::Execute& execute, Outcome& outcome);
  void callText(const tsql::ExecuteImmediate& execute, Outcome& outcome);

 private:
  using Arguments = std::vector<const tsql::ExecuteArgument*>;
  void giveOutput(const tsql::Execute& execute, const ProcedureResult::Output& output);
  void callStored(const tsql::Execute& execute, const std::string& database,
                  const ObjectInfo& procedure, Outcome& outcome);
  struct Called {
    const std::vector<tsql::Parameter>& parameters;
    const std::string& name;
    std::uint32_t line;  ///< of the call
  };
  static Arguments argumentsFor(const Called& procedure, const tsql::Execute& execute);
  void setParameters(const Called& procedure, const Arguments& arguments, Frame& body);
  void callSystem(const tsql::Execute& execute, const tsql::ObjectName& called, Outcome& outcome);

  Frame& frame_;
  Reporter& reporter_;
  Session& session_{frame_.session()};
  Server& server_{frame_.server()};
};

/// The result of a function of the schema. What goes wrong inside is thrown.
Cell callFunction(Session& session, int functionId, const Row& arguments);

}  // namespace kelvane::embedded
