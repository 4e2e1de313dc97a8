// A program should not see whether it talks to the embedded catalog or to a server: the same
// batches over the embedded connection and over the wire.
#include <array>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "tests/odbc/servers.h"
#include "tests/tds/test_catalog.h"

namespace kelvane::testing {
namespace {

std::string drawn(const ado::Value& value) {
  constexpr std::array kForms{"null",   "bit",   "integer", "unsigned", "real",
                              "double", "exact", "moment",  "text",     "bytes"};
  static_assert(kForms.size() == std::variant_size_v<ado::ValueBase>);
  std::string text = kForms[value.index()];
  if (!value.isNull()) text += " '" + toUtf8(value.toText()) + "'";
  return text;
}

std::string drawn(ado::Recordset& rows) {
  if (rows.State() == ado::ObjectState::closed) return "closed\n";
  std::string text = std::to_string(rows.RecordCount()) + " rows:";
  for (std::int32_t i = 0; i < rows.FieldCount(); ++i)
    text += " [" + toUtf8(rows.Fields(i).Name()) + "]";
  for (text += "\n"; !rows.EndOfRows(); rows.MoveNext()) {
    for (std::int32_t i = 0; i < rows.FieldCount(); ++i)
      text += drawn(rows.Fields(i).Value()) + ", ";
    text += "\n";
  }
  return text;
}

// All that a program sees of a batch.
std::string answer(ado::Connection& connection, std::u16string_view batch,
                   const ado::OpenMode& mode) {
  std::string text;
  try {
    const auto rows = connection.Open(batch, mode);
    do {
      text += drawn(*rows);
    } while (rows->NextRecordset());
  } catch (const ado::Failure& failure) {
    text += std::string("failed: ") + failure.what() + "\n";
  }
  for (const ado::Error& error : connection.Errors())
    text += std::to_string(error.NativeError) + " " + toUtf8(error.SQLState) + " " +
            toUtf8(error.Description) + "\n";
  return text;
}

constexpr std::string_view kScript = R"(
create table pairs (n int null, t varchar(10) not null)
go
create procedure two_results as select 1 as a print 'between' select 2 as b return 3
go
create procedure fails as select 1 as a raiserror 21001 'made to fail' return 1
go
create procedure silent as return 0
go
create view broken as select n from pairs
go
create table lost (n int)
go
create view broken_too as select n from lost
go
drop table lost
go
create table texts (a char(4) not null, b char(4) null, c unichar(4) not null,
  d unichar(4) null, e varchar(4) not null, f varchar(4) null, g univarchar(4) null, h text null,
  i unitext null, j varchar(300) null)
insert texts values ('', '', '', '', '', '', '', '', '', '')
insert texts values ('ab', 'ab', 'ab', 'ab', 'ab ', 'ab ', 'ab ', 'ab ', 'ab ', 'ab ')
insert texts values ('b', 'Äb', 'Ωb', 'Ωb', 'Äb', 'Äb', '€', 'Ω', '😀', 'Ωmega')
insert texts values ('x', null, 'x', null, 'x', null, null, null, null, null)
go
create table binaries (a binary(3) not null, b binary(3) null, c varbinary(300) null, d image null)
insert binaries values (0x01, 0x01, 0x0100, 0x)
insert binaries values (0x01, null, null, null)
insert binaries values (0x01, 0xffffff, 0x00, 0x00010203)
go
create table numbers (a tinyint null, b smallint null, c int null, d bigint null, e usmallint null,
  f uint null, g ubigint null, h bit, i float null, j real null, k money null, l smallmoney null,
  m numeric(38,10) null, n numeric(38,38) null, o decimal(5,0) null)
insert numbers values (255, 32767, 2147483647, 900719925474099301, 65535, 4294967295,
  900719925474099301, 1, 1.7976931348623157e308, 3.4e38, 922337203685477.5807, 214748.3647,
  9999999999999999999999999999.9999999999, 0.00000000000000000000000000000000000001, 99999)
insert numbers values (0, -32768, -2147483648, -900719925474099301, 0, 0, 0, 0, -2.5e-300,
  -0.1, -922337203685477.5808, -214748.3648, -9999999999999999999999999999.9999999999,
  -0.99999999999999999999999999999999999999, -0)
insert numbers values (0, 0, 0, 0, 0, 0, 0, 0, 0, 0, -0.0001, -0.0001, -0.0000000001, 0, 1)
insert numbers (h) values (0)
go
create table firm (a tinyint not null, b smallint not null, c int not null, d bigint not null,
  e usmallint not null, f uint not null, g ubigint not null, h float not null, i real not null,
  j money not null, k smallmoney not null, l numeric(38,10) not null, m datetime not null,
  n smalldatetime not null, o date not null, p time not null, q bigdatetime not null,
  r bigtime not null, s varchar(300) not null, t varbinary(300) not null, u text not null,
  v unitext not null, w image not null)
insert firm values (255, -32768, -2147483648, -900719925474099301, 65535, 4294967295,
  900719925474099301, -2.5e-300, -0.1, -922337203685477.5808, -214748.3648, -0.0000000001,
  '9999-12-31 23:59:59.997', '2079-06-06 23:59', '0001-01-01', '23:59:59.997',
  '9999-12-31 23:59:59.999999', '23:59:59.999999', 'Ω', 0x0100, 't', 'Ω', 0x00ff)
go
create table moments (a datetime null, b smalldatetime null, c date null, d time null,
  e bigdatetime null, f bigtime null)
insert moments values ('9999-12-31 23:59:59.997', '2079-06-06 23:59', '9999-12-31',
  '23:59:59.997', '9999-12-31 23:59:59.999999', '23:59:59.999999')
insert moments values ('1753-01-01', '1900-01-01', '0001-01-01', '00:00', '0001-01-01', '00:00')
insert moments values ('1899-12-31 00:00:00.003', '2024-02-29 12:00', '1899-12-31',
  '12:00:00.007', '1899-12-31 00:00:00.000001', '12:00:00.000001')
insert moments values ('2024-02-29 13:05:00.01', null, null, '00:00:00.003', null, null)
insert moments values (null, null, null, null, null, null)
go
)";

constexpr std::array<std::u16string_view, 53> kBatches{
    // Values.
    u"select * from texts",
    u"select * from binaries",
    u"select * from numbers",
    u"select * from moments",
    u"select * from firm",
    u"select null, null as a, '' as b, ' ' as c, 'x ' as d, convert(char(3), 'x') as e",
    u"select 1, 2 as a, 'ä€Ω😀' as b, -0.0001, 1.50, $12.3456, 1e0, 0xff",
    u"select \"Ä\" as [B c], 1 as [d]]e], 2 as \"f\"",
    // Results, messages and counts.
    u"select 1 as a select 2 as b, 'x' as c",
    u"select 1 as a where 1 = 2 select 2 as b where 1 = 2",
    u"print 'hällo'",
    u"print 'one' print 'two' select 1 as a",
    u"select 1 as a print 'between' select 2 as b print 'after'",
    u"declare @n int",
    u"declare @n int select @n = 1 select @n",
    u"if 1 = 2 select 1 as a else select 2 as b",
    u"while 1 = 2 select 1",
    u"insert pairs values (3, 'c')",
    u"insert pairs values (4, 'd') select * from pairs",
    u"insert pairs values (5, 'e') delete pairs where n = 5 select * from pairs",
    u"set nocount on insert pairs values (6, 'f') select * from pairs set nocount off",
    u"set rowcount 1 select * from pairs set rowcount 0",
    u"update pairs set n = 9 where n = 77",
    u"delete pairs print 'x'",
    u"create table #a (a int) insert #a values (1) select * from #a drop table #a",
    u"exec two_results",
    u"exec silent",
    u"exec two_results exec silent exec two_results",
    u"exec sp_helpindex pairs",
    u"exec sp_helptext 'dbo.silent'",
    u"exec sp_columns pairs, dbo",
    u"exec sp_help pairs",
    u"begin transaction rollback transaction",
    // Errors.
    u"exec fails",
    u"exec fails select 1 as a",
    u"exec sp_helpindex nosuch",
    u"exec nosuch",
    u"select * from nowhere",
    u"select nothing from pairs",
    u"select 1 as a select * from nowhere",
    u"select * from broken_too",
    u"this is no statement",
    u"select",
    u"goto nowhere",
    u"insert pairs values (null, null)",
    u"insert pairs values (1, 'a') insert pairs values (null, null) select * from pairs",
    u"select 1 as a raiserror 21002 'one'",
    u"raiserror 21002 'one' select 1 as a",
    u"select 1 as a raiserror 21002 'one' select 2 as b",
    u"insert pairs values (1, 'a') raiserror 21002 'one'",
    u"use nosuch",
    u"use master",
    u"select db_name()",
};

TEST(LiveAnswers, AreThoseOfTheEmbeddedConnection) {
  embedded::EmbeddedCatalog catalog = tds::catalogOf(std::string(kScript));
  const auto inProcess = catalog.connect();
  const LiveServer server(tds::catalogOf(std::string(kScript)));
  const auto live = server.connect();
  for (const std::u16string_view batch : kBatches) {
    for (const ado::OpenMode& mode : {ado::kClientCursor, ado::kForwardOnly})
      EXPECT_EQ(answer(*live, batch, mode), answer(*inProcess, batch, mode)) << toUtf8(batch);
  }
}

// What has arrived before rows break off stays; they themselves never pass for a result.
TEST(LiveAnswers, EndWhereRowsBreakOff) {
  const LiveServer server(tds::catalogOf(std::string(kScript)));
  const auto live = server.connect();
  const std::string failure =
      "failed: Divide by zero occurred.\n3607 22012 Divide by zero occurred.\n";
  EXPECT_EQ(answer(*live, u"select 1 / 0", ado::kClientCursor), failure);
  EXPECT_EQ(answer(*live, u"select 1 as a select 1 / 0 select 2 as b", ado::kClientCursor),
            "1 rows: [a]\ninteger '1', \n" + failure);
  EXPECT_EQ(answer(*live, u"select 1 as a select 1 / 0 select 2 as b", ado::kForwardOnly),
            "-1 rows: [a]\ninteger '1', \n" + failure);
  EXPECT_EQ(answer(*live, u"select 2 as b", ado::kClientCursor), "1 rows: [b]\ninteger '2', \n");
}

}  // namespace
}  // namespace kelvane::testing
