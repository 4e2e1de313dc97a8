// The reader's procedures, each of which fills one part of the held record and traps its own
// failures.
//
// Lifetime and threading: free functions on the reader's context, on its thread.
#pragma once

#include <string>
#include <string_view>

#include "reader/fetch_context.h"

namespace kelvane::reader {

// Object lists: one element per object, with Name, Owner and FullName.
Status PopulateTableList(FetchContext& context);
Status PopulateViewList(FetchContext& context);
Status PopulateStoredProcList(FetchContext& context);
Status PopulateFunctionList(FetchContext& context);
Status PopulateUDDTList(FetchContext& context);
Status PopulateUserList(FetchContext& context);
Status PopulateGroupList(FetchContext& context);

// The same from the names of the scope, as far as they exist. These do not trap.
void AddTablesOfScope(FetchContext& context);
void AddViewsOfScope(FetchContext& context);
void AddStoredProcsOfScope(FetchContext& context);
void AddFunctionsOfScope(FetchContext& context);
void AddUDDTsOfScope(FetchContext& context);
void AddUsersOfScope(FetchContext& context);
void AddGroupsOfScope(FetchContext& context);

// The categories: the list, then each object's details. False after a failure.
bool ProcessTables(FetchContext& context);
bool ProcessViews(FetchContext& context);
bool ProcessStoredProcs(FetchContext& context);
bool ProcessFunctions(FetchContext& context);
bool ProcessUDDTs(FetchContext& context);
bool ProcessUsers(FetchContext& context);
bool ProcessGroups(FetchContext& context);

// Server facts.
void ReadServerVersion(FetchContext& context);
Status PopulateCaseSensitivity(FetchContext& context);
std::u16string RetrieveColumnDefault(FetchContext& context, const std::u16string& owner,
                                     const std::u16string& table, const std::u16string& column);

// Columns and parameters.
Status PopulateTableColumns(FetchContext& context, Table& table);
Status PopulateViewColumns(FetchContext& context, View& view);
Status PopulateStoredProcColumns(FetchContext& context, StoredProc& procedure);
Status PopulateFunctionColumns(FetchContext& context, CodeFunction& function);

// Keys, indexes, triggers, row count.
Status PopulateTablePrimaryKeys(FetchContext& context, Table& table);
Status PopulateTableForeignKeys(FetchContext& context, Table& table);
Status PopulateIndexes(FetchContext& context, Table& table);
Status PopulateTableTriggers(FetchContext& context, Table& table);
Status PopulateTableRowCount(FetchContext& context, Table& table);

// Definitions and user-defined types. A definition is "" where there is none, also after a failure.
std::u16string GetEntityDefinition(FetchContext& context, std::u16string_view name);
Status PopulateViewDefinition(FetchContext& context, View& view);
Status PopulateStoredProcDefinition(FetchContext& context, StoredProc& procedure);
Status PopulateFunctionDefinition(FetchContext& context, CodeFunction& function);
Status PopulateUDDTColumns(FetchContext& context, UDDT& type);

// Permissions and membership.
Status PopulateUserPermissions_ObjectPriviliges(FetchContext& context, User& user);
Status PopulateUserPermissions_SystemPriviliges(FetchContext& context, User& user);
Status PopulateGroupPermissions_ObjectPriviliges(FetchContext& context, Group& group);
Status PopulateGroupPermissions_SystemPriviliges(FetchContext& context, Group& group);
Status PopulateGroupUsers(FetchContext& context, Group& group);

// Whether the server has an object of that name and owner. `type` is one of "Table", "View",
// "StoredProc", "Function", "UDDT", "User", "Group", in any letter case; another one is shown to
// the user.
bool CheckObjectForExistance(FetchContext& context, const std::u16string& name,
                             const std::u16string& owner, std::u16string_view type);

}  // namespace kelvane::reader
