#include "drivers/embedded/tsql/parser.h"
#include "tests/embedded/tsql/samples.h"

namespace kelvane::tsql {
namespace {

TEST(Definition, CreatesTables) {
  expectParsed({
      {"create table #k (id int, n varchar(30) null, c timestamp, timestamp)",
       "(table #k (id int) (n varchar(30) null) (c timestamp) (timestamp timestamp))"},
      {"create table t (a numeric(8,0) identity, b char(2) default 'x' not null, "
       "c dbo.ssn default -1 null, d double precision, e unsigned int, f char varying(9))",
       "(table t (a numeric(8,0) identity) (b char(2) (default 'x') not-null) "
       "(c dbo.ssn (default (- 1)) null) (d double precision) (e unsigned int) "
       "(f char varying(9)))"},
      {"create table t (a int constraint pk primary key nonclustered with fillfactor = 80 on seg, "
       "b int unique, c int references o.r (x) match full, d int check (d > 0) not null)",
       "(table t (a int (constraint pk (primary nonclustered (with fillfactor=80) (on seg)))) "
       "(b int (unique)) (c int (foreign -> o.r x full)) (d int not-null (check (> d 0))))"},
      {"create table t (a int, b int, primary key clustered (a desc, b), "
       "constraint f foreign key (a, b) references r, constraint k check (a in (1, 2)),) "
       "lock datarows with exp_row_size = 1, identity_gap = 10 on 'default' "
       "partition by roundrobin 1",
       "(table t (a int) (b int) (primary clustered a:desc b) "
       "(constraint f (foreign a b -> r)) (constraint k (check (in a 1 2))) (lock datarows) "
       "(with exp_row_size=1 identity_gap=10) (on default) (partition roundrobin))"},
      {"create table t (a int, b as a * 2 materialized, c int null)",
       "(table t (a int) (b (as (* a 2)) materialized) (c int null))"},
      {"create table t (a int encrypt with k not null, b int compressed = page null, c int not "
       "compressed) with latch_free_index = on, transfer table on",
       "(table t (a int not-null) (b int null) (c int) (with latch_free_index transfer))"},
      {"create table t (a int unique with fillfactor = 5, max_rows_per_page = 9, b int)",
       "(table t (a int (unique (with fillfactor=5 max_rows_per_page=9))) (b int))"},
  });
}

TEST(Definition, AltersTables) {
  expectParsed({
      {"alter table t add a int null, b int default 0 not null, constraint c unique (a) "
       "alter table t drop a, b, constraint c",
       "(alter t (add (a int null)) (add (b int (default 0) not-null)) "
       "(add (constraint c (unique a)))) (alter t (drop a) (drop b) (drop-constraint c))"},
      {"alter table t modify a varchar(9) null, b not null, drop c",
       "(alter t (modify (a varchar(9) null)) (modify (b not-null)) (drop c))"},
      {"alter table t replace a default null alter table t lock allpages",
       "(alter t (replace a null)) (alter t (lock allpages))"},
      {"alter table t partition 4 alter table t unpartition",
       "(alter t (partition 4)) (alter t (partition none))"},
      {"alter table t disable trigger g alter table t enable trigger",
       "(alter t (disable g)) (alter t (enable))"},
  });
}

TEST(Definition, CreatesIndexesAndDrops) {
  expectParsed({
      {"create unique clustered index i on o.t (a desc, upper(b), c asc) "
       "with fillfactor = 50, ignore_dup_key, statistics using 20 values on seg",
       "(index i unique clustered o.t a:desc (upper b) c "
       "(with fillfactor=50 ignore_dup_key statistics using=20) (on seg))"},
      {"create index i on t (a) local index p, q on seg create index j on t (b) local index",
       "(index i t a) (index j t b)"},
      {"create index i on t (a) create index j on t (b)", "(index i t a) (index j t b)"},
      {"drop table a, o.b drop proc p drop index t.i, o.t.j",
       "(drop table a o.b) (drop procedure p) (drop index t.i o.t.j)"},
      {"drop view v drop trigger g drop rule r drop default d drop function f",
       "(drop view v) (drop trigger g) (drop rule r) (drop default d) (drop function f)"},
  });
}

TEST(Definition, CreatesObjectsWithText) {
  expectParsed({
      {"create view o.v (a, b) as select 1, 2 union select 3, 4 with check option",
       "(view o.v (columns a b) (union (select 1 2) (select 3 4)) check-option)"},
      {"create procedure p;2 (@a int = 1, @b varchar(9) = word output) with recompile as "
       "select @a return",
       "(procedure p 2 (parameters (@a int 1) (@b varchar(9) 'word' output)) recompile "
       "(select @a) (return))"},
      {"create proc p @a int = null, @b datetime as begin if @a = 1 print 'x' end",
       "(procedure p (parameters (@a int null) (@b datetime)) (block (if (= @a 1) (print 'x'))))"},
      {"create trigger o.g on o.t for insert, update as if update(a) rollback trigger",
       "(trigger o.g o.t insert update (if (update a) (utility rollback trigger)))"},
      {"create function f (@a int) returns varchar(9) as return convert(varchar(9), @a)",
       "(function f (parameters (@a int)) varchar(9) (return (convert varchar(9) @a)))"},
      {"create rule r as @x in (1, 2) and @x > 0", "(rule r (and (in @x 1 2) (> @x 0)))"},
      {"create default d as 'x'", "(default d 'x')"},
      {"create or replace procedure p as select 1", "(procedure p (select 1))"},
  });
}

TEST(Definition, KeepsTheSourceOfObjects) {
  const std::string_view batch = "-- first\n create view v as select 1 /* last */\n";
  const StatementList view = parseBatch(batch);
  EXPECT_EQ(view.front()->range.in(batch), batch);

  const std::string_view procedure = "/* p */ create proc p @a int = -1 as\n  select 1\n\n";
  const StatementList statements = parseBatch(procedure);
  EXPECT_EQ(statements.front()->range.in(procedure), procedure);
  const auto& node = std::get<CreateProcedure>(statements.front()->node);
  EXPECT_EQ(node.parameters.front().defaultRange.in(procedure), "-1");
  EXPECT_EQ(node.bodyRange.in(procedure), "select 1\n\n");
  EXPECT_EQ(node.body.front()->range.line, 2U);
}

TEST(Definition, KeepsTheSourceOfDefaultsAndChecks) {
  const std::string_view batch =
      "print 'x'\ncreate table t (a int default ( 1 ) null constraint k check ( a > 0 ), "
      "b int check(b<1))";
  const StatementList statements = parseBatch(batch);
  EXPECT_EQ(statements[1]->range.in(batch), batch.substr(10));
  EXPECT_EQ(statements[1]->range.line, 2U);
  const auto& table = std::get<CreateTable>(statements[1]->node);
  const Constraint& named = table.columns[0].constraints.front();
  EXPECT_EQ(table.columns[0].defaultClause->range.in(batch), "default ( 1 )");
  EXPECT_EQ(named.range.in(batch), "constraint k check ( a > 0 )");
  EXPECT_EQ(std::get<CheckConstraint>(named.node).range.in(batch), "check ( a > 0 )");
  EXPECT_EQ(table.columns[1].range.in(batch), "b int check(b<1)");
}

}  // namespace
}  // namespace kelvane::tsql
