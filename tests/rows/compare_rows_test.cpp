// Rows of two tables by their keys.
#include <gtest/gtest.h>
#include <random>

#include "tests/rows/compared.h"

namespace kelvane::rows {
namespace {

struct Case {
  const char* name;
  std::string source, target;
  std::string key;
  std::string counts;
  std::vector<std::string> differences;
  PlanOptions options = {};
};

/// create table t (COLUMNS), and a row for each of VALUES.
std::string table(const std::string& columns, const std::vector<std::string>& values) {
  std::string script = "create table t (" + columns + ")\n";
  for (const std::string& row : values) script += "insert t values (" + row + ")\n";
  return script;
}

const Case kCases[] = {
    {"a row in the middle",
     table("a int primary key, b varchar(9) null", {"1, 'x'", "3, 'z'"}),
     table("a int primary key, b varchar(9) null", {"1, 'x'", "2, 'y'", "3, null"}),
     "primary key, in order",
     "1 equal, 1 changed, 0 only in source, 1 only in target; b 1",
     {"+ 2 | y", "~ 3 | z -> 3 | null"}},
    {"a unique constraint before an index, nulls are equal",
     table("a int not null, b int not null unique, c int null", {"1, 5, null", "2, 4, 1"}) +
         "create unique index i on t (a)\n",
     table("a int not null, b int not null unique, c int null", {"1, 5, null", "3, 4, 1"}),
     "unique constraint, in order",
     "1 equal, 1 changed, 0 only in source, 0 only in target; a 1",
     {"~ 4 | 2 | 1 -> 4 | 3 | 1"}},
    {"a unique index, not of columns that may be null",
     table("a int null, b int not null", {"1, 1", "2, 2"}) +
         "create unique index i1 on t (a)\ncreate unique index i2 on t (b)\n",
     table("a int null, b int not null", {"1, 1", "2, 2"}) + "create unique index i2 on t (b)\n",
     "unique index i2, in order",
     "2 equal, 0 changed, 0 only in source, 0 only in target",
     {}},
    {"a key that is unique on one side",
     table("a int primary key, b int null", {"1, 1", "2, 2"}),
     table("a int not null, b int null", {"1, 2", "2, 2", "1, 1"}),
     "primary key, in order, not unique",
     "2 equal, 0 changed, 0 only in source, 1 only in target",
     {"+ 1 | 2"}},
    {"no key: rows as often as they are there",
     table("a int null", {"1", "1", "2", "null"}),
     table("a int null", {"2", "1", "3", "null"}),
     "none, not unique",
     "3 equal, 0 changed, 1 only in source, 1 only in target",
     {"+ 3", "- 1"}},
    {"a key that was asked for, which is none",
     table("a int null, b int null", {"1, 1", "1, 2"}),
     table("a int null, b int null", {"1, 2", "1, 3", "2, 1"}),
     "asked for, in order, not unique",
     "1 equal, 1 changed, 0 only in source, 1 only in target; b 1",
     {"+ 2 | 1", "~ 1 | 1 -> 1 | 3"},
     {.key = {"a"}}},
    {"texts, in any order",
     table("a varchar(9) primary key, b int null", {"'b', 1", "'a', 2"}),
     table("a char(5) primary key, b int null", {"'B', 1", "'a', 2"}),
     "primary key",
     "1 equal, 0 changed, 1 only in source, 1 only in target",
     {"+ B | 1", "- b | 1"}},
    {"other types of the same values",
     table("a numeric(9,0) primary key, b money null, c real null, d date null",
           {"1, 2.5, 0.1, '20240101'", "2, 3, 3, null"}),
     table("a bigint primary key, b numeric(9,4) null, c float null, d datetime null",
           {"1, 2.5, 0.1, '20240101'", "2, 3.0001, 3, '20240101 1:00'"}),
     "primary key, in order",
     "1 equal, 1 changed, 0 only in source, 0 only in target; b 1; d 1",
     {"~ 2 | 3 | 3 | null -> 2 | 3.0001 | 3 | 2024-01-01 01:00:00"}},
    {"numbers by their values, not by their digits",
     table("a numeric(20,3) primary key", {"-10.5", "-2", "2.25", "10", "99999999999999999"}),
     table("a numeric(20,3) primary key", {"-10.5", "2.25", "9.999", "99999999999999999"}),
     "primary key, in order",
     "3 equal, 0 changed, 2 only in source, 1 only in target",
     {"+ 9.999", "- -2", "- 10"}},
    {"blanks and case do not count, the values stay as they are",
     table("a int primary key, b varchar(9) null", {"1, ' x'", "2, 'Y'", "3, 'Z'"}),
     table("a int primary key, b varchar(9) null", {"1, 'X'", "2, 'y'", "3, ' w'"}),
     "primary key, in order",
     "2 equal, 1 changed, 0 only in source, 0 only in target; b 1",
     {"~ 3 | Z -> 3 |  w"},
     {.texts = {.trims = true, .ignoresCase = true}}},
    {"keys that are the same without case",
     table("a varchar(9) primary key, b int null", {"'One', 1", "'TWO', 2", "'two', 3", "'x', 4"}),
     table("a varchar(9) primary key, b int null", {"'one', 1", "'two', 2", "'X', 5"}),
     "primary key, not unique",
     "2 equal, 1 changed, 1 only in source, 0 only in target; b 1",
     {"- two | 3", "~ x | 4 -> X | 5"},
     {.texts = {.ignoresCase = true}}},
    {"null beside a blank text",
     table("a int primary key, b varchar(9) null, c int null", {"1, null, 1", "2, '', null"}),
     table("a int primary key, b varchar(9) null, c int null", {"1, '', 1", "2, null, 0"}),
     "primary key, in order",
     "1 equal, 1 changed, 0 only in source, 0 only in target; c 1",
     {"~ 2 |   | null -> 2 | null | 0"},
     {.texts = {.emptyIsNull = true}}},
    {"within tolerances, of a column, a type, to the digit",
     table("a int primary key, b numeric(20,2) null, c float null, d datetime null",
           {"1, 12345678901234567.01, 1e0, '20240101 1:00:00.003'", "2, -0.01, 5e0, null",
            "3, 0.01, 5e0, '20240101 23:59:59.996'"}),
     table("a int primary key, b numeric(20,2) null, c float null, d datetime null",
           {"1, 12345678901234567.03, 1.25e0, '20240101 1:00'", "2, 0.02, 5e0, null",
            "3, -0.01, 5.5e0, '20240102'"}),
     "primary key, in order",
     "1 equal, 2 changed, 0 only in source, 0 only in target; b 1; c 1",
     {"~ 2 | -0.01 | 5 | null -> 2 | 0.02 | 5 | null",
      "~ 3 | 0.01 | 5 | 2024-01-01 23:59:59.997 -> 3 | -0.01 | 5.5 | 2024-01-02 00:00:00"},
     {.tolerances = {{"t.b", {.tolerance = .02, .exactTolerance = {{2, 0}, 2, false}}},
                     {"float", {.tolerance = .25, .exactTolerance = {{25, 0}, 2, false}}},
                     {"datetime", {.nanoseconds = 4'000'000}}}}},
    {"no key, but a tolerance: rows that have the rest in common",
     table("a int null, b float null", {"1, 1e0", "1, 2e0", "2, 3e0"}),
     table("a int null, b float null", {"1, 2e0", "1, 1.001e0", "3, 3e0"}),
     "none, not unique",
     "2 equal, 0 changed, 1 only in source, 1 only in target",
     {"+ 3 | 3", "- 2 | 3"},
     {.tolerances = {{"b", {.tolerance = .01}}}}},
    {"chosen columns, besides the key; ignored ones, which are no key",
     table("a int primary key, b int unique, c int null, d int null", {"1, 5, 2, 3", "2, 6, 3, 4"}),
     table("a int primary key, b int unique, c int null, e int null", {"3, 5, 9, 9", "4, 6, 3, 9"}),
     "unique constraint, in order",
     "1 equal, 1 changed, 0 only in source, 0 only in target; c 1",
     {"~ 5 | 2 -> 5 | 9"},
     {.columns = {"?"}, .ignoredColumns = {"T.A", "dbo.t.a", "d", "t.e"}}},
    {"a condition that ends with a comment",
     table("a int primary key, b int null", {"1, 1", "2, 2", "3, 3"}),
     table("a int primary key, b int null", {"1, 2", "2, 2"}),
     "primary key, in order",
     "1 equal, 0 changed, 0 only in source, 1 only in target",
     {"+ 1 | 2"},
     {.condition = "a < 3 and b > 1 -- not the first"}},
    {"binary keys, in order",
     table("a varbinary(9) primary key", {"0x01", "0x0102", "0xff"}),
     table("a varbinary(9) primary key", {"0x01", "0x0103", "0xff"}),
     "primary key, in order",
     "2 equal, 0 changed, 1 only in source, 1 only in target",
     {"+ 0x0103", "- 0x0102"}},
    {"columns in another order, some missing, a timestamp",
     table("b int null, a int primary key, c timestamp, d int null", {"1, 2, null, 3"}),
     table("a int primary key, c timestamp, b int null, e int null", {"2, null, 1, 5"}),
     "primary key, in order",
     "1 equal, 0 changed, 0 only in source, 0 only in target",
     {}},
};

class EachCase : public ::testing::TestWithParam<Case> {};

TEST_P(EachCase, ComesOut) {
  const Case& one = GetParam();
  const Compared result =
      compared({.source = one.source, .target = one.target, .options = one.options});
  EXPECT_EQ(result.key, one.key);
  EXPECT_EQ(result.counts, one.counts);
  EXPECT_EQ(result.differences, one.differences);
  // The same in ranges.
  const Compared inRanges = compared(
      {.source = one.source, .target = one.target, .options = one.options, .rangeRows = 1});
  EXPECT_EQ(inRanges.counts, one.counts);
  EXPECT_EQ(inRanges.differences, one.differences);
}

INSTANTIATE_TEST_SUITE_P(All, EachCase, ::testing::ValuesIn(kCases), [](const auto& one) {
  std::string name = one.param.name;
  for (char& letter : name) {
    if (std::isalnum(static_cast<unsigned char>(letter)) == 0) letter = '_';
  }
  return name;
});

/// Tables of a few rows of which some are alike, with keys of every kind.
TwoTables madeTables(unsigned seed) {
  std::mt19937 random(seed);
  const auto below = [&](unsigned most) { return static_cast<unsigned>(random() % most); };
  const std::vector<std::string> types{"int",          "numeric(5,1)", "varchar(5)", "char(4)",
                                       "varbinary(3)", "float",        "datetime",   "unichar(3)"};
  const auto value = [&](const std::string& type) -> std::string {
    std::string digit = std::to_string(below(5));
    if (type == "varbinary(3)") return "0x0" + digit;
    if (type == "datetime") return "'2024010" + std::to_string(1 + below(5)) + "'";
    if (type.find("char") != std::string::npos)
      return std::string(below(4) == 0 ? "'A" : "'a") + digit + "'";
    return digit;
  };
  std::vector<std::string> chosen;
  std::string columns;
  for (unsigned at = 0; at < 2 + below(3); ++at) {
    chosen.push_back(types[below(static_cast<unsigned>(types.size()))]);
    columns += (at == 0 ? "" : ", ") + std::string("c") + std::to_string(at) + " " + chosen.back() +
               " null";
  }
  const auto rows = [&] {
    std::vector<std::string> result;
    for (unsigned at = 0; at < 4 + below(30); ++at) {
      std::string row;
      for (const std::string& type : chosen)
        row += (row.empty() ? "" : ", ") + (below(6) == 0 ? "null" : value(type));
      result.push_back(row);
    }
    return result;
  };
  const std::vector<std::string> source = rows();
  std::vector<std::string> target = source;
  for (std::string& row : target) {
    if (below(4) == 0) row = rows().front();
  }
  if (below(2) == 0) target.insert(target.begin() + below(3), source.front());
  if (below(2) == 0) target.erase(target.begin() + below(2));
  // One side can be cut into ranges always, the other one sometimes.
  const std::string index = "create index i on t (c0)\n";
  TwoTables tables{table(columns, source) + index,
                   table(columns, target) + (below(2) == 0 ? "" : index)};
  tables.rangeRows = below(5);
  for (unsigned at = 0; at < below(static_cast<unsigned>(chosen.size())); ++at)
    tables.options.key.push_back("c" + std::to_string(at));
  tables.mostBytes = below(2) == 0 ? 64U << 20U : 300;
  return tables;
}

TEST(CompareRows, FindsWhatPairingEachRowWithEachFinds) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    const TwoTables tables = madeTables(seed);
    const Compared result = compared(tables), naive = naivelyCompared(tables);
    const std::string scripts =
        "seed " + std::to_string(seed) + "\n" + tables.source + "\n" + tables.target;
    EXPECT_EQ(result.counts, naive.counts) << scripts;
    EXPECT_EQ(result.differences, naive.differences) << scripts;
  }
}

TwoTables madeTablesThatCanBeCut(unsigned seed) {
  TwoTables tables = madeTables(seed);
  if (tables.options.key.empty()) tables.options.key = {"c0"};
  tables.target += "create index i2 on t (c0)\n";
  return tables;
}

TEST(CompareRows, GoesOnFromAnyPlaceThatItTells) {
  std::size_t places = 0;
  for (unsigned seed = 0; seed < 60; ++seed) {
    const TwoTables tables = madeTablesThatCanBeCut(seed);
    const Compared whole = compared(tables);
    if (whole.key.find("in order") == std::string::npos) continue;
    for (const Compared& parts : comparedInTwoParts(tables)) {
      ++places;
      EXPECT_EQ(parts.counts, whole.counts) << seed;
      EXPECT_EQ(parts.differences, whole.differences) << seed;
    }
  }
  EXPECT_GT(places, 100U);
}

TEST(CompareRows, RangesOfBothSidesAreTheWhole) {
  std::size_t ranges = 0;
  for (unsigned seed = 0; seed < 60; ++seed) {
    const TwoTables tables = madeTablesThatCanBeCut(seed);
    const Compared whole = compared(tables);
    if (whole.key.find("in order") == std::string::npos) continue;
    // No literal has the precision of a float.
    if (tables.source.find("c0 float") != std::string::npos) continue;
    const auto [parts, count] = comparedByRanges(tables, 1 + seed % 7);
    ranges += count;
    EXPECT_EQ(parts.counts, whole.counts) << seed;
    EXPECT_EQ(parts.differences, whole.differences) << seed;
  }
  EXPECT_GT(ranges, 50U);
}

}  // namespace
}  // namespace kelvane::rows
