// A database of a later release, written for an earlier one: it loads there, and what it has
// otherwise is named.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>

#include "tests/cases/generated_schema.h"
#include "tests/inventory_ddl/round_trip.h"
#include "tests/inventory_read/contract_pairs.h"

namespace kelvane::inventory {
namespace {

namespace fs = std::filesystem;

std::string objectOf(const std::string& line) {
  return line.substr(0, std::min(line.find(" > "), line.find(": ")));
}

/// Differences that no omission names.
Lines unnamed(const RoundTrip& trip) {
  Lines all;
  for (const std::string& line : trip.differences) {
    // The embedded catalog of 12.5 does not keep them.
    if (line.find(": replication modes: ") != std::string::npos) continue;
    const std::string object = objectOf(line);
    const bool isNamed = std::ranges::any_of(trip.script.omissions, [&](const Omission& one) {
      return one.what == object || line.find(": " + one.what) != std::string::npos ||
             one.what.starts_with(object + ": ") ||
             (one.what.starts_with("trigger ") && line.find(" > trigger ") != std::string::npos) ||
             one.what.find(" on " + object.substr(object.find(' ') + 1)) != std::string::npos;
    });
    if (!isNamed) all.push_back(line);
  }
  return all;
}

void expectOlder(const Database& database, Release former, const std::string& what) {
  for (const Release release : {Release::ase125, Release::ase15, Release::ase16}) {
    if (release >= former) continue;
    for (const Written written : {Written::asScript, Written::asFiles}) {
      const RoundTrip trip = roundTrip(database, release, written);
      const std::string where = what + ", for " + std::to_string(static_cast<int>(release)) + '\n';
      EXPECT_EQ(trip.errors, Lines()) << where << trip.text.substr(0, 3000);
      EXPECT_EQ(unnamed(trip), Lines()) << where << trip.text.substr(0, 3000);
    }
  }
}

TEST(OlderReleases, TakeWhatIsWrittenForThem) {
  for (const char* const name : {"columns", "constraints", "indexes", "objects", "permissions",
                                 "principals", "tables", "database"}) {
    for (const Pair& pair : pairsOf(name)) {
      for (const std::string& script : {pair.source, pair.target})
        expectOlder(databaseOf(script, Release::ase16), Release::ase16, pair.about);
    }
  }
}

// Each by its name.
TEST(OlderReleases, LackWhatIsNamed) {
  const Database database = databaseOf(
      "sp_addlogin joe, secret1\nsp_adduser joe\ngrant create function to joe\n"
      "sp_addtype counter, bigint, 'identity'\n"
      "create table p (id int identity, a int not null, constraint k primary key (id))\n"
      "create table f (id int null references p (id), n counter,"
      " h varchar(99) default hash('a', 'md5') null)\n"
      "create table c (id int null, constraint ck check (isnumeric(convert(varchar(9), id)) = 1))\n"
      "create table r (a int null) partition by roundrobin (p1, p2)\n"
      "grant select on p where a = 1 to joe\n"
      "create trigger t1 on p for insert, update as print 'a'\n"
      "create trigger t2 on p for update as print 'b'\n"
      "create trigger t3 on p for delete as print 'c'\n"
      "create or replace procedure replaced as select 1\n"
      "create procedure typed as declare @x bigint select @x = convert(bigint, 1)\n"
      "create procedure merging as merge into p using c on p.id = c.id when matched then "
      "update set a = 1\n"
      "create procedure hashing as select 'hash(', isnumeric('1')\n"
      "create procedure caller as select h from hashed\n"
      "create view hashed as select hash(convert(varchar(9), a), 'md5') as h from p\n"
      "create view over_it as select h from hashed\n"
      "create view fine as select a as hash from p\n",
      Release::ase16);
  struct Expected {
    Release release;
    Lines omissions;
  };
  const Expected kExpected[] = {
      {Release::ase15,
       {"trigger dbo.t2: ASE 15 does not have several triggers for an event; dbo.t1 has it",
        "procedure dbo.replaced: or replace: ASE 15 does not have it"}},
      {Release::ase125,
       {"grant create function to joe granted by dbo: ASE 12.5 does not have it",
        "type dbo.counter: identity of type bigint: ASE 12.5 does not have it: it is "
        "numeric(19,0) there",
        "table dbo.c: check ck: ASE 12.5 does not have function isnumeric",
        "table dbo.f: column h: default: ASE 12.5 does not have function hash",
        "table dbo.f: foreign key without a name: column id has another type there",
        "table dbo.p: column id: identity of type int: ASE 12.5 does not have it: it is "
        "numeric(10,0) there",
        "trigger dbo.t2: ASE 12.5 does not have several triggers for an event; dbo.t1 has it",
        "grant select where a = 1 to joe granted by dbo on dbo.p: ASE 12.5 does not have "
        "conditions of grants",
        "table dbo.r: names and segments of partitions: ASE 12.5 does not have it",
        "view dbo.hashed: ASE 12.5 does not have function hash",
        "view dbo.over_it: view dbo.hashed is left out",
        "procedure dbo.caller: view dbo.hashed is left out",
        "procedure dbo.hashing: ASE 12.5 does not have function isnumeric",
        "procedure dbo.merging: ASE 12.5 does not have merge",
        "procedure dbo.replaced: or replace: ASE 12.5 does not have it",
        "procedure dbo.typed: ASE 12.5 does not have type bigint"}},
  };
  for (const Expected& expected : kExpected) {
    const RoundTrip trip = roundTrip(database, expected.release);
    Lines omissions;
    for (const Omission& one : trip.script.omissions)
      omissions.push_back(one.what + ": " + one.reason);
    EXPECT_EQ(omissions, expected.omissions);
    EXPECT_EQ(trip.errors, Lines()) << trip.text;
    EXPECT_EQ(unnamed(trip), Lines());
  }
}

TEST(OlderReleases, TakeGeneratedSchemas) {
  for (unsigned seed = 101; seed <= 120 && !::testing::Test::HasFailure(); ++seed) {
    embedded::CatalogOptions options;
    options.release = Release::ase16;
    embedded::EmbeddedCatalog catalog(options);
    embedded::loadScript(catalog, "seed", cli::generatedSchema(seed).script,
                         {.stopAtFirstError = false});
    expectOlder(readAll(*catalog.connect()), Release::ase16, "seed " + std::to_string(seed));
  }
}

// Real scripts, where the environment variable KELVANE_DEVELOPMENT_SET names a folder of them.
TEST(OlderReleases, TakeTheDevelopmentSet) {
  const char* const folder = std::getenv("KELVANE_DEVELOPMENT_SET");
  if (folder == nullptr) GTEST_SKIP() << "KELVANE_DEVELOPMENT_SET names no folder of scripts";
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.path().extension() != ".sql") continue;
    embedded::CatalogOptions options;
    options.release = Release::ase16;
    embedded::EmbeddedCatalog catalog(options);
    embedded::loadFile(catalog, entry.path(), {.stopAtFirstError = false});
    expectOlder(readAll(*catalog.connect()), Release::ase16, entry.path().string());
  }
}

}  // namespace
}  // namespace kelvane::inventory
