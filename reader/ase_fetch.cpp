#include "reader/ase_fetch.h"

#include "reader/procedures.h"

namespace kelvane {

bool cASE_Fetch::begin() {
  reader::ReadServerVersion(context_);
  reader::PopulateCaseSensitivity(context_);
  return true;
}

bool cASE_Fetch::process(enumEntityType category) {
  switch (category) {
    case entity_TABLE:
      return reader::ProcessTables(context_);
    case entity_VIEW:
      return reader::ProcessViews(context_);
    case entity_STOREDPROC:
      return reader::ProcessStoredProcs(context_);
    case entity_FUNCTION:
      return reader::ProcessFunctions(context_);
    case entity_UDDT:
      return reader::ProcessUDDTs(context_);
    case entity_USER:
      return reader::ProcessUsers(context_);
    case entity_GROUP:
      return reader::ProcessGroups(context_);
  }
  return false;
}

}  // namespace kelvane
