// The program that serves scripts.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

#include "tests/support/temporary_folder.h"

namespace kelvane::tds {
namespace {

std::string contentOf(const std::filesystem::path& path) {
  std::ostringstream all;
  all << std::ifstream(path).rdbuf();
  return all.str();
}

// The files of such a folder are not in the order of their names.
TEST(TdsServerProgram, ServesAFolderOfDdl) {
  const testing::TemporaryFolder folder;
  std::filesystem::create_directories(folder / "schema/functions");
  std::filesystem::create_directories(folder / "schema/tables");
  std::ofstream(folder / "schema/functions/dbo.a.sql")
      << "-- Written by kelvane ddl: function dbo.a\ngo\n-- Phase: tables\ngo\n"
         "create function a (@x int) returns int as return @x\ngo\n";
  std::ofstream(folder / "schema/tables/dbo.a_table.sql")
      << "-- Written by kelvane ddl: table dbo.a_table\ngo\n"
         "create table a_table (x int null, y as dbo.a(x))\ngo\n-- Phase: keys\ngo\n"
         "alter table a_table add foreign key (x) references z_table (x)\ngo\n";
  std::ofstream(folder / "schema/tables/dbo.z_table.sql")
      << "-- Written by kelvane ddl: table dbo.z_table\ngo\n"
         "create table z_table (x int not null primary key)\ngo\n";
  const std::string command =
      "cd '" + folder.string() + "' && { '" KELVANE_TDS_SERVER "' schema >port 2>messages & } && " +
      "server=$! && for i in $(seq 200); do [ -s port ] || [ -s messages ] && break; sleep 0.05; "
      "done; kill -INT $server 2>none; wait $server";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(contentOf(folder / "messages"), "");
  EXPECT_GT(std::atoi(contentOf(folder / "port").c_str()), 0);
}

}  // namespace
}  // namespace kelvane::tds
