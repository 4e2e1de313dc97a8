// Sums of buckets of keys, as the server of the tests computes them.
#include "rows/bucket_sums.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "drivers/embedded/script.h"
#include "model/text.h"
#include "tests/inventory_read/support.h"

namespace kelvane::rows {
namespace {

struct Side {
  explicit Side(const std::string& script) {
    const auto loaded = embedded::loadScript(catalog, "sample", script);
    EXPECT_TRUE(loaded.succeeded()) << script;
    connection = catalog.connect();
    database = inventory::readAll(*connection);
  }
  PlannedTable table() const { return {database, database.tables.at(0)}; }

  std::vector<std::vector<std::int64_t>> numbers(const std::u16string& text, std::size_t columns) {
    const auto rows = openStatement(*connection, text, columns);
    std::vector<std::vector<std::int64_t>> result;
    while (rows->next()) {
      auto& row = result.emplace_back();
      for (std::size_t at = 0; at < columns; ++at)
        row.push_back(std::get<std::int64_t>(rows->value(at)));
    }
    return result;
  }

  embedded::EmbeddedCatalog catalog;
  std::unique_ptr<ado::Connection> connection;
  inventory::Database database;
};

struct Pair {
  Pair(const std::string& sourceScript, const std::string& targetScript)
      : source(sourceScript), target(targetScript) {}

  DifferingBuckets differing(std::int64_t width) {
    BucketSums sums(plan, servers);
    sums.setWidth(width);
    const auto opened = [&](Side& side, std::size_t at) {
      return [&, text = sums.text(at)] {
        return openStatement(*side.connection, text, BucketSums::kColumns);
      };
    };
    RowStream one(opened(source, 0), BucketSums::layout()),
        other(opened(target, 1), BucketSums::layout());
    return differingBuckets(one, other, [](std::int64_t) { return true; });
  }

  Side source, target;
  TablePlan plan = planOf(source.table(), target.table());
  BucketSums::Servers servers{&source.database.server, &target.database.server};
};

std::string table(const std::string& columns, const std::vector<std::string>& rows) {
  std::string script = "create table t (" + columns + ")\ngo\n";
  for (const std::string& row : rows) script += "insert t values (" + row + ")\n";
  return script;
}

TEST(BucketSums, StatementsAreAsWritten) {
  const std::string columns =
      "id int primary key, name varchar(20) null, born date null, code char(4) not null, rate "
      "float "
      "not null";
  const Pair pair(table(columns, {}), table(columns, {}));
  BucketSums sums(pair.plan, pair.servers);
  sums.setWidth(500);
  EXPECT_EQ(toUtf8(sums.text(1, "a < 3")),
            "select bucket, count(*), sum(convert(numeric(38,0), hextobigint(substring(digest, 1, "
            "12)))), sum(convert(numeric(38,0), hextobigint(substring(digest, 13, 12)))) from "
            "(select convert(bigint, id) / 500 as bucket, bintostr(hashbytes('md5', id, "
            "isnull(datalength(name), -1), name, isnull(datalength(born), -1), born, "
            "datalength(code), code, rate, using lsb)) as digest from dbo.t where a < 3) as "
            "digests group by bucket order by bucket");
  EXPECT_EQ(toUtf8(sums.extentText(0)),
            "select convert(bigint, min(id)), convert(bigint, max(id)) from dbo.t");
  EXPECT_EQ(sums.condition(0, {2, 3}), "id >= 1000 and id < 2000");
  EXPECT_EQ(sums.condition(0, {-1, 0}), "id >= -999 and id < 500");
  EXPECT_EQ(sums.condition(0, {-5'000'000, -3}), "id < -1499");

  inventory::Server other = pair.target.database.server;
  other.characterSet = "another";
  const BucketSums byMeaning(pair.plan, {&other, &pair.target.database.server});
  const std::string text = toUtf8(byMeaning.text(0));
  EXPECT_NE(text.find("isnull(char_length(name), -1), name"), std::string::npos) << text;
  EXPECT_NE(text.find("using unicode_lsb)"), std::string::npos) << text;
}

TEST(BucketSums, AConditionHasTheRowsOfItsBuckets) {
  struct Key {
    const char* type;
    std::vector<std::string> values;
  };
  const Key keys[] = {
      {"int", {"-2147483648", "-7", "-6", "-1", "0", "1", "2", "3", "6", "7", "2147483647"}},
      {"tinyint", {"0", "1", "6", "7", "254", "255"}},
      {"bigint", {"-9223372036854775808", "-1", "0", "5", "9223372036854775807"}},
      {"numeric(18,0)", {"-999999999999999999", "-3", "0", "3", "999999999999999999"}},
      {"unsigned int", {"0", "1", "7", "4294967295"}},
      {"date", {"'00010101'", "'17530101'", "'20240229'", "'20240301'", "'99991231'"}},
      {"datetime",
       {"'17530101'", "'18991231 23:59:59.996'", "'19000101'", "'20240229 12:59:59.996'",
        "'20240229 13:00'", "'99991231 23:59'"}},
      {"smalldatetime", {"'19000101'", "'20240229 12:59'", "'20240229 13:00'", "'20790606'"}},
      {"bigdatetime", {"'19000101'", "'20240229 23:59:59.999999'", "'20240301'", "'99991231'"}},
  };
  for (const auto& [type, values] : keys) {
    const std::string script = table(std::string("k ") + type + " primary key", values);
    Pair pair(script, script);
    for (const std::int64_t width : {1, 2, 3, 7, 1000}) {
      BucketSums sums(pair.plan, pair.servers);
      sums.setWidth(width);
      const auto buckets = pair.source.numbers(sums.text(0), 2);
      std::size_t rows = 0;
      for (std::size_t at = 0; at < buckets.size(); ++at) {
        for (std::size_t last = at; last < buckets.size(); ++last) {
          std::int64_t expected = 0;
          for (std::size_t one = at; one <= last; ++one) expected += buckets[one][1];
          const std::string condition =
              sums.condition(0, {buckets[at].front(), buckets[last].front()});
          const std::string where = condition.empty() ? "" : " where " + condition;
          const auto counted = pair.source.numbers(toUtf16("select count(*) from t" + where), 1);
          EXPECT_EQ(counted.at(0).at(0), expected) << type << " " << width << where;
        }
        rows += static_cast<std::size_t>(buckets[at][1]);
      }
      EXPECT_EQ(rows, values.size()) << type << " " << width;
    }
  }
}

TEST(BucketSums, BucketsAreAsWideAsTheirRowsNeed) {
  constexpr auto kLeast = std::numeric_limits<std::int64_t>::min(),
                 kMost = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(BucketSums::widthFor({1, 5000}, 5000, 1000), 1000);
  EXPECT_EQ(BucketSums::widthFor({-30'000, 149'997}, 60'000, 1000), 3000);
  EXPECT_EQ(BucketSums::widthFor({7, 7}, 1'000'000, 1000), 1);
  EXPECT_EQ(BucketSums::widthFor({kLeast, kMost}, 10, 1000), kMost);
}

TEST(BucketSums, AKeyFarAwayMakesNoWideBuckets) {
  struct Keys {
    std::string type, first, next, far;
    std::int64_t width;
  };
  const Keys keys[] = {
      {"int", "-100", "k + 2", "2147483647", 20},
      {"date", "'20240101'", "dateadd(dd, 1, k)", "'99991231'", 10},
      {"datetime", "'20240101'", "dateadd(hh, 3, k)", "'17530101'", 30},
      {"bigint", "9223372036854770000", "k + 1", "-9223372036854775808", 10},
  };
  for (const auto& [type, first, next, far, width] : keys) {
    const std::string text = "create table t (k " + type + " primary key)\ndeclare @k " + type +
                             ", @n int\nselect @k = " + first +
                             ", @n = 0\nwhile @n < 1600 begin insert t values (@k) select k = @k "
                             "into #one select @k = " +
                             next +
                             " from #one drop table #one select @n = @n + 1 end\n"
                             "insert t values (" +
                             far + ")\n";
    Pair pair(text, text);
    const BucketSums sums(pair.plan, pair.servers);
    const auto marks = sums.readMarks(*pair.source.connection, 0, 100, 17);
    EXPECT_EQ(marks.size(), 17U) << type;
    EXPECT_TRUE(std::ranges::is_sorted(marks)) << type;
    EXPECT_EQ(BucketSums::widthAmong(marks, 100, 10), width) << type;
    // Rows that statistics count, and that are not there.
    const auto fewer = sums.readMarks(*pair.source.connection, 0, 500, 17);
    EXPECT_EQ(BucketSums::widthAmong(fewer, 500, 10), width) << type;
  }
}

TEST(BucketSums, WhatDiffersIsInABucketThatDiffers) {
  struct Change {
    std::string columns, row, other;
  };
  const Change changes[] = {
      {"a varchar(9) null, b varchar(9) null", "'ab', 'c'", "'a', 'bc'"},
      {"a varchar(9) null, b varchar(9) null", "'a', null", "null, 'a'"},
      {"a varchar(9) null, b varchar(9) null", "'a', ' '", "'a', null"},
      {"a varchar(9) null, b int null", "null, 0", "null, null"},
      {"a varchar(9) null", "'a'", "'A'"},
      {"a int null, b int null", "1, null", "null, 1"},
      {"a int null, b smallint null", "-1, 0", "-1, null"},
      {"a varbinary(4) null, b varbinary(4) null", "0x0102, 0x03", "0x01, 0x0203"},
      {"a univarchar(4) null", "'x'", "'y'"},
      {"a float", "1e0", "1.0000000000000002e0"},
      {"a numeric(30,10)", "1234567890.0000000001", "1234567890.0000000002"},
      {"a money", "922337203685477.5807", "922337203685477.5806"},
      {"a datetime", "'20240101 00:00:00.003'", "'20240101 00:00:00.007'"},
      {"a bigtime", "'00:00:00.000001'", "'00:00:00.000002'"},
      {"a bit", "1", "0"},
  };
  for (const Change& change : changes) {
    const std::string columns = "k int primary key, " + change.columns;
    const auto rows = [&](const std::string& fourth) {
      std::vector<std::string> values(9);
      for (std::size_t key = 0; key < values.size(); ++key)
        values[key] = std::to_string(key) + ", " + (key == 4 ? fourth : change.row);
      return table(columns, values);
    };
    const DifferingBuckets found = Pair(rows(change.row), rows(change.other)).differing(3);
    EXPECT_EQ(found.ranges, std::vector<BucketRange>({{1, 1}})) << change.row << change.other;
    EXPECT_EQ(found.buckets, 3);
    EXPECT_EQ(found.equalRows, 6);
    EXPECT_EQ(Pair(rows(change.row), rows(change.row)).differing(3).differing, 0) << change.row;
  }
}

// Equal rows twice would cancel each other out if digests were not added.
TEST(BucketSums, RowsThatComeTwiceCount) {
  const std::string columns = "k int not null, a varchar(9) null";
  const std::string index = "create index i on t (k)\n";
  const auto tableOf = [&](const std::vector<std::string>& rows) {
    return table(columns, rows) + index;
  };
  Pair pair(tableOf({"1, 'a'", "1, 'a'", "9, 'b'"}), tableOf({"1, 'b'", "1, 'b'", "9, 'b'"}));
  pair.plan = planOf(pair.source.table(), pair.target.table(), {.key = {"k"}});
  ASSERT_EQ(BucketSums::obstacle(pair.plan, pair.servers), "");
  const DifferingBuckets found = pair.differing(1);
  EXPECT_EQ(found.ranges, std::vector<BucketRange>({{1, 1}}));
  EXPECT_EQ(found.equalRows, 1);
}

// Ranges of buckets that differ, between them one that neither side has.
TEST(BucketSums, NeighboursAreOneRange) {
  const std::string columns = "k int primary key, a int";
  Pair pair(table(columns, {"-8, 0", "1, 0", "2, 0", "7, 0", "9, 0"}),
            table(columns, {"1, 0", "2, 1", "7, 1", "9, 0", "11, 0"}));
  const DifferingBuckets found = pair.differing(2);
  EXPECT_EQ(found.ranges, std::vector<BucketRange>({{-4, -4}, {1, 3}, {5, 5}}));
  EXPECT_EQ(found.buckets, 6);
  EXPECT_EQ(found.equalRows, 2);
}

TEST(BucketSums, ObstaclesAreNamed) {
  struct Case {
    std::string columns, otherColumns;
    PlanOptions options;
    std::string obstacle;
  };
  const std::string noKey =
      "no index begins with a first column of the key that is a date, or a whole number within "
      "bigint, and never null";
  const Case cases[] = {
      {"k int primary key, a int", "k int primary key, a int", {}, ""},
      {"k varchar(9) primary key", "k varchar(9) primary key", {}, noKey},
      {"k time primary key", "k time primary key", {}, noKey},
      {"k int", "k int", {.key = {"k"}}, noKey},
      {"k int null, a int, unique (k)", "k int null, a int, unique (k)", {.key = {"k"}}, noKey},
      {"k unsigned bigint primary key", "k unsigned bigint primary key", {}, noKey},
      {"k numeric(9,2) primary key", "k numeric(9,2) primary key", {}, noKey},
      {"k int primary key, a text null",
       "k int primary key, a text null",
       {},
       "a has a type without a digest"},
      {"k int primary key, a varchar(9)",
       "k int primary key, a varchar(8)",
       {},
       "a has two types, or one without a digest"},
      {"k int primary key, a varchar(9)",
       "k int primary key, a varchar(9)",
       {.texts = {.trims = true}},
       "not all of a counts"},
      {"k int primary key, a float",
       "k int primary key, a float",
       {.tolerances = {{"a", {.tolerance = 1e-6}}}},
       "not all of a counts"},
  };
  for (const Case& one : cases) {
    const Pair pair(table(one.columns, {}), table(one.otherColumns, {}));
    const TablePlan plan = planOf(pair.source.table(), pair.target.table(), one.options);
    EXPECT_EQ(BucketSums::obstacle(plan, pair.servers), one.obstacle) << one.columns;
  }
}

}  // namespace
}  // namespace kelvane::rows
