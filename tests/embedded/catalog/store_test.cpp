#include <gtest/gtest.h>

#include "drivers/embedded/store/sqlite.h"

namespace kelvane::embedded {
namespace {

struct Refusal {
  int number;
};
struct RefusalError : std::runtime_error, Refusal {
  explicit RefusalError(int number) : std::runtime_error("refused"), Refusal{number} {}
};

TEST(StoreTest, ExceptionsOfFunctionsComeOutUnchanged) {
  Database store;
  store.addFunction("refuse", 1, FunctionKind::Volatile, [](FunctionCall& call) {
    if (call.integer(0) > 1) throw RefusalError(static_cast<int>(call.integer(0)));
    call.result(call.integer(0));
  });
  store.execute("CREATE TABLE t(a); INSERT INTO t VALUES (1), (7), (9)");
  try {
    store.run("SELECT refuse(a) FROM t");
    FAIL();
  } catch (const RefusalError& error) {
    EXPECT_EQ(error.number, 7);
  }
  // Neither the statement nor the connection stays marked by it.
  EXPECT_EQ(store.value("SELECT refuse(1)"), 1);
  EXPECT_THROW(store.run("SELECT nothing"), StoreError);
}

struct LongestText : Aggregate {
  void step(FunctionCall& row) override {
    if (row.text(0) == "stop") throw RefusalError(3);
    if (row.text(0).size() > longest.size()) longest = row.text(0);
  }
  Cell finish() override { return longest; }
  std::string longest;
};

TEST(StoreTest, AggregatesFinishEmptyAndFailedGroups) {
  Database store;
  store.addAggregate("longest", 1, [] { return std::make_unique<LongestText>(); });
  store.execute("CREATE TABLE t(a); INSERT INTO t VALUES ('bb'), ('a')");
  EXPECT_EQ(store.value<std::string>("SELECT longest(a) FROM t"), "bb");
  EXPECT_EQ(store.value<std::string>("SELECT longest(a) FROM t WHERE 0"), "");
  store.execute("INSERT INTO t VALUES ('stop')");
  EXPECT_THROW(store.run("SELECT longest(a) FROM t"), RefusalError);
}

TEST(StoreTest, AStatementMayRunInsideItself) {
  Database store;
  store.execute("CREATE TABLE t(a, parent); INSERT INTO t VALUES (1, 0), (2, 1), (3, 1), (4, 3)");
  std::string visited;
  const std::function<void(int)> descend = [&](int parent) {
    store.each(
        "SELECT a FROM t WHERE parent = ? ORDER BY a",
        [&](const Statement& row) {
          visited += row.text(0);
          descend(row.number(0));
        },
        parent);
  };
  descend(0);
  EXPECT_EQ(visited, "1234");
}

TEST(StoreTest, SavepointsNest) {
  Database store;
  store.execute("CREATE TABLE t(a)");
  {
    Savepoint outer(store);
    store.run("INSERT INTO t VALUES (?)", 1);
    {
      Savepoint undone(store);
      store.run("INSERT INTO t VALUES (?)", 2);
      store.execute("CREATE TABLE gone(a)");
    }
    {
      Savepoint kept(store);
      store.run("INSERT INTO t VALUES (?)", 3);
      kept.keep();
    }
    EXPECT_EQ(store.value<std::string>("SELECT group_concat(a) FROM t"), "1,3");
    EXPECT_THROW(store.run("SELECT a FROM gone"), StoreError);
  }
  EXPECT_EQ(store.value("SELECT count(*) FROM t"), 0);
}

TEST(StoreTest, EveryKindOfValueComesBack) {
  Database store;
  store.execute("CREATE TABLE t(a)");
  const Cell cells[] = {Null{},
                        std::int64_t{1} << 40,
                        0.5,
                        std::string(),
                        std::string("\xC3\xA9"),
                        Blob{},
                        Blob{std::byte{0}, std::byte{255}}};
  for (const Cell& cell : cells) store.run("INSERT INTO t VALUES (?)", cell);
  std::size_t i = 0;
  store.each("SELECT a FROM t ORDER BY rowid",
             [&](const Statement& row) { EXPECT_EQ(row.cell(0), cells[i++]) << i; });
  EXPECT_EQ(i, std::size(cells));
}

}  // namespace
}  // namespace kelvane::embedded
