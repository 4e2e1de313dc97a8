// Values as the server computes them.
//
// Strings and blanks, nulls, numbers, dates, conversions, functions: each a table of expressions
// and the drawn value.

#include <gtest/gtest.h>

#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

struct Case {
  const char* expression;
  const char* value;
};

void expectValues(std::initializer_list<Case> cases) {
  Probe probe;
  for (const Case& c : cases) {
    EXPECT_EQ(probe.rows("select " + std::string(c.expression)), std::string(c.value) + "\n")
        << c.expression;
  }
}

TEST(Value, OperatorsBindAsOnTheServer) {
  expectValues({
      {"2 + 3 * 4 % 5", "4"},
      {"1 | 2 + 4 & 5 ^ 1", "4"},  // from left to right, as additions
      {"10 - 3 - 2", "5"},
      {"-2 * ~3 - -1", "9"},
      {"(1 + 2) * 3", "9"},
      {"case when 6 & 3 = 2 then 'y' else 'n' end", "y"},
      {"case when 1 = 1 or 1 = 2 and 1 = 2 then 'y' else 'n' end", "y"},
      {"case when not 1 = 2 and 1 = 2 then 'y' else 'n' end", "n"},
      {"case when not not 1 = 1 then 'y' else 'n' end", "y"},
      {"case when 2 between 1 and 1 + 2 and 3 !< 3 and 3 !> 3 then 'y' else 'n' end", "y"},
      {"case when 'a%' like 'a!%' escape '!' and 'ab' not like 'a!%' escape '!' then 'y' end", "y"},
      {"case when 3 not in (1, -2) and 3 >= all (select 3) and 3 != some (select 4) then 'y' end",
       "y"},
      {"case 2 when 1 then 'x' when 2 then 'y' end", "y"},
      {"((select max(2)) + 1) * 2", "6"},
      {"nullif(1, 1)", "-"},
      {"coalesce(null, 3)", "3"},
      {"'two\\\nlines'", "twolines"},
      {".5e1 + 2.", "7"},
      {"$4.20", "4.2000"},
      {"$-5", "-5.0000"},
      {"1 - $-.5", "1.5000"},
      {"-$+2", "-2.0000"},
      {"convert(bigint, 9223372036854775807)", "9223372036854775807"},
      {"convert(bigint, -9223372036854775808)", "-9223372036854775808"},
  });
}

TEST(Value, TextsAndBlanks) {
  expectValues({
      {"'it''s'", "it's"},
      {"\"it's\"", "it's"},
      {"''", " "},
      {"'abc' + '' + 'def'", "abc def"},
      {"null + 'x'", "x"},
      {"'x' + null", "x"},
      {"convert(varchar, null) + convert(varchar, null)", "-"},
      {"convert(varchar(3), 'abcdef')", "abc"},
      {"convert(char(5), 'ab') + '|'", "ab   |"},
      {"convert(varchar(10), 'ab   ') + '|'", "ab|"},
      {"substring('abc', 2, 5)", "bc"},
      {"substring('abc', 4, 1)", "-"},
      {"substring(0x0A0B0C, 2, 1)", "0x0b"},
      {"rtrim('   ')", "-"},
      {"ltrim(rtrim('  a  ')) + '|'", "a|"},
      {"space(0)", "-"},
      {"'[' + space(2) + ']'", "[  ]"},
      {"replicate('ab', 2)", "abab"},
      {"right('abc', 2)", "bc"},
      {"stuff('abcdef', 2, 3, 'X')", "aXef"},
      {"reverse('abc')", "cba"},
      {"charindex('c', 'abc')", "3"},
      {"patindex('%[b-c]%', 'abc')", "2"},
      {"char_length('abc')", "3"},
      {"datalength(convert(smallint, 1))", "2"},
      {"upper('aBc') + lower('aBc')", "ABCabc"},
      {"str_replace('abcabc', 'b', null)", "acac"},
      {"str(12.3, 6, 1)", "  12.3"},
      {"ascii('A')", "65"},
      {"char(65)", "A"},
  });
}

// A varchar(n) has room for n characters, however many bytes they are in UTF-8. What is filled up
// with blanks is so to n bytes.
TEST(Value, LettersOfSeveralBytes) {
  Probe probe(R"(
create table t (v varchar(3) null, c char(4) not null, n char(4) null, u unichar(3) not null)
insert t values ('aébc', 'é', 'é', 'é')
insert t values ('ab€', 'ab€de', 'ab€', '€€€€')
)");
  EXPECT_EQ(probe.rows("select v, c + '|', n + '|', u + '|' from t"),
            "a\u00e9b | \u00e9  | | \u00e9| | \u00e9  |\n"
            "ab\u20ac | ab\u20acd| | ab\u20ac| | \u20ac\u20ac\u20ac|\n");
  EXPECT_EQ(
      probe.rows("select datalength(v), datalength(c), char_length(c), datalength(n),"
                 " datalength(u), char_length(u), right(c, 1) + '|', substring(v, 2, 1) from t"),
      "4 | 4 | 3 | 2 | 6 | 3 |  | | \u00e9\n5 | 6 | 4 | 5 | 6 | 3 | d| | b\n");
  EXPECT_EQ(probe.rows("select c, u from t"),
            "\u00e9   | \u00e9  \nab\u20acd | \u20ac\u20ac\u20ac\n");
  EXPECT_EQ(probe.rows("select convert(varchar(3), 'a\u00e9bc'), stuff('ab', 2, 1, '\u00e9'),"
                       " reverse('a\u00e9'), replicate('\u00e9', 2), ascii(char(233))"),
            "a\u00e9b | a\u00e9 | \u00e9a | \u00e9\u00e9 | 233\n");
  EXPECT_EQ(
      probe.refusal("set string_rtruncation on insert t (v, c, u) values ('a\u00e9bc', 'x', 'x')")
          .substr(0, 5),
      "9502:");
}

TEST(Value, Numbers) {
  expectValues({
      {"7 / 2", "3"},
      {"-7 / 2", "-3"},
      {"7 % 3", "1"},
      {"7 / 2.0", "3.500000"},
      {"1.5 + 1", "2.5"},
      {"1.10 * 2", "2.20"},
      {"6 & 3", "2"},
      {"6 | 3", "7"},
      {"6 ^ 3", "5"},
      {"~5", "-6"},
      {"1 + 2 * 3 - 4", "3"},
      {"$4.20", "4.2000"},
      {"1e3", "1000"},
      {"round(123.456, 1)", "123.500"},
      {"abs(-3)", "3"},
      {"convert(int, 3.9)", "3"},
      {"convert(int, '12')", "12"},
      {"convert(int, $4.50)", "5"},
      {"convert(int, $4.49)", "4"},
      {"convert(smallint, convert(smallmoney, -4.5))", "-5"},
      {"convert(bit, $0.4)", "True"},
      {"convert(numeric(5,1), 12.36)", "12.3"},
      {"convert(numeric(5,1), 12.36e0)", "12.4"},
      {"convert(numeric(20,2), '123456789012345678.90')", "123456789012345678.90"},
      {"convert(tinyint, 0x0C)", "12"},
      {"convert(bit, 5)", "True"},
      {"convert(varchar(10), 12)", "12"},
      {"convert(varchar(10), 1.50)", "1.50"},
      {"isnull(null, 3)", "3"},
      {"isnull(convert(varchar(2), null), 'abcd')", "ab"},
      {"coalesce(null, null, 2)", "2"},
      {"nullif(1, 1)", "-"},
  });
}

TEST(Value, UnsignedIntegersReachTheirLastValue) {
  expectValues({
      {"convert(unsigned bigint, 18446744073709551615)", "18446744073709551615"},
      {"convert(unsigned bigint, '9223372036854775808')", "9223372036854775808"},
      {"convert(unsigned bigint, 0xffffffffffffffff)", "18446744073709551615"},
      {"convert(varchar(30), convert(unsigned bigint, 18446744073709551614))",
       "18446744073709551614"},
      {"convert(unsigned bigint, 18446744073709551614) + 1", "18446744073709551615"},
      {"convert(unsigned bigint, 18446744073709551615) / 3", "6148914691236517205"},
      {"convert(unsigned bigint, 18446744073709551615) % 10", "5"},
      {"convert(unsigned bigint, 18446744073709551615) & 255", "255"},
      {"~convert(unsigned bigint, 1)", "18446744073709551614"},
      {"case when convert(unsigned bigint, 9223372036854775808) > 9223372036854775807 then 1 end",
       "1"},
  });
  Probe probe(
      "create table t (a unsigned bigint null)\n"
      "insert t values (18446744073709551615) insert t values (9223372036854775808)\n"
      "insert t values (7) insert t values (9223372036854775807)\n"
      "create unique index i on t (a)");
  EXPECT_EQ(probe.rows("select a from t where a > 7 order by a desc"),
            "18446744073709551615\n9223372036854775808\n9223372036854775807\n");
  EXPECT_EQ(probe.rows("select max(a), min(a), count(distinct a) from t"),
            "18446744073709551615 | 7 | 4\n");
  EXPECT_EQ(probe.rows("select sum(a), avg(a) from t where a < 9223372036854775809 and a > 7"),
            "18446744073709551615 | 9223372036854775807\n");
  EXPECT_EQ(probe.rows("select a from t where a = 18446744073709551615"), "18446744073709551615\n");
  for (const char* expression :
       {"convert(unsigned bigint, 18446744073709551615) + 1", "convert(unsigned bigint, 0) - 1",
        "-convert(unsigned bigint, 5)", "convert(bigint, 9223372036854775807) + 1",
        "convert(tinyint, 200) + convert(tinyint, 100)",
        "convert(unsigned int, 1) - convert(unsigned int, 2)"}) {
    EXPECT_EQ(probe.refusal("select " + std::string(expression)),
              "3606: Arithmetic overflow occurred.\n")
        << expression;
  }
  EXPECT_EQ(probe.refusal("select convert(unsigned bigint, 18446744073709551616)").substr(0, 4),
            "247:");
}

// An int leads an unsigned one of no more bytes; an unsigned bigint leads all integers.
TEST(Value, UnsignedIntegersBesideOthers) {
  expectValues({
      {"convert(unsigned int, 0) - 1", "-1"},
      {"convert(unsigned smallint, 65535) + 1", "65536"},
      {"-convert(unsigned smallint, 65535)", "-65535"},
      {"-convert(tinyint, 255)", "-255"},
      {"~convert(tinyint, 1)", "254"},
      {"~convert(unsigned smallint, 1)", "65534"},
      {"~convert(unsigned int, 1)", "4294967294"},
      {"~convert(int, 1)", "-2"},
  });
  Probe probe;
  for (const char* expression :
       {"convert(unsigned int, 4294967295) - 1", "convert(unsigned bigint, 0) - 1",
        "-convert(unsigned int, 4294967295)"}) {
    EXPECT_EQ(probe.refusal("select " + std::string(expression)),
              "3606: Arithmetic overflow occurred.\n")
        << expression;
  }
}

TEST(Value, NumbersHaveARange) {
  Probe probe("create table t (a float null, b numeric(38,0) null)");
  const std::string digits(38, '9');
  EXPECT_EQ(probe.rows("select 000" + digits), digits + "\n");
  for (const std::string& number : {digits + "0", "1." + digits}) {
    const std::string refused = "1007: The number '" + number +
                                "' is out of the range for numeric representation (maximum "
                                "precision 38).\n";
    EXPECT_EQ(probe.refusal("select " + number), refused);
    EXPECT_EQ(probe.refusal("insert t (b) values (" + number + ")"), refused);
  }
  const char* const refused =
      "168: The floating-point value '1e999' is out of the range of computer representation.\n";
  EXPECT_EQ(probe.refusal("select 1e999"), refused);
  EXPECT_EQ(probe.refusal("insert t (a) values (-1e999)"), refused);
  EXPECT_EQ(probe.ask("insert t (a) values (1e300)"), "(closed)\n");
}

// Fifteen digits have a floating point number each, of which a logarithm may be rounded up.
TEST(Value, NumbersJustBelowAPowerOfTenAreExact) {
  for (int before = 0; before <= 15; ++before) {
    const std::string nines = std::string(15, '9');
    const std::string number =
        (before == 0 ? "0" : nines.substr(0, static_cast<std::size_t>(before))) +
        (before == 15 ? "" : "." + nines.substr(static_cast<std::size_t>(before)));
    const std::string type = "numeric(16," + std::to_string(15 - before) + ")";
    Probe probe("create table t (a " + type + ")\ninsert t values (" + number + ")");
    EXPECT_EQ(probe.rows("select convert(varchar(40), a) from t"), number + "\n");
    EXPECT_EQ(probe.rows("select convert(varchar(40), convert(" + type + ", '" + number + "'))"),
              number + "\n");
    EXPECT_EQ(probe.rows("select convert(varchar(40), convert(" + type + ", " + number + " - 0))"),
              number + "\n");
  }
}

TEST(Value, NothingWrapsAtTheEndsOfTypes) {
  Probe probe(R"(
create table t (m money, sm smallmoney, i int, b bigint, u unsigned bigint, n numeric(38,0), f float)
insert t values (922337203685477.5807, 214748.3647, 2147483647, 9223372036854775807,
  18446744073709551615, 99999999999999999999999999999999999999, 1e308)
insert t select m, sm, i, b, u, n, f from t
)");
  const Case kRefused[] = {
      {"convert(money, 922337203685477.5807) + $1", "3606"},
      {"$0 - convert(money, 922337203685477.5807) - $1", "3606"},
      {"-convert(money, -922337203685477.5808)", "3606"},
      {"$900000000000000 * 2", "3606"},
      {"$922337203685477 / $0.1", "3606"},
      {"$922337203685477.5808", "3606"},
      {"convert(smallmoney, 214748.3647) + convert(smallmoney, 1)", "3606"},
      {"-convert(smallmoney, -214748.3648)", "3606"},
      {"convert(smallmoney, 200000) * convert(tinyint, 2)", "3606"},
      {"convert(tinyint, 255) + convert(tinyint, 1)", "3606"},
      {"convert(smallint, -32768) - convert(smallint, 1)", "3606"},
      {"-convert(smallint, -32768)", "3606"},
      {"-convert(int, -2147483648)", "3606"},
      {"convert(int, -2147483648) / convert(int, -1)", "3606"},
      {"-convert(bigint, -9223372036854775808)", "3606"},
      {"convert(bigint, -9223372036854775808) / convert(bigint, -1)", "3606"},
      {"convert(bigint, 9223372036854775807) * 2", "3606"},
      {"convert(numeric(38,0), 99999999999999999999999999999999999999) + 1", "3606"},
      {"1e308 * 10", "3606"},
      {"1e308 / 1e-10", "3606"},
      {"convert(real, 3e38) + convert(real, 3e38)", "3606"},
      {"sum(m) from t", "3606"},
      {"sum(i) from t", "3606"},
      {"sum(b) from t", "3606"},
      {"avg(b) from t", "3606"},
      {"sum(u) from t", "3606"},
      {"sum(n) from t", "3606"},
      {"sum(f) from t", "3606"},
      {"convert(money, 1e15)", "247"},
      {"convert(money, 1e300)", "247"},
      {"convert(smallmoney, 214748.3648)", "247"},
      {"convert(int, 1e300)", "247"},
      {"convert(numeric(38,0), 1.1e38)", "247"},
      {"convert(real, 1e39)", "247"},
      {"convert(float, '1e999')", "247"},
      {"convert(float, 'inf')", "249"},
      {"convert(smalldatetime, 'Jun 6 2079 11:59:45PM')", "247"},
      {"convert(smalldatetime, convert(date, '20790607'))", "247"},
      {"convert(datetime, convert(date, '17521231'))", "247"},
      {"dateadd(mi, 1, convert(smalldatetime, 'Jun 6 2079 11:59PM'))", "517"},
      {"dateadd(yy, -1, convert(smalldatetime, '19000101'))", "517"},
      {"dateadd(ms, 10, convert(datetime, '9999-12-31 23:59:59.996'))", "517"},
      {"dateadd(dd, -1, convert(datetime, '17530101'))", "517"},
      {"dateadd(dd, 1, convert(date, '99991231'))", "517"},
      {"datediff(ss, convert(datetime, '19000101'), convert(datetime, '20000101'))", "535"},
  };
  for (const Case& c : kRefused) {
    const std::string refused = probe.refusal("select " + std::string(c.expression));
    EXPECT_EQ(refused.substr(0, refused.find(':')), c.value) << c.expression;
  }
  EXPECT_EQ(probe.refusal("select dateadd(mi, 1, convert(smalldatetime, 'Jun 6 2079 11:59PM'))"),
            "517: Adding a value to a 'smalldatetime' field caused overflow.\n");
  EXPECT_EQ(probe.refusal("update t set sm = sm + sm").substr(0, 5), "3606:");
  EXPECT_EQ(probe.rows("select sum(sm), avg(i), min(sm), max(m) from t"),
            "429496.7294 | 2147483647 | 214748.3647 | 922337203685477.5807\n");
}

TEST(Value, TheLastValuesOfTypes) {
  expectValues({
      {"convert(money, 922337203685477.5806) + $0.0001", "922337203685477.5807"},
      {"-convert(money, 922337203685477.5807) - $0.0001", "-922337203685477.5808"},
      {"-convert(smallmoney, 214748.3647)", "-214748.3647"},
      {"convert(varchar(30), convert(datetime, '9999-12-31 23:59:59.999'), 139)",
       "Dec 31 9999 23:59:59.996666"},
      {"convert(datetime, '2004-12-31 23:59:59.999')", "2005-01-01 00:00:00"},
      {"convert(varchar(30), convert(time, '23:59:59.999'), 20)", "23:59:59:996"},
      {"convert(varchar(30), convert(time, '12:00:00.001'), 20)", "12:00:00:000"},
      {"convert(varchar(30), dateadd(ms, 10, convert(time, '23:59:59.996')), 20)", "00:00:00:006"},
      {"convert(smalldatetime, 'Jun 6 2079 11:59:29PM')", "2079-06-06 23:59:00"},
      {"dateadd(ss, 30, convert(smalldatetime, '20040101'))", "2004-01-01 00:01:00"},
      {"5.5 % 2", "1.5"},
      {"-5.5 % 2.00", "-1.50"},
      {"$5.5 % $2", "1.5000"},
      {"5.5e0 % 2", "1.5"},
      {"-7 % 2", "-1"},
      {"-convert(bit, 1)", "-1"},
      {"~convert(bit, 1)", "False"},
  });
}

TEST(Value, LongIntegersOfDifferentTypesAreEqual) {
  Probe probe("create table t (a bigint) insert t values (9223372036854775807)");
  EXPECT_EQ(probe.rows("select a from t where a = 9223372036854775807"), "9223372036854775807\n");
}

TEST(Value, Dates) {
  expectValues({
      {"convert(datetime, 'Jan 5 2004 3:04:05PM')", "2004-01-05 15:04:05"},
      {"convert(datetime, '20040229')", "2004-02-29 00:00:00"},
      {"convert(smalldatetime, '2004-01-05 15:04:31')", "2004-01-05 15:05:00"},
      {"convert(varchar(30), convert(datetime, '2004-01-05 15:04:05'))", "Jan  5 2004  3:04PM"},
      {"convert(varchar(30), convert(datetime, '2004-01-05'), 112)", "20040105"},
      {"convert(varchar(30), convert(datetime, '2004-01-05'), 3)", "05/01/04"},
      {"dateadd(mm, 1, '2004-01-31')", "2004-02-29 00:00:00"},
      {"datediff(dd, '2004-02-28', '2004-03-01')", "2"},
      {"datepart(dw, '2004-01-05')", "2"},
      {"datename(month, '2004-01-05')", "January"},
      {"year('2004-01-05')", "2004"},
  });
}

TEST(Value, Cases) {
  expectValues({
      {"case 'a' when 'A' then 'Case_Insensitive' else 'Case_Sensitive' end", "Case_Sensitive"},
      {"case when 'a' = 'a  ' then 1 else 0 end", "1"},
      {"case when 'abc' like 'a[b-c]%' then 1 else 0 end", "1"},
      {"case when 'abc' like 'A%' then 1 else 0 end", "0"},
      {"case when 'a_c' like 'a\\_c' escape '\\' then 1 else 0 end", "1"},
      {"case when null = null then 1 else 0 end", "1"},
      {"case when 1 in (2, 1) then 1 end", "1"},
      {"case when 2 between 1 and 3 and not 1 > 2 then 1 end", "1"},
      {"case 3 when 1 then 'x' end", "-"},
      {"case when 1 = 1 then 1 else 2.5 end", "1.0"},
  });
}

TEST(Value, SessionFacts) {
  expectValues({
      {"user_name()", "dbo"},
      {"user", "dbo"},
      {"user_name(0)", "public"},
      {"user_id('public')", "0"},
      {"user_id('nobody')", "-"},
      {"suser_name()", "sa"},
      {"db_name()", "main"},
      {"object_name(1)", "sysobjects"},
      {"object_name(0)", "-"},
      {"OBJECT_ID('sysobjects')", "1"},
      {"object_id('nothing')", "-"},
      {"col_name(1, 1)", "name"},
      {"col_name(1, 0)", "-"},
      {"@@ncharsize", "1"},
      {"@@trancount", "0"},
  });
  EXPECT_NE(Probe().rows("select @@version").find("Adaptive Server Enterprise/12.5.4"),
            std::string::npos);
}

TEST(Value, Refusals) {
  Probe probe;
  const auto refused = [&](const char* expression) {
    const std::string text = probe.refusal("select " + std::string(expression));
    return text.substr(0, text.find('\n'));
  };
  EXPECT_EQ(refused("'a' + 1"),
            "257: Implicit conversion from datatype 'VARCHAR' to 'INT' is not allowed. Use the "
            "CONVERT function to run this query.");
  EXPECT_EQ(refused("1 / 0"), "3607: Divide by zero occurred.");
  EXPECT_EQ(refused("2147483647 + 1"), "3606: Arithmetic overflow occurred.");
  EXPECT_EQ(refused("convert(int, 'x')"),
            "249: Syntax error during explicit conversion of VARCHAR value 'x' to a INT field.");
  EXPECT_EQ(refused("@v"), "137: Must declare variable '@v'.");
  EXPECT_EQ(refused("@@nothing"), "137: Must declare variable '@@nothing'.");
  EXPECT_EQ(refused("SUSER_SNAME(1)").substr(0, 40), "14216: Function 'SUSER_SNAME' not found.");
  EXPECT_EQ(refused("a"), "207: Invalid column name 'a'.");
  EXPECT_EQ(refused("t.a from sysobjects").substr(0, 47),
            "107: The column prefix 't' does not match with ");
}

}  // namespace
}  // namespace kelvane::embedded
