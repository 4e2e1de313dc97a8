// Limits, pairing and failures of one table; what failures do to the call; cost per row.
#include "data/table_comparison.h"

#include <gmock/gmock.h>

#include "model/text.h"
#include "row_stream.h"

namespace kelvane {
namespace {

using test::Rows;
using test::TableConnection;
using testing::ElementsAre;

struct Limits : AppPreferences {
  std::int32_t rows = -1;
  std::int32_t differences = -1;
  Boolean LimitDataCompareRows() const override { return rows >= 0; }
  std::int32_t MaxDataCompareRows() const override { return rows; }
  Boolean LimitDataCompareDifferences() const override { return differences >= 0; }
  std::int32_t MaxDataCompareDifferences() const override { return differences; }
};

struct Listing : ValueObserver {
  std::vector<std::string> lines;
  void ValueDiffers(const DifferingValue& value) override {
    lines.push_back(toUtf8(value.Table + u" " + decimalText(value.Row) + u" " + value.Field +
                           u": " + value.Source.toText() + u" | " + value.Target.toText()));
  }
};

class TableComparison : public testing::Test {
 protected:
  TableComparison() {
    comparison.AppPreferences = &limits;
    comparison.ConnSource = &source;
    comparison.ConnTarget = &target;
    comparison.Observer = &listing;
    source.list({u"t"});
  }
  void draw(std::u16string_view left, std::u16string_view right) {
    source.draw(u"t", left);
    target.draw(u"t", right);
  }
  // The single table's outcome.
  TableResult compare() {
    EXPECT_EQ(comparison.Compare(), False);
    EXPECT_EQ(comparison.TableResults().size(), 1u);
    return comparison.TableResults().at(0);
  }

  Limits limits;
  TableConnection source, target;
  Listing listing;
  cTableComparison comparison;
};

TEST_F(TableComparison, AsksForTheListAndForEachTableByItsBareName) {
  source.list({u"a", u"b c"});
  comparison.Compare();
  EXPECT_THAT(source.statements,
              ElementsAre(u"SELECT name FROM sysobjects WHERE type='U' order by name",
                          u"select * from a", u"select * from b c"));
  source.list({});
  EXPECT_EQ(comparison.Compare(), False);
  EXPECT_TRUE(comparison.TableResults().empty());
}

TEST_F(TableComparison, PairsRowsByPositionAndFieldsByTheSourcesNames) {
  draw(u"id Name gone\n1 ann x\n2 bob null\n3 cy z",
       u"extra NAME id gone\n9 ann 1 y\n9 rob 2 q\n9 cy 3 null");
  const TableResult result = compare();
  EXPECT_THAT(listing.lines, ElementsAre("t 1 gone: x | y", "t 2 Name: bob | rob"));
  EXPECT_EQ(result.Differences, 2);
  EXPECT_EQ(result.RowsCompared, 3);
  EXPECT_EQ(result.Ended, TableEnd::bothEnded);
}

TEST_F(TableComparison, StopsWithTheShorterSide) {
  draw(u"id\n1\n2\n3", u"id\n1\n2");
  EXPECT_EQ(compare().Ended, TableEnd::targetEnded);
  EXPECT_EQ(compare().RowsCompared, 2);
  draw(u"id", u"id\n1");
  EXPECT_EQ(compare().Ended, TableEnd::sourceEnded);
}

TEST_F(TableComparison, Limits) {
  const struct {
    std::int32_t rows, differences;
    std::int64_t compared, found;
    TableEnd ended;
  } cases[] = {
      {0, -1, 0, 0, TableEnd::rowLimit},        {2, -1, 2, 4, TableEnd::rowLimit},
      {3, -1, 3, 6, TableEnd::bothEnded},       {-1, 0, 1, 2, TableEnd::differenceLimit},
      {-1, 1, 1, 2, TableEnd::differenceLimit}, {-1, 2, 2, 4, TableEnd::differenceLimit},
      {-1, 5, 3, 6, TableEnd::bothEnded},       {1, 0, 1, 2, TableEnd::rowLimit},
  };
  draw(u"a b\n1 1\n1 1\n1 1", u"a b\n2 2\n2 2\n2 2");
  for (const auto& expected : cases) {
    SCOPED_TRACE(testing::Message() << expected.rows << " rows, " << expected.differences);
    limits.rows = expected.rows;
    limits.differences = expected.differences;
    const TableResult result = compare();
    EXPECT_EQ(result.RowsCompared, expected.compared);
    EXPECT_EQ(result.Differences, expected.found);
    EXPECT_EQ(result.Ended, expected.ended);
  }
}

TEST_F(TableComparison, RowsCountTowardsTheirLimitOnlyWhileItIsOn) {
  struct LateLimit : Limits {
    mutable int asked = 0;
    Boolean LimitDataCompareRows() const override { return ++asked > 2; }
    std::int32_t MaxDataCompareRows() const override { return 1; }
  } late;
  comparison.AppPreferences = &late;
  draw(u"a\n1\n1\n1\n1\n1", u"a\n1\n1\n1\n1\n1");
  EXPECT_EQ(compare().RowsCompared, 3);
}

TEST_F(TableComparison, AFieldThatTheTargetLacksFailsWhenARowNeedsIt) {
  const std::u16string_view left = u"a b c\n1 2 3\n1 2 3";
  draw(left, u"a c\n7 8\n7 8");
  TableResult result = compare();
  EXPECT_EQ(result.Ended, TableEnd::error);
  EXPECT_EQ(result.Error, u"no field b");
  EXPECT_EQ(result.RowsCompared, 0);
  EXPECT_THAT(listing.lines, ElementsAre("t 1 a: 1 | 7"));

  limits.rows = 0;
  EXPECT_EQ(compare().Ended, TableEnd::rowLimit);
  limits.rows = -1;
  draw(left, u"a c");
  EXPECT_EQ(compare().Ended, TableEnd::targetEnded);
}

TEST_F(TableComparison, AFailureEndsItsTableOnly) {
  source.list({u"dropped", u"broken", u"t"});
  draw(u"a\n1", u"a\n2");
  source.draw(u"dropped", u"a\n1");
  const Rows failing{{u"a"}, 9, [](int row, std::size_t) -> std::u16string {
                       if (row == 2) throw ado::Failure(ErrorNumber::failure, u"line is dead");
                       return u"1";
                     }};
  source.add(u"broken", failing);
  target.add(u"broken", failing);
  comparison.Compare();
  const auto& results = comparison.TableResults();
  ASSERT_EQ(results.size(), 3u);
  EXPECT_EQ(results[0].Error, u"rejected: select * from dropped");
  EXPECT_EQ(results[1].Error, u"line is dead");
  EXPECT_EQ(results[1].RowsCompared, 2);
  EXPECT_EQ(results[2].Differences, 1);
  EXPECT_EQ(source.usage.openRecordsets + target.usage.openRecordsets, 0);
}

TEST_F(TableComparison, AFailureOfTheListReachesTheCaller) {
  comparison.ConnSource = &target;
  EXPECT_THROW(comparison.Compare(), ado::Failure);
  comparison.ConnSource = nullptr;
  EXPECT_THROW(comparison.Compare(), RuntimeError);
}

TEST_F(TableComparison, WhatTheHostDidNotSetIsEachTablesError) {
  draw(u"a\n1", u"a\n1");
  comparison.AppPreferences = nullptr;
  EXPECT_EQ(compare().Error, u"AppPreferences is not set");
  comparison.ConnTarget = nullptr;
  EXPECT_EQ(compare().Error, u"ConnTarget is not set");
}

TEST_F(TableComparison, StreamsAndLooksNamesUpOncePerTable) {
  constexpr int kRows = 20'000;
  const auto numbered = [](int offset) {
    return Rows{{u"id", u"text"}, kRows, [offset](int row, std::size_t column) {
                  return decimalText(column == 0 ? row : row % 5'000 + offset);
                }};
  };
  source.add(u"t", numbered(0));
  target.add(u"t", numbered(1));
  comparison.Observer = nullptr;
  EXPECT_EQ(compare().Differences, kRows);
  EXPECT_EQ(source.usage.nameLookups, 0);
  EXPECT_EQ(target.usage.nameLookups, 2);
  EXPECT_TRUE(source.usage.onlyForwardOnly && target.usage.onlyForwardOnly);
  EXPECT_EQ(source.usage.mostOpenRecordsets, 2);
  EXPECT_EQ(target.usage.mostOpenRecordsets, 1);
}

}  // namespace
}  // namespace kelvane
