// Comparisons by several pairs of sides at once.
#include "cli/verbs/row_lanes.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <gmock/gmock.h>
#include <memory>
#include <sstream>

#include "cli/verbs/connected_rows.h"
#include "cli/verbs/keyed_comparison.h"
#include "drivers/embedded/script.h"
#include "inventory/read/reader.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

constexpr int kRows = 400;

// Tables that are cut by numbers, by times, at nulls, not at all; some have the same first value of
// the key many times.
std::string script(bool isChanged) {
  std::string text =
      "create table few (a int primary key)\ninsert few values (1)\n"
      "create table nulls (a smallint null, b int)\ncreate unique index n on nulls (a, b)\n"
      "create table numbers (a int, b numeric(9,2), c varchar(9) null, primary key (b desc, a))\n"
      "create table texts (a varchar(9) primary key, b int)\n"
      "create table times (a datetime primary key, b int)\n";
  for (int row = 0; row < kRows; ++row) {
    const std::string at = std::to_string(row);
    const bool differs = isChanged && row % 23 == 0;
    if (isChanged && row % 37 == 0) continue;
    text += "insert numbers values (" + at + ", " + std::to_string(row / 50) + ".5, " +
            (differs ? "null" : "'x'") + ")\n";
    text += "insert nulls values (" + (row < 30 ? "null" : at) + ", " + at + ")\n";
    text += "insert texts values ('k" + at + "', " + (differs ? "0" : at) + ")\n";
    text +=
        "insert times values (dateadd(ss, " + at + ", '20240101'), " + (differs ? "0" : at) + ")\n";
  }
  if (isChanged) text += "insert times values ('20010101', 1)\n";
  return text;
}

class EmbeddedSide final : public Side {
 public:
  explicit EmbeddedSide(const std::string& script) {
    EXPECT_TRUE(embedded::loadScript(catalog_, "script", script).succeeded());
    connection_ = catalog_.connect();
    database_ = inventory::read(*connection_);
    for (inventory::Table& table : database_.tables)
      table.rowCount = table.name.name == "few" ? 1 : kRows;
    rows_ = connectedRows(database_, *this,
                          traced_.emplace(*connection_, activity_, nullptr, std::stop_token()));
  }
  ado::Connection& connection() override { return *connection_; }
  RowSide* rows() { return rows_.get(); }

 private:
  embedded::EmbeddedCatalog catalog_;
  std::unique_ptr<ado::Connection> connection_;
  inventory::Database database_;
  std::u16string activity_;
  std::optional<TracingConnection> traced_;
  std::unique_ptr<RowSide> rows_;
};

// All that is told of a comparison, in its order.
class Told final : public RowSink {
 public:
  void tableBegins(const KeyedTable& table) override { told += table.name + "\n"; }
  void rowsDiffer(const KeyedTable& table, const rows::DifferingRows& rows) override {
    for (const std::string_view row : {rows.source, rows.target}) {
      if (!row.empty()) {
        for (const rows::Cell& cell : table.plan.cellsOf(row)) {
          std::u16string storage;
          told += toUtf8(NullToString(rows::valueOf(cell, storage))) + ",";
        }
      }
      told += " | ";
    }
    told += "\n";
  }
  void tableEnds(const KeyedTable&) override { told += "end\n"; }

  std::string told;
};

struct Lanes {
  explicit Lanes(std::size_t count) {
    const std::string before = script(false), after = script(true);
    for (std::size_t at = 0; at < count; ++at) {
      sides.push_back(std::make_unique<EmbeddedSide>(before));
      sides.push_back(std::make_unique<EmbeddedSide>(after));
    }
  }
  std::vector<RowLane> lanes() const {
    std::vector<RowLane> result;
    for (std::size_t at = 0; at < sides.size(); at += 2)
      result.push_back({sides[at]->rows(), sides[at + 1]->rows()});
    return result;
  }
  std::vector<std::unique_ptr<EmbeddedSide>> sides;
};

std::string jsonOf(const KeyedRequest& request, std::vector<RowLane> lanes,
                   const std::stop_token& stop = {}) {
  std::ostringstream out;
  const Console console{out, out};
  StatusLine line(console);
  writeJson({{}, {}, {}, compareTables(request, std::move(lanes), line, stop)}, out);
  return out.str();
}

TEST(RowLanes, TellTheSameInTheSameOrderHoweverManyThereAre) {
  const Lanes three(3);
  Told alone, together;
  KeyedRequest request;
  request.shown = 20;
  request.sinks = {&alone};
  const std::string expected = jsonOf(request, {three.lanes().front()});
  ASSERT_GT(std::ranges::count(alone.told, '\n'), 60);
  for (const std::int64_t rows : {1, 7, 60, 250}) {
    together.told.clear();
    request.sinks = {&together};
    request.rowsOfPiece = rows;
    EXPECT_EQ(jsonOf(request, three.lanes()), expected) << rows;
    EXPECT_EQ(together.told, alone.told) << rows;
  }
}

// A side of a lane whose connection breaks behind some tables or ranges.
class BreakingSide final : public RowSide {
 public:
  BreakingSide(RowSide& inner, int good) : inner_(inner), good_(good) {}

  const inventory::Database& database() const override { return inner_.database(); }
  void prepare(const rows::Select& select) override { inner_.prepare(select); }
  rows::OpenRows rowsOf(const rows::TablePlan& plan, std::size_t side,
                        const RowWish& wish) override {
    if (good_-- > 0) return inner_.rowsOf(plan, side, wish);
    isBroken_ = true;
    return []() -> std::unique_ptr<rows::RowSource> { throw std::runtime_error("it broke"); };
  }
  std::optional<ado::StoredValue> endOfRange(const rows::Select& select, const std::string& begin,
                                             std::int64_t rows) override {
    return inner_.endOfRange(select, begin, rows);
  }
  void cancel() noexcept override { inner_.cancel(); }
  bool isOver() const override { return isBroken_; }

 private:
  RowSide& inner_;
  int good_;
  bool isBroken_ = false;
};

TEST(RowLanes, WhatABrokenLaneLeftIsToldAndIsDoneByTheNextRun) {
  const Lanes two(2);
  const std::string expected = jsonOf({}, {two.lanes().front()});
  const std::string file =
      (std::filesystem::temp_directory_path() / "kelvane_row_lanes_test").string();
  for (int good = 0; good < 40; good += 3) {
    KeyedRequest request;
    request.rowsOfPiece = 40;
    request.resume = file;
    std::filesystem::remove(file);
    std::vector<RowLane> lanes = two.lanes();
    BreakingSide breaking(*lanes[1][good % 2], good / 2);
    lanes[1][good % 2] = &breaking;
    const std::string broken = jsonOf(request, lanes);
    EXPECT_EQ(broken == expected, !breaking.isOver()) << broken;
    if (breaking.isOver()) {
      EXPECT_NE(broken.find("it broke"), std::string::npos) << broken;
      // The other lane goes on.
      EXPECT_NE(broken.find("\"times\""), std::string::npos);
      EXPECT_EQ(jsonOf(request, two.lanes()), expected) << good;
    }
    EXPECT_FALSE(std::filesystem::exists(file)) << good;
  }
}

TEST(RowLanes, NothingIsWaitedForAfterAFailure) {
  const Lanes two(2);
  class Refusing final : public RowSink {
   public:
    void tableBegins(const KeyedTable&) override {}
    void rowsDiffer(const KeyedTable&, const rows::DifferingRows&) override {
      throw std::bad_alloc();
    }
    void tableEnds(const KeyedTable&) override {}
  } refusing;
  KeyedRequest request;
  request.rowsOfPiece = 5;
  request.sinks = {&refusing};
  EXPECT_THROW(jsonOf(request, two.lanes()), std::bad_alloc);
  std::stop_source stopped;
  stopped.request_stop();
  const std::string nothing = jsonOf({}, two.lanes(), stopped.get_token());
  EXPECT_EQ(nothing.find("\"equal\": 1"), std::string::npos) << nothing;
}

}  // namespace
}  // namespace kelvane::cli
