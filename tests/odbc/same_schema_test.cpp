// What the reader makes of a database, and what it asks on the way, does not depend on the way
// there: read through the embedded connection and over the wire.
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <string>

#include "cli/side_reader.h"
#include "drivers/embedded/script.h"
#include "tests/odbc/servers.h"

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

void expectTheSameOverTheWire(const fs::path& scripts, const embedded::LoadOptions& loading = {}) {
  embedded::EmbeddedCatalog catalog;
  const auto report = embedded::loadFile(catalog, scripts, loading);
  ASSERT_TRUE(report.succeeded() || !loading.stopAtFirstError) << report.errors.front().describe();
  const Reading direct = read(*catalog.connect());
  const LiveServer server(std::move(catalog));
  const Reading live = read(*server.connect());
  EXPECT_FALSE(direct.side.schema == Schema{}) << scripts;
  EXPECT_TRUE(live.side.schema == direct.side.schema) << scripts;
  EXPECT_EQ(live.side.caseSensitive, direct.side.caseSensitive);
  EXPECT_EQ(live.side.gaps, direct.side.gaps);
  EXPECT_EQ(live.trace, direct.trace) << scripts;
}

TEST(LiveSchema, IsThatOfTheEmbeddedConnection) {
  for (const char* script : {"shop-1.sql", "shop-2.sql"})
    expectTheSameOverTheWire(fs::path(KELVANE_EXAMPLES) / script);
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
