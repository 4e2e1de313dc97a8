// Which known differences a comparison could have found, for each switch that takes some away.
#include "cli/words/compared_scope.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace kelvane::cli {
namespace {

// `gates`: the switches without any of which the difference cannot be found.
struct Gated {
  std::string line;
  std::vector<std::u16string_view> gates;
};

const std::vector<Gated> kGated{
    {"table dbo.t: only in source", {u"Tables"}},
    {"table dbo.t, \"Row Count\": *", {u"Tables", u"Tables_RowCount"}},
    {"table dbo.t, \"Max Width\": *", {u"Tables", u"Tables_MaxWidth"}},
    {"table dbo.t, column c: only in target", {u"Tables", u"Tables_Columns"}},
    {"table dbo.t, column c, \"Ordinal Position\": *",
     {u"Tables", u"Tables_Columns", u"Tables_Columns_OrdinalPositions"}},
    {"table dbo.t, primary-key a, Attributes: *",
     {u"Tables", u"Tables_PrimaryKeys", u"Tables_PrimaryKeys_Attributes"}},
    {"table dbo.t, foreign-key a, \"References Primary Key\": *",
     {u"Tables", u"Tables_ForeignKeys", u"Tables_ForeignKeys_PKRefs"}},
    {"table dbo.t, foreign-key a, \"References Table\": *", {u"Tables", u"Tables_ForeignKeys"}},
    {"table dbo.t, index i, Description: *",
     {u"Tables", u"Tables_Indexes", u"Tables_Indexes_Names", u"Tables_Indexes_Descriptions",
      u"Tables_PrimaryKeys"}},
    {"table dbo.t, trigger t, Definition: *", {u"Tables", u"Tables_Triggers"}},
    {"view dbo.v, Owner: dbo -> DBO", {u"Views"}},
    {"view dbo.v, Definition: *", {u"Views", u"Views_Definition"}},
    {"procedure dbo.p, parameter @a, Scale: *",
     {u"StoredProcs", u"StoredProcs_Columns", u"StoredProcs_Columns_Scales"}},
    {"function dbo.f, Definition: *", {u"Functions", u"Functions_Definition"}},
    {"type dbo.x, \"Bound Rule\": *", {u"UDDTs", u"UDDTs_Definition"}},
    {"type dbo.x: only in source", {u"UDDTs"}},
    {"user u, system-permissions Standard, \"CREATE VIEW\": *",
     {u"Users", u"Users_SystemPermissions"}},
    {"group g, permissions-on t, Select: *", {u"Groups", u"Groups_ObjectPermissions"}},
    {"group g, member u: only in source", {u"Groups", u"Groups_Users"}},
};

TEST(ComparedScope, LacksWhatItsSwitchesAndRulesLeaveOut) {
  const Selection all;
  for (const auto& [line, gates] : kGated) {
    SCOPED_TRACE(line);
    const KnownDifference known = readKnownDifferences(line + " # r").known.at(0);
    for (const Switch& one : kSwitches) {
      cComparisonOptions switches;
      for (const Switch& other : kSwitches) switches.*other.value = True;
      switches.*one.value = False;
      const bool isGate = std::ranges::find(gates, one.name) != gates.end();
      const ComparedScope scope{all, switches, {}, CaseMode::exact, true};
      EXPECT_EQ(scope.couldFind(known), !isGate) << toUtf8(one.name);
    }
    cComparisonOptions switches;
    for (const Switch& one : kSwitches) switches.*one.value = True;
    const ComparedScope partial{all, switches, {}, CaseMode::exact, false};
    EXPECT_FALSE(partial.couldFind(known));
    const Rules ignoring{.ignoreLineBreaks = true, .ignoreCase = true};
    const ComparedScope lenient{all, switches, ignoring, CaseMode::ignore, true};
    EXPECT_EQ(lenient.couldFind(known), known.label != u"Definition" && !known.label.empty());
  }
}

}  // namespace
}  // namespace kelvane::cli
