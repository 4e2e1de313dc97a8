// Which objects of each kind take part: all of them, or those named in a list.
//
// Lifetime: made by a host or a reader, shared with whoever it is given to. Threading: one thread
// at a time.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "model/boolean.h"

namespace kelvane {

// Object names, each written as owner.name or as a bare name.
using NameList = std::vector<std::u16string>;

// Lists are references: unset until the host sets them, and seen by everyone who holds the object.
class cAppliesTo {
 public:
  std::shared_ptr<NameList> SomeTables;
  std::shared_ptr<NameList> SomeStoredProcs;
  std::shared_ptr<NameList> SomeViews;
  std::shared_ptr<NameList> SomeGroups;
  std::shared_ptr<NameList> SomeUsers;
  std::shared_ptr<NameList> SomeUDDTs;
  std::shared_ptr<NameList> SomeFunctions;
  Boolean AllFunctions;
  Boolean AllUDDTs;
  Boolean AllUsers;
  Boolean AllGroups;
  Boolean AllViews;
  Boolean AllStoredProcs;
  Boolean AllTables;
};

}  // namespace kelvane
