// --include and --exclude where the two sides tell names apart in different ways.
#include <gtest/gtest.h>

#include "cli/words/selection.h"

namespace kelvane::cli {
namespace {

// A server that ignores case may be compared with one that does not, which decides.
TEST(SelectionOfNames, WaitsForTheOtherSideWhereCaseMatters) {
  const std::vector<std::string> words{"x*"};
  const Selection selection = selectionOf(Arguments{{{kExclude, words}}, {}, {}});
  const Selection decided = selectionOf(Arguments{{{kExclude, words}}, {}, {}}, CaseMode::ignore);
  Schema schema;
  for (const char16_t* name : {u"x1", u"X2", u"y"}) {
    const Selection::Name both{name, name};
    Selection::Tally tally;
    const std::u16string_view text = name;
    EXPECT_EQ(selection.leavesUnread(inventory::Kind::table, both, CaseMode::ignore, tally),
              text == u"x1");
    EXPECT_EQ(selection.leavesUnread(inventory::Kind::table, both, CaseMode::exact, tally),
              text == u"x1");
    EXPECT_EQ(decided.leavesUnread(inventory::Kind::table, both, CaseMode::exact, tally),
              text != u"y");
    Table table;
    table.Name = table.FullName = name;
    schema.Tables.append(table);
  }
  for (const auto& [mode, left] : {std::pair(CaseMode::exact, 2), {CaseMode::ignore, 1}}) {
    Schema copy = schema;
    Selection::Tally tally;
    apply(selection, copy, mode, tally);
    EXPECT_EQ(copy.Tables.count(), left);
    EXPECT_EQ(tally.leftOut, static_cast<std::size_t>(3 - left));
  }
}

}  // namespace
}  // namespace kelvane::cli
