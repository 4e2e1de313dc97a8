// What a browser asks of a schema that was read.
#include "tests/reader/reader_test.h"

namespace kelvane::testing {
namespace {

Lines pairs(const cKeyPairs& properties) {
  Lines lines;
  for (const auto& one : properties) {
    lines.push_back(toUtf8(one->Name) + "=" + toUtf8(one->Value));
    EXPECT_EQ(properties.Item(one->Name), one);  // its label is its key
  }
  return lines;
}

std::string entities(const cEntities& list) {
  std::string text;
  for (const auto& one : list) {
    text += toUtf8(one->Name) + "{";
    for (const std::string& pair : pairs(*one->Properties)) text += pair + ";";
    text += "}";
  }
  return text;
}

constexpr auto kNoType = static_cast<EntityIdentifier>(1);

class Browsing : public ReaderTest {
 protected:
  Browsing() {
    scriptSmallDatabase();
    EXPECT_TRUE(reader.Fetch(sink));
    server.takeSent();
  }
  ~Browsing() override { EXPECT_THAT(server.takeSent(), IsEmpty()); }

  Lines byName(EntityIdentifier type, const std::u16string& name) {
    return pairs(*reader.GetEntityPropertyListByName(type, name));
  }
  Lines byIndex(EntityIdentifier type, std::int32_t index) {
    return pairs(*reader.GetEntityPropertyListByIndex(type, index));
  }
  // The same by index and by name, which must agree.
  std::string parts(EntityIdentifier parent, EntityIdentifier type, const std::u16string& name) {
    std::string text = entities(*reader.GetSubEntityListByIndex(parent, type, 1));
    EXPECT_EQ(entities(*reader.GetSubEntityListByName(parent, type, name)), text);
    return text;
  }
};

TEST_F(Browsing, ListsProperties) {
  const Lines table = {"Row Count=3", "Max Width=0"};
  EXPECT_EQ(byName(ID_TABLE, u"dbo.orders"), table);
  EXPECT_EQ(byIndex(ID_TABLE, 1), table);
  const Lines type = {"Base Type=numeric", "Bound Default=", "Bound Rule=r_money", "Scale=2",
                      "Length=9",          "Nullable=True",  "Precision=18"};
  EXPECT_EQ(byName(ID_UDDT, u"dbo.t_money"), type);
  EXPECT_EQ(byIndex(ID_UDDT, 1), type);
  const std::string bytes = " bytes of SQL code (double-click to view)";
  EXPECT_THAT(byIndex(ID_VIEW, 1), ElementsAre("Definition=12" + bytes));
  EXPECT_THAT(byIndex(ID_STOREDPROC, 1), ElementsAre("Definition=17" + bytes));
  EXPECT_THAT(byIndex(ID_Function, 1), ElementsAre("Definition=16" + bytes));
  for (const auto type : {ID_GROUP, ID_USER, ID_MISC}) EXPECT_THAT(byIndex(type, 1), IsEmpty());
  // Not found: by another letter case, by the empty name, beyond the end.
  for (const auto type : {ID_TABLE, ID_UDDT}) {
    EXPECT_THAT(byName(type, u"DBO.orders"), IsEmpty());
    EXPECT_THAT(byIndex(type, 0), IsEmpty());
    EXPECT_THAT(byIndex(type, -1), IsEmpty());
    EXPECT_THAT(byIndex(type, 2), IsEmpty());
  }
  EXPECT_THAT(host.takeMessages(), IsEmpty());

  const std::string message = R"("Invalid Object Type for Property List"!)";
  for (const auto type :
       {ID_VIEW, ID_STOREDPROC, ID_Function, ID_GROUP, ID_USER, ID_COLUMN, kNoType}) {
    EXPECT_THAT(byName(type, u"dbo.v_open"), IsEmpty());
    EXPECT_THAT(host.takeMessages(), ElementsAre(message));
  }
  for (const auto type : {ID_COLUMN, kNoType}) {
    EXPECT_THAT(byIndex(type, 1), IsEmpty());
    EXPECT_THAT(host.takeMessages(), ElementsAre(message));
  }
}

TEST_F(Browsing, ListsTheParts) {
  const std::string column =
      "{Data Type=int;Default=7;Scale=0;Length=4;Nullable=False;Ordinal Position=1;Precision=10;}";
  std::string tableColumn = column;
  tableColumn.replace(tableColumn.find('7'), 1, "0");
  EXPECT_EQ(parts(ID_TABLE, ID_COLUMN, u"dbo.orders"), "id" + tableColumn);
  EXPECT_EQ(parts(ID_TABLE, ID_PRIMARY_KEY, u"dbo.orders"),
            "id{Name=pk_orders;Attributes=Clustered;}");
  EXPECT_EQ(parts(ID_TABLE, ID_FOREIGN_KEY, u"dbo.orders"),
            "parent{Name=fk_parent;Key Sequence=1;References Table=orders;References Column=id;"
            "References Primary Key=pk_orders;}");
  EXPECT_EQ(parts(ID_TABLE, ID_INDEX, u"dbo.orders"),
            " parent{Name=ix_parent;Description=nonclustered;}");
  EXPECT_EQ(parts(ID_TABLE, ID_TRIGGER, u"dbo.orders"),
            "tr_orders{Definition=15 bytes of SQL code (double-click to view);Is Insert=True;"
            "Is Update=True;Is Delete=False;}");
  EXPECT_EQ(parts(ID_VIEW, ID_COLUMN, u"dbo.v_open"), "id" + column);
  EXPECT_EQ(parts(ID_STOREDPROC, ID_COLUMN, u"dbo.p_load"),
            "@id{Data Type=int;Default=9;Scale=0;Length=4;Nullable=True;Ordinal Position=3;"
            "Precision=10;}");
  EXPECT_EQ(parts(ID_Function, ID_COLUMN, u"dbo.f_total"),
            "@id{Data Type=int;Default=8;Scale=0;Length=4;Nullable=True;Ordinal Position=2;"
            "Precision=10;}");
  const std::string system =
      "Standard{CREATE DEFAULT=False;CREATE PROCEDURE=False;CREATE RULE=False;CREATE TABLE=True;"
      "CREATE VIEW=False;}";
  const std::string objects =
      "orders{Owner=dbo;Grantor=dbo;Insert=False;Update=True;Delete=False;Select=True;"
      "Execute=False;References=False;}";
  EXPECT_EQ(parts(ID_USER, ID_SYSTEM_PERMISSIONS, u"NT reporter"), system);
  EXPECT_EQ(parts(ID_USER, ID_OBJECT_PERMISSIONS, u"NT reporter"), objects);
  EXPECT_EQ(parts(ID_GROUP, ID_SYSTEM_PERMISSIONS, u"public"), system);
  EXPECT_EQ(parts(ID_GROUP, ID_OBJECT_PERMISSIONS, u"public"), objects);
  EXPECT_EQ(parts(ID_GROUP, ID_GROUP_USERS, u"public"), "reporter{}");
  // Empty without a message.
  for (const auto type : {ID_REFERENCE, ID_DEFINITION, ID_GROUP_USERS, kNoType})
    EXPECT_EQ(parts(ID_TABLE, type, u"dbo.orders"), "");
  for (const auto parent : {ID_VIEW, ID_STOREDPROC, ID_Function})
    EXPECT_EQ(parts(parent, ID_DEFINITION, u"none"), "");
  for (const auto type : {ID_COLUMN, ID_INDEX, kNoType})
    EXPECT_EQ(parts(ID_UDDT, type, u"dbo.t_money"), "");
  EXPECT_EQ(entities(*reader.GetSubEntityListByName(ID_TABLE, ID_COLUMN, u"orders")), "");
  for (const std::int32_t index : {-1, 0, 2})
    EXPECT_EQ(entities(*reader.GetSubEntityListByIndex(ID_TABLE, ID_COLUMN, index)), "");
  EXPECT_THAT(host.takeMessages(), IsEmpty());

  const struct {
    EntityIdentifier parent;
    EntityIdentifier type;
    const char16_t* name;
    const char* message;
  } wrong[] = {
      {ID_VIEW, ID_INDEX, u"dbo.v_open",
       "Invalid Property Type for This Object (GetEntityList_View)"},
      {ID_STOREDPROC, ID_TRIGGER, u"dbo.p_load",
       "Invalid Property Type for This Object (GetEntityList_StoredProc)"},
      {ID_Function, kNoType, u"dbo.f_total",
       "Invalid Property Type for This Object (GetEntityList_Function)"},
      {ID_USER, ID_GROUP_USERS, u"NT reporter",
       "Invalid Property Type for This Object (GetEntityList_User)"},
      {ID_GROUP, ID_COLUMN, u"public",
       "Invalid Property Type for This Object (GetEntityList_Group)"},
      {ID_COLUMN, ID_COLUMN, u"public", "Invalid Parent Object Type"},
  };
  for (const auto& one : wrong) {
    const std::string mark = one.parent == ID_COLUMN ? "!" : "";
    const std::string message = '"' + std::string(one.message) + '"' + mark;
    EXPECT_EQ(entities(*reader.GetSubEntityListByIndex(one.parent, one.type, 1)), "");
    EXPECT_THAT(host.takeMessages(), ElementsAre(message));
    EXPECT_EQ(entities(*reader.GetSubEntityListByName(one.parent, one.type, one.name)), "");
    EXPECT_THAT(host.takeMessages(), ElementsAre(message));
  }
}

TEST_F(Browsing, HandsOutSources) {
  const auto source = [&](const char16_t* name, const char16_t* type) {
    return toUtf8(reader.GetObjectSource(name, type));
  };
  EXPECT_EQ(source(u"dbo.p_load", u"StoredProc"), "create procedure ");
  EXPECT_EQ(source(u"dbo.v_open", u"VIEW"), "create view ");
  EXPECT_EQ(source(u"dbo.f_total", u"function"), "create function ");
  EXPECT_EQ(source(u"tr_orders", u"Trigger"), "create trigger ");
  for (const auto& [name, type] :
       std::initializer_list<std::pair<const char16_t*, const char16_t*>>{
           {u"p_load", u"storedproc"},
           {u"DBO.p_load", u"storedproc"},
           {u"dbo.tr_orders", u"trigger"},
           {u"dbo.orders", u"table"},
           {u"dbo.p_load", u""}})
    EXPECT_EQ(source(name, type), "");
  EXPECT_EQ(cASE_Fetch(host).GetObjectSource(u"dbo.v_open", u"view"), u"");
}

TEST(BrowsingTriggers, TheFirstTableWins) {
  Journal journal;
  RecordingSink sink(journal);
  RecordingHost host(journal);
  ScriptedConnection server;
  server.on("select @@version", "-").on(statement("case_sensitivity"), "-");
  server.on(statement("tables_list"), "o|n\n a|one\n b|two");
  const std::string batch = "TrigName|CreateDate|IsUpdate|IsDelete|IsInsert\n T|null|1|0|0";
  server.on(statement("triggers", "one", "a"), batch).on(statement("triggers", "two", "b"), batch);
  server.on("exec sp_helptext 'a.T'", "n\n1\n---\nt\nfirst");
  server.on("exec sp_helptext 'b.T'", "n\n1\n---\nt\nsecond");
  cASE_Fetch reader(host);
  reader.conn(&server);
  reader.CompareOptions()->Tables = reader.CompareOptions()->Tables_Triggers = True;
  reader.AppliesTo()->AllTables = True;
  ASSERT_TRUE(reader.Fetch(sink));
  EXPECT_EQ(reader.GetObjectSource(u"T", u"trigger"), u"first");
}

}  // namespace
}  // namespace kelvane::testing
