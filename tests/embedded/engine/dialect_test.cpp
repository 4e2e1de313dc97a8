// What a release's grammar has, and where the effect of each statement can be read.

#include <gtest/gtest.h>

#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

/// Errors and, with `-v`, what was ignored: `error 17461` or the text of a note, a line each.
std::string told(std::string_view script, std::optional<Release> release = {}) {
  CatalogOptions options;
  options.release = release;
  EmbeddedCatalog catalog(options);
  std::string text;
  const LoadReport report =
      loadScript(catalog, "a.sql", script, {.stopAtFirstError = false, .listIgnored = true});
  for (const ScriptNote& error : report.errors) {
    text +=
        "error " + std::to_string(error.number) + " in line " + std::to_string(error.line) + "\n";
  }
  for (const ScriptNote& note : report.notes) text += note.text + "\n";
  return text;
}

TEST(Dialect, NamesInArgumentsMayBeQuoted) {
  constexpr std::string_view kScript = R"(
set quoted_identifier on
go
create procedure "P x" as select 1
go
create table "T.x" ("c d" int, e int)
go
create rule r as @a > 0
go
sp_rename '"P x"', '"P ""y"'
go
sp_bindrule r, '"T.x"."c d"'
go
sp_rename '"T.x".e', '"e f"'
go
sp_primarykey 'dbo."T.x"', '"e f"'
go
if object_id('main.dbo."P ""y"') is null raiserror 20001 'not found'
go
)";
  Probe probe(kScript);
  EXPECT_EQ(probe.rows("select c.name, o.name from syscolumns c, sysobjects o, sysobjects t"
                       " where c.id = t.id and t.name = 'T.x' and o.id =* c.domain"),
            "c d | r\ne f | -\n");
  EXPECT_EQ(probe.rows("select keycnt, key1 from syskeys"), "1 | 2\n");
  EXPECT_EQ(probe.rows("select object_id('\"T.x\"')"), "-\n");
  EXPECT_EQ(told(kScript, Release::ase125).substr(0, 22), "error 17461 in line 10");
}

}  // namespace
}  // namespace kelvane::embedded
