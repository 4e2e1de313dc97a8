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

TEST(Batch, NothingIsNamedTwice) {
  Probe probe("create table t (a int null, b int null)\ngo\ncreate table #t (a int)");
  const std::pair<const char*, const char*> refused[] = {
      {"declare @a int, @a int", "134"},
      {"declare @a int declare @b int declare @a char(1)", "134"},
      {"while 1 = 0 begin declare @a int end declare @a int", "134"},
      {"create procedure p @a int as declare @a int", "134"},
      {"create procedure p @a int, @a int as select 1", "134"},
      {"insert t (a, b, a) values (1, 2, 3)", "264"},
      {"insert t (a, a) select 1, 2", "264"},
      {"update t set a = 1, b = 2, a = 3", "264"},
      {"update t set a = 1, a = 3 from t x", "264"},
      {"create table #x (a int, b int, a int)", "2705"},
      {"create table #y (a int) create view v as select a from #y", "4508"},
      {"create table #z (a int) create view v as select t.a from t, #z", "4508"},
      {"create view v as select a into x from t", "156"},
      {"create view v as select a from t union select a into x from t", "156"},
      {"insert t (a) select a into x from t", "156"},
      {"select * from (select a into x from t) y", "156"},
      {"declare c cursor for select a into x from t", "156"}};
  for (const auto& [sql, number] : refused) {
    EXPECT_TRUE(probe.refusal(sql).starts_with(std::string(number) + ": "))
        << sql << ": " << probe.refusal(sql);
  }
  EXPECT_EQ(probe.rows("select count(*) from t"), "0\n");
  EXPECT_EQ(probe.rows("select name from sysobjects where name in ('v', 'x', 'p')"), "");
  EXPECT_EQ(probe.rows("declare @i int select @i = 0 while @i < 3 begin declare @j int "
                       "select @i = @i + 1 end select @i"),
            "3\n");
  EXPECT_EQ(probe.ask("declare @a int exec ('declare @a int')"), "(closed)\n");
  EXPECT_EQ(probe.ask("select a into #n from t union select 5 select a from #n"),
            "(closed)\na\n5\n");
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

TEST(Batch, ALanguageIsKnownOnceAMessageNamesIt) {
  Probe probe;
  const auto status = [&](const std::string& name) {
    return probe.rows("declare @s int exec @s = sp_validlang " + name + " select @s");
  };
  EXPECT_EQ(status("us_english"), "0\n");
  EXPECT_EQ(status("german"), "1\n");
  probe.ask("exec sp_addmessage 20001, 'nein', german");
  EXPECT_EQ(status("german"), "0\n");
}

TEST(Batch, ErrorsBehindAResult) {
  Probe probe;
  EXPECT_EQ(probe.ask("select 1 raiserror 20001 'too late'"), "\n1\nerror 20001: too late\n");
  EXPECT_EQ(probe.ask("raiserror 20001 'first' select 1"), "error 20001: first\n");
  probe.ask("exec sp_addmessage 20010, 'No %1! for %2!.'");
  EXPECT_EQ(probe.ask("raiserror 20010, 'joe', 7"), "error 20010: No joe for 7.\n");
  EXPECT_EQ(probe.ask("raiserror 20010 'own %1!', 'text'"), "error 20010: own text\n");
  EXPECT_EQ(probe.ask("raiserror 20011, 'own %1!', 'text'"), "error 20011: own text\n");
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
  expectAnswers(probe,
                {
                    {"set nocount on declare @r int, @s int exec @r = twice 4, @sum = @s output "
                     "select @r, @s",
                     "a\n13\n | \n7 | 13\n"},
                    {"twice 1, 2, 3", "a\n4\n"},
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

TEST(Batch, FunctionsOfTheSchema) {
  Probe probe(R"(
create table t (a int, b varchar(5) null)
insert t values (1, 'x')
insert t values (2, null)
go
create function dbo.twice (@n int) returns int as begin declare @x int select @x = @n * 2 return @x end
go
create function counted (@b varchar(5)) returns varchar(20) as
begin
  if @b is null return 'none'
  declare @c int
  select @c = count(*) from t where b = @b
  return @b + convert(varchar(5), @c)
end
go
create function endless (@n int) returns int as begin return dbo.endless(@n) end
go
create function wrong (@n int) returns int as begin return convert(int, 'x') end
go
create view v as select dbo.twice(a) as d, counted(b) as c from t
go
create table u (n numeric(5,0) identity, a int default dbo.twice(3), b as dbo.twice(a), c int null)
go
)");
  expectAnswers(probe,
                {{"select d, c from v", "d | c\n2 | x1\n4 | none\n"},
                 {"set nocount on insert u (c) select dbo.twice(a) from t select * from u",
                  "n | a | b | c\n1 | 6 | 12 | 2\n2 | 6 | 12 | 4\n"},
                 {"select dbo.endless(1)",
                  "\nerror 217: Maximum stored procedure nesting level exceeded (limit 16).\n"},
                 {"select dbo.wrong(1)",
                  "\nerror 249: Syntax error during explicit conversion of VARCHAR value 'x' to a "
                  "INT field.\n"},
                 {"select dbo.twice(1, 2)",
                  "error 174: The function 'twice' has a wrong number of arguments.\n"}});
  EXPECT_EQ(probe.rows("select name, usertype, length from syscolumns"
                       " where id = object_id('counted') order by colid"),
            "@b | 2 | 5\nReturn Type | 2 | 20\n");
}

TEST(Batch, WhatBecomesAnIdentity) {
  Probe probe(
      "create table t (id numeric(6,0) identity, b varchar(5))\n"
      "insert t values ('x')\ninsert t values ('y')");
  const auto identities = [&](const std::string& query) {
    probe.ask(query);
    std::string names = probe.rows(
        "select name, prec from syscolumns where id = object_id('made') and status & 128 = 128");
    probe.ask("drop table made");
    return names;
  };
  EXPECT_EQ(identities("select * into made from t"), "id | 6\n");
  EXPECT_EQ(identities("select n = identity(4), b into made from t"), "n | 4\n");
  EXPECT_EQ(identities("select identity(4) n, t.b into made from t, t u"), "n | 4\n");
  for (const char* query :
       {"select id + 0 as id into made from t", "select t.id into made from t, t u",
        "select id, id as again into made from t", "select max(id) as id into made from t",
        "select id into made from t union select id from t",
        "select t.id into made from t join t u on t.id = u.id",
        "select identity(4) n, id into made from t"}) {
    EXPECT_EQ(identities(query), "") << query;
  }
  EXPECT_EQ(probe.ask("set nocount on select identity(3) as n, b into #m from t "
                      "insert #m values ('z') select syb_identity, b from #m"),
            "syb_identity | b\n1 | x\n2 | y\n3 | z\n");
}

TEST(Batch, IdentitiesEndWhereTheirTypeDoes) {
  Probe probe(R"(
create table n (id numeric(1,0) identity, b int)
create table i (id int identity, b int)
create table w (id bigint identity, b int)
create table r (b int)
go
set identity_insert n on insert n (id, b) values (8, 0) set identity_insert n off
set identity_insert i on insert i (id, b) values (2147483646, 0) set identity_insert i off
set identity_insert w on insert w (id, b) values (9223372036854775806, 0) set identity_insert w off
insert n (b) values (1) insert i (b) values (1) insert w (b) values (1)
go
insert r values (1)
go 10
)");
  EXPECT_EQ(
      probe.refusal("insert n (b) values (2)"),
      "247: Arithmetic overflow during implicit conversion of NUMERIC value '10' to a NUMERIC "
      "field.\n");
  EXPECT_EQ(probe.refusal("insert n (b) select 2").substr(0, 4), "247:");
  EXPECT_EQ(probe.refusal("insert i (b) values (2)").substr(0, 4), "247:");
  EXPECT_EQ(probe.refusal("insert w (b) values (2)").substr(0, 5), "3606:");
  EXPECT_EQ(probe.rows("select max(n.id), max(i.id), max(w.id) from n, i, w"),
            "9 | 2147483647 | 9223372036854775807\n");
  EXPECT_EQ(probe.refusal("alter table r add id numeric(1,0) identity").substr(0, 4), "247:");
  EXPECT_EQ(probe.rows("select count(*) from syscolumns where id = object_id('r')"), "1\n");
}

TEST(Batch, OptionsThatChangeWhatStatementsDo) {
  Probe probe(R"(
create table t (a int null)
insert t values (null)
go
exec sp_addlogin bob, 'secret1'
exec sp_adduser bob
)");
  expectAnswers(probe, {{"select count(*) from t where a = null", "\n1\n"},
                        {"set ansinull on", "(closed)\n"},
                        {"select count(*) from t where a = null", "\n0\n"},
                        {"set ansinull off set nocount on set chained on", "(closed)\n"},
                        {"insert t values (1) select @@trancount rollback", "\n1\n"},
                        {"select count(*) from t commit set chained off", "\n1\n"},
                        {"set proxy bob", "(closed)\n"},
                        {"select user", "\nbob\n"},
                        {"set session authorization 'sa'", "(closed)\n"},
                        {"select user", "\ndbo\n"}});
  EXPECT_EQ(probe.refusal("set dateformat dmy").substr(0, 2), "0:");
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

TEST(Cursors, AreRefusedWhereThereAreNone) {
  Probe probe("create table t (a int)");
  for (const char* statement :
       {"open nosuch", "fetch nosuch", "close nosuch", "deallocate cursor nosuch"}) {
    EXPECT_EQ(probe.refusal(statement).substr(0, 4), "557:") << statement;
  }
  EXPECT_EQ(probe.refusal("declare c cursor for select a from t fetch c").substr(0, 4), "559:");
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

TEST(Batch, LimitsCountForChangesOfRows) {
  Probe probe(R"(
create table t (a int, b int null)
create table u (a int)
insert u values (1)
insert u values (1)
go
create trigger d on t for delete as print 'gone'
go
)");
  const auto fill = [&] {
    probe.ask("delete t insert t select 1, 1 union select 2, 2 union select 3, 3");
  };
  const auto left = [&](const std::string& sql) {
    fill();
    probe.ask(sql + " set rowcount 0");
    return probe.rows("select a, b from t order by a");
  };
  EXPECT_EQ(left("delete top 1 t"), "2 | 2\n3 | 3\n");
  EXPECT_EQ(left("delete top 0 t"), "1 | 1\n2 | 2\n3 | 3\n");
  EXPECT_EQ(left("delete top 1 t from t, u where t.b > u.a"), "1 | 1\n3 | 3\n");
  EXPECT_EQ(left("update top 1 t set b = 9 where a > 1"), "1 | 1\n2 | 9\n3 | 3\n");
  EXPECT_EQ(left("update top 2 t set b = 9 from t, u where t.b >= u.a"), "1 | 9\n2 | 9\n3 | 3\n");
  EXPECT_EQ(left("set rowcount 2 delete t"), "3 | 3\n");
  EXPECT_EQ(left("set rowcount 2 update t set b = 9"), "1 | 9\n2 | 9\n3 | 3\n");
  EXPECT_EQ(left("set rowcount 1 while 1 = 1 begin delete t if @@rowcount = 0 break end"), "");
  fill();
  EXPECT_EQ(probe.rows("select top 0 a from t"), "");
  EXPECT_EQ(probe.rows("select top 0 a from t union all select top 2 a from t"), "1\n2\n");
  EXPECT_EQ(probe.rows("select count(*) from (select top 0 a from t) x"), "0\n");
}

TEST(Batch, KeysAreComparedWhenAllRowsAreChanged) {
  Probe probe(R"(
create table t (a int unique, b int null)
insert t values (1, 1)
insert t values (2, 1)
create table seen (was int, now int)
go
create trigger u on t for update as
insert seen select d.a, i.a from deleted d, inserted i where d.a + 1 = i.a
go
)");
  EXPECT_EQ(probe.ask("set nocount on update t set a = a + 1"), "(closed)\n");
  EXPECT_EQ(probe.rows("select a from t order by a"), "2\n3\n");
  EXPECT_EQ(probe.rows("select was, now from seen order by was"), "1 | 2\n2 | 3\n");
  EXPECT_EQ(probe.refusal("update t set a = b").substr(0, 5), "2601:");
  EXPECT_EQ(probe.rows("select a from t order by a"), "2\n3\n");
  EXPECT_EQ(probe.refusal("insert t values (3, 3)").substr(0, 5), "2601:");
  EXPECT_EQ(probe.rows("create table #k (a int primary key) insert #k select a from t"
                       " update #k set a = a + 1 select a from #k order by a"),
            "3\n4\n");
}

TEST(Batch, AnUpdateAssignsVariables) {
  Probe probe(
      "create table t (id int, a int)\ninsert t values (1, 5)\ninsert t values (2, 6)\n"
      "create table e (a int)");
  const char* const head = "set nocount on declare @v int, @w int select @v = 0 ";
  const auto rows = [&](const char* sql) { return probe.rows(std::string(head) + sql); };
  EXPECT_EQ(rows("update t set @v = a, a = a + 1 where id = 1 select @v, a from t where id = 1"),
            "5 | 6\n");
  EXPECT_EQ(rows("update t set @v = @v + 1, a = @v select a from t order by id"), "1\n2\n");
  EXPECT_EQ(rows("update t set @w = max(id) from t select @w").substr(0, 6), "error ");
  EXPECT_EQ(rows("update t set @w = a where id = 2 select @w, a from t order by id"),
            "2 | 1\n2 | 2\n");
  EXPECT_EQ(rows("update e set @v = a select @v"), "0\n");
  EXPECT_EQ(probe.refusal("update t set @nosuch = a").substr(0, 4), "137:");
  // Written once more when all keys are changed.
  probe.ask("create table k (a int unique) insert k values (1) insert k values (2)");
  EXPECT_EQ(rows("update k set @v = @v + 1, a = a + 1 select @v"), "2\n");
}

TEST(Batch, TimestampsGrowWithEachChange) {
  Probe probe(R"(
create table t (a int, ts timestamp, b int null check (b < 9))
insert t values (1, null, 1)
insert t (a) values (2)
insert t select a + 2, ts, b from t
create table copied (ts timestamp, a int)
go
create view v as select a, b from t
go
)");
  const auto stamps = [&] {
    return probe.rows("select a, hextoint(bintostr(substring(ts, 5, 4))) from t order by a");
  };
  EXPECT_EQ(stamps(), "1 | 1\n2 | 2\n3 | 3\n4 | 4\n");
  EXPECT_EQ(probe.rows("select datalength(ts) from t where a = 4 and ts = @@dbts"), "8\n");
  probe.ask("update t set b = 2 where a = 2 update v set b = 3 where a = 1");
  probe.ask("declare @v int update t set @v = a from t, sysobjects o where a = 3 and o.name = 't'");
  EXPECT_EQ(stamps(), "1 | 6\n2 | 5\n3 | 7\n4 | 4\n");
  probe.ask("begin tran update t set b = 2 rollback tran insert copied select ts, a from t");
  EXPECT_EQ(stamps(), "1 | 6\n2 | 5\n3 | 7\n4 | 4\n");
  EXPECT_EQ(probe.rows("select count(*) from copied c, t where c.a = t.a and c.ts > t.ts"), "4\n");
  EXPECT_EQ(probe.refusal("insert t values (5, 0x01, 1)").substr(0, 4), "273:");
  EXPECT_EQ(probe.refusal("update t set ts = null").substr(0, 4), "272:");
  EXPECT_EQ(
      probe.rows("set nocount on create table #k (ts timestamp, a int) insert #k (a) values (1)"
                 " update #k set a = 2 select a from #k where ts is not null"),
      "2\n");
}

TEST(Batch, RollbacksNameWhatTheyUndo) {
  Probe probe("create table t (a int)");
  EXPECT_EQ(probe.ask("set nocount on begin tran outermost insert t values (1) save tran s"
                      " insert t values (2) begin tran inner1 rollback tran s"
                      " select a, @@trancount from t"),
            "a | \n1 | 2\n");
  for (const char* name : {"nosuch", "inner1"}) {
    EXPECT_EQ(probe.ask(std::string("rollback tran ") + name + " select @@trancount"),
              "error 6401: Cannot rollback " + std::string(name) +
                  ". No transaction or savepoint of that name was found.\n");
  }
  EXPECT_EQ(probe.rows("select @@trancount"), "2\n");
  EXPECT_EQ(probe.rows("declare @n varchar(9) select @n = 'outermost' rollback tran @n"
                       " select @@trancount, count(*) from t"),
            "0 | 0\n");
}

TEST(Batch, ATransactionThatIsNotThereHasNoEnd) {
  Probe probe("create table t (a int)");
  EXPECT_EQ(probe.ask("commit rollback tran commit tran nosuch rollback tran nosuch set nocount on"
                      " insert t values (1) rollback select a, @@error, @@trancount from t"),
            "a |  | \n1 | 0 | 0\n");
  probe.ask("begin tran insert t values (2) rollback commit");
  EXPECT_EQ(probe.rows("select a from t"), "1\n");
}

TEST(Batch, ArithmeticErrorsUndoTheTransaction) {
  Probe probe(
      "create table t (a int)\ngo\ncreate function f (@n int) returns int as "
      "begin return 1 / @n end\ngo\n");
  for (const char* fails : {"declare @v int select @v = 1 / 0", "insert t select dbo.f(0)"}) {
    probe.ask("begin tran insert t values (1)");
    EXPECT_EQ(probe.refusal(fails).substr(0, 5), "3607:") << fails;
    EXPECT_EQ(probe.rows("select @@trancount, count(*) from t"), "0 | 0\n") << fails;
  }
  probe.ask("set arithabort numeric_truncation off set arithabort arith_overflow off");
  probe.ask("begin tran insert t values (1) declare @v int select @v = 1 / 0");
  EXPECT_EQ(probe.rows("select @@trancount, count(*) from t"), "1 | 1\n");
}

TEST(Batch, ArithmeticErrorsEndTheBatchOrTheStatement) {
  Probe probe("create table t (a tinyint null, n numeric(5, 1) null)");
  constexpr const char* kFail[] = {"insert t (a) values (256)", "declare @v int select @v = 1 / 0",
                                   "declare @w int select @w = 2147483647 + @@trancount",
                                   "if log(-1) = 1 print 'x'", "select 1 / 0"};
  const auto counted = [&](const char* fails) {
    probe.ask("begin tran insert t (a) values (1)");
    probe.ask(std::string(fails) + " insert t (a) values (2)");
    return probe.rows("select @@trancount, count(*) from t where @@trancount >= 0");
  };
  for (const char* fails : kFail) EXPECT_EQ(counted(fails), "0 | 0\n") << fails;
  probe.ask("set arithabort arith_overflow off");
  for (const char* fails : kFail) {
    EXPECT_EQ(counted(fails), "1 | 2\n") << fails;
    probe.ask("rollback");
  }
  probe.ask("set arithabort on insert t (n) values (2.29) insert t (n) values (2.2)");
  EXPECT_EQ(probe.rows("select n from t"), "2.2\n");
}

TEST(Batch, AssignmentsRefuseWhatTheyWouldLose) {
  Probe probe(R"(
create table t (n numeric(5, 1) null, m money null, s smallmoney null, d datetime null,
  sd smalldatetime null, y tinyint null)
insert t (n) values (2.50)
)");
  const std::pair<const char*, const char*> kRefused[] = {
      {"insert t (n) values (2.29)",
       "241: Scale error during implicit conversion of NUMERIC value '2.29' to a NUMERIC field."},
      {"insert t (n) select 2.29", "241:"},
      {"update t set n = n * 1.11", "241:"},
      {"declare @n numeric(5, 1) select @n = 2.29", "241:"},
      {"insert t (m) values (922337203685477.5808)",
       "247: Arithmetic overflow during implicit conversion of NUMERIC value "
       "'922337203685477.5808' to a MONEY field."},
      {"insert t (m) values (-922337203685477.5809)", "247:"},
      {"insert t (s) values ($214748.3648)", "247:"},
      {"insert t (s) values (300000)", "247:"},
      {"select convert(smallmoney, -214748.3649)", "247:"},
      {"insert t (d) values ('1752-12-31')", "247:"},
      {"insert t (sd) values ('2079-06-07')", "247:"},
      {"insert t (sd) values ('1899-12-31')", "247:"},
      {"insert t (y) values (256)", "247:"},
      {"insert t (d) values ('x')",
       "249: Syntax error during implicit conversion of VARCHAR value 'x' to a DATETIME field."},
  };
  for (const auto& [sql, refusal] : kRefused) {
    EXPECT_EQ(probe.refusal(sql).substr(0, std::string_view(refusal).size()), refusal) << sql;
  }
  probe.ask(
      "insert t values (2.20, 922337203685477.5807, -214748.3648, '1753-01-01', "
      "'2079-06-06 23:59', 255)");
  EXPECT_EQ(probe.rows("select n, m, s, year(d), year(sd), y from t where y = 255"),
            "2.2 | 922337203685477.5807 | -214748.3648 | 1753 | 2079 | 255\n");
  EXPECT_EQ(
      probe.rows(
          "set nocount on set arithabort numeric_truncation off insert t (n, y) values (2.29, 1)"
          " update t set n = 7.89 where n = 2.5"
          " select n from t where n <> 2.2 or y = 1 order by n"),
      "2.2\n7.8\n");
}

TEST(Batch, FormatsAloneAreGiven) {
  Probe probe(R"(
create table t (a int, b varchar(9) null)
insert t values (1, 'x')
go
create procedure p as
  if exists (select * from t) select a, 1 as n from t else select b from t
  delete t
go
)");
  EXPECT_EQ(
      probe.ask("set fmtonly on select * from t exec p exec sp_help t insert t values (2, 'y')"
                " create table u (a int) declare @v int select @v = 1 / 0 select @v as v"
                " set fmtonly off"),
      "a | b\na | n\nb\nv\n");
  EXPECT_EQ(probe.rows("select count(*), object_id('u') from t"), "1 | -\n");
  probe.ask("set fmtonly on");
  EXPECT_EQ(probe.ask("select a from t", ado::kForwardOnly), "a\n");
  EXPECT_EQ(probe.ask("insert t values (3, 'z') insert t values (3, 'z')"), "(closed)\n");
  EXPECT_EQ(probe.rows("set fmtonly off select count(*) from t"), "1\n");
}

TEST(Batch, NothingRunsWithoutExecution) {
  Probe probe("create table t (a int)");
  EXPECT_EQ(probe.ask("set noexec on"), "(closed)\n");
  EXPECT_EQ(probe.ask("insert t values (1)"), "(closed)\n");
  EXPECT_EQ(probe.ask("select 1", ado::kForwardOnly), "(closed)\n");
  EXPECT_EQ(probe.refusal("select nosuch from t").substr(0, 4), "207:");
  EXPECT_EQ(probe.ask("set noexec off set parseonly on"), "(closed)\n");
  EXPECT_EQ(probe.ask("drop table t select nosuch from nowhere"), "(closed)\n");
  EXPECT_EQ(probe.refusal("select a b c").substr(0, 4), "102:");
  EXPECT_EQ(probe.rows("set parseonly off select count(*) from t"), "0\n");
}

}  // namespace
}  // namespace kelvane::embedded
