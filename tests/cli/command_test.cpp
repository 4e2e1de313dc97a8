// The command line from its words to its exit status, over scripted servers (with the published
// statements) and over embedded catalogs that fail.
#include <gmock/gmock.h>
#include <sstream>

#include "cli/run.h"
#include "cli/screen/json.h"
#include "tests/support/scripted_connection.h"

namespace kelvane::cli {
namespace {

using ::testing::HasSubstr;
using testing::ScriptedConnection;

const std::string kCase =
    "select case 'a'\r\n  when 'A' then 'Case_Insensitive'\r\n  else 'Case_Sensitive'\r\nend\r\n";
const std::string kTables =
    "SELECT USER_NAME(uid) as owner, name FROM sysobjects WHERE type='U' order by owner, name";
const std::string kViews =
    "SELECT USER_NAME(uid) as owner, name FROM sysobjects WHERE type='V' order by owner, name";
const std::string kProcedures =
    "SELECT USER_NAME(uid) as owner, name FROM sysobjects WHERE type='P' order by owner, name";
const std::string kGroups =
    "SELECT name FROM sysusers WHERE uid=gid AND (environ IS NOT NULL OR name='public') ORDER BY "
    "name";

const std::string kSides = "source: one -> target: two\n\n";
const std::string kPartial =
    "kelvane: the result is partial: only objects that were read in full on both sides are "
    "compared\n"
    "kelvane: not everything could be compared: equality is not proven\n";

// Answers what a server with nothing in it answers.
void scriptEmptyServer(ScriptedConnection& server) {
  server.on("select @@version", "version\n'12.5'");
  server.on(kCase, "-\n'Case_Sensitive'");
  server.on(kTables, "owner | name");
  server.on(kViews, "owner | name");
  server.on(kProcedures, "owner | name");
  server.on(
      "SELECT DISTINCT USER_NAME(O.uid),OBJECT_NAME(O.id) FROM sysobjects O WHERE O.type IN "
      "('FN','IF','TF')  ORDER BY 1,2",
      "- | -");
  server.on(
      "SELECT USER_NAME(S.uid) as owner, S.name as Name, T.name as datatypename, "
      "OBJECT_NAME(S.domain), OBJECT_NAME(S.tdefault) FROM systypes S,systypes T WHERE "
      "S.type=T.type AND T.usertype<100 AND T.usertype NOT IN(18,24,25,80) AND S.usertype>100  "
      "ORDER BY 1, 2",
      "owner | Name | datatypename | - | -");
  server.on(
      "SELECT name, SUSER_NAME(suid),USER_NAME(gid) FROM sysusers WHERE gid!=uid ORDER BY name",
      "name | - | -");
  server.on(kGroups, "name");
}

class Command : public ::testing::Test {
 protected:
  Command() {
    source.refuseOthers();
    target.refuseOthers();
  }

  int run(std::vector<std::string> words) {
    err.str("");
    out.str("");
    const Console console{out, err, terminal};
    return cli::run(words, console, [this](const Place& place, const Console&) {
      const std::string& name = std::get<ScriptPlace>(place).paths.front();
      if (name.starts_with("bad")) throw CommandError({name + ":1: first", name + ":2: second"});
      return std::make_unique<ScriptedSide>(name == "one" ? source : target);
    });
  }
  int compare() {
    scriptEmptyServer(source);
    scriptEmptyServer(target);
    return run({"compare", "--published", "one", "two"});
  }

  ScriptedConnection source, target;
  std::ostringstream out, err;
  bool terminal = false;

 private:
  struct ScriptedSide : Side {
    explicit ScriptedSide(ado::Connection& server) : server(server) {}
    ado::Connection& connection() override { return server; }
    ado::Connection& server;
  };
};

TEST_F(Command, NoDifference) {
  EXPECT_EQ(compare(), kNoDifference);
  EXPECT_EQ(out.str(), kSides + "No differences.\n");
  EXPECT_EQ(err.str(), "");
  EXPECT_TRUE(source.unused().empty());
}

TEST_F(Command, Differences) {
  source.on(kViews, "owner | name\ndbo | v");
  source.on("exec sp_columns v,dbo", "a|b|c|d");
  source.on("exec sp_helptext 'dbo.v'", "lines\n1\n---\ntext\n'create view v'");
  EXPECT_EQ(compare(), kDifferences);
  EXPECT_EQ(out.str(),
            kSides + "view dbo.v: only in source\n\n1 difference in 1 object: 1 view.\n");
}

TEST_F(Command, NamesAreComparedAsTheServersDo) {
  const auto clerks = [&](const std::string& sourceCase, const std::string& targetCase) {
    source = ScriptedConnection();
    target = ScriptedConnection();
    source.refuseOthers();
    target.refuseOthers();
    source.on(kGroups, "name\nclerks").on(kCase, "-\n'" + sourceCase + "'");
    target.on(kGroups, "name\nCLERKS").on(kCase, "-\n'" + targetCase + "'");
    compare();
    return out.str().find("group") != std::string::npos;
  };
  EXPECT_FALSE(clerks("Case_Insensitive", "Case_Insensitive"));
  EXPECT_TRUE(clerks("Case_Sensitive", "Case_Insensitive"));
  EXPECT_TRUE(clerks("Case_Insensitive", "Case_Sensitive"));
}

TEST_F(Command, ARejectedStatementIsNeverNoDifference) {
  source.on(kViews, "error 229 42000 SELECT permission denied on sysobjects");
  EXPECT_EQ(compare(), kNotProven);
  EXPECT_EQ(out.str(), kSides + "No differences in what could be read.\n");
  EXPECT_EQ(err.str(), "kelvane: source: Getting List Of Views: the server rejected \"" + kViews +
                           "\": SELECT permission denied on sysobjects\n"
                           "kelvane: not everything could be compared: equality is not proven\n");
}

TEST_F(Command, NorIsAnErrorBehindAResultThatWasRead) {
  target.on(kGroups, "name\n---\nerror 1105 01000 Can't allocate space");
  target.on(kViews, "owner | name\ndbo | v");
  target.on("exec sp_columns v,dbo", "a|b|c|d");
  target.on("exec sp_helptext 'dbo.v'", "error 17461 01000 Object does not exist");
  EXPECT_EQ(compare(), kNotProven);
  EXPECT_EQ(out.str(), kSides +
                           "view dbo.v: only in target\n\n"
                           "1 difference in 1 object: 1 view. Not everything could be read.\n");
  EXPECT_THAT(err.str(), HasSubstr("the server rejected \"exec sp_helptext 'dbo.v'\": "
                                   "Object does not exist\n"));
  EXPECT_THAT(err.str(), HasSubstr("the server rejected \"SELECT name FROM sysusers WHERE "
                                   "uid=gid"));
}

TEST_F(Command, AServerThatDoesNotAnswerIsNotAskedAgain) {
  for (const char* state : {"08S01", "HYT00"}) {
    source = ScriptedConnection();
    source.on(kViews, "error 0 " + std::string(state) + " Gone");
    EXPECT_EQ(compare(), kNotProven);
    EXPECT_EQ(out.str(), kSides + "No differences in what could be read.\n");
    EXPECT_EQ(err.str(),
              "kelvane: source: reading stopped: Getting List Of Views: no answer to \"" + kViews +
                  "\": Gone\n" + kPartial);
    EXPECT_EQ(source.sent().back().text, kViews);
  }
  // A database that cannot be reached is another matter.
  source = ScriptedConnection();
  source.on(kViews, "error 911 08004 No such database");
  EXPECT_EQ(compare(), kNotProven);
  EXPECT_EQ(source.sent().back().text, kGroups);
}

TEST_F(Command, WhatWasNotReachedIsNoDifference) {
  const auto views = [](ScriptedConnection& server, const std::string& names,
                        const std::string& text) {
    server.on(kViews, "owner | name" + names);
    for (const std::string name : {"a", "b", "c", "d"}) {
      server.on("exec sp_columns " + name + ",dbo", "a|b|c|d");
      server.on("exec sp_helptext 'dbo." + name + "'", "lines\n1\n---\ntext\n'" + text + "'");
    }
  };
  source.on("exec sp_helptext 'dbo.b'", "error 0 08S01 Gone");
  views(source, "\ndbo | a\ndbo | b\ndbo | c", "old");
  target.on(kGroups, "name\nclerks");
  views(target, "\ndbo | a\ndbo | b\ndbo | c\ndbo | d", "new");
  EXPECT_EQ(compare(), kNotProven);
  EXPECT_EQ(out.str(), kSides +
                           "view dbo.a\n    Definition: old -> new\n\n"
                           "view dbo.d: only in target\n\n"
                           "2 differences in 2 objects: 2 views. Not everything could be read.\n");
  EXPECT_THAT(err.str(), HasSubstr(kPartial));
}

// Also when a kind before the one that was not reached is left out.
TEST_F(Command, WhatWasReachedIsCompared) {
  for (const std::vector<std::string>& leftOut : {std::vector<std::string>{},
                                                  {"--set", "Views=off"},
                                                  {"--set", "Tables=off", "--set", "Views=off"}}) {
    for (ScriptedConnection* server : {&source, &target}) {
      *server = ScriptedConnection();
      server->refuseOthers();
      server->on(kProcedures, "owner | name\ndbo | p1\ndbo | p2\ndbo | p3");
      for (const std::string name : {"p1", "p2", "p3"}) {
        server->on("exec sp_sproc_columns " + name + ",dbo", "a|b|c|d");
        const bool lost = server == &target && name == "p3";
        server->on("exec sp_helptext 'dbo." + name + "'",
                   lost ? "error 0 08S01 Gone"
                        : std::string("lines\n1\n---\ntext\n'") +
                              (server == &source ? "old" : "new") + "'");
      }
      scriptEmptyServer(*server);
    }
    std::vector<std::string> words{"compare", "--published", "one", "two"};
    words.insert(words.end(), leftOut.begin(), leftOut.end());
    EXPECT_EQ(run(words), kNotProven);
    EXPECT_THAT(out.str(), HasSubstr("2 differences in 2 objects: 2 stored procedures. "));
  }
}

TEST_F(Command, AFaultAtAnyStatementIsNoticed) {
  for (const auto fault : {ScriptedConnection::Fault::open, ScriptedConnection::Fault::read})
    for (int statement = 1; statement <= 9; ++statement) {
      SCOPED_TRACE(statement);
      target = ScriptedConnection();
      target.on("select @@version", "version\n'12.5'").on(kTables, "owner | name");
      target.failAt(statement, fault);
      // No rows are read but those on the server, and nothing depends on its version.
      const bool harmless = fault == ScriptedConnection::Fault::read && statement != 2;
      EXPECT_EQ(compare(), harmless ? kNoDifference : kNotProven);
    }
}

TEST_F(Command, NamesOfRowsAreComparedAsTheServersDo) {
  const auto server = [](ScriptedConnection& server, const std::string& table,
                         const std::string& column, const std::string& sense) {
    server = ScriptedConnection();
    server.refuseOthers();
    server.on(
        "select name, user_name(uid), user_name() from sysobjects where type = 'U' order by "
        "name, uid",
        "name | owner | user\n" + table + " | dbo | dbo");
    server.on("select case 'a' when 'A' then 'ignored' else 'exact' end", "-\n" + sense);
    server.on("SELECT name FROM sysobjects WHERE type='U' order by name", "name\n" + table);
    for (const char* name : {"t", "T"})
      server.on(std::string("select * from ") + name, column + "\n1");
  };
  const auto ended = [&](const std::string& table, const std::string& column,
                         const std::string& sense) {
    server(source, "t", "a", "ignored");
    server(target, table, column, sense);
    return run({"data", "--by-position", "one", "two"});
  };
  EXPECT_EQ(ended("T", "A", "ignored"), kNoDifference) << out.str() << err.str();
  EXPECT_EQ(ended("T", "a", "exact"), kDifferences);
  EXPECT_THAT(out.str(), HasSubstr("missing in the target\nT "));
  EXPECT_EQ(ended("t", "A", "exact"), kNotProven);
  EXPECT_THAT(out.str(), HasSubstr("columns only in the source: a\n"));
}

TEST_F(Command, BothSidesComplain) {
  EXPECT_EQ(run({"compare", "bad1", "bad2"}), kError);
  EXPECT_EQ(err.str(), "kelvane: bad1:1: first\nkelvane: bad1:2: second\n");
}

TEST_F(Command, ProgressIsForTerminals) {
  terminal = true;
  EXPECT_EQ(compare(), kNoDifference);
  EXPECT_THAT(err.str(), HasSubstr("\r\033[Ksource: Getting List Of Tables"));
  EXPECT_THAT(err.str(), ::testing::EndsWith("\r\033[K"));
}

TEST_F(Command, OutputThatCannotBeWrittenIsAnError) {
  out.setstate(std::ios::badbit);
  EXPECT_EQ(compare(), kError);
  EXPECT_EQ(err.str(), "kelvane: cannot write to standard output\n");
}

TEST(Json, StringsKeepTheExactText) {
  EXPECT_EQ(jsonString(u"a\"b\\c/\b\f\n\r\t\u0001\u007F"),
            "\"a\\\"b\\\\c/\\b\\f\\n\\r\\t\\u0001\x7F\"");
  EXPECT_EQ(jsonString(u"\u00E9\U0001F600"), "\"\u00E9\U0001F600\"");
  EXPECT_EQ(jsonString(std::u16string{0xD83D, u'x', 0xDE00, 0xD83D}), "\"\\ud83dx\\ude00\\ud83d\"");
}

}  // namespace
}  // namespace kelvane::cli
