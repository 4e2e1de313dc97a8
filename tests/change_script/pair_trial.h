// What goes wrong with the change script of a pair of databases whose target has rows.
#pragma once

#include <string>

#include "tests/change_script/made_pairs.h"
#include "tests/change_script/trial.h"

namespace kelvane::change_script {

struct PairTrial {
  Release release;
  std::string allow;  ///< words, "all" or none
  unsigned seed;      ///< where the script is stopped, to be started again
};

/// None: all is well. A line each, the kind of the fault first: "rows: ...".
Lines faultsOf(const MadePair& pair, const PairTrial& trial);

/// As little of the pair as has the same first fault.
MadePair reduced(MadePair pair, const PairTrial& trial);

/// Both scripts, the change script and the faults.
std::string shown(const MadePair& pair, const PairTrial& trial);

}  // namespace kelvane::change_script
