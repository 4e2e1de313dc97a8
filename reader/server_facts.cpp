// What the reader asks about the server itself, and the text of one column's default.
#include "model/text.h"
#include "reader/procedures.h"
#include "reader/sql_text.h"

namespace kelvane::reader {

void ReadServerVersion(FetchContext& context) {
  constexpr std::int16_t kOther = 2;
  try {
    const auto rows = context.GetRecordset(u"select @@version");
    const std::u16string version =
        rows && rows->RecordCount() > 0 ? rows->Fields(0).Value().toText() : std::u16string();
    const auto has = [&](std::u16string_view text) { return version.find(text) != version.npos; };
    context.versionCode = has(u"Microsoft SQL Server  6.50")   ? std::int16_t{0}
                          : has(u"Microsoft SQL Server  7.00") ? std::int16_t{1}
                                                               : kOther;
  } catch (...) {
    // Nothing depends on the version: a server that will not tell it is read like any other.
    return;
  }
}

Status PopulateCaseSensitivity(FetchContext& context) {
  return context.trapped(u"PopulateCaseSensitivity", [&]() -> Status {
    const auto rows = context.GetRecordset(sqlLines({
        u"select case 'a'",
        u"  when 'A' then 'Case_Insensitive'",
        u"  else 'Case_Sensitive'",
        u"end",
    }));
    if (!rows) return 0;
    const Status count = rows->RecordCount();
    if (count > 0) {
      const Boolean sensitive = ado::NullToString(rows->Fields(0).Value()) == u"Case_Sensitive";
      context.dataCaseSensitive = sensitive;
      context.schemaCaseSensitive = sensitive;
    }
    return count;
  });
}

std::u16string RetrieveColumnDefault(FetchContext& context, const std::u16string& owner,
                                     const std::u16string& table, const std::u16string& column) {
  return context.trapped(u"RetrieveColumnDefault", std::u16string(), [&]() -> std::u16string {
    const auto rows = context.GetRecordset(sqlLines({
        u"select text from syscomments c, syscolumns cl",
        u"where c.id = cl.cdefault",
        u"and cl.id = object_id('" + owner + u"." + table + u"')",
        u"and cl.name = '" + column + u"'",
    }));
    if (!rows || rows->RecordCount() <= 0) return {};
    return replaceAll(ado::NullToString(rows->Fields(0).Value()), u"DEFAULT ", u"");
  });
}

}  // namespace kelvane::reader
