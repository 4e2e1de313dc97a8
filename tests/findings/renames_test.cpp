// Which objects are taken for one under two names, and which are not.
#include "findings/renames.h"

#include <gtest/gtest.h>

#include "inventory/compare/compare.h"
#include "model/text.h"
#include "tests/support/made_inventory.h"

namespace kelvane::inventory {
namespace {

using Lines = std::vector<std::string>;
using testing::column;
using testing::table;
using testing::view;

Lines guesses(const Database& source, const Database& target) {
  Lines all;
  for (const Rename& one : findings::probableRenames(compare(source, target), source, target))
    all.push_back(one.kind + " " + toUtf8(one.source) + " -> " + toUtf8(one.target) + " " +
                  std::to_string(one.likeness));
  return all;
}

// Some tables that both have, so that not every line is everywhere.
Database others() {
  Database database;
  for (const char* name : {"x", "y", "z"})
    database.tables.push_back(table(name, {column("id", "int"), column(name, "char")}));
  return database;
}

std::vector<Column> columns(std::initializer_list<const char*> names) {
  std::vector<Column> all;
  for (const char* name : names) all.push_back(column(name, "int"));
  return all;
}

Database with(Table table) {
  Database database = others();
  database.tables.push_back(std::move(table));
  return database;
}

TEST(InventoryRenames, OfTables) {
  const Table five = table("t", columns({"a", "b", "c", "d", "e"}));
  Table renamed = five;
  renamed.name.name = "u";
  EXPECT_EQ(guesses(with(five), with(renamed)), (Lines{"table dbo.t -> dbo.u 100"}));
  EXPECT_EQ(guesses(with(five), with(five)), Lines());

  // What does not count: permissions, numbers of rows, names of what the table has.
  Table other = renamed;
  other.permissions = {{"grant", "select", "ann", {}, false, "dbo", {}}};
  other.rowCount = 5;
  Table keyed = five;
  keyed.keys = {testing::key({"t_pk", false}, "a")};
  other.keys = {testing::key({"u_pk", false}, "a")};
  keyed.triggers = {
      {{"dbo", "t_i"}, true, false, false, false, false, {}, {"create t_i on t as t"}}};
  other.triggers = {
      {{"dbo", "u_i"}, true, false, false, false, false, {}, {"create u_i on u as u"}}};
  EXPECT_EQ(guesses(with(keyed), with(other)), (Lines{"table dbo.t -> dbo.u 100"}));

  renamed.columns.push_back(column("f", "int"));
  EXPECT_EQ(guesses(with(five), with(renamed)), (Lines{"table dbo.t -> dbo.u 90"}));
  renamed.columns.erase(renamed.columns.begin(), renamed.columns.begin() + 3);
  EXPECT_EQ(guesses(with(five), with(renamed)), Lines());

  // Of two that are equal, neither is the one; a table is no view.
  Database two = with(renamed);
  two.tables.push_back(five);
  two.tables.back().name.name = "v";
  two.tables.push_back(five);
  two.tables.back().name.name = "w";
  EXPECT_EQ(guesses(with(five), two), Lines());
}

TEST(InventoryRenames, OfTextsAndTypes) {
  Database source = others(), target = source;
  source.views = {view("v", "create view v as\nselect v.a from t v\n")};
  target.views = {view("w", "create view w as\nselect w.a from t w")};
  source.rules = {{{"dbo", "r"}, false, {"create rule r as @a > 1"}}};
  target.rules = {{{"ann", "r"}, false, {"create rule r as @a > 1"}}};
  source.types = {{{"dbo", "code"}, column("", "char").type, {}, {}, {}}};
  target.types = {{{"dbo", "kode"}, column("", "char").type, {}, {}, {}}};
  EXPECT_EQ(guesses(source, target), (Lines{"view dbo.v -> dbo.w 100", "rule dbo.r -> ann.r 100",
                                            "type dbo.code -> dbo.kode 100"}));
  target.views[0].definition.text = "create view w as\nselect w.b from t w";
  target.rules.clear();
  target.types[0].base.nullable = true;
  EXPECT_EQ(guesses(source, target), Lines());
}

}  // namespace
}  // namespace kelvane::inventory
