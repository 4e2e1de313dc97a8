#include "tests/support/scripted_connection.h"

#include <gtest/gtest.h>

#include "tests/support/ado_contract.h"

namespace kelvane::testing {
namespace {

AdoContract scriptedContract() {
  auto server = std::make_unique<ScriptedConnection>();
  server->on("rows", R"(
      Number | Name
      2      | 'b'
      null   | 'a'
      10     | 'B'
      2      | 'A')");
  server->on("no rows", "Number | Name").on("no result", "closed");
  server->on("two results", R"(
      first
      1
      ---
      second
      2)");
  server->on("refused", "error 208 S0002 Invalid object name");
  return {std::move(server), u"rows", u"no rows", u"two results", u"no result", u"refused"};
}

INSTANTIATE_TEST_SUITE_P(Scripted, AdoContractTest, ::testing::Values(&scriptedContract));

TEST(ClientRecordset, ThrowsWhatTheServerSaidBehindItsResults) {
  ScriptedConnection server;
  server.on("x", R"(
      a
      1
      error 3621 01000 Command aborted)");
  const auto rows = server.Open(u"x", ado::kClientCursor);
  EXPECT_EQ(rows->RecordCount(), 1);
  EXPECT_THROW(rows->NextRecordset(), ado::Failure);
  EXPECT_EQ(server.Errors().size(), 1u);
}

}  // namespace
}  // namespace kelvane::testing
