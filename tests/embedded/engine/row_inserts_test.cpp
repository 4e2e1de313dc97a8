// Inserts of literals, which run without a tree: each must do what it does as an ordinary
// statement. A comment makes it one.

#include <functional>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/engine/session.h"
#include "drivers/embedded/script.h"
#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

constexpr std::string_view kOrdinary = " -- as an ordinary statement";

struct Loaded {
  EmbeddedCatalog catalog;
  std::vector<std::string> messages;

  void load(const std::string& script) {
    LoadOptions options;
    options.stopAtFirstError = false;
    for (const ScriptNote& note : loadScript(catalog, "s", script, options).errors) {
      messages.push_back(std::to_string(note.line) + ": " + std::to_string(note.number) + ": " +
                         note.text);
    }
  }
  /// What the store holds, with its types.
  std::string rows(const std::string& table, const std::vector<std::string>& columns) {
    Server& server = catalog.server();
    const Caller caller{kDboUid, server.database};
    tsql::ObjectName name;
    name.name = table;
    const ObjectInfo object = server.catalog.requireObject(name, caller);
    std::string sql = "SELECT ''";
    for (const std::string& column : columns) {
      sql.append(" || ' ' || typeof(").append(column).append(") || ' ' || quote(");
      sql.append(column).append(")");
    }
    std::string text;
    server.catalog.store().each(sql + " FROM " + server.catalog.rowTable(object.id),
                                [&](const Statement& row) { text += row.text(0) + "\n"; });
    return text;
  }
};

TEST(RowInserts, StoreWhatOrdinaryStatementsStore) {
  const std::vector<std::string> types = {
      "char(5)",       "varchar(5)", "nchar(5)",     "unichar(5)",   "univarchar(5)",
      "text",          "binary(4)",  "varbinary(4)", "image",        "bit",
      "tinyint",       "smallint",   "usmallint",    "int",          "uint",
      "bigint",        "ubigint",    "numeric(5,2)", "numeric(5,0)", "numeric(30,10)",
      "float",         "real",       "money",        "smallmoney",   "datetime",
      "smalldatetime", "date",       "time",         "bigdatetime",  "bigtime"};
  const std::vector<std::string> literals = {"null",
                                             "NULL",
                                             "0",
                                             "-0",
                                             "1",
                                             "+7",
                                             "255",
                                             "256",
                                             "-32769",
                                             "65535",
                                             "2147483647",
                                             "2147483648",
                                             "-2147483648",
                                             "9223372036854775807",
                                             "9223372036854775808",
                                             "18446744073709551615",
                                             "00012",
                                             "1.",
                                             ".5",
                                             "1.5",
                                             "-1.50",
                                             "999.99",
                                             "999.995",
                                             "1000.0",
                                             "12.345678901234567",
                                             "0.1",
                                             "-0.0",
                                             "1e3",
                                             "-2.5E-3",
                                             "1.7976e308",
                                             "$1",
                                             "$-1",
                                             "-$1.25",
                                             "$214748.3648",
                                             "$922337203685477.5807",
                                             "0x",
                                             "0x0",
                                             "0xABC",
                                             "0x0102030405",
                                             "''",
                                             "' '",
                                             "'a  '",
                                             "'abcdefgh'",
                                             "'it''s'",
                                             "'\"\"'",
                                             "\"a''b\"",
                                             "\"say \"\"x\"\"\"",
                                             "'\xC3\xA4\xC3\xA4\xC3\xA4'",
                                             "'a\\b'",
                                             "'a\\\nb'",
                                             "'a\nb'",
                                             "'12'",
                                             "'0x12'",
                                             "'2024-02-29'",
                                             "'2023-02-29'",
                                             "'20240131'",
                                             "'2024/01/31 23:59'",
                                             "'2024-01-31 23:59:59.997'",
                                             "'2024-01-31T01:02:03.123456'",
                                             "'2024-01-31 24:00'",
                                             "'1/2/99'",
                                             "'Jan  5 1999  3:04PM'",
                                             "'12:30'",
                                             "'0001-01-01'",
                                             "'9999-12-31 23:59:59.999999'",
                                             "'2024-1-2'",
                                             "'2024-01-31 1:2'",
                                             "'2024-01-31 '",
                                             "'2024-01-31 12:30:45.1'",
                                             "'2024-01-31 12:30:45:003'",
                                             "1 + 1",
                                             "upper('a')",
                                             "N'a'",
                                             "(1)",
                                             "- 5",
                                             "1abc",
                                             "'a' 'b'"};
  std::string tables, plain, ordinary;
  for (std::size_t i = 0; i < types.size(); ++i) {
    const std::string number = std::to_string(i);
    tables += "create table n" + number + " (v " + types[i] +
              (types[i] == "bit" ? " not null)\ngo\n" : " null)\ngo\n");
    tables += "create table r" + number + " (v " + types[i] + " not null)\ngo\n";
    for (const std::string& literal : literals) {
      for (const char* kind : {"n", "r"}) {
        const std::string statement =
            std::string("insert ") + kind + number + " values (" + literal + ")";
        plain += statement + "\ngo\n";
        ordinary += statement + std::string(kOrdinary) + "\ngo\n";
      }
    }
  }
  Loaded fast, slow;
  fast.load(tables);
  ASSERT_EQ(fast.messages, std::vector<std::string>());
  slow.load(tables);
  fast.load(plain);
  slow.load(ordinary);
  EXPECT_EQ(fast.messages, slow.messages);
  EXPECT_GT(fast.messages.size(), types.size());
  for (std::size_t i = 0; i < types.size(); ++i) {
    for (const char* kind : {"n", "r"}) {
      const std::string table = kind + std::to_string(i);
      EXPECT_EQ(fast.rows(table, {"c1"}), slow.rows(table, {"c1"})) << table << " " << types[i];
    }
  }
}

// Each statement stands on a line of its own, so that the batches have the same lines.
void expectTheSame(const std::string& setUp, const std::vector<std::string>& lines,
                   const std::string& table, const std::vector<std::string>& columns,
                   const std::string& rows, const std::vector<std::string>& messages) {
  Loaded fast, slow;
  std::string plain, ordinary;
  for (const std::string& line : lines) {
    plain += line + "\n";
    ordinary += line + (line == "go" ? "" : std::string(kOrdinary)) + "\n";
  }
  for (Loaded* one : {&fast, &slow}) {
    one->load(setUp);
    ASSERT_EQ(one->messages, std::vector<std::string>());
    one->load(one == &fast ? plain : ordinary);
    EXPECT_EQ(one->rows(table, columns), rows);
  }
  EXPECT_EQ(fast.messages, slow.messages);
  std::vector<std::string> numbers;
  numbers.reserve(fast.messages.size());
  for (const std::string& message : fast.messages) {
    numbers.push_back(message.substr(0, message.find(':', message.find(':') + 1)));
  }
  EXPECT_EQ(numbers, messages);
}

TEST(RowInserts, ObeyTheRulesOfTheTable) {
  expectTheSame(
      "create table p (k int primary key)\ngo\ninsert p values (1)\ngo\n"
      "create table t (a int not null, b int null check (b > 0), c varchar(9) default 'x' null,"
      " d as a * 2, p int null references p (k), unique (a))\ngo\n",
      {"insert t (a, b, p) values (1, 1, 1)", "insert t (a, b, p) values (1, 2, 1)",
       "insert t (a, b) values (2, -1)", "insert t (a, p) values (3, 9)",
       "insert into t values (4, null, 'y', null)", "insert t (b) values (1)", "go",
       "insert t (a, b, p) values (1, 1, 1)", "insert t (a, b, p) values (1, 2, 1)",
       "insert t (a, b) values (2, -1)", "insert t (a, p) values (3, 9)",
       "insert into t values (4, null, 'y', null)", "go", "insert t (a, b) values (5, 'x')", "go",
       "insert t (a) values (6, 7)", "go", "insert nothing values (1)"},
      "t", {"c1", "c2", "c3"}, " integer 1 integer 1 text 'x'\n integer 4 null NULL text 'y'\n",
      {"6: 233", "9: 2601", "10: 548", "11: 546", "14: 257", "16: 213", "18: 208"});
}

TEST(RowInserts, GiveIdentitiesAndFireTriggers) {
  expectTheSame(
      "create table t (i numeric(9,0) identity, a int)\ngo\n"
      "create table log (a int)\ngo\n"
      "create trigger tr on t for insert as insert log select a + 100 from inserted\ngo\n",
      {"insert t values (1)", "insert t (a) values (2)", "go", "set identity_insert t on", "go",
       "insert t (i, a) values (9, 3)", "go", "set identity_insert t off", "go",
       "insert t values (4)"},
      "log", {"c1"}, " integer 101\n integer 102\n integer 103\n integer 104\n", {});
  expectTheSame("create table t (i numeric(9,0) identity, a int)\ngo\n",
                {"insert t values (1)", "insert t (a) values (2)", "go", "delete t where a = 2",
                 "go", "insert t values (5)", "go", "set identity_insert t on", "go",
                 "insert t (i, a) values (9, 3)", "go", "set identity_insert t off", "go",
                 "insert t values (4)", "insert t values (6)"},
                "t", {"c1", "c2"},
                " integer 1 integer 1\n integer 2 integer 5\n integer 9 integer 3\n"
                " integer 10 integer 4\n integer 11 integer 6\n",
                {});
}

TEST(RowInserts, GiveTheNextIdentityAfterWhatWasUndone) {
  const std::string setUp =
      "create table t (i numeric(9,0) identity, a int unique)\ngo\n"
      "create table u (i numeric(9,0) identity, a int null)\ngo\n";
  std::vector<std::string> lines = {"insert t values (1)",
                                    "insert t values (2)",
                                    "insert t values (2)",
                                    "go",
                                    "insert u values (1)",
                                    "go",
                                    "insert t values (3)",
                                    "insert u values (2)",
                                    "insert t values (4)",
                                    "go",
                                    "begin tran",
                                    "go",
                                    "insert t values (5)",
                                    "go",
                                    "rollback",
                                    "go",
                                    "insert t values (6)",
                                    "go",
                                    "delete t where a = 6",
                                    "go",
                                    "insert t values (7)"};
  expectTheSame(setUp, lines, "t", {"c1", "c2"},
                " integer 1 integer 1\n integer 2 integer 2\n integer 3 integer 3\n"
                " integer 4 integer 4\n integer 5 integer 7\n",
                {"3: 2601"});
  lines.insert(lines.end(),
               {"go", "drop table t", "go", "create table t (i numeric(9,0) identity, a int)", "go",
                "insert t values (8)", "insert t values (9)", "go", "truncate table t", "go",
                "insert t values (10)", "insert t values (11)"});
  expectTheSame(setUp, lines, "t", {"c1", "c2"}, " integer 1 integer 10\n integer 2 integer 11\n",
                {"3: 2601"});
}

TEST(RowInserts, FollowChangesOfTheTableAndOfTheSession) {
  expectTheSame("create table t (a varchar(5) null)\ngo\n",
                {"insert t values ('1234567')",
                 "go",
                 "set string_rtruncation on",
                 "go",
                 "insert t values ('1234567')",
                 "go",
                 "set string_rtruncation off",
                 "go",
                 "alter table t add b int default 7 not null",
                 "go",
                 "insert t values ('x')",
                 "go",
                 "insert t (a) values ('y')",
                 "go",
                 "drop table t",
                 "go",
                 "insert t values (1)",
                 "go",
                 "create table t (a int null, b int null)",
                 "go",
                 "insert t values (1, 2)",
                 "go",
                 "begin tran",
                 "go",
                 "insert t values (3, 4)",
                 "go",
                 "rollback",
                 "go",
                 "insert t values (5, 6)"},
                "t", {"c1", "c2"}, " integer 1 integer 2\n integer 5 integer 6\n",
                {"5: 9502", "11: 213", "17: 208"});
}

TEST(RowInserts, TellTheClientAsOthersDo) {
  Probe probe("create table t (i numeric(5,0) identity, a int)");
  EXPECT_EQ(probe.ask("insert t values (1)\ninsert t values (2)"), "(closed)\n(closed)\n");
  EXPECT_EQ(probe.rows("select @@rowcount, @@error, @@identity"), "1 | 0 | 2\n");
  probe.ask("set nocount on");
  EXPECT_EQ(probe.ask("insert t values (3)"), "(closed)\n");
  EXPECT_EQ(probe.rows("select count(*) from t"), "3\n");
}

}  // namespace
}  // namespace kelvane::embedded
