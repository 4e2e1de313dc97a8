// Typed changes as reports show them: in the words in which one would declare them.
#include "report/change_report.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>

#include "inventory/compare/compare.h"
#include "tests/report/json_schema.h"
#include "tests/support/made_inventory.h"

namespace kelvane::inventory {
namespace {

using testing::MadeInventories;
using testing::table;
using Written = void (*)(const std::vector<Change>&, const ReportHeader&, Colors, std::ostream&);

std::string written(Written write, const Database& source, const Database& target,
                    const ReportHeader& header = {"a", "b", "1"}) {
  std::ostringstream out;
  write(compare(source, target), header, Colors::none, out);
  const std::string text = "\n" + out.str(), sides = "\nsource: a -> target: b\n";
  EXPECT_EQ(text.substr(0, sides.size()), sides);
  return text.substr(sides.size());
}

const ReportHeader& guessed() {
  static const ReportHeader kHeader = [] {
    ReportHeader header{"a", "b", "1"};
    header.renames = {{"table", u"dbo.gone", u"dbo.come", 90}};
    return header;
  }();
  return kHeader;
}

TEST(ChangeText, ABlockForEachObject) {
  const MadeInventories made;
  EXPECT_EQ(written(writeTextReport, made.source, made.target, guessed()), R"(
database
    option allow nulls by default: only in source

table dbo.customer
    lock: allpages -> datarows
    column phone: char(16) not null -> varchar(20) null
        default: (none) -> ' '
    column fax: only in source: char null
    column note: rule: (none) -> dbo.note_rule
    column birthday: only in target: date null
    primary key (id): (id) -> (id, phone)
    constraint uq_phone: fillfactor: (none) -> 80
    foreign key (id) references dbo.person (id): only in target
    check (id > 0): only in source
    index ix: only in target: unique (phone desc)
    trigger dbo.tr: only in target: on insert, on delete
    grant select (id, fax) to clerks with grant option: only in source
    grant update to clerks: columns: (id) -> (all)
    revoke delete from ann granted by anna: only in target

table dbo.gone: only in source
    probably renamed to dbo.come (90% of the contents)

table dbo.come: only in target
    probably renamed from dbo.gone (90% of the contents)

view dbo.big
    definition:
        @@ -1,2 +1,2 @@
        - a
        + b
          1

view dbo.hidden
    definition: create view -> (hidden)

type dbo.code: char not null -> char null
    default: (none) -> dbo.d

type dbo.amount: only in target: money null

user ann: only in source: login ann

message 20001 (us_english): no·such·%1! -> no·such→%1!

25 differences in 10 objects: 1 database, 3 tables, 2 views, 2 types, 1 user, 1 message.
)");
}

TEST(ChangeText, PartsOfPartsAndSeveralAttributes) {
  Table was = table("t", {testing::column("a", "int")});
  was.name.owner = "ann";
  Index index;
  index.name = "ix";
  index.columns = {{"a"}};
  index.partitions = {{{"p", false}, "", "one"}, {{"q_17", true}, "values <= (10)", ""}};
  was.indexes = {index};
  was.permissions = {{"grant", "select", "eve", {}, false, "ann", {}},
                     {"grant", "update", "eve", {}, false, "dbo", {}}};
  was.columns[0].defaultValue = DefaultValue{std::string(120, '1'), {}};
  Table is = was;
  is.columns[0].defaultValue = DefaultValue{std::string(119, '1') + "2", {}};
  is.indexes[0].unique = is.indexes[0].local = true;
  is.indexes[0].partitions = {{{"p", false}, "", "two"}};
  is.permissions.clear();
  Database source, target;
  source.tables = {was};
  target.tables = {is};
  EXPECT_EQ(written(writeTextReport, source, target), R"(
table ann.t
    column a
        default:
            @@ -1,1 +1,1 @@
            - )" + std::string(120, '1') + R"(
            + )" + std::string(119, '1') + R"(2
    index ix
        unique: no -> yes
        local: no -> yes
        partition p: segment: one -> two
        partition values <= (10): only in source
    grant select to eve: only in source
    grant update to eve granted by dbo: only in source

7 differences in 1 object: 1 table.
)");
}

TEST(ChangeText, PaintsBothSides) {
  Database source, target;
  source.aliases = {{"l", "ann"}, {"x", "ann"}};
  target.aliases = {{"l", "eve"}};
  std::ostringstream out;
  writeTextReport(compare(source, target), {"a", "b", "1"}, Colors::terminal, out);
  const std::string red = "\x1b[31m", green = "\x1b[32m", bold = "\x1b[1m", end = "\x1b[0m";
  EXPECT_NE(out.str().find("\n" + bold + "alias l" + end + "\n    user: " + red + "ann" + end +
                           " -> " + green + "eve" + end + "\n\n" + bold + "alias x" + end + ": " +
                           red + "only in source" + end + ": user ann\n"),
            std::string::npos)
      << out.str();
}

// Pieces in brackets are in reverse.
std::string markedWords(const std::string& was, const std::string& is) {
  Database source, target;
  source.procedures = {{.name = {"dbo", "p"}, .definition = {was}}};
  target.procedures = {{.name = {"dbo", "p"}, .definition = {is}}};
  std::ostringstream out;
  writeTextReport(compare(source, target), {"a", "b", "1"}, Colors::terminal, out);
  std::string text = out.str(), marked;
  text = text.substr(text.find("definition"));
  text.resize(text.find("\n\n"));
  bool isReversed = false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '\x1b') {
      marked += text[at];
      continue;
    }
    const std::string sequence = text.substr(at, text.find('m', at) + 1 - at);
    if (sequence == "\x1b[7m") marked += '[';
    if (sequence == "\x1b[0m" && isReversed) marked += ']';
    isReversed = sequence == "\x1b[7m" || (isReversed && sequence != "\x1b[0m");
    at += sequence.size() - 1;
  }
  return marked;
}

TEST(ChangeText, MarksWordsThatChangedWithinLines) {
  EXPECT_EQ(markedWords("select a, b from t", "select a, c from t"),
            "definition: select a, [b] from t -> select a, [c] from t");
  EXPECT_EQ(markedWords("one", "two"), "definition: one -> two");
  EXPECT_EQ(markedWords("create procedure p as\nselect a, b from t\nwhere x = 1\n",
                        "create procedure p as\nselect a, b from u\nprint 'more'\n"),
            R"(definition:
        @@ -1,3 +1,3 @@
          create procedure p as
        - select a, b from [t]
        - where x = 1
        + select a, b from [u]
        + print 'more')");
}

TEST(ChangeText, TellsGrantsByOthersApart) {
  Database source, target;
  Table t;
  t.name = {"dbo", "t"};
  t.permissions = {{"grant", "select", "x", {}, false, "dbo", {}},
                   {"grant", "select", "x", {}, true, "y", {}}};
  source.tables = {t};
  std::swap(t.permissions[0].grantOption, t.permissions[1].grantOption);
  target.tables = {t};
  EXPECT_EQ(written(writeTextReport, source, target), R"(
table dbo.t
    grant select to x: grant option: no -> yes
    grant select to x granted by y: grant option: yes -> no

2 differences in 1 object: 1 table.
)");
}

TEST(ChangeText, SaysWhenThereIsNone) {
  EXPECT_EQ(written(writeTextReport, {}, {}), "\nNo differences.\n");
  ReportHeader partial{"a", "b", "1"};
  partial.gaps = {"gap"};
  partial.notes = {"Not compared: lock"};
  EXPECT_EQ(written(writeTextReport, {}, {}, partial),
            "\nNo differences in what could be read. Not compared: lock.\n");
  partial.nothingCompared = true;
  EXPECT_EQ(written(writeTextReport, {}, {}, partial),
            "\nNothing was compared, because too little could be read. Not compared: lock.\n");
}

TEST(ChangeTree, ALineForEachDifference) {
  const MadeInventories made;
  EXPECT_EQ(written(writeTextTree, made.source, made.target, guessed()),
            R"(|-- databases: 1 differ
|   `-- database: 1 difference
|       `-- option allow nulls by default: only in source
|-- tables: 1 differ, 1 only in source, 1 only in target
|   |-- dbo.customer: 15 differences
|   |   |-- lock: allpages -> datarows
|   |   |-- column phone: char(16) not null -> varchar(20) null
|   |   |   `-- default: (none) -> ' '
|   |   |-- column fax: only in source: char null
|   |   |-- column note: rule: (none) -> dbo.note_rule
|   |   |-- column birthday: only in target: date null
|   |   |-- primary key (id): (id) -> (id, phone)
|   |   |-- constraint uq_phone: fillfactor: (none) -> 80
|   |   |-- foreign key (id) references dbo.person (id): only in target
|   |   |-- check (id > 0): only in source
|   |   |-- index ix: only in target: unique (phone desc)
|   |   |-- trigger dbo.tr: only in target: on insert, on delete
|   |   |-- grant select (id, fax) to clerks with grant option: only in source
|   |   |-- grant update to clerks: columns: (id) -> (all)
|   |   `-- revoke delete from ann granted by anna: only in target
|   |-- dbo.gone: only in source, probably renamed to dbo.come (90% of the contents)
|   `-- dbo.come: only in target, probably renamed from dbo.gone (90% of the contents)
|-- views: 2 differ
|   |-- dbo.big: 1 difference
|   |   `-- definition: -1 +1 lines, first line 1: a -> b
|   `-- dbo.hidden: 1 difference
|       `-- definition: create view -> (hidden)
|-- types: 1 differ, 1 only in target
|   |-- dbo.code: 2 differences
|   |   |-- base: char not null -> char null
|   |   `-- default: (none) -> dbo.d
|   `-- dbo.amount: only in target: money null
|-- users: 1 only in source
|   `-- ann: only in source: login ann
`-- messages: 1 differ
    `-- 20001 (us_english): 1 difference
        `-- text: no·such·%1! -> no·such→%1!

25 differences in 10 objects: 1 database, 3 tables, 2 views, 2 types, 1 user, 1 message.
)");
}

TEST(ChangeSummary, CountsByKind) {
  const MadeInventories made;
  std::ostringstream out;
  writeTextSummary(compare(made.source, made.target), {"a", "b", "1"}, out);
  EXPECT_EQ(out.str(), R"(source: a -> target: b

                    differ  only in source  only in target  differences
databases                1               0               0            1
tables                   1               1               1           17
views                    2               0               0            2
types                    1               0               1            3
users                    0               1               0            1
messages                 1               0               0            1

25 differences in 10 objects: 1 database, 3 tables, 2 views, 2 types, 1 user, 1 message.
)");
}

// What no two values may have alike is their look.
TEST(ChangeText, TellsLookAlikesApart) {
  const auto value = [](const std::string& was, const std::string& is) {
    Table source = table("t"), target = source;
    source.segment = was;
    target.segment = is;
    Database a, b;
    a.tables = {source};
    b.tables = {target};
    const std::string text = written(writeTextReport, a, b);
    const std::size_t from = text.find("segment: ") + 9;
    return text.substr(from, text.find('\n', from) - from);
  };
  EXPECT_EQ(value("", "(none)"), "(none) -> \"(none)\"");
  EXPECT_EQ(value("(none)", "x"), "\"(none)\" -> x");
  EXPECT_EQ(value("", "  "), "(none) -> \"  \"");
  EXPECT_EQ(value("a", "a "), "a -> a·");
  EXPECT_EQ(value("\u0430", "a"), "\u0430 -> a  (character 1: U+0430 | U+0061)");
}

nlohmann::json json(const Database& source, const Database& target, const ReportHeader& header) {
  std::ostringstream out;
  writeJsonReport(compare(source, target), header, out);
  return nlohmann::json::parse(out.str());
}

TEST(ChangeJson, IsWhatItsSchemaSays) {
  const MadeInventories made;
  ReportHeader header = guessed();
  header.switches = {"lock"};
  header.accepted = {{"table dbo.x: only in source", "not yet", "2027-01-31"},
                     {"table dbo.y: only in source", "not yet", ""}};
  const nlohmann::json report = json(made.source, made.target, header);
  const nlohmann::json schema = kelvane::testing::documentedSchema("report-v2.schema.json");
  EXPECT_EQ(kelvane::testing::violations(report, schema), std::vector<std::string>());

  EXPECT_EQ(report["counts"]["differences"], 25);
  EXPECT_EQ(report["counts"]["kinds"][1], nlohmann::json::parse(R"({"kind": "table",
      "differences": 17, "objects": 3, "onlyInSource": 1, "onlyInTarget": 1, "changed": 1})"));
  const nlohmann::json& customer = report["changes"][1];
  EXPECT_EQ(customer["owner"], "dbo");
  EXPECT_EQ(customer["name"], "customer");
  EXPECT_EQ(customer["count"], 15);
  EXPECT_EQ(customer["attributes"], nlohmann::json::parse(R"([{"label": "lock", "family": "lock",
      "was": "allpages", "is": "datarows"}])"));
  const auto part = [&](std::size_t at) { return customer["parts"][at]; };
  EXPECT_EQ(part(0)["attributes"][0], nlohmann::json::parse(R"({"label": "type",
      "was": "char(16) not null", "is": "varchar(20) null"})"));
  EXPECT_EQ(part(3), nlohmann::json::parse(R"({"kind": "column", "name": "birthday",
      "change": "only-in-target", "count": 1, "declaration": "date null"})"));
  EXPECT_EQ(part(4)["declaration"], "primary key clustered (id)");
  EXPECT_FALSE(part(4).contains("name"));
}

TEST(ChangeJson, SchemaNamesAllKindsAndFamilies) {
  const nlohmann::json schema = kelvane::testing::documentedSchema("report-v2.schema.json");
  nlohmann::json kinds = nlohmann::json::array(), families = kinds;
  for (const KindRow& row : kKinds) kinds.push_back(row.singular);
  for (const FamilyRow& row : kFamilies)
    if (!row.word.empty()) families.push_back(row.word);
  EXPECT_EQ(schema["$defs"]["kind"]["enum"], kinds);
  EXPECT_EQ(schema["$defs"]["family"]["enum"], families);
}

}  // namespace
}  // namespace kelvane::inventory
