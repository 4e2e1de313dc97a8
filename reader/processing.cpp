// The walk over a category's objects: events, cancellation, and the detail reads that the switches
// ask for.
#include <cmath>
#include <vector>

#include "reader/procedures.h"

namespace kelvane::reader {
namespace {

// A detail of an object and the switch that asks for it.
template <class Record>
struct Detail {
  Boolean cComparisonOptions::*enabled;
  Status (*read)(FetchContext&, Record&);
};

// How one category is read.
template <class Record>
struct Category {
  enumEntityType kind;
  std::u16string_view procedure;
  Boolean cAppliesTo::*all;
  Status (*list)(FetchContext&);
  void (*addOfScope)(FetchContext&);
  Array<Record> Schema::*objects;
  std::u16string_view startText;
  enumObjectType objectType;
  std::u16string_view objectText;
  std::vector<Detail<Record>> details;
};

std::int16_t percent(std::int32_t position, std::int32_t count) {
  // nearbyint rounds halves to the even neighbour: 1 of 8 is 12.
  return static_cast<std::int16_t>(std::nearbyint(static_cast<double>(position) / count * 100.0));
}

// The object is looked up anew after each yield: a handler of the host may have started another
// read, which replaces the arrays.
template <class Record>
bool readDetails(FetchContext& context, const Category<Record>& category, std::int32_t position) {
  for (const Detail<Record>& detail : category.details) {
    context.host->DoEvents();
    if (!(context.options().*detail.enabled)) continue;
    if (detail.read(context, (context.schema.*category.objects)[position]) == kFailed) return false;
  }
  return true;
}

void keepExtent(FetchContext& context, enumEntityType kind, std::int32_t position, bool isWhole) {
  std::vector<bool>& complete = context.extent[kind].complete;
  const auto count = static_cast<std::size_t>(position);
  if (complete.size() < count) complete.resize(count);
  complete[count - 1] = isWhole;
}

template <class Record>
bool process(FetchContext& context, const Category<Record>& category) {
  return context.trapped(category.procedure, false, [&] {
    if (context.scope().*category.all) {
      if (category.list(context) == kFailed) return false;
    } else {
      context.allRead = true;
      category.addOfScope(context);
      context.extent[category.kind].listed = context.allRead;
      ++context.listings[category.kind];
    }
    const std::uint32_t listing = context.listings[category.kind];
    context.events->StartProcessing(std::u16string(category.startText), True, category.objectType);
    const Array<Record>& objects = context.schema.*category.objects;
    const std::int32_t count = objects.count();
    for (std::int32_t position = 1; position <= count; ++position) {
      context.host->DoEvents();
      if (context.cancelled) break;
      context.events->Processing(std::u16string(category.objectText) + objects[position].Name,
                                 percent(position, count), OBJECT_IRRELEVANT);
      context.host->DoEvents();
      context.allRead = true;
      if (!readDetails(context, category, position)) return false;
      // A handler's own call empties objects of the kind that it lists, or reads them twice.
      const bool isUndisturbed = context.listings[category.kind] == listing;
      keepExtent(context, category.kind, position, context.allRead && isUndisturbed);
    }
    context.events->EndProcessing(category.objectType);
    return true;
  });
}

}  // namespace

bool ProcessTables(FetchContext& context) {
  return process<Table>(context,
                        {entity_TABLE,
                         u"ProcessTables",
                         &cAppliesTo::AllTables,
                         PopulateTableList,
                         AddTablesOfScope,
                         &Schema::Tables,
                         u"Retrieving Table Data",
                         OBJECT_TABLE,
                         u"Retrieving properties for Table ",
                         {{&cComparisonOptions::Tables_Columns, PopulateTableColumns},
                          {&cComparisonOptions::Tables_PrimaryKeys, PopulateTablePrimaryKeys},
                          {&cComparisonOptions::Tables_ForeignKeys, PopulateTableForeignKeys},
                          {&cComparisonOptions::Tables_Indexes, PopulateIndexes},
                          {&cComparisonOptions::Tables_Triggers, PopulateTableTriggers},
                          {&cComparisonOptions::Tables_RowCount, PopulateTableRowCount}}});
}

bool ProcessViews(FetchContext& context) {
  return process<View>(context,
                       {entity_VIEW,
                        u"ProcessViews",
                        &cAppliesTo::AllViews,
                        PopulateViewList,
                        AddViewsOfScope,
                        &Schema::Views,
                        u"Retrieving View Data",
                        OBJECT_VIEW,
                        u"Retrieving properties for View ",
                        {{&cComparisonOptions::Views_Columns, PopulateViewColumns},
                         {&cComparisonOptions::Views_Definition, PopulateViewDefinition}}});
}

bool ProcessStoredProcs(FetchContext& context) {
  return process<StoredProc>(
      context, {entity_STOREDPROC,
                u"ProcessStoredProcs",
                &cAppliesTo::AllStoredProcs,
                PopulateStoredProcList,
                AddStoredProcsOfScope,
                &Schema::StoredProcs,
                u"Retrieving Stored Procedure Data",
                OBJECT_STOREDPROC,
                u"Retrieving properties for Stored Procedure ",
                {{&cComparisonOptions::StoredProcs_Columns, PopulateStoredProcColumns},
                 {&cComparisonOptions::StoredProcs_Definition, PopulateStoredProcDefinition}}});
}

bool ProcessFunctions(FetchContext& context) {
  return process<CodeFunction>(
      context, {entity_FUNCTION,
                u"ProcessFunctions",
                &cAppliesTo::AllFunctions,
                PopulateFunctionList,
                AddFunctionsOfScope,
                &Schema::Functions,
                u"Retrieving Function Data",
                OBJECT_FUNCTION,
                u"Retrieving properties for Function ",
                {{&cComparisonOptions::Functions_Columns, PopulateFunctionColumns},
                 {&cComparisonOptions::Functions_Definition, PopulateFunctionDefinition}}});
}

bool ProcessUDDTs(FetchContext& context) {
  return process<UDDT>(context, {entity_UDDT,
                                 u"ProcessUDDTs",
                                 &cAppliesTo::AllUDDTs,
                                 PopulateUDDTList,
                                 AddUDDTsOfScope,
                                 &Schema::UDDTs,
                                 u"Retrieving UDDT Data",
                                 OBJECT_UDDT,
                                 u"Retrieving properties for UDDT ",
                                 {{&cComparisonOptions::UDDTs_Definition, PopulateUDDTColumns}}});
}

bool ProcessUsers(FetchContext& context) {
  return process<User>(
      context,
      {entity_USER,
       u"ProcessUsers",
       &cAppliesTo::AllUsers,
       PopulateUserList,
       AddUsersOfScope,
       &Schema::Users,
       u"Retrieving User Data",
       OBJECT_USER,
       u"Retrieving properties for User ",
       {{&cComparisonOptions::Users_ObjectPermissions, PopulateUserPermissions_ObjectPriviliges},
        {&cComparisonOptions::Users_SystemPermissions, PopulateUserPermissions_SystemPriviliges}}});
}

bool ProcessGroups(FetchContext& context) {
  return process<Group>(
      context,
      {entity_GROUP,
       u"ProcessGroups",
       &cAppliesTo::AllGroups,
       PopulateGroupList,
       AddGroupsOfScope,
       &Schema::Groups,
       u"Retrieving Group Data",
       OBJECT_GROUP,
       u"Retrieving properties for Group ",
       {{&cComparisonOptions::Groups_ObjectPermissions, PopulateGroupPermissions_ObjectPriviliges},
        {&cComparisonOptions::Groups_SystemPermissions, PopulateGroupPermissions_SystemPriviliges},
        {&cComparisonOptions::Groups_Users, PopulateGroupUsers}}});
}

}  // namespace kelvane::reader
