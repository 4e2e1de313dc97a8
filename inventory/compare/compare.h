// Compares what two databases declare.
//
// Free functions. Threading: none; the databases are only read.
#pragma once

#include <vector>

#include "inventory/compare/changes.h"
#include "inventory/families.h"
#include "inventory/records.h"
#include "model/text.h"

namespace kelvane::inventory {

struct Rules {
  /// How names are compared: as the servers do it, unless the user says otherwise.
  CaseMode names = CaseMode::exact;
  Families compared = usualFamilies();
  // What does not count in definitions.
  bool ignoreTabs = false;
  bool ignoreSpaces = false;
  bool ignoreLineBreaks = false;
  bool ignoreComments = false;
  bool ignoreDefinitionCase = false;

  bool compares(Family family) const { return compared.test(static_cast<std::size_t>(family)); }
};

/// The objects that differ, by kind and in the order of the source; those that only the target has
/// come behind. Equal names of constraints that the servers made do not count, nor do other names
/// of those: they are matched by what they say.
std::vector<Change> compare(const Database& source, const Database& target,
                            const Rules& rules = {});

}  // namespace kelvane::inventory
