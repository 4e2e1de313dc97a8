// Loading scripts: what is an error, what a note, and where it is said to be.

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "tests/embedded/engine/probe.h"
#include "tests/support/temporary_folder.h"

namespace kelvane::embedded {
namespace {

std::string drawn(const LoadReport& report) {
  std::string text;
  for (const ScriptNote& error : report.errors) text += "error " + error.describe() + '\n';
  for (const ScriptNote& note : report.notes) {
    text += "note " + std::to_string(note.line) + ' ' + std::to_string(note.number) + '\n';
  }
  return text;
}

std::string loaded(std::string_view script, const LoadOptions& options = {}) {
  EmbeddedCatalog catalog;
  return drawn(loadScript(catalog, "a.sql", script, options));
}

TEST(Loader, RemovingWhatIsNotThereIsNoError) {
  EXPECT_EQ(loaded(R"(use anything
go
drop table gone
drop view gone, gone_too
go
delete from gone
go
if object_id('gone') is null delete gone
go
alter table gone drop constraint fk
go
truncate table gone
go
create table t (a int null)
go
alter table t drop constraint fk
go
drop index t.ix
go
exec sp_droptype gone
alter table gone drop constraint fk
print 'goes on'
insert t values (null)
go
if (select count(*) from t) != 1 raiserror 20001 'no row'
go
)"),
            "note 3 3701\nnote 4 3701\nnote 4 3701\nnote 6 208\nnote 8 208\nnote 10 208\nnote 12 "
            "208\nnote 16 "
            "3728\nnote 18 3701\nnote 20 17550\nnote 21 208\n");
}

TEST(Loader, WhatGoesOnWithoutEndIsStopped) {
  CatalogOptions few;
  few.mostSteps = 100;
  const auto stopped = [&](std::string_view script) {
    EmbeddedCatalog catalog(few);
    return drawn(loadScript(catalog, "a.sql", script, {.stopAtFirstError = false}));
  };
  const auto error = [](int line, const std::string& near) {
    return "error a.sql:" + std::to_string(line) +
           ": The batch was stopped after 100 steps: it seems to go on without end. (near \"" +
           near + "\")\n";
  };
  EXPECT_EQ(stopped("print 'x'\nwhile 1 = 1 print 'y'\n"), error(2, "while 1 = 1 print 'y'"));
  EXPECT_EQ(stopped("a: goto a"), error(1, "goto a"));
  EXPECT_EQ(stopped("select 1\ngo 2000000000\nselect 2\ngo 20"), error(1, "select 1"));
  EXPECT_EQ(stopped("-- nothing\ngo 2000000000"), error(1, "-- nothing"));
  const std::string join = "select count(*) from syscolumns a, syscolumns b, syscolumns c";
  EXPECT_EQ(stopped(join), error(1, join));
  const std::string cursor = "declare c cursor for select 1 from syscolumns a, syscolumns b open c";
  EXPECT_EQ(stopped(cursor), error(1, "open c"));
  // A catalog may go while a transaction is open.
  EXPECT_EQ(stopped("create table t (a int)\ngo\nbegin tran create table #u (a int) insert t "
                    "values (1)\ngo\n" +
                    join),
            error(5, join));
  // What was stopped while it wrote is undone with its transaction, and nothing is left of that.
  EXPECT_EQ(stopped(R"(create table t (a int)
go
begin tran insert t values (1) create table #t (a int)
insert t select a.id from syscolumns a, syscolumns b, syscolumns c
go
if @@trancount != 0 or exists (select * from t) raiserror 20001 'not undone'
create table #t (a int)
)"),
            error(4, "insert t select a.id from syscolumns a, syscolumns b, syscolumns c"));
}

TEST(Loader, AnErrorStopsTheScript) {
  const char* script = R"(create table t (
  a int,
  b unknown
)
go

-- a comment
insert t values (1)
insert u values (2)
go
select 'never'
)";
  EXPECT_EQ(
      loaded(script),
      "error a.sql:1: message 2715: Can't find type 'unknown'. (near \"create table t (\")\n");
  EXPECT_EQ(
      loaded(script, {false}),
      "error a.sql:1: message 2715: Can't find type 'unknown'. (near \"create table t (\")\n"
      "error a.sql:8: message 208: t not found. Specify owner.objectname or use sp_help to "
      "check whether the object exists (sp_help may produce lots of output). (near \"insert t "
      "values (1)\")\n");
}

TEST(Loader, ErrorsOfCalledTextsStandAtTheCall) {
  EXPECT_EQ(loaded("create proc p as\n\n\nraiserror 20001 'inside'\ngo\n\nexec p\n"),
            "error a.sql:7: message 20001: inside (near \"exec p\")\n");
  EXPECT_EQ(loaded("print 'x'\nexec ('\n\nselect nothing')\n"),
            "error a.sql:2: message 207: Invalid column name 'nothing'. (near \"exec ('\")\n");
}

// The other statement did not run either, so the script did not do what it says.
TEST(Loader, ARefusedBatchIsAnErrorWhenItWantedMore) {
  EXPECT_EQ(loaded("create table t (a int)\ngo\ninsert t values (1)\ndelete gone\n").substr(0, 28),
            "error a.sql:4: message 208: ");
}

TEST(Loader, SyntaxErrorsNameTheirLine) {
  EXPECT_EQ(
      loaded("create table t (a int)\ngo\n\ncreate table u (a int,, b int)\ngo\n"),
      "error a.sql:4: message 102: Incorrect syntax near ','. (near \"create table u (a int,, b "
      "int)\")\n");
  EXPECT_EQ(loaded("print 'fine'\ngo 2\nraiserror 20001 'no luck'\n"),
            "error a.sql:3: message 20001: no luck (near \"raiserror 20001 'no luck'\")\n");
}

TEST(Loader, ScriptsWithoutStatements) {
  for (const char* script : {"", "\n\n", "go\n", "-- nothing\ngo\n", "/* nothing */"}) {
    EXPECT_EQ(loaded(script), "error a.sql: contains no statements\n") << script;
  }
}

TEST(Loader, TheDatabaseGetsItsName) {
  Probe probe("use shop\ngo\ncreate table t (a int)\n");
  EXPECT_EQ(probe.rows("select db_name(), name from shop..sysobjects where type = 'U'"),
            "shop | t\n");
  EXPECT_EQ(probe.refusal("use elsewhere").substr(0, 4), "911:");
}

class LoaderFile : public ::testing::Test {
 protected:
  std::string loadedFile(const std::string& name) {
    EmbeddedCatalog catalog;
    const LoadReport report = loadFile(catalog, folder / name);
    return report.errors.empty() ? "" : report.errors.front().text;
  }
  void write(const std::string& name, std::string_view content) {
    std::ofstream(folder / name, std::ios::binary) << content;
  }

  const kelvane::testing::TemporaryFolder folder;
};

TEST_F(LoaderFile, WhatCannotBeReadSaysWhy) {
  EXPECT_EQ(loadedFile("missing.sql"), "there is no such file");
  EXPECT_EQ(loadedFile(""), "is a folder without .sql files");
  write("empty.sql", "");
  EXPECT_EQ(loadedFile("empty.sql"), "contains no statements");
  write("binary.sql", std::string_view("select 1\0\1\2", 11));
  EXPECT_FALSE(loadedFile("binary.sql").empty());
  write("wide.sql", std::string_view("\xFF\xFEs\0e\0l\0", 8));
  EXPECT_FALSE(loadedFile("wide.sql").empty());
  write("marked.sql",
        "\xEF\xBB\xBF"
        "create table t (a int)\r\ngo\r\n");
  EXPECT_EQ(loadedFile("marked.sql"), "");
  write("returns.sql", "create table t (a int)\rgo\r-- a comment\rinsert t values (1)\rgo\r");
  EXPECT_EQ(loadedFile("returns.sql"), "");
  write("isql.sql", "create table t (a int)\ngo\n:r other.sql\n");
  EXPECT_EQ(loadedFile("isql.sql"),
            "line 3 is an isql command, ':r other.sql', which only isql can execute");
}

TEST_F(LoaderFile, WhatIsNotUtf8IsWindows1252) {
  write("latin.sql", "create table t (a varchar(9) default '\xE9\x80\xFF')\n");
  write("surrogate.sql", "create table u (a varchar(9) default '\xED\xA0\x80')\n");
  write("utf.sql", "create table v (a varchar(9) default '\xC3\xA9\xED\x9F\xBF')\n");
  Probe probe;
  const std::filesystem::path places[] = {folder / "latin.sql", folder / "surrogate.sql",
                                          folder / "utf.sql"};
  EXPECT_EQ(drawn(loadFiles(probe.catalog, places)), "note 0 0\nnote 0 0\n");
  EXPECT_EQ(probe.sortedRows("select text from syscomments"),
            "DEFAULT '\u00E9\u20AC\u00FF'\nDEFAULT '\u00E9\uD7FF'\n"
            "DEFAULT '\u00ED\u00A0\u20AC'\n");
}

TEST_F(LoaderFile, ASequenceNeedsOneStatementAndStopsAtTheFirstError) {
  write("1.sql", "-- nothing\n");
  write("2.sql", "create table t (a int)\ngo\nselect b from t\ngo\n");
  write("3.sql", "create table u (a int)\n");
  write("4.txt", "this is no script");
  std::filesystem::create_directories(folder / ".hidden");
  write(".hidden/0.sql", "nor is this");
  Probe probe;
  const LoadReport report = loadFile(probe.catalog, folder / ".");
  EXPECT_EQ(drawn(report).substr(0, 6), "error ");
  EXPECT_TRUE(report.readable);
  EXPECT_EQ(probe.rows("select name from sysobjects where type = 'U'"), "t\n");
  const std::filesystem::path nothing[] = {folder / "1.sql", folder / "1.sql"};
  EXPECT_FALSE(loadFiles(probe.catalog, nothing).readable);
}

TEST(Loader, AnOpenTransactionIsUndoneAndReported) {
  const auto undone = [](std::string_view script) {
    EmbeddedCatalog catalog;
    const LoadReport report = loadScript(catalog, "a.sql", script);
    EXPECT_TRUE(report.succeeded());
    std::string text;
    for (const ScriptNote& one : report.undone) text += one.describe() + "\n";
    return text;
  };
  EXPECT_EQ(undone("create table t (a int)\ngo\nbegin tran\ninsert t values (1)\n"),
            "a.sql: a transaction is still open at the end of the script, which undoes what it "
            "changed; end it with 'commit'\n");
  EXPECT_NE(undone("begin tran\ncreate table t (a int)\n"), "");
  EXPECT_EQ(undone("begin tran\ncreate table t (a int)\ncommit\n"), "");
  EXPECT_EQ(undone("set chained on\ngo\nselect name from sysobjects\n"), "");
}

TEST(Loader, ADroppedDatabaseIsNotThereAnyMore) {
  EXPECT_EQ(loaded("create database A\ngo\ndrop database A\ngo\nuse A\n").substr(0, 31),
            "error a.sql:5: message 911: Att");
  EXPECT_EQ(loaded("create database A\ngo\ndrop database A\ngo\ncreate database A\ngo\nuse A\n"),
            "");
  EXPECT_EQ(loaded("drop database master\n"),
            "error a.sql:1: Database 'master' cannot be dropped: every server needs it. (near "
            "\"drop database master\")\n");
}

TEST(Loader, TheBodyOfAServiceDoesNotRun) {
  EXPECT_EQ(loaded("create table t (a int)\ngo\ncreate service s type = soap as\n"
                   "drop table t; drop table t\ngo\n"
                   "if object_id('t') is null raiserror 20001 'gone'\ngo\n"),
            "");
}

TEST(Loader, OptionsWhoseWordsAreThoseOfStatements) {
  EmbeddedCatalog catalog;
  const LoadReport report =
      loadScript(catalog, "a.sql",
                 "set switch on 3604\nset switch off 3604, print_output with override\n"
                 "set plan dump on\nset plan load g1 on\nset close on endtran on\n"
                 "set tracefile '/x' for 5\nset tracefile off\nset offsets select, from on\n"
                 "create table t (a int)\n",
                 {.listIgnored = true});
  std::string told;
  for (const ScriptNote& note : report.notes) {
    told += std::to_string(note.line) + note.text.substr(0, note.text.find(" leaves")) + "\n";
  }
  EXPECT_EQ(told,
            "1'set switch'\n2'set switch'\n3'set plan'\n4'set plan'\n5'set close'\n"
            "6'set tracefile'\n7'set tracefile'\n8'set offsets'\n");
  EXPECT_EQ(report.errors.size(), 0U);
  EXPECT_EQ(loaded("create database temp\n").substr(0, 30), "error a.sql:1: message 156: In");
}

TEST(Loader, TellsOfClausesThatOnlyAClientOrAPlanSees) {
  EmbeddedCatalog catalog;
  const LoadReport report = loadScript(catalog, "a.sql",
                                       "create procedure p as select 1\ngo\n"
                                       "exec p with recompile\nexec p\n"
                                       "select a = 1 for browse\nselect a = 1 for read only\n"
                                       "exec sp_serverinfo server_csname\n",
                                       {.listIgnored = true});
  std::string told;
  for (const ScriptNote& note : report.notes) {
    told +=
        std::to_string(note.line) + ": " + note.text.substr(0, note.text.find(" leaves")) + "\n";
  }
  EXPECT_EQ(told, "3: 'with recompile'\n5: 'for browse'\n7: sp_serverinfo: the call\n");
  EXPECT_EQ(report.errors.size(), 0U);
}

TEST(Loader, TellsWhichPermissionsChangeNothing) {
  EmbeddedCatalog catalog;
  const LoadReport report =
      loadScript(catalog, "a.sql",
                 "create table t (a int, b int) exec sp_adduser probe\n"
                 "grant select on t to probe with grant option grant insert on t to public\n"
                 "revoke update on t from probe\n"
                 "revoke insert on t from probe\n"
                 "revoke all on t from probe\n"
                 "revoke all on t from probe\n"
                 "revoke grant option for select on t from probe cascade\n"
                 "revoke role oper_role from probe\n"
                 "grant role oper_role to probe revoke role oper_role from probe\n"
                 "grant select on t to dbo\n"
                 "revoke create table from probe\n",
                 {.listIgnored = true});
  std::string told;
  for (const ScriptNote& note : report.notes) {
    told +=
        std::to_string(note.line) + ": " + note.text.substr(0, note.text.find(" leaves")) + "\n";
  }
  const std::string nothing = ": the revoke of what was not granted\n";
  EXPECT_EQ(told, "3" + nothing + "7" + nothing + "8" + nothing +
                      "10: a permission of the object's owner\n11" + nothing);
  EXPECT_EQ(report.errors.size(), 0U);
}

TEST(Loader, TellsWhichTextsAreCut) {
  EmbeddedCatalog catalog;
  const LoadReport report = loadScript(catalog, "a.sql",
                                       "create table t (a varchar(5) null, u unichar(2) null)\n"
                                       "create table s (a varchar(9) null)\ngo\n"
                                       "insert t values ('äöüßé', 'ab')\n"
                                       "insert t values ('12345  ', 'ab ')\n"
                                       "insert t values ('123456', 'abc')\n"
                                       "insert s values ('1234567')\ngo\n"
                                       "insert t (a) select a from s\n"
                                       "update t set a = a + 'x' where u is null\n"
                                       "update t set a = 'x' + 'y'\n",
                                       {.listIgnored = true});
  std::string told;
  for (const ScriptNote& note : report.notes) {
    told += std::to_string(note.line) + ": " + note.text + "\n";
  }
  EXPECT_EQ(told,
            "6: a text was cut to the 5 characters of column 'a'\n"
            "6: a text was cut to the 2 characters of column 'u'\n"
            "9: a text was cut to the 5 characters of column 'a'\n"
            "10: a text was cut to the 5 characters of column 'a'\n");
  EXPECT_EQ(report.errors.size(), 0U);
}

TEST(Loader, NamesTheStatementThatFailed) {
  struct Case {
    const char* script;
    const char* near;
  };
  for (const Case& one : {
           Case{"create table t (a nil) print 'x' print 'y'",
                "create table t (a nil) print 'x' print 'y'"},
           Case{"print 'x' create table t (a nil) print 'y'", "create table t (a nil) print 'y'"},
           Case{"print 'x' print 'y' create table t (a nil)", "create table t (a nil)"},
           Case{"print 'x'\nprint 'y' create table t (\n  a nil) print 'z'", "create table t ("},
           Case{"print 'x' if 1 = 1 begin create table t (a nil) end print 'z'",
                "if 1 = 1 begin create table t (a nil) end print 'z'"},
           Case{"create table t (a int)\ngo\ninsert t values (1) insert t values (2) select * from "
                "nil",
                "select * from nil"},
           Case{"create procedure p as select * from nil\ngo\nprint 'x' exec p print 'z'",
                "exec p print 'z'"},
           Case{"select a from nil select 1", "select a from nil select 1"},
       }) {
    EmbeddedCatalog catalog;
    const LoadReport report = loadScript(catalog, "a.sql", one.script);
    ASSERT_EQ(report.errors.size(), 1U) << one.script;
    EXPECT_EQ(report.errors[0].statement, one.near) << one.script;
  }
}

}  // namespace
}  // namespace kelvane::embedded
