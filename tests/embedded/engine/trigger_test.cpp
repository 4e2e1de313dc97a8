// Triggers fire once for each change, see its rows, and can undo it.

#include <gtest/gtest.h>

#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

class Triggers : public ::testing::Test {
 protected:
  Probe probe{R"(
create table t (id int, a varchar(9) null, twice as id * 2)
create table child (id int)
create table log (n int identity, what varchar(60), k int)
go
create trigger ti on t for insert as
  insert log (what, k) select 'in ' + convert(varchar, twice) + ' ' + a, @@rowcount from inserted
  if update(a) insert log (what, k) values ('a', 0)
go
create trigger tu on t for update as
  if @@rowcount = 0 insert log (what, k) values ('nothing', 0)
  insert log (what, k)
    select d.a + ' -> ' + i.a, (select count(*) from t) from deleted d, inserted i where d.id = i.id
  if update(id) and not update(a) insert log (what, k) values ('id', 0)
go
create trigger td on t for delete as
  delete child from child c, deleted where c.id = deleted.id
  insert log (what, k) select 'out', count(*) from deleted
go
create trigger cd on child for delete as
  insert log (what, k) select 'child out', count(*) from deleted
  if exists (select 1 from deleted where id = 13) begin
    rollback transaction
    raiserror 30000 'child 13 stays'
    insert log (what, k) select 'kept', count(*) from deleted
  end
  if exists (select 1 from deleted where id = 14) rollback trigger with raiserror 30001 'nor 14'
go
)"};

  std::string log() {
    std::string rows = probe.rows("select what, k from log order by n");
    probe.ask("truncate table log");
    return rows;
  }
};

TEST_F(Triggers, SeeTheRowsOfTheChange) {
  probe.ask("insert t values (1, 'x')");
  EXPECT_EQ(log(), "in 2 x | 1\na | 0\n");
  probe.ask("insert t (id) values (2)");
  EXPECT_EQ(log(), "in 4 | 1\n");
  probe.ask("insert t select id + 2, 'y' from t");
  EXPECT_EQ(log(), "in 6 y | 2\nin 8 y | 2\na | 0\n");
  probe.ask("insert t select 5, 'z' union all select 6, 'z'");
  EXPECT_EQ(log(), "in 10 z | 2\nin 12 z | 2\na | 0\n");
  probe.ask("update t set a = 'q' where id > 4");
  EXPECT_EQ(log(), "z -> q | 6\nz -> q | 6\n");
  probe.ask("update t set id = 6 where id = 6");
  EXPECT_EQ(log(), "q -> q | 6\nid | 0\n");
  probe.ask("update t set a = 'q' where id = 99");
  EXPECT_EQ(log(), "nothing | 0\n");
  probe.ask("insert child values (1) delete t where id < 3");
  EXPECT_EQ(log(), "child out | 1\nout | 2\n");
  probe.ask("delete t");
  EXPECT_EQ(log(), "child out | 0\nout | 4\n");
  EXPECT_EQ(probe.refusal("select * from inserted").substr(0, 4), "208:");
  probe.ask("alter table t disable trigger ti insert t values (1, 'x') truncate table t");
  EXPECT_EQ(log(), "");
}

TEST_F(Triggers, UndoTheChangeAndEndTheBatch) {
  probe.ask("insert child values (13) insert t values (13, 'a') truncate table log");
  const std::string said = probe.ask(
      "create table other (n int) insert other values (1) delete t insert other values (2)");
  EXPECT_NE(said.find("child 13 stays"), std::string::npos) << said;
  EXPECT_EQ(log(), "kept | 1\n");
  EXPECT_EQ(probe.rows("select count(*) from t union all select count(*) from child"), "1\n1\n");
  EXPECT_EQ(probe.rows("select n from other"), "1\n");
  probe.ask("begin tran insert other values (3) save tran s delete t insert other values (4)");
  EXPECT_EQ(log(), "kept | 1\n");
  EXPECT_EQ(probe.rows("select n, @@trancount from other"), "1 | 0\n");
  probe.ask("begin tran insert other values (5) update t set a = 'b' commit");
  EXPECT_EQ(probe.rows("select n, @@trancount from other"), "1 | 0\n5 | 0\n");
  EXPECT_EQ(log(), "a -> b | 1\n");
}

TEST_F(Triggers, UndoTheChangeAlone) {
  probe.ask("insert child values (14) insert t values (14, 'a') truncate table log");
  const std::string said = probe.ask("begin tran delete t insert child values (5) commit");
  EXPECT_NE(said.find("nor 14"), std::string::npos) << said;
  EXPECT_EQ(log(), "");
  EXPECT_EQ(probe.rows("select id from t union all select id from child"), "14\n14\n5\n");
}

TEST_F(Triggers, FireOthersButNotThemselves) {
  probe.ask(R"(
create trigger li on log for insert as
  set nocount on
  update log set what = 'logged ' + l.what from log l, inserted where l.n = inserted.n
  insert log (what, k) values ('self', 0)
)");
  probe.ask("insert t (id) values (1)");
  EXPECT_EQ(log(), "logged in 2 | 1\nself | 0\n");
  probe.ask("create table ring1 (n int) create table ring2 (n int)");
  probe.ask("create trigger r1 on ring1 for insert as insert ring2 select n + 1 from inserted");
  probe.ask(
      "create trigger r2 on ring2 for insert as insert ring1 select n from inserted where n < 9");
  EXPECT_EQ(probe.refusal("insert ring1 values (1)").substr(0, 4), "217:");
  EXPECT_EQ(probe.rows("select count(*) from ring1"), "0\n");
  probe.ask("drop trigger r2");
  probe.ask(
      "create trigger r2 on ring2 for insert as if exists (select 1 from inserted where n < 4) "
      "insert ring1 select n from inserted");
  probe.ask("insert ring1 values (1)");
  EXPECT_EQ(probe.rows("select n from ring1 union all select n from ring2"), "1\n2\n3\n2\n3\n4\n");
}

TEST_F(Triggers, AnErrorInsideUndoesTheChange) {
  probe.ask("create trigger ci on child for insert as insert nowhere select id from inserted");
  EXPECT_EQ(probe.refusal("insert child values (1)").substr(0, 4), "208:");
  probe.ask("drop trigger ci");
  probe.ask("create trigger ci on child for insert as begin tran save tran s commit commit");
  EXPECT_EQ(probe.refusal("begin tran insert child values (1)").substr(0, 43),
            "0: The embedded catalog cannot commit withi");
  EXPECT_EQ(probe.rows("select count(*), @@trancount from child"), "0 | 1\n");
  probe.ask("rollback drop trigger ci");
  EXPECT_EQ(probe.refusal("rollback trigger").substr(0, 2), "0:");
}

constexpr const char* kOrdered = R"(
create table t (a int constraint positive check (a > 0), b int null)
create table log (what varchar(30))
go
create trigger second on t for insert, update order 2 as insert log select 'second ' + convert(varchar, a) from inserted
go
create trigger plain on t for insert as insert log values ('plain')
go
create trigger more on t for insert as insert log values ('more')
go
create trigger first on t for insert order 1 as insert log values ('first') update t set b = 1
go
)";

CatalogOptions of(Release release) {
  CatalogOptions options;
  options.release = release;
  return options;
}

TEST(OrderedTriggers, FireOneAfterTheOther) {
  Probe probe(kOrdered, of(Release::ase16));
  const auto logged = [&](const char* sql) {
    probe.ask("delete log");
    probe.ask(sql);
    return probe.rows("select what from log");
  };
  EXPECT_EQ(logged("insert t (a) values (7)"), "plain\nmore\nfirst\nsecond 7\nsecond 7\n");
  EXPECT_EQ(logged("update t set a = 8"), "second 8\n");
  probe.ask("alter table t disable trigger first alter table t disable trigger plain");
  EXPECT_EQ(logged("insert t (a) values (9)"), "more\nsecond 9\n");
  probe.ask("alter table t disable trigger");
  EXPECT_EQ(logged("insert t (a) values (1)"), "");
  probe.ask("alter table t enable trigger drop trigger more");
  EXPECT_EQ(logged("insert t (a, b) values (3, 1)"),
            "plain\nfirst\nsecond 8\nsecond 9\nsecond 1\nsecond 3\nsecond 3\n");
  probe.ask(
      "create or replace trigger first on t for insert order 3 as insert log values ('last')");
  EXPECT_EQ(logged("insert t (a) values (4)"), "plain\nsecond 4\nlast\n");
}

TEST(OrderedTriggers, StandInSysconstraints) {
  Probe probe(kOrdered, of(Release::ase16));
  const char* const kept =
      "select object_name(constrid), colid, status from sysconstraints where tableid = "
      "object_id('t') order by 1";
  EXPECT_EQ(probe.rows(kept),
            "first | 1 | 256\nmore | 0 | 256\npositive | 1 | 128\nsecond | 2 | 768\n");
  EXPECT_EQ(probe.rows("select object_name(instrig), updtrig, deltrig from sysobjects "
                       "where name = 't'"),
            "plain | 0 | 0\n");
  // They are neither checks nor otherwise a part of the table's definition.
  probe.ask("create trigger third on t for delete order 1 as insert log values ('gone')");
  EXPECT_EQ(probe.refusal("insert t (a) values (-1)").substr(0, 4), "548:");
  EXPECT_EQ(probe.refusal("alter table t drop constraint third").substr(0, 5), "3728:");
  EXPECT_EQ(probe.ask("alter table t add c int null alter table t drop b"), "(closed)\n");
  EXPECT_EQ(probe.rows("select colid, status from sysconstraints where constrid = "
                       "object_id('third')"),
            "1 | 128\n");
  probe.ask("alter table t disable trigger second");
  EXPECT_EQ(probe.rows("select status from sysconstraints where constrid = object_id('second')"),
            "1792\n");
  probe.ask("drop table t");
  EXPECT_EQ(probe.rows("select name from sysobjects where type in ('TR', 'R')"), "");
  EXPECT_EQ(probe.rows("select count(*) from sysconstraints"), "0\n");
}

// Before 16, and without an order where no release is given, a later trigger takes the place.
TEST(OrderedTriggers, AreOnesOfRelease16) {
  const char* const two =
      "create table t (a int)\ngo\ncreate trigger a on t for insert as select 1\ngo\n"
      "create trigger b on t for insert as select 2\ngo";
  for (const auto& options : {CatalogOptions{}, of(Release::ase15), of(Release::ase125)}) {
    EXPECT_EQ(Probe(two, options).rows("select name from sysobjects where type = 'TR'"), "b\n");
  }
  EXPECT_EQ(Probe(kOrdered).rows("select name from sysobjects where type = 'TR' order by name"),
            "first\nmore\nsecond\n");
}

}  // namespace
}  // namespace kelvane::embedded
