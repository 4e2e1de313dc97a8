// Messages: their texts, and what clients and batches make of a row.

#include "drivers/embedded/messages/message.h"

#include <gtest/gtest.h>

#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

TEST(Message, RowsAreWhatClientsCanRead) {
  for (const message::Row& row : message::kRows) {
    const message::Kind& kind = row.kind;
    EXPECT_TRUE(kind.severity == 0 || (kind.severity >= 10 && kind.severity <= 20)) << row.text;
    EXPECT_EQ(kind.sqlState.size(), 5U) << row.text;
    EXPECT_EQ(kind.isError(), kind.sqlState != "01000") << row.text;
    EXPECT_TRUE(kind.isError() || !kind.endsBatch()) << row.text;
    EXPECT_FALSE(row.text.empty() || row.text.ends_with('\n') || row.text.ends_with(' '));
  }
}

TEST(Message, ArgumentsAreTakenAsTheyAre) {
  EXPECT_EQ(message::textOf(message::unknownParameter, "@a%2!", std::string_view("p%1!")),
            "@a%2! is not a parameter for procedure p%1!.");
  EXPECT_EQ(message::textOf(message::precisionOutOfRange, 40, std::int64_t{38}),
            "Specified column precision 40 is not within the range of 1 to 38.");
  const std::string arguments[] = {"a", "b"};
  EXPECT_EQ(message::filled("%2!%1!%1! %3! %12! %x! %! 5% !", arguments),
            "baa %3! %12! %x! %! 5% !");
}

// In statements, in system procedures and in functions of SQLite.
TEST(Message, ErrorsAreThoseOfTheirRows) {
  struct Case {
    const char* sql;
    int number;
    const char16_t* sqlState;
  };
  Probe probe(R"(
create table parent (a int primary key)
go
create table t (a int not null, b int null, check (b < 9), foreign key (b) references parent (a))
go
create unique index i on t (a)
go
insert t values (1, null)
go
)");
  for (const Case& c :
       {Case{"select 1 from nowhere", 208, u"42S02"}, Case{"select nothing from t", 207, u"42S22"},
        Case{"select 1 from", 156, u"42000"}, Case{"select 1 +", 102, u"42000"},
        Case{"insert t values (null, 1)", 233, u"23000"},
        Case{"insert t select b, b from t", 515, u"23000"},
        Case{"insert t values (2, 10)", 548, u"23000"},
        Case{"insert t values (2, 5)", 546, u"23000"},
        Case{"insert t values (1, null)", 2601, u"23000"},
        Case{"create table t (a int)", 2714, u"42S01"},
        Case{"create index i on t (b)", 1913, u"42S11"}, Case{"drop table nowhere", 3701, u"42S02"},
        Case{"use nowhere", 911, u"08004"},
        Case{"select 1 / a from t where a = 1 select 1 / 0", 3607, u"22012"},
        Case{"select convert(int, 'x')", 249, u"22018"},
        Case{"exec sp_dropuser nobody", 17334, u"42000"},
        Case{"raiserror 2601 'mine'", 2601, u"23000"},
        Case{"raiserror 20001 'mine'", 20001, u"42000"}}) {
    probe.ask(c.sql);
    ASSERT_FALSE(probe.connection->Errors().empty()) << c.sql;
    const ado::Error& error = probe.connection->Errors().front();
    EXPECT_EQ(error.NativeError, c.number) << c.sql;
    EXPECT_EQ(error.SQLState, c.sqlState) << c.sql;
  }
}

TEST(Message, SomeErrorsEndOnlyTheirStatement) {
  struct Case {
    const char* statement;
    const char* rowsBehind;
  };
  Probe probe("create table t (a int not null, check (a < 9))");
  for (const Case& c :
       {Case{"insert t values (10)", "1\n"}, Case{"insert t select convert(int, null)", "1\n"},
        Case{"drop table nowhere", "1\n"}, Case{"exec sp_dropuser nobody", "1\n"},
        Case{"select 1 / 0", "0\n"}, Case{"exec sp_nothing", "0\n"},
        Case{"create table t (a int)", "0\n"}}) {
    probe.ask(std::string(c.statement) + " insert t values (5)");
    EXPECT_EQ(probe.rows("select count(*) from t"), c.rowsBehind) << c.statement;
    probe.ask("delete t");
  }
}

}  // namespace
}  // namespace kelvane::embedded
