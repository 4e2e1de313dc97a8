// Rows that break a check, a rule or a foreign key are refused, and nothing else is.

#include <gtest/gtest.h>

#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

struct Case {
  const char* sql;
  const char* refusal;  ///< the error's number and the name at its end; empty when it is accepted
};

std::string refusalOf(Probe& probe, const char* sql) {
  std::string said = probe.ask(std::string("set nocount on ") + sql);
  if (said == "(closed)\n") return "";
  const auto name = said.rfind(" '");
  return said.substr(0, said.find(':')) + (name == said.npos ? "" : said.substr(name));
}

void expectRefusals(Probe& probe, std::initializer_list<Case> cases) {
  for (const Case& c : cases) EXPECT_EQ(refusalOf(probe, c.sql), c.refusal) << c.sql;
}

TEST(Rules, ChecksAndBoundRules) {
  Probe probe(R"(
create rule letter as @v like 'x%' or @v in ('a', 'b')
go
sp_addtype amount, int
go
create rule positive as @n > 0
go
sp_bindrule positive, amount
go
create table t (id numeric(5,0) identity, a varchar(10) null, b int default 1 check (b > 0) null,
  c amount null, d as b * 2, constraint order_ck check (c > b or a = 'b'),
  constraint twice_ck check (d < 100))
go
sp_bindrule letter, 't.a'
go
)");
  expectRefusals(
      probe,
      {{"insert t (a, b, c) values ('xyz', 1, 2)", ""},
       {"insert t (a, b, c) values (null, null, null)", ""},
       {"insert t (c) values (9)", ""},
       {"declare @v int select @v = -1 insert t (c) values (@v)", "error 552 'c'.\n"},
       {"insert t (a, b, c) values ('q', 1, 2)", "error 552 'a'.\n"},
       {"insert t (a, b, c) values ('a', 3, 2)", "error 548 'order_ck'.\n"},
       {"insert t (a, b, c) select 'a', 60, 70 from sysobjects", "error 548 'twice_ck'.\n"},
       {"update t set a = 'no' where a is null", "error 552 'a'.\n"},
       {"update t set b = b + 1 where c = 2", "error 548 'order_ck'.\n"},
       {"update t set b = t.b + 1, a = 'b' from t, sysobjects o where c = 2 and o.name = 't'", ""},
       {"update t set a = 'a' from t, sysobjects o where c = 2 and o.name = 't'",
        "error 548 'order_ck'.\n"},
       {"insert t (b) select 60", "error 548 'twice_ck'.\n"}});
  EXPECT_EQ(probe.rows("select id, a, b, c from t"),
            "1 | b | 2 | 2\n2 | - | - | -\n3 | - | 1 | 9\n");
  probe.ask("alter table t add constraint late_ck check (b < 0)");
  expectRefusals(probe, {{"update t set a = 'b'", ""},
                         {"update t set b = 3", "error 548 'late_ck'.\n"},
                         {"alter table t drop constraint late_ck update t set b = null", ""}});
}

TEST(Rules, ZerosAtTheEndOfBytesCountForNothing) {
  Probe probe(R"(
create rule marked as @m = 0x1F or @m in (0x2F00000000, 0x3F)
go
create table p (b binary(3) primary key, c varbinary(4) unique)
create table q (b varbinary(5) null constraint marks references p (b), c varbinary(9) null references p (c))
go
sp_bindrule marked, 'p.b'
go
)");
  expectRefusals(probe, {{"insert p values (0x1F, 0x00)", ""},
                         {"insert p values (0x2F, 0x5000)", ""},
                         {"insert p values (0x3F0000, 0x60)", ""},
                         {"insert p values (0x1F0001, 0x70)", "error 552 'b'.\n"},
                         {"update p set b = 0x4F where c = 0x60", "error 552 'b'.\n"},
                         {"insert q values (0x2F, 0x50)", ""},
                         {"insert q values (0x2F000000, 0x0000)", ""},
                         {"insert q values (0x2F000001, null)", "error 546 'marks'.\n"}});
  const Case selections[] = {
      {"b = 0x1F", "0x1f0000\n"},
      {"b = 0x1F000000", "0x1f0000\n"},
      {"b > 0x1F000001", "0x2f0000\n0x3f0000\n"},
      {"c between 0x4F and 0x50", "0x2f0000\n"},
      {"c in (0x000000, 0x60000000)", "0x1f0000\n0x3f0000\n"},
      {"b not in (select b from q)", "0x1f0000\n0x3f0000\n"},
      {"c in (select c from q)", "0x1f0000\n0x2f0000\n"},
      {"0x1F = 0x1F00 and 0x1F <> 0x001F and b >= all (select b from p)", "0x3f0000\n"}};
  for (const Case& c : selections)
    EXPECT_EQ(probe.rows(std::string("select b from p where ") + c.sql), c.refusal) << c.sql;
}

TEST(Rules, ARenamedColumnLeavesItsCheckUnreadable) {
  Probe probe("create table t (a int, b int, constraint ck check (a > 0))");
  probe.ask("exec sp_rename 't.a', 'c'");
  EXPECT_EQ(probe.refusal("insert t values (1, 1)").substr(0, 53),
            "0: The embedded catalog cannot apply check 'ck' of ta");
}

TEST(Rules, ForeignKeys) {
  Probe probe(R"(
create table p (a int, b char(5), c numeric(20,2), primary key (a, b), unique (c))
create table q (x int null, y varchar(5) null, z numeric(20,2) null,
  constraint pair foreign key (x, y) references p (a, b))
alter table q add constraint amount foreign key (z) references p (c)
go
insert p values (1, 'ab', 12345678901234567.5)
)");
  expectRefusals(probe,
                 {{"insert q values (1, 'ab', 12345678901234567.50)", ""},
                  {"insert q values (2, 'ab', null)", "error 546 'pair'.\n"},
                  {"insert q values (2, null, null)", ""},
                  {"insert q values (1, 'ab', 12345678901234567.51)", "error 546 'amount'.\n"},
                  {"update q set x = 2 where z is not null", "error 546 'pair'.\n"},
                  {"update p set c = 1", "error 547 'amount'.\n"},
                  {"update p set a = a", ""},
                  {"delete p where a = 1", "error 547 'pair'.\n"},
                  {"truncate table p", "error 547 'pair'.\n"},
                  {"truncate table q update p set c = 1 insert q values (1, 'ab', 1)", ""},
                  {"delete q delete p", ""}});
  EXPECT_EQ(probe.rows("select count(*) from p"), "0\n");
}

TEST(Rules, KeysThatMatchInFull) {
  Probe probe(
      "create table p (a int not null, b int not null, primary key (a, b))\n"
      "insert p values (1, 2)\n"
      "create table loose (a int null, b int null, foreign key (a, b) references p)\n"
      "create table tight (a int null, b int null,\n"
      " constraint fk foreign key (a, b) references p (a, b) match full)");
  for (const char* values : {"(1, 2)", "(null, null)"}) {
    EXPECT_EQ(probe.ask(std::string("insert tight values ") + values), "(closed)\n");
  }
  for (const char* values : {"(1, null)", "(null, 2)", "(null, 7)"}) {
    EXPECT_EQ(probe.ask(std::string("insert loose values ") + values), "(closed)\n");
    EXPECT_EQ(probe.refusal(std::string("insert tight values ") + values).substr(0, 4), "546:");
  }
  EXPECT_EQ(probe.rows("select object_name(tableid), status from sysreferences order by 1"),
            "loose | 0\ntight | 2\n");
}

TEST(Rules, AKeyWithinOneTable) {
  Probe probe(R"(
create table n (id int primary key, up int null constraint up_fk references n (id))
)");
  expectRefusals(probe, {{"insert n values (1, 1)", ""},
                         {"insert n values (2, 3)", "error 546 'up_fk'.\n"},
                         {"insert n select 2, 3 union all select 3, 2", ""},
                         {"insert n select 5, 6 union all select 4, 2", "error 546 'up_fk'.\n"},
                         {"update n set up = 9 where id = 1", "error 546 'up_fk'.\n"},
                         {"update n set id = id + 10", "error 547 'up_fk'.\n"},
                         {"delete n where id = 2", "error 547 'up_fk'.\n"},
                         {"delete n where id in (2, 3)", ""},
                         {"insert n values (7, null) delete n where id = 1", ""},
                         {"alter table n add also int null constraint also_fk references n (id) "
                          "update n set id = 8",
                          ""}});
  probe.ask("create table late (n int)");
  expectRefusals(probe,
                 {{"insert late values (5)", ""},
                  {"alter table late add constraint late_fk foreign key (n) references n",
                   "error 546 'late_fk'.\n"},
                  {"update late set n = 8", ""},
                  {"alter table late add constraint late_fk foreign key (n) references n", ""},
                  {"insert late values (9)", "error 546 'late_fk'.\n"}});
}

TEST(Rules, AKeyToAnotherDatabaseTakesNullAlone) {
  Probe probe(R"(
create table far (a int null, b int null, constraint far_fk foreign key (a, b)
  references depot..stock (s, t))
create table late (a int null)
insert late values (null)
)");
  EXPECT_EQ(probe.refusal("insert far values (1, 2)").substr(0, 106),
            "0: The embedded catalog cannot tell whether the rows of table 'far' obey constraint "
            "'far_fk', which refers");
  expectRefusals(probe, {{"insert far values (1, null) insert far select null, 2", ""},
                         {"alter table late add constraint late_fk foreign key (a) references "
                          "depot..stock (s)",
                          ""},
                         {"delete late", ""},
                         {"alter table late drop constraint late_fk insert late values (3)", ""}});
  for (const char* sql : {"update far set a = 1", "insert far select 1, 2",
                          "alter table late add foreign key (a) references depot..stock (s)"}) {
    EXPECT_EQ(probe.refusal(sql).substr(0, 35), "0: The embedded catalog cannot tell") << sql;
  }
}

TEST(Rules, TextThatDoesNotFitIsCutUnlessTheSessionRefusesIt) {
  Probe probe(R"(
create table w (a varchar(3) null, b char(3) null, c univarchar(3) null)
create table s (x varchar(5), y varchar(3))
insert s values ('abcde', 'xyz')
insert w values ('abcd', 'abcd', 'aéüö')
insert w (c) values ('ab😀')
)");
  EXPECT_EQ(probe.rows("select a, b, c from w"), "abc | abc | aéü\n- | - | ab\n");
  probe.ask("delete w set string_rtruncation on");
  const auto refuses = [&](const char* sql) {
    return probe.ask(sql).find("error 9502") != std::string::npos;
  };
  for (const char* sql : {"insert w (a) values ('abcd')", "insert w (c) values ('abcd')",
                          "insert w (a) select x from s",
                          "declare @i int select @i = 3 while @i < 5 begin insert w (b) values "
                          "(substring('abcd', 1, @i)) select @i = @i + 1 end"}) {
    EXPECT_TRUE(refuses(sql)) << sql;
  }
  expectRefusals(probe, {{"insert w values ('abc  ', 'xyz ', '\u00e9\u00fc\u00f6 ')", ""},
                         {"insert w (a) select y from s", ""}});
  EXPECT_TRUE(refuses("update w set b = 'abc' + y from s"));
  probe.ask("set string_rtruncation off insert w (a) values ('12345')");
  EXPECT_EQ(probe.rows("select a from w where a like '1%'"), "123\n");
}

TEST(Rules, KeysAndRowsThatAreThereAlready) {
  Probe probe(R"(
create table u (a int null, b varchar(5) null)
create unique index u_ab on u (a, b)
create table ignoring (a int, b int)
create unique index ignoring_a on ignoring (a) with ignore_dup_key
create table pile (a int, b varchar(5) null, c text null)
create clustered index pile_a on pile (a)
create table placed (a int) lock datarows
create clustered index placed_a on placed (a)
go
)");
  expectRefusals(probe, {{"insert u values (1, null) insert u values (null, 'x')", ""},
                         {"insert u values (1, null)", "error 2601 'u_ab'\n"},
                         {"insert u values (null, 'x ')", "error 2601 'u_ab'\n"},
                         {"update u set a = null, b = 'x'", "error 2601 'u_ab'\n"},
                         {"insert ignoring values (1, 1) insert ignoring values (1, 2)", ""},
                         {"insert ignoring select 2, 1 union all select 2, 2", ""},
                         {"update ignoring set a = 1", "error 2601 'ignoring_a'\n"},
                         {"insert pile values (1, null, 'x') insert pile values (1, 'x', 'x')", ""},
                         {"insert placed values (1) insert placed values (1)", ""},
                         {"create unique index late on placed (a)", "error 1505 'placed'.\n"}});
  EXPECT_EQ(probe.refusal("insert pile values (1, null, 'y')").substr(0, 4), "2615");
  probe.ask("alter table pile add d int null");
  EXPECT_EQ(probe.refusal("insert pile values (1, null, 'y', null)").substr(0, 4), "2615");
  EXPECT_EQ(probe.rows("select a, b from ignoring"), "1 | 1\n2 | 1\n");
  probe.ask("drop index pile.pile_a");
  probe.ask("insert pile values (1, null, 'y', null)");
  EXPECT_EQ(probe.refusal("create clustered index pile_a on pile (a)").substr(0, 4), "1508");
  expectRefusals(probe, {{"create clustered index pile_a on pile (a) with allow_dup_row", ""},
                         {"insert pile values (1, null, 'y', null)", ""}});
}

TEST(Rules, TemporaryTables) {
  Probe probe;
  probe.ask(
      "create table #t (id int primary key, a varchar(9) null unique, b int check (b > 0) null,"
      " constraint a_ck check (a like 'x%'))"
      " create table #heap (a int null, b text null) create table #free (a int) lock datarows");
  expectRefusals(
      probe,
      {{"insert #t values (1, 'x', 1)", ""},
       {"insert #t values (1, 'xy', 1)", "error 2601 '#t_1'\n"},
       {"insert #t values (2, 'x  ', 1)", "error 2601 '#t_2'\n"},
       {"insert #t values (2, 'y', 1)", "error 548 'a_ck'.\n"},
       {"insert #t values (2, null, 0)", "error 548 ''.\n"},
       {"insert #t values (2, null, null)", ""},
       {"insert #t values (3, null, 1)", "error 2601 '#t_2'\n"},
       {"update #t set id = 2", "error 2601 '#t_1'\n"},
       {"create index i on #t(a)", ""},
       {"create unique index i on #t(b)", "error 1913 'i'.\n"},
       {"create unique index u on #t(b)", ""},
       {"insert #t values (3, 'xx', 1)", "error 2601 'u'\n"},
       {"drop index #t.u insert #t values (3, 'xx', 1)", ""},
       {"create unique index u on #t(b)", "error 1505 '#t'.\n"},
       {"insert #heap select 1, 'p' insert #heap select 1, 'q'", ""},
       {"create clustered index c on #heap(a)", "error 1508 '#heap'.\n"},
       {"create clustered index c on #heap(a) with allow_dup_row", ""},
       {"delete #heap drop index #heap.c create clustered index c on #heap(a)", ""},
       {"insert #heap select null, 'p' insert #heap select null, 'q'",
        "error 2615 'c'. Could drop and recreate index with ignore duplicate rows or allow "
        "duplicate rows.\n"},
       {"create clustered index c on #free(a) insert #free select 1 insert #free select 1", ""},
       {"begin tran create unique index u on #free(a) rollback", "error 1505 '#free'.\n"},
       {"drop table #t create table #t (id int) insert #t values (1) insert #t values (1)", ""}});
  for (const char* unkept :
       {"create unique index k on #t(id) with ignore_dup_key", "drop index #t.missing",
        "create table #o (a int references #t(id))", "create table #o (a bit unique)",
        "create table #o (a int null primary key)", "insert #o values (1)"})
    EXPECT_NE(refusalOf(probe, unkept), "") << unkept;
  // Plans know a table's checks: equal tables with other checks are other tables.
  for (const char* limit : {"1", "3"}) {
    const std::string text = std::string("create table #k (a int check (a > ") + limit + "))";
    probe.ask(text);
    EXPECT_EQ(refusalOf(probe, "insert #k values (2)"), *limit == '1' ? "" : "error 548 ''.\n");
    probe.ask("drop table #k");
  }
}

// Rules about which rows may be read have bindings of their own.
TEST(Rules, AccessRulesStandBesideOthers) {
  Probe probe(
      "exec sp_addtype code, int\n"
      "create table t (a int, b code)\ngo\n"
      "create rule positive as @x > 0\ngo\n"
      "create access rule mine as @x = 7\ngo\n"
      "create and access rule ours as @x = 8\ngo\n"
      "create or access rule theirs as @x = 9\ngo\n"
      "exec sp_bindrule positive, 't.a'\n"
      "exec sp_bindrule mine, 't.a'\n"
      "exec sp_bindrule ours, code\n"
      "create table u (c code)");
  EXPECT_EQ(probe.rows("select name from sysobjects where type = 'R' and sysstat2 & 16777216 != 0"
                       " order by name"),
            "mine\nours\ntheirs\n");
  constexpr const char* kBound =
      "select name, object_name(domain), object_name(accessrule) from syscolumns"
      " where id in (object_id('t'), object_id('u')) order by name";
  EXPECT_EQ(probe.rows(kBound), "a | positive | mine\nb | - | ours\nc | - | ours\n");
  EXPECT_EQ(probe.ask("insert t values (1, 2)"), "(closed)\n");
  EXPECT_EQ(probe.refusal("insert t values (-1, 2)").substr(0, 4), "552:");
  EXPECT_EQ(probe.refusal("drop rule mine").substr(0, 5), "3716:");
  EXPECT_EQ(probe.refusal("drop rule ours").substr(0, 5), "3716:");
  probe.ask(
      "exec sp_unbindrule 't.a', null, 'accessrule' exec sp_unbindrule code, null, accessrule");
  EXPECT_EQ(probe.rows(kBound), "a | positive | -\nb | - | -\nc | - | -\n");
  probe.ask("exec sp_unbindrule 't.a' drop rule mine, ours, theirs, positive");
  EXPECT_EQ(probe.rows("select count(*) from sysobjects where type = 'R'"), "0\n");
}

TEST(Rules, NullsAreDuplicatesToo) {
  Probe probe(R"(
create table t (a int null, b int null)
create unique index u on t (a, b) with ignore_dup_key
go
insert t values (1, null)
insert t values (1, null)
insert t select 1, null union all select 1, 1 union all select 1, 1
go
)");
  EXPECT_EQ(probe.rows("select a, b from t order by b"), "1 | -\n1 | 1\n");
}

TEST(Rules, WhatDefinitionsMaySay) {
  Probe probe("create table p (a int) create table t (a int null)");
  const std::string subquery = "154: A subquery is not allowed in a ";
  const std::string aggregate = "154: An aggregate is not allowed in a ";
  const auto illegal = [](const char* name) {
    return "128: The name '" + std::string(name) +
           "' is illegal in this context. Only constants, constant expressions, or variables "
           "allowed here. Column names are illegal.\n";
  };
  const auto variable = [](const char* statement) {
    return "112: Variables are not allowed in " + std::string(statement) + " statement.\n";
  };
  const std::pair<const char*, std::string> kRefused[] = {
      {"create table g (a int, b int default a + 1)", illegal("a")},
      {"create table g (a int default nosuch)", illegal("nosuch")},
      {"create table g (a int default datediff(dd, b, getdate()))", illegal("b")},
      {"declare @x int create table g (a int default @x)", variable("CREATE TABLE")},
      {"declare @x int create table #g (a int default @x)", variable("CREATE TABLE")},
      {"create table g (a int default (select 1))", subquery + "default.\n"},
      {"declare @x int create table g (a int check (a > @x))", variable("CREATE TABLE")},
      {"create table g (a int check (a < (select max(a) from p)))", subquery + "check.\n"},
      {"create table g (a int check (sum(a) < 9))", aggregate + "check.\n"},
      {"alter table t add b int default a null", illegal("a")},
      {"alter table t add b int default (select 1) null", subquery + "default.\n"},
      {"alter table t replace a default a", illegal("a")},
      {"declare @x int alter table t replace a default @x", variable("ALTER TABLE")},
      {"alter table t add check (exists (select 1 from p))", subquery + "check.\n"},
      {"declare @x int alter table t add constraint c check (a > @x)", variable("ALTER TABLE")},
      {"create default d as x", illegal("x")},
      {"create default d as (select 1)", subquery + "default.\n"},
      {"create default d as max(1)", aggregate + "default.\n"},
      {"create rule r as @a in (select a from t)", subquery + "rule.\n"},
      {"create rule r as @a > max(@a)", aggregate + "rule.\n"},
      {"create rule r as @a > b", illegal("b")},
  };
  for (const auto& [sql, refusal] : kRefused) EXPECT_EQ(probe.refusal(sql), refusal) << sql;
  EXPECT_EQ(probe.refusal("create default d as @a"), variable("CREATE DEFAULT"));
  for (const char* sql :
       {"create table g (a int default datepart(yy, getdate()), b varchar(30) default user)",
        "create table k (a datetime default CURRENT_TIMESTAMP null)",
        "create table h (a int default -1 check (datepart(mm, getdate()) > a))",
        "alter table t replace a default null", "create default d as getdate()",
        "create rule r as @a like '[a-z]%' or @a = user_name()"}) {
    EXPECT_EQ(probe.ask(sql), "(closed)\n") << sql;
  }
  EXPECT_EQ(probe.rows("select count(*) from sysobjects where name in ('g', 'r', 'd') "
                       "or id in (select cdefault from syscolumns where id = object_id('t'))"),
            "3\n");
}

TEST(Rules, WhatTablesCannotBe) {
  Probe probe(R"(
create table p (a int primary key)
create table t (a int not null, b int null, c int null check (c > 0), c2 int null,
  constraint more_ck check (b > 0 or a > 0))
create table q (a int, z as a * 2, w as z + 1)
insert q values (4)
go
)");
  expectRefusals(probe,
                 {{"alter table t drop b", "error 4922 'more_ck', which must be dropped first.\n"},
                  {"alter table t drop c2", ""},
                  {"alter table t modify a int not null", "error 13905 'a'.\n"},
                  {"alter table t modify b timestamp", "error 0 't' cannot become a timestamp.\n"},
                  {"alter table t modify b smallint null", ""},
                  {"create table f (a varchar(5) references p)",
                   "error 0 'f' has another type than the column that it references.\n"},
                  {"create table f (a smallint references p)", ""},
                  {"create table ts (a timestamp, b timestamp)", "error 2738 'b'.\n"},
                  {"create table g (a int, check (nosuch > 2))", "error 207 'nosuch'.\n"},
                  {"alter table t add d int null check (a + nosuch > 2)", "error 207 'nosuch'.\n"},
                  {"alter table t add constraint late check (nosuch > 2)", "error 207 'nosuch'.\n"},
                  {"create table g (a int check (a < 9), b datetime default getdate())", ""},
                  {"create table tiny (a tinyint identity, b int)", ""}});
  EXPECT_EQ(probe.rows("select count(*) from syscolumns where id = object_id('t')"), "3\n");
  EXPECT_EQ(probe.rows("select a, z, w from q"), "4 | 8 | 9\n");
  probe.ask(
      "set identity_insert tiny on insert tiny (a, b) values (255, 1)"
      " set identity_insert tiny off");
  EXPECT_NE(refusalOf(probe, "insert tiny values (2)"), "");
  expectRefusals(probe, {{"update tiny set a = 5", "error 0 'set identity_update tiny on'.\n"},
                         {"update tiny set b = 5", ""},
                         {"set identity_update tiny on update tiny set a = 5", ""},
                         {"update tiny set a = 255 set identity_update tiny off", ""},
                         {"update tiny set a = 5", "error 0 'set identity_update tiny on'.\n"}});
  EXPECT_EQ(probe.rows("select a from tiny"), "255\n");
}

}  // namespace
}  // namespace kelvane::embedded
