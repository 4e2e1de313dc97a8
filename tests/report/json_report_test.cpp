// The published tree as JSON is what its schema says.
#include "report/json_report.h"

#include <gtest/gtest.h>
#include <sstream>

#include "tests/report/json_schema.h"
#include "tests/support/made_differences.h"

namespace kelvane {
namespace {

TEST(JsonReport, IsWhatItsSchemaSays) {
  testing::MadeDifferences made;
  made.owner(u"dbo")
      .differ(u"Table", u"t", u"Row Count", 10, 12)
      .only(location_target, u"Table\\Column", u"t\\late")
      .differ(u"View", u"v", u"Definition", u"a", u"b")
      .only(location_Source, u"StoredProc\\Parameter", u"p\\@new")
      .differ(u"User\\SystemPermission", u"ann\\Standard", u"CREATE VIEW", True, False)
      .only(location_target, u"Role\\User", u"clerks\\ann")
      .differ(u"UDDT", u"code", u"Bound Rule", u"", u"r");
  ReportHeader header{"a", "b", "1", {"Tables"}, {"gap"}};
  header.ignored = {"case of names"};
  header.notes = {"note"};
  header.renames = {{"table", u"dbo.gone", u"dbo.come", 90}};
  std::ostringstream out;
  writeJsonReport(made.all(), header, out);
  EXPECT_EQ(testing::violations(nlohmann::json::parse(out.str()),
                                testing::documentedSchema("differences.schema.json")),
            std::vector<std::string>());
}

}  // namespace
}  // namespace kelvane
