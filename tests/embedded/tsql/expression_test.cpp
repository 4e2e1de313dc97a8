#include "drivers/embedded/tsql/parser.h"
#include "tests/embedded/tsql/samples.h"

namespace kelvane::tsql {
namespace {

void expectExpressions(std::initializer_list<Sample> samples) {
  for (const Sample& s : samples) EXPECT_EQ(dump(*parseExpression(s.batch)), s.expected) << s.batch;
}

TEST(Expression, BindsBitwiseOperatorsLikeAdditionAndTighterThanComparison) {
  expectExpressions({
      {"a & 2 = 2", "(= (& a 2) 2)"},
      {"convert(tinyint, x) & high != 0", "(<> (& (convert tinyint x) high) 0)"},
      {"a - b - c", "(- (- a b) c)"},
      {"a | b + c & d ^ e", "(^ (& (+ (| a b) c) d) e)"},
      {"a + b * c % d", "(+ a (% (* b c) d))"},
      {"-a * ~b", "(* (- a) (~ b))"},
      {"- -1", "(- (- 1))"},
      {"(a + b) * c", "(* (+ a b) c)"},
  });
}

TEST(Expression, BindsNotOverAndOverOr) {
  expectExpressions({
      {"a = 1 or b = 2 and c = 3", "(or (= a 1) (and (= b 2) (= c 3)))"},
      {"a = 1 and b = 2 or c = 3 and d = 4 or e = 5",
       "(or (and (= a 1) (= b 2)) (and (= c 3) (= d 4)) (= e 5))"},
      {"not a = 1 and b = 2", "(and (not (= a 1)) (= b 2))"},
      {"not not a = 1", "(not (not (= a 1)))"},
      {"(a = 1 or b = 2) and c = 3", "(and (or (= a 1) (= b 2)) (= c 3))"},
      {"a between 1 and 2 + 3 and b = 4", "(and (between a 1 (+ 2 3)) (= b 4))"},
  });
}

TEST(Expression, KnowsEveryComparison) {
  expectExpressions({
      {"a != b", "(<> a b)"},
      {"a <> b", "(<> a b)"},
      {"a !< b", "(>= a b)"},
      {"a !> b", "(<= a b)"},
      {"a *= b", "(*= a b)"},
      {"a =* b", "(=* a b)"},
      {"a is not null", "(not-null? a)"},
      {"a not like 'x!%' escape '!'", "(not-like a 'x!%' '!')"},
      {"a not in (1, -2, 'x')", "(not-in a 1 (- 2) 'x')"},
      {"a in @v", "(in a @v)"},
      {"a in (select b from t)", "(in a (select b (from t)))"},
      {"a not between 1 and 2", "(not-between a 1 2)"},
      {"a >= all (select 1)", "(>= a all (select 1))"},
      {"a = some (select 1)", "(= a any (select 1))"},
      {"not exists (select * from t)", "(not (exists (select * (from t))))"},
  });
}

TEST(Expression, ReadsLiteralsAndNames) {
  expectExpressions({
      {"1.50", "1.50"},
      {".5e-3", "float:.5e-3"},
      {"2.", "2."},
      {"$4.20", "$4.20"},
      {"0X0c", "0x0c"},
      {"0x", "0x"},
      {"'it''s'", "'it's'"},
      {"\"say \"\"it's\"\"\"", "'say \"it's\"'"},
      {"'two\\\nlines'", "'twolines'"},
      {"NULL", "null"},
      {"@v + @@rowcount", "(+ @v @@rowcount)"},
      {"db..t.c", "db..t.c"},
      {"[order].[a]]b]", "order.[a]b]"},
      {"#t.gr\xC3\xB6\xC3\x9F"
       "e",
       "#t.gr\xC3\xB6\xC3\x9F"
       "e"},
      {"t.syb_identity", "t.syb_identity"},
  });
}

TEST(Expression, ReadsFunctionsCasesAndSubqueries) {
  expectExpressions({
      {"count(*) + COUNT(distinct a)", "(+ (count *) (COUNT distinct a))"},
      {"getdate()", "(getdate)"},
      {"dbo.f(1, b)", "(dbo.f 1 b)"},
      {"user", "user"},
      {"user_name(uid)", "(user_name uid)"},
      {"update(c)", "(update c)"},
      {"coalesce(a, nullif(b, 0))", "(coalesce a (nullif b 0))"},
      {"convert(numeric(10, 2), a)", "(convert numeric(10,2) a)"},
      {"convert(varchar(20) null, getdate(), 101)", "(convert varchar(20) (getdate) 101)"},
      {"cast(a + 1 as double precision)", "(convert double precision (+ a 1))"},
      {"case a when 1 then 'x' else null end", "(case a (1 'x') (else null))"},
      {"case when a = 1 and b = 2 then 1 when c = 3 then 2 end",
       "(case ((and (= a 1) (= b 2)) 1) ((= c 3) 2))"},
      {"((select max(a) from t) + 1) * 2", "(* (+ (scalar (select (max a) (from t))) 1) 2)"},
      {"((select 1) union (select 2))", "(scalar (union (select 1) (select 2)))"},
  });
}

TEST(Expression, CoversItsParentheses) {
  const std::string_view text = "  ( a + ( b ) )  ";
  const ExprPtr expr = parseExpression(text);
  EXPECT_EQ(expr->range.in(text), "( a + ( b ) )");
  EXPECT_EQ(std::get<Binary>(expr->node).right->range.in(text), "( b )");
}

TEST(Expression, TakesQuotedNamesForIdentifiersOnlyWhenTold) {
  expectParsed({{"select \"a\" from \"t\"", "(select [a] (from t))"}}, {.quotedIdentifier = true});
  expectParsed({{"select \"a\"", "(select 'a')"}});
}

}  // namespace
}  // namespace kelvane::tsql
