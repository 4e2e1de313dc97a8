// Streams of rows whose sides fail or wait.
#include "rows/row_stream.h"

#include <gtest/gtest.h>
#include <semaphore>
#include <stdexcept>

#include "rows/compare_rows.h"

namespace kelvane::rows {
namespace {

/// One row, then what `end` does.
class OneRow final : public RowSource {
 public:
  explicit OneRow(std::function<void()> end) : end_(std::move(end)) {}
  bool next() override {
    if (++rows_ == 1) return true;
    end_();
    return false;
  }
  ado::Value value(std::size_t) const override { return std::int64_t{1}; }

 private:
  std::function<void()> end_;
  int rows_ = 0;
};

OpenRows oneRow(const std::function<void()>& end) {
  return [end] { return std::make_unique<OneRow>(end); };
}

class Nobody final : public RowObserver {
 public:
  void rowsDiffer(const DifferingRows&) override {}
  bool goesOn(const RowCounts&) override { return true; }
};

const RowLayout kOneColumn{{{}}, 1};

TEST(RowStream, ASideThatWaitsIsCancelledWhenTheOtherFails) {
  std::counting_semaphore answer(0);
  RowStream waiting(oneRow([&] {
                      answer.acquire();
                      throw std::runtime_error("cancelled");
                    }),
                    kOneColumn, [&] { answer.release(); });
  RowStream failing(oneRow([] { throw std::runtime_error("no such column"); }), kOneColumn);
  Nobody observer;
  bool isWhole = false;
  try {
    compareRows(failing, waiting, {.keyColumns = 1, .columns = {{}}}, observer, isWhole);
    FAIL() << "the failure is lost";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "no such column");
  }
}

TEST(RowStream, ASideThatIsReadIsNotCancelled) {
  bool isCancelled = false;
  {
    RowStream stream(oneRow([] {}), kOneColumn, [&] { isCancelled = true; });
    EXPECT_TRUE(stream.next());
    EXPECT_FALSE(stream.next());
    EXPECT_EQ(stream.rows(), 1);
  }
  EXPECT_FALSE(isCancelled);
}

/// The numbers from 1 to 20; the connection breaks behind some of them.
class BreakingRows final : public RowSource {
 public:
  explicit BreakingRows(int good) : good_(good) {}
  bool next() override {
    if (row_ == good_) throw std::runtime_error("the connection broke");
    return ++row_ <= 20;
  }
  ado::Value value(std::size_t) const override { return std::int64_t{row_}; }

 private:
  int good_, row_ = 0;
};

TEST(RowStream, AFailureAtAnyFetchIsNoResult) {
  constexpr int kNever = 100;
  const auto opened = [](int good) {
    return [good] { return std::make_unique<BreakingRows>(good); };
  };
  for (const bool isOrdered : {true, false}) {
    for (const std::size_t mostBytes : {std::size_t{1} << 20U, std::size_t{1}}) {
      for (int good = 0; good <= 20; ++good) {
        for (const bool isSource : {true, false}) {
          RowStream source(opened(isSource ? good : kNever), kOneColumn),
              target(opened(isSource ? kNever : good), kOneColumn);
          Nobody observer;
          bool isWhole = false;
          const Pairing pairing{
              .isOrdered = isOrdered, .keyColumns = 1, .columns = {{}}, .mostBytes = mostBytes};
          EXPECT_THROW(compareRows(source, target, pairing, observer, isWhole), std::runtime_error)
              << good;
        }
      }
    }
  }
}

}  // namespace
}  // namespace kelvane::rows
