// What it costs to compare two tables by key, beside a loop over SQLite that goes through both in
// lock step.
#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <string_view>

#include "bench/in_turn.h"
#include "bench/live_bytes.h"
#include "drivers/embedded/script.h"
#include "inventory/read/reader.h"
#include "rows/compare_rows.h"
#include "rows/table_plan.h"

namespace kelvane::bench {
namespace {

constexpr const char* kTable =
    "create table payment (id int not null primary key, customer int not null, amount "
    "numeric(10,2) not null, price money null, rate float null, paid datetime not null, method "
    "char(8) not null, note varchar(60) null, shop smallint null, remark varchar(40) null)\ngo\n";
constexpr int kColumns = 10;

// One row of a thousand differs where `isChanged`.
bool differs(int row) { return row % 1000 == 500; }

embedded::EmbeddedCatalog catalogOf(int rows, bool isChanged) {
  embedded::EmbeddedCatalog catalog;
  std::string script = kTable;
  const auto load = [&] {
    if (!script.empty() && !embedded::loadScript(catalog, "payment", script).succeeded())
      throw std::runtime_error("the rows do not load");
    script.clear();
  };
  for (int row = 1; row <= rows; ++row) {
    const std::string number = std::to_string(row);
    script += "insert payment values (" + number + ", " + std::to_string(row % 997) + ", " +
              number + ".25, $" + number + ".5, " + std::to_string(row % 100) +
              ".125e0, '2024-05-01 12:30', 'card', 'payment number " + number +
              (isChanged && differs(row) ? "!" : "") + "', " + std::to_string(row % 7) +
              ", null)\n";
    if (row % 1000 == 0) script += "go\n";
    if (row % 100'000 == 0) load();
  }
  load();
  return catalog;
}

struct Side {
  embedded::EmbeddedCatalog catalog;
  std::unique_ptr<ado::Connection> connection = catalog.connect();
  inventory::Database database = inventory::read(*connection, {}, nullptr);

  rows::PlannedTable table() const { return {database, database.tables.at(0)}; }
};

class Count final : public rows::RowObserver {
 public:
  void rowsDiffer(const rows::DifferingRows&) override { ++rows; }
  bool goesOn(const rows::RowCounts&) override {
    most = std::max(most, liveBytes());
    return true;
  }
  std::int64_t rows = 0;
  std::size_t most = 0;
};

/// As a program without the component would have them: the same values, the same index.
class BareTable {
 public:
  /// In a file without a name where there is no path. sqldiff needs a primary key.
  BareTable(int rows, bool isChanged, const std::string& path = {}) {
    require(sqlite3_open_v2(path.c_str(), &connection_,
                            SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                            nullptr));
    const std::string key = path.empty() ? "c1" : "c1 INTEGER PRIMARY KEY";
    execute("CREATE TABLE payment(" + key + ", c2, c3, c4, c5, c6, c7, c8, c9, c10)");
    if (path.empty()) execute("CREATE UNIQUE INDEX payment_key ON payment(c1)");
    execute("BEGIN");
    sqlite3_stmt* insert = prepared("INSERT INTO payment VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    for (int row = 1; row <= rows; ++row) {
      const std::string note =
          "payment number " + std::to_string(row) + (isChanged && differs(row) ? "!" : "");
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
  ~BareTable() { sqlite3_close_v2(connection_); }
  BareTable(const BareTable&) = delete;
  BareTable& operator=(const BareTable&) = delete;

  sqlite3_stmt* rows() { return prepared("SELECT * FROM payment ORDER BY c1"); }

 private:
  static void require(int code) {
    if (code != SQLITE_OK) throw std::runtime_error("an SQLite call failed");
  }
  void execute(const std::string& sql) {
    require(sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr));
  }
  sqlite3_stmt* prepared(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    require(sqlite3_prepare_v2(connection_, sql, -1, &statement, nullptr));
    return statement;
  }

  sqlite3* connection_ = nullptr;
};

bool isSameValue(sqlite3_stmt* one, sqlite3_stmt* other, int column) {
  const int type = sqlite3_column_type(one, column);
  if (type != sqlite3_column_type(other, column)) return false;
  switch (type) {
    case SQLITE_INTEGER:
      return sqlite3_column_int64(one, column) == sqlite3_column_int64(other, column);
    case SQLITE_FLOAT:
      return sqlite3_column_double(one, column) == sqlite3_column_double(other, column);
    case SQLITE_TEXT: {
      const auto text = [&](sqlite3_stmt* row) {
        const auto* begin = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
        return std::string_view(begin, static_cast<std::size_t>(sqlite3_column_bytes(row, column)));
      };
      return text(one) == text(other);
    }
    default:
      return true;
  }
}

/// Both have the same keys: each row beside the one of the other table.
std::int64_t lockStep(BareTable& source, BareTable& target) {
  sqlite3_stmt* const one = source.rows();
  sqlite3_stmt* const other = target.rows();
  std::int64_t differing = 0;
  while (sqlite3_step(one) == SQLITE_ROW && sqlite3_step(other) == SQLITE_ROW) {
    bool isSame = true;
    for (int column = 0; column < kColumns; ++column)
      isSame = isSameValue(one, other, column) && isSame;
    differing += isSame ? 0 : 1;
  }
  sqlite3_finalize(one);
  sqlite3_finalize(other);
  return differing;
}

class KeyedComparison {
 public:
  explicit KeyedComparison(int rows)
      : rows_(rows), sides_{{Side{catalogOf(rows, false)}, Side{catalogOf(rows, true)}}} {}

  void run() {
    rows::RowStream source(opened(0), plan_.layout()), target(opened(1), plan_.layout());
    Count differing;
    bool isWhole = false;
    const auto counts = rows::compareRows(source, target, plan_.pairing, differing, isWhole);
    if (counts.equal + differing.rows != rows_) throw std::runtime_error("rows are missing");
    most_ = std::max(most_, differing.most);
  }
  std::size_t mostBytes() const { return most_; }

 private:
  rows::OpenRows opened(std::size_t side) {
    return [this, side] {
      return rows::openStatement(*sides_[side].connection, plan_.selects[side].text(),
                                 plan_.columns.size());
    };
  }

  int rows_;
  std::array<Side, 2> sides_;
  rows::TablePlan plan_ = rows::planOf(sides_[0].table(), sides_[1].table());
  std::size_t most_ = 0;
};

void BM_CompareByKey(benchmark::State& state) {
  const auto count = static_cast<int>(state.range(0));
  KeyedComparison comparison(count);
  BareTable bareSource(count, false), bareTarget(count, true);
  const std::size_t before = liveBytes();
  inTurn(
      state, [&] { comparison.run(); },
      [&] {
        if (lockStep(bareSource, bareTarget) != count / 1000)
          throw std::runtime_error("rows are missing");
      });
  state.counters["KiB_most"] = static_cast<double>(comparison.mostBytes() - before) / 1024;
}
BENCHMARK(BM_CompareByKey)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

struct Folder {
  Folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kelvane.XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no folder can be made");
    path = pattern;
  }
  ~Folder() { std::filesystem::remove_all(path); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::filesystem::path path;
};

/// The same rows in files, with the key that sqldiff needs. It counts them, and shows none.
void BM_CompareByKeyBesideSqldiff(benchmark::State& state) {
  const auto count = static_cast<int>(state.range(0));
  if (std::system("command -v sqldiff >/dev/null") != 0)
    return state.SkipWithError("sqldiff is not installed");
  KeyedComparison comparison(count);
  const Folder folder;
  const std::string source = (folder.path / "source.db").string(),
                    target = (folder.path / "target.db").string();
  const BareTable sourceTable(count, false, source), targetTable(count, true, target);
  const std::string command = "sqldiff --primarykey --summary " + source + " " + target +
                              " | grep -q ' " + std::to_string(count / 1000) + " changes'";
  inTurn(
      state, [&] { comparison.run(); },
      [&] {
        if (std::system(command.c_str()) != 0) throw std::runtime_error("sqldiff says otherwise");
      });
}
BENCHMARK(BM_CompareByKeyBesideSqldiff)
    ->Arg(1'000'000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelvane::bench
