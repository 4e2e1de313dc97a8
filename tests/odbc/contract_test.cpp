#include "tests/odbc/servers.h"
#include "tests/support/ado_contract.h"
#include "tests/support/owning_connection.h"

namespace kelvane::testing {
namespace {

AdoContract sqliteContract() {
  auto connection = sqlite();
  for (const char16_t* statement :
       {u"create table pairs (Number integer null, Name varchar(10) not null)",
        u"insert into pairs values (2, 'b'), (null, 'a'), (10, 'B'), (2, 'A')"})
    connection->Open(statement, ado::kClientCursor);
  return {std::move(connection),
          u"select Number, Name from pairs",
          u"select Number, Name from pairs where Name = 'c'",
          u"",  // the driver takes one statement at a time
          u"create table quiet (n integer)",
          u"select Number from no_such_table"};
}

AdoContract freeTdsContract() {
  return aseContract(std::make_unique<OwningConnection<LiveServer>>());
}

INSTANTIATE_TEST_SUITE_P(SQLite, AdoContractTest, ::testing::Values(&sqliteContract));
INSTANTIATE_TEST_SUITE_P(FreeTds, AdoContractTest, ::testing::Values(&freeTdsContract));

}  // namespace
}  // namespace kelvane::testing
