#include "tests/embedded/tsql/samples.h"

namespace kelvane::tsql {
namespace {

std::string repeated(std::string_view text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) result += text;
  return result;
}

TEST(SyntaxError, NamesTheTokenAndItsLine) {
  expectParsed({
      {"select 1\nselect , 2", "102 2: Incorrect syntax near ','."},
      {"select a\nfrom Order", "156 2: Incorrect syntax near the keyword 'Order'."},
      {"exec sp_columns order,dbo", "156 1: Incorrect syntax near the keyword 'order'."},
      {"exec sp_columns a,order", "156 1: Incorrect syntax near the keyword 'order'."},
      {"select * from", "156 1: Incorrect syntax near the keyword 'from'."},
      {"select (1", "102 1: Incorrect syntax near '1'."},
      {"select a = b = c = d", "102 1: Incorrect syntax near '='."},
      {"print 'x' sp_help", "102 1: Incorrect syntax near 'sp_help'."},
      {"select 1 from a..", "102 1: Incorrect syntax near '.'."},
      {"select a.b.c.d.e.f", "102 1: Incorrect syntax near 'f'."},
      {"drop index i", "102 1: Incorrect syntax near 'i'."},
      {"alter sequence s", "102 1: Incorrect syntax near 'sequence'."},
      {"alter table t add column c int", "102 1: Incorrect syntax near 'int'."},
      {"create table t (a int references r on delete cascade)",
       "156 1: Incorrect syntax near the keyword 'on'."},
      {"create rule r as @a > 1 select 2", "156 1: Incorrect syntax near the keyword 'select'."},
      {"select u&'\\00e'", "102 1: Incorrect syntax near '\\00e'."},
      {"create procedure p as", "156 1: Incorrect syntax near the keyword 'as'."},
      {"select 99999999999999999999 from t order by 1 select top 99999999999999999999 a",
       "102 1: Incorrect syntax near '99999999999999999999'."},
  });
}

TEST(SyntaxError, SaysWhichQuoteOrCommentIsOpen) {
  expectParsed({
      {"select 1\nwhere a = 'x)", "105 2: Unclosed quote before the character string 'x)'."},
      {"select 'it is\nopen", "105 1: Unclosed quote before the character string 'it is'."},
      {"select [a", "105 1: Unclosed quote before the character string 'a'."},
      {"select \"it''s", "105 1: Unclosed quote before the character string 'it''s'."},
      {"select 1 /* ''", "113 1: Missing end comment mark '*/'."},
  });
}

TEST(SyntaxError, WantsObjectsWithTextFirst) {
  expectParsed({
      {"print 'x'\ncreate proc p as select 1",
       "111 2: create procedure must be the first command in a query batch."},
      {"create proc p as create view v as select 1 as a",
       "154 1: create view is not allowed in a procedure or trigger."},
      {"; -- x\n create default d as 1", "; -- x\n create default d as 1"},
  });
}

TEST(SyntaxError, RefusesWhatWouldOverflowAStack) {
  constexpr int kMany = 2000;
  const std::string text =
      "191 1: Some part of your SQL statement is nested too deeply. Rewrite the query or break it "
      "up into smaller queries.";
  std::string tall = "select " + repeated("(", 100) + "1";
  for (int level = 0; level < 100; ++level) tall += repeated("+1", 100) + ")";
  for (const std::string& batch : {
           "select " + repeated("(", kMany),
           "select " + repeated("(select ", kMany),
           "select 1" + repeated("+1", kMany),
           "select " + repeated("- ", kMany) + "1",
           "select " + repeated("f(", kMany),
           "select 1 where " + repeated("not ", kMany),
           "select 1 from " + repeated("(", kMany),
           "select 1 from t" + repeated(" join t", kMany),
           "select 1 from t" + repeated(" join t on 1=1", kMany),
           repeated("begin ", kMany),
           repeated("if 1=1 print 'x' else ", kMany) + "print 'y'",
           tall,
       })
    EXPECT_EQ(parsed(batch), text) << batch.substr(0, 30);
}

TEST(SyntaxError, TakesLongListsAsTheyCome) {
  constexpr int kMany = 3000;
  for (const std::string& batch : {"select 1 where a = 1" + repeated(" or a = 1", kMany),
                                   "exec p 1" + repeated(", -1", kMany)})
    EXPECT_EQ(parsed(batch), batch);
  EXPECT_EQ(parsed("select 1" + repeated(" select 1", kMany)),
            "select 1" + repeated(" | select 1", kMany));
}

TEST(SyntaxError, WhatTheServerDoesNotHave) {
  expectParsed({
      {"select 1 from t full join u on 1 = 1", "102 1: Incorrect syntax near 'full'."},
      {"insert t exec p 1", "156 1: Incorrect syntax near the keyword 'exec'."},
      {"insert t execute ('select 1')", "156 1: Incorrect syntax near the keyword 'execute'."},
      {"select 1 from t cross join u", "102 1: Incorrect syntax near 'cross'."},
      {"create view v as select a from t order by a",
       "156 1: Incorrect syntax near the keyword 'order'."},
      {"create view v as select a from t compute sum(a)",
       "156 1: Incorrect syntax near the keyword 'compute'."},
      {"create table t (check (1 = 1))", "102 1: Incorrect syntax near ')'."},
      {"break", "135 1: Cannot use a BREAK statement outside the scope of a WHILE statement."},
      {"while 1 = 1 print 'x'\ncontinue",
       "136 2: Cannot use a CONTINUE statement outside the scope of a WHILE statement."},
      {"create procedure p @a int as\nselect @A, @b", "137 2: Must declare variable '@b'."},
      {"create procedure p as goto x",
       "133 1: A GOTO statement references the label 'x' but the label has not been declared."},
      {"create rule r as 1 > 0", "0 1: Rule 'r' must name one variable, and no other."},
      {"create rule r as @a > @b", "0 1: Rule 'r' must name one variable, and no other."},
  });
}

TEST(SyntaxError, StatementsOfLaterReleases) {
  constexpr std::pair<const char*, int> kLater[] = {
      {"create thread pool p", 15},
      {"create login profile p", 15},
      {"alter login l modify fullname 'x'", 15},
      {"create inmemory database d", 15},
      {"transfer table t to 'f'", 15},
      {"truncate lob t", 15},
      {"deallocate locator @v", 15},
      {"refresh precomputed result set p", 15},
      {"reorg defrag t", 15},
      {"grant create encryption key to u", 15},
      {"grant decrypt on t to u", 15},
      {"create procedure p with execute as caller as select 1", 15},
      {"create table t (a text in row (100) null)", 15},
      {"create index i on t (a) with online", 16},
      {"alter database d set encrypt", 16}};
  for (const auto& [sql, since] : kLater) {
    for (const int release : {12, 15, 16}) {
      ParseOptions options;
      options.release = release;
      bool isTaken = true;
      try {
        parseBatch(sql, options);
      } catch (const ServerError&) {
        isTaken = false;
      }
      EXPECT_EQ(isTaken, release >= since) << sql << " on " << release;
    }
  }
}

}  // namespace
}  // namespace kelvane::tsql
