#include "drivers/embedded/connection.h"
#include "tests/support/ado_contract.h"
#include "tests/support/owning_connection.h"

namespace kelvane::testing {
namespace {

AdoContract embeddedContract() {
  return aseContract(std::make_unique<OwningConnection<embedded::EmbeddedCatalog>>());
}

INSTANTIATE_TEST_SUITE_P(Embedded, AdoContractTest, ::testing::Values(&embeddedContract));

}  // namespace
}  // namespace kelvane::testing
