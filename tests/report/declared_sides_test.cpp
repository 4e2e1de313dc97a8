// What stands beside what in the declarations of both sides, and what does not stand there at all.
#include "report/declared_sides.h"

#include <gtest/gtest.h>

#include "inventory/compare/compare.h"
#include "model/text.h"
#include "tests/support/made_inventory.h"

namespace kelvane::inventory {
namespace {

using testing::column;
using testing::table;
using Rows = std::vector<std::string>;

// "source | target" of the first object that differs.
Rows rows(const Database& source, const Database& target, const Rules& rules = {}) {
  const std::vector<Change> changes = compare(source, target, rules);
  Rows all;
  for (const auto& [was, is] : report::declaredSides(changes.at(0)))
    all.push_back(toUtf8(was) + " | " + toUtf8(is));
  return all;
}

Database with(Table table) {
  Database database;
  database.tables.push_back(std::move(table));
  return database;
}

TEST(DeclaredSides, WhatOnlyTheTargetHasStandsInItsPlace) {
  EXPECT_EQ(rows(with(table("t", {column("a", "int"), column("b", "int")})),
                 with(table("t", {column("n", "int"), column("b", "int"), column("o", "int"),
                                  column("p", "int")}))),
            (Rows{" | column n int not null", "column a int not null | ",
                  "column b int not null | column b int not null", " | column o int not null",
                  " | column p int not null"}));
  EXPECT_EQ(rows({}, with(table("t", {column("a", "int")}))), Rows{" | column a int not null"});
}

TEST(DeclaredSides, PartsOfPartsStandBelowThem) {
  Table source = table("t");
  Index index;
  index.name = "ix";
  index.columns = {{"a"}};
  index.partitions = {{{"p", false}, "", "one"}};
  source.indexes = {index};
  Table target = source;
  target.indexes[0].partitions[0].segment = "two";
  EXPECT_EQ(rows(with(source), with(target)),
            (Rows{"index ix (a) | index ix (a)",
                  "    partition p segment one |     partition p segment two"}));
}

TEST(DeclaredSides, WhatIsNotComparedDoesNotDiffer) {
  Table source = table("t", {column("Id", "int"), column("a", "int")});
  Table target = table("T", {column("ID", "int"), column("a", "char")});
  source.segment = "one";
  target.segment = "two";
  source.permissions = {{"grant", "select", "ann", {}, false, "dbo", {}}};
  target.checks = {{{"c", false}, {"check (a > 0)"}, {}}};
  Rules rules;
  rules.names = CaseMode::ignore;
  for (const Family family : {Family::permissions, Family::checks, Family::segments})
    rules.compared.reset(static_cast<std::size_t>(family));
  EXPECT_EQ(inventory::rows(with(source), with(target), rules),
            (Rows{"column Id int not null | column Id int not null",
                  "column a int not null | column a char not null"}));
}

TEST(DeclaredSides, WhatFollowsFromAnotherTextIsLeftOut) {
  Database source, target;
  source.views = {testing::view("v", "select a")};
  target.views = {testing::view("v", "select b")};
  source.views[0].columns = {{"a", column("", "int").type}};
  target.views[0].columns = {{"b", column("", "int").type}};
  EXPECT_EQ(rows(source, target), Rows());
}

}  // namespace
}  // namespace kelvane::inventory
