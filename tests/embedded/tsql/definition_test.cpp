#include "drivers/embedded/tsql/ast.h"
#include "drivers/embedded/tsql/parser.h"
#include "tests/embedded/tsql/samples.h"

namespace kelvane::tsql {
namespace {

TEST(Definition, KeepsTheSourceOfObjects) {
  const std::string_view batch = "-- first\n create view v as select 1 /* last */\n";
  const StatementList view = parseBatch(batch);
  EXPECT_EQ(view.front()->range.in(batch), batch);

  const std::string_view procedure = "/* p */ create proc p @a int = -1 as\n  select 1\n\n";
  const StatementList statements = parseBatch(procedure);
  EXPECT_EQ(statements.front()->range.in(procedure), procedure);
  const auto& node = std::get<CreateProcedure>(statements.front()->node);
  EXPECT_EQ(node.parameters.front().defaultRange.in(procedure), "-1");
  EXPECT_EQ(node.bodyRange.in(procedure), "select 1\n\n");
  EXPECT_EQ(node.body.front()->range.line, 2U);
}

TEST(Definition, CoversParenthesesOfAnExpression) {
  const std::string_view text = "  ( a + ( b ) )  ";
  const ExprPtr expr = parseExpression(text);
  EXPECT_EQ(expr->range.in(text), "( a + ( b ) )");
  EXPECT_EQ(std::get<Binary>(expr->node).right->range.in(text), "( b )");
}

TEST(Definition, KeepsTheSourceOfDefaultsAndChecks) {
  const std::string_view batch =
      "print 'x'\ncreate table t (a int default ( 1 ) null constraint k check ( a > 0 ), "
      "b int check(b<1))";
  const StatementList statements = parseBatch(batch);
  EXPECT_EQ(statements[1]->range.in(batch), batch.substr(10));
  EXPECT_EQ(statements[1]->range.line, 2U);
  const auto& table = std::get<CreateTable>(statements[1]->node);
  const Constraint& named = table.columns[0].constraints.front();
  EXPECT_EQ(table.columns[0].defaultClause->range.in(batch), "default ( 1 )");
  EXPECT_EQ(named.range.in(batch), "constraint k check ( a > 0 )");
  EXPECT_EQ(std::get<CheckConstraint>(named.node).range.in(batch), "check ( a > 0 )");
  EXPECT_EQ(table.columns[1].range.in(batch), "b int check(b<1)");
}

}  // namespace
}  // namespace kelvane::tsql
