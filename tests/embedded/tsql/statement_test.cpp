// Nothing need part one statement from the next: where each begins follows from its grammar.

#include "tests/embedded/tsql/samples.h"

namespace kelvane::tsql {
namespace {

// The statements of a batch that is written with ` | ` where the next one begins.
void expectBoundaries(std::initializer_list<std::string_view> batches) {
  for (const std::string_view marked : batches) {
    std::string batch(marked);
    for (std::size_t at; (at = batch.find(" |")) != std::string::npos;) batch.erase(at, 2);
    EXPECT_EQ(parsed(batch), marked);
  }
}

TEST(Statement, NeedsNoSeparator) {
  expectBoundaries({
      "select 1 | select a b | select 2",
      "select a, b as x, c y, z = d, e 'two words', f \"g\", t.*, * | select @a = 1, @b = c from t",
      "select a b from t c where d = 1 | select distinct top 5 a from t | select left('ab', 1) "
      "from a",
      "select 1 from db..a x, o.b as y, c (index i) z holdlock, d noholdlock | select all a into "
      "#x "
      "lock datarows from t",
      "select 1 from a join b left join c on x = 1 on y = 2 | (select 1) union (select 2 union all "
      "select 3) | select 2",
      "select a from t order by a compute sum(a), max(b) by a compute sum(a) for browse | select a "
      "from t for read only | select a from t at isolation read uncommitted | print 'x'",
      "insert t values (1, null) | insert t (select a from u) | insert t (a) (select 1) union "
      "select "
      "2 | insert t default values | truncate table db..t",
      "update #k set f.p = q.n, @v = 2 from #k f, #q q where f.r = q.t | update t set a = 1 where "
      "current of c | delete #k where c is null | delete from t | delete t from t a, u b",
      "declare @a varchar(32), @b numeric(9,2) | select @a = 'x' | set @a = 'y' | return (1) | "
      "return "
      "| select a | again: | goto again",
      "if a = 1 if b = 2 print 'x' else print 'y' | while @k < 17 begin insert #p select 1 break "
      "end "
      "| if exists (select 1 from t) drop table t else begin print 'no' return -1 end | print 'z'",
      "print 'a %1!', @x, 2 | raiserror 20001 'bad %1!', @x | raiserror @n @m | waitfor delay "
      "'0:1'",
      "begin tran x | save tran y | rollback tran y | commit | begin transaction | rollback",
      "declare c cursor for select a from t for update of a | open c | fetch c into @x | fetch "
      "next "
      "from c | close c | deallocate cursor c",
      "use db | setuser 'x' | setuser | set nocount on | set ANSINULL, arithabort OFF | set "
      "rowcount "
      "@n | set identity_insert db.dbo.T on | set transaction isolation level read uncommitted | "
      "set "
      "statistics io, time on | set role sa_role off | select 1",
      "sp_rename 'a', b | exec @r = db..p;2 1, -2, @x output, null, default with recompile | exec "
      "p "
      "@a = 'x', @b = @c out | exec @name 1 | exec ('drop ' + @v) | exec(\"select 1\")",
      "checkpoint | dump tran db with truncate_only | update statistics t (a) | update t set a = 1 "
      "| "
      "create database d on x = 10 log on y = 5 for load | use d",
      "grant select, update (a, b) on o.t to public, 'x' with grant option | grant All privileges "
      "on "
      "t (c) to u Granted by dbo | grant create table, create view, dump database to r | revoke "
      "grant "
      "option for execute on p from u cascade | revoke all to u | grant role sa_role, r to u",
      "create table t (a int constraint pk primary key with fillfactor = 80 on seg, b int, primary "
      "key clustered (a desc, b),) lock datarows with exp_row_size = 1, identity_gap = 10 on "
      "'default' partition by roundrobin 1 | create table u (a int encrypt with k not null, b int "
      "not "
      "compressed) with latch_free_index = on, transfer table on | select 1",
      "alter table t add a int null, b int default 0 not null, constraint c unique (a) | alter "
      "table "
      "t drop a, b, constraint c | alter table t modify a varchar(9) null, b not null, drop c | "
      "alter "
      "table t replace a default null | alter table t partition 4 | alter table t disable trigger "
      "g",
      "create index i on t (a desc, upper(b)) with fillfactor = 50, statistics using 20 values on "
      "seg "
      "| create index i on t (a) local index p, q on seg | create index j on t (b) local index | "
      "drop "
      "table a, o.b | drop index t.i, o.t.j | drop proc p | drop view v",
  });
}

TEST(Statement, LaterReleasesHaveMore) {
  expectBoundaries({
      "create encryption key k as default for AES with keylength 256 passwd 'x' init_vector null "
      "pad random | create encryption key master with passwd 'x' | alter encryption key k add "
      "encryption with passwd 'y' for user u | alter encryption key k as not default | alter "
      "encryption key k drop encryption for user u | alter encryption key k modify owner u | drop "
      "encryption key o.k | select 1",
      "alter role r drop passwd | alter role r add passwd 'x' | alter role r add exclusive "
      "membership q | alter role r lock | alter role r set passwd expiration 3 | set role r with "
      "passwd 'x' on | set role \"r\" off | grant role r, q to @v, u | set encryption passwd 'x' "
      "for key k | print 'x'",
      "create login l with password 'x' fullname 'y' default database d min password length 6 | "
      "create login profile p with max failed attempts 3 | alter login l drop auto activated roles "
      "r | alter login l modify fullname 'x' | drop login profile p | drop login l with override | "
      "create thread pool p with thread count = 3 | select 1",
      "merge into t using s on t.a = s.a when matched then update set b = s.b, c = 1 when not "
      "matched and s.a > 1 then insert (a, b) values (s.a, 2) | select a from t | merge into t x "
      "using (select 1 as a) s on x.a = s.a when matched then delete | merge t as x using s on 1 = "
      "1 when not matched then insert values (1) plan '(x)' | select merge, transfer from merge",
      "alter table t modify owner u preserve permissions | alter view o.v modify owner u | alter "
      "all o.* modify owner u | alter table t modify owner int null | alter table t modify owner "
      "varchar(9) | select 1",
      "alter table t split partition p into (q values <= (1) on s, r values <= (2)) | alter table "
      "t merge partition p, q into r | alter table t move partition p to 'default' | alter table t "
      "drop partition p, q | alter table t modify partition p set compression = row | alter table "
      "t set dml_logging = minimal, erase residual data on, transfer table off | select 1",
      "create table t (a text null in row (9) not compressed, b text null off row compressed = 5, "
      "c "
      "int encrypt with d.o.k decrypt_default 0 not null) with dml_logging = minimal, erase "
      "residual "
      "data on, lob_compression = 9 partition by hash (a) 3 on (s, t) | create table u (a int) "
      "partition by list (a) (p values (1, 2), values (3)) | select a into t lock datarows with "
      "exp_row_size = 1 partition by roundrobin 2 from t",
      "create index i on t (a) with online, statistics hashing, index_compression = page local "
      "index "
      "p on s, q | truncate table t partition p | truncate lob @x (3) | transfer table t to 'f' "
      "for "
      "ase | deallocate locator @x | waitfor time '1:00' | waitfor errorexit | mount database all "
      "from 'f' | select 1",
      "declare c semi_sensitive scroll cursor for select a from t | declare d no scroll cursor for "
      "select 1 | fetch absolute -1 c into @x | fetch relative @n from c | select a from t order "
      "by "
      "a rows limit 3 offset 4 for read only | select a from t rows limit 1 | update t set a = 1 "
      "where a = 2 plan '(x)'",
      "create precomputed result set p (a) manual refresh lock datarows as select 1 | refresh "
      "precomputed result set p | alter precomputed result set p disable | drop precomputed result "
      "set p | select 1",
  });
}

TEST(Statement, EarlierReleasesRefuseIt) {
  for (const std::string_view later :
       {"merge into t using s on 1 = 1 when matched then delete",
        "create login l with password 'x'", "create table t (a int) partition by roundrobin 2",
        "create table t (a int, b as a)", "declare c scroll cursor for select 1",
        "create index i on t (a) local index", "create function f () returns int as return 1",
        "truncate table t partition p"}) {
    EXPECT_EQ(parsed(later, {.release = 12}).front(), '1') << later;
    EXPECT_EQ(parsed(later, {.release = 15}), later);
  }
  for (const std::string_view later :
       {"select 1 rows limit 1", "create trigger g on t for insert order 2 as print 'x'",
        "create or replace rule r as @a > 1"}) {
    EXPECT_EQ(parsed(later, {.release = 15}).substr(0, 5), "156 1") << later;
    EXPECT_EQ(parsed(later), later);
  }
}

TEST(Statement, ViewsStandAmongOthers) {
  expectBoundaries({
      "create view v as select a from t where b = 1 | grant all on v to public | create "
      "view w (x) as select a from v with check option | create view x as select 1 as a union "
      "select 2 | if 1 = 1 create view y as select 1 as a",
  });
  const std::string alone = "-- first\ncreate view v as select 1 as a -- last";
  EXPECT_EQ(parsed(alone), alone);
}

TEST(Statement, ToleratesSemicolonsAndComments) {
  expectParsed({
      {";; select 1; select 2 ;", "select 1 | select 2"},
      {"if 1 = 1 print 'a'; else print 'b'", "if 1 = 1 print 'a'; else print 'b'"},
      {"/* nothing */ -- at all", ""},
  });
}

TEST(Statement, TakesQuotedNamesForIdentifiersOnlyWhenTold) {
  EXPECT_EQ(parsed("select 1 from \"t\"", {.quotedIdentifier = true}), "select 1 from \"t\"");
  EXPECT_EQ(parsed("select 1 from \"t\""), "102 1: Incorrect syntax near 't'.");
}

}  // namespace
}  // namespace kelvane::tsql
