// What counts as the same object, and how a difference is said.

#include "inventory/compare/compare.h"

#include <gtest/gtest.h>

#include "inventory/compare/definition_text.h"
#include "inventory/shown.h"
#include "tests/inventory/change_text.h"

namespace kelvane::inventory {
namespace {

using Lines = std::vector<std::string>;

Column column(std::string name, std::string type, bool nullable = false) {
  Column made;
  made.name = std::move(name);
  made.type = {{{}, std::move(type), {}, {}, {}}, nullable, false};
  return made;
}

Table table(std::string name, std::vector<Column> columns) {
  Table made;
  made.name = {"dbo", std::move(name)};
  made.columns = std::move(columns);
  return made;
}

Database with(Table table) {
  Database database;
  database.tables.push_back(std::move(table));
  return database;
}

TEST(Compare, AnAddedColumnMovesNoneOfTheOthers) {
  const Database source = with(table("t", {column("a", "int"), column("b", "int")}));
  const Database target =
      with(table("t", {column("a", "int"), column("n", "date", true), column("b", "int")}));
  EXPECT_EQ(lines(compare(source, target)),
            (Lines{"table dbo.t > column n: only in target: date null"}));
  EXPECT_EQ(lines(compare(target, source)),
            (Lines{"table dbo.t > column n: only in source: date null"}));
}

TEST(Compare, AnotherOrderIsOneDifference) {
  const Database source = with(
      table("t", {column("a", "int"), column("b", "int"), column("c", "int"), column("d", "int")}));
  const Database target = with(
      table("t", {column("a", "int"), column("c", "int"), column("b", "int"), column("d", "int")}));
  EXPECT_EQ(lines(compare(source, target)),
            (Lines{"table dbo.t: column order: (..., b, c, ...) -> (..., c, b, ...)"}));
}

TEST(Compare, ATypeIsOneDifference) {
  Column was = column("phone", "char"), is = column("phone", "varchar", true);
  was.type.type.length = 16;
  is.type.type.length = 20;
  EXPECT_EQ(lines(compare(with(table("t", {was})), with(table("t", {is})))),
            (Lines{"table dbo.t > column phone: char(16) not null -> varchar(20) null"}));
}

KeyConstraint key(std::string name, bool generated, std::vector<KeyColumn> columns,
                  bool primary = false) {
  KeyConstraint made;
  made.name = {std::move(name), generated};
  made.columns = std::move(columns);
  made.primary = primary;
  return made;
}

TEST(Compare, GeneratedNamesAreMatchedByWhatTheConstraintsSay) {
  Table source = table("t", {}), target = source;
  source.keys = {key("t_1", true, {{"a"}}, true), key("t_2", true, {{"b"}}),
                 key("t_3", true, {{"c"}}), key("uq", false, {{"d"}})};
  target.keys = {key("t_9", true, {{"c"}}), key("t_8", true, {{"a"}, {"x"}}, true),
                 key("named", false, {{"b"}}), key("t_7", true, {{"d"}})};
  EXPECT_EQ(lines(compare(with(source), with(target))),
            (Lines{"table dbo.t > constraint: (a) -> (a, x)",
                   "table dbo.t > constraint: name: (generated) -> named",
                   "table dbo.t > constraint uq: name: uq -> (generated)"}));
}

TEST(Compare, OneWithoutNameIsFirstTheOneThatSaysTheSame) {
  const auto foreignKey = [](std::string name, bool generated, std::string referenced) {
    ForeignKey made;
    made.name = {std::move(name), generated};
    made.columns = {"a"};
    made.referenced = {"", "dbo", std::move(referenced)};
    return made;
  };
  Table source = table("t", {}), target = source;
  source.foreignKeys = {foreignKey("t_1", true, "p")};
  target.foreignKeys = {foreignKey("f1", false, "q"), foreignKey("f2", false, "p")};
  EXPECT_EQ(lines(compare(with(source), with(target))),
            (Lines{"table dbo.t > foreign key: name: (generated) -> f2",
                   "table dbo.t > foreign key f1: only in target: (a) references dbo.q"}));
}

TEST(Compare, NamedConstraintsOfTheSameColumnsAreDifferentOnes) {
  Table source = table("t", {}), target = source;
  source.keys = {key("one", false, {{"a"}}, true)};
  target.keys = {key("two", false, {{"a"}}, true)};
  EXPECT_EQ(lines(compare(with(source), with(target))),
            (Lines{"table dbo.t > constraint one: only in source: primary key (a)",
                   "table dbo.t > constraint two: only in target: primary key (a)"}));
}

TEST(Compare, SeveralOfOneNameArePairedInTheirOrder) {
  Table source = table("t", {}), target = source;
  Permission grant{"grant", "select", "clerks", {}, false, "dbo", {}};
  source.permissions = {grant, grant};
  source.permissions[1].grantor = "anna";
  target.permissions = {grant};
  EXPECT_EQ(lines(compare(with(source), with(target))),
            (Lines{"table dbo.t > permission grant select to clerks: only in source: "
                   "grant select to clerks granted by anna"}));
}

TEST(Compare, LetterCaseOfNamesCanBeIgnored) {
  Table source = table("Orders", {column("Id", "int")}),
        target = table("ORDERS", {column("ID", "int")});
  source.foreignKeys.push_back({{"fk", false}, {"Id"}, {{}, "dbo", "T"}, {"A"}, false, {}});
  target.foreignKeys.push_back({{"FK", false}, {"ID"}, {{}, "DBO", "t"}, {"a"}, false, {}});
  Rules rules;
  EXPECT_EQ(countOf(compare(with(source), with(target), rules)), 2U);
  rules.names = CaseMode::ignore;
  EXPECT_EQ(lines(compare(with(source), with(target), rules)), Lines());
}

View view(std::string text, std::string columnType) {
  View made;
  made.name = {"dbo", "v"};
  made.definition.text = std::move(text);
  made.columns.push_back({"a", {{{}, std::move(columnType), {}, {}, {}}, false, false}});
  return made;
}

TEST(Compare, WhatFollowsFromADefinitionIsNoDifferenceOfItsOwn) {
  Database source, target;
  source.views = {view("create view v as select a from t", "int")};
  target.views = {view("create view v as select b as a from t", "char")};
  const std::vector<Change> changes = compare(source, target);
  ASSERT_EQ(countOf(changes), 1U);
  EXPECT_TRUE(changes[0].attributes.at(0).isText);
  target.views = {view("create view v as select a from t", "char")};
  EXPECT_EQ(lines(compare(source, target)),
            (Lines{"view dbo.v > column a: int not null -> char not null"}));
}

TEST(Compare, DefinitionsAreExactUnlessTold) {
  struct Case {
    const char *a, *b;
    bool Rules::*ignored;
    bool same;
  };
  const Case cases[] = {
      {"select a  from t", "select a from t", &Rules::ignoreSpaces, true},
      {"select a b", "select ab", &Rules::ignoreSpaces, false},
      {"a=1", "a = 1", &Rules::ignoreSpaces, true},
      {"select 'a b'", "select 'ab'", &Rules::ignoreSpaces, false},
      {"-- it's\nselect 'a'  ", "-- it's\nselect 'a'", &Rules::ignoreSpaces, true},
      {"select\ta", "select a", &Rules::ignoreTabs, true},
      {"select\r\na", "select\na", &Rules::ignoreLineBreaks, true},
      {"select 1 -- x\n+ 1", "select 1 -- x + 1", &Rules::ignoreLineBreaks, false},
      {"select 1 -- x\n+ 1", "select 1 /* y */\n+ 1", &Rules::ignoreComments, true},
      {"select 1/* /* in */ out */+1", "select 1+1", &Rules::ignoreComments, true},
      {"select 1\n  -- x\nselect 2", "select 1\nselect 2", &Rules::ignoreComments, true},
      {"as -- x\nselect 1", "as \nselect 1", &Rules::ignoreComments, true},
      {"as\r\n/* x\r\ny */ \r\nselect 1", "as\r\nselect 1", &Rules::ignoreComments, true},
      {"as\n/* x */ select 1", "as\nselect 1", &Rules::ignoreComments, false},
      {"select '--a'", "select '--b'", &Rules::ignoreComments, false},
      {"SELECT A", "select a", &Rules::ignoreDefinitionCase, true},
      {"SELECT 'A'", "select 'a'", &Rules::ignoreDefinitionCase, false},
      {"a\n", "a", &Rules::ignoreSpaces, false},
  };
  for (const Case& one : cases) {
    Database source, target;
    source.rules.push_back({{"dbo", "r"}, false, {one.a}});
    target.rules.push_back({{"dbo", "r"}, false, {one.b}});
    EXPECT_EQ(countOf(compare(source, target)), 1U) << one.a;
    Rules rules;
    rules.*one.ignored = true;
    EXPECT_EQ(countOf(compare(source, target, rules)), one.same ? 0U : 1U) << one.a;
  }
}

TEST(Compare, AHiddenTextIsNotAVisibleOne) {
  Database source, target;
  source.rules.push_back({{"dbo", "r"}, false, {"create rule r as @a > 1"}});
  target = source;
  target.rules[0].definition = {"", Definition::State::hidden};
  EXPECT_EQ(lines(compare(source, target)),
            (Lines{"rule dbo.r: definition: create rule r as @a > 1 -> (hidden)"}));
  source = target;
  EXPECT_EQ(countOf(compare(source, target)), 0U);
}

TEST(Compare, LetterCaseOfNamesIsIgnoredWhereverTheyStand) {
  Table source = table("t", {column("a", "money")}), target = source;
  source.columns[0].type.type.owner = target.columns[0].type.type.owner = std::string("dbo");
  source.columns[0].type.type.name = "Amount";
  target.columns[0].type.type.name = "AMOUNT";
  source.keys = {key("k", false, {{"a"}})};
  target.keys = {key("K", false, {{"A"}})};
  source.indexes.emplace_back().columns = {{"a", false, true}, {"substring(a, 1)", true}};
  target.indexes.emplace_back().columns = {{"A", false, true}, {"substring(a, 1)", true}};
  Rules rules;
  EXPECT_EQ(countOf(compare(with(source), with(target), rules)), 4U);
  rules.names = CaseMode::ignore;
  EXPECT_EQ(lines(compare(with(source), with(target), rules)), Lines());
  target.indexes[0].columns[1].name = "substring(A, 1)";
  EXPECT_EQ(countOf(compare(with(source), with(target), rules)), 1U);
}

TEST(Compare, WhatIsIgnoredInDefinitionsIsIgnoredInEveryText) {
  Table source = table("t", {column("a", "int")}), target = source;
  source.checks.push_back({{"c_1", true}, {"check (a > 1) -- so"}, {}});
  target.checks.push_back({{"c_2", true}, {"CHECK (a>1)"}, {}});
  source.columns[0].defaultValue = DefaultValue{"GETDATE ( )", {}};
  target.columns[0].defaultValue = DefaultValue{"getdate()", {}};
  source.indexes.emplace_back().columns = {{"upper( a )", true}};
  target.indexes.emplace_back().columns = {{"UPPER(a)", true}};
  source.partitions.push_back({{"p", false}, "values <= (10)", {}});
  target.partitions.push_back({{"p", false}, "VALUES <= ( 10 )", {}});
  Rules rules;
  EXPECT_EQ(countOf(compare(with(source), with(target), rules)), 5U);
  rules.ignoreSpaces = rules.ignoreComments = rules.ignoreDefinitionCase = true;
  EXPECT_EQ(lines(compare(with(source), with(target), rules)), Lines());
}

TEST(Compare, NamesInBracketsAreNoComments) {
  Rules rules;
  rules.ignoreComments = rules.ignoreSpaces = rules.ignoreDefinitionCase = true;
  EXPECT_EQ(reduced("Select [A--1], [b  c] -- last", rules), "select[A--1],[b  c]");
  EXPECT_EQ(reduced("\u00C4", rules), reduced("\u00E4", rules));
}

TEST(Compare, PartitionsWithoutNamesAreCounted) {
  Table source = table("t", {}), target = source;
  source.partitionKind = target.partitionKind = "roundrobin";
  source.partitions = {{{"t_1", true}, {}, {}}, {{"t_2", true}, {}, {}}};
  target.partitions = {{{"t_9", true}, {}, {}}, {{"named", false}, {}, {}}};
  EXPECT_EQ(lines(compare(with(source), with(target))),
            (Lines{"table dbo.t > partition: name: (generated) -> named"}));
  target.partitions = source.partitions;
  target.partitions.push_back(source.partitions[0]);
  target.partitions.push_back(source.partitions[0]);
  EXPECT_EQ(lines(compare(with(source), with(target))), (Lines{"table dbo.t: partitions: 2 -> 4"}));
}

TEST(Compare, GrantsByOthersAreGrantsOfTheirOwn) {
  Table source = table("t", {column("a", "int"), column("b", "int")}), target = source;
  const Permission grant{"grant", "select", "joe", {}, false, "dbo", {}};
  Permission byAnn = grant;
  byAnn.grantor = "ann";
  source.permissions = {byAnn, grant};
  target.permissions = {grant};
  EXPECT_EQ(lines(compare(with(source), with(target))),
            (Lines{"table dbo.t > permission grant select to joe: only in source: "
                   "grant select to joe granted by ann"}));
  Rules rules;
  rules.compared.reset(static_cast<std::size_t>(Family::grantors));
  EXPECT_EQ(lines(compare(with(source), with(target), rules)), Lines());
  source.permissions[0].columns = {"a"};
  source.permissions[1].columns = {"b"};
  target.permissions[0].columns = {"a", "b"};
  EXPECT_EQ(lines(compare(with(source), with(target), rules)), Lines());
  target.permissions[0].grantOption = true;
  EXPECT_GT(countOf(compare(with(source), with(target), rules)), 0U);
}

}  // namespace
}  // namespace kelvane::inventory
