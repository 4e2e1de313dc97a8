// What travels over the loopback interface when servers sum their rows, beside all rows of both
// sides: ten buckets differ.
#include <benchmark/benchmark.h>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/in_turn.h"
#include "drivers/embedded/script.h"
#include "drivers/odbc/connection.h"
#include "inventory/read/reader.h"
#include "rows/bucket_sums.h"
#include "rows/compare_rows.h"
#include "support/tds_server/freetds_source.h"
#include "support/tds_server/server.h"

namespace kelvane::bench {
namespace {

constexpr int kRowsOfBucket = 1000, kBucketsThatDiffer = 10;

std::string payments(int count, bool isChanged) {
  std::string script =
      "create table payment (id int not null primary key, customer int not null, amount "
      "numeric(10,2) not null, paid datetime not null, method char(8) not null, note varchar(60) "
      "null, shop smallint null, price money null, rate float null, remark varchar(40) null)\ngo\n"
      "set nocount on\n";
  const int between = count / kBucketsThatDiffer;
  for (int row = 0; row < count; ++row) {
    const std::string number = std::to_string(row);
    script += "insert payment values (" + number + ", " + std::to_string(row % 997) + ", " +
              number + ".25, '2024-05-01 12:30', 'card', 'payment number " + number +
              (isChanged && row % between == between / 2 ? "!" : "") + "', 7, $" + number +
              ", 1.5, null)\n";
    if (row % 1000 == 999) script += "go\n";
  }
  return script;
}

class Served {
 public:
  Served(int count, bool isChanged) {
    if (!embedded::loadScript(catalog_, "payment", payments(count, isChanged)).succeeded())
      throw std::runtime_error("the rows do not load");
  }
  std::unique_ptr<ado::Connection> connect() const {
    return odbc::connect(tds::freeTdsSource(server_.port()));
  }

 private:
  embedded::EmbeddedCatalog catalog_;
  tds::TdsServer server_{catalog_};
};

/// That the loopback interface has received since the machine started.
std::int64_t loopbackBytes() {
  std::ifstream counters("/sys/class/net/lo/statistics/rx_bytes");
  std::int64_t bytes = 0;
  if (!(counters >> bytes)) throw std::runtime_error("the loopback interface counts no bytes");
  return bytes;
}

class CountOfRows final : public rows::RowObserver {
 public:
  void rowsDiffer(const rows::DifferingRows&) override { ++differing; }
  bool goesOn(const rows::RowCounts&) override { return true; }
  int differing = 0;
};

void BM_ChecksumsOverWire(benchmark::State& state) {
  const auto count = static_cast<int>(state.range(0));
  const Served ofSource(count, false), ofTarget(count, true);
  const auto source = ofSource.connect(), target = ofTarget.connect();
  const inventory::Database one = inventory::read(*source), other = inventory::read(*target);
  const rows::TablePlan plan = rows::planOf({one, one.tables.at(0)}, {other, other.tables.at(0)});
  rows::BucketSums sums(plan, {&one.server, &other.server});
  sums.setWidth(kRowsOfBucket);
  const auto compare = [&](const std::array<std::vector<std::u16string>, 2>& texts) {
    const auto opened = [&](ado::Connection& connection, std::size_t side) {
      return [&connection, &statements = texts[side], columns = plan.columns.size()] {
        return rows::openStatements(connection, statements, columns);
      };
    };
    rows::RowStream first(opened(*source, 0), plan.layout()),
        second(opened(*target, 1), plan.layout());
    CountOfRows observer;
    bool isWhole = false;
    rows::compareRows(first, second, plan.pairing, observer, isWhole);
    if (observer.differing != kBucketsThatDiffer) throw std::runtime_error("rows are missing");
  };
  const auto sumsOf = [&](ado::Connection& connection, std::size_t side) {
    return [&, side] {
      return rows::openStatement(connection, sums.text(side), rows::BucketSums::kColumns);
    };
  };
  std::int64_t ofSums = 0, ofRows = 0;
  const auto counted = [](std::int64_t& bytes, const auto& work) {
    const std::int64_t before = loopbackBytes();
    work();
    bytes += loopbackBytes() - before;
  };
  inTurn(
      state,
      [&] {
        counted(ofSums, [&] {
          rows::DifferingBuckets found;
          {
            rows::RowStream first(sumsOf(*source, 0), rows::BucketSums::layout()),
                second(sumsOf(*target, 1), rows::BucketSums::layout());
            found = rows::differingBuckets(first, second, [](std::int64_t) { return true; });
          }
          std::array<std::vector<std::u16string>, 2> texts;
          for (const std::size_t side : {0U, 1U}) {
            for (const rows::BucketRange& range : found.ranges)
              texts[side].push_back(plan.selects[side].text(sums.condition(side, range)));
          }
          compare(texts);
        });
      },
      [&] {
        counted(ofRows, [&] { compare({{{plan.selects[0].text()}, {plan.selects[1].text()}}}); });
      });
  state.counters["bytes"] = static_cast<double>(ofSums) / static_cast<double>(ofRows);
}
BENCHMARK(BM_ChecksumsOverWire)
    ->Arg(200'000)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelvane::bench
