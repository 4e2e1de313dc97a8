// What it costs to read one table from the embedded catalog, in a small catalog and in a large one:
// the two must not differ by more than the depth of an index.
#include <benchmark/benchmark.h>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "drivers/embedded/script.h"
#include "reader/procedures.h"

namespace kelvane::bench {
namespace {

// A catalog of tables that refer to each other in a chain.
embedded::EmbeddedCatalog sampleCatalog(std::int64_t tables) {
  std::string script;
  for (std::int64_t number = 1; number <= tables; ++number) {
    const std::string name = "customer_" + std::to_string(number);
    script += "create table " + name +
              " (id int not null, name varchar(40) default 'x' not null, previous int null,"
              " constraint pk_" +
              name +
              " primary key (id))\ngo\n"
              "create index ix_" +
              name + " on " + name + " (name)\ngo\n";
    if (number > 1)
      script += "alter table " + name + " add constraint fk_" + name +
                " foreign key (previous) references customer_" + std::to_string(number - 1) +
                " (id)\ngo\n";
  }
  embedded::EmbeddedCatalog catalog;
  if (!embedded::loadScript(catalog, "sample", script).succeeded())
    throw std::runtime_error("the sample script does not load");
  return catalog;
}

void BM_ReadOneTable(benchmark::State& state) {
  // Made once: the benchmark is entered anew for each number of iterations that it tries.
  static std::map<std::int64_t, embedded::EmbeddedCatalog> catalogs;
  if (!catalogs.contains(state.range(0)))
    catalogs.emplace(state.range(0), sampleCatalog(state.range(0)));
  const auto connection = catalogs.at(state.range(0)).connect();
  reader::FetchContext context;
  context.conn = connection.get();
  for (const Switch& one : kSwitches) (*context.compareOptions).*one.value = True;
  for (auto _ : state) {
    Table table;
    table.Owner = u"dbo";
    table.Name = u"customer_5";
    if (reader::PopulateTableColumns(context, table) != 3 ||
        reader::PopulateTablePrimaryKeys(context, table) != 1 ||
        reader::PopulateTableForeignKeys(context, table) != 1 ||
        reader::PopulateIndexes(context, table) != 1 ||
        reader::PopulateTableTriggers(context, table) != 0 ||
        reader::PopulateTableRowCount(context, table) != 1)
      state.SkipWithError("the table is not read as it was made");
  }
}
BENCHMARK(BM_ReadOneTable)->Arg(10)->Arg(10'000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelvane::bench
