// What the reader makes of a database, and what it asks on the way, does not depend on the way
// there: read through the embedded connection and over the wire.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <string>

#include "cli/sides/side_reader.h"
#include "drivers/embedded/script.h"
#include "tests/odbc/servers.h"
#include "tests/tds/test_catalog.h"

namespace kelvane::testing {
namespace {

namespace fs = std::filesystem;

struct Reading {
  cli::SideReading side;
  std::string trace;
};

Reading read(ado::Connection& connection) {
  auto options = std::make_shared<cComparisonOptions>();
  for (const Switch& one : kSwitches) (*options).*one.value = True;
  std::ostringstream nowhere, lines;
  const cli::Console console{nowhere, nowhere};
  cli::StatusLine status(console);
  cli::Trace trace(lines, u"source");
  Reading reading{cli::readSide(connection, "source", options, status, &trace), {}};
  reading.trace = lines.str();
  return reading;
}

// Gives what both have read.
Reading expectTheSameOverTheWire(embedded::EmbeddedCatalog catalog) {
  Reading direct = read(*catalog.connect());
  const LiveServer server(std::move(catalog));
  const Reading live = read(*server.connect());
  EXPECT_TRUE(live.side.schema == direct.side.schema);
  EXPECT_EQ(live.side.caseSensitive, direct.side.caseSensitive);
  EXPECT_EQ(live.side.gaps, direct.side.gaps);
  EXPECT_TRUE(live.trace == direct.trace);
  return direct;
}

void expectTheSameOverTheWire(const fs::path& scripts, const embedded::LoadOptions& loading = {}) {
  SCOPED_TRACE(scripts);
  embedded::EmbeddedCatalog catalog;
  const auto report = embedded::loadFile(catalog, scripts, loading);
  ASSERT_TRUE(report.succeeded() || !loading.stopAtFirstError) << report.errors.front().describe();
  EXPECT_FALSE(expectTheSameOverTheWire(std::move(catalog)).side.schema == Schema{});
}

TEST(LiveSchema, IsThatOfTheEmbeddedConnection) {
  for (const char* script : {"shop-1.sql", "shop-2.sql"})
    expectTheSameOverTheWire(fs::path(KELVANE_EXAMPLES) / script);
}

TEST(LiveSchema, HasWhatIsUnusual) {
  const std::string longName(255, 'n');
  std::string script =
      "create table [with blank] ([a b] int null, [c]]d] int null)\ngo\n"
      "set quoted_identifier on\ngo\ncreate table \"quo'ted\" (a int null)\ngo\n"
      "create table \u00c4\u03a9\u20ac (\u00e4 varchar(10) default '\u03a9' null)\ngo\n"
      "create table gone (a int null)\ngo\n"
      "create view broken as select a from gone\ngo\n"
      "drop table gone\ngo\n"
      "create procedure \u00fc @\u00e4 int as print '\u20ac'\ngo\n"
      "create table " +
      longName + " (a int null)\ngo\n";
  std::string columns;
  for (int i = 0; i < 1000; ++i)
    columns += (i > 0 ? ", c" : "c") + std::to_string(i) + " varchar(10) null";
  script += "create table wide (" + columns + ")\ngo\n";
  const Schema schema = expectTheSameOverTheWire(tds::catalogOf(script)).side.schema;
  ASSERT_EQ(schema.Tables.count(), 5);
  EXPECT_TRUE(std::ranges::any_of(
      schema.Tables, [](const Table& table) { return table.Columns.count() == 1000; }));
}

TEST(LiveSchema, IsThatOfTheEmbeddedConnectionForRealScripts) {
  const char* folder = std::getenv("KELVANE_DEVELOPMENT_SET");
  if (folder == nullptr) GTEST_SKIP() << "KELVANE_DEVELOPMENT_SET names no folder of scripts";
  for (const char* project :
       {"omp-jcmt/2017-12-06", "dbxtune/procs-2026-06-30", "linq2db/2024-10-11", "liferay/6.2"})
    expectTheSameOverTheWire(fs::path(folder) / project, {.stopAtFirstError = false});
}

}  // namespace
}  // namespace kelvane::testing
