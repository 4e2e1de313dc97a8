// A server and a network that fail at every statement of a comparison and within its answer: the
// command ends, says what happened and never takes what it could not read for equal.
#include <algorithm>
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <ostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "cli/run.h"
#include "tests/odbc/servers.h"
#include "tests/tds/test_catalog.h"

namespace kelvane::testing {
namespace {

using tds::Fault;

// One object of each kind and all that a table can have.
constexpr const char* kDatabase = R"(
exec sp_addgroup clerks
exec sp_adduser ann, ann, clerks
exec sp_addtype code, 'char(2)', 'not null'
go
create rule upper_case as @code = upper(@code)
go
create default nothing as 0
go
exec sp_bindrule upper_case, code
go
create table customer (id int not null, constraint pk_customer primary key (id))
create table orders (id int identity, customer int not null, country code, n int default 1 not null
  check (n > 0), constraint pk_orders primary key (id),
  constraint fk_orders foreign key (customer) references customer (id))
create index ix_orders on orders (customer, country)
exec sp_bindefault nothing, 'orders.customer'
grant select on orders to clerks
go
create trigger tr_orders on orders for insert as print 'new'
go
create view busy as select id from orders
go
create procedure count_orders @country char(2) as select count(*) from orders
go
)";

// Where a server fails: at a statement, counted from the client's login, in which it sends the
// first one itself.
struct Place {
  std::size_t statement = 0;
  Fault fault;
};

void PrintTo(const Place& place, std::ostream* out) {
  constexpr std::array kKinds{"error", "close", "garbage", "silence", "stall"};
  *out << kKinds[static_cast<std::size_t>(place.fault.kind)] << " of "
       << static_cast<int>(place.fault.filler) << " after " << place.fault.after
       << " bytes at statement " << place.statement;
}

struct Outcome {
  int status = -1;
  std::string said;
};

using Connect = std::function<std::unique_ptr<ado::Connection>()>;
using Words = std::vector<std::string>;

// Compares a live side, the source, with the same database without a wire.
Outcome compareWithTwin(const Words& how, const Connect& live, embedded::EmbeddedCatalog& twin) {
  const cli::OpenSide open = [&](const cli::Place& place, const auto&) {
    const bool isTwin = std::get<cli::ScriptPlace>(place).paths.front() == "twin";
    try {
      return std::make_unique<ConnectionSide>(isTwin ? twin.connect() : live());
    } catch (const ado::Failure& failure) {
      throw cli::CommandError({failure.what()});
    }
  };
  std::ostringstream out, err;
  Words arguments{"compare", "live", "twin"};
  arguments.insert(arguments.end(), how.begin(), how.end());
  const int status = cli::run(arguments, {out, err}, open);
  return {status, err.str()};
}

// A live server that fails where it is told to, and the same database without a wire.
class FailingServer {
 public:
  explicit FailingServer(Words how) : how_(std::move(how)) {}

  Outcome compare(const std::optional<Place>& place) {
    {
      const std::lock_guard lock(mutex_);
      place_ = place;
      statements_ = 0;
    }
    return compareWithTwin(
        how_, [&] { return live_.connect(kLimits); }, twin_);
  }

  // How long the answers to all statements are, when nothing fails.
  std::vector<std::size_t> answers() {
    {
      const std::lock_guard lock(mutex_);
      answers_.clear();
    }
    const Outcome outcome = compare(std::nullopt);
    EXPECT_EQ(outcome.status, cli::kNoDifference) << outcome.said;
    const std::lock_guard lock(mutex_);
    return answers_;
  }

 private:
  static constexpr odbc::ConnectOptions kLimits{std::chrono::seconds(4), std::chrono::seconds(1)};

  tds::ServerOptions options() {
    tds::ServerOptions options;
    options.fault = [this](const std::string&, std::size_t) -> std::optional<Fault> {
      const std::lock_guard lock(mutex_);
      if (!place_ || statements_++ != place_->statement) return std::nullopt;
      return place_->fault;
    };
    options.answered = [this](std::size_t bytes) {
      const std::lock_guard lock(mutex_);
      answers_.push_back(bytes);
    };
    return options;
  }

  Words how_;
  std::mutex mutex_;
  std::optional<Place> place_;
  std::size_t statements_ = 0;
  std::vector<std::size_t> answers_;
  embedded::EmbeddedCatalog twin_ = tds::catalogOf(kDatabase);
  LiveServer live_{tds::catalogOf(kDatabase), options()};
};

// What may be read of a fault on standard error.
constexpr std::array kWords{"made to fail", "lost",           "EOF",
                            "Timeout",      "did not answer", "no answer to"};

// Most of the time is spent waiting for limits.
constexpr std::size_t kThreads = 12;

// A statement about several tables that is refused is asked again table by table.
bool wasAskedAgain(const Place& place, const Outcome& outcome) {
  return place.fault.kind == Fault::Kind::error && outcome.status == cli::kNoDifference &&
         outcome.said.find("source: ") == std::string::npos;
}

// How often was a fault harmless because the reader asked again?
std::size_t expectHonesty(const Words& how, const std::vector<Place>& places) {
  std::vector<Outcome> outcomes(places.size());
  std::atomic<std::size_t> next = 0;
  {
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < std::min(kThreads, places.size()); ++i) {
      threads.emplace_back([&] {
        FailingServer server(how);
        for (std::size_t at; (at = next++) < places.size();)
          outcomes[at] = server.compare(places[at]);
      });
    }
  }
  std::size_t askedAgain = 0;
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (wasAskedAgain(places[i], outcomes[i])) {
      ++askedAgain;
      continue;
    }
    const auto& [status, said] = outcomes[i];
    EXPECT_TRUE(status == cli::kError || status == cli::kNotProven)
        << ::testing::PrintToString(places[i]) << ": status " << status;
    EXPECT_TRUE(
        std::ranges::any_of(kWords, [&](const char* word) { return said.find(word) != said.npos; }))
        << ::testing::PrintToString(places[i]) << ": " << said;
  }
  return askedAgain;
}

struct WayOfReading {
  std::string name;
  Words how;
  std::size_t statements;  // at least
  std::size_t inParts;     // how many of them are asked again in parts when they are refused
  // Before which statement a table is dropped, and what is said then.
  std::u16string dropsBefore;
  std::string said;
};

void PrintTo(const WayOfReading& way, std::ostream* out) { *out << way.name; }

class LiveFaults : public ::testing::TestWithParam<WayOfReading> {};

INSTANTIATE_TEST_SUITE_P(
    Readers, LiveFaults,
    ::testing::Values(
        WayOfReading{"catalog",
                     {},
                     20,
                     3,
                     u"select c.id, c.number, c.colid, c.name",
                     "source: dbo.orders: it was dropped while the database was read"},
        WayOfReading{"published",
                     {"--published"},
                     40,
                     0,
                     u"exec sp_columns orders,dbo",
                     "source: Retrieving properties for Table orders: the server rejected "
                     "\"exec sp_helpindex 'dbo.orders'\": Object does not exist in this "
                     "database."}),
    [](const auto& info) { return info.param.name; });

TEST_P(LiveFaults, AtEveryStatement) {
  const std::size_t count = FailingServer(GetParam().how).answers().size();
  EXPECT_GT(count, GetParam().statements);
  std::vector<Place> places;
  // Clients can do without an answer to their login's statement.
  for (const Fault::Kind kind : {Fault::Kind::close, Fault::Kind::silence, Fault::Kind::garbage})
    places.push_back({0, {kind}});
  for (std::size_t statement = 1; statement < count; ++statement) {
    for (const Fault::Kind kind : {Fault::Kind::error, Fault::Kind::close, Fault::Kind::silence})
      places.push_back({statement, {kind}});
    places.push_back({statement, {Fault::Kind::garbage, 8}});
  }
  EXPECT_EQ(expectHonesty(GetParam().how, places), GetParam().inParts);
}

TEST_P(LiveFaults, AtEveryPointOfAnAnswer) {
  const std::vector<std::size_t> answers = FailingServer(GetParam().how).answers();
  std::vector<Place> places;
  for (std::size_t statement = 1; statement < answers.size(); statement += 6) {
    constexpr std::size_t kDone = 9;
    const std::size_t end = answers[statement];
    // In the packet's header, behind it, in the format, among the rows, before and in the DONE.
    for (const std::size_t after : {std::size_t{4}, std::size_t{8}, std::size_t{20}, end / 2,
                                    end - end / 4, end - kDone, end - 1}) {
      places.push_back({statement, {Fault::Kind::close, after}});
      places.push_back({statement, {Fault::Kind::silence, after}});
      // Garbage that is no token, and such as looks like the end of an answer. With others FreeTDS
      // may end the process: it asserts that it knows the type of every column.
      for (const char filler : {'\x5A', '\xFD', '\xFF'}) {
        if (after <= end - kDone)
          places.push_back({statement, {Fault::Kind::garbage, after, filler}});
      }
    }
  }
  EXPECT_EQ(expectHonesty(GetParam().how, places), 0U);
}

// Passes statements on, and drops a table before one that begins with certain words.
class DroppingConnection final : public ado::Connection {
 public:
  DroppingConnection(const LiveServer& server, std::u16string before)
      : before_(std::move(before)), inner_(server.connect()), other_(server.connect()) {}
  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override {
    if (source.starts_with(before_)) other_->Open(u"drop table orders", ado::kClientCursor);
    return inner_->Open(source, mode);
  }
  const std::vector<ado::Error>& Errors() const override { return inner_->Errors(); }

 private:
  std::u16string before_;
  std::unique_ptr<ado::Connection> inner_, other_;
};

TEST_P(LiveFaults, WhenATableIsDroppedMeanwhile) {
  const LiveServer live(tds::catalogOf(kDatabase));
  embedded::EmbeddedCatalog twin = tds::catalogOf(kDatabase);
  const auto [status, said] = compareWithTwin(
      GetParam().how,
      [&] { return std::make_unique<DroppingConnection>(live, GetParam().dropsBefore); }, twin);
  EXPECT_EQ(status, cli::kNotProven);
  EXPECT_NE(said.find(GetParam().said), std::string::npos) << said;
}

}  // namespace
}  // namespace kelvane::testing
