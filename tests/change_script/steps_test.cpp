// What each kind of difference becomes, with rows in the table: allowed, and not.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "inventory/read/reader.h"
#include "tests/change_script/trial.h"
#include "tests/embedded/engine/probe.h"

namespace kelvane::change_script {
namespace {

using ::testing::HasSubstr;

struct Case {
  const char *name, *target, *source;
  const char* allow;  ///< the class that it needs; none: it is always done
  const char* writes;
  const char *ask, *rows;  ///< afterwards
};

void PrintTo(const Case& one, std::ostream* out) { *out << one.name; }

/// Batches between "~".
std::string script(std::string_view text) {
  std::string all;
  for (const char letter : text)
    all += letter == '~' ? std::string("\ngo\n") : std::string(1, letter);
  return all + "\ngo\n";
}

const Case kCases[] = {
    {"nullable column", "create table t (a int not null)~insert t values (1)",
     "create table t (a int not null, b int null)", "", "add b int null", "select a, b from t",
     "1 | -\n"},
    {"column with a value", "create table t (a int not null)~insert t values (1)",
     "create table t (a int not null, b int default 7 not null)", "",
     "-- copies the data of the table", "select a, b from t", "1 | 7\n"},
    {"column that must have a value", "create table t (a int not null)~insert t values (1)",
     "create table t (a int not null, b varchar(5) not null)", "null-to-not-null",
     "replace b default null", "select a, '<' + b + '>' from t", "1 | < >\n"},
    {"identity column", "create table t (a int not null)~insert t values (5)",
     "create table t (a int not null, b numeric(5,0) identity)", "", "add b numeric(5,0) identity",
     "select a, b from t", "5 | 1\n"},
    {"column too many", "create table t (a int not null, b int null)~insert t values (1, 2)",
     "create table t (a int not null)", "drop-column", "drop b", "select * from t", "1\n"},
    {"longer", "create table t (a varchar(5) null)~insert t values ('x')",
     "create table t (a varchar(9) null)", "", "modify a varchar(9) null", "select a from t",
     "x\n"},
    {"shorter", "create table t (a varchar(9) null)~insert t values ('x')",
     "create table t (a varchar(5) null)", "narrow", "modify a varchar(5) null", "select a from t",
     "x\n"},
    {"another type", "create table t (a varchar(9) null, k int null)~insert t values ('12', 1)",
     "create table t (a int null, k int null)", "convert", "modify a int null",
     "select a + 1 from t", "13\n"},
    {"not null", "create table t (a int null)~insert t values (1)",
     "create table t (a int not null)", "null-to-not-null", "modify a int not null",
     "select a from t", "1\n"},
    {"null", "create table t (a int not null)~insert t values (1)", "create table t (a int null)",
     "", "modify a int null", "select a from t", "1\n"},
    {"default", "create table t (a int default 1 null, b int null)",
     "create table t (a int null, b int default 2 null)~insert t (a) values (8)", "",
     "replace b default 2", "select count(*) from t", "0\n"},
    {"bound rule", "create rule r as @x > 0~create table t (a int null)~insert t values (1)",
     "create rule r as @x > 0~create table t (a int null)~exec sp_bindrule r, 't.a'", "",
     "exec sp_bindrule 'dbo.r', 't.a'", "select a from t", "1\n"},
    {"key that others refer to",
     "create table p (a int not null, constraint k primary key nonclustered (a))~create table c (a "
     "int null references p (a))~insert p values (1)~insert c values (1)",
     "create table p (a int not null, constraint k primary key clustered (a))~create table c (a "
     "int "
     "null references p (a))",
     "", "the key that it refers to is made again", "select a from c", "1\n"},
    {"check", "create table t (a int null)~insert t values (1)",
     "create table t (a int null, constraint c check (a > 0))", "", "rows of dbo.t do not pass c",
     "select a from t", "1\n"},
    {"index too many", "create table t (a int null)~create index i on t (a)~insert t values (1)",
     "create table t (a int null)", "drop-object", "drop index dbo.t.i", "select a from t", "1\n"},
    {"lock scheme", "create table t (a int null) lock allpages~insert t values (1)",
     "create table t (a int null) lock datarows", "", "lock datarows", "select a from t", "1\n"},
    {"table missing", "create table o (a int null)~insert o values (1)",
     "create table o (a int null)~create table t (a int not null, primary key (a))", "",
     "create table dbo.t", "select a from o", "1\n"},
    {"table too many",
     "create table o (a int null)~create table t (a int null)~insert o values (1)",
     "create table o (a int null)", "drop-table", "drop table dbo.t", "select a from o", "1\n"},
    {"view too many", "create table o (a int null)~create view v as select a from o",
     "create table o (a int null)", "drop-object", "drop view dbo.v", "select a from o", ""},
    {"grant too many", "create table o (a int null)~grant select on o to public",
     "create table o (a int null)", "revoke", "revoke select on dbo.o from public",
     "select a from o", ""},
    {"view whose grants stay",
     "create table o (a int null)~create view v as select a from o~grant select on v to public",
     "create table o (a int null)~create view v as select a a from o~grant select on v to public",
     "", " view v as select a a from o", "select a from o", ""},
    {"view that gets another text",
     "create table o (a int null)~create view v as select a from o~grant select on v to "
     "public~insert "
     "o values (1)",
     "create table o (a int null)~create view v as select a b from o~grant select on v to public",
     "", " view v as select a b from o", "select b from v", "1\n"},
    {"procedure that gets another text and other grants",
     "exec sp_addgroup g~create procedure p as select 1~grant execute on p to public",
     "exec sp_addgroup g~create procedure p as select 2~grant execute on p to g", "revoke",
     " procedure p as select 2", "exec p", "2\n"},
    {"trigger instead of another one",
     "create table t (a int null)~create trigger told on t for insert as print 'a'~insert t values "
     "(1)",
     "create table t (a int null)~create trigger tnew on t for insert as print 'b'", "drop-object",
     "create trigger tnew on t", "select a from t", "1\n"},
    {"type in use",
     "exec sp_addtype code, 'varchar(5)', null~create table t (a code null, b int null)~create "
     "index i "
     "on t (a)~create view v as select a from t~create procedure p @a code as select @a~insert t "
     "values ('x', 1)",
     "exec sp_addtype code, 'varchar(9)', null~create table t (a code null, b int null)~create "
     "index i "
     "on t (a)~create view v as select a from t~create procedure p @a code as select @a",
     "", "exec sp_droptype 'code'", "select v.a, b from v, t", "x | 1\n"},
    {"type in use that gets narrow",
     "exec sp_addtype code, 'varchar(9)', null~create table t (a code null)~insert t values ('x')",
     "exec sp_addtype code, 'varchar(5)', null~create table t (a code null)", "narrow",
     "exec sp_droptype 'code'", "select a from t", "x\n"},
    {"column becomes identity",
     "create table t (a numeric(5,0) not null, b varchar(5) null)~insert t values (7, 'x')~insert "
     "t "
     "values (3, 'y')",
     "create table t (a numeric(5,0) identity, b varchar(5) null)", "rebuild",
     "set identity_insert dbo.t on", "select a, b from t order by a", "3 | y\n7 | x\n"},
    {"order of columns",
     "create table p (k int not null primary key, a int null, b int null)~create table c (k int "
     "null "
     "references p (k))~create trigger g on p for delete as print 'x'~grant select on p to public~"
     "create index i on p (b)~insert p values (1, 2, 3)~insert c values (1)",
     "create table p (k int not null primary key, b int null, a int null)~create table c (k int "
     "null "
     "references p (k))~create trigger g on p for delete as print 'x'~grant select on p to public~"
     "create index i on p (b)",
     "rebuild", "insert dbo.p (k, b, a)\nselect k, b, a\nfrom dbo.kelvane_old_p", "select * from p",
     "1 | 3 | 2\n"},
};

class EachStep : public ::testing::TestWithParam<Case> {};

TEST_P(EachStep, IsDoneWhereItIsAllowed) {
  const Case& one = GetParam();
  for (const Release release : {Release::ase125, Release::ase15, Release::ase16}) {
    SCOPED_TRACE(static_cast<int>(release));
    const Database source = inventory::databaseOf(script(one.source), release);
    const Database target = inventory::databaseOf(script(one.target), release);
    for (const bool isAllowed : {true, false}) {
      const ChangeScript steps =
          plan(source, target, inventory::compare(source, target, everything()),
               optionsFor(release, isAllowed ? one.allow : ""));
      const std::string text = textOf(steps);
      embedded::CatalogOptions options;
      options.release = release;
      embedded::Probe probe(script(one.target), options);
      EXPECT_EQ(load(probe.catalog, text), Lines()) << text;
      const auto left = inventory::lines(
          inventory::compare(source, inventory::readAll(*probe.catalog.connect()), everything()));
      const bool isDone = isAllowed || *one.allow == '\0';
      EXPECT_EQ(left.empty(), isDone) << ::testing::PrintToString(left) << text;
      if (isDone) {
        EXPECT_THAT(text, HasSubstr(one.writes));
        EXPECT_EQ(probe.rows(one.ask), one.rows) << text;
      } else if (std::string_view(one.allow) != "rebuild") {
        EXPECT_THAT(text, HasSubstr("-- not done: it needs --allow " + std::string(one.allow)));
      }
      EXPECT_EQ(load(probe.catalog, text), Lines()) << "a second time\n" << text;
      if (isDone) {
        EXPECT_EQ(probe.rows(one.ask), one.rows) << "a second time\n" << text;
      }
    }
  }
}

// Those of what it needs too: who follows the reasons has to do so once.
TEST(ChangeScript, NamesEveryClassThatIsMissing) {
  const Database source =
      inventory::databaseOf("create table t (k int not null, b int null)\ngo\n", Release::ase15);
  const Database target = inventory::databaseOf(
      "create table t (k int null, a int null, b int null)\ngo\ncreate index i on t (k)\ngo\n"
      "sp_addgroup idle\ngo\nsp_addgroup clerks\ngo\ngrant select on t to clerks\ngo\n"
      "sp_addlogin ben, secret1\ngo\nsp_adduser ben\ngo\ngrant create table to ben\ngo\n"
      "sp_addlogin cleo, secret1\ngo\nsp_adduser cleo\ngo\ncreate view v as select 1 a\ngo\n"
      "grant select on v to cleo\ngo\n",
      Release::ase15);
  const Trial trial = tried(source, target, Release::ase15, "");
  const auto of = [&](std::string_view part) {
    const auto step = std::ranges::find_if(trial.script.steps, [&](const Step& one) {
      return one.difference.find(part) != std::string::npos && !one.isAllowed;
    });
    return step == trial.script.steps.end() ? std::string("none") : whyNot(*step);
  };
  EXPECT_EQ(of("column a"), "it needs --allow drop-column") << trial.text;
  EXPECT_EQ(of("column k"), "it needs --allow drop-object,null-to-not-null") << trial.text;
  EXPECT_EQ(of("index i"), "it needs --allow drop-object") << trial.text;
  EXPECT_EQ(of("group idle"), "it needs --allow drop-object") << trial.text;
  EXPECT_EQ(of("group clerks"), "it needs --allow drop-object,revoke") << trial.text;
  EXPECT_EQ(of("user ben"), "it needs --allow drop-object,revoke") << trial.text;
  EXPECT_EQ(of("user cleo"), "it needs --allow drop-object") << trial.text;
}

// A text that cannot be written is no reason to drop what is there.
TEST(ChangeScript, DropsNothingThatCannotBeMade) {
  const embedded::Probe hidden("create procedure p as select 1\ngo\nexec sp_hidetext p\n");
  const Database source =
      inventory::read(*hidden.connection, {.bits = inventory::StatusBits::embedded});
  const Database target = inventory::databaseOf("create procedure p as select 2\n", Release::ase15);
  const Trial trial = tried(source, target, Release::ase15, "all");
  EXPECT_EQ(trial.errors, Lines());
  EXPECT_EQ(trial.result.procedures, target.procedures) << trial.text;
}

std::string nameOf(const ::testing::TestParamInfo<Case>& info) {
  std::string name;
  for (const char letter : std::string_view(info.param.name)) name += letter == ' ' ? '_' : letter;
  return name;
}
INSTANTIATE_TEST_SUITE_P(All, EachStep, ::testing::ValuesIn(kCases), nameOf);

}  // namespace
}  // namespace kelvane::change_script
