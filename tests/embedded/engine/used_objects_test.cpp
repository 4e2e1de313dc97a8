// sysdepends: what the texts of views, procedures, functions and triggers use.

#include <gtest/gtest.h>

#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

constexpr const char* kScript = R"(create table t (a int, b int)
create table u (a int)
create table w (a int)
go
create function f (@x int) returns int as return (select max(a) from u where a < @x)
go
create view v as select * from t where a in (select a from u)
go
create procedure q as select 1
go
create procedure q;2 as insert w select a from v
go
create procedure p as
begin
  update x set b = dbo.f(a) from t x, u where x.a = u.a
  if exists (select 1 from w) exec q;2
  create table #tmp (a int)
  insert #tmp select u.* from t, u
  while (select count(*) from #tmp) > 10 delete #tmp
  exec ('select * from w')
  delete nowhere
end
go
create trigger tr on t for insert as
  declare c cursor for select a from inserted where a > any (select a from u)
  delete w from w where a in (select a from inserted)
go
)";

// Who, which of a group, what, its number, and the bits for all columns, written, read.
std::string uses(Probe& probe) {
  return probe.rows(
      "select o.name, d.number, x.name, d.depnumber, d.selall + 0, d.resultobj + 0, d.readobj + 0"
      " from sysdepends d, sysobjects o, sysobjects x where d.id = o.id and x.id = d.depid"
      " and d.depdbid = db_id() order by o.name, d.number, x.name");
}

TEST(UsedObjects, OfQueriesAndBodies) {
  Probe probe(kScript);
  EXPECT_EQ(uses(probe),
            "f | 0 | u | 0 | 0 | 0 | 1\n"
            "p | 1 | f | 0 | 0 | 0 | 0\n"
            "p | 1 | q | 2 | 0 | 0 | 0\n"
            "p | 1 | t | 0 | 0 | 1 | 1\n"
            "p | 1 | u | 0 | 1 | 0 | 1\n"
            "p | 1 | w | 0 | 0 | 0 | 1\n"
            "q | 2 | v | 0 | 0 | 0 | 1\n"
            "q | 2 | w | 0 | 0 | 1 | 0\n"
            "tr | 0 | u | 0 | 0 | 0 | 1\n"
            "tr | 0 | w | 0 | 0 | 1 | 1\n"
            "v | 0 | t | 0 | 1 | 0 | 1\n"
            "v | 0 | u | 0 | 0 | 0 | 1\n");
}

TEST(UsedObjects, GoWithEitherSide) {
  Probe probe(kScript);
  probe.ask("drop procedure p drop table w drop trigger tr");
  probe.ask("create or replace view v as select a from u");
  EXPECT_EQ(uses(probe),
            "f | 0 | u | 0 | 0 | 0 | 1\nq | 2 | v | 0 | 0 | 0 | 1\nv | 0 | u | 0 | 0 | 0 | 1\n");
  EXPECT_EQ(probe.ask("exec sp_depends v"),
            "object | type | updated | selected\ndbo.u | user table | no | yes\n"
            "object | type\ndbo.q | stored procedure\n");
}

TEST(UsedObjects, DoNotStayBehindAFailedDefinition) {
  Probe probe("create table t (a int)");
  EXPECT_NE(probe.refusal("create view v as select a, a from t"), "");
  EXPECT_EQ(probe.rows("select count(*) from sysdepends"), "0\n");
}

}  // namespace
}  // namespace kelvane::embedded
