#include "tests/embedded/tsql/samples.h"

namespace kelvane::tsql {
namespace {

TEST(Statement, NeedsNoSeparatorAndToleratesSemicolons) {
  expectParsed({
      {"select 1 select a b select 2", "(select 1) (select (as b a)) (select 2)"},
      {";; select 1; select 2 ;", "(select 1) (select 2)"},
      {"if 1 = 1 print 'a'; else print 'b'", "(if (= 1 1) (print 'a') (print 'b'))"},
      {"/* nothing */ -- at all", ""},
      {"select a again: goto again", "(select a) again: (goto again)"},
  });
}

TEST(Statement, ControlsTheFlow) {
  expectParsed({
      {"declare @a varchar(32), @b numeric(9,2) select @a = 'x'",
       "(declare (@a varchar(32)) (@b numeric(9,2))) (select (set @a 'x'))"},
      {"if exists (select 1 from t) drop table t else begin print 'no' return -1 end",
       "(if (exists (select 1 (from t))) (drop table t) (block (print 'no') (return (- 1))))"},
      {"if a = 1 if b = 2 print 'x' else print 'y'",
       "(if (= a 1) (if (= b 2) (print 'x') (print 'y')))"},
      {"while @k < 17 begin insert #p select 1 select @k = @k + 1 break continue end",
       "(while (< @k 17) (block (insert #p (select 1)) (select (set @k (+ @k 1))) break "
       "continue))"},
      {"return return (1) return select 1", "(return) (return 1) (return) (select 1)"},
      {"print 'a %1!', @x, 2 raiserror 20001 'bad %1!', @x raiserror @n @m raiserror 17001",
       "(print 'a %1!' @x 2) (raiserror 20001 'bad %1!' @x) (raiserror @n @m) (raiserror 17001)"},
      {"waitfor delay '00:00:01'", "(waitfor delay '00:00:01')"},
      {"begin tran x save tran y rollback tran y commit begin transaction rollback",
       "(begin tran x) (save tran y) (rollback tran y) (commit tran) (begin tran) (rollback tran)"},
      {"declare c cursor for select a from t for update of a open c fetch c into @x "
       "fetch next from c close c deallocate cursor c",
       "(cursor c (select a (from t)) for-update a) (open c) (fetch c (into @x)) (fetch next c) "
       "(close c) (deallocate c)"},
      {"use db setuser 'x' setuser", "(use db) (setuser x) (setuser)"},
  });
}

TEST(Statement, SetsOptionsAndVariables) {
  expectParsed({
      {"set nocount on select 1", "(set nocount on) (select 1)"},
      {"set ANSINULL, arithabort OFF", "(set ansinull arithabort off)"},
      {"set rowcount 0 set rowcount @n", "(set rowcount 0) (set rowcount @n)"},
      {"set identity_insert db.dbo.T on", "(set identity_insert db.dbo.T on)"},
      {"set transaction isolation level 1", "(set transaction isolation level 1)"},
      {"set transaction isolation level read uncommitted select 1",
       "(set transaction isolation level read uncommitted) (select 1)"},
      {"set statistics io, time on", "(set statistics io time on)"},
      {"set dateformat ymd set role sa_role off", "(set dateformat ymd) (set role sa_role off)"},
      {"set @v = 1 + 2", "(set (@v (+ 1 2)))"},
  });
}

TEST(Statement, ExecutesProcedures) {
  expectParsed({
      {"exec sp_columns orders,dbo", "(exec sp_columns word:'orders' word:'dbo')"},
      {"sp_help", "(exec sp_help)"},
      {"sp_rename 'a', b; sp_rename 'c', d; select 1",
       "(exec sp_rename 'a' word:'b') (exec sp_rename 'c' word:'d') (select 1)"},
      {"execute @r = db..p;2 1, -2, @x output, null, default with recompile",
       "(exec db..p;2 (status @r) 1 (- 2) @x:output null default recompile)"},
      {"exec p @a = 'x', @b = @c out exec q", "(exec p @a='x' @b=@c:output) (exec q)"},
      {"exec @name 1", "(exec @name 1)"},
      {"exec ('drop ' + @v) exec(\"select 1\")",
       "(exec-text (+ 'drop ' @v)) (exec-text 'select 1')"},
  });
}

TEST(Statement, PassesOverUtilities) {
  expectParsed({
      {"checkpoint dump tran db with truncate_only select 1",
       "(utility checkpoint) (utility dump) (select 1)"},
      {"update statistics t (a) update t set a = 1",
       "(utility update statistics) (update t (a 1))"},
      {"create database d on x = 10 log on y = 5 for load use d",
       "(utility create database) (use d)"},
      {"if 1 = 1 begin dbcc traceon(3604) end", "(if (= 1 1) (block (utility dbcc)))"},
  });
}

TEST(Statement, GrantsAndRevokes) {
  expectParsed({
      {"grant select, update (a, b) on o.t to public, 'x' with grant option",
       "(grant select, (update a b) (on o.t) (to public x) grant-option)"},
      {"Grant All privileges on t (c) to u Granted by dbo", "(grant all (on t c) (to u) (by dbo))"},
      {"grant create table, create view, dump database to r",
       "(grant create table, create view, dump database (to r))"},
      {"grant role sa_role, r to u", "(grant (roles sa_role r) (to u))"},
      {"revoke grant option for execute on p from u cascade",
       "(revoke execute (on p) (to u) grant-option cascade)"},
      {"revoke all to u select 1", "(revoke all (to u)) (select 1)"},
  });
}

}  // namespace
}  // namespace kelvane::tsql
