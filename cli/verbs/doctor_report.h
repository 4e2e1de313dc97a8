// What `kelvane doctor` found, as a text that its user can send to others.
//
// Lifetime: refers to nothing that outlives a call. Threading: free functions without state.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "inventory/publish/agreement.h"
#include "inventory/records.h"

namespace kelvane::cli {

struct TimedStep {
  std::string what;
  std::chrono::steady_clock::duration time{};
};

struct Diagnosis {
  inventory::Database database;
  bool isServer = false;
  bool complete = true;        // false when a script could not be loaded completely
  std::size_t statements = 0;  // that the catalog reader sent
  std::vector<TimedStep> steps;
  std::optional<inventory::Agreement> agreement;  // none: not asked for
  std::size_t askedStatements = 0;                // that the other reader sent
  std::chrono::steady_clock::duration askedTime{};
};

// Without `names` no name of the database's owner stands in it: of objects, users, the database.
void writeDiagnosis(const Diagnosis& diagnosis, bool names, std::ostream& out);

}  // namespace kelvane::cli
