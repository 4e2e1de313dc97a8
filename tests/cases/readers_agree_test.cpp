// Both readers answer with the same Schema, but for what the published statements cannot ask for.
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <set>

#include "drivers/embedded/connection.h"
#include "drivers/embedded/script.h"
#include "generated_schema.h"
#include "inventory/publish/agreement.h"
#include "inventory/publish/catalog_fetch.h"
#include "inventory/read/reader.h"
#include "model/text.h"
#include "reader/ase_fetch.h"
#include "tests/compare/support.h"

namespace kelvane::cli {
namespace {

namespace fs = std::filesystem;
using inventory::Limit;

struct NoEvents final : IDBFetchEvents {
  void StartProcessing(const std::u16string&, const Boolean&, const enumObjectType&) override {}
  void Processing(const std::u16string&, const std::int16_t&, const enumObjectType&) override {}
  void EndProcessing(const enumObjectType&) override {}
};

template <class Reader>
void fetch(Reader& reader, ado::Connection& connection) {
  NoEvents events;
  reader.conn(&connection);
  reader.CompareOptions(test::allOptions());
  const auto scope = reader.AppliesTo();
  scope->AllTables = scope->AllViews = scope->AllStoredProcs = scope->AllFunctions = True;
  scope->AllUDDTs = scope->AllUsers = scope->AllGroups = True;
  EXPECT_TRUE(reader.Fetch(events)) << toUtf8(reader.LastError());
}

// "dbo.t: why", for each object whose published records differ.
std::vector<std::string> differing(embedded::EmbeddedCatalog& catalog) {
  const auto connection = catalog.connect();
  cASE_Fetch asking;
  cASE_CatalogFetch reading;
  fetch(asking, *connection);
  fetch(reading, *connection);
  EXPECT_EQ(asking.IsSchemaCaseSensitive(), reading.IsSchemaCaseSensitive());
  const auto agreed = inventory::agreement(inventory::read(*connection), asking.GetSchema(),
                                           asking.Extent(), reading.GetSchema());
  std::vector<std::string> lines;
  lines.reserve(agreed.differing.size());
  for (const auto& one : agreed.differing)
    lines.push_back(toUtf8(one.object) + ": " + std::string(describe(one.limit)));
  return lines;
}

std::vector<std::string> differing(const std::string& script) {
  embedded::EmbeddedCatalog catalog;
  const auto report = embedded::loadScript(catalog, "script", script);
  for (const auto& error : report.errors) ADD_FAILURE() << error.describe();
  return differing(catalog);
}

std::string because(const std::string& object, Limit limit) {
  return object + ": " + std::string(describe(limit));
}

TEST(Readers, AgreeAboutGeneratedSchemas) {
  for (unsigned seed = 1; seed <= 25; ++seed)
    EXPECT_EQ(differing(generatedSchema(seed).script), std::vector<std::string>{}) << seed;
}

TEST(Readers, AgreeAboutScripts) {
  // Some scripts grant and revoke on system tables: the server's own grants show then.
  const std::set<std::string> known{because("public", Limit::systemTables)};
  std::vector<fs::path> folders{KELVANE_TEST_FOLDER, KELVANE_EXAMPLES};
  if (const char* set = std::getenv("KELVANE_DEVELOPMENT_SET")) folders.emplace_back(set);
  std::size_t scripts = 0;
  for (const fs::path& folder : folders) {
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      if (entry.path().extension() != ".sql") continue;
      ++scripts;
      embedded::EmbeddedCatalog catalog;
      embedded::loadFile(catalog, entry.path(), {.stopAtFirstError = false});
      for (const std::string& line : differing(catalog))
        EXPECT_TRUE(known.contains(line)) << entry.path() << ": " << line;
    }
  }
  EXPECT_GT(scripts, 2U);
}

struct Agreed {
  const char* what;
  const char* script;
};

TEST(Readers, AgreeAboutWhatIsRare) {
  const Agreed cases[] = {
      {"a group of procedures",
       "create procedure p;1 @a int as print 'one'\ngo\n"
       "create procedure p;2 @b int, @c char(3) as print 'two'"},
      {"the second of a group alone", "create procedure p;2 @b int as print 'two'"},
      {"a long default",
       "create table t (a varchar(255) default '"
       "0123456789012345678901234567890123456789012345678901234567890123456789"
       "0123456789012345678901234567890123456789012345678901234567890123456789"
       "0123456789012345678901234567890123456789012345678901234567890123456789"
       "0123456789012345678901234567890123456789' null)"},
      {"a default with the word in it",
       "create table t (a varchar(30) default 'the DEFAULT value')\ngo\n"
       "CREATE DEFAULT d AS 'DEFAULT x'\ngo\ncreate table u (a varchar(30))\ngo\n"
       "exec sp_bindefault d, 'u.a'"},
      {"letters of several bytes",
       "create procedure p as print '\xc3\xa4\xc3\xb6\xe2\x82\xac'\ngo\n"
       "create table \xc3\xbc (\xc3\xa4 int default 1)"},
      {"clustered indexes by lock scheme",
       "create table t (a int primary key clustered) lock datarows\ngo\n"
       "create table u (a int primary key clustered, b int) lock allpages\ngo\n"
       "create table v (a int) lock datapages\ngo\ncreate clustered index c on v (a)"},
      {"types of all kinds",
       "exec sp_addtype a1, 'char(4)', 'null'\nexec sp_addtype a2, 'nchar(4)'\n"
       "exec sp_addtype a3, 'sysname', 'null'\nexec sp_addtype a4, 'unichar(3)', 'null'\n"
       "exec sp_addtype a5, 'binary(3)', 'null'\nexec sp_addtype a6, 'smallint', 'null'\n"
       "exec sp_addtype a7, 'decimal(9,3)', 'null'\nexec sp_addtype a8, 'numeric(4,0)', "
       "'identity'\n"
       "exec sp_addtype a9, 'float', 'null'\nexec sp_addtype a10, 'text', 'null'\ngo\n"
       "create table t (a a1, b a2 null, c a3 not null, d a4 null, e a5, f a6, g a7, h a8, i a9, "
       "j a10, k timestamp, l sysname, m bit, n image null, o real, p float(4), q nvarchar(9), r "
       "time)"},
      {"grants and partial revokes",
       "exec sp_addgroup g\nexec sp_adduser 'u', u, g\ngo\ncreate table t (a int, b int)\ngo\n"
       "grant all on t to g\nrevoke select (a) on t from u\ngrant create table to u\n"
       "revoke create view from u\ngrant select on sysobjects to u\n"},
      {"foreign keys on the same columns",
       "create table p (a int primary key)\ngo\ncreate table q (a int, b int, primary key (a, b), "
       "unique (a))\ngo\n"
       "create table t (a int, constraint z foreign key (a) references p (a), constraint y "
       "foreign key (a) references p, constraint x foreign key (a) references q (a))"},
      {"indexes on the same columns",
       "create table t (a int, b int)\ngo\ncreate index z on t (a)\ngo\ncreate index y on t "
       "(b)\ngo\n"
       "create index x on t (b)"},
      {"a trigger that took over the event of another one",
       "create table t (a int)\ngo\ncreate trigger z on t for insert, delete as print 'z'\ngo\n"
       "create trigger a on t for insert as print 'a'"},
      {"an access rule of a type",
       "create access rule r as @x > 0\ngo\nexec sp_addtype ty, int\ngo\nexec sp_bindrule r, ty"},
      {"a hidden text", "create procedure p as print 'x'\ngo\nexec sp_hidetext p"},
      {"segments",
       "exec sp_addsegment s1, d, x\ngo\ncreate table t (a int, b text) on s1\ngo\n"
       "create clustered index c on t (a) on s1\ngo\ncreate index n on t (a)"},
  };
  for (const Agreed& one : cases)
    EXPECT_EQ(differing(std::string(one.script)), std::vector<std::string>{}) << one.what;
}

TEST(Readers, DifferWherePublishedStatementsHaveLimits) {
  struct Case {
    const char* script;
    std::vector<std::string> differing;
  };
  const Case cases[] = {
      {"set quoted_identifier on\ngo\ncreate table \"a b\" (a int primary key)\ngo\n"
       "create table t (\"it's\" int default 1)",
       {because("dbo.a b", Limit::quotedName), because("dbo.t", Limit::quotedName)}},
      {"set quoted_identifier on\ngo\ncreate table \"order\" (a int)",
       {because("dbo.order", Limit::refused)}},
      {"create table a_b (x int)\ngo\ncreate table axb (y int)",
       {because("dbo.a_b", Limit::pattern)}},
      {"create table t (a int, constraint k primary key clustered (a))\ngo\n"
       "create table u (a int, constraint k primary key nonclustered (a))",
       {because("dbo.u", Limit::namesake)}},
      {"exec sp_adduser 'ann'\ngo\ncreate table ann.t (a int primary key)\ngo\n"
       "create table t (b int primary key)\ngo\n"
       "create table ann.u (a int references ann.t (a))",
       {}},
      {"create table t (a int, b int, c int)\ngo\nalter table t drop b", {}},
      {"create table t (a int)\ngo\ncreate index i on t (a + 1)",
       {because("dbo.t", Limit::release)}},
      {"create table t (a int)\ngo\ncreate trigger g on t for insert order 2 as print 'x'",
       {because("dbo.t", Limit::release)}},
  };
  for (const Case& one : cases)
    EXPECT_EQ(differing(std::string(one.script)), one.differing) << one.script;
}

}  // namespace
}  // namespace kelvane::cli
