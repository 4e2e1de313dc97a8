// What clients that nobody here wrote see of the server: FreeTDS's tsql, unixODBC's isql, and jTDS.

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

#include "cli/screen/status_line.h"
#include "cli/sides/side_reader.h"
#include "drivers/embedded/connection.h"
#include "drivers/embedded/engine/moment.h"
#include "drivers/embedded/script.h"
#include "model/text.h"
#include "support/tds_server/server.h"
#include "tests/support/temporary_folder.h"
#include "tests/tds/test_catalog.h"

namespace kelvane::tds {
namespace {

using embedded::EmbeddedCatalog;

EmbeddedCatalog shop() {
  EmbeddedCatalog catalog;
  EXPECT_TRUE(embedded::loadFile(catalog, KELVANE_EXAMPLES "/shop-1.sql").succeeded());
  return catalog;
}

struct Printed {
  std::string rows;
  std::string messages;
};

// Programs in a folder of their own.
class Programs {
 public:
  Printed run(const std::string& command, const std::string& input) const {
    std::ofstream(folder_ / "in") << input;
    const std::string at = folder_.string();
    const std::string line = "cd '" + at + "' && FREETDSCONF='" + at +
                             "/freetds.conf' LC_ALL=C.UTF-8 timeout 100 " + command +
                             " <in >out 2>messages";
    (void)!std::system(line.c_str());
    return {read("out"), read("messages")};
  }

 protected:
  testing::TemporaryFolder folder_;

 private:
  // Without what tsql says about itself.
  std::string read(const std::string& name) const {
    std::ifstream file(folder_ / name);
    std::string text, line;
    while (std::getline(file, line)) {
      const bool aboutItself =
          line.starts_with("locale ") || line.starts_with("using default charset ");
      if (!aboutItself) text += line + "\n";
    }
    return text;
  }
};

// FreeTDS's programs, told to use a server.
class FreeTds : private Programs {
 public:
  explicit FreeTds(const TdsServer& server, const std::string& more = "") {
    std::ofstream(folder_ / "freetds.conf")
        << "[kelvane]\nhost = 127.0.0.1\nport = " << server.port()
        << "\ntds version = 5.0\nclient charset = UTF-8\n"
        << more;
  }

  static bool isInstalled() {
    return std::system(
               "for program in tsql isql; do command -v $program >/dev/null || exit; done; "
               "odbcinst -q -d -n FreeTDS >/dev/null") == 0;
  }

  Printed tsql(const std::string& input, const std::string& user = "sa") const {
    return run("tsql -S kelvane -o q -t '|' -P secret -U " + user, input);
  }
  // unixODBC's, over FreeTDS's driver; it prepares each statement, which is a line.
  Printed isql(const std::string& input) const {
    return run("isql -b '-d|' -k 'Driver=FreeTDS;Servername=kelvane;UID=sa;PWD=secret'", input);
  }
};

// A catalog behind a server, and programs that use it.
class TdsServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!FreeTds::isInstalled()) GTEST_SKIP() << "install freetds-bin, tdsodbc and unixodbc";
  }
};

// --- The embedded connection's answers, drawn as the client of jTDS draws them ---

std::string drawn(const ado::Value& value) {
  if (value.isNull()) return "NULL";
  if (const auto* bit = std::get_if<bool>(&value)) return *bit ? "1" : "0";
  if (const auto* moment = std::get_if<ado::DateTime>(&value)) {
    std::string text = embedded::formatMoment(
        moment->days * embedded::kMicrosecondsPerDay + moment->nanoseconds / 1000, 0);
    char& tens = text[text.size() - std::string_view("2:15PM").size() - 1];
    if (tens == ' ') tens = '0';
    return text;
  }
  if (const auto* bytes = std::get_if<ado::Bytes>(&value)) {
    std::string text;
    for (const std::byte byte : *bytes) {
      for (const auto half : {byte >> 4, byte & std::byte{15}}) {
        text += "0123456789abcdef"[std::to_integer<int>(half)];
      }
    }
    return text;
  }
  return toUtf8(value.toText());
}

std::string drawnResult(ado::Recordset& rows) {
  std::string text;
  const auto line = [&](auto&& field) {
    for (int i = 0; i < rows.FieldCount(); ++i) text += (i > 0 ? "|" : "") + field(rows.Fields(i));
    text += "\n";
  };
  line([](const ado::Field& field) { return toUtf8(field.Name()); });
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    line([](const ado::Field& field) { return drawn(field.Value()); });
  }
  return text;
}

Printed embeddedAnswer(ado::Connection& connection, const std::u16string& batch) {
  Printed printed;
  try {
    const auto rows = connection.Open(batch, ado::kClientCursor);
    bool more = true;
    while (more) {
      if (rows->State() == ado::ObjectState::open) printed.rows += drawnResult(*rows);
      more = rows->NextRecordset();
    }
  } catch (const ado::Failure&) {
  }
  for (const ado::Error& error : connection.Errors()) {
    printed.messages += std::to_string(error.NativeError) + " " + toUtf8(error.Description) + "\n";
  }
  return printed;
}

// Hands statements on and keeps their texts.
class ListeningConnection final : public ado::Connection {
 public:
  explicit ListeningConnection(ado::Connection& inner) : inner_(inner) {}
  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override {
    statements.emplace_back(source);
    return inner_.Open(source, mode);
  }
  const std::vector<ado::Error>& Errors() const override { return inner_.Errors(); }

  std::vector<std::u16string> statements;

 private:
  ado::Connection& inner_;
};

std::vector<std::u16string> readersStatements(EmbeddedCatalog& catalog) {
  const auto connection = catalog.connect();
  ListeningConnection listening(*connection);
  std::ostringstream nowhere;
  const cli::Console console{nowhere, nowhere};
  cli::StatusLine line(console);
  auto options = std::make_shared<cComparisonOptions>();
  for (const Switch& one : kSwitches) (*options).*one.value = True;
  EXPECT_TRUE(cli::readSide(listening, "source", options, line, nullptr).gaps.empty());
  return listening.statements;
}

TEST(TdsServerForJava, AnswersTheReadersStatementsAsTheEmbeddedConnectionDoes) {
  constexpr std::string_view kJar = KELVANE_JTDS;
  if (kJar.empty() || std::system("command -v java >/dev/null") != 0)
    GTEST_SKIP() << "install libjtds-java and a JDK";
  EmbeddedCatalog catalog = shop();
  std::string input;
  Printed expected;
  {
    const auto statements = readersStatements(catalog);
    const auto connection = catalog.connect();
    for (const std::u16string& statement : statements) {
      input += toUtf8(statement) + "\ngo\n";
      const Printed answer = embeddedAnswer(*connection, statement);
      expected.rows += answer.rows;
      expected.messages += answer.messages;
    }
  }
  const TdsServer server(catalog);
  const Printed printed = Programs().run("java -Dfile.encoding=UTF-8 -cp '" + std::string(kJar) +
                                             "' " KELVANE_TEST_FOLDER "/JtdsClient.java " +
                                             std::to_string(server.port()),
                                         input);
  EXPECT_EQ(printed.rows, expected.rows);
  EXPECT_EQ(printed.messages, expected.messages);
}

constexpr const char* kProgramsScript =
    R"(create table goods (i int not null, name varchar(10) null, price numeric(8,2) null,
  constraint pk_goods primary key (i))
create table orders (n int not null, good int null,
  constraint fk_good foreign key (good) references goods (i))
create index by_good on orders (good, n)
create table tiny (a int null)
create table values_of (i int not null, s smallint null, g bigint null, ui unsigned int null,
  ug unsigned bigint null, f float null, r real null, m money null, nu numeric(38,4) null,
  d datetime null, dd date null, tt time null, bd bigdatetime null, bt bigtime null,
  v varchar(300) null, uv univarchar(20) null, tx text null, ut unitext null,
  vb varbinary(20) null, im image null, b bit)
go
create procedure twice @n int, @t varchar(20) output, @d numeric(8,2) = null output as
select @n * 2 as n
select @t = @t + @t, @d = @n / 4.0
return 7
go
)";

// Types that jTDS does not know come as those that it does: bigdatetime as datetime.
constexpr const char* kProgramsOutput = R"(-- tables
main|dbo|tiny|TABLE
-- columns
i|4|int|10|0|0
name|12|varchar|10|0|1
price|2|numeric|8|2|1
-- keys
i|1|pk_goods
-- references
goods|i|orders|good|fk_good
-- indexes
0|null|0|null
1|by_good|3|good
1|by_good|3|n
-- procedures
dbo|twice
-- parameters
@n|1|4
@t|2|12
@d|2|2
-- best
i
-- types
bit
tinyint
bigint
varbinary
binary
char
unichar
numeric
money
smallmoney
decimal
int
smallint
real
float
varchar
univarchar
usmallint
uint
ubigint
date
time
datetime
smalldatetime
bigdatetime
bigtime
image
unitext
text
-- databases
main
master
model
sybsystemprocs
tempdb
written|1
written|1
i int|1
s smallint|-6
g bigint|-9223372036854775808
ui unsigned int|4000000000
ug unsigned bigint|8446744073709551615
f float|1.25
r real|2.5
m money|-922337203685477.5807
nu numeric|1234567890123456789012345678901234.5678
d datetime|2024-02-29 13:14:15.123
dd date|2024-02-28
tt time|13:14:15.0
bd datetime|2024-02-29 13:14:15.123
bt time|01:02:03.0
v varchar|280 of x
uv univarchar|Ωü
tx text|20000 of y
ut unitext|300 of Ω
vb varbinary|0102FF
im image|40000 of 0
b bit|1
i int|2
s smallint|null
g bigint|null
ui unsigned int|null
ug unsigned bigint|null
f float|null
r real|null
m money|null
nu numeric|null
d datetime|null
dd date|null
tt time|null
bd datetime|null
bt time|null
v varchar|null
uv univarchar|null
tx text|null
ut unitext|null
vb varbinary|null
im image|null
b bit|1
-- call
10
7|abab|1.25
207
)";

TEST(TdsServerForJava, AnswersWhatProgramsAskThroughJdbc) {
  constexpr std::string_view kJar = KELVANE_JTDS;
  if (kJar.empty() || std::system("command -v java >/dev/null") != 0)
    GTEST_SKIP() << "install libjtds-java and a JDK";
  EmbeddedCatalog catalog = catalogOf(kProgramsScript);
  const TdsServer server(catalog);
  const Printed printed = Programs().run("java -Dfile.encoding=UTF-8 -cp '" + std::string(kJar) +
                                             "' " KELVANE_TEST_FOLDER "/JtdsPrograms.java " +
                                             std::to_string(server.port()),
                                         "");
  EXPECT_EQ(printed.rows, std::string(kProgramsOutput) + kProgramsOutput);
  EXPECT_EQ(printed.messages, "");
}

TEST_F(TdsServerTest, KnowsWhoLoggedInAndWhereAQueryWentWrong) {
  EmbeddedCatalog catalog = shop();
  const TdsServer server(catalog);
  const FreeTds client(server);
  const Printed printed =
      client.tsql("select suser_name(), suser_name(suser_id())\ngo\n\nselect 1 / 0\ngo\n", "ann");
  EXPECT_NE(printed.rows.find("ann|ann\n"), std::string::npos) << printed.rows;
  EXPECT_NE(printed.messages.find("Line 2"), std::string::npos) << printed.messages;
  EXPECT_EQ(printed.messages.find("Line 0"), std::string::npos) << printed.messages;
  EXPECT_NE(client.tsql("select suser_name()\ngo\n").rows.find("sa\n"), std::string::npos);
}

TEST_F(TdsServerTest, SaysWhereAnErrorIs) {
  const struct {
    const char *batch, *rows, *messages;
  } cases[] = {
      {"print 'h\u00e4llo'", "", "h\u00e4llo\n\n"},
      {"select 1 as a\nselect convert(int, 'x')\nselect 2 as b", "a\n1\n\n",
       "Msg 249 (severity 16, state 1) from EMBEDDED Line 2:\n\t\"Syntax error during "
       "explicit conversion of VARCHAR value 'x' to a INT field.\n\"\n"},
      {"exec sp_helpindex nosuch", "",
       "Msg 17461 (severity 16, state 1) from EMBEDDED, Procedure sp_helpindex Line 1:\n\t"
       "\"Object does not exist in this database.\n\"\n"},
  };
  EmbeddedCatalog catalog;
  const TdsServer server(catalog);
  const FreeTds client(server);
  for (const auto& [batch, rows, messages] : cases) {
    const Printed printed = client.tsql(std::string(batch) + "\ngo\n");
    EXPECT_EQ(printed.rows, rows) << batch;
    EXPECT_EQ(printed.messages, messages) << batch;
  }
}

TEST_F(TdsServerTest, PadsWhatHasAFixedWidthAndNoNulls) {
  EmbeddedCatalog catalog = catalogOf(
      "create table t (a char(4) not null, b char(4) null, c unichar(4) not null, d bit not null, "
      "e binary(2) not null, f varchar(4) not null)\n"
      "insert t values ('x', 'x', '\u03a9', 1, 0x01, '')\ngo\n");
  const TdsServer server(catalog);
  EXPECT_EQ(FreeTds(server).tsql("select * from t\ngo\n").rows,
            "a|b|c|d|e|f\nx   |x|\u03a9   |1|0100| \n");
}

TEST_F(TdsServerTest, TakesNamesAndTextsOfAnyKind) {
  const std::string longName(255, 'n'), megabyte(1'000'000, 'm');
  EmbeddedCatalog catalog =
      catalogOf("create table \u00c4\u00f6 (" + longName +
                " text null)\ngo\ninsert \u00c4\u00f6 values ('" + megabyte + "')\ngo\n");
  const TdsServer server(catalog);
  EXPECT_EQ(FreeTds(server).tsql("set textsize 9\nselect * from \u00c4\u00f6\ngo\n").rows,
            longName + "\nmmmmmmmmm\n");
  const std::string input = "set textsize 2000000\nselect * from \u00c4\u00f6\ngo\n";
  EXPECT_EQ(FreeTds(server).tsql(input).rows, longName + "\n" + megabyte + "\n");
  EXPECT_EQ(FreeTds(server, "initial block size = 4096\n").tsql(input).rows,
            longName + "\n" + megabyte + "\n");
}

TEST_F(TdsServerTest, SendsFormatsThatAreWiderThanTheNarrowOneHolds) {
  std::string columns, names, values;
  for (int i = 1000; i < 2000; ++i) {
    const std::string name = std::string(80, 'c') + std::to_string(i);
    columns += (i > 1000 ? ", 7 as " : "select 7 as ") + name;
    names += (i > 1000 ? "|" : "") + name;
    values += i > 1000 ? "|7" : "7";
  }
  EmbeddedCatalog catalog;
  const TdsServer server(catalog);
  EXPECT_EQ(FreeTds(server).tsql(columns + "\ngo\n").rows, names + "\n" + values + "\n");
}

TEST_F(TdsServerTest, ConvertsTextsForLatin1) {
  EmbeddedCatalog catalog;
  ServerOptions options;
  options.characterSet = CharacterSet::iso1;
  const TdsServer server(catalog, options);
  EXPECT_EQ(FreeTds(server).tsql("select '\u00e4' as \u00fc, datalength('\u00e4') as l\ngo\n").rows,
            "\u00fc|l\n\u00e4|2\n");
}

TEST_F(TdsServerTest, ServesIsql) {
  EmbeddedCatalog catalog = shop();
  const auto statements = readersStatements(catalog);
  std::string input;
  for (const std::u16string& statement : statements) {
    std::string line = toUtf8(statement);
    std::ranges::replace_if(
        line, [](char c) { return c == '\r' || c == '\n'; }, ' ');
    input += line + "\n";
  }
  input += "select 'x', 1.50\n";
  const TdsServer server(catalog);
  const Printed printed = FreeTds(server).isql(input);
  EXPECT_EQ(printed.rows.find("ERROR"), std::string::npos) << printed.rows;
  EXPECT_TRUE(printed.rows.ends_with("\nx|1.50\n")) << printed.rows;
}

}  // namespace
}  // namespace kelvane::tds
