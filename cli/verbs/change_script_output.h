// The script that makes the target of a comparison like its source, as every verb that writes one
// makes it: planned, tried on a copy of the target, with a head that says what came of that.
//
// Lifetime: the requests and the comparison outlive it. Threading: one thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "change_script/steps.h"
#include "change_script/write.h"
#include "cli/screen/console.h"
#include "cli/verbs/comparison.h"
#include "cli/words/compare_request.h"
#include "cli/words/script_request.h"

namespace kelvane::cli {

class ChangeScriptOutput {
 public:
  // The comparison has been made, and has left out what is accepted.
  ChangeScriptOutput(const CompareRequest& request, const ScriptRequest& wanted,
                     const Comparison& comparison);

  const change_script::ChangeScript& script() const { return script_; }
  // All of it, with its head.
  std::string text() const { return textOf(head()); }
  // The same as data, which docs/script.schema.json describes.
  std::string json() const;
  // What is tried: all of it without the head, by statements of that release, beside these roles.
  std::string body() const { return textOf({}); }
  std::optional<inventory::TargetRelease> release() const { return options_.release; }
  std::vector<inventory::Role> rolesOfServer() const;
  // What the head says of all of it, a line each.
  std::vector<std::string> summary() const;
  // What could not be tried, what has no statement, and which steps are not done.
  void complain(const Console& console) const;
  // Whether each difference has a step, and each step is done.
  bool isAllDone() const;
  // Whether it could not be tried, or leaves what it should have ended.
  bool hasFailed() const;

 private:
  std::string textOf(const change_script::Head& head) const;
  void tryOut();
  void findDamage();
  bool isProved() const { return isTried_ && left_.empty(); }
  change_script::Head head() const;

  const CompareRequest& request_;
  const Comparison& comparison_;
  change_script::PlanOptions options_;
  bool checksDatabase_;
  change_script::ChangeScript script_;
  bool isTried_ = false;
  std::vector<std::string> obstacles_;  // why it is not, a line each
  inventory::Database result_;
  Comparison::Changes left_;
};

}  // namespace kelvane::cli
