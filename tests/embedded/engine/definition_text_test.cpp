// Definitions as the server keeps them, and what scripts may leave to it.

#include <gtest/gtest.h>

#include "drivers/embedded/engine/session.h"
#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

constexpr const char* kExpanded =
    "/* Adaptive Server has expanded all '*' elements in the following statement */ ";

std::string storedText(Probe& probe, const std::string& name) {
  return probe.rows("select text from syscomments where id = object_id('" + name + "')");
}

TEST(StoredText, StarsAreExpandedWhereTheyNameColumns) {
  Probe probe(R"(create table t (a int, b int)
create table [odd t] ([x y] int, [key] int)
go
-- a view
create view v as select * from t
go
create view w (p, q, r) as select x.*, (select 2) from t x where a in (select z.a from (select * from t) z)
go
create view o as select * from [odd t]
go
create trigger g on t for insert as
  if exists (select * from inserted) select deleted.* from deleted, t
go
create procedure p as
  select count(*) from t
  while 1 = 0 begin
    insert t select * from v
    select * from #not_there
  end
go
)");
  const std::string x = kExpanded;
  EXPECT_EQ(storedText(probe, "v"),
            "-- a view\n" + x + "create view v as select t.a, t.b from t\n\n");
  EXPECT_EQ(storedText(probe, "w"),
            x + "create view w (p, q, r) as select x.a, x.b, (select 2) from t x"
                " where a in (select z.a from (select t.a, t.b from t) z)\n\n");
  EXPECT_EQ(storedText(probe, "o"),
            x + "create view o as select [odd t].[x y], [odd t].[key] from [odd t]\n\n");
  EXPECT_EQ(storedText(probe, "g"),
            "create trigger g on t for insert as\n  if exists (select * from inserted) " + x +
                "select deleted.a, deleted.b from deleted, t\n\n");
  EXPECT_EQ(storedText(probe, "p"),
            "create procedure p as\n  select count(*) from t\n  while 1 = 0 begin\n    " + x +
                "insert t select v.a, v.b from v\n    select * from #not_there\n  end\n\n");
  EXPECT_EQ(probe.ask("insert [odd t] values (1, 2) select * from o"),
            "(closed)\nx y | key\n1 | 2\n");
}

TEST(CreateSchema, IsAllOfItOrNothing) {
  Probe probe("create table old (n int)");
  probe.ask(R"(create schema authorization dbo
  create table a (x int primary key, y int null references b)
  create table b (x int primary key, y int null constraint to_a references a (x))
  create view v as select * from a -- the view's own text
  grant select on v to public
  create view w as select x from v
)");
  EXPECT_EQ(storedText(probe, "v"),
            std::string(kExpanded) + "create view v as select a.x, a.y from a\n");
  EXPECT_EQ(storedText(probe, "w"), "create view w as select x from v\n");
  EXPECT_EQ(probe.rows("select count(*) from sysprotects where id = object_id('v')"), "1\n");
  EXPECT_EQ(probe.refusal("insert a values (1, 2)").substr(0, 4), "546:");
  EXPECT_EQ(probe.refusal("insert b values (1, 2)").substr(0, 4), "546:");
  probe.ask("create schema authorization dbo create table c (n int) create table d (n no_type)");
  EXPECT_EQ(probe.rows("select count(*) from sysobjects where name in ('c', 'd')"), "0\n");
  const std::pair<const char*, const char*> refused[] = {
      {"create schema authorization joe create table c (n int)", "0"},
      {"create schema authorization dbo create index i on old (n)", "156"},
      {"select 1 create schema authorization dbo create table c (n int)", "111"}};
  for (const auto& [sql, number] : refused) {
    const std::string refusal = probe.refusal(sql);
    EXPECT_EQ(refusal.substr(0, refusal.find(':')), number) << sql;
  }
}

TEST(ComputedColumns, HaveTheTypeAndTheValueOfTheirExpression) {
  Probe probe(
      R"(create table t (net numeric(10,2), n varchar(8) null, gross as net * 2, shout as upper(n) + '!')
go
insert t values (1.25, 'a')
insert t (n, net) values ('b', 2)
update t set n = 'c' where gross = 4
create index fi on t (lower(n), net desc)
go
)");
  EXPECT_EQ(probe.ask("select * from t where shout > 'A'"),
            "net | n | gross | shout\n1.25 | a | 2.50 | A!\n2.00 | c | 4.00 | C!\n");
  EXPECT_EQ(
      probe.rows("select name, type, length, prec, scale from syscolumns where id = object_id('t')"
                 " and computedcol is not null"),
      "gross | 108 | 10 | 21 | 2\nshout | 39 | 9 | - | -\nsybfi2_1 | 39 | 8 | - | -\n");
  EXPECT_EQ(probe.rows("select index_col('t', 2, 1), index_col('t', 2, 2)"), "sybfi2_1 | net\n");
  EXPECT_EQ(probe.refusal("insert t (net, gross) values (1, 2)").substr(0, 4), "271:");
  EXPECT_EQ(probe.refusal("alter table t drop net").substr(0, 5), "4922:");
  EXPECT_EQ(probe.ask("drop index t.fi select count(*) from syscolumns where name like 'sybfi%'"),
            "\n0\n");
  EXPECT_EQ(probe.refusal("create table m (d as getdate() materialized)").substr(0, 2), "0:");
}

TEST(Roles, AreKnownWhereTheyWereGrantedSomething) {
  Probe probe(R"(create table t (a int)
create role auditor
go
exec sp_adduser joe
grant select on t to auditor
grant role auditor to joe
)");
  EXPECT_EQ(
      probe.rows("select u.name, u.environ, p.action from sysusers u, sysprotects p, sysroles r"
                 " where p.uid = u.uid and r.lrid = u.uid"),
      "auditor | - | 193\n");
  EXPECT_EQ(probe.refusal("grant role nobody to joe").substr(0, 6), "11113:");
  EXPECT_EQ(probe.refusal("grant select on t to nobody").substr(0, 5), "4604:");
  EXPECT_EQ(probe.refusal("drop role auditor").substr(0, 6), "11117:");
  EXPECT_EQ(probe.ask("drop role auditor with override select count(*) from sysprotects"), "\n0\n");
}

TEST(Decimals, AreExactBeyondFloatingPoint) {
  Probe probe(R"(create table n (k numeric(38,10) null, m money null)
insert n values (12345678901234567.1234567891, 922337203685477.5807)
insert n values (12345678901234567.1234567892, -922337203685477.5807)
insert n values (2, 0.1)
insert n values (-12345678901234567.1234567891, 0.2)
)");
  const struct {
    const char* sql;
    const char* rows;
  } cases[] = {
      {"select k from n where k < 12345678901234567.1234567892 order by k desc",
       "12345678901234567.1234567891\n2.0000000000\n-12345678901234567.1234567891\n"},
      {"select max(k), min(k), sum(k), sum(m) from n",
       "12345678901234567.1234567892 | -12345678901234567.1234567891 | 12345678901234569.1234567892"
       " | 0.3000\n"},
      {"select k * 3 - k, -k from n where k = 12345678901234567.1234567891",
       "24691357802469134.2469135782 | -12345678901234567.1234567891\n"},
      {"select m + 0.0001 from n where m > 1", "922337203685477.5808\n"},
      {"select 2.0 / 3 * 3, 1 - 1.1, case when 0.1 + 0.2 = 0.3 then 1 else 0 end",
       "1.999999999998 | -0.1 | 1\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(probe.rows(c.sql), c.rows) << c.sql;
  EXPECT_EQ(probe.refusal("select convert(numeric(38), 99999999999999999999999999999999999999) + 1")
                .substr(0, 5),
            "3606:");
}

TEST(Strictness, WhatCannotBeDoneIsRefusedAndWhatIsNotKeptIsTold) {
  class Notices final : public Outcome {
   public:
    void beginRows(const std::vector<ResultColumn>&) override {}
    void row(Row) override {}
    void count(std::int64_t) override {}
    void notice(const Notice& notice) override {
      if (notice.ignored) told += notice.message.text + '\n';
      if (notice.isError()) told += std::to_string(notice.message.number) + '\n';
    }
    std::string told;
  } notices;
  Server server;
  Session session(server);
  const auto told = [&](std::string_view batch) {
    notices.told.clear();
    session.run(batch, notices);
    return notices.told;
  };
  EXPECT_EQ(told("dump tran main with no_log"),
            "'dump' leaves no trace in the catalog and was ignored\n");
  EXPECT_EQ(told("shutdown"), "0\n");
  EXPECT_EQ(told("set datefirst 7 set language us_english set dateformat mdy"), "");
  for (const char* sql : {"set datefirst 1", "set language french", "set dateformat dmy"}) {
    EXPECT_EQ(told(sql), "0\n") << sql;
  }
  EXPECT_EQ(told("exec sp_procxmode gone, anymode"), "17461\n");
  EXPECT_EQ(told("raiserror 20002 'x' if @@error != 20002 raiserror 20003 'y' if @@error != 0 "
                 "raiserror 20004 'z'"),
            "20002\n");
  EXPECT_EQ(told("select syb_quit()"), "4996\n");
  EXPECT_TRUE(session.ended);
}

TEST(Transactions, GoBackToASavepoint) {
  Probe probe("create table t (a int)");
  EXPECT_EQ(
      probe.ask("set nocount on begin tran insert t values (1) save tran s insert t values (2)"
                " rollback tran s insert t values (3) rollback tran s commit"
                " select a, @@trancount from t"),
      "a | \n1 | 0\n");
  EXPECT_EQ(probe.ask("begin tran insert t values (2) save tran s rollback select a from t"),
            "a\n1\n");
}

}  // namespace
}  // namespace kelvane::embedded
