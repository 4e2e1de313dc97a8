// What the tests of the reader share: its doubles, its statements, and records drawn as lines.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "model/text.h"
#include "reader/ase_fetch.h"
#include "reader/procedures.h"
#include "tests/support/recording.h"
#include "tests/support/scripted_connection.h"

namespace kelvane::testing {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using Lines = std::vector<std::string>;

// The section `name` of statements.txt with the given names spliced in.
std::string statement(const std::string& name, const std::string& Name = "",
                      const std::string& Owner = "", const std::string& Column = "");

// A result of `columns` columns and one row for each element of `rows`, in which the cells that are
// not given are null.
using Cells = std::vector<std::pair<int, std::string>>;
std::string catalogResult(int columns, const std::vector<Cells>& rows);

// A switch by its name. Fails the test when there is none.
Boolean& switchNamed(cComparisonOptions& options, const std::string& name);
void setAll(cComparisonOptions& options, Boolean value);
void setAll(cAppliesTo& scope, Boolean value);

// Everything that the records hold, one line for each of their parts.
Lines drawn(const Array<Column>& columns);
Lines drawn(const Table& table);
Lines drawn(const UDDT& type);
Lines drawn(const Permission& permissions);
Lines drawn(const Schema& schema);

// small_database.txt: one object of each category, as the statements of an unrestricted fetch.
struct DatabaseStatement {
  std::string text;
  std::string answer;
  int category = 0;        // 0 for the server's facts, 1 for tables, ... 7 for groups
  std::string procedure;   // named in LastError when its rows cannot be read
  bool endsFetch = false;  // then
  Lines switches;          // each of them may prevent it
};
struct SmallDatabase {
  std::vector<DatabaseStatement> statements;
  Lines read;  // drawn
};
const SmallDatabase& smallDatabase();

// The error texts for what the script drew as `error NUMBER STATE TEXT`, and for the trap behind
// it.
std::string serverText(int number, const std::string& state, const std::string& text);
std::string trapLine(const std::string& procedure);

class ReaderTest : public ::testing::Test {
 protected:
  void scriptSmallDatabase();
  std::string lastError() const { return toUtf8(reader.LastError()); }

  Journal journal;
  ScriptedConnection server{&journal};
  RecordingSink sink{journal};
  RecordingHost host{journal};
  cASE_Fetch reader{host};

  ReaderTest() { reader.conn(&server); }
};

class ProcedureTest : public ReaderTest {
 protected:
  ProcedureTest() {
    context.conn = &server;
    context.events = &sink;
    context.host = &host;
  }
  cComparisonOptions& options() { return *context.compareOptions; }
  std::string lastError() const { return toUtf8(context.lastError); }

  reader::FetchContext context;
};

}  // namespace kelvane::testing
