// The procedures that installation scripts call: what they keep in the catalog, and where.

#include <gtest/gtest.h>
#include <regex>

#include "drivers/embedded/script.h"
#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

constexpr const char* kTable = R"(create table t (a numeric(9) identity, b text null, c int)
create index i1 on t (c)
go
create procedure p as return 1
go
)";

TEST(InstallProcedure, AttributesOfTablesAndIndexes) {
  Probe probe(std::string(kTable) + R"(exec sp_chgattribute "t.i1", "fillfactor", 80
exec sp_chgattribute "dbo.t.i1", "max_rows_per_page", 7
exec sp_chgattribute "t.i1", "reservepagegap", 16
exec sp_chgattribute t, "exp_row_size", 100
exec sp_chgattribute t, "identity_gap", 10
exec sp_chgattribute t, "concurrency_opt_threshold", -1
exec sp_chgattribute t, "plldegree", 3
exec sp_chgattribute t, "optimistic_index_lock", 1
exec sp_chgattribute t, "dealloc_first_txtpg", 1
exec sp_chgattribute t, "identity_burn_max", 0, "5000000000")");
  EXPECT_EQ(probe.rows("select name, maxrowsperpage, fill_factor, res_page_gap, exp_rowsize,"
                       " identitygap, conopt_thld, plldegree from sysindexes"
                       " where id = object_id('t') and indid < 255 order by indid"),
            "t | 0 | - | - | 100 | 10 | -1 | 3\ni1 | 7 | 80 | 16 | - | - | - | -\n");
  EXPECT_EQ(
      probe.rows("select sysstat2 & 402653184, identburnmax from sysobjects where name = 't'"),
      "402653184 | 5000000000\n");
  probe.ask("exec sp_chgattribute t, 'optimistic_index_lock', 0");
  EXPECT_EQ(probe.rows("select sysstat2 & 402653184 from sysobjects where name = 't'"),
            "134217728\n");
  for (const char* refused :
       {"exec sp_chgattribute 't.i1', 'fillfactor', 101", "exec sp_chgattribute t, 'colour', 1",
        "exec sp_chgattribute 't.i1', 'identity_gap', 1", "exec sp_chgattribute p, 'fillfactor', 1",
        "exec sp_chgattribute t, 'fillfactor', 'x'", "exec sp_chgattribute nil, 'fillfactor', 1"}) {
    EXPECT_NE(probe.refusal(refused), "") << refused;
  }
}

TEST(InstallProcedure, TheDataOfAClusteredTableIsItsClusteredIndex) {
  Probe probe(
      "create table t (a int) create clustered index ci on t (a)\n"
      "exec sp_chgattribute t, 'exp_row_size', 50");
  EXPECT_EQ(probe.rows("select name, exp_rowsize from sysindexes where id = object_id('t')"),
            "ci | 50\n");
}

TEST(InstallProcedure, AttributesHaveAPlaceInEveryReleaseThatKnowsThem) {
  CatalogOptions options;
  options.release = Release::ase125;
  Probe probe(std::string(kTable) + "exec sp_chgattribute t, 'concurrency_opt_threshold', 7",
              options);
  EXPECT_EQ(
      probe.rows("select conopt_thld from sysindexes where id = object_id('t') and indid = 0"),
      "7\n");
  EXPECT_NE(probe.refusal("exec sp_chgattribute t, 'plldegree', 3"), "");
}

TEST(InstallProcedure, TransactionModesOfProcedures) {
  Probe probe(std::string(kTable) +
              "create procedure q as return 2\ngo\n"
              "exec sp_procxmode p, 'AnyMode'\nexec sp_procxmode q, chained");
  const char* modes = "select name, sysstat2 from sysobjects where type = 'P' order by name";
  EXPECT_EQ(probe.rows(modes), "p | 32\nq | 16\n");
  EXPECT_EQ(probe.rows("exec sp_procxmode"), "p | dbo | Any Mode\nq | dbo | Chained\n");
  probe.ask("exec sp_procxmode p, 'unchained' exec sp_procxmode q, anymode");
  EXPECT_EQ(probe.rows(modes), "p | 0\nq | 32\n");
  EXPECT_EQ(probe.rows("exec sp_procxmode p"), "p | dbo | Unchained\n");
  EXPECT_NE(probe.refusal("exec sp_procxmode p, 'sometimes'"), "");
  // A procedure begins with the mode of the session that creates it.
  probe.ask("set chained on");
  probe.ask("create procedure r as return 3");
  EXPECT_EQ(probe.rows("exec sp_procxmode r"), "r | dbo | Chained\n");
}

TEST(InstallProcedure, HiddenTextsRunButCannotBeRead) {
  Probe probe(R"(create table t (a int default 3, constraint positive check (a > 0))
go
create procedure p as select a from t
go
create view v as select a from t
go
create function f (@x int) returns int as return @x + 1
go
exec sp_hidetext p
exec sp_hidetext v
exec sp_hidetext f
exec sp_hidetext @tabname = t
insert t default values)");
  EXPECT_EQ(probe.rows("exec p"), "3\n");
  EXPECT_EQ(probe.rows("select a, dbo.f(a) from v"), "3 | 4\n");
  EXPECT_NE(probe.refusal("insert t values (-1)"), "");
  EXPECT_EQ(probe.rows("select count(*), sum(status & 1) from syscomments"), "5 | 5\n");
  EXPECT_EQ(probe.rows("select count(*) from syscomments where text like '%create%'"
                       " or text like '%DEFAULT%' or text like '%check%'"),
            "0\n");
  EXPECT_EQ(probe.refusal("exec sp_helptext p"),
            "18406: Source text for compiled object 'p' is hidden.\n");
  probe.ask("update syscomments set number = number");
  EXPECT_EQ(probe.rows("exec p"), "3\n");
}

TEST(InstallProcedure, AllTextsOfADatabaseAreHidden) {
  Probe probe(std::string(kTable) + "create view v as select c from t\ngo\nexec sp_hidetext");
  EXPECT_EQ(probe.rows("select count(*), sum(status & 1) from syscomments"), "2 | 2\n");
}

TEST(InstallProcedure, OptionsOfDatabases) {
  Probe probe(
      "exec sp_dboption main, 'select into', true\n"
      "exec sp_dboption main, 'trunc', TRUE\n"
      "exec sp_dboption main, 'abort tran on log full', true\n"
      "exec sp_dboption main, 'delayed', 'true'\n"
      "exec sp_dboption main, 'wide dol', true");
  const char* bits =
      "select status, status2, status3 from master..sysdatabases where name = 'main'";
  EXPECT_EQ(probe.rows(bits), "12 | 1 | 2048\n");
  EXPECT_EQ(probe.rows("exec sp_helpdb main"),
            "main | - | sa | 5 | - | abort tran on log full, delayed commit, "
            "select into/bulkcopy/pllsort, trunc log on chkpt\n");
  probe.ask("exec sp_dboption main, 'select into/bulkcopy', false");
  EXPECT_EQ(probe.rows(bits), "8 | 1 | 2048\n");
  EXPECT_EQ(probe.refusal("exec sp_dboption main, 'on', true"),
            "17426: Database option is not unique.\n");
  EXPECT_EQ(probe.refusal("exec sp_dboption main, 'nonsense', true"),
            "17424: Database option doesn't exist or can't be set by user.\n");
}

TEST(InstallProcedure, ServersLoginsAndProxies) {
  Probe probe(
      "exec sp_addserver REM, 'ASEnterprise', 'host:5000'\n"
      "exec sp_addserver OTHER\n"
      "exec sp_serveroption REM, 'readonly', true\n"
      "exec sp_serveroption REM, 'timeouts', false\n"
      "exec sp_addexternlogin REM, sa, outside, secret\n"
      "exec sp_addobjectdef far, 'REM.db.dbo.t', 'table'\n"
      "exec sp_addextendedproc xp_x, 'x.dll'\n"
      "exec sp_defaultdb sa, main");
  EXPECT_EQ(probe.rows("select srvid, srvname, srvnetname, srvstatus from master..sysservers"
                       " order by srvid"),
            "1 | REM | host:5000 | 5\n2 | OTHER | OTHER | 0\n");
  EXPECT_EQ(probe.rows("select attribute, object_type, object, object_info1, object_cinfo,"
                       " char_value from sysattributes where class = 9 order by attribute"),
            "0 | EL | 1 | 1 | outside | -\n1 | OD | - | - | far | REM.db.dbo.t\n");
  EXPECT_EQ(probe.rows("select o.name, c.text from sysobjects o, syscomments c"
                       " where o.id = c.id and o.type = 'XP'"),
            "xp_x | x.dll\n");
  EXPECT_EQ(probe.rows("select dbname from master..syslogins where name = 'sa'"), "main\n");
  probe.ask(
      "exec sp_dropexternlogin REM, sa exec sp_dropobjectdef far exec sp_dropserver REM"
      " exec sp_dropextendedproc xp_x");
  EXPECT_EQ(probe.rows("select count(*) from sysattributes"), "0\n");
  EXPECT_EQ(probe.rows("select srvname from master..sysservers"), "OTHER\n");
}

TEST(InstallProcedure, LoginsThatNoScriptBringsAreAdded) {
  Probe probe(
      "exec sp_addserver REM\nexec sp_addexternlogin REM, ann, outside\n"
      "exec sp_changedbowner bob\nexec sp_defaultdb carl, main");
  EXPECT_EQ(probe.rows("select l.name, a.object_cinfo from master..syslogins l, sysattributes a"
                       " where a.object = l.suid"),
            "ann | outside\n");
  EXPECT_EQ(probe.rows("select l.name from master..syslogins l, master..sysdatabases d"
                       " where d.suid = l.suid and d.name = 'main'"),
            "bob\n");
  EXPECT_EQ(probe.rows("select dbname from master..syslogins where name = 'carl'"), "main\n");
}

TEST(InstallProcedure, ReplicationCachesLocksAndThresholds) {
  Probe probe(std::string(kTable) + R"(exec sp_setreptable t, 'true'
exec sp_setrepproc p, 'function'
exec sp_setrepcol t, b, replicate_if_changed
alter table t add d int null
exec sp_setpglockpromote "table", t, 100, 2000, 50
exec sp_bindcache fast, main, t, i1
exec sp_bindcache fast, main, t
exec sp_cachestrategy main, t, i1, mru, "off"
exec sp_addsegment seg, main, dev
exec sp_placeobject seg, "t.i1"
exec sp_addthreshold main, 'default', 100, p
exec sp_modifythreshold main, 'default', 100, NULL, 200)");
  EXPECT_EQ(probe.rows("select name, sysstat & 15 from sysobjects where sysstat < 0 order by name"),
            "p | 4\nt | 3\n");
  EXPECT_EQ(probe.rows("select status & 3 from syscolumns where name = 'b'"), "2\n");
  EXPECT_EQ(probe.rows("select class, object_type, object_info1, char_value from sysattributes"
                       " order by class, object_type"),
            "3 | I | 2 | fast\n3 | T | - | fast\n5 | T | - | PCT = 50, LWM = 100, HWM = 2000\n");
  EXPECT_EQ(probe.rows("select status2 & 48, segment from sysindexes where name = 'i1'"),
            "32 | 3\n");
  EXPECT_EQ(probe.rows("select free_space, proc_name from systhresholds"), "200 | p\n");
  probe.ask(
      "exec sp_setreptable t, false exec sp_unbindcache main, t, i1"
      " exec sp_dropglockpromote 'table', t");
  EXPECT_EQ(probe.rows("select name from sysobjects where sysstat < 0"), "p\n");
  EXPECT_EQ(probe.rows("select object_type from sysattributes"), "T\n");
}

TEST(InstallProcedure, MessagesOfConstraints) {
  Probe probe(
      "create table t (a int constraint c check (a > 0))\n"
      "exec sp_addmessage 20001, 'too small'\nexec sp_bindmsg c, 20001");
  EXPECT_EQ(probe.rows("select error from sysconstraints"), "20001\n");
  EXPECT_NE(probe.refusal("exec sp_bindmsg c, 20002"), "");
  probe.ask("exec sp_unbindmsg c exec sp_dropmessage 20001");
  EXPECT_EQ(probe.rows("select error from sysconstraints"), "0\n");
  EXPECT_EQ(probe.rows("select count(*) from sysusermessages"), "0\n");
}

TEST(InstallProcedure, ReportsReadTheCatalog) {
  Probe probe(std::string(kTable) +
              "exec sp_addgroup g exec sp_adduser ann, ann, g\n"
              "grant select on t (c) to ann\n"
              "alter table t add constraint pk primary key (c)");
  EXPECT_EQ(probe.rows("exec sp_helpgroup g"), "g | 16394 | ann | 3\n");
  EXPECT_EQ(probe.rows("exec sp_helpuser ann"), "ann | 3 | g | ann\n");
  EXPECT_EQ(probe.rows("exec sp_helprotect t"), "dbo | ann | Grant | Select | t | c | FALSE\n");
  EXPECT_EQ(probe.rows("exec sp_helpconstraint t"), "pk | PRIMARY KEY INDEX ( c)\n");
  EXPECT_EQ(probe.ask("exec sp_help t"),
            "Name | Owner | Object_type\nt | dbo | user table\n"
            "Column_name | Type | Length | Prec | Scale | Nulls | Default_name | Rule_name | "
            "Identity\n"
            "a | numeric | 5 | 9 | 0 | 0 | - | - | 1\nb | text | 16 | - | - | 1 | - | - | 0\n"
            "c | int | 4 | - | - | 0 | - | - | 0\n");
  EXPECT_NE(probe.refusal("exec sp_help nil"), "");
}

TEST(InstallProcedure, IndexesAreReportedAsTheReleaseDoes) {
  const char* script =
      "create table t (a int, b int) create unique clustered index ci on t (a, b desc)"
      " create index ni on t (b) with fillfactor = 70 on 'system'";
  const char* names = "index_max_rows_per_page | index_fillfactor | index_reservepagegap | ";
  for (const Release release : {Release::ase15, Release::ase16}) {
    CatalogOptions options;
    options.release = release;
    Probe probe(script, options);
    // The indexes were made at different times.
    const std::regex moment("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:.]+");
    const std::string report = std::regex_replace(probe.ask("exec sp_helpindex t"), moment, "*");
    const std::string id = probe.rows("select object_id('t')");
    EXPECT_EQ(report, std::string("index_name | index_keys | index_description | ") + names +
                          "index_created | index_local\n"
                          "ci |  a, b DESC | clustered, unique | 0 | 0 | 0 | * | Global Index\n"
                          "ni |  b | nonclustered | 0 | 70 | 0 | * | Global Index\n"
                          "index_ptn_name | index_ptn_seg\n"
                          "ci_" +
                          id.substr(0, id.size() - 1) + " | default\nni_" +
                          id.substr(0, id.size() - 1) + " | system\n");
  }
  CatalogOptions options;
  options.release = Release::ase125;
  EXPECT_TRUE(Probe(script, options)
                  .ask("exec sp_helpindex t")
                  .starts_with(std::string("index_name | index_description | index_keys | ") +
                               names + "index_created\n"));
}

LoadReport load(std::string_view script) {
  EmbeddedCatalog catalog;
  LoadOptions options;
  options.listIgnored = true;
  options.stopAtFirstError = false;
  return loadScript(catalog, "s.sql", script, options);
}

TEST(InstallProcedure, OperationsSucceedAndAreListed) {
  const LoadReport report = load(std::string(kTable) + R"(exec sp_who
exec sp_audit "all", "all", "all", "on"
exec sp_procqmode p
exec sp_remap p
exec sp_flushstats t
exec sp_reptostandby main, 'all'
exec sp_configure @configname = 'max memory', @configvalue = 1
)");
  EXPECT_TRUE(report.errors.empty());
  EXPECT_EQ(report.notes.size(), 7U);
  const LoadReport unknown = load("exec sp_executesql 'select 1'");
  ASSERT_EQ(unknown.errors.size(), 1U);
  EXPECT_EQ(unknown.errors[0].number, 2812);
}

TEST(InstallProcedure, NoMessageShowsAPassword) {
  const LoadReport report = load(R"(exec sp_config_rep_agent main, 'enable', 'rs', 'u', 'secret'
exec sp_password 'secret', 'secret2'
exec sp_addexternlogin nil, sa, outside, 'secret'
exec sp_addlogin
  nil, 'secret', 'secret'
exec sp_addlogin ann, 'secret', main exec sp_addlogin ann, 'secret', main
go
exec sp_addlogin
  bob, 'secret' select select
)");
  EXPECT_GE(report.errors.size(), 3U);
  EXPECT_EQ(report.notes.size(), 2U);
  for (const auto* notes : {&report.errors, &report.notes}) {
    for (const ScriptNote& note : *notes) {
      EXPECT_EQ(note.statement.find("secret"), std::string::npos) << note.describe();
    }
  }
}

TEST(InstallProcedure, CachesOfIndexesWithQuotedNames) {
  Probe probe("create table [T x] (a int)\ncreate index [i x] on [T x] (a)");
  probe.ask("set quoted_identifier on");
  probe.ask("exec sp_bindcache c, main, '\"T x\"', '\"i x\"'");
  probe.ask("exec sp_cachestrategy main, '\"T x\"', '\"i x\"', prefetch, 'off'");
  EXPECT_EQ(probe.rows("select i.name, a.char_value, i.status2 & 16 from sysattributes a,"
                       " sysindexes i where a.class = 3 and i.id = a.object"
                       " and i.indid = a.object_info1"),
            "i x | c | 16\n");
}

TEST(InstallProcedure, MessagesAreGivenBack) {
  Probe probe;
  probe.ask(
      "exec sp_addmessage 20001, 'Row %1! is wrong' exec sp_addmessage 20001, 'Zeile %1! falsch',"
      " german exec sp_addmessage 20002, 'plain'");
  struct Case {
    const char* arguments;
    const char* answer;
  };
  for (const Case& one : {
           Case{"20001, @m output", "0 | Row %1! is wrong\n"},
           Case{"20001, @m output, german", "0 | Zeile %1! falsch\n"},
           Case{"20002, @m output, german", "0 | plain\n"},
           Case{"@result = @m output, @message_num = 20002", "0 | plain\n"},
           Case{"20002, @m", "0 | before\n"},
       }) {
    EXPECT_EQ(probe.rows("declare @m varchar(30), @r int select @m = 'before' exec @r ="
                         " sp_getmessage " +
                         std::string(one.arguments) + " select @r, @m"),
              one.answer)
        << one.arguments;
  }
  EXPECT_EQ(probe.refusal("declare @m varchar(30) exec sp_getmessage 29999, @m output"),
            "17209: Message number 29999 does not exist.\n");
}

}  // namespace
}  // namespace kelvane::embedded
