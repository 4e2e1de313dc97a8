// Scripts that declare the same in different ways, and real ones.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>

#include "drivers/embedded/script.h"
#include "tests/inventory/change_text.h"
#include "tests/inventory_read/support.h"

namespace kelvane::inventory {
namespace {

namespace fs = std::filesystem;

struct Equal {
  std::string_view about;
  Release since;
  std::string_view one, other;
};

void PrintTo(const Equal& equal, std::ostream* out) { *out << equal.about; }

class EqualScripts : public ::testing::TestWithParam<Equal> {};

TEST_P(EqualScripts, AreEqual) {
  const Equal& equal = GetParam();
  onReleases(equal.since, [&](Release release) {
    const Database one = databaseOf(equal.one, release), other = databaseOf(equal.other, release);
    EXPECT_EQ(lines(compare(one, other)), Lines()) << equal.about;
    EXPECT_EQ(lines(compare(other, one)), Lines()) << equal.about;
  });
}

const Equal kEqual[] = {
    {"another order", Release::ase125,
     "create table a (x int not null)\ncreate table b (y int null check (y > 1))\n"
     "create view v as select x from a\nsp_addgroup g\nsp_addgroup h\ngrant select on a to g\n"
     "grant insert on a to h\ncreate index i on a (x)\ncreate unique index j on a (x)\n",
     "sp_addgroup h\nsp_addgroup g\ncreate table b (y int null check (y > 1))\n"
     "create table a (x int not null)\ncreate unique index j on a (x)\ncreate index i on a (x)\n"
     "grant insert on a to h\ngrant select on a to g\ncreate view v as select x from a\n"},
    {"generated names", Release::ase125,
     "create table a (x int not null primary key, y int default 1 not null check (y > 0) unique,"
     " z int null references a (x))\n",
     // What was there before takes the ids that would be given.
     "create table a (x int null check (x > 1), y int null unique)\ndrop table a\n"
     "create table tmp (x int not null primary key, y int default 1 not null check (y > 0) unique,"
     " z int null references tmp (x))\nsp_rename tmp, a\n"},
    {"keys by alter table", Release::ase125,
     "create table p (x int not null, constraint kp primary key (x))\n"
     "create table a (x int not null, y int null, constraint k primary key nonclustered (x),"
     " constraint u unique (y), constraint c check (y > 1), constraint f foreign key (y)"
     " references p (x))\n",
     "create table p (x int not null)\nalter table p add constraint kp primary key (x)\n"
     "create table a (x int not null, y int null)\nalter table a add constraint u unique (y)\n"
     "alter table a add constraint f foreign key (y) references p (x)\n"
     "alter table a add constraint c check (y > 1)\n"
     "alter table a add constraint k primary key nonclustered (x)\n"},
    {"columns by alter table", Release::ase125,
     "create table a (x int not null, y varchar(30) null, z int default 3 not null)\n",
     "create table a (x smallint not null)\nalter table a add y varchar(20) null\n"
     "alter table a add z int default 3 not null\nalter table a modify x int\n"
     "alter table a modify y varchar(30)\n"},
    {"a grant a column", Release::ase125,
     "create table a (x int null, y int null, z int null)\nsp_addgroup g\n"
     "grant select on a (x, y, z) to g\ngrant update on a (y) to g\n",
     "create table a (x int null, y int null, z int null)\nsp_addgroup g\n"
     "grant select on a (z) to g\ngrant update on a (y) to g\ngrant select on a (x) to g\n"
     "grant select on a (y) to g\n"},
    {"an action of several", Release::ase125,
     "create table a (x int null)\nsp_addgroup g\ngrant select, insert, delete on a to g\n",
     "create table a (x int null)\nsp_addgroup g\ngrant delete on a to g\ngrant insert on a to g\n"
     "grant select on a to g\n"},
    {"a grant that was taken back", Release::ase125, "create table a (x int null)\nsp_addgroup g\n",
     "create table a (x int null)\nsp_addgroup g\ngrant select on a to g\nrevoke select on a from "
     "g\n"
     "sp_bindcache c, main, a\nsp_unbindcache main, a\n"},
    {"what the server lets everybody see", Release::ase125, "create table a (x int null)\n",
     "create table a (x int null)\ngrant select on sysobjects to public\n"
     "grant select on syscolumns (id, name) to public\n"},
    {"words of a declaration", Release::ase125,
     "create table a (x int default 1 not null check (x > 1), y numeric(18,0) null)\n",
     "CREATE TABLE a (x INTEGER DEFAULT   1 NOT NULL CHECK (x > 1), y numeric null) on "
     "'default'\n"},
    {"the default segment", Release::ase125,
     "create table a (x int null)\ncreate index i on a (x)\n",
     "create table a (x int null) on 'default'\ncreate index i on a (x) on 'default'\n"},
    {"what is 0 by default", Release::ase125,
     "create table a (x int null) lock datarows\ncreate index i on a (x)\n",
     "create table a (x int null) lock datarows with exp_row_size = 0, reservepagegap = 0\n"
     "create index i on a (x) with fillfactor = 0, max_rows_per_page = 0\n"
     "sp_chgattribute a, 'concurrency_opt_threshold', 15\n"},
    {"one partition", Release::ase15, "create table a (x int null)\n",
     "create table a (x int null) partition by roundrobin 1\n"},
    {"generated names of partitions", Release::ase15,
     "create table a (x int null) partition by roundrobin 3\n",
     "create table b (x int null) partition by roundrobin 3\nsp_rename b, a\n"},
    {"quoted names", Release::ase125,
     "set quoted_identifier on\ncreate table \"or der\" (\"se'lect\" int not null primary key)\n"
     "create index \"i x\" on \"or der\" (\"se'lect\" desc)\n",
     "set quoted_identifier on\ncreate table \"or der\" (\"se'lect\" int not null)\n"
     "alter table \"or der\" add primary key (\"se'lect\")\n"
     "create index \"i x\" on \"or der\" (\"se'lect\" desc)\n"},
};
INSTANTIATE_TEST_SUITE_P(Ways, EqualScripts, ::testing::ValuesIn(kEqual));

TEST(QuotedNames, HaveTheirKeys) {
  const Database database = databaseOf(
      "sp_addlogin joe, secret1\nsp_adduser joe\nset quoted_identifier on\n"
      "create table joe.\"or.der\" (\"a b\" int not null unique, c int null)\n",
      Release::ase125);
  ASSERT_EQ(database.tables.size(), 1U);
  ASSERT_EQ(database.tables[0].keys.size(), 1U);
  ASSERT_EQ(database.tables[0].keys[0].columns.size(), 1U);
  EXPECT_EQ(database.tables[0].keys[0].columns[0].name, "a b");
}

// Real scripts, where the environment variable KELVANE_DEVELOPMENT_SET names a folder of them.
class DevelopmentSet : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* folder = std::getenv("KELVANE_DEVELOPMENT_SET");
    if (folder == nullptr) GTEST_SKIP() << "KELVANE_DEVELOPMENT_SET names no folder of scripts";
    folder_ = folder;
  }

  static Database read(const fs::path& script) {
    embedded::EmbeddedCatalog catalog;
    embedded::loadFile(catalog, script, {.stopAtFirstError = false});
    return readAll(*catalog.connect());
  }

  fs::path folder_;
};

TEST_F(DevelopmentSet, EachScriptEqualsItself) {
  std::size_t seen = 0;
  for (const auto& entry : fs::recursive_directory_iterator(folder_)) {
    if (entry.path().extension() != ".sql") continue;
    const Database one = read(entry.path()), other = read(entry.path());
    EXPECT_TRUE(one == other) << entry.path();
    EXPECT_EQ(lines(compare(one, other)), Lines()) << entry.path();
    for (const Gap& gap : one.gaps)
      ADD_FAILURE() << entry.path() << ": " << gap.what << ": " << gap.reason;
    ++seen;
  }
  EXPECT_GT(seen, 0U);
}

TEST_F(DevelopmentSet, VersionsDifferInWhatTheyDeclare) {
  struct Versions {
    std::string_view was, is;
    Lines expected;
  };
  const Versions kVersions[] = {
      {"openfire/db-v20/openfire_sybase.sql", "openfire/db-v21/openfire_sybase.sql", {}},
      {"omp-jcmt/2016-03-08/jcmt_tms.ddl.sql",
       "omp-jcmt/2017-12-06/jcmt_tms.ddl.sql",
       {"database > option select into/bulkcopy/pllsort: only in source",
        "database > threshold logsegment at 51016 pages: only in source: procedure "
        "sp_thresholdaction",
        "database > threshold logsegment at 255016 pages: only in target: procedure "
        "sp_thresholdaction",
        "alias omp_maint: only in source: user dbo"}},
      {"quartz/2.4-2019-02-11/tables_sybase.sql",
       "quartz/master-2026-08-03/tables_sybase.sql",
       {"table dbo.QRTZ_RRULE_TRIGGERS: only in target: lock allpages"}},
      {"spring/batch-2.2.7/schema-sybase.sql",
       "spring/batch-4.3.10/schema-sybase.sql",
       {"table dbo.BATCH_JOB_EXECUTION > column EXIT_CODE: varchar(100) null -> varchar(2500) null",
        "table dbo.BATCH_JOB_EXECUTION > column JOB_CONFIGURATION_LOCATION: only in target: "
        "varchar(2500) null",
        "table dbo.BATCH_STEP_EXECUTION > column EXIT_CODE: varchar(100) null -> varchar(2500) "
        "null"}},
  };
  for (const Versions& versions : kVersions) {
    EXPECT_EQ(lines(compare(read(folder_ / versions.was), read(folder_ / versions.is))),
              versions.expected)
        << versions.was;
  }
}

}  // namespace
}  // namespace kelvane::inventory
