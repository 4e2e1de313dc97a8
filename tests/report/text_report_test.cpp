// The report as it is read: blocks, rows, long texts, and what could be overlooked.
#include "report/text_report.h"

#include <gtest/gtest.h>
#include <sstream>

#include "model/text.h"
#include "tests/support/made_differences.h"

namespace kelvane {
namespace {

using Differences = testing::MadeDifferences;

std::string written(decltype(writeTextReport) write, const Differences& differences,
                    const ReportHeader& header = {"a", "b", "1"}) {
  std::ostringstream out;
  write(differences.all(), header, Colors::none, out);
  const std::string text = "\n" + out.str(), sides = "\nsource: a -> target: b\n";
  EXPECT_EQ(text.substr(0, sides.size()), sides);
  return text.substr(sides.size());
}

// What stands in the report for one view whose definition went from `before` to `after`.
std::string definitionLines(std::u16string_view before, std::u16string_view after) {
  const std::string text =
      written(writeTextReport,
              Differences().owner(u"dbo").differ(u"View", u"v", u"Definition", before, after));
  const std::string head = "\nview dbo.v\n    Definition:\n";
  EXPECT_EQ(text.substr(0, head.size()), head);
  return "\n" + text.substr(head.size(), text.find("\n\n1 difference") + 1 - head.size());
}

TEST(TextReport, Equal) {
  EXPECT_EQ(written(writeTextReport, {}), "\nNo differences.\n");
  ReportHeader partial{"a", "b", "1"};
  partial.gaps = {"gap"};
  EXPECT_EQ(written(writeTextReport, {}, partial), "\nNo differences in what could be read.\n");
}

TEST(TextReport, GroupsByObject) {
  Differences made;
  made.owner(u"dbo")
      .differ(u"View", u"big", u"Definition", u"a\n1", u"b\n1")
      .differ(u"Table", u"t", u"Row Count", 10, 12)
      .only(location_target, u"Table\\Column", u"t\\late")
      .differ(u"Table\\Column", u"t\\id", u"Data Type", u"int", u"numeric")
      .differ(u"Table\\Column", u"t\\id", u"Nullable", False, True)
      .differ(u"Table\\Index", u"t\\ix", u"Name", u"ix", u"ix2")
      .only(location_target, u"Table\\Index", u"t\\ a, b")
      .only(location_Source, u"Table\\Index", u"t\\old")
      .only(location_Source, u"Table\\PrimaryKey", u"t\\id, no")
      .differ(u"Table\\ForeignKey", u"t\\b", u"Name", u"", u"fk")
      .differ(u"Table\\Trigger", u"t\\tr", u"On Delete", True, False)
      .differ(u"Table\\Trigger", u"t\\tr", u"On Insert", u"create trigger\n...", True)
      .only(location_Source, u"Table", u"gone")
      .differ(u"UDDT", u"code", u"Bound Rule", u"", u"r")
      .only(location_target, u"StoredProc\\Parameter", u"p\\@new")
      .differ(u"User\\SystemPermission", u"ann\\Standard", u"CREATE VIEW", True, False)
      .only(location_target, u"Role\\User", u"clerks\\ann")
      .differ(u"Role\\ObjectPermission", u"clerks\\t", u"Select", True, False)
      .differ(u"Table", u"clerks", u"Owner", u"dbo", u"ann");
  EXPECT_EQ(written(writeTextReport, made), R"(
table dbo.t
    Row Count: 10 -> 12
    column late: only in target
    column id
        Data Type: int -> numeric
        Nullable: False -> True
    primary key (id, no): only in source
    foreign key (b)
        Name: "" -> fk
    index ix
        Name: ix -> ix2
    index on (a, b): only in target
    index old: only in source
    trigger tr
        On Delete: True -> False
        On Insert: False -> True

table dbo.gone: only in source

view dbo.big
    Definition:
        @@ -1,2 +1,2 @@
        - a
        + b
          1

stored procedure dbo.p
    parameter @new: only in target

user ann
    system permissions
        CREATE VIEW: True -> False

group clerks
    Owner: dbo -> ann
    permissions on t
        Select: True -> False
    member ann: only in target

user-defined type dbo.code
    Bound Rule: "" -> r

19 differences in 7 objects: 2 tables, 1 view, 1 stored procedure, 1 user, 1 group, 1 user-defined type.
)");
}

TEST(TextReport, ShowsWhereLongTextsDiffer) {
  EXPECT_EQ(definitionLines(u"1\n2\n3\n4\n5\n6\n7\n8\n9\n", u"1\n2\n3\n4\nV\nVI\n7\n8\n9\nX\n"), R"(
        @@ -2,8 +2,9 @@
          2
          3
          4
        - 5
        - 6
        + V
        + VI
          7
          8
          9
        + X
)");
  EXPECT_EQ(definitionLines(u"a\n0\n1\n2\n3\n4\n5\n6\n7\n", u"0\n1\n2\n3\n4\n5\n6\n7\nz"), R"(
        @@ -1,4 +1,3 @@
        - a
          0
          1
          2
        @@ -7,3 +6,4 @@
          5
          6
          7
        + z
)");
  EXPECT_EQ(definitionLines(u"", u"create view\n\nas\n"), R"(
        @@ -1,0 +1,3 @@
        + create view
        + ␊
        + as
)");
}

TEST(TextReport, MakesBlanksVisibleWhereNothingElseDiffers) {
  EXPECT_EQ(definitionLines(u"a b\r\nkept x\r\n", u"a  b\r\nkept x\r\n"), R"(
        @@ -1,2 +1,2 @@
        - a·b␍␊
        + a··b␍␊
          kept x
)");
  EXPECT_EQ(definitionLines(u"x\r\ny z\n", u"x\ny\tz"), R"(
        @@ -1,2 +1,2 @@
        - x␍␊
        - y·z␊
        + x␊
        + y→z
)");
  EXPECT_EQ(definitionLines(u"a\n", u"a\n \t\n"), R"(
        @@ -1,1 +1,2 @@
          a
        + ·→␊
)");
  EXPECT_EQ(definitionLines(u"a\n\r\n", u"a\n"), R"(
        @@ -1,2 +1,1 @@
          a
        - ␍␊
)");
  EXPECT_EQ(definitionLines(u"a\nb\n  ", u"a\nc\n"), R"(
        @@ -1,3 +1,2 @@
          a
        - b
        - ··
        + c
)");
}

TEST(TextReport, TellsLookAlikesApart) {
  const auto value = [](std::u16string_view source, std::u16string_view target) {
    const std::string text =
        written(writeTextReport, Differences().differ(u"UDDT", u"t", u"Base Type", source, target));
    const std::size_t from = text.find("Base Type: ") + 11;
    return text.substr(from, text.find('\n', from) - from);
  };
  EXPECT_EQ(value(u"x", u""), R"(x -> "")");
  EXPECT_EQ(value(u"x", u"x "), "x -> x·");
  EXPECT_EQ(value(u"a  b", u"a\tb"), "a··b -> a→b");
  EXPECT_EQ(value(u"  ", u""), R"(·· -> "")");
  EXPECT_EQ(value(u"a\u00B7 b", u"a \u00B7b"),
            "a\u00B7·b -> a·\u00B7b  (character 2: U+00B7 | U+0020)");
  EXPECT_EQ(value(u"x  ", u"y\r\n"), "x -> y");
  EXPECT_EQ(value(u"\"\"", u""), R"("\"\"" -> "")");
  EXPECT_EQ(value(u"a\tb", u"a\\tb"), R"("a\tb" -> a\tb)");
  EXPECT_EQ(value(u"a\u00A0b", u"a b"), R"("a\u{A0}b" -> a b  (character 2: U+00A0 | U+0020))");
  EXPECT_EQ(value(u"\u0430", u"a"), "\u0430 -> a  (character 1: U+0430 | U+0061)");
  EXPECT_EQ(value(u"\U0001F600\u00E9", u"\U0001F600e\u0301"),
            "\U0001F600\u00E9 -> \U0001F600e\u0301  (character 2: U+00E9 | U+0065)");
  EXPECT_EQ(value(std::u16string(1, 0xD800), std::u16string(1, 0xDC01)),
            R"("\u{D800}" -> "\u{DC01}"  (character 1: U+D800 | U+DC01))");
  EXPECT_EQ(value(u"a", u"b -> c"), R"(a -> "b -> c")");
  EXPECT_EQ(definitionLines(u"one\na\u200Bb\n", u"a\\u{200B}b\n"), R"(
        @@ -1,2 +1,1 @@
        - one
        - a\u{200B}b
        + a\u{200B}b  (character 2: U+200B | U+005C)
)");
}

TEST(TextTree, DrawsKindsObjectsAndParts) {
  Differences made;
  made.owner(u"dbo")
      .only(location_Source, u"Table", u"gone")
      .only(location_target, u"Table", u"come")
      .differ(u"Table", u"t", u"Row Count", 10, 12)
      .only(location_target, u"Table\\Column", u"t\\late")
      .differ(u"Table\\Trigger", u"t\\tr", u"On Delete", True, False)
      .differ(u"Table\\Trigger", u"t\\tr", u"Definition", u"a\nb\n", u"a\n")
      .differ(u"Table", u"clerks", u"Owner", u"dbo", u"ann");
  ReportHeader header{"a", "b", "1"};
  header.renames = {{"table", u"dbo.gone", u"dbo.come", 90}};
  EXPECT_EQ(written(writeTextTree, made, header),
            R"(|-- tables: 1 differ, 1 only in source, 1 only in target
|   |-- dbo.gone: only in source, probably renamed to dbo.come (90% of the contents)
|   |-- dbo.come: only in target, probably renamed from dbo.gone (90% of the contents)
|   `-- dbo.t: 4 differences
|       |-- Row Count: 10 -> 12
|       |-- column late: only in target
|       `-- trigger tr
|           |-- On Delete: True -> False
|           `-- Definition: -1 +0 lines, first line 2: - b
`-- groups: 1 differ
    `-- clerks: 1 difference
        `-- Owner: dbo -> ann

7 differences in 4 objects: 3 tables, 1 group.
)");
  EXPECT_EQ(written(writeTextTree, {}), "\nNo differences.\n");
}

TEST(TextTree, ShowsOneLineOfLongTexts) {
  const std::u16string_view smile = u"\U0001F600";
  const auto leaf = [](const std::u16string& before, const std::u16string& after) {
    const std::string text =
        written(writeTextTree, Differences().differ(u"View", u"v", u"Definition", before, after));
    const std::size_t from = text.find("Definition: ") + 12;
    return text.substr(from, text.find('\n', from) - from);
  };
  const std::u16string wide(40, u'-'), far(60, u'=');
  EXPECT_EQ(leaf(u"1\n  2\n3\n4\n", u"1\n  zwei\n3\nvier\nV\n"),
            "-2 +3 lines, first line 2: 2 -> zwei");
  EXPECT_EQ(leaf(u"1\n2\n", u"1\n\n2\n"), "-0 +1 lines, first line 2: + \u240A");
  EXPECT_EQ(leaf(u"1\n\tx\n", u"1\n  x\n"),
            "-1 +1 lines, first line 2: \u2192x\u240A -> \u00B7\u00B7x\u240A");
  EXPECT_EQ(leaf(wide + u"a" + far, wide + u"b" + far),
            "-1 +1 lines, first line 1: ..." + std::string(16, '-') + "a" + std::string(31, '=') +
                "... -> ..." + std::string(16, '-') + "b" + std::string(31, '=') + "...");
  // No character is cut in two, on neither side.
  std::u16string smiles(smile);
  for (int doubled = 0; doubled < 6; ++doubled) smiles += smiles;
  EXPECT_EQ(leaf(smiles + u"ab\n", smiles + u"xb\n").find("\\u{"), std::string::npos);
  EXPECT_EQ(leaf(u"a" + smiles, u"b" + smiles).find("\\u{"), std::string::npos);
}

}  // namespace
}  // namespace kelvane
