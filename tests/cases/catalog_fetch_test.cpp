// The catalog reader as hosts know readers: events, scope, cancelling, and what goes wrong.
#include "inventory/publish/catalog_fetch.h"

#include <gtest/gtest.h>

#include "drivers/embedded/connection.h"
#include "drivers/embedded/script.h"
#include "model/text.h"
#include "reader/ase_fetch.h"
#include "settings/applies_to.h"
#include "tests/compare/support.h"

namespace kelvane::cli {
namespace {

constexpr const char* kScript =
    "exec sp_adduser 'ann'\nexec sp_addtype code, 'char(3)'\ngo\n"
    "create table t (a int primary key)\ngo\ncreate table ann.u (a int)\ngo\n"
    "create view v as select a from t\ngo\ncreate procedure p as print 'x'\ngo\n"
    "grant select on t to ann\n";

struct Recorder : IDBFetchEvents {
  void StartProcessing(const std::u16string& status, const Boolean& progress,
                       const enumObjectType& type) override {
    add("start " + toUtf8(status) + (progress ? " with progress " : " ") + std::to_string(type));
  }
  void Processing(const std::u16string& status, const std::int16_t& percent,
                  const enumObjectType& type) override {
    if (!status.starts_with(u"Reading "))
      add(toUtf8(status) + " " + std::to_string(percent) + " " + std::to_string(type));
    else
      ++readings;
    if (onProcessing) onProcessing(status);
  }
  void EndProcessing(const enumObjectType& type) override { add("end " + std::to_string(type)); }
  void add(std::string line) { lines.push_back(std::move(line)); }

  std::vector<std::string> lines;
  int readings = 0;
  std::function<void(const std::u16string&)> onProcessing;
};

// Refuses statements that hold a text; of one that `breaks` nothing more is answered.
class Refusing final : public ado::Connection {
 public:
  Refusing(ado::Connection& inner, std::u16string text, std::u16string state)
      : inner_(inner), text_(std::move(text)), state_(std::move(state)) {}
  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override {
    errors_.clear();
    if (source.find(text_) == source.npos) return inner_.Open(source, mode);
    ado::Error error;
    error.Description = u"no rights";
    error.SQLState = state_;
    errors_.push_back(error);
    throw ado::Failure(ErrorNumber::failure, u"no rights", u"test");
  }
  const std::vector<ado::Error>& Errors() const override { return errors_; }

 private:
  ado::Connection& inner_;
  std::u16string text_, state_;
  std::vector<ado::Error> errors_;
};

class CatalogFetch : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto report = embedded::loadScript(catalog_, "script", kScript);
    for (const auto& error : report.errors) ADD_FAILURE() << error.describe();
    connection_ = catalog_.connect();
  }
  void prepare(IDBFetch& reader, ado::Connection& connection) {
    reader.conn(&connection);
    reader.CompareOptions(test::allOptions());
    const auto scope = reader.AppliesTo();
    scope->AllTables = scope->AllViews = scope->AllStoredProcs = scope->AllFunctions = True;
    scope->AllUDDTs = scope->AllUsers = scope->AllGroups = True;
  }

  embedded::EmbeddedCatalog catalog_;
  std::unique_ptr<ado::Connection> connection_;
};

TEST_F(CatalogFetch, SendsTheEventsOfTheOtherReader) {
  cASE_Fetch asking;
  cASE_CatalogFetch reading;
  Recorder asked, read;
  prepare(asking, *connection_);
  prepare(reading, *connection_);
  for (const bool filtered : {false, true}) {
    if (filtered) {
      const ListFilter filter = [](enumEntityType kind, const std::u16string& name,
                                   const std::u16string&) {
        return kind != entity_TABLE || name == u"u";
      };
      asking.FilterLists(filter);
      reading.FilterLists(filter);
    }
    EXPECT_TRUE(asking.Fetch(asked));
    EXPECT_TRUE(reading.Fetch(read));
    EXPECT_EQ(read.lines, asked.lines);
    EXPECT_GT(read.readings, 10);
    EXPECT_TRUE(reading.GetSchema() == asking.GetSchema());
    EXPECT_EQ(reading.ObjectExists(ID_TABLE, u"ann.u"), 1);
    EXPECT_EQ(reading.GetObjectSource(u"dbo.p", u"StoredProc"),
              u"create procedure p as print 'x'\n");
  }
  for (const enumEntityType kind : {entity_TABLE, entity_USER}) {
    EXPECT_TRUE(asking.GetList(kind, asked));
    EXPECT_TRUE(reading.GetList(kind, read));
  }
  EXPECT_EQ(read.lines, asked.lines);
  EXPECT_TRUE(reading.GetSchema() == asking.GetSchema());
}

TEST_F(CatalogFetch, TakesTheNamesOfTheScope) {
  cASE_CatalogFetch reading;
  Recorder events;
  prepare(reading, *connection_);
  const auto scope = reading.AppliesTo();
  scope->AllTables = scope->AllUsers = scope->AllUDDTs = scope->AllViews = False;
  scope->SomeTables = std::make_shared<NameArray>(
      Array<std::u16string>{u"ann.u", u"t", u"dbo.t", u"a.b.c", u"dbo.none"});
  scope->SomeUsers = std::make_shared<NameArray>(Array<std::u16string>{u"ann", u"bob"});
  scope->SomeUDDTs = std::make_shared<NameArray>(Array<std::u16string>{u"dbo.code"});
  EXPECT_FALSE(reading.Fetch(events)) << "there is no list of views";
  const Schema schema = reading.GetSchema();
  std::vector<std::string> tables;
  for (const Table& table : schema.Tables) tables.push_back(toUtf8(table.FullName));
  // The entry with two dots stands for the one before it.
  EXPECT_EQ(tables, (std::vector<std::string>{"ann.u", "dbo.t", "dbo.t"}));
  scope->AllViews = True;
  EXPECT_TRUE(reading.Fetch(events)) << toUtf8(reading.LastError());
  EXPECT_EQ(reading.GetSchema().Users.count(), 1);
  EXPECT_EQ(reading.GetSchema().UDDTs.count(), 1);
}

TEST_F(CatalogFetch, EndsWhenItIsCancelled) {
  cASE_CatalogFetch reading;
  Recorder events;
  prepare(reading, *connection_);
  for (const std::u16string at : {u"Reading columns", u"Retrieving properties for Table u"}) {
    events.onProcessing = [&](const std::u16string& status) {
      if (status == at) reading.Cancel();
    };
    EXPECT_TRUE(reading.Fetch(events));
    EXPECT_TRUE(reading.GetSchema().Views.empty()) << toUtf8(at);
    EXPECT_FALSE(reading.Extent()[entity_VIEW].listed);
    EXPECT_EQ(events.lines.back(), "end " + std::to_string(OBJECT_SERVER));
  }
  events.onProcessing = {};
  EXPECT_TRUE(reading.Fetch(events));
  EXPECT_EQ(reading.GetSchema().Views.count(), 1);
}

TEST_F(CatalogFetch, SaysWhatItCouldNotRead) {
  cASE_CatalogFetch reading;
  Recorder events;
  Refusing refusing(*connection_, u"from sysprotects", u"42000");
  prepare(reading, refusing);
  EXPECT_TRUE(reading.Fetch(events));
  EXPECT_EQ(reading.LastError(), u"permissions: no rights");
  EXPECT_EQ(reading.GetSchema().Tables.count(), 2);
  EXPECT_FALSE(reading.Extent()[entity_TABLE].isComplete(1));

  Refusing broken(*connection_, u"from sysindexes", u"08S01");
  prepare(reading, broken);
  EXPECT_FALSE(reading.Fetch(events));
  EXPECT_TRUE(reading.LastError().ends_with(u"Error occured in cMSSQLDB_Fetch.Fetch"));
  EXPECT_TRUE(reading.GetSchema().Tables.empty());
  EXPECT_EQ(events.lines.back(), "end " + std::to_string(OBJECT_SERVER));

  reading.conn(nullptr);
  EXPECT_FALSE(reading.Fetch(events));
}

}  // namespace
}  // namespace kelvane::cli
