#include "tests/support/scripted_connection.h"

#include <gtest/gtest.h>

#include "ado/client_recordset.h"
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

TEST(ScriptedConnection, TellsKindsOfCellsApart) {
  ScriptedConnection server;
  server.on("x", R"(
      -
      null
      ''
      ' '
      'it''s | one'
      '5'
      5
      -1.50
      true
      bare words)");
  const auto rows = server.Open(u"x", ado::kClientCursor);
  EXPECT_EQ(rows->Fields(0).Name(), u"");
  const auto next = [&] {
    const ado::StoredValue value(rows->Fields(0).Value());
    rows->MoveNext();
    return value;
  };
  using Text = std::u16string_view;
  EXPECT_TRUE(next().view().isNull());
  for (const Text text : {u"", u" ", u"it's | one", u"5"})
    EXPECT_EQ(std::get<Text>(next().view()), text);
  EXPECT_EQ(std::get<std::int64_t>(next().view()), 5);
  EXPECT_EQ(std::get<ado::Decimal>(next().view()).text(), u"-1.50");
  EXPECT_TRUE(std::get<bool>(next().view()));
  EXPECT_EQ(std::get<Text>(next().view()), u"bare words");
}

}  // namespace
}  // namespace kelvane::testing
