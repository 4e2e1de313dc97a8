// Batches: what runs, what a client sees of it, what stays for the session.

#include <gtest/gtest.h>

#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

struct Case {
  const char* sql;
  const char* result;
};

void expectAnswers(Probe& probe, std::initializer_list<Case> cases) {
  for (const Case& c : cases) EXPECT_EQ(probe.ask(c.sql), c.result) << c.sql;
}

TEST(Batch, FlowOfControl) {
  Probe probe;
  expectAnswers(
      probe,
      {
          {"declare @i int, @s varchar(20) select @i = 0 while @i < 5 begin select @i = @i + 1 "
           "if @i = 2 continue if @i = 4 break select @s = @s + convert(varchar, @i) end select @s",
           "\n13\n"},
          {"declare @i int select @i = 1 again: select @i = @i * 2 if @i < 100 goto again select "
           "@i",
           "\n128\n"},
          {"if exists (select 1 from sysobjects where name = 'sysobjects') select 'yes' "
           "else select 'no'",
           "\nyes\n"},
          {"if object_id('nothing') is not null select 'yes' else select 'no'", "\nno\n"},
          {"select 1 return select 2", "\n1\n"},
          {"declare @v varchar(3) select @v = 'abcdef' select @v", "\nabc\n"},
          {"declare @v varchar(3) select @v = name from sysobjects where 1 = 0 select @v", "\n-\n"},
          {"select 'a' where 1 = 0 select @@rowcount", "\n\n0\n"},
          {"declare @q varchar(40) select @q = 'select 1 + 1' exec (@q)", "\n2\n"},
          {"print 'hello'", "(closed)\n"},
          {"", "(closed)\n"},
          {"print 'hello' select 1", "\n1\n"},
      });
}

TEST(Batch, NothingRunsOfARefusedOne) {
  Probe probe("create table t (a int)");
  EXPECT_EQ(probe.refusal("insert t values (1) select * from nowhere").substr(0, 4), "208:");
  EXPECT_EQ(probe.refusal("insert t values (1) select b from t"),
            "207: Invalid column name 'b'.\n");
  EXPECT_EQ(probe.refusal("insert t values (1) if 1 = 0 select b from t"),
            "207: Invalid column name 'b'.\n");
  EXPECT_EQ(probe.refusal("insert t values (1) select 'a").substr(0, 4), "105:");
  EXPECT_EQ(probe.refusal("insert t values (1) selec 1").substr(0, 4), "102:");
  EXPECT_EQ(probe.rows("select count(*) from t"), "0\n");
}

TEST(Batch, TablesMadeOnTheWayAreFound) {
  Probe probe;
  EXPECT_EQ(probe.ask("set nocount on create table #x (a int, b varchar(9) null)"
                      " insert #x (a) values (1) select * from #x drop table #x"),
            "a | b\n1 | -\n");
  EXPECT_EQ(probe.ask("select 1 a into #y select a from #y"), "a\n1\n");
  EXPECT_EQ(probe.ask("create table t (a int) insert t values (3) select a from t"), "a\n3\n");
}

TEST(Batch, CountsShowUntilNocount) {
  Probe probe("create table t (a int)");
  EXPECT_EQ(probe.ask("insert t values (1) update t set a = 2 select a from t"),
            "(closed)\n(closed)\na\n2\n");
  EXPECT_EQ(probe.ask("set nocount on"), "(closed)\n");
  EXPECT_EQ(probe.ask("insert t values (1) select count(*) from t"), "\n2\n");
}

TEST(Batch, ATemporaryTableOutlivesABatchThatDied) {
  Probe probe;
  const std::string batch =
      "set nocount on create table #x (a int) insert #x select convert(int, 'x') drop table #x";
  EXPECT_EQ(probe.refusal(batch).substr(0, 4), "249:");
  EXPECT_EQ(probe.refusal(batch), "2714: There is already an object named '#x' in the database.\n");
  EXPECT_EQ(Probe().refusal("insert #x values (null)").substr(0, 4), "208:");
  EXPECT_EQ(probe.refusal("insert #x values (null)"),
            "233: The column a in table #x does not allow null values.\n");
}

TEST(Batch, ErrorsBehindAResult) {
  Probe probe;
  EXPECT_EQ(probe.ask("select 1 raiserror 20001 'too late'"), "\n1\nerror 20001: too late\n");
  EXPECT_EQ(probe.ask("raiserror 20001 'first' select 1"), "error 20001: first\n");
  EXPECT_EQ(probe.ask("exec sp_nothing").substr(0, 11), "error 2812:");
  const auto& error = probe.connection->Errors().at(0);
  EXPECT_EQ(error.Number, -2147467259);
  EXPECT_EQ(error.NativeError, 2812);
  EXPECT_EQ(error.Source, u"Kelvane embedded catalog");
  EXPECT_EQ(error.SQLState, u"42000");
  EXPECT_EQ(probe.ask("select 1"), "\n1\n");
  EXPECT_TRUE(probe.connection->Errors().empty());
}

TEST(Batch, StoredProcedures) {
  Probe probe(R"(
create procedure twice @n int, @m int = 5, @sum int output as
select @sum = @n * 2 + @m
create table #own (a int)
insert #own values (@sum)
select a from #own
return 7
go
create proc endless as exec endless
go
set nocount on
)");
  expectAnswers(
      probe, {
                 {"set nocount on declare @r int, @s int exec @r = twice 4, @sum = @s output "
                  "select @r, @s",
                  "a\n13\n | \n7 | 13\n"},
                 {"twice 1, 2, 3", "a\n4\n"},
                 {"create table t (a int) insert t exec twice 1, 1, 0 select a from t", "a\n3\n"},
                 {"exec twice",
                  "error 201: Procedure twice expects parameter @n, which was not supplied.\n"},
                 {"exec endless",
                  "error 217: Maximum stored procedure nesting level exceeded (limit 16).\n"},
             });
  EXPECT_EQ(probe.refusal("select * from #own").substr(0, 4), "208:");
}

TEST(Batch, StoredTextsAreReadAsTheyWereWritten) {
  Probe probe(R"(
set quoted_identifier on
go
create view "my view" as select 'x' as "a column"
go
create procedure "my proc" as select "a column" + 'y' as z from "my view"
go
create table t ("a b" int constraint quoted_ck check ("a b" > 0))
go
set quoted_identifier off
go
create procedure p as select "one"
go
create procedure p;2 @n int as select @n + 1
go
)");
  expectAnswers(probe, {{"select * from [my view]", "a column\nx\n"},
                        {"exec [my proc]", "z\nxy\n"},
                        {"set nocount on insert t values (0)",
                         "error 548: Check constraint violation occurred, dbname = 'main', table "
                         "name = 't', constraint name = 'quoted_ck'.\n"},
                        {"exec p", "\none\n"},
                        {"exec p;2 5", "\n6\n"}});
  EXPECT_EQ(probe.refusal("exec p;3").substr(0, 34), "2812: Stored procedure 'p;3' not f");
}

TEST(Batch, EachNameOfADropIsTried) {
  Probe probe("create table a (i int)\ncreate table c (i int)");
  EXPECT_EQ(probe.ask("drop table a, b, c, #d"),
            "error 3701: Cannot drop the table 'b', because it doesn't exist in the system "
            "catalogs.\nerror 3701: Cannot drop the table '#d', because it doesn't exist in the "
            "system catalogs.\n");
  EXPECT_EQ(probe.rows("select count(*) from sysobjects where type = 'U'"), "0\n");
}

TEST(Batch, Cursors) {
  Probe probe("create table t (a int)\ngo\ninsert t select 1 union select 2 union select 3");
  EXPECT_EQ(probe.ask("declare c cursor for select a from t order by a"), "(closed)\n");
  EXPECT_EQ(
      probe.ask("declare @a int, @sum int select @sum = 0 open c fetch c into @a "
                "while @@sqlstatus = 0 begin select @sum = @sum * 10 + @a fetch c into @a end "
                "close c deallocate cursor c select @sum"),
      "\n123\n");
}

TEST(Batch, TransactionsRollBack) {
  Probe probe("create table t (a int)");
  EXPECT_EQ(probe.ask("set nocount on begin tran insert t values (1) create table u (a int) "
                      "select @@trancount rollback select count(*) from t"),
            "\n1\n\n0\n");
  EXPECT_EQ(probe.refusal("select * from u").substr(0, 4), "208:");
  EXPECT_EQ(probe.ask("begin tran insert t values (1) commit select a from t"), "a\n1\n");
}

TEST(Batch, ForwardOnlyRows) {
  Probe probe("create table t (a int, c char(3))\ngo\ninsert t select 1, 'x' union select 2, 'y'");
  EXPECT_EQ(probe.ask("select * from t order by a", ado::kForwardOnly),
            "a | c\n1 | x  \n2 | y  \n");
  EXPECT_EQ(probe.ask("insert t values (3, 'z') select a from t order by 1", ado::kForwardOnly),
            "(closed)\na\n1\n2\n3\n");
  EXPECT_EQ(probe.ask("select convert(int, c) from t", ado::kForwardOnly).substr(0, 10),
            "error 249:");
  const auto rows = probe.connection->Open(u"select a from t order by a", ado::kForwardOnly);
  EXPECT_EQ(rows->RecordCount(), -1);
  EXPECT_THROW(rows->Sort(u"a"), RuntimeError);
  const auto other = probe.connection->Open(u"select count(*) from t", ado::kClientCursor);
  EXPECT_EQ(rows->Fields(0).Value().toLong(), 1);
  rows->MoveNext();
  EXPECT_EQ(rows->Fields(u"A").Value().toLong(), 2);
}

}  // namespace
}  // namespace kelvane::embedded
