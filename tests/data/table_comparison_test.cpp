// Limits, pairing and failures of one table; what failures do to the call; cost per row.
#include "data/table_comparison.h"

#include <gmock/gmock.h>

#include "model/text.h"
#include "tests/support/scripted_connection.h"

namespace kelvane {
namespace {

using kelvane::testing::ScriptedConnection;
using ::testing::ElementsAre;

const std::string kList = "SELECT name FROM sysobjects WHERE type='U' order by name";

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

class TableComparison : public ::testing::Test {
 protected:
  TableComparison() {
    comparison.AppPreferences = &limits;
    comparison.ConnSource = &source;
    comparison.ConnTarget = &target;
    comparison.Observer = &listing;
  }
  // The outcome of a single table `t`, drawn for either side.
  TableResult compare(const std::string& left, const std::string& right) {
    source = ScriptedConnection();
    target = ScriptedConnection();
    source.on(kList, "name\nt").on("select * from t", left);
    target.on("select * from t", right);
    return compare();
  }
  TableResult compare() {
    listing.lines.clear();
    EXPECT_EQ(comparison.Compare(), False);
    EXPECT_EQ(comparison.TableResults().size(), 1u);
    return comparison.TableResults().at(0);
  }

  Limits limits;
  ScriptedConnection source, target;
  Listing listing;
  cTableComparison comparison;
};

TEST_F(TableComparison, AsksForTheListAndForEachTableByItsBareName) {
  source.on(kList, "name\na\n'b c'").on("select * from a", "x").on("select * from b c", "x");
  target.on("select * from a", "x").on("select * from b c", "x");
  EXPECT_EQ(comparison.Compare(), False);
  EXPECT_THAT(source.takeSent(), ElementsAre(kList, "select * from a", "select * from b c"));
  EXPECT_THAT(target.takeSent(), ElementsAre("select * from a", "select * from b c"));
  source = ScriptedConnection();
  source.on(kList, "name");
  EXPECT_EQ(comparison.Compare(), False);
  EXPECT_TRUE(comparison.TableResults().empty());
}

TEST_F(TableComparison, PairsRowsByPositionAndFieldsByTheSourcesNames) {
  const TableResult result = compare(R"(
    id | Name | gone
    1  | ann  | x
    2  | bob  | null
    3  | cy   | z)",
                                     R"(
    extra | NAME | id   | gone
    9     | ann  | 1.00 | y
    9     | rob  | 2    | q
    9     | cy   | 3    | null)");
  EXPECT_THAT(listing.lines, ElementsAre("t 1 gone: x | y", "t 2 Name: bob | rob"));
  EXPECT_EQ(result.Differences, 2);
  EXPECT_EQ(result.RowsCompared, 3);
  EXPECT_EQ(result.Ended, TableEnd::bothEnded);
}

TEST_F(TableComparison, StopsWithTheShorterSide) {
  EXPECT_EQ(compare("id\n1\n2\n3", "id\n1\n2").Ended, TableEnd::targetEnded);
  EXPECT_EQ(compare().RowsCompared, 2);
  EXPECT_EQ(compare("id", "id\n1").Ended, TableEnd::sourceEnded);
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
  for (const auto& expected : cases) {
    SCOPED_TRACE(::testing::Message() << expected.rows << " rows, " << expected.differences);
    limits.rows = expected.rows;
    limits.differences = expected.differences;
    const TableResult result = compare("a|b\n1|1\n1|1\n1|1", "a|b\n2|2\n2|2\n2|2");
    EXPECT_EQ(result.RowsCompared, expected.compared);
    EXPECT_EQ(result.Differences, expected.found);
    EXPECT_EQ(result.Ended, expected.ended);
  }
}

TEST_F(TableComparison, RowsCountTowardsTheirLimitOnlyWhileItIsOn) {
  struct LateLimit : AppPreferences {
    mutable int asked = 0;
    Boolean LimitDataCompareRows() const override { return ++asked > 2; }
    std::int32_t MaxDataCompareRows() const override { return 1; }
  } late;
  comparison.AppPreferences = &late;
  EXPECT_EQ(compare("a\n1\n1\n1\n1\n1", "a\n1\n1\n1\n1\n1").RowsCompared, 3);
}

TEST_F(TableComparison, AFieldThatTheTargetLacksFailsWhenARowNeedsIt) {
  const std::string left = "a|b|c\n1|2|3\n1|2|3";
  const TableResult result = compare(left, "a|c\n7|8\n7|8");
  EXPECT_EQ(result.Ended, TableEnd::error);
  EXPECT_FALSE(result.Error.empty());
  EXPECT_EQ(result.RowsCompared, 0);
  EXPECT_THAT(listing.lines, ElementsAre("t 1 a: 1 | 7"));
  EXPECT_EQ(compare(left, "a|c").Ended, TableEnd::targetEnded);
  limits.rows = 0;
  EXPECT_EQ(compare(left, "a|c\n7|8").Ended, TableEnd::rowLimit);
}

TEST_F(TableComparison, AFailureEndsItsTableOnly) {
  target.refuseOthers();
  source.on(kList, "name\ndropped\nodd\nt").on("select * from dropped", "a\n1");
  source.on("select * from odd", "closed").on("select * from t", "a\n1");
  target.on("select * from odd", "a\n1").on("select * from t", "a\n2");
  EXPECT_EQ(comparison.Compare(), False);
  const auto& results = comparison.TableResults();
  ASSERT_EQ(results.size(), 3u);
  EXPECT_EQ(results[0].Ended, TableEnd::error);
  EXPECT_EQ(results[1].Ended, TableEnd::error);
  EXPECT_EQ(results[2].Differences, 1);
}

TEST_F(TableComparison, WhatIsNotThereFailsTheCallOrTheTable) {
  compare("a\n1", "a\n1");
  comparison.AppPreferences = nullptr;
  EXPECT_EQ(compare().Error, u"AppPreferences is not set");
  comparison.ConnTarget = nullptr;
  EXPECT_EQ(compare().Error, u"ConnTarget is not set");
  source.failAt(1, ScriptedConnection::Fault::open);
  EXPECT_THROW(comparison.Compare(), ado::Failure);
  comparison.ConnSource = nullptr;
  EXPECT_THROW(comparison.Compare(), RuntimeError);
}

// A table `t` with rows that are made when they are asked for; counts what it is asked for.
class Generator final : public ado::Connection, ado::Recordset, ado::Field {
 public:
  int rows = 20'000, lookups = 0, opened = 0;

  std::unique_ptr<ado::Recordset> Open(std::u16string_view, const ado::OpenMode& mode) override {
    EXPECT_EQ(mode.location, ado::CursorLocation::server);
    EXPECT_EQ(mode.cursorType, ado::CursorType::forwardOnly);
    EXPECT_EQ(mode.lockType, ado::LockType::readOnly);
    auto result = std::make_unique<Generator>();
    result->owner_ = this;
    result->rows = opened++ == 0 && isList ? 1 : rows;
    return std::unique_ptr<ado::Recordset>(result.release());
  }
  const std::vector<ado::Error>& Errors() const override { return errors_; }
  bool isList = false;  // whether the first statement asks for the names

 private:
  ado::ObjectState State() const override { return ado::ObjectState::open; }
  std::int32_t RecordCount() const override { return -1; }
  bool EndOfRows() const override { return row_ == rows; }
  void MoveNext() override { text_ = decimalText(++row_); }
  bool NextRecordset() override { return false; }
  std::int32_t FieldCount() const override { return 1; }
  const ado::Field& Fields(std::int32_t) const override { return *this; }
  const ado::Field& Fields(std::u16string_view) const override {
    ++owner_->lookups;
    return *this;
  }
  void Sort(std::u16string_view) override {}
  const std::u16string& Name() const override { return name_; }
  ado::Value Value() const override { return std::u16string_view(text_); }

  Generator* owner_ = nullptr;
  int row_ = 0;
  std::u16string name_ = u"t", text_ = u"t";
  std::vector<ado::Error> errors_;
};

TEST_F(TableComparison, StreamsAndLooksNamesUpOncePerTable) {
  Generator left, right;
  left.isList = true;
  comparison.ConnSource = &left;
  comparison.ConnTarget = &right;
  EXPECT_EQ(compare().RowsCompared, 20'000);
  EXPECT_EQ(left.lookups, 0);
  EXPECT_EQ(right.lookups, 1);
}

}  // namespace
}  // namespace kelvane
