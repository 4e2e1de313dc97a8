// Two databases that differ here and there, as scripts, with rows for the tables of the target.
//
// Lifetime: plain values. Threading: none of their own.
#pragma once

#include <string>
#include <vector>

#include "drivers/embedded/connection.h"

namespace kelvane::change_script {

struct MadePair {
  std::vector<std::string> source, target;  ///< batches; some may not load, and do no harm
};

/// The same for the same seed. What differs, and how much, depends on it.
MadePair madePair(unsigned seed, embedded::Release release);

}  // namespace kelvane::change_script
