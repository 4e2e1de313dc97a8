// Known differences: every difference has a line that accepts it alone, and bad lines are refused.
#include "report/known_differences.h"

#include <gtest/gtest.h>
#include <sstream>

#include "report/diff_walk.h"
#include "report/readable_diff.h"
#include "tests/support/made_differences.h"

namespace kelvane::report {
namespace {

using namespace std::chrono_literals;

constexpr auto kToday = 2026y / 6 / 15;

// Differences of all kinds, with names and values that look like the signs of the file.
diffSchema oddDifferences() {
  kelvane::testing::MadeDifferences made;
  made.owner(u"dbo")
      .only(location_Source, u"Table", u"a # b, \"c\": d -> *")
      .only(location_target, u"Table", u"\xE9\u200B\n\xD800 end")
      .only(location_Source, u"Table\\Column", u"t\\only in source")
      .differ(u"View", u"v", u"Definition", std::u16string(100, u'x') + u"y",
              std::u16string(100, u'x') + u"z")
      .differ(u"StoredProc", u"p", u"Definition", u"a\nb", u"a\r\nb")
      .only(location_Source, u"User", u"u")
      .only(location_Source, u"Role\\User", u"g\\u")
      .differ(u"UDDT", u"x", u"Length", u"1", u"2");
  const std::pair<std::u16string, std::u16string> defaults[] = {{u"", u"*"},
                                                                {u"*", u""},
                                                                {u"only", u"until"},
                                                                {u"until", u"in"},
                                                                {u"<3 characters, 0>", u"->"},
                                                                {u"-", u"-1"},
                                                                {u"a ", u"a"}};
  for (const auto& [source, target] : defaults)
    made.differ(u"Table\\Column", u"t\\" + source + u"c", u"Default", source, target);
  return made.all();
}

std::int64_t total(const diffSchema& differences) {
  std::int64_t count = 0;
  report::forEachKind(differences, [&](const auto& kind, const auto& objects) {
    EXPECT_EQ(differences.*kind.count, objects.count());
    for (const auto& object : objects) {
      count += report::differencesOf(object);
      EXPECT_EQ(object.DiffCount, object.Diff.count());
    }
  });
  return count;
}

TEST(KnownDifferences, EachLineAcceptsItsDifferenceAndNoOther) {
  const diffSchema differences = oddDifferences();
  std::ostringstream file;
  writeKnownDifferences(differences, {}, {}, {}, file);
  const auto known = readKnownDifferences(file.str()).known;
  ASSERT_EQ(static_cast<std::int64_t>(known.size()), total(differences)) << file.str();
  ASSERT_EQ(known.size(), 15U);

  const Acceptance all = accept(differences, known, kToday);
  EXPECT_EQ(all.rest, diffSchema{});
  EXPECT_EQ(all.accepted, known.size());
  EXPECT_TRUE(all.unused.empty());
  for (std::size_t without = 0; without < known.size(); ++without) {
    auto others = known;
    others.erase(others.begin() + static_cast<std::ptrdiff_t>(without));
    const Acceptance some = accept(differences, others, kToday);
    EXPECT_EQ(total(some.rest), 1) << known[without].difference;
    EXPECT_EQ(some.accepted, others.size());
  }
  EXPECT_EQ(accept(differences, {}, kToday).rest, differences);
}

TEST(KnownDifferences, ExpireBehindTheirLastDay) {
  const auto known = readKnownDifferences("view v: only in source until 2026-06-15 # a\n").known;
  EXPECT_EQ(accept({}, known, kToday).unused, std::vector{&known[0]});
  EXPECT_EQ(accept({}, known, 2026y / 6 / 16).expired, std::vector{&known[0]});
}

TEST(KnownDifferences, BadLinesSayWhatIsExpected) {
  const struct {
    std::string line, complaint;
  } cases[] = {
      {"tabel x: only in source # r", "'tabel' is not a kind of object such as table"},
      {"table", "expected the object's name, but the line ends"},
      {"table \"x: only in source # r", "unterminated double quote: \"x: only in source # r"},
      {"table x: only in sauce # r", "expected 'source' or 'target', not 'sauce # r'"},
      {"table x, Length: 1 # r", "expected '->', not '# r'"},
      {"table x, Length: # r", "expected two values, '*' or 'only in source', not '# r'"},
      {"table x: only in source #", "expected the reason after '#', but the line ends"},
      {"table x: only in source until 2027-02-30 # r",
       "'2027-02-30' is not a date such as 2027-01-31"},
  };
  for (const auto& [line, complaint] : cases) {
    try {
      readKnownDifferences("# kept\r\n\r\n" + line + "\r\n");
      ADD_FAILURE() << line;
    } catch (const KnownDifferencesError& error) {
      EXPECT_EQ(error.what(), "3: " + complaint);
    }
  }
}

}  // namespace
}  // namespace kelvane::report
