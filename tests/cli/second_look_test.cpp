// Rows that are written while two tables are compared.
#include "cli/verbs/second_look.h"

#include <gmock/gmock.h>
#include <memory>
#include <sstream>

#include "cli/verbs/keyed_comparison.h"
#include "drivers/embedded/script.h"
#include "inventory/read/reader.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

using ::testing::ElementsAre;

// Before its rows are asked for by their keys, somebody else writes.
class ChangingSide final : public RowSide {
 public:
  ChangingSide(const std::string& script, std::u16string change) : change_(std::move(change)) {
    EXPECT_TRUE(embedded::loadScript(catalog_, "script", script).succeeded());
    connection_ = catalog_.connect();
    database_ = inventory::read(*connection_);
  }

  const inventory::Database& database() const override { return database_; }
  void prepare(const rows::Select&) override {}
  rows::OpenRows rowsOf(const rows::TablePlan& plan, std::size_t side,
                        const RowWish& wish) override {
    std::string condition = wish.conditions.empty() ? "" : wish.conditions.front();
    if (!condition.empty() && !change_.empty())
      connection_->Open(std::exchange(change_, {}), ado::kClientCursor);
    return [&, side, condition] {
      return rows::openStatement(*connection_, plan.selects[side].text(condition),
                                 plan.columns.size());
    };
  }
  void cancel() noexcept override {}
  bool isOver() const override { return false; }

 private:
  embedded::EmbeddedCatalog catalog_;
  std::unique_ptr<ado::Connection> connection_;
  inventory::Database database_;
  std::u16string change_;
};

class Keys final : public RowSink {
 public:
  void tableBegins(const KeyedTable&) override {}
  void rowsDiffer(const KeyedTable& table, const rows::DifferingRows& rows) override {
    const std::string sign = rows.target.empty() ? "-" : rows.source.empty() ? "+" : "~";
    std::string text = table.name + " " + sign;
    const auto cells = table.plan.cellsOf(rows.source.empty() ? rows.target : rows.source);
    for (std::size_t at = 0; at < table.plan.pairing.keyColumns; ++at) {
      std::u16string storage;
      text += " " + toUtf8(NullToString(rows::valueOf(cells[at], storage)));
    }
    told.push_back(text);
  }
  void tableEnds(const KeyedTable&) override {}

  std::vector<std::string> told;
};

std::string rowsOf(const std::string& table, const std::vector<std::string>& rows) {
  std::string script;
  for (const std::string& row : rows) script += "insert " + table + " values (" + row + ")\n";
  return script;
}

TEST(SecondLook, WhatBecameEqualIsNoDifference) {
  const std::string tables =
      "create table t (a int not null, b varchar(9) not null, c int null, primary key (a, b))\n"
      "create table keyless (a int)\n";
  ChangingSide source(tables +
                          rowsOf("t", {"1, 'x', 1", "2, 'x', 1", "3, 'x', 1", "4, 'x', 1",
                                       "5, 'it''s', 1", "7, 'x', 1"}) +
                          rowsOf("keyless", {"1"}),
                      u"delete t where a = 4");
  // 1 comes, 2 becomes equal, 3 stays different, 4 goes, 5 differs otherwise, 6 goes.
  ChangingSide target(
      tables + rowsOf("t", {"2, 'x', 2", "3, 'x', 2", "5, 'it''s', 2", "6, 'x', 1", "7, 'x', 1"}),
      u"insert t values (1, 'x', 1) update t set c = 1 where a = 2 "
      u"update t set c = null where a = 5 delete t where a = 6");
  std::ostringstream out;
  const Console console{out, out};
  StatusLine line(console);
  Keys keys;
  KeyedRequest request;
  request.shown = 9;
  request.secondLook.emplace(0);
  request.sinks = {&keys};
  const std::vector<KeyedTable> tablesFound =
      compareTables(request, {{&source, &target}}, line, {});
  EXPECT_THAT(keys.told, ElementsAre("keyless - 1", "t ~ 3 x", "t ~ 5 it's"));
  ASSERT_EQ(tablesFound.size(), 2U);
  const KeyedTable& table = tablesFound[1];
  EXPECT_EQ(table.counts.equal, 3);
  EXPECT_EQ(table.counts.changed, 2);
  EXPECT_THAT(table.counts.alone, ElementsAre(0, 0));
  EXPECT_THAT(table.counts.rows, ElementsAre(5, 5));
  EXPECT_THAT(table.counts.changedValues, ElementsAre(0, 0, 2));
  EXPECT_EQ(table.samples.size(), 2U);
}

}  // namespace
}  // namespace kelvane::cli
