// Files of rows: what is read of them, what is said of bad ones, and that what is written is read
// again.
#include "rows/row_files.h"

#include <algorithm>
#include <array>
#include <compare>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <sstream>
#include <unistd.h>

#include "model/text.h"
#include "rows/row_file_writer.h"
#include "rows/row_sorter.h"

namespace kelvane::rows {
namespace {

using namespace std::string_literals;

std::filesystem::path pathOf(const std::string& content) {
  auto path = std::filesystem::temp_directory_path() / ("kelvane_rows_" + std::to_string(getpid()));
  std::ofstream(path, std::ios::binary) << content;
  return path;
}

std::vector<FileColumn> columns() {
  return {{"id", valueTypeOf({.name = "int"})},
          {"name", valueTypeOf({.name = "varchar", .length = 20})}};
}

/// "1|a/2|null", or what is wrong.
std::string read(const std::string& content, const RowFileForm& form,
                 const std::vector<FileColumn>& columns) {
  const auto path = pathOf(content);
  std::string text;
  try {
    headOf(path, form);
    std::vector<std::size_t> wanted(columns.size());
    for (std::size_t at = 0; at < wanted.size(); ++at) wanted[at] = at;
    const auto rows = openRowFile(path, form, columns, wanted);
    while (rows->next()) {
      for (std::size_t at = 0; at < wanted.size(); ++at) {
        const ado::Value value = rows->value(at);
        text += (at > 0 ? "|" : "") + (value.isNull() ? "null" : toUtf8(value.toText()));
      }
      text += '/';
    }
  } catch (const RowFileError& error) {
    text = error.what();
    EXPECT_EQ(text.find('\n'), std::string::npos) << text;
    if (text.starts_with(path.string())) text = text.substr(path.string().size() + 1);
  }
  std::filesystem::remove(path);
  return text;
}

struct FileCase {
  std::string content, expected;
  RowFileForm form = {};
};
const RowFileForm kJson{.format = RowFormat::jsonLines}, kBcp{.format = RowFormat::bcp},
    kBare{.hasHeader = false};

const FileCase kFiles[] = {
    {"id,name\n1,a\n2,\"b \"\"c\"\", d\r\ne\"\r\n3,\n4,\"\"\n5, x ",
     "1|a/2|b \"c\", d\r\ne/3|null/4| /5| x/"},
    {"\xEF\xBB\xBFid,name\n", ""},
    {"1,a\n", "1|a/", kBare},
    {"", "1:1: the file is empty; the names of its columns are expected in its first line"},
    {"id,id\n", "1:4: the header names column id twice"},
    {"id,\n1,2\n",
     "1:4: a column without a name in the header; name it, or say that there is no header "
     "(--no-header)"},
    {"id,name\n1,\"a\nb\n",
     "2:3: the quotes that open here are not closed; close them, or double quotes within a value"},
    {"id,name\n1,\"a\"b\n",
     "2:6: a comma or the end of the line is expected behind the closing quotes; double quotes "
     "within a value"},
    {"id,name\n1,a\"b\n",
     "2:4: quotes within a value without quotes; put the value within quotes and double those in "
     "it"},
    {"id,name\n1,a\rb\n", "2:4: a carriage return within a value; put the value within quotes"},
    {"id,name\n1\n", "2:1: 1 field where 2 are expected: id, name"},
    {"id,name\n1,a\n2,b,c\n", "3:1: 3 fields where 2 are expected: id, name"},
    {"id,name\n1,a\n\n2,b\n\n", "1|a/2|b/"},
    {"id,name\n1,\xC3\xBC\xFFz\n", "2:4: not valid UTF-8; save the file as UTF-8"},
    {"id,name\n1,\xED\xA0\x80\n", "2:3: not valid UTF-8; save the file as UTF-8"},
    {"id,name\n\xC3\xBC,a\n",
     "2:1: column id: '\xC3\xBC' is no value of type int; a number such as 1250 or -0.5 is "
     "expected"},
    {"{\"id\": 1, \"name\": \"a\\u00fc\\ud83d\\ude00\\n\"}\n\n {\"name\":null}\r\n",
     "1|a\xC3\xBC\xF0\x9F\x98\x80\n/null|null/", kJson},
    {"{\"id\": 1, \"id\": 2}", "1:11: the row has column id twice", kJson},
    {"{\"id\": 1}\n{\"it\": 2}",
     "2:2: there is no column it: neither the other side nor the first row has it", kJson},
    {"{\"id\": [1]}", "1:8: a value is expected: a text, a number, true, false or null", kJson},
    {"{\"id\": 01}", "1:8: a value is expected: a text, a number, true, false or null", kJson},
    {"{\"name\": 1}",
     "1:10: column name: '1' is no value of type varchar(20); a number stands there; write it "
     "within quotes",
     kJson},
    {"{\"name\": \"\\ud83d\"}", "1:12: half of a character; the other half is expected beside it",
     kJson},
    {"{\"name\": \"a\n\"}",
     "1:10: the quotes that open here are not closed on this line; write \\n for a line feed "
     "within a text",
     kJson},
    {"{\"id\": 1} {\"id\": 2}", "1:11: the end of the line is expected behind the row", kJson},
    {"1\ta\"b\n2\t\n3\t\0\n"s, "1|a\"b/2|null/3| /", kBcp},
    {"1\ta\n2\tb",
     "2:4: the file ends within a row; the last one ends with the row terminator as well "
     "(--row-terminator)",
     kBcp},
    {"1\ta\tb\n", "1:1: 3 fields where 2 are expected: id, name", kBcp},
    {"1||a|!\r\n2||!\r\n",
     "1|a|/2|null/",
     {.format = RowFormat::bcp, .fieldTerminator = "||", .rowTerminator = "!\r\n"}},
};

TEST(RowFiles, AreReadOrRefused) {
  for (const FileCase& one : kFiles)
    EXPECT_EQ(read(one.content, one.form, columns()), one.expected) << one.content;
}

struct ValueCase {
  inventory::DataType type;
  const char* text;
  const char* expected;  ///< a part of what is wrong: "!..."
};
const inventory::DataType kNumeric{.name = "numeric", .precision = 5, .scale = 2};
const ValueCase kValues[] = {
    {kNumeric, "1.50", "1.50"},
    {kNumeric, "+0001.5000", "1.50"},
    {kNumeric, "15e-1", "1.50"},
    {kNumeric, "-999.99", "-999.99"},
    {kNumeric, "1000", "!too many digits"},
    {kNumeric, "1.505", "!more decimals than the 2"},
    {kNumeric, "1,5", "!a number such as"},
    {{.name = "money"}, "1.5", "1.5000"},
    {{.name = "tinyint"}, "255", "255"},
    {{.name = "tinyint"}, "256", "!not between 0 and 255"},
    {{.name = "tinyint"}, "-1", "!not between 0 and 255"},
    {{.name = "tinyint"}, "-0", "0"},
    {{.name = "bigint"}, "-9223372036854775808", "-9223372036854775808"},
    {{.name = "unsigned bigint"}, "18446744073709551615", "18446744073709551615"},
    {{.name = "int"}, "1e999999999999", "!a number such as"},
    {{.name = "int"}, "1.5", "!a whole number"},
    {{.name = "bit"}, "TRUE", "True"},
    {{.name = "bit"}, "2", "!0, 1, true or false"},
    {{.name = "float"}, "0.1", "0.1"},
    {{.name = "float"}, "nan", "!within the range"},
    {{.name = "real"}, "1e39", "!within the range"},
    {{.name = "datetime"}, "2024-01-02 15:04:05.006", "2024-01-02 15:04:05.007"},
    {{.name = "datetime"}, "Jan  2 2024  3:04:05:000PM", "2024-01-02 15:04:05"},
    {{.name = "datetime"}, "jan 12 2024 12:04AM", "2024-01-12 00:04:00"},
    {{.name = "datetime"}, "2024-01-02T15:04", "2024-01-02 15:04:00"},
    {{.name = "datetime"}, "2023-12-31 23:59:59.999", "2024-01-01 00:00:00"},
    {{.name = "datetime"}, "2024-02-30", "!a moment such as"},
    {{.name = "datetime"}, "15:04", "!a moment such as"},
    {{.name = "smalldatetime"}, "20240102 15:04:30", "2024-01-02 15:05:00"},
    {{.name = "bigdatetime"}, "2024-01-02 15:04:05.123456", "2024-01-02 15:04:05.123456"},
    {{.name = "date"}, "2024-01-02", "2024-01-02"},
    {{.name = "date"}, "2024-01-02 01:00", "!without a time of day"},
    {{.name = "time"}, "3:04:05.123PM", "15:04:05.123"},
    {{.name = "time"}, "13:04PM", "!a time such as"},
    {{.name = "time"}, "23:59:59.996", "23:59:59.997"},
    {{.name = "time"}, "23:59:59.999", "!it is the next day"},
    {{.name = "bigtime"}, "23:59:59.9999999", "!it is the next day"},
    {{.name = "datetime"}, "1752-12-31", "!not between 1753-01-01 and 9999-12-31"},
    {{.name = "datetime"}, "9999-12-31 23:59:59.999", "!not between 1753-01-01 and 9999-12-31"},
    {{.name = "smalldatetime"}, "2079-06-06 23:59:40", "!and 2079-06-06"},
    {{.name = "date"}, "0001-01-01", "0001-01-01"},
    {{.name = "varbinary", .length = 4}, "0x00fF", "0x00ff"},
    {{.name = "varbinary", .length = 4}, "00FF", "0x00ff"},
    {{.name = "image"}, "0x0", "!an even number"},
    {{.name = "varchar", .length = 4}, "", " "},
};

TEST(RowFiles, HaveValuesOfTheirColumns) {
  for (const auto& [type, text, expected] : kValues) {
    const ValueType valueType = valueTypeOf(type);
    ValueStorage storage;
    std::string found;
    try {
      found = textOf(valueOf(text, Spelling::text, valueType, storage), valueType);
    } catch (const BadValue& error) {
      found = std::string("!") + error.what();
    }
    const std::string wanted = expected;
    if (wanted.starts_with('!'))
      EXPECT_NE(found.find(wanted.substr(1)), std::string::npos) << text << ": " << found;
    else
      EXPECT_EQ(found, wanted) << type.name << ' ' << text;
  }
}

/// Packed rows of a number, and of a text that formats have to take care of.
std::vector<std::string> anyRows(unsigned seed, std::size_t count) {
  const std::u16string letters = u"a,\"\n\r \\{}\u00FC\u20AC";
  std::mt19937 random(seed);
  std::vector<std::string> rows;
  for (std::size_t at = 0; at < count; ++at) {
    std::string& row = rows.emplace_back();
    if (random() % 5 == 0)
      pack({}, Form::asItIs, row);
    else
      pack(static_cast<std::int64_t>(random() % 100), Form::asItIs, row);
    std::u16string text;
    for (std::size_t size = random() % 6 + 1; size > 0; --size)
      text += letters[random() % letters.size()];
    // A server keeps no blanks at the end, but for one.
    text.erase(text.find_last_not_of(u' ') + 1);
    if (text.empty()) text = u" ";
    if (random() % 5 == 0)
      pack({}, Form::asItIs, row);
    else
      pack(std::u16string_view(text), Form::asItIs, row);
  }
  return rows;
}

std::string written(const std::vector<std::string>& rows, const RowFileForm& form) {
  std::ostringstream out;
  RowFileWriter writer(out, form, columns());
  for (std::string_view row : rows) {
    const Cell first = takeCell(row);
    const std::array cells{first, takeCell(row)};
    writer.write(cells);
  }
  return out.str();
}

const RowFileForm kForms[] = {{},
                              kBare,
                              kJson,
                              {.format = RowFormat::bcp,
                               .hasHeader = true,
                               .fieldTerminator = "<|>",
                               .rowTerminator = "<!>\n"}};

TEST(RowFiles, ReadWhatIsWritten) {
  for (const RowFileForm& form : kForms) {
    const std::vector<std::string> rows = anyRows(7, 500);
    const auto path = pathOf(written(rows, form));
    const auto source = openRowFile(path, form, columns(), {0, 1});
    for (const std::string& row : rows) {
      ASSERT_TRUE(source->next());
      std::string packed;
      for (const std::size_t column : {0U, 1U}) pack(source->value(column), Form::asItIs, packed);
      EXPECT_EQ(packed, row);
    }
    EXPECT_FALSE(source->next());
    std::filesystem::remove(path);
  }
}

TEST(RowFiles, EndInOneLineWhereverTheyAreCutOrChanged) {
  std::mt19937 random(3);
  for (const RowFileForm& form : kForms) {
    const std::string whole = written(anyRows(5, 6), form);
    for (std::size_t size = 0; size < whole.size(); ++size)
      read(whole.substr(0, size), form, columns());
    for (int change = 0; change < 1500; ++change) {
      std::string content = whole;
      for (std::size_t count = random() % 3 + 1; count > 0; --count)
        content[random() % content.size()] =
            random() % 2 == 0 ? static_cast<char>(random() % 256) : "\"\n\r,\\{:"[random() % 7];
      read(content, form, columns());
    }
  }
}

TEST(RowFiles, ThatBcpCannotReadAgainAreNotWritten) {
  std::string row;
  pack(std::int64_t{1}, Form::asItIs, row);
  pack(std::u16string_view(u"a|"), Form::asItIs, row);
  EXPECT_THROW(written({row}, {.format = RowFormat::bcp, .fieldTerminator = "||"}), BadValue);
  EXPECT_EQ(written({row}, {.format = RowFormat::bcp, .fieldTerminator = "|!"}), "1|!a|\n");
}

TEST(RowSorter, GivesOneOrderWhateverFitsInMemory) {
  std::vector<std::string> rows = anyRows(11, 3000);
  std::vector<std::string> expected = rows;
  std::ranges::stable_sort(expected, [](const std::string& one, const std::string& other) {
    return std::is_lt(orderOf(one, other));
  });
  // The least makes more files than are open at the same time.
  for (const std::size_t mostBytes :
       {std::size_t{1} << 20U, std::size_t{9000}, std::size_t{1500}}) {
    std::shuffle(rows.begin(), rows.end(), std::mt19937(2));
    RowSorter sorter(mostBytes);
    for (const std::string& row : rows) sorter.add(row);
    std::vector<std::string> sorted;
    sorter.forEach([&](std::string_view row) { sorted.emplace_back(row); });
    EXPECT_EQ(sorted, expected);
  }
}

}  // namespace
}  // namespace kelvane::rows
