// The walk over a category's objects: events, cancellation, and the detail reads that the switches
// ask for.
#include <initializer_list>

#include "reader/categories.h"
#include "reader/procedures.h"

namespace kelvane::reader {
namespace {

// A detail of an object and the switch that asks for it.
template <class Record>
struct Detail {
  Boolean cComparisonOptions::*enabled;
  Status (*read)(FetchContext&, Record&);
};

// The object is looked up anew after each yield: a handler of the host may have started another
// read, which replaces the arrays.
template <class Record>
bool readDetails(FetchContext& context, const Category<Record>& category,
                 std::initializer_list<Detail<Record>> details, std::int32_t position) {
  for (const Detail<Record>& detail : details) {
    context.host->DoEvents();
    if (!(context.options().*detail.enabled)) continue;
    if (detail.read(context, (context.schema.*category.objects)[position]) == kFailed) return false;
  }
  return true;
}

template <class Record>
bool processDetails(FetchContext& context, const Category<Record>& category,
                    Status (*listAll)(FetchContext&), void (*addOfScope)(FetchContext&),
                    std::initializer_list<Detail<Record>> details) {
  return process(
      context, category, [&] { return listAll(context); }, [&] { addOfScope(context); },
      [&](std::int32_t position) { return readDetails(context, category, details, position); });
}

}  // namespace

bool ProcessTables(FetchContext& context) {
  return processDetails<Table>(context, kTables, PopulateTableList, AddTablesOfScope,
                               {{&cComparisonOptions::Tables_Columns, PopulateTableColumns},
                                {&cComparisonOptions::Tables_PrimaryKeys, PopulateTablePrimaryKeys},
                                {&cComparisonOptions::Tables_ForeignKeys, PopulateTableForeignKeys},
                                {&cComparisonOptions::Tables_Indexes, PopulateIndexes},
                                {&cComparisonOptions::Tables_Triggers, PopulateTableTriggers},
                                {&cComparisonOptions::Tables_RowCount, PopulateTableRowCount}});
}

bool ProcessViews(FetchContext& context) {
  return processDetails<View>(context, kViews, PopulateViewList, AddViewsOfScope,
                              {{&cComparisonOptions::Views_Columns, PopulateViewColumns},
                               {&cComparisonOptions::Views_Definition, PopulateViewDefinition}});
}

bool ProcessStoredProcs(FetchContext& context) {
  return processDetails<StoredProc>(
      context, kStoredProcs, PopulateStoredProcList, AddStoredProcsOfScope,
      {{&cComparisonOptions::StoredProcs_Columns, PopulateStoredProcColumns},
       {&cComparisonOptions::StoredProcs_Definition, PopulateStoredProcDefinition}});
}

bool ProcessFunctions(FetchContext& context) {
  return processDetails<CodeFunction>(
      context, kFunctions, PopulateFunctionList, AddFunctionsOfScope,
      {{&cComparisonOptions::Functions_Columns, PopulateFunctionColumns},
       {&cComparisonOptions::Functions_Definition, PopulateFunctionDefinition}});
}

bool ProcessUDDTs(FetchContext& context) {
  return processDetails<UDDT>(context, kUDDTs, PopulateUDDTList, AddUDDTsOfScope,
                              {{&cComparisonOptions::UDDTs_Definition, PopulateUDDTColumns}});
}

bool ProcessUsers(FetchContext& context) {
  return processDetails<User>(
      context, kUsers, PopulateUserList, AddUsersOfScope,
      {{&cComparisonOptions::Users_ObjectPermissions, PopulateUserPermissions_ObjectPriviliges},
       {&cComparisonOptions::Users_SystemPermissions, PopulateUserPermissions_SystemPriviliges}});
}

bool ProcessGroups(FetchContext& context) {
  return processDetails<Group>(
      context, kGroups, PopulateGroupList, AddGroupsOfScope,
      {{&cComparisonOptions::Groups_ObjectPermissions, PopulateGroupPermissions_ObjectPriviliges},
       {&cComparisonOptions::Groups_SystemPermissions, PopulateGroupPermissions_SystemPriviliges},
       {&cComparisonOptions::Groups_Users, PopulateGroupUsers}});
}

}  // namespace kelvane::reader
