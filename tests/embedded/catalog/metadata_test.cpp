#include "tests/embedded/catalog/fixture.h"

namespace kelvane::embedded {
namespace {

class MetadataTest : public CatalogTest {
 protected:
  std::string asked(const std::string& statement, const std::vector<std::size_t>& columns) {
    const ProcedureResult result = call(statement);
    if (result.resultSets.size() != 1) return "no result";
    return draw(result.resultSets[0], columns);
  }
  std::string namesOf(const std::string& statement) {
    const ProcedureResult result = call(statement);
    std::string names;
    for (const ResultColumn& column : result.resultSets.at(0).columns)
      names += (names.empty() ? "" : " ") + column.name;
    return names;
  }
};

TEST_F(MetadataTest, ListsTablesByTypeAndOwner) {
  run("exec sp_adduser ann\ngo\ncreate table t_1 (a int)\ngo\ncreate table ann.tx1 (a int)\ngo\n");
  viewColumns = {{"a", declaredType(TypeKind::Int, {}, {}, true)}};
  run("create view v as select a from t_1");
  EXPECT_EQ(namesOf("exec sp_tables"), "table_qualifier table_owner table_name table_type remarks");
  const struct {
    const char *arguments, *expected;
  } cases[] = {
      {"null, null, null, \"'TABLE','VIEW'\"",
       "shop | ann | tx1 | TABLE\nshop | dbo | t_1 | TABLE\nshop | dbo | v | VIEW\n"},
      {"'t_1', 'dbo'", "shop | dbo | t_1 | TABLE\n"},
      {"'t_1', '%'", "shop | ann | tx1 | TABLE\nshop | dbo | t_1 | TABLE\n"},
      {"'%', null, shop, 'VIEW'", "shop | dbo | v | VIEW\n"},
      {"syskeys, dbo", "shop | dbo | syskeys | SYSTEM TABLE\n"},
      {"nosuch", ""},
      {"'', '%', ''", "null | dbo | null | null\nnull | ann | null | null\n"},
      {"'', '', '', '%'",
       "null | null | null | SYSTEM TABLE\nnull | null | null | TABLE\nnull | null | null | "
       "VIEW\n"},
  };
  for (const auto& [arguments, expected] : cases) {
    EXPECT_EQ(asked(std::string("exec sp_tables ") + arguments, {0, 1, 2, 3}), expected)
        << arguments;
  }
  EXPECT_NE(asked("exec sp_tables '', '', '%', null", {0}).find("shop\n"), std::string::npos);
  EXPECT_EQ(call("exec sp_tables t_1, dbo, otherdb").messages.at(0).number, 18039);
}

TEST_F(MetadataTest, KeysOfTables) {
  run(R"(create table a (x int not null, y int not null, constraint pk_a primary key (y, x))
create table b (p int null, q int null, constraint fk_b foreign key (q, p) references a (y, x))
create table d (y int null, x int null, constraint fk_d foreign key (y, x) references a (y, x))
create table e (k int, l int)
go
exec sp_primarykey e, l, k)");
  EXPECT_EQ(asked("exec sp_pkeys a", {0, 1, 2, 3, 4, 5}),
            "shop | dbo | a | y | 1 | pk_a\nshop | dbo | a | x | 2 | pk_a\n");
  EXPECT_EQ(asked("exec sp_pkeys e, dbo, shop", {3, 4, 5}), "l | 1 | null\nk | 2 | null\n");
  EXPECT_EQ(asked("exec sp_pkeys b", {3}), "");
  EXPECT_EQ(asked("exec sp_pkeys nosuch", {3}), "");

  EXPECT_EQ(namesOf("exec sp_fkeys a"),
            "pktable_qualifier pktable_owner pktable_name pkcolumn_name fktable_qualifier "
            "fktable_owner fktable_name fkcolumn_name key_seq update_rule delete_rule fk_name "
            "pk_name");
  const std::string ofB = "a | y | b | q | 1 | fk_b | pk_a\na | x | b | p | 2 | fk_b | pk_a\n";
  const std::string ofD = "a | y | d | y | 1 | fk_d | pk_a\na | x | d | x | 2 | fk_d | pk_a\n";
  const std::vector<std::size_t> columns{2, 3, 6, 7, 8, 11, 12};
  EXPECT_EQ(asked("exec sp_fkeys a", columns), ofB + ofD);
  EXPECT_EQ(asked("exec sp_fkeys @fktable_name = b", columns), ofB);
  EXPECT_EQ(asked("exec sp_fkeys @pktable_name = a, @fktable_name = d", columns), ofD);
  EXPECT_EQ(asked("exec sp_fkeys @pktable_name = b, @fktable_name = d", columns), "");
  EXPECT_EQ(call("exec sp_fkeys").status, 1);
}

TEST_F(MetadataTest, IndexesComeUniqueOnesFirst) {
  run(R"(create table a (x int not null, y int null, z int identity)
create index b_x on a (x desc, y)
create clustered index a_y on a (y)
create unique index u_z on a (z))");
  const std::vector<std::size_t> columns{3, 4, 5, 6, 7, 8, 9};
  const std::string itself = "null | null | null | 0 | null | null | null\n",
                    unique = "0 | a | u_z | 3 | 1 | z | A\n";
  EXPECT_EQ(asked("exec sp_statistics a", columns),
            itself + unique +
                "1 | a | a_y | 1 | 1 | y | A\n1 | a | b_x | 3 | 1 | x | D\n"
                "1 | a | b_x | 3 | 2 | y | A\n");
  EXPECT_EQ(asked("exec sp_statistics a, dbo, shop, '%', 'Y'", columns), itself + unique);
  EXPECT_EQ(asked("exec sp_statistics a, dbo, shop, 'a_%'", {5}), "null\na_y\n");
  EXPECT_EQ(asked("exec sp_special_columns a", {0, 1, 2, 3}), "2 | z | 4 | int\n");
}

TEST_F(MetadataTest, RowsAreToldApartByKeysThatTakeNoNull) {
  run(R"(create table a (x int null, y int not null, t timestamp)
create unique index x on a (x)
create unique index y on a (y)
create table b (x int null)
create unique index x on b (x))");
  EXPECT_EQ(asked("exec sp_special_columns a, dbo, shop, 'R'", {1}), "y\n");
  EXPECT_EQ(asked("exec sp_special_columns a, dbo, shop, 'V'", {0, 1}), "null | t\n");
  EXPECT_EQ(asked("exec sp_special_columns b", {1}), "");
}

TEST_F(MetadataTest, TypesComeByTheirOdbcCodes) {
  EXPECT_EQ(asked("exec sp_datatype_info 2", {0, 1, 2, 5, 13, 14, 17}),
            "numeric | 2 | 38 | precision,scale | 0 | 38 | 10\n");
  EXPECT_EQ(asked("exec sp_datatype_info 12", {0, 2, 3, 4, 5, 8}),
            "varchar | 16384 | ' | ' | max length | 3\n");
  EXPECT_EQ(asked("exec sp_datatype_info 12345", {0}), "");
  const std::string all = asked("exec sp_datatype_info @ODBCVer = 3", {1});
  EXPECT_TRUE(all.starts_with("-10\n-9\n-8\n-7\n")) << all;
  Catalog old({.release = Release::ase125});
  const auto result = old.callSystemProcedure({"sp_datatype_info", {}, {}});
  EXPECT_EQ(draw(result->resultSets[0], {0}).find("big"), std::string::npos);
}

TEST_F(MetadataTest, ServerInfoAndProcedures) {
  EXPECT_EQ(asked("exec sp_server_info 16", {0, 1, 2}), "16 | IDENTIFIER_CASE | MIXED\n");
  run("create procedure p as return 1\ngo\ncreate procedure q as return 1");
  EXPECT_EQ(asked("exec sp_stored_procedures", {0, 1, 2}), "shop | dbo | p;1\nshop | dbo | q;1\n");
  EXPECT_EQ(asked("exec sp_stored_procedures p, dbo, shop", {2}), "p;1\n");
}

TEST_F(MetadataTest, PrivilegesAreTheOwnersAndThoseGranted) {
  run(R"(exec sp_adduser ann
go
create table t (a int, b int)
go
grant select on t to ann with grant option
grant update (b) on t to public
grant delete on t to ann
revoke select on t (b) from ann)");
  const std::string owners = "dbo | dbo | INSERT | YES\ndbo | dbo | REFERENCES | YES\n";
  EXPECT_EQ(asked("exec sp_table_privileges t", {3, 4, 5, 6}),
            "dbo | dbo | DELETE | YES\ndbo | ann | DELETE | NO\n" + owners +
                "dbo | dbo | SELECT | YES\ndbo | dbo | UPDATE | YES\n");
  EXPECT_EQ(asked("exec sp_column_privileges t, dbo, shop, b", {3, 5, 6}),
            "b | dbo | INSERT\nb | dbo | REFERENCES\nb | dbo | SELECT\nb | dbo | UPDATE\n"
            "b | public | UPDATE\n");
  EXPECT_EQ(asked("exec sp_column_privileges t, dbo, shop, a", {3, 5, 6}),
            "a | dbo | INSERT\na | dbo | REFERENCES\na | dbo | SELECT\na | ann | SELECT\n"
            "a | dbo | UPDATE\n");
}

}  // namespace
}  // namespace kelvane::embedded
