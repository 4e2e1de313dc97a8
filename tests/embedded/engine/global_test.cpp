// The global variables: what batches read, what each release has, what a loop over a cursor sees.

#include <gtest/gtest.h>

#include "drivers/embedded/engine/session.h"
#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

TEST(Global, AreReadInAnyLetterCase) {
  Probe probe;
  EXPECT_EQ(probe.ask("if @@ERROR <> 0 or @@RowCount > 1000 select 'no' select @@TRANCOUNT"),
            "\n0\n");
  EXPECT_EQ(probe.refusal("select @@NoSuch"), "137: Must declare variable '@@NoSuch'.\n");
}

TEST(Global, TellTheReleaseAndHaveItsVariables) {
  struct Case {
    std::optional<Release> release;
    const char* facts;
    bool has15, has16;
  };
  const Case cases[] = {
      {{}, "Adaptive Server Enterprise/12.5.4 | 12540 | 12500\n", true, true},
      {Release::ase125, "Adaptive Server Enterprise/12.5.4 | 12540 | 12500\n", false, false},
      {Release::ase15, "Adaptive Server Enterprise/15.7/E | 15700 | 15700\n", true, false},
      {Release::ase16, "Adaptive Server Enterprise/16.0/E | 16000 | 16000\n", true, true},
  };
  for (const Case& c : cases) {
    CatalogOptions options;
    options.release = c.release;
    Probe probe("", options);
    EXPECT_EQ(probe.rows("select substring(@@version, 1, 33), @@version_number, "
                         "@@version_as_integer"),
              c.facts);
    EXPECT_EQ(probe.ask("select @@boottime").starts_with("error 137"), !c.has15);
    EXPECT_EQ(probe.ask("select @@hadr_mode").starts_with("error 137"), !c.has16);
  }
}

TEST(Global, FollowTheSession) {
  Probe probe("create procedure p as select object_name(@@procid), @@nestlevel");
  EXPECT_EQ(probe.rows("select @@procid, @@nestlevel, @@isolation, @@tranchained, @@setrowcount"),
            "0 | 0 | 1 | 0 | 0\n");
  EXPECT_EQ(probe.rows("exec p"), "p | 1\n");
  EXPECT_EQ(probe.rows("set transaction isolation level 3 set rowcount 5 select @@isolation, "
                       "@@setrowcount"),
            "3 | 5\n");
  EXPECT_EQ(probe.rows("set textsize 100 select @@textsize"), "100\n");
  EXPECT_EQ(probe.rows("begin tran select @@transtate, @@trancount"), "0 | 1\n");
  EXPECT_EQ(probe.rows("rollback select @@transtate, @@trancount"), "3 | 0\n");
  EXPECT_EQ(probe.rows("begin tran commit select @@transtate"), "1\n");
}

constexpr const char* kThreeRows =
    "create table t (a int) insert t values (1) insert t values (2) insert t values (3)";

TEST(Global, TellTheEndOfACursor) {
  Probe probe(kThreeRows);
  probe.ask("declare c cursor for select a from t order by a");
  EXPECT_EQ(probe.rows("declare @a int, @n int select @n = 0 open c fetch c into @a "
                       "while @@fetch_status = 0 begin select @n = @n + @a fetch c into @a end "
                       "select @n, @@fetch_status, @@sqlstatus, @@rowcount, @@cursor_rows"),
            "6 | -1 | 2 | 3 | 3\n");
}

TEST(Global, TellWhereAScrollingCursorStands) {
  Probe probe(kThreeRows);
  probe.ask("declare c scroll cursor for select a from t order by a");
  EXPECT_EQ(probe.rows("declare @a int, @b int, @c int, @d int, @e int "
                       "open c fetch last from c into @a fetch prior from c into @b "
                       "fetch first from c into @c fetch absolute -1 from c into @d "
                       "fetch next from c into @e fetch relative -2 from c into @e "
                       "select @a, @b, @c, @d, @e"),
            "3 | 2 | 1 | 3 | 2\n");
  EXPECT_EQ(probe.rows("fetch first c fetch prior c select @@fetch_status, @@rowcount"),
            "1\n | \n-1 | 6\n");
}

TEST(Cursor, TheRowThatItStandsOnIsNotChangedWithAllOthers) {
  Probe probe(kThreeRows);
  probe.ask("declare c cursor for select a from t where a = 2 for update");
  probe.ask("open c fetch c");
  for (const char* change :
       {"delete t where current of c", "update t set a = 9 where current of c"}) {
    EXPECT_EQ(probe.refusal(change).substr(0, 2), "0:");
  }
  EXPECT_EQ(probe.rows("select sum(a) from t"), "6\n");
}

TEST(Temporary, TablesHaveIds) {
  Probe probe;
  EXPECT_EQ(probe.rows("select object_id('#x'), object_id('tempdb..#x')"), "- | -\n");
  probe.ask("create table #x (a int)");
  EXPECT_EQ(probe.rows("select case when object_id('tempdb..#x') = object_id('#x') then 1 end"),
            "1\n");
  probe.ask("if object_id('tempdb..#x') is not null drop table #x");
  EXPECT_EQ(probe.rows("select object_id('#x')"), "-\n");
}

TEST(Session, IsWhoLoggedIn) {
  EmbeddedCatalog catalog;
  Session session(catalog.server());
  session.logIn({"ann", "desk", "4711", "isql"});
  struct Rows final : Outcome {
    void beginRows(const std::vector<ResultColumn>&) override {}
    void row(Row row) override { rows.push_back(std::move(row)); }
    void count(std::int64_t) override {}
    void notice(const Notice& notice) override { ADD_FAILURE() << notice.message.text; }
    std::vector<Row> rows;
  } outcome;
  session.run("select suser_name(), suser_name(suser_id()), user_name(), host_name(), host_id()",
              outcome);
  const std::vector<Row> expected = {{"ann", "ann", "dbo", "desk", "4711"}};
  EXPECT_EQ(outcome.rows, expected);
}

TEST(Stream, TellsTheLineOfWhatGoesWrongInIt) {
  EmbeddedCatalog catalog;
  Session session(catalog.server());
  struct Nothing final : Outcome {
    void beginRows(const std::vector<ResultColumn>&) override {}
    void row(Row) override {}
    void count(std::int64_t) override {}
    void notice(const Notice& notice) override { ADD_FAILURE() << notice.message.text; }
  } outcome;
  auto stream = session.runStreaming("declare @a int\n\nselect 1 / 0", outcome);
  ASSERT_TRUE(stream);
  try {
    session.step(*stream);
    ADD_FAILURE() << "no refusal";
  } catch (const tsql::ServerError& error) {
    EXPECT_EQ(error.number, 3607);
    EXPECT_EQ(error.line, 3u);
  }
}

}  // namespace
}  // namespace kelvane::embedded
