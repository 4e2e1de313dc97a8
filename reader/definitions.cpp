// Source texts, and the details of a user-defined type.
#include "reader/procedures.h"

namespace kelvane::reader {
namespace {

template <class Record>
Status readDefinition(FetchContext& context, Record& object) {
  object.Definition = GetEntityDefinition(context, object.Owner + u"." + object.Name);
  return 0;
}

}  // namespace

std::u16string GetEntityDefinition(FetchContext& context, std::u16string_view name) {
  return context.trapped(u"GetEntityDefinition", std::u16string(), [&]() -> std::u16string {
    const auto rows = context.GetRecordset(u"exec sp_helptext '" + std::u16string(name) + u"'");
    if (!rows || rows->State() == ado::ObjectState::closed) return {};
    rows->NextRecordset();  // the first result tells the number of lines
    if (rows->State() == ado::ObjectState::closed) return {};
    std::u16string text;
    for (; !rows->EndOfRows(); rows->MoveNext()) text += ado::NullToString(rows->Fields(0).Value());
    return text;
  });
}

Status PopulateViewDefinition(FetchContext& context, View& view) {
  return readDefinition(context, view);
}

Status PopulateStoredProcDefinition(FetchContext& context, StoredProc& procedure) {
  return readDefinition(context, procedure);
}

Status PopulateFunctionDefinition(FetchContext& context, CodeFunction& function) {
  return readDefinition(context, function);
}

// Types are matched by name alone; of namesakes under several owners the last row stays.
Status PopulateUDDTColumns(FetchContext& context, UDDT& type) {
  return context.trapped(u"PopulateUDDTColumns", [&]() -> Status {
    const auto rows = context.GetRecordset(
        u"SELECT S.name,T.name, S.length, S.prec, S.scale, S.allownulls,OBJECT_NAME(S.domain) as "
        u"RULE_VALUE, OBJECT_NAME(S.tdefault) as DEFAULT_VALUE, USER_NAME(S.uid) as OWNER "
        u"FROM systypes S,systypes T "
        u"WHERE S.name='" +
        type.Name +
        u"' AND S.type=T.type AND T.usertype<100 AND T.usertype NOT IN(18,24,25,80) AND "
        u"S.usertype>100 "
        u"ORDER BY 1");
    if (!rows) return 0;
    for (; rows->RecordCount() > 0 && !rows->EndOfRows(); rows->MoveNext()) {
      const auto value = [&](std::int32_t ordinal) { return rows->Fields(ordinal).Value(); };
      type.BaseType = ado::NullToString(value(1));
      type.Length = ado::NullToLong(value(2));
      type.Precision = ado::NullToLong(value(3));
      type.iScale = ado::NullToShort(value(4));
      type.Nullable = value(5).toBoolean();
      type.BoundDefault = ado::NullToString(value(7));
      type.BoundRule = ado::NullToString(value(6));
    }
    return rows->RecordCount();
  });
}

}  // namespace kelvane::reader
