// The lists of objects: all of a category from the server, or those of the scope that exist.
#include <optional>
#include <utility>

#include "model/text.h"
#include "reader/categories.h"
#include "reader/procedures.h"

namespace kelvane::reader {
namespace {

std::u16string fullName(const std::u16string& owner, const std::u16string& name) {
  return owner + u"." + name;
}

// Rows of owner and name.
template <class Record>
void fillOwned(Record& record, const ado::Recordset& row) {
  record.Owner = row.Fields(0).Value().toText();
  record.Name = row.Fields(1).Value().toText();
  record.FullName = fullName(record.Owner, record.Name);
}

void fillUser(User& user, const ado::Recordset& row) {
  user.Name = replaceAll(row.Fields(0).Value().toText(), u"\\", u" ");
  user.FullName = user.Name;
}

void fillGroup(Group& group, const ado::Recordset& row) {
  group.Name = row.Fields(0).Value().toText();
  group.FullName = group.Name;
}

template <class Record>
Status readList(FetchContext& context, const Category<Record>& category, std::u16string_view sql,
                void (*fill)(Record&, const ado::Recordset&)) {
  return list(context, category, [&](Array<Record>& objects) -> std::optional<Status> {
    const auto rows = context.GetRecordset(sql);
    if (!rows) return std::nullopt;
    if (rows->RecordCount() > 0) {
      objects.recreate(rows->RecordCount());
      for (std::int32_t position = 1; !rows->EndOfRows(); ++position, rows->MoveNext())
        objects.edit(position, [&](Record& record) { fill(record, *rows); });
    }
    return rows->RecordCount();
  });
}

template <class Record>
void addExisting(FetchContext& context, Array<Record> Schema::*objects, std::u16string_view type,
                 const std::u16string& name, const std::u16string& owner,
                 const std::u16string& full) {
  if (!CheckObjectForExistance(context, name, owner, type)) return;
  Record record;
  record.Name = name;
  record.Owner = owner;
  record.FullName = full;
  (context.schema.*objects).append(std::move(record));
}

template <class Record>
void addOwned(FetchContext& context, const Category<Record>& category, std::u16string_view type) {
  forEachChosen(context, category, [&](const std::u16string& name, const std::u16string& owner) {
    addExisting(context, category.objects, type, name, owner, fullName(owner, name));
  });
}

}  // namespace

Status PopulateTableList(FetchContext& context) {
  return readList<Table>(
      context, kTables,
      u"SELECT USER_NAME(uid) as owner, name FROM sysobjects WHERE type='U' order by "
      u"owner, name",
      fillOwned<Table>);
}

Status PopulateViewList(FetchContext& context) {
  return readList<View>(
      context, kViews,
      u"SELECT USER_NAME(uid) as owner, name FROM sysobjects WHERE type='V' order by "
      u"owner, name",
      fillOwned<View>);
}

Status PopulateStoredProcList(FetchContext& context) {
  return readList<StoredProc>(
      context, kStoredProcs,
      u"SELECT USER_NAME(uid) as owner, name FROM sysobjects WHERE type='P' order by "
      u"owner, name",
      fillOwned<StoredProc>);
}

Status PopulateFunctionList(FetchContext& context) {
  return readList<CodeFunction>(
      context, kFunctions,
      u"SELECT DISTINCT USER_NAME(O.uid),OBJECT_NAME(O.id) FROM sysobjects O WHERE "
      u"O.type IN ('FN','IF','TF')  ORDER BY 1,2",
      fillOwned<CodeFunction>);
}

Status PopulateUDDTList(FetchContext& context) {
  return readList<UDDT>(
      context, kUDDTs,
      u"SELECT USER_NAME(S.uid) as owner, S.name as Name, T.name as datatypename, "
      u"OBJECT_NAME(S.domain), OBJECT_NAME(S.tdefault) FROM systypes S,systypes T WHERE "
      u"S.type=T.type AND T.usertype<100 AND T.usertype NOT IN(18,24,25,80) AND "
      u"S.usertype>100  ORDER BY 1, 2",
      fillOwned<UDDT>);
}

Status PopulateUserList(FetchContext& context) {
  return readList<User>(
      context, kUsers,
      u"SELECT name, SUSER_NAME(suid),USER_NAME(gid) FROM sysusers WHERE gid!=uid ORDER BY name",
      fillUser);
}

Status PopulateGroupList(FetchContext& context) {
  return readList<Group>(context, kGroups,
                         u"SELECT name FROM sysusers WHERE uid=gid AND (environ IS NOT NULL OR "
                         u"name='public') ORDER BY name",
                         fillGroup);
}

void AddTablesOfScope(FetchContext& context) { addOwned(context, kTables, u"Table"); }

void AddViewsOfScope(FetchContext& context) { addOwned(context, kViews, u"View"); }

void AddStoredProcsOfScope(FetchContext& context) {
  addOwned(context, kStoredProcs, u"StoredProc");
}

void AddFunctionsOfScope(FetchContext& context) { addOwned(context, kFunctions, u"Function"); }

void AddUDDTsOfScope(FetchContext& context) { addOwned(context, kUDDTs, u"UDDT"); }

void AddGroupsOfScope(FetchContext& context) { addOwned(context, kGroups, u"Group"); }

void AddUsersOfScope(FetchContext& context) {
  forEachChosen(context, kUsers, [&](const std::u16string& name, const std::u16string&) {
    addExisting(context, &Schema::Users, u"User", name, std::u16string(), name);
  });
}

}  // namespace kelvane::reader
