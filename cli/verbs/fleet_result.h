// What a comparison of many databases with one reference found, and how it is written.
//
// Lifetime: plain values. Threading: free functions without state.
#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "cli/screen/console.h"
#include "cli/verbs/compared_group.h"
#include "drivers/embedded/made_object.h"
#include "report/compared_target.h"

namespace kelvane::cli {

using report::ComparedTarget;
using report::Outcome;

ExitStatus statusOf(const ComparedTarget& target);

struct FleetGroup {
  std::vector<std::size_t> targets;  // places in FleetResult::targets
};

struct FleetResult {
  std::string reference;
  std::vector<ComparedTarget> targets;  // as on the command line
  bool wasInterrupted = false;
  std::list<std::vector<report::ObjectName>> objects = {};  // what ComparedTarget::objects are
  // By ComparedTarget::signature, of the first target, where pages or scripts want it.
  std::map<std::string, std::unique_ptr<ComparedGroup>> compared = {};
  std::vector<embedded::MadeObject> made = {};  // by scripts of the reference, where asked for

  // Those that differ, by what differs: the largest first.
  std::vector<FleetGroup> groups() const;
  // The worst of all: an error, then what is not proven, then differences.
  ExitStatus status() const;
};

void writeText(const FleetResult& result, std::ostream& out);
void writeJson(const FleetResult& result, std::ostream& out);

}  // namespace kelvane::cli
