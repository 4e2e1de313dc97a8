// Whether the server has an object, asked by name.
#include "model/text.h"
#include "reader/procedures.h"

namespace kelvane::reader {
namespace {

// The names of the database's fixed roles, each in single quotes, with commas between; as far as
// they can be read.
std::u16string fixedRoleList(FetchContext& context) {
  std::u16string list;
  try {
    const auto rows = context.GetRecordset(u"sp_helpdbfixedrole");
    if (!rows) return list;
    for (; !rows->EndOfRows(); rows->MoveNext()) {
      const std::u16string role = rows->Fields(0).Value().toText();
      list += (list.empty() ? u"'" : u",'") + role + u"'";
    }
  } catch (...) {
    // A server without such roles answers nothing, or a result of another shape: the list ends
    // there.
    return list;
  }
  return list;
}

// The contract with hosts has the dangling end: every server rejects it, and no group is ever
// found.
std::u16string groupQuery(FetchContext& context, const std::u16string& name) {
  std::u16string sql =
      u"SELECT DISTINCT Owner = CASE A.issqlrole WHEN 1 Then B.name ELSE '[NULL]' END,  A.name "
      u"Role,   roletype = CASE A.issqlrole   WHEN 1 Then 'Standard' ELSE 'Application' END,  "
      u"A.createdate, A.updatedate  FROM  sysusers A, sysusers B WHERE B.uid = A.altuid AND "
      u"(A.issqlrole=1 OR A.isapprole=1)   ";
  const std::u16string fixedRoles = fixedRoleList(context);
  if (!fixedRoles.empty()) sql += u" AND A.name not in(" + fixedRoles + u")";
  return sql + u" name='" + name + u" and owner" + u" ORDER BY 1,2";
}

using QueryBuilder = std::u16string (*)(FetchContext&, const std::u16string& name,
                                        const std::u16string& owner);
struct ExistenceQuery {
  std::u16string_view type;
  QueryBuilder build;
};

// Objects of sysobjects, under a condition on their kind.
std::u16string objectQuery(std::u16string_view kind, const std::u16string& name,
                           const std::u16string& owner) {
  return u"SELECT USER_NAME(uid) as owner, name FROM sysobjects WHERE " + std::u16string(kind) +
         u" and name='" + name + u"' and USER_NAME(uid)='" + owner + u"'";
}

constexpr ExistenceQuery kQueries[] = {
    {u"table", [](FetchContext&, const std::u16string& name,
                  const std::u16string& owner) { return objectQuery(u"type='U'", name, owner); }},
    {u"view",
     [](FetchContext&, const std::u16string& name, const std::u16string& owner) {
       return objectQuery(u"type='V' and category=0", name, owner);
     }},
    {u"storedproc",
     [](FetchContext&, const std::u16string& name, const std::u16string& owner) {
       return objectQuery(u"type='P'", name, owner);
     }},
    {u"function",
     [](FetchContext&, const std::u16string& name, const std::u16string& owner) {
       return u"SELECT DISTINCT USER_NAME(O.uid) as owner,OBJECT_NAME(O.id) as name FROM "
              u"sysobjects O WHERE O.type IN ('FN','IF','TF') and USER_NAME(O.uid) = '" +
              owner + u"' and OBJECT_NAME(O.id)='" + name + u"'";
     }},
    {u"uddt",
     [](FetchContext&, const std::u16string& name, const std::u16string& owner) {
       return u"SELECT USER_NAME(uid) as owner,name FROM systypes S WHERE xusertype>256 and "
              u"name='" +
              name + u"' and USER_NAME(uid)='" + owner + u"'";
     }},
    {u"user",
     [](FetchContext&, const std::u16string& name, const std::u16string&) {
       return u"SELECT name,SUSER_SNAME(sid),createdate,updatedate FROM sysusers WHERE "
              u"(issqluser=1 OR isntname=1) AND sid IS NOT NULL and name='" +
              name + u"' ORDER BY 1";
     }},
    {u"group", [](FetchContext& context, const std::u16string& name,
                  const std::u16string&) { return groupQuery(context, name); }},
};

}  // namespace

bool CheckObjectForExistance(FetchContext& context, const std::u16string& name,
                             const std::u16string& owner, std::u16string_view type) {
  for (const ExistenceQuery& query : kQueries) {
    if (compareLowerCase(query.type, type) != 0) continue;
    const auto rows = context.GetRecordset(query.build(context, name, owner));
    return rows && rows->RecordCount() > 0;
  }
  context.host->MessageBox(u"Wrong ObjectType parameter in CheckObjectForExistance",
                           MessageIcon::none);
  return false;
}

}  // namespace kelvane::reader
