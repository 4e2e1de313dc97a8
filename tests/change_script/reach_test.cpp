// What of a target is made to try a script: no more than that, and with the same result.
#include "change_script/reach.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/change_script/made_pairs.h"
#include "tests/change_script/trial.h"

namespace kelvane::change_script {
namespace {

using ::testing::IsEmpty;

Database databaseOf(const std::string& script, Release release) {
  embedded::CatalogOptions options;
  options.release = release;
  embedded::EmbeddedCatalog catalog(options);
  embedded::loadScript(catalog, "script", "select 1\ngo\n" + script, {.stopAtFirstError = false});
  return inventory::readAll(*catalog.connect());
}

/// What becomes of the part of the target that is within reach, and of the rest.
Database afterPart(const Reach& reach, const Database& target, const std::string& script,
                   Release release) {
  embedded::CatalogOptions options;
  options.release = release;
  embedded::EmbeddedCatalog catalog(options);
  std::ostringstream part;
  write(inventory::scriptOf(reach.part(), optionsFor(release, "").release, target), part);
  EXPECT_EQ(load(catalog, part.str()), Lines());
  EXPECT_EQ(load(catalog, script), Lines());
  return reach.whole(inventory::readAll(*catalog.connect()));
}

/// The names of objects that are made.
Lines madeIn(const Reach& reach) {
  Lines names;
  const auto add = [&](const auto& records) {
    for (const auto& one : records) names.push_back(one.name.name);
  };
  add(reach.part().tables);
  add(reach.part().views);
  add(reach.part().procedures);
  add(reach.part().functions);
  return names;
}

void expectSameAsWhole(const Database& source, const Database& target, Release release,
                       std::string_view allow) {
  const Trial trial = tried(source, target, release, allow);
  if (!trial.errors.empty()) return;  // of pairs that other tests know
  const std::vector<Change> changes = inventory::compare(source, target, everything());
  const Reach reach(target, changes, trial.text);
  const Database after = afterPart(reach, target, trial.text, release);
  EXPECT_EQ(inventory::lines(inventory::compare(trial.result, after, everything())), Lines())
      << trial.text;
}

TEST(Reach, MakesTheSameOfAPartAsOfTheWhole) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const auto release = static_cast<Release>(seed % 3);
    const MadePair pair = madePair(seed, release);
    const auto joined = [](const std::vector<std::string>& batches) {
      std::string text;
      for (const std::string& batch : batches) text += batch + "\ngo\n";
      return text;
    };
    const Database source = databaseOf(joined(pair.source), release);
    const Database target = databaseOf(joined(pair.target), release);
    expectSameAsWhole(source, target, release, "all");
    expectSameAsWhole(target, source, release, "");
  }
}

constexpr const char* kDatabase = R"(
exec sp_addtype money_type, 'money'
exec sp_adduser joe
go
create default zero as 0
go
create function twice (@a int) returns int as begin return @a * 2 end
go
create table root (id int not null primary key)
create table plain (id int not null)
create table stem (id int not null primary key references root, amount money_type null)
create table leaf (id int not null references stem, b int default 3, check (b > 1))
create table counted (a int not null, b as dbo.twice(a))
create table "two words" (a int not null)
create table bound (a int not null)
exec sp_bindefault zero, 'bound.a'
go
create trigger leaves on leaf for insert as select count(*) from plain
go
create view over_leaf as select id, b from leaf
go
create view over_view as select b from over_leaf
go
create procedure reads_leaf as select * from leaf
go
)";

struct Case {
  const char *name, *change;  ///< of the source
  Lines made;
};

TEST(Reach, HoldsWhatUsesAndWhatIsNeeded) {
  const auto databaseWith = [](const std::string& change) {
    return databaseOf("set quoted_identifier on\ngo\n" + std::string(kDatabase) + change + "\ngo\n",
                      Release::ase16);
  };
  const Database target = databaseWith("");
  const Case cases[] = {
      {"a table alone", "create index i on plain (id)", {"plain"}},
      {"a table that is referred to", "alter table root add c int null", {"root", "stem"}},
      {"views over views, with all that they need",
       "alter table leaf add c int null",
       {"leaf", "stem", "plain", "over_leaf", "over_view"}},
      {"a function that a column calls",
       "create or replace function twice (@a int) returns int as begin return @a + @a end",
       {"twice", "counted"}},
      {"a name of two words", "alter table \"two words\" add b int null", {"two words"}},
      {"a default that is bound",
       "exec sp_unbindefault 'bound.a'\ngo\ndrop default zero",
       {"bound"}},
      {"what is only here", "create view new_view as select id from plain", {"plain"}},
      {"a procedure", "drop procedure reads_leaf", {"reads_leaf", "leaf"}},
      {"no object", "exec sp_addtype other_type, 'int'", {}},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.name);
    const Database source = databaseWith(one.change);
    const std::vector<Change> changes = inventory::compare(source, target, everything());
    ASSERT_FALSE(changes.empty());
    const Trial trial = tried(source, target, Release::ase16, "all");
    const Reach reach(target, changes, trial.text);
    EXPECT_THAT(madeIn(reach), ::testing::UnorderedElementsAreArray(one.made)) << trial.text;
    EXPECT_EQ(inventory::lines(inventory::compare(
                  source, afterPart(reach, target, trial.text, Release::ase16), everything())),
              Lines())
        << trial.text;
  }
}

// Whatever belongs to a user may go with the user.
TEST(Reach, IsEverythingWhereAUserGoes) {
  const Database target = databaseOf(kDatabase, Release::ase16);
  const Database source =
      databaseOf(std::string(kDatabase) + "exec sp_dropuser joe\ngo\n", Release::ase16);
  const std::vector<Change> changes = inventory::compare(source, target, everything());
  EXPECT_EQ(Reach(target, changes, "").part(), target);
  EXPECT_THAT(madeIn(Reach(target, {}, "")), IsEmpty());
}

}  // namespace
}  // namespace kelvane::change_script
