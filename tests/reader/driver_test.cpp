// The fetch driver and the per-object loops: what is sent and told in which order, and how a call
// ends when something fails, throws or cancels at any place.
#include <stdexcept>

#include "tests/reader/reader_test.h"

namespace kelvane::testing {
namespace {

using Fault = ScriptedConnection::Fault;

// The lines that the small database's categories up to `category` draw.
Lines drawnUpTo(int category) {
  Lines lines;
  for (const std::string& line : smallDatabase().read) {
    if (!line.starts_with(' ') && category-- == 0) break;
    lines.push_back(line);
  }
  return lines;
}

// The categories as the events name them.
struct Category {
  std::string name, announcedAs, type, object;
  std::string procedures;
  enumEntityType kind;
};
const Category kCategories[] = {
    {"Table", "TABLE", "TABLE", "orders", "Table", entity_TABLE},
    {"View", "IRRELEVANT", "VIEW", "v_open", "View", entity_VIEW},
    {"Stored Procedure", "IRRELEVANT", "STOREDPROC", "p_load", "StoredProc", entity_STOREDPROC},
    {"Function", "FUNCTION", "FUNCTION", "f_total", "Function", entity_FUNCTION},
    {"UDDT", "IRRELEVANT", "UDDT", "t_money", "UDDT", entity_UDDT},
    {"User", "IRRELEVANT", "USER", "NT reporter", "User", entity_USER},
    {"Group", "IRRELEVANT", "GROUP", "public", "Group", entity_GROUP},
};

// The events of an unrestricted fetch of the small database.
const Lines kEvents = [] {
  Lines events = {R"(start "Starting" bar SERVER)"};
  for (const Category& one : kCategories) {
    events.push_back("start \"Getting List Of " + one.name + "s\" " + one.announcedAs);
    events.push_back("end IRRELEVANT");
    events.push_back("start \"Retrieving " + one.name + " Data\" bar " + one.type);
    events.push_back("progress \"Retrieving properties for " + one.name + ' ' + one.object +
                     "\" 100 IRRELEVANT");
    events.push_back("end " + one.type);
  }
  events.push_back("end SERVER");
  return events;
}();

// What is said about a failure of which the connection knows nothing.
std::string codingError(const std::string& description) {
  return "Coding error has occured: Error: #51\r\nDescription: #" + description +
         "\r\nSource: #Kelvane\r\n";
}

class Driver : public ReaderTest {
 protected:
  bool fetch() { return reader.Fetch(sink); }
  // A reader of its own over the same script, for runs that each need a fresh one.
  struct Run : ReaderTest {
    using ReaderTest::host, ReaderTest::journal, ReaderTest::lastError, ReaderTest::reader,
        ReaderTest::server, ReaderTest::sink;
    Run() { scriptSmallDatabase(); }
    bool fetch() { return reader.Fetch(sink); }
    // Of the categories in the order in which they are read, from 1.
    const KindExtent& extentOf(int category) const {
      return reader.Extent()[kCategories[category - 1].kind];
    }
    void TestBody() override {}
  };
};

TEST_F(Driver, ReadsEverythingInOrder) {
  scriptSmallDatabase();
  server.inOrder();
  EXPECT_TRUE(fetch());
  EXPECT_EQ(drawn(reader.Results()), smallDatabase().read);
  EXPECT_EQ(sink.events(), kEvents);
  EXPECT_THAT(server.unused(), IsEmpty());
  EXPECT_EQ(lastError(), "");
  EXPECT_TRUE(reader.IsDataCaseSensitive());
  EXPECT_TRUE(reader.IsSchemaCaseSensitive());
  for (const auto& sent : server.sent()) {
    EXPECT_EQ(sent.mode.location, ado::CursorLocation::client);
    EXPECT_EQ(sent.mode.cursorType, ado::CursorType::unspecified);
    EXPECT_EQ(sent.mode.lockType, ado::LockType::unspecified);
    EXPECT_EQ(sent.mode.options, -1);
  }
}

TEST_F(Driver, ReadsNothingButTheServersFactsWithoutSwitches) {
  scriptSmallDatabase();
  reader.CompareOptions(std::make_shared<cComparisonOptions>());
  EXPECT_TRUE(fetch());
  EXPECT_THAT(server.takeSent(), ElementsAre("select @@version", statement("case_sensitivity")));
  EXPECT_THAT(sink.events(), ElementsAre(kEvents.front(), kEvents.back()));
  EXPECT_EQ(reader.Results(), Schema{});
}

TEST_F(Driver, EachSwitchGatesItsOwnStatements) {
  for (const Switch& off : kSwitches) {
    Run run;
    (*run.reader.CompareOptions()).*off.value = False;
    EXPECT_TRUE(run.fetch());
    Lines expected;
    for (const DatabaseStatement& one : smallDatabase().statements)
      if (!std::ranges::count(one.switches, toUtf8(off.name))) expected.push_back(one.text);
    EXPECT_EQ(run.server.takeSent(), expected) << toUtf8(off.name);
  }
}

TEST_F(Driver, SurvivesAFaultInEachStatement) {
  const auto& database = smallDatabase().statements;
  for (std::size_t at = 0; at < database.size(); ++at) {
    const DatabaseStatement& faulty = database[at];
    for (const Fault fault : {Fault::open, Fault::read, Fault::foreign}) {
      SCOPED_TRACE((fault == Fault::open ? "refused: " : "unreadable: ") + faulty.text);
      const std::string injected = fault == Fault::foreign ? codingError("Unknown failure")
                                                           : serverText(9999, "HY000", "Injected");
      Run run;
      run.server.failAt(static_cast<int>(at) + 1, fault);
      bool result = false;
      ASSERT_NO_THROW(result = run.fetch());
      // A refused statement reads as no result. The query behind the primary key does not allow
      // for that.
      const bool trapped =
          fault != Fault::open || faulty.text == statement("clustering", "pk_orders");
      const bool ends = trapped && faulty.endsFetch;
      EXPECT_EQ(result, !ends);
      const std::string text = !trapped                   ? injected
                               : faulty.procedure.empty() ? ""
                                                          : injected + trapLine(faulty.procedure);
      EXPECT_EQ(run.lastError(), text);
      const Lines read = drawn(run.reader.Results());
      const Lines whole = drawnUpTo(std::max(0, faulty.category - 1));
      EXPECT_TRUE(read.size() >= whole.size() &&
                  std::equal(whole.begin(), whole.end(), read.begin()));
      const Lines sent = run.server.takeSent();
      if (ends) {
        EXPECT_EQ(sent.size(), at + 1);
        EXPECT_LE(read.size(), drawnUpTo(faulty.category).size());
        EXPECT_NE(run.sink.events().rbegin()[1],
                  kEvents[static_cast<std::size_t>(faulty.category * 5)]);
      } else if (faulty.category < 7) {
        EXPECT_EQ(sent.back(), database.back().text);
      }
      EXPECT_EQ(run.sink.events().back(), "end SERVER");
      const bool isList = at > 0 && database[at - 1].category != faulty.category;
      for (int category = 1; category <= 7; ++category) {
        const KindExtent& extent = run.extentOf(category);
        const bool whole = category < faulty.category || (category > faulty.category && !ends);
        EXPECT_EQ(extent.isComplete(1), whole) << category;
        EXPECT_EQ(extent.listed, whole || (category == faulty.category && !isList)) << category;
      }
    }
  }
}

TEST_F(Driver, SaysWhatItHasRead) {
  const auto drawnExtent = [](const KindExtent& extent) {
    std::string text = extent.listed ? "listed" : "-";
    for (const bool complete : extent.complete) text += complete ? " whole" : " part";
    return text;
  };
  Run run;
  EXPECT_FALSE(run.extentOf(1).listed);
  switchNamed(*run.reader.CompareOptions(), "Views") = False;
  ASSERT_TRUE(run.fetch());
  EXPECT_EQ(drawnExtent(run.extentOf(1)), "listed whole");
  EXPECT_EQ(drawnExtent(run.extentOf(2)), "-");
  EXPECT_EQ(drawnExtent(run.extentOf(7)), "listed whole");
  EXPECT_FALSE(run.extentOf(1).isComplete(0));
  EXPECT_FALSE(run.extentOf(1).isComplete(2));
  ASSERT_TRUE(run.reader.GetList(entity_TABLE, run.sink));
  EXPECT_EQ(drawnExtent(run.extentOf(1)), "listed");
  EXPECT_EQ(drawnExtent(run.extentOf(7)), "listed whole");

  // A cancel amid the details of an object.
  Run cancelled;
  cancelled.server.onSent = [&](const std::string& sql) {
    if (sql == "exec sp_columns v_open,dbo") cancelled.reader.Cancel();
  };
  ASSERT_TRUE(cancelled.fetch());
  EXPECT_EQ(drawnExtent(cancelled.extentOf(1)), "listed whole");
  EXPECT_EQ(drawnExtent(cancelled.extentOf(2)), "listed part");
  EXPECT_EQ(drawnExtent(cancelled.extentOf(3)), "-");

  // Names of a scope are known when the server has answered for each.
  for (const auto* answer : {"owner|name", "error 1 S1000 x"}) {
    Run chosen;
    chosen.server.on(statement("table_exists", "t", "dbo"), answer);
    chosen.reader.AppliesTo()->AllTables = False;
    chosen.reader.AppliesTo()->SomeTables =
        std::make_shared<NameArray>(Array<std::u16string>{u"dbo.t"});
    ASSERT_TRUE(chosen.fetch());
    EXPECT_EQ(drawnExtent(chosen.extentOf(1)), *answer == 'o' ? "listed" : "-");
  }
}

TEST_F(Driver, ReportsAFailingSinkFromInsideAndPassesItFromOutside) {
  for (std::size_t at = 0; at < kEvents.size(); ++at) {
    SCOPED_TRACE(kEvents[at]);
    Run run;
    run.sink.onEvent = [&](int number, const std::string&) {
      if (number == static_cast<int>(at) + 1) throw std::runtime_error("sink failed");
    };
    if (at == 0 || at + 1 == kEvents.size()) {
      EXPECT_THROW(run.fetch(), std::runtime_error);
      continue;
    }
    bool result = true;
    ASSERT_NO_THROW(result = run.fetch());
    EXPECT_FALSE(result);
    const std::string failed = codingError("sink failed");
    const std::string& name = kCategories[(at - 1) / 5].procedures;
    const std::size_t step = (at - 1) % 5;
    if (step == 1) {  // the list's own end: the list or its caller may be the one to say so
      EXPECT_THAT(run.lastError(), StartsWith(failed));
    } else {
      EXPECT_EQ(run.lastError(),
                failed + trapLine(step == 0 ? "Populate" + name + "List" : "Process" + name + "s"));
    }
    Lines events(kEvents.begin(), kEvents.begin() + static_cast<std::ptrdiff_t>(at) + 1);
    if (step == 0) events.push_back("end IRRELEVANT");
    events.push_back("end SERVER");
    EXPECT_EQ(run.sink.events(), events);
  }
}

// Whatever the moment of a cancel, nothing is sent behind it, the call succeeds, and the next one
// is whole.
TEST_F(Driver, CancelsAtEachEventAndYield) {
  Run counted;
  ASSERT_TRUE(counted.fetch());
  const auto yields = std::ranges::count(counted.journal, "yield");
  const auto events = static_cast<std::ptrdiff_t>(kEvents.size());
  EXPECT_GE(yields, 7 * 2 + 18);
  for (std::ptrdiff_t at = 1; at < events + yields; ++at) {
    SCOPED_TRACE(at < events ? "event " + kEvents[static_cast<std::size_t>(at) - 1]
                             : "yield " + std::to_string(at - events + 1));
    Run run;
    std::size_t sent = 0;
    const auto cancel = [&] {
      run.reader.Cancel();
      sent = run.server.sent().size();
    };
    run.sink.onEvent = [&](int number, const std::string&) {
      if (number == at && at < events) cancel();
    };
    run.host.onYield = [&](int number) {
      if (number == at - events + 1) cancel();
    };
    EXPECT_TRUE(run.fetch());
    EXPECT_EQ(run.server.sent().size(), sent);
    EXPECT_EQ(run.sink.events().back(), "end SERVER");
    EXPECT_EQ(run.lastError(), "");
    run.sink.onEvent = nullptr;
    EXPECT_TRUE(run.fetch());
    EXPECT_EQ(drawn(run.reader.Results()), smallDatabase().read);
  }
}

TEST_F(Driver, ACancelBeforeAFetchStopsThatOneAlone) {
  scriptSmallDatabase();
  reader.Cancel();
  EXPECT_TRUE(fetch());
  EXPECT_THAT(server.sent(), IsEmpty());
  EXPECT_EQ(reader.Results(), Schema{});
  Lines expected;
  for (const std::string& event : kEvents)
    if (!event.starts_with("progress")) expected.push_back(event);
  EXPECT_EQ(sink.events(), expected);
  EXPECT_TRUE(fetch());
  EXPECT_EQ(drawn(reader.Results()), smallDatabase().read);
}

TEST_F(Driver, YieldsBeforeItLooksAtTheCancelFlagAndBeforeEachRead) {
  scriptSmallDatabase();
  setAll(*reader.CompareOptions(), False);
  for (const char* name : {"Tables", "Tables_Indexes", "Tables_RowCount"})
    switchNamed(*reader.CompareOptions(), name) = True;
  EXPECT_TRUE(fetch());
  for (std::size_t at = 1; at < journal.size(); ++at) {
    const std::string& line = journal[at];
    const bool read = line.starts_with("sql exec") || line.starts_with("sql select count");
    if (!read && !line.starts_with("progress")) continue;
    EXPECT_EQ(journal[at - 1], "yield") << line;
  }
}

TEST_F(Driver, RoundsProgressHalvesToEvenAndStopsAtACancel) {
  std::string eight = "owner|name\n";
  for (char name = 'a'; name <= 'h'; ++name) eight += std::string("dbo|") + name + '\n';
  server.on("select @@version", "-\n1").on(statement("case_sensitivity"), "-\n1");
  server.on(statement("tables_list"), eight);
  reader.CompareOptions()->Tables = reader.AppliesTo()->AllTables = True;
  EXPECT_TRUE(fetch());
  std::string progress;
  for (const std::string& event : sink.events())
    if (event.starts_with("progress")) progress += event.substr(event.rfind("Table ") + 6) + "; ";
  EXPECT_EQ(progress,
            "a\" 12 IRRELEVANT; b\" 25 IRRELEVANT; c\" 38 IRRELEVANT; d\" 50 IRRELEVANT; "
            "e\" 62 IRRELEVANT; f\" 75 IRRELEVANT; g\" 88 IRRELEVANT; h\" 100 IRRELEVANT; ");
  EXPECT_FALSE(reader.IsDataCaseSensitive());

  RecordingSink second(journal);
  second.onEvent = [&](int, const std::string& event) {
    if (event.find("Table b") != std::string::npos) reader.Cancel();
  };
  EXPECT_TRUE(reader.Fetch(second));
  EXPECT_THAT(second.events(),
              ElementsAre(kEvents[0], kEvents[1], kEvents[2], kEvents[3],
                          R"(progress "Retrieving properties for Table a" 12 IRRELEVANT)",
                          R"(progress "Retrieving properties for Table b" 25 IRRELEVANT)",
                          "end TABLE", "end SERVER"));
  EXPECT_EQ(reader.Results().Tables.count(), 8);
}

TEST_F(Driver, KeepsTheCaseFlagsWithoutAnAnswer) {
  const auto caseAfter = [&](const char* answer) {
    ScriptedConnection other;
    other.refuseOthers();
    other.on(statement("case_sensitivity"), answer);
    reader.conn(&other);
    EXPECT_TRUE(fetch());
    EXPECT_EQ(reader.IsDataCaseSensitive(), reader.IsSchemaCaseSensitive());
    return reader.IsDataCaseSensitive();
  };
  EXPECT_EQ(caseAfter("-"), False);
  EXPECT_EQ(caseAfter("-\nCase_Sensitive"), True);
  EXPECT_EQ(caseAfter("-"), True);
  EXPECT_EQ(caseAfter("error 1 S1000 x"), True);
  EXPECT_EQ(caseAfter("-\nCase_Insensitive"), False);
  EXPECT_EQ(caseAfter("-\ncase_sensitive"), False);
}

TEST_F(Driver, HandsOutCopiesAndStartsEachFetchEmpty) {
  scriptSmallDatabase();
  ASSERT_TRUE(fetch());
  Schema copy = reader.Results();
  EXPECT_EQ(copy, reader.GetSchema());
  copy.Tables[1].Columns[1].Name = u"changed";
  copy.Groups[1].Permissions.PermissionEntities[1].Select = False;
  copy.Views.clear();
  EXPECT_EQ(drawn(reader.Results()), smallDatabase().read);
  const Schema kept = reader.Results();
  setAll(*reader.CompareOptions(), False);
  EXPECT_TRUE(fetch());
  EXPECT_EQ(reader.Results(), Schema{});
  EXPECT_EQ(drawn(kept), smallDatabase().read);
}

TEST_F(Driver, NeedsAConnectionAndAScope) {
  setAll(*reader.CompareOptions(), True);
  reader.conn(nullptr);
  reader.AppliesTo()->AllTables = True;
  EXPECT_FALSE(fetch());  // the tables are an empty list; the views have no list
  EXPECT_THAT(lastError(), StartsWith("Coding error has occured: Error: #"));
  EXPECT_THAT(lastError(), EndsWith(trapLine("ProcessViews")));
  EXPECT_THAT(lastError(), ::testing::Not(::testing::HasSubstr("Last DLL Error")));
  reader.LastError(u"set from outside");
  EXPECT_THAT(lastError(), EndsWith("ProcessViews"));
}

TEST_F(Driver, WithoutOptionsAFetchFailsLikeAnyOther) {
  scriptSmallDatabase();
  const auto options = reader.CompareOptions();
  reader.CompareOptions(nullptr);
  reader.Cancel();
  EXPECT_FALSE(fetch());
  EXPECT_EQ(lastError(),
            "Coding error has occured: Error: #91\r\nDescription: #CompareOptions is not set\r\n"
            "Source: #Kelvane.reader\r\n" +
                trapLine("Fetch"));
  EXPECT_THAT(sink.events(), ElementsAre(kEvents.front(), kEvents.back()));
  reader.CompareOptions(options);
  EXPECT_TRUE(fetch());  // the cancel is over
  EXPECT_EQ(drawn(reader.Results()), smallDatabase().read);
}

TEST_F(Driver, SurvivesAConnectionThatDoesNotTellItsErrors) {
  struct Mute final : ado::Connection {
    std::unique_ptr<ado::Recordset> Open(std::u16string_view, const ado::OpenMode&) override {
      throw std::runtime_error("refused");
    }
    const std::vector<ado::Error>& Errors() const override { throw std::runtime_error("mute"); }
  } mute;
  setAll(*reader.CompareOptions(), True);
  reader.conn(&mute);
  reader.AppliesTo()->SomeTables = nullptr;
  EXPECT_FALSE(fetch());
  EXPECT_THAT(lastError(), EndsWith(trapLine("ProcessTables")));
  EXPECT_EQ(sink.events().back(), "end SERVER");
}

// A handler that reads something else on the way, with a sink that is gone when it returns: the
// outer call goes on with its own sink, whatever the inner one came to.
TEST_F(Driver, ANestedCallLeavesTheOuterSinkInPlace) {
  using Nested = void (*)(Run&, IDBFetchEvents&);
  const Nested calls[] = {
      [](Run& run, IDBFetchEvents& inner) { run.reader.GetList(entity_TABLE, inner); },
      [](Run& run, IDBFetchEvents& inner) {
        run.reader.GetList(static_cast<enumEntityType>(7), inner);
      },
      [](Run& run, IDBFetchEvents& inner) { run.reader.Fetch(inner); },
      [](Run& run, IDBFetchEvents& inner) {
        run.reader.conn(nullptr);
        run.reader.Fetch(inner);
        run.reader.conn(&run.server);
      },
  };
  for (const Nested call : calls) {
    for (const bool failing : {false, true}) {
      for (std::size_t at = 1; at <= kEvents.size(); ++at) {
        SCOPED_TRACE(kEvents[at - 1] + ", call " + std::to_string(&call - calls));
        Run run;
        bool nested = false;
        run.sink.onEvent = [&](int number, const std::string&) {
          if (number != static_cast<int>(at) || std::exchange(nested, true)) return;
          const auto inner = std::make_unique<RecordingSink>(run.journal);
          if (failing)
            inner->onEvent = [](int, const std::string&) { throw std::runtime_error("inner"); };
          try {
            call(run, *inner);
          } catch (const std::runtime_error&) {
            EXPECT_TRUE(failing);
          }
        };
        ASSERT_NO_THROW(run.fetch());
        EXPECT_EQ(run.sink.events().back(), "end SERVER");
        EXPECT_EQ(run.sink.events()[0], kEvents[0]);
      }
    }
  }
}

TEST_F(Driver, ANestedListChangesNothingThatTheOuterFetchReads) {
  for (std::size_t at = 1; at <= kEvents.size(); ++at) {
    SCOPED_TRACE(kEvents[at - 1]);
    Run run;
    run.sink.onEvent = [&](int number, const std::string&) {
      if (number != static_cast<int>(at)) return;
      RecordingSink inner(run.journal);
      EXPECT_TRUE(run.reader.GetList(entity_GROUP, inner));
      EXPECT_EQ(inner.events().size(), 2u);
    };
    EXPECT_TRUE(run.fetch());
    EXPECT_EQ(run.sink.events(), kEvents);
  }
}

TEST_F(Driver, WhatANestedListEmptiesIsNotComplete) {
  Run plain;
  ASSERT_TRUE(plain.fetch());
  ASSERT_TRUE(plain.extentOf(1).isComplete(1));
  const Array<Table> tables = plain.reader.Results().Tables;
  int disturbed = 0;
  for (int at = 1; at <= 10; ++at) {
    SCOPED_TRACE(at);
    Run run;
    run.host.onYield = [&](int number) {
      if (number != at) return;
      RecordingSink inner(run.journal);
      EXPECT_TRUE(run.reader.GetList(entity_TABLE, inner));
    };
    EXPECT_TRUE(run.fetch());
    const bool isWhole = run.reader.Results().Tables == tables;
    disturbed += isWhole ? 0 : 1;
    EXPECT_TRUE(isWhole || !run.extentOf(1).isComplete(1));
  }
  EXPECT_GT(disturbed, 3);
}

}  // namespace
}  // namespace kelvane::testing
