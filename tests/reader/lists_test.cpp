// Object lists, the names of a scope, and the existence test behind them.
#include "tests/reader/reader_test.h"

namespace kelvane::testing {
namespace {

using namespace kelvane::reader;

class Lists : public ProcedureTest {
 protected:
  template <class Record>
  static std::string names(const Array<Record>& records) {
    std::string text;
    for (const Record& one : records)
      text += toUtf8(one.FullName + u"=" + one.Owner + u"+" + one.Name + u" ");
    return text;
  }
  static std::shared_ptr<NameList> list(std::initializer_list<std::u16string> names) {
    return std::make_shared<NameArray>(names);
  }
};

TEST_F(Lists, GetListReadsOneListAndNothingElse) {
  const struct {
    std::int32_t entity;
    std::string statement, answer, names;
    EntityIdentifier id;
    std::u16string last;  // of those names
  } cases[] = {
      {entity_TABLE, "tables_list", "o|n\n b|'T 2'\n a|T1", "b.T 2=b+T 2 a.T1=a+T1 ", ID_TABLE,
       u"a.T1"},
      {entity_VIEW, "views_list", "o|n\n dbo|v", "dbo.v=dbo+v ", ID_VIEW, u"dbo.v"},
      {entity_STOREDPROC, "procedures_list", "o|n\n dbo|p", "dbo.p=dbo+p ", ID_STOREDPROC,
       u"dbo.p"},
      {entity_UDDT, "types_list", "o|n|t|-|-\n dbo|d|int|r|x", "dbo.d=dbo+d ", ID_UDDT, u"dbo.d"},
      {entity_GROUP, "groups_list", "n\n public", "public=+public ", ID_GROUP, u"public"},
      {entity_USER, "users_list", "n|-|-\n 'A\\b\\c'|x|y\n dbo|x|y", "A b c=+A b c dbo=+dbo ",
       ID_USER, u"dbo"},
      {entity_FUNCTION, "functions_list", "-|-\n dbo|f", "dbo.f=dbo+f ", ID_Function, u"dbo.f"},
  };
  for (const auto& one : cases) {
    server.on(statement(one.statement), one.answer);
    EXPECT_TRUE(reader.GetList(static_cast<enumEntityType>(one.entity), sink));
    EXPECT_THAT(server.takeSent(), ElementsAre(statement(one.statement)));
    const Schema read = reader.Results();
    EXPECT_THAT(
        (Lines{names(read.Tables), names(read.Views), names(read.StoredProcs), names(read.UDDTs),
               names(read.Groups), names(read.Users), names(read.Functions)}),
        ::testing::Contains(one.names));
    EXPECT_EQ(reader.ObjectExists(one.id, one.last), std::ranges::count(one.names, '='));
  }
  EXPECT_EQ(sink.events().size(), 14u);
  const Schema all = reader.Results();
  for (const int entity : {-1, 7})
    EXPECT_FALSE(reader.GetList(static_cast<enumEntityType>(entity), sink));
  EXPECT_THAT(server.takeSent(), IsEmpty());
  EXPECT_EQ(reader.Results(), all);
  EXPECT_EQ(names(all.Tables), cases[0].names);
  reader.Cancel();
  EXPECT_TRUE(reader.GetList(entity_TABLE, sink));
  EXPECT_THAT(server.takeSent(), IsEmpty());
  EXPECT_EQ(reader.Results(), all);

  EXPECT_EQ(reader.ObjectExists(ID_TABLE, u"A.T1"), 0);
  EXPECT_EQ(reader.ObjectExists(ID_COLUMN, u"dbo.f"), 0);
}

TEST_F(Lists, AnEmptyResultKeepsTheListAndAFailureWhatItRead) {
  server.on(statement("tables_list"), "o|n\n dbo|a")
      .on(statement("tables_list"), "o|n")
      .on(statement("tables_list"), "o|n\n dbo|c\n null|d\n dbo|e")
      .on(statement("tables_list"), "error 911 S1000 No database");
  EXPECT_EQ(PopulateTableList(context), 1);
  EXPECT_EQ(PopulateTableList(context), 0);
  EXPECT_EQ(names(context.schema.Tables), "dbo.a=dbo+a ");
  const Status status = PopulateTableList(context);
  if (status == kFailed) {  // a null owner may be a failure, and then must be reported as one
    EXPECT_THAT(lastError(), EndsWith(trapLine("PopulateTableList")));
  } else {
    EXPECT_EQ(status, 3);
  }
  EXPECT_EQ(context.schema.Tables.count(), 3);
  EXPECT_EQ(context.schema.Tables[1].FullName, u"dbo.c");
  EXPECT_EQ(PopulateTableList(context), 0);
  EXPECT_EQ(lastError(), serverText(911, "S1000", "No database"));
  EXPECT_EQ(sink.events().size(), 8u);
}

TEST_F(Lists, TakesTheNamesOfTheScopeThatExist) {
  server.inOrder();
  const auto asked = [&](const char* what, const char* owner, const char* name, bool exists) {
    server.on(statement(what, name, owner), exists ? "owner|name\n x|y" : "owner|name");
  };
  // A name of three parts is looked up as the one before it, and an owner stays for a bare name.
  context.appliesTo->SomeTables = list({u"bare", u"dbo.orders", u"items", u"a.b.c", u"lost"});
  context.appliesTo->SomeViews = list({u"x.y.z", u"dbo.v"});
  context.appliesTo->SomeStoredProcs = list({u"dbo.o'p"});
  context.appliesTo->SomeFunctions = list({u"dbo.f"});
  context.appliesTo->SomeUDDTs = list({u"dbo.t"});
  context.appliesTo->SomeUsers = list({u"first.last", u"nobody"});
  context.appliesTo->SomeGroups = list({u"public"});
  asked("table_exists", "", "bare", true);
  asked("table_exists", "dbo", "orders", true);
  asked("table_exists", "dbo", "items", true);
  asked("table_exists", "dbo", "items", true);
  asked("table_exists", "dbo", "lost", false);
  asked("view_exists", "", "", false);
  asked("view_exists", "dbo", "v", true);
  asked("storedproc_exists", "dbo", "o'p", true);
  asked("function_exists", "dbo", "f", true);
  asked("uddt_exists", "dbo", "t", true);
  asked("user_exists", "", "first.last", true);
  asked("user_exists", "", "nobody", false);
  server.on("sp_helpdbfixedrole", "role|about\n db_owner|x\n db_reader|y");
  server.on(statement("group_exists", "public"), "error 156 42000 Incorrect syntax");

  context.schema.Tables.append(Table{});
  for (const auto add : {AddTablesOfScope, AddViewsOfScope, AddStoredProcsOfScope,
                         AddFunctionsOfScope, AddUDDTsOfScope, AddUsersOfScope, AddGroupsOfScope})
    add(context);
  const Schema& read = context.schema;
  EXPECT_EQ(names(read.Tables),
            "=+ .bare=+bare dbo.orders=dbo+orders dbo.items=dbo+items dbo.items=dbo+items ");
  EXPECT_EQ(names(read.Views), "dbo.v=dbo+v ");
  EXPECT_EQ(names(read.StoredProcs), "dbo.o'p=dbo+o'p ");
  EXPECT_EQ(names(read.Functions), "dbo.f=dbo+f ");
  EXPECT_EQ(names(read.UDDTs), "dbo.t=dbo+t ");
  EXPECT_EQ(names(read.Users), "first.last=+first.last ");
  EXPECT_TRUE(read.Groups.empty());
  EXPECT_THAT(server.unused(), IsEmpty());
  EXPECT_THAT(sink.events(), IsEmpty());
}

TEST_F(Lists, AScopeStopsBehindTheNameAtWhichItWasCancelled) {
  context.appliesTo->SomeTables = list({u"dbo.a", u"dbo.b"});
  server.on(statement("table_exists", "a", "dbo"), "owner|name\n dbo|a");
  server.onSent = [&](const std::string&) { context.cancelled = true; };
  AddTablesOfScope(context);
  EXPECT_EQ(names(context.schema.Tables), "dbo.a=dbo+a ");
  AddTablesOfScope(context);
  EXPECT_EQ(server.sent().size(), 1u);
}

TEST_F(Lists, AnUnsetListIsAFailureOfItsCategory) {
  const std::pair<bool (*)(FetchContext&), const char*> categories[] = {
      {ProcessTables, "ProcessTables"},
      {ProcessViews, "ProcessViews"},
      {ProcessStoredProcs, "ProcessStoredProcs"},
      {ProcessFunctions, "ProcessFunctions"},
      {ProcessUDDTs, "ProcessUDDTs"},
      {ProcessUsers, "ProcessUsers"},
      {ProcessGroups, "ProcessGroups"},
  };
  for (const auto& [process, name] : categories) {
    EXPECT_FALSE(process(context));
    EXPECT_THAT(lastError(), EndsWith(trapLine(name)));
  }
  EXPECT_THAT(sink.events(), IsEmpty());
}

TEST_F(Lists, TheExistenceTestSendsWhatItSends) {
  server.on(statement("table_exists", "t", "dbo"), "owner|name\n dbo|t");
  EXPECT_TRUE(CheckObjectForExistance(context, u"t", u"dbo", u"TaBLE"));
  server.on(statement("user_exists", "u"), "error 207 42S22 Invalid column name");
  EXPECT_FALSE(CheckObjectForExistance(context, u"u", u"ignored", u"user"));
  server.on("sp_helpdbfixedrole", "error 2812 42000 No such procedure");
  server.on(statement("group_exists_without_roles", "g"), "error 156 42000 Incorrect syntax");
  EXPECT_FALSE(CheckObjectForExistance(context, u"g", u"", u"Group"));
  server.on("sp_helpdbfixedrole", "role\n db_owner");
  server.failAt(1, ScriptedConnection::Fault::foreign);  // the list of roles ends before it begins
  EXPECT_FALSE(CheckObjectForExistance(context, u"g", u"", u"gROUP"));
  EXPECT_EQ(server.takeSent().size(), 6u);

  EXPECT_FALSE(CheckObjectForExistance(context, u"t", u"dbo", u"index"));
  EXPECT_THAT(host.takeMessages(),
              ElementsAre(R"("Wrong ObjectType parameter in CheckObjectForExistance")"));
  context.cancelled = true;
  for (const char16_t* type : {u"Table", u"Group"})
    EXPECT_FALSE(CheckObjectForExistance(context, u"t", u"dbo", type));
  EXPECT_THAT(server.takeSent(), IsEmpty());
}

}  // namespace
}  // namespace kelvane::testing
