#include <algorithm>

#include "drivers/embedded/catalog/pattern.h"
#include "tests/embedded/catalog/fixture.h"

namespace kelvane::embedded {
namespace {

TEST_F(CatalogTest, SpColumnsNamesTheBaseType) {
  run(R"(exec sp_addtype 'phone', 'varchar(20)', 'null'
exec sp_addtype 'amount', 'numeric(12,2)', 'null'
go
create table t (c char(5), vc phone, n nchar(3) null, b binary(4) null, tx text null, im image null,
  bt bit, ti tinyint null, si smallint, i int null, bi bigint null, nu amount, de decimal(5),
  fl double precision, re real null, mo money null, sm smallmoney, dt datetime null,
  sd smalldatetime, da date null, uv univarchar(4), ts timestamp))");
  const ProcedureResult result = call("exec sp_columns t, dbo");
  // name, code, type, precision, length, scale, radix, nullable, stored code, octets, position
  EXPECT_EQ(draw(result.resultSets.at(0), {3, 4, 5, 6, 7, 8, 9, 10, 12, 17, 18}),
            "c | 1 | char | 5 | 5 | null | null | 0 | 47 | 5 | 1\n"
            "vc | 12 | varchar | 20 | 20 | null | null | 1 | 39 | 20 | 2\n"
            "n | 1 | char | 3 | 3 | null | null | 1 | 39 | 3 | 3\n"
            "b | -2 | binary | 4 | 4 | null | null | 1 | 37 | 4 | 4\n"
            "tx | -1 | text | 2147483647 | 16 | null | null | 1 | 35 | 2147483647 | 5\n"
            "im | -4 | image | 2147483647 | 16 | null | null | 1 | 34 | 2147483647 | 6\n"
            "bt | -7 | bit | 1 | 1 | 0 | 2 | 0 | 50 | 0 | 7\n"
            "ti | -6 | tinyint | 3 | 1 | 0 | 10 | 1 | 38 | 0 | 8\n"
            "si | 5 | smallint | 5 | 2 | 0 | 10 | 0 | 52 | 0 | 9\n"
            "i | 4 | int | 10 | 4 | 0 | 10 | 1 | 38 | 0 | 10\n"
            "bi | -5 | bigint | 19 | 8 | 0 | 10 | 1 | 38 | 0 | 11\n"
            "nu | 2 | numeric | 12 | 6 | 2 | 10 | 1 | 108 | 0 | 12\n"
            "de | 3 | decimal | 5 | 4 | 0 | 10 | 0 | 55 | 0 | 13\n"
            "fl | 6 | float | 15 | 8 | null | 10 | 0 | 62 | 0 | 14\n"
            "re | 7 | real | 7 | 4 | null | 10 | 1 | 109 | 0 | 15\n"
            "mo | 3 | money | 19 | 8 | 4 | 10 | 1 | 110 | 0 | 16\n"
            "sm | 3 | smallmoney | 10 | 4 | 4 | 10 | 0 | 122 | 0 | 17\n"
            "dt | 11 | datetime | 23 | 8 | 3 | 10 | 1 | 111 | 0 | 18\n"
            "sd | 11 | smalldatetime | 16 | 4 | 0 | 10 | 0 | 58 | 0 | 19\n"
            "da | 91 | date | 10 | 4 | 0 | 10 | 1 | 123 | 0 | 20\n"
            "uv | -9 | univarchar | 8 | 8 | null | null | 0 | 155 | 8 | 21\n"
            "ts | -3 | varbinary | 8 | 8 | null | null | 1 | 37 | 8 | 22\n");
  EXPECT_EQ(result.resultSets.at(0).columns.size(), 20U);
}

TEST_F(CatalogTest, SpColumnsTakesUnderscoresForWildcards) {
  run("exec sp_adduser ann");
  for (const char* table : {"order_items", "orderXitems", "order__items", "order_item", "orders",
                            "ann.order_items", "orderéitems"}) {
    run("create table " + std::string(table) + " (a int)");
  }
  const auto tables = [&](const char* arguments) {
    const auto result = call(std::string("exec sp_columns ") + arguments);
    EXPECT_EQ(result.status, 0);
    return draw(result.resultSets.at(0), {1, 2});
  };
  EXPECT_EQ(tables("order_items, dbo"),
            "dbo | orderXitems\ndbo | order_items\ndbo | orderéitems\n");
  EXPECT_EQ(tables("order_items"),
            "ann | order_items\ndbo | orderXitems\ndbo | order_items\ndbo | orderéitems\n");
  EXPECT_EQ(tables("orders, dbo"), "dbo | orders\n");
  EXPECT_EQ(tables("orders, ann"), "");
  EXPECT_EQ(tables("nothing"), "");
  EXPECT_EQ(tables("order_items, dbo, shop, b"), "");
  EXPECT_EQ(call("exec sp_columns orders, dbo, other").status, 1);
}

TEST_F(CatalogTest, PatternSearchFindsWhatTheNamesAsAWholeGive) {
  // Every name of one to four letters over a small alphabet; each pattern against all of them.
  const std::string letters = "a_z";
  std::vector<std::string> names = {""};
  for (std::size_t i = 0; i < names.size() && names[i].size() < 4; ++i) {
    for (const char letter : letters) names.push_back(names[i] + letter);
  }
  for (std::size_t i = 1; i < names.size(); ++i) run("create table [" + names[i] + "] (a int)");
  for (const char* pattern :
       {"_", "a_", "_a", "a_z", "__a", "a__z", "_a_a", "z%", "_%a", "a_%", "____", "a%_z", "_z_"}) {
    std::vector<std::string> expected;
    for (const std::string& name : names) {
      if (!name.empty() && matchesLike(name, pattern)) expected.push_back(name);
    }
    std::sort(expected.begin(), expected.end());
    std::vector<std::string> found;
    const auto result = call("exec sp_columns '" + std::string(pattern) + "', dbo");
    for (const Row& row : result.resultSets.at(0).rows)
      found.push_back(std::get<std::string>(row[2]));
    EXPECT_EQ(found, expected) << pattern;
  }
}

TEST(LikeTest, Patterns) {
  struct Case {
    const char* value;
    const char* pattern;
    bool matches;
  };
  for (const Case& c : std::initializer_list<Case>{{"abc", "abc", true},
                                                   {"abc", "ABC", false},
                                                   {"abc  ", "abc", true},
                                                   {"abc", "a%", true},
                                                   {"abc", "%b%", true},
                                                   {"abab", "%ab", true},
                                                   {"abc", "_bc", true},
                                                   {"\u00e9t\u00e9", "_t_", true},
                                                   {"b5", "[a-c][^0-4]", true},
                                                   {"b5", "[a-c][^0-5]", false},
                                                   {"\u00e9", "[\u00e0-\u00ef]", true},
                                                   {"", "%", true},
                                                   {"", "_", false},
                                                   {"a_c", "a[_]c", true},
                                                   {"abc", "a[_]c", false}}) {
    EXPECT_EQ(matchesLike(c.value, c.pattern), c.matches) << c.value << " like " << c.pattern;
  }
  EXPECT_TRUE(matchesLike("50%", "50\\%", '\\'));
  EXPECT_FALSE(matchesLike("505", "50\\%", '\\'));
}

TEST_F(CatalogTest, SpSprocColumnsListsParameters) {
  run(R"(exec sp_addtype 'phone', 'varchar(20)'
go
create procedure p_load @no int, @tel phone = 'none', @sum numeric(10,2) output as return 0
go
create procedure p_none as return 0
go
create procedure grp;1 @a int as return 0
go
create procedure grp;2 @b datetime as return 0
go
)");
  const auto parameters = [&](const char* name) {
    return draw(call(std::string("exec sp_sproc_columns ") + name).resultSets.at(0),
                {2, 3, 4, 6, 7, 8, 9, 11, 15, 19});
  };
  EXPECT_EQ(parameters("p_load, dbo"),
            "p_load | @no | 1 | int | 10 | 4 | 0 | 1 | null | 1\n"
            "p_load | @tel | 1 | varchar | 20 | 20 | null | 1 | null | 2\n"
            "p_load | @sum | 2 | numeric | 10 | 6 | 2 | 1 | null | 3\n");
  EXPECT_EQ(parameters("p_none, dbo"), "");
  EXPECT_EQ(parameters("grp, dbo"), "grp | @a | 1 | int | 10 | 4 | 0 | 1 | null | 1\n");
  EXPECT_EQ(parameters("'grp;2', dbo"), "grp | @b | 1 | datetime | 23 | 8 | 3 | 1 | null | 1\n");
  EXPECT_EQ(errorOf("create procedure grp;2 as return 0"),
            "2729 Object 'grp' group number 2 already exists in the database. Choose another "
            "procedure name.");
}

TEST_F(CatalogTest, SpHelpindexDescribesIndexes) {
  run(R"(create table t (a int, b int, c int null, constraint pk primary key nonclustered (a), unique (b))
go
create clustered index ci on t (c, b desc) with allow_dup_row
create unique index ui on t (b, c) with ignore_dup_key on system
create table d (a int primary key) lock datarows
create table bare (a int))");
  EXPECT_EQ(draw(call("exec sp_helpindex 'dbo.t'").resultSets.at(0), {0, 1, 2}),
            withIds("ci | clustered, allow duplicate rows located on default |  c, b DESC\n"
                    "pk | nonclustered, unique located on default |  a\n"
                    "t_#t3 | nonclustered, unique located on default |  b\n"
                    "ui | nonclustered, unique, ignore duplicate keys located on system |  b, c\n",
                    {"t"}));
  EXPECT_EQ(draw(call("exec sp_helpindex d").resultSets.at(0), {1}),
            "clustered, unique located on default\n");
  const ProcedureResult none = call("exec sp_helpindex bare");
  EXPECT_TRUE(none.resultSets.empty());
  EXPECT_EQ(none.messages.at(0).number, 17640);
  EXPECT_EQ(none.status, 0);
}

TEST_F(CatalogTest, TextsAreCutBetweenCharacters) {
  const std::string head = "create procedure p as -- ";
  const std::string body(255 - head.size() - 1, 'x');
  const std::string text = head + body + "\u00e9\u00e9\nreturn 1";
  run(text);
  EXPECT_EQ(rows("SELECT number, colid, length(CAST(text AS BLOB)) FROM syscomments"),
            "1 | 1 | 254\n1 | 2 | 13\n");
  const ProcedureResult shown = call("exec sp_helptext 'dbo.p'");
  EXPECT_EQ(draw(shown.resultSets.at(0), {0}), "2\n");
  EXPECT_EQ(draw(shown.resultSets.at(1), {0}), head + body + "\n\u00e9\u00e9\nreturn 1\n");
  EXPECT_EQ(catalog.sourceText(idOf("p")), text);
}

TEST_F(CatalogTest, ViewsHaveColumnsOfTheirSelectList) {
  ColumnType identity = declaredType(TypeKind::Numeric, 8, {}, false);
  identity.identity = true;
  viewColumns = {{"id", identity}, {"", declaredType(TypeKind::Varchar, 12, {}, true)}};
  run("create view v (no, name) as select id, a + b from t");
  EXPECT_EQ(draw(call("exec sp_columns v, dbo").resultSets.at(0), {3, 5, 6, 10, 12}),
            "no | numeric | 8 | 0 | 63\nname | varchar | 12 | 1 | 39\n");
  EXPECT_EQ(rows("SELECT status FROM syscolumns WHERE name = 'no'"), "0\n");
  EXPECT_EQ(errorOf("create view w (no) as select id, a + b from t").substr(0, 4), "4502");
  EXPECT_EQ(errorOf("create view w as select id, a + b from t").substr(0, 4), "4511");
  EXPECT_EQ(errorOf("create view w (a, a) as select id, a + b from t").substr(0, 4), "4506");
}

TEST_F(CatalogTest, ReplacedObjectsKeepTheirIdAndPermissions) {
  run("create procedure p @a int as return 1\ngo\ngrant execute on p to guest");
  const int id = idOf("p");
  run("create or replace procedure p @b int, @c int as return 2");
  EXPECT_EQ(idOf("p"), id);
  EXPECT_EQ(rows("SELECT name FROM syscolumns WHERE id > 100"), "@b\n@c\n");
  EXPECT_EQ(rows("SELECT action FROM sysprotects"), "224\n");
  EXPECT_EQ(catalog.sourceText(id), "create or replace procedure p @b int, @c int as return 2");
}

TEST_F(CatalogTest, TriggersTakeTheirPlaceInTheTable) {
  run(R"(create table t (a int)
go
create trigger both on t for insert, update as print 'both'
go
create trigger del on t for delete as print 'del'
go
)");
  const auto slots = [&] {
    return rows(
        "SELECT ifnull((SELECT name FROM sysobjects i WHERE i.id = t.instrig), '-'),"
        " ifnull((SELECT name FROM sysobjects u WHERE u.id = t.updtrig), '-'),"
        " ifnull((SELECT name FROM sysobjects d WHERE d.id = t.deltrig), '-')"
        " FROM sysobjects t WHERE type = 'U'");
  };
  EXPECT_EQ(slots(), "both | both | del\n");
  EXPECT_EQ(rows("SELECT deltrig, instrig FROM sysobjects WHERE name = 'both'"),
            withIds("#t | 0\n", {"t"}));
  run("create trigger ins on t for insert as print 'ins'");
  EXPECT_EQ(slots(), "ins | both | del\n");
  run("create trigger upd on t for update as print 'upd'");
  EXPECT_EQ(slots(), "ins | upd | del\n");
  EXPECT_EQ(idOf("both"), 0);
  run("drop trigger del");
  EXPECT_EQ(slots(), "ins | upd | -\n");
}

TEST_F(CatalogTest, RulesAndDefaultsAreBound) {
  run(R"(create rule positive as @v > 0
go
create default zero as 0
go
exec sp_addtype 'amount', 'int', 'null'
go
create table t (a amount, b amount default 5, c int)
go
exec sp_bindrule positive, amount
exec sp_bindefault zero, amount
exec sp_bindefault zero, 't.c'
go
create table late (a amount))");
  const auto bindings = [&] {
    return rows(
        "SELECT t.name, c.name, d.name, r.name FROM syscolumns c JOIN sysobjects t ON t.id ="
        " c.id LEFT JOIN sysobjects d ON d.id = c.cdefault LEFT JOIN sysobjects r ON r.id ="
        " c.domain WHERE t.type = 'U' ORDER BY t.id, c.colid");
  };
  const std::string own =
      rows("SELECT name FROM sysobjects WHERE name LIKE 't\\_b\\_%' ESCAPE '\\'");
  const std::string inlineDefault = own.substr(0, own.size() - 1);
  EXPECT_EQ(bindings(), "t | a | zero | positive\nt | b | " + inlineDefault +
                            " | positive\nt | c | zero | null\nlate | a | zero | positive\n");
  EXPECT_EQ(rows("SELECT usertype, type, allownulls, length FROM systypes WHERE usertype > 100"),
            "101 | 38 | 1 | 4\n");
  EXPECT_EQ(errorOf("drop default zero").substr(0, 4), "3716");
  EXPECT_EQ(errorOf("exec sp_bindefault zero, 't.b'").substr(0, 5), "17740");
  EXPECT_EQ(errorOf("exec sp_droptype amount"),
            "17552 Type 'amount' is being used. You cannot drop it.");
  run("exec sp_unbindefault amount\nexec sp_unbindefault 't.c'\nexec sp_unbindrule amount, "
      "futureonly");
  EXPECT_EQ(bindings(), "t | a | null | positive\nt | b | " + inlineDefault +
                            " | positive\nt | c | null | null\nlate | a | null | positive\n");
  run("drop default zero");
}

TEST_F(CatalogTest, UsersAndGroups) {
  const std::string drawn =
      "SELECT suid, uid, gid, name, environ FROM sysusers WHERE uid NOT BETWEEN 16384 AND 16393";
  EXPECT_EQ(rows(drawn),
            "-2 | 0 | 0 | public | null\n1 | 1 | 0 | dbo | null\n-1 | 2 | 0 | guest | null\n");
  run(R"(exec sp_addlogin ann, secret1
exec sp_addgroup staff
exec sp_adduser ann, annie, staff
exec sp_adduser bob
exec sp_changegroup staff, bob
exec sp_changegroup 'public', annie)");
  EXPECT_EQ(rows(drawn + " AND uid > 2 ORDER BY uid"),
            "3 | 3 | 0 | annie | null\n4 | 4 | 16394 | bob | null\n"
            "-2 | 16394 | 16394 | staff |  \n");
  EXPECT_EQ(catalog.loginName(4), "bob");
  EXPECT_EQ(errorOf("exec sp_dropgroup staff"),
            "17561 Group has members. It must be empty before it can be dropped.");
  run("create table bob.t (a int)");
  EXPECT_EQ(errorOf("exec sp_dropuser bob"),
            "17549 You cannot drop user because user 'bob' owns objects in database.");
  // Names without an owner are the caller's own first, then those of dbo.
  run("create table t (a int)\ngo\ncreate table common (a int)\ngo\nsetuser 'bob'\ngo\n"
      "create table mine (a int)");
  EXPECT_EQ(catalog.findObject("t", caller)->uid, 4);
  EXPECT_EQ(catalog.findObject("mine", caller)->uid, 4);
  EXPECT_EQ(catalog.findObject("shop.dbo.t", caller)->uid, 1);
  EXPECT_EQ(catalog.findObject("common", caller)->uid, 1);
  EXPECT_EQ(catalog.findObject("sysobjects", caller)->sqliteTable, "sysobjects");
  EXPECT_EQ(catalog.findObject("spt_values", caller), std::nullopt);
  EXPECT_EQ(catalog.findObject("master.dbo.spt_values", caller)->sqliteTable, "spt_values");
  EXPECT_EQ(catalog.findObject("elsewhere..t", caller), std::nullopt);
}

TEST_F(CatalogTest, RenamingReachesEveryName) {
  run(R"(create table t (a int, b text null)
go
create index i on t (a)
exec sp_addtype 'phone', 'varchar(20)'
go
exec sp_rename t, u
exec sp_rename 'u.a', z
exec sp_rename 'u.i', j
exec sp_rename phone, tel)");
  EXPECT_EQ(rows("SELECT name FROM sysindexes WHERE id > 100 ORDER BY indid"), "u\nj\ntu\n");
  EXPECT_EQ(catalog.indexColumn(idOf("u"), 2, 1), "z");
  EXPECT_EQ(rows("SELECT name FROM systypes WHERE usertype > 100"), "tel\n");
  EXPECT_EQ(errorOf("exec sp_rename nil, x").substr(0, 5), "17461");
}

TEST_F(CatalogTest, ArgumentsGoByPositionOrName) {
  run("create table t (a int, b int)");
  EXPECT_EQ(
      draw(call("exec sp_columns @column_name = 'b', @table_name = 't'").resultSets.at(0), {3}),
      "b\n");
  EXPECT_EQ(errorOf("exec sp_columns @nonsense = 't'").substr(0, 4), "7202");
  EXPECT_EQ(errorOf("exec sp_columns"),
            "201 Procedure sp_columns expects parameter @table_name, which was not supplied.");
  EXPECT_EQ(catalog.callSystemProcedure({"sp_helpdbfixedrole", {}, caller}).has_value(), false);
}

TEST_F(CatalogTest, NullsAmongTheArguments) {
  run(R"(exec sp_addtype given, 'datetime', null
exec sp_addtype omitted, 'datetime'
create table t (a int, b text null, c image null, d varchar(9))
exec sp_setrepcol t, null, 'always_replicate')");
  EXPECT_EQ(rows("SELECT name, allownulls FROM systypes WHERE usertype > 100 ORDER BY name"),
            "given | 1\nomitted | 0\n");
  EXPECT_EQ(rows("SELECT name FROM syscolumns WHERE status & 1 = 1 AND id = " +
                 std::to_string(idOf("t"))),
            "b\nc\n");
  EXPECT_EQ(call("exec sp_rename 't.a', '1x'").messages.at(0).number, 17240);
  EXPECT_EQ(call("exec sp_rename 't.a', 'x1'").status, 0);
}

}  // namespace
}  // namespace kelvane::embedded
