// Definitions, user-defined types, permissions and membership.
#include "tests/reader/reader_test.h"

namespace kelvane::testing {
namespace {

using namespace kelvane::reader;

class OtherDetails : public ProcedureTest {};

TEST_F(OtherDetails, ADefinitionIsTheSecondResultRunTogether) {
  const struct {
    std::string answer, text, error;
  } cases[] = {
      {"n\n2\n---\ntext\n'create proc p as '\n'  select 1 '\nnull\n''\n'-- x'",
       "create proc p as   select 1 -- x", ""},
      {"n\n1\n---\ntext", "", ""},
      {"text\n'only one result'", "", ""},
      {"closed", "", ""},
      {"", "", ""},
      {"n\n1\n---\nclosed\n---\ntext\n'third'", "", ""},
      {"n\n1\nerror 7 S1000 broken", "",
       serverText(7, "S1000", "broken") + trapLine("GetEntityDefinition")},
      {"error 105 42000 Unclosed quote", "", serverText(105, "42000", "Unclosed quote")},
  };
  for (const auto& one : cases) {
    ScriptedConnection fresh;
    context.conn = &fresh;
    context.lastError.clear();
    fresh.on("exec sp_helptext 'dbo.it's'", one.answer);
    EXPECT_EQ(toUtf8(GetEntityDefinition(context, u"dbo.it's")), one.text) << one.answer;
    EXPECT_EQ(lastError(), one.error) << one.answer;
  }
  // Text gathered before a failure is dropped.
  ScriptedConnection failing;
  failing.on("exec sp_helptext 'dbo.p'", "n\n1\n---\ntext\n'half'");
  failing.failAt(1, ScriptedConnection::Fault::read);
  context.conn = &failing;
  StoredProc procedure;
  procedure.Name = u"p";
  procedure.Owner = u"dbo";
  procedure.Definition = u"old";
  EXPECT_EQ(PopulateStoredProcDefinition(context, procedure), 0);
  EXPECT_EQ(procedure.Definition, u"");
}

TEST_F(OtherDetails, TheLastRowOfATypeWins) {
  const std::string query = statement("type_details", "t'y");
  const std::string header = "-|-|length|prec|scale|allownulls|RULE_VALUE|DEFAULT_VALUE|OWNER\n";
  const std::string first = "t|int|4|10|2|1|r|d|dbo\n";
  server.on(query, header + first)
      .on(query, header + first + "t|char|30|null|null|0|null|null|bob");
  server.on(query, header).on(query, "error 1 S1000 x");
  server.on(query, header + "t|int|4|10|2|null|r|d|dbo");
  UDDT type;
  type.Name = u"t'y";
  EXPECT_EQ(PopulateUDDTColumns(context, type), 1);
  EXPECT_THAT(drawn(type), ElementsAre("type int | 4 | 10 | 2 | yes | r | d"));
  EXPECT_EQ(PopulateUDDTColumns(context, type), 2);
  const Lines last = {"type char | 30 | 0 | 0 | no |  | "};
  EXPECT_EQ(drawn(type), last);
  EXPECT_EQ(PopulateUDDTColumns(context, type), 0);
  EXPECT_EQ(PopulateUDDTColumns(context, type), 0);
  EXPECT_EQ(drawn(type), last);
  EXPECT_EQ(PopulateUDDTColumns(context, type), -1);
  EXPECT_THAT(lastError(), EndsWith(trapLine("PopulateUDDTColumns")));
  EXPECT_EQ(type.BaseType, u"int");
}

TEST_F(OtherDetails, ObjectPermissionsAreMergedByObject) {
  const std::string answer = R"(
      -          | owner | name   | protecttype | -    | type
      SELECT     | dbo   | orders | 2           | a    | U
      EXECUTE    | dbo   | p_load | 1           | null | P
      UPDATE     | bob   | orders | 1           | null | U
      Insert     | DBO   | Orders | 1           | null | U
      references | dbo   | orders | 1           | b    | U
      'DUMP IT'  | dbo   | z      | 1           | null | U
      null       | dbo   | z      | 1           | null | U
      DELETE     | null  | null   | 1           | null | U)";
  const Lines expected = {
      "on  |  | : Delete",
      "on orders | bob | bob: Update",
      "on orders | dbo | dbo: Insert References Select",
      "on p_load | dbo | dbo: Execute",
      "on z | dbo | dbo:",
  };
  const std::string query = statement("object_permissions", "o'x");
  server.on(query, answer).on(query, answer).on(query, answer);
  server.on(query, "-|owner|name").on(query, "error 1 S1000 x");
  User user;
  user.Name = u"o'x";
  for (int times = 0; times < 2; ++times) {  // the second one in place of the first
    EXPECT_EQ(PopulateUserPermissions_ObjectPriviliges(context, user), 8);
    EXPECT_EQ(drawn(user.Permissions), expected);
  }
  Group group;
  group.Name = u"o'x";
  EXPECT_EQ(PopulateGroupPermissions_ObjectPriviliges(context, group), 8);
  EXPECT_EQ(drawn(group.Permissions), expected);
  for (int times = 0; times < 2; ++times)
    EXPECT_EQ(PopulateGroupPermissions_ObjectPriviliges(context, group), 0);
  EXPECT_EQ(drawn(group.Permissions), expected);
  EXPECT_EQ(lastError(), serverText(1, "S1000", "x"));
}

// Names and actions are compared in lower case, in which small letters stay what they are.
TEST_F(OtherDetails, SmallLettersThatFoldTogetherAreNotOne) {
  server.on(statement("object_permissions", "u"), R"(
      -      | owner | name | protecttype | - | type
      SELECT | dbo   | aσ   | 1           | a | U
      DELETE | dbo   | aς   | 1           | a | U
      UPDATE | dbo   | AΣ   | 1           | a | U
      ſELECT | dbo   | b    | 1           | a | U)");
  User user;
  user.Name = u"u";
  EXPECT_EQ(PopulateUserPermissions_ObjectPriviliges(context, user), 4);
  EXPECT_THAT(drawn(user.Permissions),
              ElementsAre("on aς | dbo | dbo: Delete", "on aσ | dbo | dbo: Update Select",
                          "on b | dbo | dbo:"));
}

TEST_F(OtherDetails, SystemPermissionsGoByTheNameOfTheAction) {
  const std::string answer = R"(
      protecttype | -                  | -
      1           | 'CREATE TABLE'     | dbo
      2           | 'Create Default'   | dbo
      1           | 'CREATE PROCEDURE' | dbo
      1           | 'DUMP DATABASE'    | dbo
      1           | 'CREATE VIEW '     | dbo
      1           | null               | null)";
  const Lines expected = {"may Create_Default Create_Procedure Create_Table"};
  server.on(statement("user_system_permissions", "u"), answer);
  User user;
  user.Name = u"u";
  EXPECT_EQ(PopulateUserPermissions_SystemPriviliges(context, user), 6);
  EXPECT_EQ(drawn(user.Permissions), expected);

  const std::string query = statement("group_system_permissions", "g");
  server.on(query, answer).on(query, "p|-|-\n1|'CREATE RULE'|x\n1|'create view'|x");
  Group group;
  group.Name = u"g";
  EXPECT_EQ(PopulateGroupPermissions_SystemPriviliges(context, group), 6);
  EXPECT_EQ(drawn(group.Permissions), expected);
  EXPECT_EQ(PopulateGroupPermissions_SystemPriviliges(context, group), 2);
  EXPECT_THAT(drawn(group.Permissions),
              ElementsAre("may Create_Default Create_Procedure Create_Rule Create_Table "
                          "Create_View"));
}

TEST_F(OtherDetails, MembersComeInTheServersOrderAndNeedNames) {
  const std::string query = statement("members", "g");
  server.on(query, "name\n b\n A\\x").on(query, "name").on(query, "name\n c\n null\n d");
  Group group;
  group.Name = u"g";
  const auto members = [&] {
    std::string text;
    for (const User& user : std::as_const(group.Users))
      text += toUtf8(user.Name + u"/" + user.FullName + u" ");
    return text;
  };
  EXPECT_EQ(PopulateGroupUsers(context, group), 2);
  EXPECT_EQ(members(), "b/ A\\x/ ");
  EXPECT_EQ(PopulateGroupUsers(context, group), 0);
  EXPECT_EQ(members(), "b/ A\\x/ ");
  EXPECT_EQ(PopulateGroupUsers(context, group), -1);
  EXPECT_EQ(members(), "c/ / / ");
  EXPECT_THAT(lastError(), EndsWith(trapLine("PopulateGroupUsers")));
}

}  // namespace
}  // namespace kelvane::testing
