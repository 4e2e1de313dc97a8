// Permissions of users and groups, and the members of groups.
//
// Grants and revokes are not told apart: every row counts as a permission held.
#include "model/text.h"
#include "reader/procedures.h"
#include "reader/sql_text.h"

namespace kelvane::reader {
namespace {

// An action's name in lower case and the flag that it sets.
template <class Record>
struct Action {
  std::u16string_view name;
  Boolean Record::*flag;
};

constexpr Action<Permission> kSystemActions[] = {
    {u"create default", &Permission::Create_Default},
    {u"create procedure", &Permission::Create_Procedure},
    {u"create rule", &Permission::Create_Rule},
    {u"create table", &Permission::Create_Table},
    {u"create view", &Permission::Create_View},
};

constexpr Action<PermissionEntity> kObjectActions[] = {
    {u"delete", &PermissionEntity::Delete},         {u"insert", &PermissionEntity::Insert},
    {u"references", &PermissionEntity::References}, {u"select", &PermissionEntity::Select},
    {u"update", &PermissionEntity::Update},         {u"execute", &PermissionEntity::Execute},
};

template <class Record, std::size_t size>
void setFlag(Record& record, const Action<Record> (&actions)[size], std::u16string_view name) {
  for (const Action<Record>& action : actions)
    if (compareLowerCase(action.name, name) == 0) record.*action.flag = True;
}

constexpr std::u16string_view kSystemPermissionColumns =
    u"SELECT P.protecttype,UPPER(A.name),USER_NAME(P.grantor) ";

std::u16string systemPermissionFilter(const std::u16string& name) {
  return u"P.uid=USER_ID('" + name +
         u"') AND P.action IN (203,233,222,236,198,207,228,235) AND A.type='T' AND "
         u"A.number=P.action ";
}

// The same query, cut into its lines in two ways.
std::u16string systemPermissionQuery(const User& user) {
  return sqlLines({kSystemPermissionColumns, u"FROM sysprotects P,master.dbo.spt_values A WHERE ",
                   systemPermissionFilter(user.Name)});
}

std::u16string systemPermissionQuery(const Group& group) {
  return sqlLines({kSystemPermissionColumns, u"FROM sysprotects P,master.dbo.spt_values A ",
                   u"WHERE " + systemPermissionFilter(group.Name)});
}

std::u16string objectPermissionQuery(const std::u16string& name) {
  return sqlLines(
      {u"SELECT DISTINCT UPPER(A.name),USER_NAME(O.uid) as owner,O.name,P.protecttype, "
       u"COL_NAME(P.id,C.number),O.type ",
       u"FROM sysprotects P,sysobjects O,master.dbo.spt_values A,master.dbo.spt_values C ",
       u"WHERE P.uid=USER_ID('" + name +
           u"') AND CONVERT(tinyint,SUBSTRING(ISNULL(P.columns,0x1),C.low,1))&C.high!=0 ",
       u"    AND C.type = 'P' AND C.number<=255 AND A.type='T' AND A.number=P.action AND "
       u"O.id=P.id ",
       u""});
}

template <class Record>
Status readSystemPermissions(FetchContext& context, std::u16string_view procedure, Record& record) {
  return context.trapped(procedure, [&]() -> Status {
    const auto rows = context.GetRecordset(systemPermissionQuery(record));
    if (!rows) return 0;
    for (; rows->RecordCount() > 0 && !rows->EndOfRows(); rows->MoveNext())
      setFlag(record.Permissions, kSystemActions, ado::NullToString(rows->Fields(1).Value()));
    return rows->RecordCount();
  });
}

bool isLast(const Array<PermissionEntity>& entities, const std::u16string& owner,
            const std::u16string& name) {
  if (entities.empty()) return false;
  const PermissionEntity& last = entities[entities.count()];
  return compareLowerCase(last.EntityOwner, owner) == 0 &&
         compareLowerCase(last.EntityName, name) == 0;
}

template <class Record>
Status readObjectPermissions(FetchContext& context, std::u16string_view procedure, Record& record) {
  return context.trapped(procedure, [&]() -> Status {
    const auto rows = context.GetRecordset(objectPermissionQuery(record.Name));
    if (!rows) return 0;
    if (rows->RecordCount() <= 0) return rows->RecordCount();
    // All rows of one object become neighbours, so that comparing with the last entity is enough.
    rows->Sort(u"Owner ASC, Name ASC");
    Array<PermissionEntity>& entities = record.Permissions.PermissionEntities;
    entities.clear();
    for (; !rows->EndOfRows(); rows->MoveNext()) {
      const std::u16string owner = ado::NullToString(rows->Fields(1).Value());
      const std::u16string name = ado::NullToString(rows->Fields(2).Value());
      const std::u16string action = ado::NullToString(rows->Fields(0).Value());
      if (!isLast(entities, owner, name)) {
        PermissionEntity entity;
        entity.EntityName = name;
        entity.EntityOwner = owner;
        entity.Grantor = owner;  // the query returns no grantor
        entities.append(std::move(entity));
      }
      entities.edit(entities.count(),
                    [&](PermissionEntity& entity) { setFlag(entity, kObjectActions, action); });
    }
    return rows->RecordCount();
  });
}

}  // namespace

Status PopulateUserPermissions_SystemPriviliges(FetchContext& context, User& user) {
  return readSystemPermissions(context, u"PopulateUserPermissions_SystemPriviliges", user);
}

Status PopulateGroupPermissions_SystemPriviliges(FetchContext& context, Group& group) {
  return readSystemPermissions(context, u"PopulateGroupPermissions_SystemPriviliges", group);
}

Status PopulateUserPermissions_ObjectPriviliges(FetchContext& context, User& user) {
  return readObjectPermissions(context, u"PopulateUserPermissions_ObjectPriviliges", user);
}

Status PopulateGroupPermissions_ObjectPriviliges(FetchContext& context, Group& group) {
  return readObjectPermissions(context, u"PopulateGroupPermissions_ObjectPriviliges", group);
}

Status PopulateGroupUsers(FetchContext& context, Group& group) {
  return context.trapped(u"PopulateGroupUsers", [&]() -> Status {
    const auto rows = context.GetRecordset(u"SELECT name FROM sysusers WHERE gid=USER_ID('" +
                                           group.Name + u"') AND uid!=gid ORDER BY name");
    if (!rows) return 0;
    if (rows->RecordCount() > 0) {
      group.Users.recreate(rows->RecordCount());
      for (std::int32_t position = 1; !rows->EndOfRows(); ++position, rows->MoveNext()) {
        group.Users.edit(position,
                         [&](User& user) { user.Name = rows->Fields(0).Value().toText(); });
      }
    }
    return rows->RecordCount();
  });
}

}  // namespace kelvane::reader
