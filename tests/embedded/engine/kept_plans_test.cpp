// A batch that was run before, with other strings or after a change, answers as if it were new.

#include <gtest/gtest.h>

#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

struct Step {
  const char* sql;
  const char* result;
};

void expectAnswers(Probe& probe, std::initializer_list<Step> steps) {
  for (const Step& step : steps) EXPECT_EQ(probe.ask(step.sql), step.result) << step.sql;
}

constexpr const char* kDone = "(closed)\n";

TEST(KeptPlans, OtherStringsGiveOtherAnswers) {
  Probe probe(
      "create table t (a varchar(9) null, b int) insert t values ('one', 1)"
      " insert t values ('two', 2)");
  expectAnswers(probe,
                {
                    {"select b from t where a = 'one'", "b\n1\n"},
                    {"select b from t where a = 'two'", "b\n2\n"},
                    {"select 'one' + a from t where b = 1", "\noneone\n"},
                    {"select 'two' + a from t where b = 1", "\ntwoone\n"},
                    // A heading is no value.
                    {"select b 'one' from t where b = 2", "one\n2\n"},
                    {"select b 'two' from t where b = 2", "two\n2\n"},
                    {"select 'x', 'x'", " | \nx | x\n"},
                    {"select 'x', 'y'", " | \nx | y\n"},
                    {"select 'a''b'", "\na'b\n"},
                    {"select 'c''d'", "\nc'd\n"},
                    {"/* it's */ select 'a' -- 'b'\n", "\na\n"},
                    {"/* it's */ select 'c' -- 'b'\n", "\nc\n"},
                    {"declare @v varchar(9) select @v = 'one' if @v = 'two' select @v", kDone},
                    {"declare @v varchar(9) select @v = 'two' if @v = 'two' select @v", "\ntwo\n"},
                    {"exec ('select 5')", "\n5\n"},
                    {"exec ('select 6')", "\n6\n"},
                    {"select 'ab' into #x select * from #x",
                     "error 1038: SELECT INTO failed because"
                     " column 1 of the select list has no"
                     " name.\n"},
                });
  // More strings than are bound stand in the text of the plan.
  std::string many = "select count(*) from t where a in ('zero'";
  for (int i = 0; i < 120; ++i) many += ", 'n" + std::to_string(100 + i) + "'";
  EXPECT_EQ(probe.ask(many + ", 'nix')"), "\n0\n");
  EXPECT_EQ(probe.ask(many + ", 'two')"), "\n1\n");
}

TEST(KeptPlans, ChangedNamesAreSeen) {
  Probe probe;
  const char* const read = "select * from t";
  expectAnswers(probe, {
                           {"create table t (a int) insert t values (1)", kDone},
                           {read, "a\n1\n"},
                           {"drop table t", kDone},
                           {read,
                            "error 208: t not found. Specify owner.objectname or use sp_help "
                            "to check whether the object exists (sp_help may produce lots of "
                            "output).\n"},
                           {"create table t (b varchar(3) null, c int default 7)", kDone},
                           {read, "b | c\n"},
                           {"insert t (b) values ('x')", kDone},
                           {read, "b | c\nx | 7\n"},
                           {"alter table t add d int null", kDone},
                           {read, "b | c | d\nx | 7 | -\n"},
                           {"alter table t replace c default 8", kDone},
                           {"insert t (b) values ('y')", kDone},
                           {"select c from t where b = 'y'", "c\n8\n"},
                           {"exec sp_rename 't.d', e", kDone},
                           {read, "b | c | e\nx | 7 | -\ny | 8 | -\n"},
                           {"alter table t add constraint few check (c < 9)", kDone},
                           {"insert t (b, c) values ('z', 5)", kDone},
                           {"begin tran alter table t drop b", kDone},
                           {read, "c | e\n7 | -\n8 | -\n5 | -\n"},
                           {"rollback", kDone},
                           {read, "b | c | e\nx | 7 | -\ny | 8 | -\nz | 5 | -\n"},
                       });
}

TEST(KeptPlans, UserAndOptionsAreSeen) {
  Probe probe(
      "exec sp_adduser ann, ann\ngo\ncreate table t (a int) insert t values (1)\ngo\n"
      "setuser 'ann'\ngo\ncreate table t (a int) insert t values (2)\ngo\nsetuser\ngo\n"
      "create table n (i numeric(3) identity, a int null) insert n (a) values (null)"
      " insert n (a) values (4)\ngo\n");
  const char* const insert = "insert n (i, a) values (9, 9)";
  expectAnswers(
      probe, {
                 {"select a from t", "a\n1\n"},
                 {"setuser 'ann'", kDone},
                 {"select a from t", "a\n2\n"},
                 {"setuser", kDone},
                 {"select a from t", "a\n1\n"},
                 {"select a from n", "a\n-\n4\n"},
                 {"set rowcount 1", kDone},
                 {"select a from n", "a\n-\n"},
                 {"set rowcount 0", kDone},
                 {"select a from n", "a\n-\n4\n"},
                 {"select i from n where a = null", "i\n1\n"},
                 {"set ansinull on", kDone},
                 {"select i from n where a = null", "i\n"},
                 {"set identity_insert n on", kDone},
                 {insert, kDone},
                 {"set identity_insert n off", kDone},
                 {insert,
                  "error 584: Explicit value specified for identity field in table 'n' when 'SET "
                  "IDENTITY_INSERT' is OFF.\n"},
                 {"set quoted_identifier on", kDone},
                 {"select \"a\" from t", "a\n1\n"},
                 {"set quoted_identifier off", kDone},
                 {"select \"a\" from t", "\na\n"},
             });
}

TEST(KeptPlans, TemporaryTablesAndVariablesAreSeen) {
  Probe probe(
      "create table t (a int null, b int) insert t values (null, 1) insert t values (2, 2)");
  const char* const read = "select * from #x";
  const char* const find =
      "declare @v int select @v = max(a) from t where b = 1"
      " select b from t where a = @v";
  expectAnswers(probe, {
                           {"create table #x (a int) insert #x values (1)", "(closed)\n"},
                           {read, "a\n1\n"},
                           {"drop table #x create table #x (b varchar(9)) insert #x values ('q')",
                            "(closed)\n"},
                           {read, "b\nq\n"},
                           {"drop table #x select 3 c into #x", "(closed)\n"},
                           {read, "c\n3\n"},
                           {"drop table #x", kDone},
                           {find, "b\n1\n"},
                           {"update t set a = 5 where b = 1", kDone},
                           {find, "b\n1\n"},
                           {"update t set a = 2 where b = 1", kDone},
                           {find, "b\n1\n2\n"},
                       });
}

TEST(KeptPlans, ABatchCanRunInsideOfItself) {
  Probe probe(
      "create procedure p @n int as if @n > 0 begin select @n = @n - 1 exec p @n"
      " select @n end\ngo\ncreate table t (a varchar(9)) insert t values ('one')\ngo\n"
      "create procedure q as select a from t\ngo\n");
  expectAnswers(
      probe, {
                 {"exec p 3", "\n0\n\n1\n\n2\n"},
                 {"exec p 2", "\n0\n\n1\n"},
                 {"exec q", "a\none\n"},
                 {"drop table t create table t (a int) insert t values (5)", kDone},
                 {"exec q", "a\n5\n"},
                 // The cursor still reads what its own batch asked for.
                 {"if 'mk' = 'mk' declare c cursor for select uid from sysusers where name = 'dbo'",
                  kDone},
                 {"if 'no' = 'mk' declare c cursor for select uid from sysusers where name = 'xyz'",
                  kDone},
                 {"open c fetch c", "uid\n1\n"},
             });
}

}  // namespace
}  // namespace kelvane::embedded
