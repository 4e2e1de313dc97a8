// What rows cost in the embedded catalog, beside a program that uses SQLite alone: writing them
// with scripts, and reading them through a forward-only recordset.
#include <benchmark/benchmark.h>
#include <cstdint>
#include <functional>
#include <memory>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "bench/in_turn.h"
#include "bench/live_bytes.h"
#include "drivers/embedded/script.h"

namespace kelvane::bench {
namespace {

constexpr int kRows = 200'000;
constexpr int kColumns = 10;

constexpr const char* kTable =
    "create table payment (id int not null, customer int not null, amount numeric(10,2) not null,"
    " price money null, rate float null, paid datetime not null, method char(8) not null,"
    " note varchar(60) null, shop smallint null, remark varchar(40) null)\ngo\n";

// One statement a line. The numbers that SQLite stores for them are those of BareDatabase.
std::string insertScript(int batchSize) {
  std::string script;
  for (int row = 1; row <= kRows; ++row) {
    const std::string number = std::to_string(row);
    script += "insert payment values (" + number + ", " + std::to_string(row % 997) + ", " +
              number + ".25, $" + number + ".5, " + std::to_string(row % 100) +
              ".125e0, '2024-05-01 12:30', 'card', 'payment number " + number + "', " +
              std::to_string(row % 7) + ", null)\n";
    if (row % batchSize == 0) script += "go\n";
  }
  return script;
}

embedded::EmbeddedCatalog catalogOf(const std::string& script) {
  embedded::EmbeddedCatalog catalog;
  if (!embedded::loadScript(catalog, "sample", script).succeeded())
    throw std::runtime_error("the sample script does not load");
  return catalog;
}

/// A program without the component. Its table is in an unnamed file, as the catalog's tables are.
class BareDatabase {
 public:
  BareDatabase() {
    require(sqlite3_open_v2("", &connection_,
                            SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                            nullptr));
    execute("CREATE TABLE payment(c1, c2, c3, c4, c5, c6, c7, c8, c9, c10)");
  }
  ~BareDatabase() { sqlite3_close_v2(connection_); }
  BareDatabase(const BareDatabase&) = delete;
  BareDatabase& operator=(const BareDatabase&) = delete;

  void execute(const char* sql) {
    require(sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr));
  }

  // Parses nothing: it makes the values while it binds them. One transaction for all rows.
  void insertRows() {
    execute("BEGIN");
    sqlite3_stmt* insert = prepared("INSERT INTO payment VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    std::string note;
    for (int row = 1; row <= kRows; ++row) {
      note = "payment number ";
      note += std::to_string(row);
      sqlite3_bind_int(insert, 1, row);
      sqlite3_bind_int(insert, 2, row % 997);
      sqlite3_bind_double(insert, 3, row + .25);
      sqlite3_bind_double(insert, 4, row + .5);
      sqlite3_bind_double(insert, 5, row % 100 + .125);
      sqlite3_bind_int64(insert, 6, 3'923'641'800'000'000);
      sqlite3_bind_text(insert, 7, "card", 4, SQLITE_STATIC);
      sqlite3_bind_text(insert, 8, note.data(), static_cast<int>(note.size()), SQLITE_TRANSIENT);
      sqlite3_bind_int(insert, 9, row % 7);
      sqlite3_bind_null(insert, 10);
      if (sqlite3_step(insert) != SQLITE_DONE) throw std::runtime_error("SQLite refused a row");
      sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    execute("COMMIT");
  }

  // Asks for each value by its type, and for the first unit of each text.
  std::int64_t readRows() {
    std::int64_t seen = 0;
    sqlite3_stmt* select = prepared("SELECT c1, c2, c3, c4, c5, c6, c7, c8, c9, c10 FROM payment");
    while (sqlite3_step(select) == SQLITE_ROW) {
      for (int column = 0; column < kColumns; ++column) seen += touched(select, column);
    }
    sqlite3_finalize(select);
    return seen;
  }

 private:
  static void require(int code) {
    if (code != SQLITE_OK) throw std::runtime_error("an SQLite call failed");
  }
  sqlite3_stmt* prepared(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    require(sqlite3_prepare_v2(connection_, sql, -1, &statement, nullptr));
    return statement;
  }
  static std::int64_t touched(sqlite3_stmt* row, int column) {
    switch (sqlite3_column_type(row, column)) {
      case SQLITE_INTEGER:
        return sqlite3_column_int64(row, column);
      case SQLITE_FLOAT:
        return static_cast<std::int64_t>(sqlite3_column_double(row, column));
      case SQLITE_TEXT: {
        const unsigned char* text = sqlite3_column_text(row, column);
        return sqlite3_column_bytes(row, column) + text[0];
      }
      default:
        return 1;
    }
  }

  sqlite3* connection_ = nullptr;
};

struct Touch {
  std::int64_t operator()(ado::Null) const { return 1; }
  std::int64_t operator()(std::u16string_view text) const {
    return static_cast<std::int64_t>(text.size()) + text[0];
  }
  std::int64_t operator()(const ado::Decimal& number) const {
    return static_cast<std::int64_t>(number.magnitude[0]);
  }
  std::int64_t operator()(const ado::DateTime& moment) const {
    return moment.days + moment.nanoseconds;
  }
  std::int64_t operator()(ado::Bytes bytes) const {
    return static_cast<std::int64_t>(bytes.size());
  }
  std::int64_t operator()(auto number) const { return static_cast<std::int64_t>(number); }
};

int readRows(ado::Connection& connection) {
  const auto rows = connection.Open(u"select * from payment", ado::kForwardOnly);
  int count = 0;
  std::int64_t seen = 0;
  for (; !rows->EndOfRows(); rows->MoveNext(), ++count) {
    for (int column = 0; column < kColumns; ++column) {
      seen += std::visit(Touch{}, static_cast<const ado::ValueBase&>(rows->Fields(column).Value()));
    }
  }
  benchmark::DoNotOptimize(seen);
  return count;
}

/// Scripts as people write them, in batches of as many statements as the argument says.
void BM_InsertRows(benchmark::State& state) {
  const std::string script = insertScript(static_cast<int>(state.range(0)));
  inTurn(
      state,
      [&] {
        auto catalog = catalogOf(kTable);
        if (!embedded::loadScript(catalog, "rows", script).succeeded())
          throw std::runtime_error("the rows do not load");
      },
      [] { BareDatabase().insertRows(); });
}
BENCHMARK(BM_InsertRows)
    ->Arg(1)
    ->Arg(100)
    ->Arg(1000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void BM_ReadRows(benchmark::State& state) {
  auto catalog = catalogOf(kTable + insertScript(1000));
  const auto connection = catalog.connect();
  BareDatabase bare;
  bare.insertRows();
  const std::size_t before = liveBytes();
  inTurn(
      state,
      [&] {
        if (readRows(*connection) != kRows) throw std::runtime_error("rows are missing");
      },
      [&] { benchmark::DoNotOptimize(bare.readRows()); });
  state.counters["KiB_kept"] = static_cast<double>(liveBytes() - before) / 1024;
}
BENCHMARK(BM_ReadRows)->UseManualTime()->Unit(benchmark::kMillisecond);

// A statement of a known shape with another name in it each time.
void BM_LookUpName(benchmark::State& state) {
  auto catalog = catalogOf(kTable);
  const auto connection = catalog.connect();
  std::vector<std::u16string> statements;
  for (char16_t letter = u'a'; letter <= u'z'; ++letter) {
    statements.push_back(u"select id from sysobjects where name = 'paymen" +
                         std::u16string(1, letter) + u"'");
  }
  std::size_t next = 0;
  for (auto _ : state) {
    const auto rows = connection->Open(statements[next], ado::kForwardOnly);
    benchmark::DoNotOptimize(rows->EndOfRows());
    next = (next + 1) % statements.size();
  }
}
BENCHMARK(BM_LookUpName)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace kelvane::bench
