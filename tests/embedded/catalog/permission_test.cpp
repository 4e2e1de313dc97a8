#include "tests/embedded/catalog/fixture.h"

namespace kelvane::embedded {
namespace {

class PermissionTest : public CatalogTest {
 protected:
  PermissionTest() {
    run(R"(create table t (a int, b int, c int, d int, e int, f int, g int, h int, i int)
go
create procedure p as return 1
go
exec sp_addgroup staff
exec sp_adduser ann
exec sp_adduser bob, bob, staff
go
)");
    viewColumns = {{"x", declaredType(TypeKind::Int, {}, {}, false)}};
    run("create view v as select a from t");
  }

  std::string protections() {
    return rows(
        "SELECT ifnull(o.name, '-'), u.name, action, protecttype, columns, grantor"
        " FROM sysprotects p JOIN sysusers u ON u.uid = p.uid"
        " LEFT JOIN sysobjects o ON o.id = p.id ORDER BY o.name, u.name, action, protecttype");
  }
};

TEST_F(PermissionTest, RowsByStatement) {
  // Each script begins without any permission. Rows: object, user, action, type, columns, grantor.
  const std::pair<const char*, const char*> cases[] = {
      {"grant select on t to ann", "t | ann | 193 | 1 | 0x01 | 1\n"},
      {"grant all on t to ann",
       "t | ann | 151 | 1 | 0x01 | 1\nt | ann | 193 | 1 | 0x01 | 1\nt | ann | 195 | 1 | null | 1\n"
       "t | ann | 196 | 1 | null | 1\nt | ann | 197 | 1 | 0x01 | 1\n"},
      {"grant all on v to ann",
       "v | ann | 193 | 1 | 0x01 | 1\nv | ann | 195 | 1 | null | 1\nv | ann | 196 | 1 | null | 1\n"
       "v | ann | 197 | 1 | 0x01 | 1\n"},
      {"grant all on p to public", "p | public | 224 | 1 | null | 1\n"},
      {"grant exec on p to ann with grant option", "p | ann | 224 | 0 | null | 1\n"},
      {"grant create table, create proc to ann",
       "- | ann | 198 | 1 | null | 1\n- | ann | 222 | 1 | null | 1\n"},
      {"grant all to ann",
       "- | ann | 198 | 1 | null | 1\n- | ann | 207 | 1 | null | 1\n- | ann | 222 | 1 | null | 1\n"
       "- | ann | 233 | 1 | null | 1\n- | ann | 236 | 1 | null | 1\n"},
      // One row collects the columns; whole-table rights swallow them.
      {"grant select on t (b, c) to ann", "t | ann | 193 | 1 | 0x0C | 1\n"},
      {"grant select (h) on t to ann", "t | ann | 193 | 1 | 0x0001 | 1\n"},
      {"grant select on t (b) to ann\ngrant select on t (i) to ann",
       "t | ann | 193 | 1 | 0x0402 | 1\n"},
      {"grant select on t (b) to ann\ngrant select on t to ann", "t | ann | 193 | 1 | 0x01 | 1\n"},
      {"grant select on t to ann\ngrant select on t (b) to ann", "t | ann | 193 | 1 | 0x01 | 1\n"},
      {"grant update on t to ann with grant option\ngrant update on t to ann",
       "t | ann | 197 | 0 | 0x01 | 1\n"},
      // The owner needs no row.
      {"grant select on t to dbo", ""},
      // Revoking takes rows and bits away.
      {"grant select, insert on t to ann\nrevoke select on t from ann",
       "t | ann | 195 | 1 | null | 1\n"},
      {"grant select on t (b, h) to ann\nrevoke select on t (h) from ann",
       "t | ann | 193 | 1 | 0x04 | 1\n"},
      {"grant select on t (b) to ann\nrevoke select on t (b) from ann", ""},
      {"grant select on t to ann\nrevoke select on t (b) from ann",
       "t | ann | 193 | 1 | 0xFA03 | 1\n"},
      {"grant update on t to ann with grant option\nrevoke grant option for update on t from ann "
       "cascade",
       "t | ann | 197 | 1 | 0x01 | 1\n"},
      // So far as the same user has granted them.
      {"grant select on t to ann\ngrant select on t to ann granted by bob\n"
       "revoke select on t from ann",
       "t | ann | 193 | 1 | 0x01 | 4\n"},
      {"grant update on t to ann with grant option\n"
       "grant update on t to ann with grant option granted by bob\n"
       "revoke grant option for update on t from ann granted by bob",
       "t | ann | 197 | 0 | 0x01 | 1\nt | ann | 197 | 1 | 0x01 | 4\n"},
      {"revoke select on t from ann", ""},
      {"revoke select on t from public", ""},
      // What a user has through public or the group can only be withheld.
      {"grant select on t to staff\nrevoke select on t from bob",
       "t | bob | 193 | 2 | 0x01 | 1\nt | staff | 193 | 1 | 0x01 | 1\n"},
      {"grant select on t to staff\nrevoke select on t from ann",
       "t | staff | 193 | 1 | 0x01 | 1\n"},
      {"grant delete on t to public\nrevoke delete on t from ann",
       "t | ann | 196 | 2 | null | 1\nt | public | 196 | 1 | null | 1\n"},
      {"grant delete on t to public\nrevoke delete on t from ann\ngrant delete on t to ann",
       "t | ann | 196 | 1 | null | 1\nt | public | 196 | 1 | null | 1\n"},
  };
  for (const auto& [script, expected] : cases) {
    run(script);
    EXPECT_EQ(protections(), expected) << script;
    catalog.store().execute("DELETE FROM sysprotects");
  }
}

TEST_F(PermissionTest, TheGrantorIsWhoGrantsOrTheOwner) {
  run(R"(create table ann.own (a int)
go
grant select on ann.own to bob
go
grant select on t to ann with grant option
go
setuser 'ann'
go
grant select on t to bob
go
setuser)");
  EXPECT_EQ(protections(),
            "own | bob | 193 | 1 | 0x01 | 3\n"
            "t | ann | 193 | 0 | 0x01 | 1\n"
            "t | bob | 193 | 1 | 0x01 | 3\n");
  run("revoke select on t from ann cascade");
  EXPECT_EQ(protections(), "own | bob | 193 | 1 | 0x01 | 3\n");
}

TEST_F(PermissionTest, ADroppedColumnLeavesTheBitmaps) {
  run("grant select on t (b) to ann\ngrant select on t (b, d) to bob\ngo\nalter table t drop b");
  EXPECT_EQ(protections(), "t | bob | 193 | 1 | 0x08 | 1\n");
}

}  // namespace
}  // namespace kelvane::embedded
