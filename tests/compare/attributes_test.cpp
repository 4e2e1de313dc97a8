// Change one thing, expect exactly that difference: over every kind, attribute and switch.
#include <functional>
#include <gmock/gmock.h>

#include "model/text.h"
#include "support.h"

namespace kelvane::test {
namespace {

using testing::IsEmpty;

struct Change {
  std::function<void(Schema&)> make;  // turns the sample into what stands on the target
  std::string expected;               // empty: no difference
  std::string switches;               // the switches without which it goes unseen
};

template <class Record>
std::function<void(Schema&)> tableChange(Array<Record> Table::*list,
                                         const std::function<void(Record&)>& change) {
  return [=](Schema& s) { change((s.Tables[1].*list)[1]); };
}
std::function<void(Schema&)> column(const std::function<void(Column&)>& change) {
  return tableChange<Column>(&Table::Columns, change);
}
std::function<void(Schema&)> userPermission(const std::function<void(PermissionEntity&)>& change) {
  return [=](Schema& s) { change(s.Users[1].Permissions.PermissionEntities[1]); };
}
std::function<void(Schema&)> rolePermission(const std::function<void(PermissionEntity&)>& change) {
  return [=](Schema& s) { change(s.Groups[1].Permissions.PermissionEntities[1]); };
}

// clang-format off
const std::vector<Change> kTableChanges = {
  {[](Schema& s) { s.Tables.clear(); }, "Table dbo.orders: is on source only", "Tables"},
  {[](Schema& s) { s.Tables[1].Miscallaneous.RowCount = 12; }, "Table dbo.orders: Row Count [10] [12]", "Tables Tables_RowCount"},
  {[](Schema& s) { s.Tables[1].Miscallaneous.MaxWidth = -1; }, "Table dbo.orders: Max Width [80] [-1]", "Tables Tables_MaxWidth"},
  {column([](Column& c) { c.DataType = u"INT"; }), "Table dbo.orders Columns id: Data Type [int] [INT]", "Tables Tables_Columns"},
  {column([](Column& c) { c.Default = u"7"; }), "Table dbo.orders Columns id: Default [] [7]", "Tables Tables_Columns"},
  {column([](Column& c) { c.iScale = -3; }), "Table dbo.orders Columns id: Scale [0] [-3]", "Tables Tables_Columns"},
  {column([](Column& c) { c.Length = 2147483647; }), "Table dbo.orders Columns id: Length [4] [2147483647]", "Tables Tables_Columns"},
  {column([](Column& c) { c.Nullable = True; }), "Table dbo.orders Columns id: Nullable [False] [True]", "Tables Tables_Columns"},
  {column([](Column& c) { c.OrdinalPosition = 9; }), "Table dbo.orders Columns id: Ordinal Position [1] [9]", "Tables Tables_Columns"},
  {column([](Column& c) { c.Precision = 5; }), "Table dbo.orders Columns id: Precision [10] [5]", "Tables Tables_Columns"},
  {[](Schema& s) { s.Tables[1].Columns.append({u"x", u"int", 4, 10, 0, True, u"", 3}); }, "Table dbo.orders Columns x: Column is on target only", "Tables Tables_Columns"},
  {tableChange<index>(&Table::Indexes, [](index& i) { i.IndexDescription = u"unique"; }), "Table dbo.orders Indexes ix_total: Description [nonclustered] [unique]", "Tables Tables_Indexes"},
  {tableChange<index>(&Table::Indexes, [](index& i) { i.Name = u"ix2"; }), "Table dbo.orders Indexes ix_total: Name [ix_total] [ix2]", "Tables Tables_Indexes"},
  {[](Schema& s) { s.Tables[1].Indexes.clear(); }, "Table dbo.orders Indexes ix_total: Index is on source only", "Tables Tables_Indexes"},
  {[](Schema& s) { s.Tables[1].Indexes.append({u"ix_id", u"id", u""}); }, "Table dbo.orders Indexes id: Index is on target only", "Tables Tables_Indexes"},
  {tableChange<Trigger>(&Table::Triggers, [](Trigger& t) { t.Definition = u"CREATE trigger"; }), "Table dbo.orders Triggers tr_orders: Definition [create trigger] [CREATE trigger]", "Tables Tables_Triggers"},
  {tableChange<Trigger>(&Table::Triggers, [](Trigger& t) { t.Is_Delete = False; }), "Table dbo.orders Triggers tr_orders: On Delete [True] [False]", "Tables Tables_Triggers"},
  {tableChange<Trigger>(&Table::Triggers, [](Trigger& t) { t.Is_Insert = False; }), "Table dbo.orders Triggers tr_orders: On Insert [create trigger] [False]", "Tables Tables_Triggers"},
  {tableChange<Trigger>(&Table::Triggers, [](Trigger& t) { t.Is_Update = True; }), "Table dbo.orders Triggers tr_orders: On Update [create trigger] [True]", "Tables Tables_Triggers"},
  {[](Schema& s) { s.Tables[1].Triggers.clear(); }, "Table dbo.orders Triggers tr_orders: Trigger is on source only", "Tables Tables_Triggers"},
  {tableChange<PrimaryKey>(&Table::PrimaryKey, [](PrimaryKey& k) { k.Name = u"pk2"; }), "Table dbo.orders PrimaryKey id: Name [pk_orders] [pk2]", "Tables Tables_PrimaryKeys"},
  {tableChange<PrimaryKey>(&Table::PrimaryKey, [](PrimaryKey& k) { k.Attributes = u""; }), "Table dbo.orders PrimaryKey id: Attributes [Clustered] []", "Tables Tables_PrimaryKeys"},
  {[](Schema& s) { s.Tables[1].PrimaryKey.clear(); }, "Table dbo.orders PrimaryKey id: Primary Key is on source only", "Tables Tables_PrimaryKeys"},
  {tableChange<Key>(&Table::ForeignKey, [](Key& k) { k.Name = u"fk2"; }), "Table dbo.orders ForeignKey customer: Name [fk_customer] [fk2]", "Tables Tables_ForeignKeys"},
  {tableChange<Key>(&Table::ForeignKey, [](Key& k) { k.KeySequence = 2; }), "Table dbo.orders ForeignKey customer: Key Sequence [1] [2]", "Tables Tables_ForeignKeys"},
  {tableChange<Key>(&Table::ForeignKey, [](Key& k) { k.fk_ReferencesTable = u"c"; }), "Table dbo.orders ForeignKey customer: References Table [customers] [c]", "Tables Tables_ForeignKeys"},
  {tableChange<Key>(&Table::ForeignKey, [](Key& k) { k.fk_ReferencesPK = u"c"; }), "Table dbo.orders ForeignKey customer: References Primary Key [pk_customers] [c]", "Tables Tables_ForeignKeys"},
  {tableChange<Key>(&Table::ForeignKey, [](Key& k) { k.fk_ReferencesColumn = u"c"; }), "Table dbo.orders ForeignKey customer: References Column [id] [c]", "Tables Tables_ForeignKeys"},
  {[](Schema& s) { s.Tables[1].ForeignKey.clear(); }, "Table dbo.orders ForeignKey customer: Foreign Key is on source only", "Tables Tables_ForeignKeys"},
  {[](Schema& s) { s.Tables[1].References.clear(); }, "", ""},
  {[](Schema& s) { s.Tables[1].FullName = u"x"; }, "", ""},
};

const std::vector<Change> kCodeChanges = {
  {[](Schema& s) { s.Views.clear(); }, "View dbo.v: is on source only", "Views"},
  {[](Schema& s) { s.Views[1].Definition = u"CREATE VIEW"; }, "View dbo.v: Definition [create view] [CREATE VIEW]", "Views Views_Definition"},
  {[](Schema& s) { s.Views[1].Columns[1].Length = 5; }, "View dbo.v Columns c: Length [8] [5]", "Views Views_Columns"},
  {[](Schema& s) { s.Views[1].Columns.clear(); }, "View dbo.v Columns c: Column is on source only", "Views Views_Columns"},
  {[](Schema& s) { s.StoredProcs.clear(); }, "StoredProc dbo.p: is on source only", "StoredProcs"},
  {[](Schema& s) { s.StoredProcs[1].Definition = u"-"; }, "StoredProc dbo.p: Definition [create proc] [-]", "StoredProcs StoredProcs_Definition"},
  {[](Schema& s) { s.StoredProcs[1].Columns[1].Default = u"1"; }, "StoredProc dbo.p Columns @id: Default [] [1]", "StoredProcs StoredProcs_Columns"},
  {[](Schema& s) { s.StoredProcs[1].Columns.append({u"@n", u"int", 4, 0, 0, True, u"", 2}); }, "StoredProc dbo.p Columns @n: Parameter is on target only", "StoredProcs StoredProcs_Columns"},
  {[](Schema& s) { s.Functions.clear(); }, "Function dbo.f: is on source only", "Functions"},
  {[](Schema& s) { s.Functions[1].Definition = u"-"; }, "Function dbo.f: Definition [create function] [-]", "Functions Functions_Definition"},
  {[](Schema& s) { s.Functions[1].Columns[1].iScale = 1; }, "Function dbo.f Columns @id: Scale [0] [1]", "Functions Functions_Columns"},
  {[](Schema& s) { s.Functions[1].Columns.clear(); }, "Function dbo.f Columns @id: Parameter is on source only", "Functions Functions_Columns"},
  {[](Schema& s) { s.UDDTs.clear(); }, "UDDT dbo.money2: is on source only", "UDDTs"},
  {[](Schema& s) { s.UDDTs[1].BaseType = u"int"; }, "UDDT dbo.money2: Base Type [numeric] [int]", "UDDTs UDDTs_Definition"},
  {[](Schema& s) { s.UDDTs[1].BoundDefault = u"D"; }, "UDDT dbo.money2: Bound Default [d] [D]", "UDDTs UDDTs_Definition"},
  {[](Schema& s) { s.UDDTs[1].BoundRule = u""; }, "UDDT dbo.money2: Bound Rule [r] []", "UDDTs UDDTs_Definition"},
  {[](Schema& s) { s.UDDTs[1].iScale = 4; }, "UDDT dbo.money2: Scale [2] [4]", "UDDTs UDDTs_Definition"},
  {[](Schema& s) { s.UDDTs[1].Length = 5; }, "UDDT dbo.money2: Length [9] [5]", "UDDTs UDDTs_Definition"},
  {[](Schema& s) { s.UDDTs[1].Nullable = False; }, "UDDT dbo.money2: Nullable [True] [False]", "UDDTs UDDTs_Definition"},
  {[](Schema& s) { s.UDDTs[1].Precision = 5; }, "UDDT dbo.money2: Precision [18] [5]", "UDDTs UDDTs_Definition"},
};

const std::vector<Change> kPrincipalChanges = {
  {[](Schema& s) { s.Users.clear(); }, "User ann: is on source only", "Users"},
  {[](Schema& s) { s.Users[1].Owner = u"x"; }, "", ""},
  {[](Schema& s) { s.Users[1].Permissions.Create_Table = False; }, "User ann SystemPermissions Standard: CREATE TABLE [True] [False]", "Users Users_SystemPermissions"},
  {[](Schema& s) { s.Users[1].Permissions.DUMP_DATABASE = True; }, "", ""},
  {userPermission([](PermissionEntity& p) { p.Delete = True; }), "User ann ObjectPermissions orders: Delete [False] [True]", "Users Users_ObjectPermissions"},
  {userPermission([](PermissionEntity& p) { p.EntityOwner = u"DBO"; p.EntityName = u"x"; }), "User ann ObjectPermissions orders: Object Permission is on source only\nUser ann ObjectPermissions x: Object Permission is on target only", "Users Users_ObjectPermissions"},
  {userPermission([](PermissionEntity& p) { p.Grantor = u"x"; p.index = True; p.Alter = True; p.Control = True; }), "", ""},
  {[](Schema& s) { s.Groups.clear(); }, "Role staff: is on source only", "Groups"},
  {[](Schema& s) { s.Groups[1].Owner = u"x"; }, "Table dbo.staff: Owner [dbo] [x]", "Groups"},
  {[](Schema& s) { s.Groups[1].Users.clear(); }, "Role staff Users ann: User is on source only", "Groups Groups_Users"},
  {[](Schema& s) { s.Groups[1].Users[1].Permissions.Create_View = True; }, "", ""},
  {[](Schema& s) { s.Groups[1].Permissions.Create_Default = True; }, "Role staff SystemPermissions Standard: CREATE DEFAULT [False] [True]", "Groups Groups_SystemPermissions"},
  {[](Schema& s) { s.Groups[1].Permissions.Create_Procedure = True; }, "Role staff SystemPermissions Standard: CREATE PROCEDURE [False] [True]", "Groups Groups_SystemPermissions"},
  {[](Schema& s) { s.Groups[1].Permissions.Create_Rule = True; }, "Role staff SystemPermissions Standard: CREATE RULE [False] [True]", "Groups Groups_SystemPermissions"},
  {[](Schema& s) { s.Groups[1].Permissions.Create_View = True; }, "Role staff SystemPermissions Standard: CREATE VIEW [False] [True]", "Groups Groups_SystemPermissions"},
  {rolePermission([](PermissionEntity& p) { p.Execute = True; }), "Role staff ObjectPermissions orders: Execute [False] [True]", "Groups Groups_ObjectPermissions"},
  {rolePermission([](PermissionEntity& p) { p.Insert = False; }), "Role staff ObjectPermissions orders: Insert [True] [False]", "Groups Groups_ObjectPermissions"},
  {rolePermission([](PermissionEntity& p) { p.References = True; }), "Role staff ObjectPermissions orders: References [False] [True]", "Groups Groups_ObjectPermissions"},
  {rolePermission([](PermissionEntity& p) { p.Select = False; }), "Role staff ObjectPermissions orders: Select [True] [False]", "Groups Groups_ObjectPermissions"},
  {rolePermission([](PermissionEntity& p) { p.Update = True; }), "Role staff ObjectPermissions orders: Update [False] [True]", "Groups Groups_ObjectPermissions"},
};
// clang-format on

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += (text.empty() ? "" : "\n") + line;
  return text;
}

class AttributesTest : public testing::TestWithParam<const std::vector<Change>*> {};

TEST_P(AttributesTest, OneChangeIsExactlyOneDifferenceAndOnlyItsSwitchesSilenceIt) {
  const Schema source = sample();
  for (const Change& change : *GetParam()) {
    Schema target = source;
    change.make(target);
    EXPECT_EQ(joined(linesOf(source, target)), change.expected);
    if (change.expected.empty()) continue;
    for (const Switch& off : kSwitches) {
      cComparisonOptions options = *allOptions();
      options.*off.value = False;
      const bool isSilenced =
          (" " + change.switches + " ").find(" " + toUtf8(off.name) + " ") != std::string::npos;
      EXPECT_EQ(joined(lines(differences(source, target, options))),
                isSilenced ? "" : change.expected)
          << "without " << toUtf8(off.name);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, AttributesTest,
                         testing::Values(&kTableChanges, &kCodeChanges, &kPrincipalChanges));

TEST(AttributesTest, ComeInTheOrderOfTheirKind) {
  Schema target = sample();
  target.Tables[1].Columns[1] = {u"id", u"t", 91, 92, 93, True, u"d", 94};
  target.Views[1].Columns[1] = {u"c", u"t", 91, 92, 93, False, u"d", 94};
  target.Functions[1].Columns[1] = {u"@id", u"t", 91, 92, 93, True, u"d", 94};
  std::string labels;
  for (const std::string& line : linesOf(sample(), target)) {
    const std::size_t label = line.find(": ") + 2;
    labels += line.substr(0, 1) + " " + line.substr(label, line.find(" [") - label) + ", ";
  }
  EXPECT_EQ(labels,
            "T Data Type, T Default, T Scale, T Length, T Nullable, T Ordinal Position, "
            "T Precision, "
            "V Default, V Data Type, V Length, V Scale, V Precision, V Nullable, "
            "V Ordinal Position, "
            "F Data Type, F Default, F Scale, F Length, F Nullable, F Ordinal Position, "
            "F Precision, ");
}

TEST(AttributesTest, ASchemaAgainstItselfHasNoDifferences) {
  EXPECT_THAT(linesOf(sample(), sample()), IsEmpty());
  EXPECT_EQ(differences(sample(), sample()), diffSchema{});
  EXPECT_EQ(differences(sample(), Schema{}, cComparisonOptions{}), diffSchema{});
}

}  // namespace
}  // namespace kelvane::test
