// What the component costs on top of ODBC, over the loopback interface: the same statements, sent
// by it and by a program that executes them, fetches every value as text and drops it. Both run in
// turn in each iteration; `ratio` is between the sums of their times.
#include <array>
#include <benchmark/benchmark.h>
#include <memory>
#include <sql.h>
#include <sqlext.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/in_turn.h"
#include "data/table_comparison.h"
#include "drivers/embedded/script.h"
#include "drivers/odbc/connection.h"
#include "inventory/read/reader.h"
#include "reader/ase_fetch.h"
#include "rows/compare_rows.h"
#include "rows/table_plan.h"
#include "support/tds_server/freetds_source.h"
#include "support/tds_server/server.h"

namespace kelvane::bench {
namespace {

embedded::EmbeddedCatalog catalogOf(const std::string& script) {
  embedded::EmbeddedCatalog catalog;
  if (!embedded::loadScript(catalog, "sample", script).succeeded())
    throw std::runtime_error("the sample script does not load");
  return catalog;
}

std::string tables(int count) {
  std::string script;
  for (int number = 1; number <= count; ++number) {
    const std::string name = "customer_" + std::to_string(number);
    script += "create table " + name +
              " (id int not null, name varchar(40) default 'x' not null, city varchar(30) null,"
              " discount numeric(5,2) null, since datetime not null, constraint pk_" +
              name + " primary key (id))\ngo\ncreate index ix_" + name + " on " + name +
              " (name)\ngo\n";
  }
  return script;
}

std::string payments(int count) {
  std::string script =
      "create table payment (id int not null, customer int not null, amount numeric(10,2) not null,"
      " paid datetime not null, method char(8) not null, note varchar(60) null, shop smallint null,"
      " price money null)\ngo\nset nocount on\n";
  for (int row = 1; row <= count; ++row) {
    const std::string number = std::to_string(row);
    script += "insert payment values (" + number + ", " + std::to_string(row % 997) + ", " +
              number + ".25, '2024-05-01 12:30', 'card', 'payment number " + number + "', 7, $" +
              number + ")\n";
    if (row % 100 == 0) script += "go\n";
  }
  return script;
}

class Served {
 public:
  explicit Served(const std::string& script) : catalog_(catalogOf(script)) {}
  std::u16string source() const { return tds::freeTdsSource(server_.port()); }

 private:
  embedded::EmbeddedCatalog catalog_;
  tds::TdsServer server_{catalog_};
};

/// A program without the component. What goes wrong ends it.
class BareConnection {
 public:
  explicit BareConnection(std::u16string_view source) {
    SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment_);
    const auto version = reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3);  // NOLINT: a number
    SQLSetEnvAttr(environment_, SQL_ATTR_ODBC_VERSION, version, 0);
    SQLAllocHandle(SQL_HANDLE_DBC, environment_, &connection_);
    std::string text = toUtf8(source);
    require(SQLDriverConnect(connection_, nullptr, reinterpret_cast<SQLCHAR*>(text.data()), SQL_NTS,
                             nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT));
  }
  ~BareConnection() {
    SQLDisconnect(connection_);
    SQLFreeHandle(SQL_HANDLE_DBC, connection_);
    SQLFreeHandle(SQL_HANDLE_ENV, environment_);
  }
  BareConnection(const BareConnection&) = delete;
  BareConnection& operator=(const BareConnection&) = delete;

  SQLHDBC handle() const { return connection_; }
  static void require(SQLRETURN outcome) {
    if (!SQL_SUCCEEDED(outcome) && outcome != SQL_NO_DATA)
      throw std::runtime_error("an ODBC call failed");
  }

 private:
  SQLHENV environment_ = nullptr;
  SQLHDBC connection_ = nullptr;
};

class BareStatement {
 public:
  BareStatement(const BareConnection& connection, std::string text) {
    SQLAllocHandle(SQL_HANDLE_STMT, connection.handle(), &statement_);
    BareConnection::require(
        SQLExecDirect(statement_, reinterpret_cast<SQLCHAR*>(text.data()), SQL_NTS));
  }
  ~BareStatement() { SQLFreeHandle(SQL_HANDLE_STMT, statement_); }
  BareStatement(const BareStatement&) = delete;
  BareStatement& operator=(const BareStatement&) = delete;

  bool fetchRow() {
    SQLSMALLINT columns = 0;
    SQLNumResultCols(statement_, &columns);
    if (columns == 0) return false;
    const SQLRETURN outcome = SQLFetch(statement_);
    BareConnection::require(outcome);
    if (outcome == SQL_NO_DATA) return false;
    for (SQLUSMALLINT column = 1; column <= static_cast<SQLUSMALLINT>(columns); ++column) {
      SQLLEN length = 0;
      SQLRETURN piece = SQL_SUCCESS;
      do {
        piece = SQLGetData(statement_, column, SQL_C_CHAR, text_.data(), text_.size(), &length);
        BareConnection::require(piece);
      } while (piece == SQL_SUCCESS_WITH_INFO);
    }
    return true;
  }
  void fetchAll() {
    do {
      while (fetchRow()) {
      }
    } while (SQLMoreResults(statement_) != SQL_NO_DATA);
  }

 private:
  SQLHSTMT statement_ = nullptr;
  std::array<char, 4096> text_{};
};

/// What a reader sends over it.
class RecordingConnection final : public ado::Connection {
 public:
  explicit RecordingConnection(ado::Connection& inner) : inner_(inner) {}
  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override {
    statements.push_back(toUtf8(source));
    return inner_.Open(source, mode);
  }
  const std::vector<ado::Error>& Errors() const override { return inner_.Errors(); }

  std::vector<std::string> statements;

 private:
  ado::Connection& inner_;
};

struct SilentEvents final : IDBFetchEvents {
  void StartProcessing(const std::u16string&, const Boolean&, const enumObjectType&) override {}
  void Processing(const std::u16string&, const std::int16_t&, const enumObjectType&) override {}
  void EndProcessing(const enumObjectType&) override {}
};

Schema readAll(ado::Connection& connection) {
  cASE_Fetch reader;
  reader.conn(&connection);
  const auto options = std::make_shared<cComparisonOptions>();
  for (const Switch& one : kSwitches) (*options).*one.value = True;
  reader.CompareOptions(options);
  cAppliesTo& scope = *reader.AppliesTo();
  scope.AllTables = scope.AllViews = scope.AllStoredProcs = scope.AllFunctions = True;
  scope.AllUDDTs = scope.AllUsers = scope.AllGroups = True;
  SilentEvents events;
  if (!reader.Fetch(events)) throw std::runtime_error(toUtf8(reader.LastError()));
  return reader.Results();
}

void BM_FetchOverWire(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  const Served served(tables(count));
  const auto connection = odbc::connect(served.source());
  RecordingConnection recording(*connection);
  if (readAll(recording).Tables.count() != count) throw std::runtime_error("tables are missing");
  const BareConnection bare(served.source());
  inTurn(
      state, [&] { benchmark::DoNotOptimize(readAll(*connection)); },
      [&] {
        for (const std::string& text : recording.statements) BareStatement(bare, text).fetchAll();
      });
  state.counters["per_table"] = benchmark::Counter(
      count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_FetchOverWire)->Arg(100)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_ReadInventoryOverWire(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const Served served(tables(static_cast<int>(count)));
  const auto connection = odbc::connect(served.source());
  RecordingConnection recording(*connection);
  if (inventory::read(recording).tables.size() != count)
    throw std::runtime_error("tables are missing");
  const BareConnection bare(served.source());
  inTurn(
      state, [&] { benchmark::DoNotOptimize(inventory::read(*connection)); },
      [&] {
        for (const std::string& text : recording.statements) BareStatement(bare, text).fetchAll();
      });
  state.counters["statements"] = static_cast<double>(recording.statements.size());
}
BENCHMARK(BM_ReadInventoryOverWire)
    ->Arg(100)
    ->Arg(2'000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void BM_CompareRowsOverWire(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  const Served served(payments(count));
  const auto source = odbc::connect(served.source());
  const auto target = odbc::connect(served.source());
  const BareConnection bareSource(served.source()), bareTarget(served.source());
  const AppPreferences preferences;
  inTurn(
      state,
      [&] {
        cTableComparison comparison;
        comparison.ConnSource = source.get();
        comparison.ConnTarget = target.get();
        comparison.AppPreferences = &preferences;
        comparison.Compare();
        const TableResult& result = comparison.TableResults().at(0);
        if (result.RowsCompared != count || result.Differences != 0)
          throw std::runtime_error("the rows are not read as they were made");
      },
      [&] {
        BareStatement first(bareSource, "select * from payment");
        BareStatement second(bareTarget, "select * from payment");
        while (first.fetchRow() && second.fetchRow()) {
        }
      });
  state.counters["rows"] = benchmark::Counter(count, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_CompareRowsOverWire)->Arg(20'000)->UseManualTime()->Unit(benchmark::kMillisecond);

class CountOfRows final : public rows::RowObserver {
 public:
  void rowsDiffer(const rows::DifferingRows&) override { ++differing; }
  bool goesOn(const rows::RowCounts&) override { return true; }
  std::int64_t differing = 0;
};

/// Beside a program that fetches both sides at once, each in a thread.
void BM_CompareByKeyOverWire(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  const std::string script = payments(count);
  const Served ofSource(script), ofTarget(script);
  const auto source = odbc::connect(ofSource.source());
  const auto target = odbc::connect(ofTarget.source());
  const inventory::Database database = inventory::read(*source);
  const rows::PlannedTable table{database, database.tables.at(0)};
  const rows::TablePlan plan = rows::planOf(table, table, {.key = {"id"}});
  const auto opened = [&](ado::Connection& connection) {
    return [&] {
      return rows::openStatement(connection, plan.selects[0].text(), plan.columns.size());
    };
  };
  const BareConnection bareSource(ofSource.source()), bareTarget(ofTarget.source());
  const std::string text = toUtf8(plan.selects[0].text());
  inTurn(
      state,
      [&] {
        rows::RowStream one(opened(*source), plan.layout()), two(opened(*target), plan.layout());
        CountOfRows observer;
        bool isWhole = false;
        if (rows::compareRows(one, two, plan.pairing, observer, isWhole).equal != count)
          throw std::runtime_error("the rows are not read as they were made");
      },
      [&] {
        std::thread other([&] { BareStatement(bareTarget, text).fetchAll(); });
        BareStatement(bareSource, text).fetchAll();
        other.join();
      });
  state.counters["rows"] = benchmark::Counter(count, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_CompareByKeyOverWire)
    ->Arg(100'000)
    ->UseManualTime()
    ->MinTime(3)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelvane::bench
