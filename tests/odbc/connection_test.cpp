#include "drivers/odbc/connection.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

#include "tests/odbc/servers.h"

namespace kelvane::testing {
namespace {

constexpr std::u16string_view kEndless =
    u"with recursive n(i) as (select 1 union all select i + 1 from n) select i from n";

std::string shown(const ado::Recordset& rows, std::int32_t ordinal) {
  const ado::Value value = rows.Fields(ordinal).Value();
  return value.isNull() ? "null" : toUtf8(value.toText());
}

std::vector<std::string> shownRow(const ado::Recordset& rows) {
  std::vector<std::string> values(static_cast<std::size_t>(rows.FieldCount()));
  for (std::int32_t i = 0; i < rows.FieldCount(); ++i)
    values[static_cast<std::size_t>(i)] = shown(rows, i);
  return values;
}

// The first column of the rows from the current one on.
std::string rest(ado::Recordset& rows) {
  std::string text;
  for (; !rows.EndOfRows(); rows.MoveNext()) text += (text.empty() ? "" : " ") + shown(rows, 0);
  return text;
}

TEST(OdbcConnection, SaysWhyItCannotConnect) {
  EXPECT_EQ(failureOf([] { odbc::connect(u"DSN=no such source;UID=sa;PWD=hush"); }),
            "Data source name not found and no default driver specified (IM002, "
            "[unixODBC][Driver Manager])");
  EXPECT_EQ(failureOf([] { sqlite("/no such folder/file"); }),
            "connect failed (HY000, 14, [SQLite])");
  EXPECT_EQ(failureOf([] { odbc::connect(std::u16string(40'000, u'x')); }),
            "The connection string is too long");
}

TEST(OdbcConnection, GivesUpAServerThatNeverAnswers) {
  // Left open: the driver's thread is still waiting.
  static const SilentServer server;
  EXPECT_EQ(failureOf([] {
              odbc::connect(
                  u"Driver=FreeTDS;TDS_Version=5.0;UID=sa;PWD=hush;Server=127.0.0.1;Port=" +
                      decimalText(server.port()),
                  {.loginLimit = std::chrono::seconds(1)});
            }),
            "The server did not answer the login within 1 s (HYT00, ODBC)");
}

TEST(OdbcConnection, KeepsWhatTheServerSaid) {
  const auto connection = sqlite();
  for (const ado::OpenMode& mode : {ado::kClientCursor, ado::kForwardOnly}) {
    EXPECT_EQ(failureOf([&] { connection->Open(u"select * from nowhere", mode); }),
              "no such table: nowhere (1)");
    const std::vector<ado::Error> expected{
        {-2147467259, u"no such table: nowhere (1)", 1, u"[SQLite]", u"HY000"}};
    EXPECT_EQ(connection->Errors(), expected);
  }
}

TEST(OdbcConnection, RefusesTextThatTheDriverWouldSpoil) {
  const auto connection = sqlite();  // its driver has no wide functions
  EXPECT_NE(failureOf([&] {
              connection->Open(u"select '\u20AC'", ado::kClientCursor);
            }).find("does not support Unicode"),
            std::string::npos);
  EXPECT_EQ(connection->Errors().size(), 1u);
  const auto rows = connection->Open(u"select char(8364, 233, 128512)", ado::kClientCursor);
  EXPECT_EQ(rest(*rows), "\u20AC\u00E9\U0001F600");
}

TEST(OdbcConnection, HasAValueForEveryType) {
  const auto connection = sqlite();
  connection->Open(
      u"create table v (a bigint, b bigint, c tinyint, d bit, e real, f double, g date, h time, "
      u"i timestamp, j varchar(20), k text, l blob)",
      ado::kClientCursor);
  connection->Open(
      u"insert into v values (9223372036854775807, -9223372036854775808, 255, 1, 2.25, -1e300, "
      u"'2024-02-29', '23:59:59.996', '1753-01-01 13:05:00.123', '', ' x ', x'00FF10')",
      ado::kClientCursor);
  connection->Open(
      u"insert into v values "
      u"(null, null, null, null, null, null, null, null, null, null, null, null)",
      ado::kClientCursor);
  const std::vector<std::string> expected{"9223372036854775807",
                                          "-9223372036854775808",
                                          "255",
                                          "True",
                                          "2.25",
                                          "-1e+300",
                                          "2024-02-29",
                                          "23:59:59.996",
                                          "1753-01-01 13:05:00.123",
                                          "",
                                          " x ",
                                          "0x00ff10"};
  for (const ado::OpenMode& mode : {ado::kClientCursor, ado::kForwardOnly}) {
    const auto rows = connection->Open(u"select * from v", mode);
    EXPECT_EQ(shownRow(*rows), expected);
    rows->MoveNext();
    EXPECT_EQ(shownRow(*rows), std::vector<std::string>(expected.size(), "null"));
  }
}

TEST(OdbcConnection, ReadsLongValuesInPiecesAndInAnyOrder) {
  const auto connection = sqlite();
  connection->Open(u"create table long_values (t text, b blob, n integer)", ado::kClientCursor);
  // Around the length of the first piece, and 5 MB.
  for (const std::int64_t length : {510, 511, 512, 513, 1023, 5'000'000}) {
    connection->Open(u"delete from long_values", ado::kClientCursor);
    connection->Open(
        u"insert into long_values values (replace(hex(zeroblob(" + decimalText((length + 1) / 2) +
            u")), '00', char(8364) || 'y'), zeroblob(" + decimalText(length) + u"), 7)",
        ado::kClientCursor);
    std::u16string expected;
    for (std::int64_t i = 0; i < (length + 1) / 2; ++i) expected += u"\u20ACy";
    for (const ado::OpenMode& mode : {ado::kForwardOnly, ado::kClientCursor}) {
      const auto rows = connection->Open(u"select * from long_values", mode);
      EXPECT_EQ(rows->Fields(2).Value().toLong(), 7);
      EXPECT_EQ(std::get<ado::Bytes>(rows->Fields(1).Value()).size(),
                static_cast<std::size_t>(length));
      EXPECT_TRUE(std::get<std::u16string_view>(rows->Fields(0).Value()) == expected) << length;
    }
    const auto rows = connection->Open(u"select * from long_values", ado::kForwardOnly);
    std::u16string text;
    std::size_t longest = 0, bytes = 0;
    rows->Fields(0).Parts([&](const ado::Value& part) {
      text += std::get<std::u16string_view>(part);
      longest = std::max(longest, text.size() - bytes);
      bytes = text.size();
    });
    EXPECT_TRUE(text == expected) << length;
    EXPECT_LE(longest, std::size_t{3} << 17) << length;
    bytes = 0;
    rows->Fields(1).Parts(
        [&](const ado::Value& part) { bytes += std::get<ado::Bytes>(part).size(); });
    EXPECT_EQ(bytes, static_cast<std::size_t>(length));
    rows->Fields(2).Parts([](const ado::Value& part) { EXPECT_EQ(part.toLong(), 7); });
  }
}

TEST(OdbcForwardOnly, ReadsNoFurtherThanAsked) {
  const auto connection = sqlite(":memory:;StepAPI=1");
  const auto rows = connection->Open(kEndless, ado::kForwardOnly);
  EXPECT_EQ(rows->RecordCount(), -1);
  for (int i = 1; i < 1000; ++i) rows->MoveNext();
  EXPECT_EQ(shown(*rows, 0), "1000");
  EXPECT_THROW(rows->Sort(u"i"), RuntimeError);
  EXPECT_FALSE(rows->NextRecordset());
  EXPECT_EQ(rows->State(), ado::ObjectState::closed);
  EXPECT_THROW(rows->EndOfRows(), RuntimeError);
  EXPECT_EQ(rest(*connection->Open(u"select 1", ado::kForwardOnly)), "1");
}

TEST(OdbcForwardOnly, KeepsItsRowsWhenAnotherStatementIsOpened) {
  const auto connection = sqlite(":memory:;StepAPI=1");
  const auto numbers = [&](std::u16string_view last) {
    return connection->Open(
        u"select 1 as i union all select 2 union all select " + std::u16string(last),
        ado::kForwardOnly);
  };
  const auto first = numbers(u"3");
  const ado::Field& field = first->Fields(u"I");
  const auto second = numbers(u"4");
  EXPECT_EQ(field.Value().toLong(), 1);
  first->MoveNext();
  EXPECT_EQ(field.Value().toLong(), 2);
  EXPECT_EQ(rest(*first), "2 3");
  EXPECT_THROW(first->MoveNext(), RuntimeError);
  EXPECT_FALSE(first->NextRecordset());
  EXPECT_EQ(rest(*second), "1 2 4");

  // What fails among the rows that are kept is raised where they would have been read.
  const auto broken = numbers(u"abs(-9223372036854775808)");
  EXPECT_FALSE(connection->Open(u"select 1", ado::kForwardOnly)->EndOfRows());
  EXPECT_TRUE(connection->Errors().empty());
  EXPECT_EQ(shown(*broken, 0), "1");
  EXPECT_FALSE(broken->EndOfRows());
  EXPECT_NE(failureOf([&] { rest(*broken); }).find("integer overflow"), std::string::npos);
  EXPECT_EQ(connection->Errors().size(), 1u);
  EXPECT_EQ(broken->State(), ado::ObjectState::closed);
}

TEST(OdbcForwardOnly, ClosesWhenTheRowsBreakOff) {
  const auto connection = sqlite(":memory:;StepAPI=1");
  constexpr std::u16string_view kBreaksOff = u"select 1 union all select abs(-9223372036854775808)";
  const auto rows = connection->Open(kBreaksOff, ado::kForwardOnly);
  EXPECT_NE(failureOf([&] { rest(*rows); }).find("integer overflow"), std::string::npos);
  EXPECT_EQ(connection->Errors().size(), 1u);
  EXPECT_THROW(rows->EndOfRows(), RuntimeError);  // not taken for the end of rows
  EXPECT_THROW(connection->Open(kBreaksOff, ado::kClientCursor), ado::Failure);
}

TEST(OdbcCancel, EndsTheStatementUnderWay) {
  const auto connection = sqlite(":memory:;StepAPI=1");
  connection->cancel();  // nothing is under way
  const auto rows = connection->Open(kEndless, ado::kForwardOnly);
  connection->cancel();
  EXPECT_EQ(failureOf([&] { rows->MoveNext(); }), "The statement was cancelled");
  EXPECT_EQ(connection->Errors().front().SQLState, u"HY008");

  std::atomic<bool> ended = false;
  std::thread canceller([&] {
    while (!ended) connection->cancel();
  });
  EXPECT_EQ(failureOf([&] {
              connection->Open(u"select count(*) from (" + std::u16string(kEndless) + u")",
                               ado::kClientCursor);
            }),
            "The statement was cancelled");
  ended = true;
  canceller.join();
  EXPECT_EQ(rest(*connection->Open(u"select 1", ado::kClientCursor)), "1");
}

}  // namespace
}  // namespace kelvane::testing
