// What clients that nobody here wrote see of the server: FreeTDS's tsql and bsqldb, unixODBC's
// isql, and jTDS.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>

#include "cli/side_reader.h"
#include "cli/status_line.h"
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
               "for program in tsql bsqldb isql; do command -v $program >/dev/null || exit; done; "
               "odbcinst -q -d -n FreeTDS >/dev/null") == 0;
  }

  Printed tsql(const std::string& input, const std::string& arguments = "-U sa -P secret") const {
    return run("tsql -S kelvane -o q -t '|' " + arguments, input);
  }
  // unixODBC's, over FreeTDS's driver; it prepares each statement, which is a line.
  Printed isql(const std::string& input) const {
    return run("isql -b '-d|' -k 'Driver=FreeTDS;Servername=kelvane;UID=sa;PWD=secret'", input);
  }
  Printed bsqldb(const std::string& input) const {
    return run("bsqldb -S kelvane -U sa -P secret", input);
  }
};

// A catalog behind a server, and programs that use it.
class TdsServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!FreeTds::isInstalled()) GTEST_SKIP() << "install freetds-bin, tdsodbc and unixodbc";
  }
};

// --- The embedded connection's answers, drawn as tsql draws them ---

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

// As `Msg 208 (severity 16, ...) from ...:` and the text in quotes behind it on its own line.
std::string numbersAndTexts(const std::string& messages) {
  std::istringstream lines(messages);
  std::string text, line;
  while (std::getline(lines, line)) {
    if (line.starts_with("Msg ")) text += line.substr(4, line.find(' ', 4) - 3);
    if (line.starts_with("\t\"")) text += line.substr(2) + "\n";
  }
  return text;
}

TEST_F(TdsServerTest, AnswersTheReadersStatementsAsTheEmbeddedConnectionDoes) {
  EmbeddedCatalog catalog = shop();
  const auto statements = readersStatements(catalog);
  ASSERT_GT(statements.size(), 50U);
  std::string input;
  Printed expected;
  {
    const auto connection = catalog.connect();
    for (std::size_t i = 0; i < statements.size(); ++i) {
      const std::u16string mark = u"select 'statement " + decimalText(static_cast<int>(i)) + u"'";
      for (const std::u16string& batch : {mark, statements[i]}) {
        input += toUtf8(batch) + "\ngo\n";
        const Printed answer = embeddedAnswer(*connection, batch);
        expected.rows += answer.rows;
        expected.messages += answer.messages;
      }
    }
  }
  const TdsServer server(catalog);
  const Printed printed = FreeTds(server).tsql(input);
  EXPECT_EQ(printed.rows, expected.rows);
  EXPECT_EQ(numbersAndTexts(printed.messages), expected.messages);
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

// --- What a client sees of a batch ---

struct BatchCase {
  const char* batch;
  const char* rows;
  const char* messages;
};

TEST_F(TdsServerTest, ShowsWhatABatchGives) {
  constexpr std::array kCases = {
      BatchCase{"select 1 as a select 2 as b, 'x' as c", "a\n1\nb|c\n2|x\n", ""},
      BatchCase{"print 'h\u00e4llo'", "", "h\u00e4llo\n\n"},
      BatchCase{"select 1 as a\nselect convert(int, 'x')\nselect 2 as b", "a\n1\n\n",
                "Msg 249 (severity 16, state 1) from EMBEDDED Line 2:\n\t\"Syntax error during "
                "explicit conversion of VARCHAR value 'x' to a INT field.\n\"\n"},
      BatchCase{"insert pairs values (3, 'c') delete pairs select * from pairs", "n|t\n", ""},
      BatchCase{"exec two_results", "a\n1\nb\n2\n", "between\n\n"},
      BatchCase{"exec sp_helpindex nosuch", "",
                "Msg 17461 (severity 16, state 1) from EMBEDDED, Procedure sp_helpindex Line 1:\n\t"
                "\"Object does not exist in this database.\n\"\n"},
  };
  EmbeddedCatalog catalog = catalogOf(
      "create table pairs (n int null, t varchar(10) not null)\ngo\n"
      "create procedure two_results as select 1 as a print 'between' select 2 as b return 3\ngo\n");
  const TdsServer server(catalog);
  const FreeTds client(server);
  for (const BatchCase& example : kCases) {
    const Printed printed = client.tsql(std::string(example.batch) + "\ngo\n");
    EXPECT_EQ(printed.rows, example.rows) << example.batch;
    EXPECT_EQ(printed.messages, example.messages) << example.batch;
  }
}

struct TypeCase {
  const char* type;
  const char* value;
  const char* shown;
};

constexpr std::array kTypes = {
    TypeCase{"tinyint", "255", "255"},
    TypeCase{"smallint", "-32768", "-32768"},
    TypeCase{"int", "-2147483648", "-2147483648"},
    TypeCase{"bigint", "-900719925474099301", "-900719925474099301"},
    TypeCase{"usmallint", "65535", "65535"},
    TypeCase{"uint", "4294967295", "4294967295"},
    TypeCase{"ubigint", "900719925474099301", "900719925474099301"},
    TypeCase{"numeric(38,10)", "-1234567890123456789012345678.0123456789",
             "-1234567890123456789012345678.0123456789"},
    TypeCase{"decimal(5,2)", "999.99", "999.99"},
    TypeCase{"money", "-922337203685477.5808", "-922337203685477.5808"},
    TypeCase{"smallmoney", "214748.3647", "214748.3647"},
    TypeCase{"float", "-1.5e300", "-1.5000000000000001e+300"},
    TypeCase{"real", "-2.25", "-2.25"},
    TypeCase{"datetime", "'9999-12-31 23:59:59.997'", "Dec 31 9999 11:59PM"},
    TypeCase{"datetime", "'1753-01-01'", "Jan  1 1753 12:00AM"},
    TypeCase{"smalldatetime", "'2079-06-06 23:59'", "Jun  6 2079 11:59PM"},
    TypeCase{"date", "'0001-01-01'", "Jan  1 1 12:00AM"},
    TypeCase{"time", "'23:59:59.990'", "Jan  1 1900 11:59PM"},
    TypeCase{"bigdatetime", "'9999-12-31 23:59:59.999'", "Dec 31 9999 11:59PM"},
    TypeCase{"bigtime", "'23:59:59.999'", "Jan  1 1900 11:59PM"},
    TypeCase{"varchar(20)", "'v\u00e4r \u20ac'", "v\u00e4r \u20ac"},
    TypeCase{"varchar(1000)", "'wide'", "wide"},
    TypeCase{"univarchar(20)", "'\u03a9mega'", "\u03a9mega"},
    TypeCase{"varbinary(10)", "0x0102", "0102"},
    TypeCase{"varbinary(1000)", "0x0102", "0102"},
    TypeCase{"text", "'t\u00e4xt'", "t\u00e4xt"},
    TypeCase{"unitext", "'\u03a9'", "\u03a9"},
    TypeCase{"image", "0x00ff", "00ff"},
};

// One table with a column that takes null and one that does not for each type, two rows.
std::string tableOfTypes() {
  std::string columns, names, values, twice;
  for (std::size_t i = 0; i < kTypes.size(); ++i) {
    const std::string name = std::to_string(i), type = kTypes[i].type, value = kTypes[i].value;
    const std::string comma = i > 0 ? ", " : "";
    columns += comma + "a" + name + " " + type + " not null, b" + name + " " + type + " null";
    names += comma + "a" + name;
    values += comma + value;
    twice += comma + value + ", " + value;
  }
  return "create table t (" + columns + ")\ninsert t values (" + twice + ")\ninsert t (" + names +
         ") values (" + values + ")\ngo\n";
}

TEST_F(TdsServerTest, SendsValuesAndNullsOfEveryType) {
  EmbeddedCatalog catalog = catalogOf(tableOfTypes());
  const TdsServer server(catalog);
  const FreeTds client(server);
  // Column by column, so that what is wrong with a type stays its own.
  std::string input, expected;
  for (std::size_t i = 0; i < kTypes.size(); ++i) {
    const std::string name = std::to_string(i), shown = kTypes[i].shown;
    input += "select a" + name + ", b" + name + " from t\ngo\n";
    expected += "a" + name + "|b" + name + "\n" + shown + "|" + shown + "\n" + shown + "|NULL\n";
  }
  EXPECT_EQ(client.tsql(input).rows, expected);
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
  const std::string input = "select * from \u00c4\u00f6\ngo\n";
  EXPECT_EQ(FreeTds(server).tsql(input).rows, longName + "\n" + megabyte + "\n");
  EXPECT_EQ(FreeTds(server, "initial block size = 4096\n").tsql(input).rows,
            longName + "\n" + megabyte + "\n");
}

TEST_F(TdsServerTest, SendsFormatsThatAreWiderThanTheNarrowOneHolds) {
  std::string columns, names;
  for (int i = 1000; i < 2000; ++i) {
    const std::string name = std::string(80, 'c') + std::to_string(i);
    columns += (i > 1000 ? ", 7 as " : "select 7 as ") + name;
    names += (i > 1000 ? "|" : "") + name;
  }
  EmbeddedCatalog catalog = catalogOf("create table t (a int)\ngo\n");
  const TdsServer server(catalog);
  const std::string rows = FreeTds(server).tsql(columns + "\ngo\n").rows;
  EXPECT_EQ(rows.substr(0, rows.find('\n')), names);
}

TEST_F(TdsServerTest, ConvertsTextsForLatin1) {
  EmbeddedCatalog catalog = catalogOf("create table t (a int)\ngo\n");
  ServerOptions options;
  options.characterSet = CharacterSet::iso1;
  const TdsServer server(catalog, options);
  EXPECT_EQ(FreeTds(server).tsql("select '\u00e4' as \u00fc, datalength('\u00e4') as l\ngo\n").rows,
            "\u00fc|l\n\u00e4|2\n");
}

TEST_F(TdsServerTest, LetsInOnlyWhomItKnows) {
  EmbeddedCatalog catalog = catalogOf("create table t (a int)\ngo\n");
  ServerOptions options;
  options.users = {{"sa", {"secret"}}, {"ann", {"secret", true}}};
  const TdsServer server(catalog, options);
  const FreeTds client(server);
  EXPECT_EQ(client.tsql("select 1 as a\ngo\n").rows, "a\n1\n");
  for (const char* login : {"-U sa -P wrong", "-U nobody -P secret", "-U ann -P secret"}) {
    const Printed printed = client.tsql("select 1 as a\ngo\n", login);
    EXPECT_EQ(printed.rows, "") << login;
    EXPECT_EQ(printed.messages,
              "Msg 4002 (severity 14, state 1) from EMBEDDED:\n\t\"Login failed.\n\"\nThere was a "
              "problem connecting to the server\n")
        << login;
  }
  const Printed printed = client.tsql("select 1 as a\ngo\n", "-U sa -P secret -D nosuch");
  EXPECT_NE(printed.messages.find("Msg 911 (severity 11, state 2)"), std::string::npos)
      << printed.messages;
}

TEST_F(TdsServerTest, ServesBsqldb) {
  EmbeddedCatalog catalog = shop();
  const std::string batch = "select name, type, id from sysobjects where type <> 'S' order by id";
  const Printed expected = embeddedAnswer(*catalog.connect(), toUtf16(batch));
  const TdsServer server(catalog);
  const Printed printed = FreeTds(server).bsqldb(batch + "\ngo\n");
  // Its columns are padded.
  const auto words = [](std::string text) {
    std::replace(text.begin(), text.end(), '|', ' ');
    std::istringstream stream(text);
    return std::vector<std::string>(std::istream_iterator<std::string>(stream), {});
  };
  const std::vector<std::string> shown = words(printed.rows), wanted = words(expected.rows);
  EXPECT_FALSE(std::search(shown.begin(), shown.end(), wanted.begin() + 3, wanted.end()) ==
               shown.end())
      << printed.rows << printed.messages;
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

// --- Faults ---

TEST_F(TdsServerTest, SpoilsTheAnswersThatItIsToldTo) {
  struct FaultCase {
    Fault fault;
    const char* message;
  };
  const FaultCase cases[] = {
      {{Fault::Kind::error}, "Msg 9999 (severity 16, state 1)"},
      {{Fault::Kind::close, 0}, "Error 20017 (severity 9)"},
      {{Fault::Kind::close, 5}, "Error 20017 (severity 9)"},
      {{Fault::Kind::close, 30}, "Error 20017 (severity 9)"},
      {{Fault::Kind::garbage, 0}, "Error 200"},
      {{Fault::Kind::garbage, 8}, "Error 20020 (severity 9)"},
      {{Fault::Kind::silence, 0}, "Error 20003 (severity 6)"},
      {{Fault::Kind::silence, 30}, "Error 20003 (severity 6)"},
  };
  EmbeddedCatalog catalog = catalogOf("create table t (a int)\ngo\n");
  for (const FaultCase& example : cases) {
    ServerOptions options;
    options.fault = [&](const std::string& batch, std::size_t) -> std::optional<Fault> {
      if (batch.starts_with("select 1")) return example.fault;
      return std::nullopt;
    };
    const TdsServer server(catalog, options);
    const Printed printed = FreeTds(server, "timeout = 1\n").tsql("select 1 as a\ngo\n");
    EXPECT_NE(printed.messages.find(example.message), std::string::npos)
        << static_cast<int>(example.fault.kind) << " after " << example.fault.after << ": "
        << printed.messages;
  }
}

}  // namespace
}  // namespace kelvane::tds
