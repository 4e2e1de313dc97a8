// What programs other than the driver's own connection ask through ODBC: metadata, and statements
// and procedures with parameters.

#include <array>
#include <functional>
#include <gtest/gtest.h>
#include <sql.h>
#include <sqlext.h>
#include <vector>

#include "tests/odbc/servers.h"
#include "tests/tds/test_catalog.h"

namespace kelvane {
namespace {

using testing::LiveServer;

SQLCHAR* textOf(const char* text) { return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text)); }

class Handle {
 public:
  Handle(SQLSMALLINT type, SQLHANDLE parent) : type_(type) {
    SQLAllocHandle(type, parent, &handle_);
  }
  ~Handle() { SQLFreeHandle(type_, handle_); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  operator SQLHANDLE() const { return handle_; }

 private:
  SQLSMALLINT type_;
  SQLHANDLE handle_ = SQL_NULL_HANDLE;
};

struct Bound {
  SQLSMALLINT sqlType;
  std::string text;
  SQLULEN size = 40;
  SQLSMALLINT digits = 0;
  SQLSMALLINT direction = SQL_PARAM_INPUT;
  std::array<char, 2000> buffer = {};
  SQLLEN length = 0;
};

class Programs : public ::testing::Test {
 protected:
  Programs() : server_(tds::catalogOf(kScript)), environment_(SQL_HANDLE_ENV, SQL_NULL_HANDLE) {
    SQLSetEnvAttr(environment_, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3),
                  0);
    connection_.emplace(SQL_HANDLE_DBC, environment_);
    const std::string source =
        toUtf8(tds::freeTdsSource(server_.port(), u"sa", u"x", u"ClientCharset=UTF-8"));
    const SQLRETURN result = SQLDriverConnect(*connection_, nullptr, textOf(source.c_str()),
                                              SQL_NTS, nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT);
    EXPECT_TRUE(SQL_SUCCEEDED(result));
  }
  ~Programs() override { SQLDisconnect(*connection_); }

  using Call = std::function<SQLRETURN(SQLHSTMT)>;
  // The values of some columns, or the error.
  std::string answer(const Call& call, const std::vector<SQLUSMALLINT>& columns) {
    const Handle statement(SQL_HANDLE_STMT, *connection_);
    if (!SQL_SUCCEEDED(call(statement))) return error(statement);
    std::string text;
    while (SQL_SUCCEEDED(SQLFetch(statement))) {
      for (const SQLUSMALLINT column : columns) {
        std::array<char, 1000> buffer{};
        SQLLEN length = 0;
        SQLGetData(statement, column, SQL_C_CHAR, buffer.data(), buffer.size(), &length);
        text += length == SQL_NULL_DATA ? "-" : buffer.data();
        text += column == columns.back() ? "\n" : "|";
      }
    }
    while (SQL_SUCCEEDED(SQLMoreResults(statement))) {
    }
    return text;
  }
  std::string asked(const char* text, std::vector<Bound*> bound,
                    const std::vector<SQLUSMALLINT>& columns = {1}) {
    return answer(
        [&](SQLHSTMT statement) {
          SQLUSMALLINT number = 0;
          for (Bound* one : bound) {
            one->text.copy(one->buffer.data(), one->buffer.size() - 1);
            one->length = one->text == "-" ? SQL_NULL_DATA : SQL_NTS;
            SQLBindParameter(statement, ++number, one->direction, SQL_C_CHAR, one->sqlType,
                             one->size, one->digits, one->buffer.data(),
                             static_cast<SQLLEN>(one->buffer.size()), &one->length);
          }
          return SQLExecDirect(statement, textOf(text), SQL_NTS);
        },
        columns);
  }

 private:
  static std::string error(SQLHSTMT statement) {
    std::array<char, 500> text{};
    std::array<char, 6> state{};
    SQLINTEGER number = 0;
    SQLGetDiagRec(SQL_HANDLE_STMT, statement, 1, reinterpret_cast<SQLCHAR*>(state.data()), &number,
                  reinterpret_cast<SQLCHAR*>(text.data()), text.size(), nullptr);
    return std::to_string(number) + " " + text.data();
  }

  static constexpr const char* kScript =
      "create table t (a int not null primary key, b varchar(10) null, c numeric(10,2) null)\n"
      "create table u (x int not null, y int null,"
      " constraint fk_u foreign key (y) references t (a))\n"
      "create index ix on u (x, y)\n"
      "insert t values (1, 'one', 1.5)\ninsert t values (2, 'two', 2.5)\ngo\n"
      "create procedure twice @n int, @t varchar(20) output, @d numeric(8,2) = null output as\n"
      "select @n * 2 as n\nselect @t = @t + @t, @d = @n / 4.0\nreturn 7\ngo\n";

  LiveServer server_;
  Handle environment_;
  std::optional<Handle> connection_;
};

TEST_F(Programs, ReadMetadata) {
  const struct {
    Call call;
    std::vector<SQLUSMALLINT> columns;
    std::string expected;
  } cases[] = {
      {[](SQLHSTMT h) {
         return SQLTables(h, nullptr, 0, nullptr, 0, textOf("%"), SQL_NTS, textOf("TABLE"),
                          SQL_NTS);
       },
       {1, 2, 3, 4, 5},
       "main|dbo|t|TABLE|-\nmain|dbo|u|TABLE|-\n"},
      {[](SQLHSTMT h) {
         return SQLTables(h, textOf(""), 0, textOf(""), 0, textOf(""), 0, textOf("%"), SQL_NTS);
       },
       {4},
       "SYSTEM TABLE\nTABLE\nVIEW\n"},
      {[](SQLHSTMT h) {
         return SQLColumns(h, nullptr, 0, nullptr, 0, textOf("t"), SQL_NTS, textOf("%"), SQL_NTS);
       },
       {4, 5, 6, 7, 9, 11},
       "a|4|int|10|0|0\nb|12|varchar|10|-|1\nc|2|numeric|10|2|1\n"},
      {[](SQLHSTMT h) { return SQLPrimaryKeys(h, nullptr, 0, nullptr, 0, textOf("t"), SQL_NTS); },
       {3, 4, 5},
       "t|a|1\n"},
      {[](SQLHSTMT h) {
         return SQLForeignKeys(h, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0,
                               textOf("u"), SQL_NTS);
       },
       {3, 4, 7, 8, 9, 12},
       "t|a|u|y|1|fk_u\n"},
      {[](SQLHSTMT h) {
         return SQLStatistics(h, nullptr, 0, nullptr, 0, textOf("u"), SQL_NTS, SQL_INDEX_ALL,
                              SQL_QUICK);
       },
       {4, 6, 7, 8, 9, 10},
       "-|-|0|-|-|-\n1|ix|3|1|x|A\n1|ix|3|2|y|A\n"},
      {[](SQLHSTMT h) {
         return SQLSpecialColumns(h, SQL_BEST_ROWID, nullptr, 0, nullptr, 0, textOf("t"), SQL_NTS,
                                  SQL_SCOPE_CURROW, SQL_NULLABLE);
       },
       {2, 3, 4},
       "a|4|int\n"},
      {[](SQLHSTMT h) { return SQLProcedures(h, nullptr, 0, nullptr, 0, textOf("%"), SQL_NTS); },
       {2, 3},
       "dbo|twice;1\n"},
      {[](SQLHSTMT h) {
         return SQLProcedureColumns(h, nullptr, 0, nullptr, 0, textOf("twice"), SQL_NTS,
                                    textOf("%"), SQL_NTS);
       },
       {4, 5, 6},
       "@n|1|4\n@t|2|12\n@d|2|2\n"},
      {[](SQLHSTMT h) { return SQLGetTypeInfo(h, SQL_VARCHAR); }, {1, 2}, "varchar|12\n"},
  };
  for (const auto& [call, columns, expected] : cases) EXPECT_EQ(answer(call, columns), expected);
}

TEST_F(Programs, SendValuesOfEveryType) {
  const struct {
    SQLSMALLINT type;
    const char *value, *expected;
    SQLSMALLINT digits = 0;
    SQLULEN size = 40;
  } cases[] = {
      {SQL_VARCHAR, "x\u00FC?'", "x\u00FC?'"},
      {SQL_WVARCHAR, "\u03A9\u00FC", "\u03A9\u00FC"},
      {SQL_CHAR, "abc", "abc"},
      {SQL_LONGVARCHAR, "long", "long"},
      {SQL_INTEGER, "-7", "-7"},
      {SQL_SMALLINT, "-6", "-6"},
      {SQL_TINYINT, "255", "255"},
      {SQL_BIGINT, "-8000000000", "-8000000000"},
      {SQL_NUMERIC, "-1.25", "-1.25", 2, 10},
      {SQL_NUMERIC, "0.0001", ".0001", 4, 38},
      {SQL_DOUBLE, "1.25", "1.25"},
      {SQL_REAL, "2.5", "2.5"},
      {SQL_BIT, "1", "1"},
      {SQL_VARBINARY, "0102FF", "0102ff"},
      {SQL_TYPE_TIMESTAMP, "2024-02-29 13:14:15.123", "2024-02-29 13:14:15.123", 3, 23},
      {SQL_VARCHAR, "-", "-"},
      {SQL_INTEGER, "-", "-"},
      {SQL_NUMERIC, "-", "-", 2, 10},
  };
  for (const auto& one : cases) {
    Bound bound{one.type, one.value, one.size, one.digits};
    std::string got = asked("select ? as x -- ? '", {&bound});
    if (one.type == SQL_TYPE_TIMESTAMP) got.resize(std::string_view(one.expected).size());
    while (!got.empty() && got.back() == '\n') got.pop_back();
    EXPECT_EQ(got.starts_with("0.") ? got.substr(1) : got, one.expected) << one.type;
  }
  const std::string longText(1500, 'z');
  Bound text{SQL_LONGVARCHAR, longText, 1500};
  EXPECT_EQ(asked("select datalength(?)", {&text}), "1500\n");
}

TEST_F(Programs, BindParametersInTheirOrder) {
  Bound shown{SQL_VARCHAR, "?"}, key{SQL_INTEGER, "1"}, name{SQL_VARCHAR, "two"};
  EXPECT_EQ(asked("select a, '?', ?, b /* ? */ from t where a = ? or [b] = ? order by a",
                  {&shown, &key, &name}, {1, 2, 3, 4}),
            "1|?|?|one\n2|?|?|two\n");
  Bound missing{SQL_INTEGER, "3"}, none{SQL_VARCHAR, "-"};
  EXPECT_EQ(asked("insert t values (?, ?, null)", {&missing, &none}), "");
  EXPECT_EQ(asked("select a from t where b = ?", {&none}), "3\n");
  EXPECT_EQ(asked("update t set b = ? where a = ?", {&name, &missing}), "");
  EXPECT_EQ(asked("select b from t where a = ?", {&missing}), "two\n");
  EXPECT_EQ(asked("select nosuch from t where a = ?", {&missing}).substr(0, 4), "207 ");
}

TEST_F(Programs, CallProceduresAndGetTheirOutput) {
  Bound status{SQL_INTEGER, "0", 10, 0, SQL_PARAM_OUTPUT}, number{SQL_INTEGER, "5"},
      text{SQL_VARCHAR, "ab", 20, 0, SQL_PARAM_INPUT_OUTPUT},
      part{SQL_NUMERIC, "-", 8, 2, SQL_PARAM_OUTPUT};
  EXPECT_EQ(asked("{? = call twice(?, ?, ?)}", {&status, &number, &text, &part}), "10\n");
  EXPECT_STREQ(status.buffer.data(), "7");
  EXPECT_STREQ(text.buffer.data(), "abab");
  EXPECT_STREQ(part.buffer.data(), "1.25");
  EXPECT_EQ(asked("{call nosuch(?)}", {&number}).substr(0, 5), "2812 ");
}

}  // namespace
}  // namespace kelvane
