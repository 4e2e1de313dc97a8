// A table that lost a column is, in every system table and in its rows, one that never had it.

#include <algorithm>
#include <gtest/gtest.h>

#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/catalog/writer.h"
#include "drivers/embedded/engine/session.h"
#include "drivers/embedded/script.h"
#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

// All that the system tables say, but for times and counts of changes.
std::string wholeCatalog(EmbeddedCatalog& catalog) {
  constexpr std::string_view kLeftOut[] = {"crdate", "schemacnt"};
  std::string all;
  for (const SystemTable& table : SystemTables::of(std::nullopt).all()) {
    std::string line;
    for (const NamedColumn& column : table.columns) {
      if (std::ranges::count(kLeftOut, column.name) != 0) continue;
      line += concat(line.empty() ? "" : " || '|' || ", "quote(", column.name, ")");
    }
    catalog.server().catalog.store().each(
        concat("SELECT ", line, " AS line FROM ", table.name, " ORDER BY line"),
        [&](const Statement& row) { all += concat(table.name, ": ", row.text(0), "\n"); });
  }
  const SystemRecords& records = catalog.server().catalog.records();
  for (Slot slot = 0; slot < records.indexes.slots(); ++slot) {
    if (!records.indexes.holds(slot)) continue;
    const SysIndex& index = records.indexes[slot];
    all += concat("keys of ", index.id, ".", index.indid, ":");
    for (const SysIndexKey& key : index.keys)
      all += concat(" ", key.colid, key.descending ? "d" : "");
    all += '\n';
  }
  return all;
}

std::string replaced(std::string text, std::string_view mark, std::string_view by) {
  for (auto at = text.find(mark); at != text.npos; at = text.find(mark)) {
    text.replace(at, mark.size(), by);
  }
  return text;
}

// The column stands before, between and behind the columns that others name.
constexpr std::string_view kScript = R"(
create table parent (k int not null, l int not null, primary key (k, l))
insert parent values (1, 2)
go
create table t (GONE-1 a int not null, GONE-2 c int default 5 not null check (c > 0), GONE-3
  d varchar(9) null, e bit not null, f as d || 'x', check (c > a), GONE-4
  constraint u unique nonclustered (c, a desc))
create index early on t (d, c desc)
alter table t add constraint early_reference foreign key (a, c) references parent (k, l)
go
insert t (a, d, e, c) values (1, 'one', 1, 2)
grant select (a, d), update (c) on t to guest
exec sp_primarykey t, c, d
create index expression on t (upper(d))
create table child (x int null, y int null)
alter table child add constraint rc foreign key (x, y) references t (c, a)
go
exec sp_foreignkey child, t, x, y
exec sp_commonkey t, parent, d, k
go
DROP
alter table t add g int null
alter table t add constraint k primary key (a, c)
create index late on t (e2, d, c desc)
go
)";

TEST(DroppedColumn, IsAsOneThatNeverWas) {
  const auto script = [](int place, std::string_view type) {
    std::string text(kScript);
    text = replaced(text, "e2", "g");
    for (int i = 1; i <= 4; ++i) {
      const std::string mark = "GONE-" + std::to_string(i);
      text = replaced(text, mark, i == place ? concat("gone ", type, ",") : std::string());
    }
    return replaced(text, "DROP", place == 0 ? "" : "alter table t drop gone");
  };
  EmbeddedCatalog never;
  const LoadReport declared = loadScript(never, "never.sql", script(0, ""));
  ASSERT_TRUE(declared.succeeded()) << declared.errors.front().describe();
  const std::string expected = wholeCatalog(never);
  for (int place = 1; place <= 4; ++place) {
    for (const std::string_view type :
         {"int null", "bit default 1", "text null", "varchar(4) default 'q' not null"}) {
      SCOPED_TRACE(concat(place, " ", type));
      EmbeddedCatalog catalog;
      const LoadReport report = loadScript(catalog, "dropped.sql", script(place, type));
      ASSERT_TRUE(report.succeeded()) << report.errors.front().describe();
      EXPECT_EQ(wholeCatalog(catalog), expected);
      const auto connection = catalog.connect();
      const auto rows = connection->Open(u"select * from t", ado::kForwardOnly);
      std::u16string row;
      for (std::int32_t i = 0; i < rows->FieldCount(); ++i) {
        const ado::Value value = rows->Fields(i).Value();
        row += rows->Fields(i).Name() + u"=" + (value.isNull() ? u"null" : value.toText()) + u" ";
      }
      EXPECT_EQ(row, u"a=1 c=2 d=one e=True f=onex g=null ");
    }
  }
}

TEST(DroppedColumn, DecryptDefaultsGoWithTheirColumn) {
  Probe probe(
      "create encryption key k as default for AES\n"
      "create table t (a int, b int encrypt decrypt_default 0, c int encrypt decrypt_default 1)\n"
      "alter table t drop a");
  constexpr const char* kKept =
      "select col_name(object, object_info1), c.text from sysattributes a, syscomments c"
      " where a.class = 25 and c.id = a.object_info2 order by object_info1";
  EXPECT_EQ(probe.rows(kKept), "b | DECRYPT_DEFAULT 0\nc | DECRYPT_DEFAULT 1\n");
  probe.ask("alter table t drop b");
  EXPECT_EQ(probe.rows(kKept), "c | DECRYPT_DEFAULT 1\n");
  EXPECT_EQ(probe.rows("select count(*) from sysobjects where type = 'DD'"), "1\n");
}

TEST(DroppedColumn, KeysOfPartitionsStay) {
  Probe probe(
      "create table t (a int, b int, c int)"
      " partition by range (b, c) (p values <= (1, 2), q values <= (MAX, MAX))");
  EXPECT_EQ(probe.refusal("alter table t drop c"),
            "4922: ALTER TABLE 't' failed. Column 'c' is a partition key.\n");
  EXPECT_EQ(probe.ask("alter table t drop a"), "(closed)\n");
  EXPECT_EQ(probe.rows("select colid, position from syspartitionkeys where id = object_id('t')"),
            "1 | 1\n2 | 2\n");
}

}  // namespace
}  // namespace kelvane::embedded
