// FreeTDS's driver and a server: logins that are refused, connections that are lost, statements
// that are cancelled, and databases with all that is unusual.
#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <string>
#include <thread>

#include "drivers/embedded/engine/session.h"
#include "tests/odbc/servers.h"
#include "tests/tds/test_catalog.h"

namespace kelvane::testing {
namespace {

using tds::Fault;

constexpr odbc::ConnectOptions kLimits{std::chrono::seconds(10), std::chrono::seconds(1)};

std::string value(odbc::Connection& connection, std::u16string_view query) {
  return toUtf8(connection.Open(query, ado::kClientCursor)->Fields(0).Value().toText());
}

TEST(LiveLogin, IsRefusedWithAReason) {
  tds::ServerOptions options;
  options.users = {{"sa", {"se;cret"}}, {"ann", {"secret", true}}};
  const LiveServer server(embedded::EmbeddedCatalog(), options);
  const std::u16string known = tds::freeTdsSource(server.port(), u"sa", u"{se;cret}");
  const auto connection = odbc::connect(known, kLimits);
  EXPECT_EQ(value(*connection, u"select 1"), "1");

  const std::u16string nowhere = u"Driver=FreeTDS;TDS_Version=5.0;UID=sa;PWD=hush;Server=";
  const std::string unconnected = "Unable to connect to data source (08001, [FreeTDS][SQL Server])";
  const std::string loginFailed =
      "Login failed. (42000, 4002, [FreeTDS][SQL Server]); " + unconnected;
  struct Case {
    std::u16string source;
    std::string failure;
  };
  for (const Case& c : {
           Case{tds::freeTdsSource(server.port(), u"sa", u"wrong"), loginFailed},
           {tds::freeTdsSource(server.port(), u"ann", u"secret"), loginFailed},  // locked
           {known + u";Database=nosuch",
            "Attempt to locate entry in sysdatabases for database 'nosuch' by name failed - no "
            "entry found under that name. Make sure that name is entered properly. (08004, 911, "
            "[FreeTDS][SQL Server]); " +
                unconnected},
           {nowhere + u"127.0.0.1;Port=1",
            "Unable to connect: Adaptive Server is unavailable or does not exist (08S01, 20009, "
            "[FreeTDS][SQL Server]); " +
                unconnected},
           {nowhere + u"no-such-host.invalid;Port=5000",
            unconnected + "; Unknown host machine name. (01000, 20013, [FreeTDS][SQL Server])"},
       })
    EXPECT_EQ(failureOf([&] { odbc::connect(c.source, kLimits); }), c.failure);
}

TEST(LiveConnection, IsLostOnce) {
  // Closed by the server: killed, or its machine went down. Silence takes the time limit to find,
  // and is not waited for once more as long.
  for (const Fault::Kind kind : {Fault::Kind::close, Fault::Kind::silence}) {
    const bool silent = kind == Fault::Kind::silence;
    std::atomic<int> batches = 0;
    tds::ServerOptions options;
    options.fault = [&](const std::string& text, std::size_t) -> std::optional<Fault> {
      ++batches;
      if (text == "select 7") return Fault{kind};
      return std::nullopt;
    };
    const LiveServer server(embedded::EmbeddedCatalog(), options);
    const auto connection = server.connect({.queryLimit = std::chrono::seconds(4)});
    const std::string lost = "The connection to the server is lost";
    const std::string reason = silent ? "Timeout expired" : "Unexpected EOF from the server";
    EXPECT_EQ(failureOf([&] { value(*connection, u"select 7"); }), reason);
    ASSERT_FALSE(connection->Errors().empty());
    EXPECT_EQ(toUtf8(connection->Errors().back().Description),
              lost + (silent ? ": the server did not answer the cancellation within 1 s" : ""));
    const int before = batches;
    EXPECT_EQ(failureOf([&] { value(*connection, u"select 1"); }), lost);
    EXPECT_EQ(connection->Errors().size(), 1U);
    EXPECT_EQ(batches, before);
  }
  auto server = std::make_unique<LiveServer>();
  const auto connection = server->connect(kLimits);
  server.reset();
  EXPECT_NE(failureOf([&] { value(*connection, u"select 1"); }), "none");
  EXPECT_EQ(failureOf([&] { value(*connection, u"select 1"); }),
            "The connection to the server is lost");
}

TEST(LiveConnection, SurvivesAStatementThatTakesTooLong) {
  const LiveServer server(embedded::EmbeddedCatalog(),
                          tds::failing("select 7", {Fault::Kind::stall}));
  const auto connection = server.connect(kLimits);
  EXPECT_EQ(failureOf([&] { value(*connection, u"select 7"); }), "Timeout expired");
  EXPECT_EQ(value(*connection, u"select 1"), "1");
}

TEST(LiveCancel, EndsAStatementBeforeItsAnswer) {
  std::promise<void> arrived;
  tds::ServerOptions options;
  options.fault = [&](const std::string& text, std::size_t) -> std::optional<Fault> {
    if (text != "select 7") return std::nullopt;
    arrived.set_value();
    return Fault{Fault::Kind::stall};
  };
  const LiveServer server(embedded::EmbeddedCatalog(), options);
  const auto connection = server.connect();
  std::jthread canceller([&] {
    arrived.get_future().wait();
    connection->cancel();
  });
  EXPECT_EQ(failureOf([&] { value(*connection, u"select 7"); }), "The statement was cancelled");
  canceller.join();
  EXPECT_EQ(value(*connection, u"select 1"), "1");
}

// Without a limit FreeTDS itself would wait for ever: for the answer, within the rows and for the
// answer to its own cancellation of rows that nobody asks for any more.
TEST(LiveCancel, EndsAWaitForASilentServer) {
  std::string script = "create table t (a char(200) not null)\ngo\n";
  for (int i = 0; i < 100; ++i) script += "insert t values ('x')\n";
  script += "go\n";
  constexpr std::u16string_view kQuery = u"select a from t";
  for (const std::size_t after : {0, 5'000}) {
    const LiveServer server(tds::catalogOf(script),
                            tds::failing("select a", {Fault::Kind::silence, after}));
    const auto connection = server.connect();
    std::atomic<bool> ended = false;
    std::jthread canceller([&] {
      while (!ended) connection->cancel();
    });
    EXPECT_EQ(failureOf([&] {
                const auto rows = connection->Open(kQuery, ado::kForwardOnly);
                for (;;) rows->MoveNext();
              }),
              "The statement was cancelled");
    ended = true;
  }
  const LiveServer server(tds::catalogOf(script),
                          tds::failing("select a", {Fault::Kind::silence, 5'000}));
  const auto connection = server.connect();
  auto rows = connection->Open(kQuery, ado::kForwardOnly);
  connection->cancel();
  rows.reset();
  EXPECT_EQ(failureOf([&] { value(*connection, u"select 1"); }),
            "The connection to the server is lost");
}

TEST(LiveCancel, EndsRowsThatStream) {
  std::string script = "create table t (a char(200) not null)\ngo\n";
  for (int i = 0; i < 1000; ++i) script += "insert t values ('x')\n";
  const LiveServer server(tds::catalogOf(script + "go\n"));
  const auto connection = server.connect();
  constexpr std::u16string_view kEndless = u"select a.a, b.a, c.a from t a, t b, t c";  // 600 GB
  for (const bool fromAnotherThread : {false, true}) {
    const auto rows = connection->Open(kEndless, ado::kForwardOnly);
    for (int i = 0; i < 100; ++i) rows->MoveNext();
    std::jthread canceller;
    if (fromAnotherThread) {
      canceller = std::jthread([&] { connection->cancel(); });
    } else {
      connection->cancel();
    }
    EXPECT_EQ(failureOf([&] {
                for (;;) rows->MoveNext();
              }),
              "The statement was cancelled");
    canceller = {};
    EXPECT_EQ(value(*connection, u"select 1"), "1");
  }
  // Left before its end.
  connection->Open(kEndless, ado::kForwardOnly)->MoveNext();
  EXPECT_EQ(value(*connection, u"select 1"), "1");
}

TEST(LiveValues, OfAnyLengthArriveWhole) {
  // Around the borders of packets and of the pieces that values are read in, and 100 MB.
  for (const std::size_t length : {16, 511, 512, 513, 8'191, 8'192, 1'000'003, 100'000'000}) {
    embedded::EmbeddedCatalog catalog = tds::catalogOf(
        "create table t (t text null, i image null)\ninsert t values (null, null)\ngo\n");
    // No statement could make such values in good time.
    embedded::Database& store = catalog.server().catalog.store();
    const std::string table =
        *store.value<std::string>("SELECT 't' || id FROM sysobjects WHERE type = 'U'");
    store.execute("UPDATE " + table + " SET c1 = substr(hex(randomblob(" +
                  std::to_string(length / 2 + 1) + ")), 1, " + std::to_string(length) + ");" +
                  "UPDATE " + table + " SET c2 = CAST(c1 AS BLOB);" + "INSERT INTO " + table +
                  " VALUES ('last', NULL)");
    const std::string expected = *store.value<std::string>("SELECT c1 FROM " + table);
    ASSERT_EQ(expected.size(), length);
    const LiveServer server(std::move(catalog));
    const auto connection = server.connect();
    connection->Open(u"set textsize 2147483647", ado::kClientCursor);
    const auto rows = connection->Open(u"select t, i from t", ado::kForwardOnly);
    EXPECT_TRUE(std::get<std::u16string_view>(rows->Fields(0).Value()) == toUtf16(expected))
        << length;
    const auto image = std::get<ado::Bytes>(rows->Fields(1).Value());
    EXPECT_TRUE(std::string_view(reinterpret_cast<const char*>(image.data()), image.size()) ==
                expected)
        << length;
    rows->MoveNext();
    EXPECT_EQ(rows->Fields(0).Value().toText(), u"last");
    EXPECT_TRUE(rows->Fields(1).Value().isNull());
  }
}

TEST(LiveValues, ThatAreNoTextFail) {
  embedded::EmbeddedCatalog catalog =
      tds::catalogOf("create table t (t varchar(255) null)\ninsert t values (null)\ngo\n");
  embedded::Database& store = catalog.server().catalog.store();
  store.execute("UPDATE " +
                *store.value<std::string>("SELECT 't' || id FROM sysobjects WHERE type = 'U'") +
                " SET c1 = CAST(x'61FF' AS TEXT)");
  const LiveServer server(std::move(catalog));
  const auto connection = server.connect();
  EXPECT_EQ(failureOf([&] { value(*connection, u"select t from t"); }),
            "The ODBC driver cannot convert text of column 't': its bytes are not valid in the "
            "character set of the connection");
  EXPECT_EQ(value(*connection, u"select 1"), "1");
}

}  // namespace
}  // namespace kelvane::testing
