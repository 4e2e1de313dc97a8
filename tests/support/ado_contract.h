// What every driver of the data-access interface must do with a client-side cursor, as a test
// suite. A driver's test program includes this once and instantiates AdoContractTest with its
// factory.
#pragma once

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>

#include "ado/ado.h"
#include "model/text.h"

namespace kelvane::testing {

// A connection and the statements that make its server give the results that are described.
struct AdoContract {
  std::unique_ptr<ado::Connection> connection;
  std::u16string rows;        // Number int, Name varchar: (2,b) (null,a) (10,B) (2,A)
  std::u16string noRows;      // the same columns without a row
  std::u16string twoResults;  // one column and row each: 1, then 2; empty where the server cannot
  std::u16string noResult;    // a statement that gives no columns
  std::u16string refused;     // a statement that the server refuses
};
using AdoContractFactory = AdoContract (*)();

// With the statements of an ASE server, and their table made on it.
inline AdoContract aseContract(std::unique_ptr<ado::Connection> connection) {
  connection->Open(
      u"create table pairs (Number int null, Name varchar(10) not null) "
      u"insert pairs values (2, 'b') insert pairs values (null, 'a') "
      u"insert pairs values (10, 'B') insert pairs values (2, 'A')",
      ado::kClientCursor);
  return {std::move(connection),
          u"select Number, Name from pairs",
          u"select Number, Name from pairs where Name = 'c'",
          u"select first = 1 select second = 2",
          u"declare @nothing int",
          u"select Number from no_such_table"};
}

class AdoContractTest : public ::testing::TestWithParam<AdoContractFactory> {
 protected:
  std::unique_ptr<ado::Recordset> open(const std::u16string& statement) {
    return driver_.connection->Open(statement, ado::kClientCursor);
  }
  // The rows from the current one on, as `2b -a`.
  static std::string rest(ado::Recordset& rows) {
    std::string text;
    for (; !rows.EndOfRows(); rows.MoveNext()) {
      const ado::Value number = rows.Fields(0).Value();
      text += (text.empty() ? "" : " ") + (number.isNull() ? "-" : toUtf8(number.toText())) +
              toUtf8(rows.Fields(u"name").Value().toText());
    }
    return text;
  }
  template <class Call>
  static std::int32_t errorOf(Call&& call) {
    try {
      call();
    } catch (const RuntimeError& error) {
      return error.Number();
    }
    return 0;
  }
  static constexpr auto kItemNotFound = static_cast<std::int32_t>(ErrorNumber::itemNotFound);

  AdoContract driver_ = GetParam()();
};

TEST_P(AdoContractTest, CountsAndWalksTheRows) {
  const auto rows = open(driver_.rows);
  EXPECT_EQ(rows->State(), ado::ObjectState::open);
  EXPECT_EQ(rows->RecordCount(), 4);
  EXPECT_EQ(rest(*rows), "2b -a 10B 2A");
  EXPECT_EQ(rows->RecordCount(), 4);
  EXPECT_THROW(rows->MoveNext(), RuntimeError);
  EXPECT_THROW(rows->Fields(0).Value(), RuntimeError);
  EXPECT_FALSE(rows->NextRecordset());
  EXPECT_EQ(rows->State(), ado::ObjectState::closed);

  const auto none = open(driver_.noRows);
  EXPECT_EQ(none->State(), ado::ObjectState::open);
  EXPECT_EQ(none->RecordCount(), 0);
  EXPECT_EQ(none->FieldCount(), 2);
  EXPECT_TRUE(none->EndOfRows());
  none->Sort(u"Name");
  EXPECT_THROW(none->MoveNext(), RuntimeError);

  const auto forward = driver_.connection->Open(driver_.rows, ado::kForwardOnly);
  forward->MoveNext();
  EXPECT_EQ(rest(*open(driver_.rows)), "2b -a 10B 2A");
  EXPECT_EQ(rest(*forward), "-a 10B 2A");
}

TEST_P(AdoContractTest, FindsFieldsByOrdinalAndName) {
  const auto rows = open(driver_.rows);
  EXPECT_EQ(rows->FieldCount(), 2);
  EXPECT_EQ(rows->Fields(0).Name(), u"Number");
  EXPECT_EQ(rows->Fields(1).Name(), u"Name");
  EXPECT_EQ(&rows->Fields(u"NUMBER"), &rows->Fields(0));
  EXPECT_EQ(rows->Fields(0).Value().toLong(), 2);
  EXPECT_EQ(errorOf([&] { rows->Fields(2); }), kItemNotFound);
  EXPECT_EQ(errorOf([&] { rows->Fields(-1); }), kItemNotFound);
  EXPECT_EQ(errorOf([&] { rows->Fields(u"absent"); }), kItemNotFound);
}

TEST_P(AdoContractTest, SortsAndStartsAnew) {
  const auto rows = open(driver_.rows);
  const auto sorted = [&](std::u16string_view criteria) {
    rows->Sort(criteria);
    return rest(*rows);
  };
  EXPECT_EQ(sorted(u"Name ASC, Number DESC"), "2A -a 10B 2b");
  EXPECT_EQ(sorted(u"number"), "-a 2A 2b 10B");  // equal numbers keep the order of the sort before
  EXPECT_EQ(sorted(u"NAME desc"), "2b 10B -a 2A");
  EXPECT_EQ(errorOf([&] { rows->Sort(u"absent ASC"); }), kItemNotFound);
}

TEST_P(AdoContractTest, GoesThroughSeveralResults) {
  if (driver_.twoResults.empty()) GTEST_SKIP() << "The server gives one result at a time.";
  const auto results = open(driver_.twoResults);
  EXPECT_EQ(results->Fields(0).Value().toLong(), 1);
  ASSERT_TRUE(results->NextRecordset());
  EXPECT_EQ(results->RecordCount(), 1);
  EXPECT_EQ(results->Fields(0).Value().toLong(), 2);
  EXPECT_FALSE(results->NextRecordset());
  EXPECT_FALSE(results->NextRecordset());
}

TEST_P(AdoContractTest, IsClosedWithoutColumns) {
  const auto nothing = open(driver_.noResult);
  EXPECT_EQ(nothing->State(), ado::ObjectState::closed);
  EXPECT_EQ(nothing->FieldCount(), 0);
  EXPECT_THROW(nothing->RecordCount(), RuntimeError);
  EXPECT_THROW(nothing->EndOfRows(), RuntimeError);
  EXPECT_THROW(nothing->Sort(u"Name"), RuntimeError);
  EXPECT_EQ(errorOf([&] { nothing->Fields(0); }), kItemNotFound);
}

TEST_P(AdoContractTest, LeavesErrorsPendingUntilTheNextStatement) {
  const auto before = open(driver_.rows);
  EXPECT_THROW(open(driver_.refused), ado::Failure);
  ASSERT_FALSE(driver_.connection->Errors().empty());
  EXPECT_FALSE(driver_.connection->Errors().front().Description.empty());
  EXPECT_EQ(rest(*before), "2b -a 10B 2A");
  open(driver_.rows);
  EXPECT_TRUE(driver_.connection->Errors().empty());
}

}  // namespace kelvane::testing
