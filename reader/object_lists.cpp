// The lists of objects: all of a category from the server, or those of the scope that exist.
#include <utility>

#include "model/text.h"
#include "reader/procedures.h"

namespace kelvane::reader {
namespace {

// How one category is listed. `announcedAs` is the object type of the start event: only tables and
// functions announce their own.
template <class Record>
struct List {
  enumEntityType kind;
  Array<Record> Schema::*objects;
  std::u16string_view procedure;
  std::u16string_view status;
  enumObjectType announcedAs;
  std::u16string_view sql;
  void (*fill)(Record&, const ado::Recordset&);
};

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
void keepFiltered(const ListFilter& filter, enumEntityType kind, Array<Record>& objects) {
  Array<Record> kept;
  for (const Record& object : std::as_const(objects))
    if (filter(kind, object.Name, object.FullName)) kept.append(object);
  objects.swap(kept);
}

template <class Record>
Status readList(FetchContext& context, const List<Record>& list) {
  Status status = context.trapped(list.procedure, [&]() -> Status {
    context.events->StartProcessing(std::u16string(list.status), False, list.announcedAs);
    KindExtent& extent = context.extent[list.kind];
    extent = {};
    ++context.listings[list.kind];
    const auto rows = context.GetRecordset(list.sql);
    if (!rows) return 0;
    if (rows->RecordCount() > 0) {
      Array<Record>& objects = context.schema.*list.objects;
      objects.recreate(rows->RecordCount());
      for (std::int32_t position = 1; !rows->EndOfRows(); ++position, rows->MoveNext())
        objects.edit(position, [&](Record& record) { list.fill(record, *rows); });
      if (context.listFilter) keepFiltered(context.listFilter, list.kind, objects);
    }
    extent.listed = true;
    return rows->RecordCount();
  });
  const bool ended = context.trapped(list.procedure, false, [&] {
    context.events->EndProcessing(OBJECT_IRRELEVANT);
    return true;
  });
  return ended ? status : kFailed;
}

// How one category's names in the scope become objects.
template <class Record>
struct ScopeList {
  Array<Record> Schema::*objects;
  std::shared_ptr<NameList> cAppliesTo::*names;
  std::u16string_view type;
};

std::shared_ptr<NameList> chosenNames(const FetchContext& context,
                                      std::shared_ptr<NameList> cAppliesTo::*names) {
  const auto& list = context.scope().*names;
  if (!list)
    throw RuntimeError(ErrorNumber::notSet, u"The list of chosen names is not set",
                       u"Kelvane.reader");
  return list;
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

// An entry that is not "name" or "owner.name" leaves name and owner of the entry before it in
// force, and an owner stays for later entries without one.
template <class Record>
void addOwned(FetchContext& context, const ScopeList<Record>& list) {
  std::u16string name, owner;
  const std::shared_ptr<NameList> entries = chosenNames(context, list.names);
  const std::int32_t count = entries->Count();
  for (std::int32_t position = 1; position <= count; ++position) {
    const std::u16string entry = entries->Item(position);
    const auto pieces = split(entry, u'.');
    if (pieces.size() == 1) {
      name = pieces[0];
    } else if (pieces.size() == 2) {
      owner = pieces[0];
      name = pieces[1];
    }
    addExisting(context, list.objects, list.type, name, owner, fullName(owner, name));
    if (context.cancelled) return;
  }
}

}  // namespace

Status PopulateTableList(FetchContext& context) {
  return readList<Table>(
      context,
      {entity_TABLE, &Schema::Tables, u"PopulateTableList", u"Getting List Of Tables", OBJECT_TABLE,
       u"SELECT USER_NAME(uid) as owner, name FROM sysobjects WHERE type='U' order by "
       u"owner, name",
       fillOwned<Table>});
}

Status PopulateViewList(FetchContext& context) {
  return readList<View>(
      context, {entity_VIEW, &Schema::Views, u"PopulateViewList", u"Getting List Of Views",
                OBJECT_IRRELEVANT,
                u"SELECT USER_NAME(uid) as owner, name FROM sysobjects WHERE type='V' order by "
                u"owner, name",
                fillOwned<View>});
}

Status PopulateStoredProcList(FetchContext& context) {
  return readList<StoredProc>(
      context, {entity_STOREDPROC, &Schema::StoredProcs, u"PopulateStoredProcList",
                u"Getting List Of Stored Procedures", OBJECT_IRRELEVANT,
                u"SELECT USER_NAME(uid) as owner, name FROM sysobjects WHERE type='P' order by "
                u"owner, name",
                fillOwned<StoredProc>});
}

Status PopulateFunctionList(FetchContext& context) {
  return readList<CodeFunction>(
      context, {entity_FUNCTION, &Schema::Functions, u"PopulateFunctionList",
                u"Getting List Of Functions", OBJECT_FUNCTION,
                u"SELECT DISTINCT USER_NAME(O.uid),OBJECT_NAME(O.id) FROM sysobjects O WHERE "
                u"O.type IN ('FN','IF','TF')  ORDER BY 1,2",
                fillOwned<CodeFunction>});
}

Status PopulateUDDTList(FetchContext& context) {
  return readList<UDDT>(
      context, {entity_UDDT, &Schema::UDDTs, u"PopulateUDDTList", u"Getting List Of UDDTs",
                OBJECT_IRRELEVANT,
                u"SELECT USER_NAME(S.uid) as owner, S.name as Name, T.name as datatypename, "
                u"OBJECT_NAME(S.domain), OBJECT_NAME(S.tdefault) FROM systypes S,systypes T WHERE "
                u"S.type=T.type AND T.usertype<100 AND T.usertype NOT IN(18,24,25,80) AND "
                u"S.usertype>100  ORDER BY 1, 2",
                fillOwned<UDDT>});
}

Status PopulateUserList(FetchContext& context) {
  return readList<User>(
      context,
      {entity_USER, &Schema::Users, u"PopulateUserList", u"Getting List Of Users",
       OBJECT_IRRELEVANT,
       u"SELECT name, SUSER_NAME(suid),USER_NAME(gid) FROM sysusers WHERE gid!=uid ORDER BY name",
       fillUser});
}

Status PopulateGroupList(FetchContext& context) {
  return readList<Group>(
      context, {entity_GROUP, &Schema::Groups, u"PopulateGroupList", u"Getting List Of Groups",
                OBJECT_IRRELEVANT,
                u"SELECT name FROM sysusers WHERE uid=gid AND (environ IS NOT NULL OR "
                u"name='public') ORDER BY name",
                fillGroup});
}

void AddTablesOfScope(FetchContext& context) {
  addOwned<Table>(context, {&Schema::Tables, &cAppliesTo::SomeTables, u"Table"});
}

void AddViewsOfScope(FetchContext& context) {
  addOwned<View>(context, {&Schema::Views, &cAppliesTo::SomeViews, u"View"});
}

void AddStoredProcsOfScope(FetchContext& context) {
  addOwned<StoredProc>(context,
                       {&Schema::StoredProcs, &cAppliesTo::SomeStoredProcs, u"StoredProc"});
}

void AddFunctionsOfScope(FetchContext& context) {
  addOwned<CodeFunction>(context, {&Schema::Functions, &cAppliesTo::SomeFunctions, u"Function"});
}

void AddUDDTsOfScope(FetchContext& context) {
  addOwned<UDDT>(context, {&Schema::UDDTs, &cAppliesTo::SomeUDDTs, u"UDDT"});
}

void AddGroupsOfScope(FetchContext& context) {
  addOwned<Group>(context, {&Schema::Groups, &cAppliesTo::SomeGroups, u"Group"});
}

void AddUsersOfScope(FetchContext& context) {
  const std::shared_ptr<NameList> names = chosenNames(context, &cAppliesTo::SomeUsers);
  const std::int32_t count = names->Count();
  for (std::int32_t position = 1; position <= count; ++position) {
    const std::u16string name = names->Item(position);
    addExisting(context, &Schema::Users, u"User", name, std::u16string(), name);
    if (context.cancelled) return;
  }
}

}  // namespace kelvane::reader
