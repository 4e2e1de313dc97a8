// Comparisons of tables that do not come to their end.
#include "cli/verbs/keyed_comparison.h"

#include <gmock/gmock.h>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace kelvane::cli {
namespace {

// The numbers from 1 on; the connection breaks behind some of them.
class Numbers final : public rows::RowSource {
 public:
  explicit Numbers(int good) : good_(good) {}
  bool next() override {
    if (row_ == good_) throw std::runtime_error("the connection broke");
    return ++row_ <= 20'000;
  }
  ado::Value value(std::size_t) const override { return std::int64_t{row_}; }

 private:
  int good_, row_ = 0;
};

class NumberedSide final : public RowSide {
 public:
  explicit NumberedSide(int good) : good_(good) {
    for (const std::string name : {"t", "u"}) {
      inventory::Table& table = database_.tables.emplace_back();
      table.name = {"dbo", name};
      table.columns.push_back({.name = "a", .type = {.type = {.name = "int"}}});
      inventory::KeyConstraint& key = table.keys.emplace_back();
      key.primary = true;
      key.columns.push_back({.name = "a"});
    }
  }

  const inventory::Database& database() const override { return database_; }
  void prepare(const rows::Select&) override {}
  rows::OpenRows rowsOf(const rows::TablePlan& plan, std::size_t, const RowWish&) override {
    const int good = plan.names[0].name == "t" ? good_ : 30'000;
    return [good] { return std::make_unique<Numbers>(good); };
  }
  void cancel() noexcept override {}
  bool isOver() const override { return false; }

 private:
  int good_;
  inventory::Database database_;
};

TEST(KeyedComparison, ATableThatBreaksOffHasWhatWasComparedAndTheOthersGoOn) {
  NumberedSide source(30'000), target(15'000);
  std::ostringstream out;
  const Console console{out, out};
  StatusLine line(console);
  const std::vector<KeyedTable> tables = compareTables({}, {{&source, &target}}, line, {});
  ASSERT_EQ(tables.size(), 2U);
  EXPECT_EQ(tables[0].ended, KeyedEnd::error);
  EXPECT_EQ(tables[0].error, "the connection broke");
  EXPECT_GT(tables[0].counts.equal, 5'000);
  EXPECT_LE(tables[0].counts.equal, 15'000);
  EXPECT_EQ(tables[1].ended, KeyedEnd::whole);
  EXPECT_EQ(tables[1].counts.equal, 20'000);
}

}  // namespace
}  // namespace kelvane::cli
