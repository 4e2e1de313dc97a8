// The built-in functions: what they give, as which type, and in which release there are.

#include <gtest/gtest.h>

#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

struct Case {
  const char* expression;
  const char* value;
};

void expectValues(Probe& probe, std::initializer_list<Case> cases) {
  for (const Case& c : cases) {
    EXPECT_EQ(probe.rows("select " + std::string(c.expression)), std::string(c.value) + "\n")
        << c.expression;
  }
}

TEST(Function, OfTexts) {
  Probe probe;
  expectValues(probe, {
                          {"soundex('smith') + soundex('SMYTHE')", "S530S530"},
                          {"soundex('pfister') + soundex('ashcraft')", "P123A226"},
                          {"soundex('1a') + soundex('a-b')", "0000A000"},
                          {"difference('smithers', 'smothers')", "4"},
                          {"difference('smothers', 'brothers')", "2"},
                          {"soundex(null)", "-"},
                          {"upper('aäßÿжξ') + lower('AÄŸĽЖΞ')", "AÄßŸЖΞaäÿľжξ"},
                          {"len('ab  ')", "2"},
                          {"char_length(convert(char(5), 'ab'))", "5"},
                          {"datalength(convert(char(5), 'ab'))", "5"},
                          {"datalength(convert(unichar(3), 'ab'))", "6"},
                          {"datalength(convert(univarchar(9), 'ab'))", "4"},
                          {"datalength(null)", "-"},
                          {"right(convert(char(4), 'ab'), 2) + '|'", "  |"},
                          {"reverse(convert(char(3), 'ab')) + '|'", " ba|"},
                          {"charindex('b', 'abcb', 3)", "4"},
                          {"charindex('ü', 'aüb')", "2"},
                          {"patindex('%b%', 'aüb', using chars)", "3"},
                          {"patindex('%b%', 'aüb', using bytes)", "4"},
                          {"patindex('%b%', null)", "0"},
                          {"str(123.45, 5, 2)", "123.5"},
                          {"str(123.456, 2, 4)", "**"},
                          {"str(5, 10, '0')", "0000000005"},
                          {"str(12.34500, 16, '_')", "________12.34500"},
                          {"str(-7)", "        -7"},
                          {"char(256)", "-"},
                          {"to_unichar(252)", "ü"},
                          {"datalength(to_unichar(65536))", "4"},
                          {"uhighsurr(to_unichar(65536), 1)", "1"},
                          {"ulowsurr(to_unichar(65536), 1)", "0"},
                          {"uscalar('A')", "65"},
                          {"compare('abc', 'abd')", "-1"},
                          {"compare('b', 'a', 'binary')", "1"},
                          {"sortkey('ab', 50)", "0x6162"},
                          {"isnumeric(' -1.5e3 ')", "1"},
                          {"isnumeric('$1,000')", "1"},
                          {"isnumeric('--1')", "0"},
                          {"isnumeric('1 a')", "0"},
                          {"isnumeric('nan')", "0"},
                          {"isnumeric(null)", "0"},
                          {"isdate('Feb 30 2004')", "0"},
                          {"isdate('20040229')", "1"},
                          {"isdate('1752-01-01')", "0"},
                          {"valid_name('a#b')", "1"},
                          {"valid_name('1a')", "0"},
                          {"valid_name('abcdef', 5)", "0"},
                      });
}

// A value, its type, and its bytes in the memory of an Intel server: datetime is the day 37989 and
// 16273500 ticks, money a count of ten-thousandths whose higher half comes first.
TEST(Function, ValuesAreTheirBytesInMemory) {
  Probe probe;
  struct Value {
    std::string type, text, bytes;
  };
  for (const Value& v : {
           Value{"tinyint", "200", "0xc8"},
           {"smallint", "-2", "0xfeff"},
           {"unsigned smallint", "65534", "0xfeff"},
           {"int", "1", "0x01000000"},
           {"int", "-559038737", "0xefbeadde"},
           {"bigint", "-2", "0xfeffffffffffffff"},
           {"unsigned bigint", "18446744073709551614", "0xfeffffffffffffff"},
           {"float", "-2.5", "0x00000000000004c0"},
           {"real", "0.100000", "0xcdcccc3d"},
           {"money", "-12345678901.2345", "0xb78fffff8720f279"},
           {"smallmoney", "-1.5000", "0x68c5ffff"},
           {"numeric(5,2)", "-1.50", "0x01000096"},
           {"numeric(38)", "99999999999999999999999999999999999999",
            "0x004b3b4ca85a86c47a098a223fffffffff"},
           {"datetime", "Jan  5 2004  3:04:05:000PM", "0x659400005c50f800"},
           {"smalldatetime", "Jan  5 2004  3:04:00:000PM", "0x65948803"},
           {"date", "Jan  5 2004", "0x65940000"},
           {"time", "3:04:05:000PM", "0x5c50f800"},
           {"univarchar(5)", "aü", "0x6100fc00"},
       }) {
    const std::string value = "convert(" + v.type + ", '" + v.text + "')";
    EXPECT_EQ(probe.rows("select convert(varbinary(17), " + value + ")"), v.bytes + "\n") << v.type;
    EXPECT_EQ(probe.rows("select case when convert(" + v.type + ", " + v.bytes + ") = " + value +
                         " then 'same' end"),
              "same\n")
        << v.type;
  }
  expectValues(probe,
               {
                   // What is missing is zero, and what is too much is cut.
                   {"convert(int, 0x1)", "1"},
                   {"convert(smallint, 0x0100ff)", "1"},
                   {"convert(binary(2), 258)", "0x0201"},
                   {"convert(binary(6), 258)", "0x020100000000"},
                   {"convert(bigdatetime, convert(varbinary(8), convert(bigdatetime, "
                    "'2004-01-05 15:04:05.123456')))",
                    "2004-01-05 15:04:05.123456"},
                   {"hashbytes('md5', convert(datetime, '2004-01-05 15:04:05'), using msb)",
                    "0xaf794261e9ede83f12207c4c585627e0"},
                   {"hashbytes('sha1', convert(datetime, '2004-01-05 15:04:05'), using lsb)",
                    "0xf0d80c525944aa8e6380959bd628914872832a82"},
                   {"hashbytes('md5', convert(smalldatetime, '2004-01-05 15:04'), using msb)",
                    "0x18059e97268f7c24938f2c19da517c83"},
                   {"hashbytes('md5', convert(money, '-12345678901.2345'), using msb)",
                    "0x5f30acda33d09278ca54033b1707ed33"},
                   {"hashbytes('md5', convert(money, '-12345678901.2345'), using lsb)",
                    "0x30e6f90a468a461b3911d3156f534c78"},
                   {"hashbytes('md5', convert(smallmoney, -1.5), using msb)",
                    "0xf45d7a447b98b3f32cf8f3dbd28c35d5"},
               });
  struct Refusal {
    const char* expression;
    const char* message;
  };
  for (const Refusal& r : {
           Refusal{"convert(datetime, 1)",
                   "529: Explicit conversion from datatype 'INT' to "
                   "'DATETIME' is not allowed.\n"},
           {"convert(int, getdate())",
            "529: Explicit conversion from datatype 'DATETIME' to 'INT' is not allowed.\n"},
           {"convert(time, current_date())",
            "529: Explicit conversion from datatype 'DATE' to 'TIME' is not allowed.\n"},
           {"convert(int, convert(text, '1'))",
            "529: Explicit conversion from datatype 'TEXT' to 'INT' is not allowed.\n"},
           {"convert(float, 0xffffffffffffffff)",
            "247: Arithmetic overflow during explicit conversion of VARBINARY value "
            "'0xffffffffffffffff' to a FLOAT field.\n"},
           {"convert(time, 0xffffff7f)",
            "247: Arithmetic overflow during explicit conversion of "
            "VARBINARY value '0xffffff7f' to a TIME field.\n"},
           {"convert(datetime, 0x0000008000000000)",
            "247: Arithmetic overflow during explicit conversion of VARBINARY value "
            "'0x0000008000000000' to a DATETIME field.\n"},
       }) {
    EXPECT_EQ(probe.refusal(std::string("select ") + r.expression), r.message) << r.expression;
  }
}

TEST(Function, OfBytes) {
  Probe probe;
  expectValues(probe, {
                          {"bintostr(0x723ad82fe)", "0723ad82fe"},
                          {"strtobin('723ad82fe')", "0x0723ad82fe"},
                          {"strtobin('7g')", "-"},
                          {"hextoint('0xFFFFFFFF')", "-1"},
                          {"hextoint('1f')", "31"},
                          {"inttohex(-1)", "FFFFFFFF"},
                          {"hextobigint('7fffffffffffffff')", "9223372036854775807"},
                          {"biginttohex(255)", "00000000000000FF"},
                      });
  EXPECT_EQ(probe.refusal("select hextoint('xyz')").substr(0, 4), "249:");
  EXPECT_EQ(probe.refusal("select patindex('a', 'a', using lsb)"),
            "102: Incorrect syntax near 'lsb'.\n");
}

TEST(Function, OfNumbers) {
  Probe probe;
  expectValues(probe, {
                          {"convert(varchar(30), -$1234567.891, 1)", "-1,234,567.89"},
                          {"convert(varchar(30), $123, 1)", "123.00"},
                          {"floor(-123.45)", "-124"},
                          {"ceiling(-123.45)", "-123"},
                          {"ceiling($1.25)", "2.0000"},
                          {"floor(convert(numeric(38, 2), '12345678901234567890123.45'))",
                           "12345678901234567890123"},
                          {"abs(convert(numeric(25, 5), '-12345678901234567890.12345'))",
                           "12345678901234567890.12345"},
                          {"sign(-0.5)", "-1.0"},
                          {"round(123.4545, 2)", "123.4500"},
                          {"round(123.45, -2)", "100.00"},
                          {"round(1.005, 2)", "1.010"},
                          {"round(99.95, 1)", "100.00"},
                          {"round(55.55, -3)", "0.00"},
                          {"round(-2.5, 0)", "-3.0"},
                          {"degrees(45)", "2578"},
                          {"radians(2578)", "44"},
                          {"power(2, -1)", "0"},
                          {"power(2.0, 0.5)", "1.4"},
                          {"degrees(3.14)", "179.91"},
                          {"radians(180.0)", "3.1"},
                          {"power(2, 10)", "1024"},
                          {"convert(int, sqrt(81))", "9"},
                          {"convert(varchar, square(3))", "9.0"},
                          {"case when rand(3) = rand(3) and rand() = rand() then 1 end", "1"},
                      });
  EXPECT_EQ(probe.refusal("select sqrt(-1)"), "3622: Domain error occurred.\n");
  EXPECT_EQ(probe.refusal("select log(0)"), "3622: Domain error occurred.\n");
  EXPECT_EQ(probe.refusal("select power(10, 10)").substr(0, 4), "247:");
}

TEST(Function, OfDates) {
  Probe probe;
  expectValues(probe,
               {
                   {"datepart(cwk, '19930101')", "53"},
                   {"datepart(cyr, '19930101')", "1992"},
                   {"datepart(cdw, '19930101')", "5"},
                   {"datepart(calyearofweek, '19890101')", "1988"},
                   {"datepart(us, convert(bigdatetime, '2004-01-05 15:04:05.123456'))", "123456"},
                   {"datediff(us, convert(bigtime, '00:00:00'), convert(bigtime, '01:00:00'))",
                    "3600000000"},
                   {"datediff(hh, '04:59', '05:01')", "0"},
                   {"datediff(dd, '2004-01-01 23:59', '2004-01-02')", "1"},
                   {"dateadd(mi, 5, convert(date, '20040105'))", "2004-01-05 00:05:00"},
                   {"dateadd(hh, 25, convert(time, '10:00'))", "11:00:00"},
                   {"dateadd(dd, 1.9, '20040105')", "2004-01-06 00:00:00"},
                   {"convert(varchar(40), convert(bigdatetime, '2004-01-05 15:04:05.123456'), 36)",
                    " 3:04:05.123456PM"},
                   {"convert(varchar(40), convert(bigdatetime, '2004-01-05 15:04:05.123456'), 140)",
                    "2004-01-05 15:04:05.123456"},
                   {"case when getdate() = getdate() then 1 end", "1"},
                   {"datalength(current_date()) + datalength(current_time())", "8"},
                   {"datediff(dd, current_date(), getdate())", "0"},
                   {"datalength(current_bigdatetime())", "8"},
               });
}

TEST(Function, OfDatesRefuse) {
  Probe probe;
  EXPECT_EQ(probe.refusal("select datediff(ms, '2003-01-01', '2004-01-01')"),
            "535: Difference of two datetime fields caused overflow at runtime.\n");
  EXPECT_EQ(probe.refusal("select dateadd(cwk, 1, getdate())"),
            "155: 'cwk' is not a recognized dateadd option.\n");
}

// Test vectors of RFC 1321 and FIPS 180.
TEST(Function, Digests) {
  Probe probe;
  expectValues(
      probe,
      {
          {"hash('abc')", "900150983cd24fb0d6963f7d28e17f72"},
          {"hash('abc', 'SHA1')", "a9993e364706816aba3e25717850c26c9cd0d89d"},
          {"hash('abc', 2)", "0x900150983cd24fb0d6963f7d28e17f72"},
          {"hashbytes('md5', '1234567890123456789012345678901234567890123456789012345678901234567"
           "8901234567890')",
           "0x57edf4a22be3c955ac49da2e2107b67a"},
          {"hashbytes('sha', 'abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq')",
           "0x84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
          {"hashbytes('md5', 'a', 'b', 'c')", "0x900150983cd24fb0d6963f7d28e17f72"},
          {"hashbytes('md5', null)", "0xd41d8cd98f00b204e9800998ecf8427e"},
          {"hash(null)", "-"},
          // 01 00 00 00, and the other way round
          {"hashbytes('md5', 1)", "0x4352d88a78aa39750bf70cd6f27bcaa5"},
          {"case when hashbytes('md5', 1) = hashbytes('md5', 0x01000000) then 1 end", "1"},
          {"case when hashbytes('md5', 1, using msb) = hashbytes('md5', 0x00000001) then 1 end",
           "1"},
          {"case when hashbytes('md5', 'ab', using unicode_msb) = hashbytes('md5', 0x00610062) "
           "then 1 end",
           "1"},
          {"case when hashbytes('md5', $1.5) = hashbytes('md5', 0x00000000983a0000) then 1 end",
           "1"},
          {"case when hashbytes('md5', convert(numeric(5, 2), -1.5)) = "
           "hashbytes('md5', 0x01000096) then 1 end",
           "1"},
          {"case when hashbytes('md5', convert(char(3), 'a')) = hashbytes('md5', 0x612020) "
           "then 1 end",
           "1"},
      });
  EXPECT_EQ(probe.refusal("select hash('a', 'md4')").substr(0, 6), "14216:");
}

TEST(Function, OfTheCatalog) {
  Probe probe(
      "create table t (a int, b numeric(5) identity) lock datarows\n"
      "insert t (a) values (1) insert t (a) values (2)\n"
      "create table u (a int)\n"
      "create unique index i on t (a)\n"
      "go\n"
      "create view v as select a from t\n"
      "go\n"
      "create role r1 create role r2 grant role r1 to r2\n");
  expectValues(probe, {
                          {"row_count(db_id(), object_id('t'))", "2"},
                          {"row_count(db_id(), object_id('u'))", "0"},
                          {"row_count(db_id(), 0)", "0"},
                          {"lockscheme('t') + lockscheme('u') + lockscheme(object_id('v'))",
                           "datarowsallpagesnot a table"},
                          {"next_identity('t') + identity_burn_max('t')", "32"},
                          {"next_identity('u')", "-"},
                          {"index_name(db_id(), object_id('t'), 2)", "i"},
                          {"index_name(db_id(), object_id('t'), 0)", "t"},
                          {"role_contain('r1', 'r2')", "1"},
                          {"role_contain('r2', 'r1')", "0"},
                          {"role_name(role_id('sa_role'))", "sa_role"},
                          {"has_role('sa_role', 1)", "1"},
                          {"proc_role('nobody_role')", "0"},
                          {"data_pages(db_id(), object_id('t'), 0)", "1"},
                          {"tempdb_id()", "2"},
                      });
  EXPECT_EQ(probe.rows("select rowcnt(i.doampg), data_pgs(i.id, i.doampg) from sysindexes i "
                       "where i.id = object_id('t') order by i.indid"),
            "2 | 1\n0 | 0\n");
}

TEST(Function, OfApplicationContexts) {
  Probe probe;
  EXPECT_EQ(probe.rows("select set_appcontext('c', 'a', 'x'), set_appcontext('c', 'a', 'y')"),
            "0 | -1\n");
  EXPECT_EQ(probe.rows("select get_appcontext('c', 'a'), get_appcontext('c', 'b')"), "x | -\n");
  EXPECT_EQ(probe.rows("select rm_appcontext('c', '*'), get_appcontext('SYS_SESSION', 'username')"),
            "0 | sa\n");
}

TEST(Function, SayThatTheirValueIsNotKnown) {
  Probe probe(
      "create table t (a int, b text null)\n"
      "go\n"
      "create procedure p as select reserved_pages(db_id(), object_id('t')), textptr(b) from t\n"
      "go\n"
      "create view v as select textptr(b) p from t\n");
  EXPECT_EQ(probe.rows("select * from v"), "");
  EXPECT_EQ(probe.ask("exec p").substr(0, 4), " | \n");
  EXPECT_EQ(probe.refusal("select reserved_pages(db_id(), 1)"),
            "0: The value of reserved_pages() is not known here: only a running server has it. The "
            "function may stand in definitions; leave it out of what the embedded catalog "
            "executes.\n");
}

TEST(Function, Aggregates) {
  Probe probe(
      "create table t (a int null, b float null) insert t values (2, 2) insert t values (4, 4)\n"
      "insert t values (4, 4) insert t values (10, 10) insert t values (null, null)");
  EXPECT_EQ(probe.rows("select count_big(*), count_big(a), convert(numeric(9, 4), stddev(a)),"
                       " convert(numeric(9, 4), stddev_pop(b)), convert(numeric(9, 4), "
                       "var_pop(a)), convert(numeric(9, 4), variance(distinct a))"
                       " from t"),
            "5 | 4 | 3.4641 | 3.0000 | 9.0000 | 17.3333\n");
  EXPECT_EQ(probe.rows("select stdev(a), varp(a) from t where a = 2"), "0 | 0\n");
  EXPECT_EQ(probe.rows("select stdevp(a) from t where a = 3"), "-\n");
  EXPECT_EQ(probe.rows("select a, var(b) from t group by a having count_big(*) > 1"), "4 | 0\n");
}

TEST(Function, AreThoseOfTheRelease) {
  struct Absence {
    const char* expression;
    bool in125, in15;
  };
  CatalogOptions old, middle;
  old.release = Release::ase125;
  middle.release = Release::ase15;
  Probe of125("", old), of15("", middle), ofAny;
  for (const Absence& a : {Absence{"isnumeric('1')", true, false},
                           {"hash('a')", true, false},
                           {"count_big(*) from sysobjects", true, false},
                           {"current_bigdatetime()", true, false},
                           {"dbencryption_status('a', 'b')", true, true},
                           {"soundex('a')", false, false},
                           {"str_replace('a', 'b', 'c')", false, false}}) {
    const std::string sql = std::string("select ") + a.expression;
    EXPECT_EQ(of125.ask(sql).starts_with("error 14216"), a.in125) << sql;
    EXPECT_EQ(of15.ask(sql).starts_with("error 14216"), a.in15) << sql;
    EXPECT_FALSE(ofAny.ask(sql).starts_with("error 14216")) << sql;
  }
}

TEST(Type, IsThereFromItsReleaseOn) {
  CatalogOptions old, middle;
  old.release = Release::ase125;
  middle.release = Release::ase15;
  Probe of125("", old), of15("", middle), ofAny;
  for (const char* type : {"bigint", "unsigned int", "unitext", "bigdatetime"}) {
    const std::string sql = "create table t (a " + std::string(type) + ") drop table t";
    EXPECT_EQ(of125.refusal(sql).substr(0, 5), "2715:") << type;
    EXPECT_EQ(of15.ask(sql), "(closed)\n") << type;
    EXPECT_EQ(ofAny.ask(sql), "(closed)\n") << type;
  }
  const std::string listed = "select count(*) from systypes where name in ('bigint', 'date')";
  EXPECT_EQ(of125.rows(listed), "1\n");
  EXPECT_EQ(of15.rows(listed), "2\n");
  EXPECT_EQ(of125.ask("exec sp_addtype b, 'bigint'").substr(0, 11), "error 17304");
}

TEST(Function, HaveTheTypesThatNewColumnsGet) {
  Probe probe;
  EXPECT_EQ(probe.ask("select round(1.25, 1) a, ceiling(1.25) b, power(2.50, 2) c, upper('ab') d, "
                      "current_date() e, current_bigtime() f, hash('a') g, hashbytes('sha1', 1) h, "
                      "count_big(*) i, to_unichar(65) j, bintostr(0x01) k, db_id() l, getdate() m, "
                      "convert(int not null, null) n into t"),
            "(closed)\n");
  EXPECT_EQ(probe.rows("select c.name, t.name, c.length, c.prec, c.scale from syscolumns c, "
                       "systypes t where c.id = object_id('t') and c.usertype = t.usertype "
                       "order by c.colid"),
            "a | numeric | 3 | 4 | 2\n"
            "b | numeric | 3 | 3 | 0\n"
            "c | numeric | 3 | 3 | 2\n"
            "d | varchar | 2 | - | -\n"
            "e | date | 4 | - | -\n"
            "f | bigtime | 8 | - | -\n"
            "g | varchar | 32 | - | -\n"
            "h | varbinary | 20 | - | -\n"
            "i | bigint | 8 | - | -\n"
            "j | univarchar | 4 | - | -\n"
            "k | varchar | 16384 | - | -\n"
            "l | smallint | 2 | - | -\n"
            "m | datetime | 8 | - | -\n"
            "n | int | 4 | - | -\n");
}

TEST(Function, KeptInAMaterializedColumnDependOnArgumentsAlone) {
  Probe probe;
  for (const char* expression : {"getdate()", "suser_name()", "object_id('t')", "newid()", "rand()",
                                 "@@spid", "row_count(db_id(), 1)"}) {
    EXPECT_NE(
        probe.refusal("create table t (a int, c as " + std::string(expression) + " materialized)")
            .find("cannot keep the materialized column 'c'"),
        std::string::npos)
        << expression;
  }
  EXPECT_EQ(probe.ask("create table t (a int, c as hash(a) materialized)"), "(closed)\n");
}

TEST(Function, TsequalEndsAnUpdateOfAChangedRow) {
  Probe probe("create table t (a int, ts timestamp)\ninsert t (a) values (1)");
  EXPECT_EQ(probe.ask("update t set a = 2 where tsequal(ts, ts)"), "(closed)\n");
  EXPECT_EQ(probe.rows("select a from t"), "2\n");
  EXPECT_EQ(probe.refusal("update t set a = 3 where tsequal(0x01, 0x02)"),
            "532: The timestamp (changed to 0x01) shows that the row has been updated by another "
            "user.\n");
  EXPECT_EQ(probe.refusal("select tsequal(0x01, 0x02)").substr(0, 4), "102:");
}

}  // namespace
}  // namespace kelvane::embedded
