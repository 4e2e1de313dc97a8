// Who made a difference: two databases that come from one, and what each has changed since.
//
// Lifetime: results refer to the databases of the changes that they come from. Threading: free
// functions without state.
#pragma once

#include <vector>

#include "inventory/compare/changes.h"
#include "model/text.h"

namespace kelvane::findings {

struct ThreeWays {
  using Changes = std::vector<inventory::Change>;
  // Of source and target, each difference in one of them.
  Changes bySource, byTarget;
  Changes conflicts;  ///< both changed it, and not alike
  Changes alike;      ///< of base and source: both made the same change
};

/// `changes`: of source and target; `ofSource`: of base and source; `ofTarget`: of base and target.
/// What is on one side alone has been changed by whoever created or dropped it, or changed anything
/// within it that the other one dropped. `names`: how names are compared.
ThreeWays threeWays(const ThreeWays::Changes& changes, const ThreeWays::Changes& ofSource,
                    const ThreeWays::Changes& ofTarget, CaseMode names);

/// Takes the differences of `known` out of `changes`, whatever their values are.
ThreeWays::Changes without(ThreeWays::Changes changes, const ThreeWays::Changes& known,
                           CaseMode names);

}  // namespace kelvane::findings
