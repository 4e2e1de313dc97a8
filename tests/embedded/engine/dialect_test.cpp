// What a release's grammar has, and where the effect of each statement can be read.

#include <gtest/gtest.h>

#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

/// Errors and, with `-v`, what was ignored: `error 17461` or the text of a note, a line each.
std::string told(std::string_view script, std::optional<Release> release = {}) {
  CatalogOptions options;
  options.release = release;
  EmbeddedCatalog catalog(options);
  std::string text;
  const LoadReport report =
      loadScript(catalog, "a.sql", script, {.stopAtFirstError = false, .listIgnored = true});
  for (const ScriptNote& error : report.errors) {
    text +=
        "error " + std::to_string(error.number) + " in line " + std::to_string(error.line) + "\n";
  }
  for (const ScriptNote& note : report.notes) text += note.text + "\n";
  return text;
}

TEST(Dialect, NamesInArgumentsMayBeQuoted) {
  constexpr std::string_view kScript = R"(
set quoted_identifier on
go
create procedure "P x" as select 1
go
create table "T.x" ("c d" int, e int)
go
create rule r as @a > 0
go
sp_rename '"P x"', '"P ""y"'
go
sp_bindrule r, '"T.x"."c d"'
go
sp_rename '"T.x".e', '"e f"'
go
sp_primarykey 'dbo."T.x"', '"e f"'
go
if object_id('main.dbo."P ""y"') is null raiserror 20001 'not found'
go
)";
  Probe probe(kScript);
  EXPECT_EQ(probe.rows("select c.name, o.name from syscolumns c, sysobjects o, sysobjects t"
                       " where c.id = t.id and t.name = 'T.x' and o.id =* c.domain"),
            "c d | r\ne f | -\n");
  EXPECT_EQ(probe.rows("select keycnt, key1 from syskeys"), "1 | 2\n");
  EXPECT_EQ(probe.rows("select object_id('\"T.x\"')"), "-\n");
  EXPECT_EQ(told(kScript, Release::ase125).substr(0, 22), "error 17461 in line 10");
}

TEST(Dialect, AViewIsPartOfABatch) {
  Probe probe(R"(
create table t (a int, b int)
-- the first
create view v as select * from t
grant select on v to public
/* the second */ create view w (x) as select a from v where a > 1
insert t values (2, 3)
if exists (select * from w) create view y as select 1 as one else create view n as select 2 as two
go
-- alone
create view z as select a from t
go
)");
  EXPECT_EQ(probe.rows("select c.text from syscomments c, sysobjects o where o.id = c.id"
                       " and o.name in ('w', 'z') order by o.name"),
            "create view w (x) as select a from v where a > 1\n"
            "-- alone\ncreate view z as select a from t\n\n");
  EXPECT_EQ(probe.rows("select name from sysobjects where type = 'V' order by name"),
            "v\nw\ny\nz\n");
  EXPECT_EQ(probe.rows("select object_name(id) from sysprotects"), "v\n");
}

TEST(Dialect, ReplacedObjectsStayWhatTheyWere) {
  constexpr std::string_view kScript = R"(create table t (a int check (a > 0), b int default 1)
go
create default d as 1
go
create rule r as @a > 0
go
create view v as select a from t
go
create procedure p @a int as select 1
go
create function f (@a int) returns int as return 1
go
create trigger g on t for insert as print 'one'
go
grant execute on p to public grant select on v to public
select name, id into before from sysobjects
go
create or replace default d as 2
go
create or replace rule r as @a > 2
go
create or replace view v as select a, b from t
go
create or replace procedure p @b int, @c int as select 2
go
create or replace function f (@b int) returns int as return 2
go
create or replace trigger g on t for update as print 'two'
go
)";
  Probe probe(kScript);
  EXPECT_EQ(probe.rows("select o.name from sysobjects o, before b where o.name = b.name and o.id !="
                       " b.id"),
            "");
  EXPECT_EQ(probe.rows("select object_name(id) from sysprotects order by 1"), "p\nv\n");
  EXPECT_EQ(probe.rows("select count(*) from syscolumns where id in (object_id('p'),"
                       " object_id('v'), object_id('f'))"),
            "6\n");
  EXPECT_EQ(probe.rows("select object_name(instrig), object_name(updtrig) from sysobjects"
                       " where name = 't'"),
            "- | g\n");
  EXPECT_EQ(probe.rows("select count(*) from syscomments where text like '%one%'"), "0\n");
  const std::string check =
      probe.rows("select name from sysobjects where type = 'R' and name != 'r'");
  EXPECT_EQ(probe.refusal("create or replace rule " + check + " as @a > 5").substr(0, 4), "2714");
  EXPECT_EQ(told("create procedure p as select 1\ngo\ncreate procedure p;2 as select 1\ngo\n"
                 "create or replace procedure p as select 2\ngo\n"
                 "create or replace procedure q;2 as select 2\n"),
            "error 0 in line 5\nerror 0 in line 7\n");
  for (const Release release : {Release::ase125, Release::ase15}) {
    EXPECT_EQ(told("create or replace view v as select 1 as a\n", release),
              "error 156 in line 1\n");
  }
}

TEST(Dialect, StringsOfNationalAndUnicodeCharacters) {
  Probe probe(R"(
create table d (a nvarchar(9) default N'x''y' null, b univarchar(9) default u&'\00fc' null)
insert d values (N'e', U&'\0065')
insert d (a) values (U&'\00e9' + N'a')
insert d values (u&'\\\+01d6d1\D835\DED1', U&"z")
go
create proc p @a nvarchar(9) = N'x' as select @a
go
)");
  EXPECT_EQ(probe.rows("select a, b from d"),
            "e | e\n\u00e9a | \u00fc\n\\\U0001d6d1\U0001d6d1 | z\n");
  EXPECT_EQ(
      probe.rows("select datalength(U&'\\00e9'), datalength(U&'\\+01d6d1'), datalength(N'ab')"),
      "2 | 4 | 2\n");
  EXPECT_EQ(probe.rows("select datalength('ab'), datalength(U&'ab')"), "2 | 4\n");
  EXPECT_EQ(probe.rows("exec p"), "x\n");
  EXPECT_EQ(probe.rows("exec p N'y'"), "y\n");
  EXPECT_EQ(probe.rows("exec p U&'\\0079'"), "y\n");
  EXPECT_EQ(probe.rows("exec p U&'\\007a'"), "z\n");
}

TEST(Dialect, EncryptionKeysAndColumns) {
  Probe probe(R"(
exec sp_adduser u1
create encryption key k1 as default with keylength 192 passwd 'secret' init_vector null pad random
create encryption key k2 with master key
create encryption key master with passwd 'secret'
go
alter encryption key k1 add encryption with passwd 'secret' for user u1
alter encryption key k2 as default
go
create table t (a int encrypt with k1 null, b int encrypt null, c varchar(9) encrypt decrypt_default 'x')
go
alter table t modify a decrypt
alter table t replace c decrypt_default 'y'
grant decrypt on t(c) to u1
grant select on k1 to u1
go
)");
  EXPECT_EQ(probe.rows("select o.name, k.type, k.status, k.eklen, user_name(k.uid)"
                       " from sysencryptkeys k, sysobjects o where o.id = k.id and o.type = 'EK'"
                       " order by 1, 2"),
            "k1 | 1 | 6 | 192 | -\nk1 | 4 | 5 | 192 | u1\nk2 | 3 | 9 | 128 | -\n"
            "sybencrmasterkey | 8 | 5 | 128 | -\n");
  EXPECT_EQ(probe.rows("select name, encrtype, encrlen, object_name(encrkeyid), status2"
                       " from syscolumns where id = object_id('t')"),
            "a | - | - | - | 0\nb | 38 | 4 | k2 | 384\nc | 39 | 9 | k2 | 896\n");
  EXPECT_EQ(probe.rows("select a.object_info1, c.text from sysattributes a, syscomments c"
                       " where a.class = 25 and c.id = a.object_info2"),
            "3 | DECRYPT_DEFAULT 'y'\n");
  EXPECT_EQ(probe.rows("select action, object_name(id), columns from sysprotects order by action"),
            "193 | k1 | 0x01\n354 | t | 0x08\n");
  EXPECT_EQ(probe.refusal("drop encryption key k2").substr(0, 2), "0:");
  EXPECT_EQ(probe.refusal("create encryption key k3 for AES with keylength 100"),
            "0: The length of an encryption key is 128, 192 or 256 bits, not 100.\n");
  EXPECT_EQ(probe.refusal("create encryption key k3 for DES").substr(0, 4), "102:");
  probe.ask("drop table t");
  EXPECT_EQ(probe.ask("drop encryption key k2"), "(closed)\n");
  EXPECT_EQ(probe.rows("select count(*) from sysattributes"), "0\n");
  EXPECT_EQ(probe.rows("select count(*) from sysobjects where type in ('DD', 'EK')"), "2\n");
  EXPECT_EQ(
      told("create table t (a int encrypt)\ngo\ncreate table t (a int encrypt with k)\ngo\n"
           "drop encryption key k\n"),
      "error 0 in line 1\nerror 208 in line 3\n"
      "Cannot drop the encryption key 'k', because it doesn't exist in the system catalogs.\n");
}

TEST(Dialect, ASegmentLosesADeviceAlone) {
  constexpr std::string_view kKept =
      "sp_dropsegment: the device of the segment leaves no trace in the catalog and was ignored\n";
  EXPECT_EQ(told("exec sp_dropsegment 'default', main, d\n"), kKept);
  EXPECT_EQ(told("exec sp_addsegment s, main, d\ngo\nexec sp_dropsegment s, main, d\n"
                 "create table t (a int) on s\n"),
            kKept);
  EXPECT_EQ(told("exec sp_dropsegment 'default', main\ngo\nexec sp_dropsegment s, main, d\n"),
            "error 17281 in line 1\nerror 17281 in line 3\n");
}

TEST(Dialect, HowTablesAreStored) {
  Probe probe(R"(
exec sp_addsegment s1, main, d
create table t (a int, b text null in row (100) not compressed, c text null off row compressed = 5)
with dml_logging = minimal, compression = row, lob_compression = 50, exp_row_size = 20,
identity_gap = 7, erase residual data on, transfer table on, latch_free_index = 1, index_compression = page
go
create clustered index ci on t (a) with fillfactor = 70
create index i on t (a) with index_compression = page local index p on s1
go
select a into u lock datarows with exp_row_size = 9, dml_logging = full from t
go
)");
  EXPECT_EQ(probe.rows("select name, sysstat3, lobcomp_lvl, sysstat2 & 57344 from sysobjects"
                       " where type = 'U' order by name"),
            "t | 21034 | 50 | 8192\nu | 1 | - | 32768\n");
  EXPECT_EQ(probe.rows("select name, status2, xstatus, inrowlen, lobcomp_lvl from syscolumns"
                       " where id = object_id('t')"),
            "a | - | - | - | -\nb | 131072 | 2 | 100 | -\nc | 262144 | 1 | - | 5\n");
  const std::string rows =
      "select name, indid, exp_rowsize, identitygap, status3, fill_factor from sysindexes"
      " where id = object_id('t') and indid < 255 order by indid";
  EXPECT_EQ(probe.rows(rows), "ci | 1 | 20 | 7 | - | 70\ni | 2 | - | - | 4104 | -\n");
  probe.ask("alter table t lock datarows");
  EXPECT_EQ(probe.rows(rows),
            "t | 0 | 20 | 7 | - | -\ni | 2 | - | - | 4104 | -\nci | 3 | - | - | - | 70\n");
  probe.ask(
      "alter table t lock allpages drop index t.ci alter table t set exp_row_size = 3,"
      " dml_logging = full");
  EXPECT_EQ(probe.rows(rows), "t | 0 | 3 | 7 | - | -\ni | 2 | - | - | 4104 | -\n");
  EXPECT_EQ(probe.rows("select sysstat3 & 3 from sysobjects where name = 't'"), "1\n");
  EXPECT_EQ(probe.refusal("alter table t set dml_logging = most").substr(0, 4), "102:");
  EXPECT_EQ(told("create table t (a int) with nonsense = 3\n"
                 "create index i on t (a) with sorted_data, consumers = 3\n"),
            "'with nonsense' leaves no trace in the catalog and was ignored\n"
            "'with sorted_data' leaves no trace in the catalog and was ignored\n"
            "'with consumers' leaves no trace in the catalog and was ignored\n");
}

TEST(Dialect, ProxiesAndComputedColumns) {
  Probe probe(
      "create table t (a int, b as a + 1, c as a + 2 materialized)\n"
      "create existing table p (a int) external table at 'S.db.dbo.p'\n");
  EXPECT_EQ(probe.rows("select name, status2 from syscolumns where id = object_id('t')"),
            "a | -\nb | 16\nc | 48\n");
  EXPECT_EQ(probe.rows("select o.name, o.sysstat2 & 3072, a.char_value, a.comments"
                       " from sysattributes a, sysobjects o where o.id = a.object and a.class = 9"),
            "p | 3072 | S.db.dbo.p | table\n");
}

TEST(Dialect, BoundsOfRangesAscend) {
  Probe probe(R"(
create table r (a int, d datetime null) partition by range (a) (p1 values <= (9))
create table two (a int, d datetime) partition by range (d, a)
  (p1 values <= ('2/1/2020', 10), p2 values <= ('2/1/2020', 20), p3 values <= ('10/1/2020', -5))
go
)");
  const std::pair<const char*, bool> kCases[] = {
      {"alter table r add partition (p3 values <= (2))", false},
      {"alter table r add partition (p3 values <= (9))", false},
      {"alter table r add partition (p3 values <= (10), p4 values <= (MAX))", true},
      {"alter table r add partition (p5 values <= (MAX))", false},
      {"alter table two add partition (p4 values <= ('9/30/2020', 99))", false},
      {"alter table two add partition (p4 values <= ('10/1/2020', -4))", true},
      {"create table c (a int) partition by range (a) (values <= (2), values <= (1))", false},
      {"create table c (a numeric(9, 2)) partition by range (a) (values <= (9), values <= (10.5))",
       true},
      {"alter table c partition by range (a) (values <= (11), values <= (10.5))", false},
      {"create table v (a varchar(5)) partition by range (a) (values <= ('b'), values <= ('ba'))",
       true},
      {"create table l (a int) partition by list (a) (values (2), values (1))", true},
  };
  for (const auto& [sql, isTaken] : kCases) {
    EXPECT_EQ(probe.ask(sql).substr(0, 18), isTaken ? "(closed)\n" : "error 0: The bound") << sql;
  }
}

TEST(Dialect, Partitions) {
  Probe probe(R"(
exec sp_addsegment s1, main, d
create table r (a int, b int) partition by range (b, a) (p1 values <= (10, 1) on s1, p2 values <= (20, 2), p3 values <= (MAX, MAX))
create table l (a int) partition by list (a) (p values (1, 2), q values (3))
create table h (a int) partition by hash (a) 2 on (s1)
create table n (a int)
go
create clustered index c on r (a)
alter table r split partition p3 into (p4 values <= (30, 3), p5 values <= (MAX, MAX))
alter table r merge partition p1, p2 into p12
alter table r move partition p12 to s1
alter table r drop partition p5
alter table l merge partition p, q into pq
alter table n partition 3
go
)");
  EXPECT_EQ(probe
                .rows("select o.name, i.indid, i.partitiontype, object_name(i.conditionid)"
                      " from sysobjects o, sysindexes i where o.id = i.id and o.type = 'U'"
                      " order by o.name")
                .substr(0, 10),
            "h | 0 | 2 ");
  EXPECT_EQ(probe.rows("select object_name(p.id), p.name, p.indid, p.segment, c.text"
                       " from syspartitions p, sysindexes i, syscomments c where i.id = p.id and"
                       " i.indid = p.indid and c.id = i.conditionid and c.partitionid ="
                       " p.partitionid order by 1, 2"),
            "l | pq | 0 | 1 | values (1, 2, 3)\nr | p12 | 1 | 3 | values <= (20, 2)\n"
            "r | p4 | 1 | 1 | values <= (30, 3)\n");
  EXPECT_EQ(
      probe.rows("select object_name(id), count(*), min(segment) from syspartitions where id in"
                 " (object_id('h'), object_id('n')) group by id order by 1"),
      "h | 2 | 3\nn | 3 | 1\n");
  EXPECT_EQ(probe.rows("select colid, position, indid from syspartitionkeys"
                       " where id = object_id('r')"),
            "2 | 1 | 1\n1 | 2 | 1\n");
  probe.ask("alter table n unpartition drop table r drop table l drop table h");
  EXPECT_EQ(probe.rows("select count(*) from syspartitions"), "0\n");
  EXPECT_EQ(probe.rows("select count(*) from syspartitionkeys"), "0\n");
  EXPECT_EQ(probe.rows("select count(*) from sysobjects where type = 'N'"), "0\n");
  EXPECT_EQ(probe.refusal("truncate table n partition p").substr(0, 2), "0:");
}

TEST(Dialect, ObjectsGetAnotherOwner) {
  Probe probe(R"(
exec sp_adduser u1
exec sp_adduser u2
create table t (a int default 1 check (a > 0), owner int)
go
create trigger g on t for insert as print 'x'
go
create view v as select a from t
go
grant select on t to u2
grant select on v to u2
go
alter table t modify owner u1 preserve permissions
alter view v modify owner u1
go
alter table u1.t modify owner varchar(9) null
go
)");
  EXPECT_EQ(probe.rows("select distinct user_name(uid) from sysobjects where type != 'S'"), "u1\n");
  EXPECT_EQ(
      probe.rows("select object_name(id), user_name(uid), user_name(grantor) from sysprotects"),
      "t | u2 | u1\n");
  EXPECT_EQ(probe.rows("select name, length from syscolumns where id = object_id('u1.t')"),
            "a | 4\nowner | 9\n");
  probe.ask("alter all u1.* modify owner u2");
  EXPECT_EQ(probe.rows("select distinct user_name(uid) from sysobjects where type != 'S'"), "u2\n");
  EXPECT_EQ(probe.refusal("alter table u2.t modify owner nobody").substr(0, 5), "2760:");
}

TEST(Dialect, Merge) {
  Probe probe(R"(
create table s (a int, b varchar(9))
insert s values (1, 'one')
insert s values (2, 'two')
insert s values (3, 'three')
insert s values (4, 'four')
create table m (a int, b varchar(9))
insert m values (1, 'x')
insert m values (2, 'del')
insert m values (9, 'nine')
go
create procedure p @v varchar(9) as
merge into m as x using (select a, b from s) y on x.a = y.a
when matched and x.b = 'del' then delete
when matched then update set a = x.a + 100, b = y.b + @v
when not matched and y.a < 4 then insert (b, a) values (y.b, y.a)
select @@rowcount
go
)");
  EXPECT_EQ(probe.rows("set nocount on exec p '!'"), "3\n");
  EXPECT_EQ(probe.rows("select a, b from m order by a"), "3 | three\n9 | nine\n101 | one!\n");
  EXPECT_EQ(
      probe
          .refusal("merge into m using s on m.a = s.a when matched and s.a = 1 then update set"
                   " b = '' when matched then update set b = 'x'")
          .substr(0, 2),
      "0:");
  EXPECT_EQ(told("merge into gone using sysobjects on 1 = 1 when matched then delete\n"),
            "error 208 in line 1\n");
}

TEST(Dialect, SelectIntoAnExistingTable) {
  Probe probe(
      "create table t (a int)\ninsert t values (1)\ncreate table u (b varchar(9))\n"
      "insert u values ('x')\ngo\nselect a + 1 as a into existing table t from t\n"
      "select convert(varchar(9), a) as n into existing table u from t\n");
  EXPECT_EQ(probe.rows("select a from t"), "1\n2\n");
  EXPECT_EQ(probe.rows("select b from u order by b"), "1\n2\nx\n");
  EXPECT_EQ(probe.refusal("select 1 as a into existing table nowhere").substr(0, 4), "208:");
}

TEST(Dialect, CursorsThatScrollAndRowsThatAreLimited) {
  Probe probe(
      "create table t (a int)\ninsert t values (1)\ninsert t values (2)\ninsert t values (3)");
  EXPECT_EQ(
      probe.rows("set nocount on declare c scroll cursor for select a from t order by a open c"
                 " declare @x int, @l varchar(30)"
                 " fetch last c into @x select @l = convert(varchar(9), @x)"
                 " fetch prior c into @x select @l = @l + convert(varchar(9), @x)"
                 " fetch first c into @x select @l = @l + convert(varchar(9), @x)"
                 " fetch absolute -1 c into @x select @l = @l + convert(varchar(9), @x)"
                 " fetch next c into @x select @l = @l + ' ' + convert(varchar(9), @@sqlstatus)"
                 " fetch prior c into @x select @l = @l + ' ' + convert(varchar(9), @x)"
                 " fetch relative -2 c into @x select @l = @l + convert(varchar(9), @x)"
                 " fetch absolute 0 c select @l = @l + ' ' + convert(varchar(9), @@sqlstatus)"
                 " fetch next c into @x select @l = @l + ' ' + convert(varchar(9), @x)"
                 " select @l"),
      "3213 2 31 2 1\n");
  EXPECT_EQ(probe.refusal("declare d cursor for select a from t open d fetch last d").substr(0, 2),
            "0:");
  EXPECT_EQ(probe.rows("select a from t order by a rows limit 1 offset 1"), "2\n");
  EXPECT_EQ(probe.rows("select a from t order by a rows offset 2"), "3\n");
}

TEST(Dialect, WhatOnlyOperatesIsTold) {
  EXPECT_EQ(
      told(R"(create role r with passwd 'secret'
exec sp_addlogin bob, 'secret1', tempdb, german, 'Bob', 90, 6
create table t (a int)
go
alter role r drop passwd
set role r with passwd 'secret' on
set flushmessage off
select a from t holdlock order by a compute sum(a) at isolation 0 plan '(x)'
waitfor delay '0:0:1'
transfer table t to 'f'
update partition statistics t [1]
declare @plan int
create plan 'select a from t' '(t_scan t)' into g and set @plan
rollback
)"),
      "what 'create role' says behind the name leaves no trace in the catalog and was ignored\n"
      "sp_addlogin: the argument 'passwdexp' leaves no trace in the catalog and was ignored\n"
      "sp_addlogin: the argument 'minpwdlen' leaves no trace in the catalog and was ignored\n"
      "'alter role' leaves no trace in the catalog and was ignored\n"
      "'set role' leaves no trace in the catalog and was ignored\n"
      "'set flushmessage' leaves no trace in the catalog and was ignored\n"
      "'compute' leaves no trace in the catalog and was ignored\n"
      "'holdlock' leaves no trace in the catalog and was ignored\n"
      "'at isolation' leaves no trace in the catalog and was ignored\n"
      "'plan' leaves no trace in the catalog and was ignored\n"
      "'waitfor delay' leaves no trace in the catalog and was ignored\n"
      "'transfer table' leaves no trace in the catalog and was ignored\n"
      "'update partition' leaves no trace in the catalog and was ignored\n"
      "'create plan' leaves no trace in the catalog and was ignored\n"
      "the end of a transaction without one leaves no trace in the catalog and was ignored\n");
  EXPECT_EQ(told("set compatibility_mode on\n", Release::ase125), "error 195 in line 1\n");
  EXPECT_EQ(told("shutdown\n"), "error 0 in line 1\n");
}

TEST(Dialect, PasswordsAreNotShown) {
  EmbeddedCatalog catalog;
  const LoadReport report =
      loadScript(catalog, "a.sql",
                 "set role nobody with passwd 'secret' on\ngo\ncreate login l with password secret "
                 "fullname 'x' fullname\ngo\nexec sp_addlogin 'sa', 'secret'\ngo\nexec sp_addlogin "
                 "sa, \"secret\"\ngo\n",
                 {.stopAtFirstError = false, .listIgnored = true});
  EXPECT_EQ(report.errors.size() + report.notes.size(), 4U);
  for (const auto* list : {&report.errors, &report.notes}) {
    for (const ScriptNote& note : *list) {
      EXPECT_EQ(note.describe().find("secret"), std::string::npos) << note.describe();
    }
  }
}

TEST(Dialect, RoutinesInLibraries) {
  Probe probe(R"(
create procedure xp_x as external name 'my.so'
go
create function jf (@a int) returns int language java parameter style java external name 'C.m'
go
create procedure jp (in a int, out b int) language java parameter style java external name 'C.m'
go
exec sp_adduser u1
declare @v varchar(9) select @v = 'u1' grant role sa_role to @v
grant execute on xp_x to u1
go
)");
  EXPECT_EQ(probe.rows("select o.name, o.type, o.sysstat2, c.text from sysobjects o, syscomments c"
                       " where o.id = c.id and o.type in ('XP', 'F')"),
            "xp_x | XP | 0 | my.so\njf | F  | 0 | create function jf (@a int) returns int language "
            "java parameter style java external name 'C.m'\n\n");
  EXPECT_EQ(probe.rows("select name, status2 from syscolumns where id = object_id('jp')"),
            "a | 1\nb | 2\n");
  EXPECT_EQ(probe.refusal("exec xp_x").substr(0, 2), "0:");
  EXPECT_EQ(probe.refusal("exec jp 1, 2").substr(0, 2), "0:");
  EXPECT_EQ(probe.ask("drop procedure xp_x drop function jf drop proc jp"), "(closed)\n");
}

TEST(Dialect, WhatMayStandInDefinitionsAlone) {
  Probe probe(R"(
create table t (a longsysname null, d text null, check (a not like 'x%'))
go
create procedure p as
  select a from t for xml
  select a from t order by a for xml all option 'tablename=t' returns varchar(90)
  select 1 where '//a' xmltest (select d from t) option 'xmlerror=null'
go
create view v as
  select a, xmlextract('//a', d option 'xmlerror=null' returns varchar(9)) as x,
    (select a from t for xml) as y
  from t where '//a' not xmltest d or '//b' xmltest d and a > 'b'
go
insert t (a) values ('b')
)");
  EXPECT_EQ(probe.rows("select name, usertype, length from syscolumns where id = object_id('v')"
                       " or id = object_id('t') and name = 'a' order by 1, 2"),
            "a | 2 | 255\na | 2 | 255\nx | 2 | 9\ny | 19 | 16\n");
  const std::string xml = "0: The embedded catalog cannot execute 'select ... for xml'.\n";
  EXPECT_EQ(probe.refusal("exec p"), xml);
  EXPECT_EQ(probe.refusal("select (select a from t for xml)"), xml);
  EXPECT_EQ(probe.refusal("select 1 from t where '//a' xmltest a").substr(0, 30),
            "0: The value of xmltest() is n");
  EXPECT_EQ(told("select a from t for xml none\n"), "error 102 in line 1\n");
  EXPECT_EQ(told("create table t (a longsysname(9))\n"), "error 2716 in line 1\n");
}

TEST(Dialect, AScriptMayEndItself) {
  EXPECT_EQ(told("declare @v int select @v = 12500\nif @v < 15000 select syb_quit()\ngo\n"
                 "create nonsense\n"),
            "error 4996 in line 2\n");
}

// On a 12.5 what has no column in its catalog was an error of the store.
TEST(Dialect, StorageOptionsOfLaterReleases) {
  constexpr const char* kStatements[][2] = {
      {"create table t (a int) with compression = row", "15"},
      {"create table t (a int) with dml_logging = minimal", "15"},
      {"create table t (a int) with lob_compression = 9", "15"},
      {"create table t (a int) with erase residual data on", "15"},
      {"create table t (a int) with transfer table on", "15"},
      {"create table t (a text compressed = 5 null)", "15"},
      {"create table t (a text not compressed null)", "15"},
      {"create table t (a int encrypt)", "15"},
      {"create encryption key k as default for AES", "15"},
      {"create table t (a int) with latch_free_index = 1", "16"},
      {"create table t (a int) with index_compression = page", "16"},
      {"declare @a int = 1 select @a", "16"}};
  for (const auto& [sql, since] : kStatements) {
    for (const Release release : {Release::ase125, Release::ase15, Release::ase16}) {
      CatalogOptions options;
      options.release = release;
      Probe probe("", options);
      const std::string refusal = probe.refusal(sql);
      const bool isKnown = options.grammar() >= std::stoi(since);
      const bool isSyntaxError = refusal.starts_with("102: ") || refusal.starts_with("156: ");
      EXPECT_EQ(isSyntaxError, !isKnown) << sql << ": " << refusal;
      EXPECT_EQ(refusal.find("The store"), std::string::npos) << refusal;
    }
  }
  CatalogOptions options;
  options.release = Release::ase125;
  Probe probe("create table t (a varchar(9) in row (9))", options);
  EXPECT_EQ(probe.rows("select xstatus from syscolumns where id = object_id('t')"), "2\n");
  EXPECT_EQ(probe.refusal("select @@fetch_status"),
            "137: Must declare variable '@@fetch_status'.\n");
}

}  // namespace
}  // namespace kelvane::embedded
