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
  probe.ask("insert t exec ('select 5, ''z'' select 6, ''z''')");
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

}  // namespace
}  // namespace kelvane::embedded
