// Columns and parameters, keys, indexes, triggers and row counts.
#include <functional>

#include "tests/reader/reader_test.h"

namespace kelvane::testing {
namespace {

using namespace kelvane::reader;

Table table(std::u16string name = u"orders") {
  Table result;
  result.Name = std::move(name);
  result.Owner = u"dbo";
  return result;
}

// ---- columns

using Populate = std::function<Status(FetchContext&, Array<Column>&)>;

template <class Record>
Populate populate(Status (*procedure)(FetchContext&, Record&)) {
  return [procedure](FetchContext& context, Array<Column>& columns) {
    Record record;
    record.Name = u"it's, x";
    record.Owner = u"d b o";
    record.Columns = columns;
    const Status status = procedure(context, record);
    columns = record.Columns;
    return status;
  };
}

// Where each field is in the catalog procedure's result. A table's default is not there.
struct Kind {
  std::string name;  // of the procedure, and of the switches
  std::string switches;
  Populate run;
  std::string call;
  int length, dataType, precision, scale, nullable, defaultText, position;
};

const Kind kKinds[] = {
    {"PopulateTableColumns", "Tables_Columns_", populate(PopulateTableColumns), "exec sp_columns ",
     7, 5, 6, 8, 10, -1, 18},
    {"PopulateViewColumns", "Views_Columns_", populate(PopulateViewColumns), "exec sp_columns ", 7,
     5, 6, 8, 10, 14, 18},
    {"PopulateStoredProcColumns", "StoredProcs_Columns_", populate(PopulateStoredProcColumns),
     "exec sp_sproc_columns ", 8, 6, 7, 9, 11, 15, 19},
    {"PopulateFunctionColumns", "Functions_Columns_", populate(PopulateFunctionColumns),
     "exec sp_sproc_columns ", 8, 6, 7, 9, 11, 13, 17},
};

class Columns : public ProcedureTest, public ::testing::WithParamInterface<Kind> {
 protected:
  const Kind& kind = GetParam();

  // Every cell says where it stands: 100 + ordinal.
  static Cells numbered() {
    Cells cells;
    for (int at = 0; at < 20; ++at) cells.push_back({at, std::to_string(100 + at)});
    return cells;
  }
  void answer(const std::vector<Cells>& rows) {
    server.on(kind.call + "it's, x,d b o", catalogResult(20, rows));
  }
  Status run() { return kind.run(context, columns); }
  Boolean& on(const std::string& suffix) { return switchNamed(options(), kind.switches + suffix); }
  static std::string at(int ordinal) { return std::to_string(100 + ordinal); }

  Array<Column> columns;
};

TEST_P(Columns, TakeEachFieldFromItsOrdinalUnderItsSwitch) {
  Cells notNull = numbered();
  notNull.push_back({kind.nullable, "0"});
  answer({numbered(), notNull});
  setAll(options(), True);
  server.on(statement("column_default", "it's, x", "d b o", "103"), "text\n x");
  const std::string fields = "column 103 | " + at(kind.dataType) + " | " + at(kind.length) + " | " +
                             at(kind.precision) + " | " + at(kind.scale);
  const std::string rest =
      " | " + (kind.defaultText < 0 ? "x" : at(kind.defaultText)) + " | " + at(kind.position);
  EXPECT_EQ(run(), 2);
  EXPECT_THAT(drawn(columns), ElementsAre(fields + " | yes" + rest, fields + " | no" + rest));
  EXPECT_EQ(server.takeSent().size(), kind.defaultText < 0 ? 3u : 1u);

  const Column full = std::as_const(columns)[1];
  const std::pair<const char*, std::function<void(Column&)>> gates[] = {
      {"DataTypes", [](Column& c) { c.DataType = u""; }},
      {"Defaults", [](Column& c) { c.Default = u""; }},
      {"Scales", [](Column& c) { c.iScale = 0; }},
      {"Lengths", [](Column& c) { c.Length = 0; }},
      {"Nullables", [](Column& c) { c.Nullable = False; }},
      {"OrdinalPositions", [](Column& c) { c.OrdinalPosition = 0; }},
      {"Precisions", [](Column& c) { c.Precision = 0; }},
  };
  Column nameOnly = full;
  for (const auto& [suffix, clear] : gates) {
    on(suffix) = False;
    Column expected = full;
    clear(expected);
    clear(nameOnly);
    EXPECT_EQ(run(), 2);
    EXPECT_EQ(std::as_const(columns)[1], expected) << suffix;
    on(suffix) = True;
  }
  server.takeSent();
  setAll(options(), False);
  EXPECT_EQ(run(), 2);
  EXPECT_EQ(std::as_const(columns)[1], nameOnly);
  EXPECT_EQ(server.takeSent().size(), 1u);
}

TEST_P(Columns, ReadNullsAsEmptyButNeedANameAndNullability) {
  setAll(options(), True);
  on("Defaults") = kind.defaultText < 0 ? False : True;
  answer({{{3, "a"}, {kind.nullable, "1"}}, {{3, "b"}}, {{3, "c"}, {kind.nullable, "1"}}});
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(columns.count(), 3);
  EXPECT_EQ(drawn(columns)[0], "column a |  | 0 | 0 | 0 | yes |  | 0");
  EXPECT_EQ(std::as_const(columns)[3], Column{});
  EXPECT_THAT(lastError(), StartsWith("Coding error has occured: Error: #94\r\nDescription: #"));
  EXPECT_THAT(lastError(), EndsWith(trapLine(kind.name)));

  on("Nullables") = False;
  EXPECT_EQ(run(), 3);
  answer({{{4, "x"}}});
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(columns.count(), 1);
}

TEST_P(Columns, StayAsTheyWereWithoutRowsOrResult) {
  setAll(options(), True);
  columns.append(Column{});
  answer({});
  EXPECT_EQ(run(), 0);
  server.on(kind.call + "it's, x,d b o", "error 105 42000 Unclosed quote");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(lastError(), serverText(105, "42000", "Unclosed quote"));
  context.cancelled = true;
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(server.sent().size(), 2u);
  EXPECT_THAT(drawn(columns), ElementsAre("column  |  | 0 | 0 | 0 | no |  | 0"));
}

INSTANTIATE_TEST_SUITE_P(Reader, Columns, ::testing::ValuesIn(kKinds),
                         [](const auto& info) { return info.param.name.substr(8); });

class TableDetails : public ProcedureTest {};

TEST_F(TableDetails, ADefaultIsItsFirstRowWithoutTheWord) {
  const struct {
    const char *answer, *text, *error;
  } cases[] = {
      {"text\n 'DEFAULT 0'", "0", ""},
      {"text\n 'default 0'", "default 0", ""},
      {"text\n 'DEFAULT  ''DEFAULT x'' DEFAULT'\n 'second'", " 'x' DEFAULT", ""},
      {"text", "", ""},
      {"error 207 42S22 Bad", "", ""},
  };
  for (const auto& one : cases) {
    ScriptedConnection fresh;
    context.conn = &fresh;
    fresh.on(statement("column_default", "t", "o", "c"), one.answer);
    EXPECT_EQ(toUtf8(RetrieveColumnDefault(context, u"o", u"t", u"c")), one.text);
  }
  ScriptedConnection failing;
  failing.on(statement("column_default", "t", "o", "c"), cases[0].answer);
  failing.failAt(1, ScriptedConnection::Fault::read);
  context.conn = &failing;
  EXPECT_EQ(RetrieveColumnDefault(context, u"o", u"t", u"c"), u"");
  EXPECT_EQ(lastError(), serverText(9999, "HY000", "Injected") + trapLine("RetrieveColumnDefault"));
}

// ---- primary keys

const std::string kPrimary = "TableName|index_name|KeySeq|ColName";

TEST_F(TableDetails, APrimaryKeyIsFoldedIntoOneRecord) {
  const struct {
    const char* indid;
    bool attributes, names;
    const char* expected;
  } cases[] = {
      {"indid\n1\n2", true, true, "primary pk | b, a, ,d | Clustered"},
      {"indid\n2", true, true, "primary pk | b, a, ,d | Non Clustered"},
      {"indid\nnull", true, true, "primary pk | b, a, ,d | Non Clustered"},
      {"indid", true, true, "primary pk | b, a, ,d | "},
      {"indid\n1", true, false, "primary  | b, a, ,d | Clustered"},
      {nullptr, false, true, "primary pk | b, a, ,d | "},
      {nullptr, false, false, "primary  | b, a, ,d | "},
  };
  for (const auto& one : cases) {
    ScriptedConnection fresh;
    context.conn = &fresh;
    fresh.on(statement("primary_keys", "orders", "dbo"),
             kPrimary + "\n orders|pk|1|b\n orders|other|2|a\n orders|pk|3|null\n orders|pk|4|d");
    if (one.indid) fresh.on(statement("clustering", "pk"), one.indid);
    options().Tables_PrimaryKeys_Attributes = one.attributes;
    options().Tables_PrimaryKeys_Names = one.names;
    Table read = table();
    EXPECT_EQ(PopulateTablePrimaryKeys(context, read), one.indid ? 1 : 0);
    std::string expected = one.expected;
    expected.replace(expected.find(", ,d"), 4, ", , d");
    EXPECT_THAT(drawn(read), ElementsAre(expected));
    EXPECT_THAT(fresh.unused(), IsEmpty());
  }
}

TEST_F(TableDetails, NoPrimaryKeyLeavesTheRecordAndAFailingAttributeQueryFails) {
  setAll(options(), True);
  options().Tables_PrimaryKeys_Names = False;
  Table read = table();
  read.PrimaryKey = {PrimaryKey{u"kept", u"a", u""}};
  const std::string batch = statement("primary_keys", "orders", "dbo");
  server.on(batch, kPrimary).on(batch, "error 1 S1000 x").on(batch, kPrimary + "\n o|pk|1|a");
  for (int times = 0; times < 2; ++times) EXPECT_EQ(PopulateTablePrimaryKeys(context, read), 0);
  EXPECT_EQ(server.sent().size(), 2u);
  EXPECT_THAT(drawn(read), ElementsAre("primary kept | a | "));

  server.on(statement("clustering", "pk"), "error 208 S0002 No sysindexes");
  EXPECT_EQ(PopulateTablePrimaryKeys(context, read), -1);
  EXPECT_EQ(lastError(),
            serverText(208, "S0002", "No sysindexes") + trapLine("PopulateTablePrimaryKeys"));
  EXPECT_THAT(drawn(read), ElementsAre("primary pk | a | "));  // the name is not cleared any more

  server.onSent = [&](const std::string&) { context.cancelled = true; };
  EXPECT_EQ(PopulateTablePrimaryKeys(context, read), -1);
  EXPECT_THAT(lastError(), StartsWith("Coding error has occured: Error: #"));
  EXPECT_THAT(lastError(), EndsWith(trapLine("PopulateTablePrimaryKeys")));
}

// ---- foreign keys

// Rows of the foreign-key batch, each drawn as `constraint column table column sequence key`.
std::string foreignRows(const Lines& rows) {
  std::string text =
      "TableName|ColName|refdb|reftable|RefColName|id|constrid|KeySeq|FK_NAME|refPkName";
  for (const std::string& row : rows) {
    std::istringstream words(row);
    std::string name, column, table, referenced, sequence, key;
    words >> name >> column >> table >> referenced >> sequence >> key;
    text += "\nx|" + column + "|x|" + table + "|" + referenced + "|9|9|" + sequence + "|" + name +
            "|" + key;
  }
  return text;
}

TEST_F(TableDetails, ForeignKeysAreFoldedAndTheFirstOnesMarked) {
  const struct {
    Lines rows, expected;
  } cases[] = {
      {{"K1 a t x 1 pk", "K1 b t y 2 null", "K2 c u z 1 ''"},
       {"foreign K1 | a,b | 1 | t | x,y | pk", "foreign K2 | c | 1 | u | z | "}},
      {{"K1 x t i 1 pk", "K2 a t i 1 pk", "K3 a t i 1 pk"},
       {"foreign K1 | x (K1) | 1 | t | i | pk", "foreign K2 | a (K2) | 1 | t | i | pk",
        "foreign K3 | a | 1 | t | i | pk"}},
      {{"K1 a t i 1 pk", "K2 a u i 1 pk"},
       {"foreign K1 | a (K1) | 1 | t | i | pk", "foreign K2 | a (K2) | 1 | u | i | pk"}},
      // One constraint apart from itself, names that differ by case, column lists that do, and
      // nulls.
      {{"K a t i 7 pk", "k A t i null null", "K b u j 8 x"},
       {"foreign K | a,b | 7 | t | i,j | pk", "foreign k | A | 0 | t | i | "}},
      // Three alike and two alike: five entries.
      {{"A p t i 1 x", "B q t i 1 x", "C p t i 1 x", "D q t i 1 x", "E p t i 1 x", "F r t i 1 x"},
       {"foreign A | p (A) | 1 | t | i | x", "foreign B | q (B) | 1 | t | i | x",
        "foreign C | p (C) | 1 | t | i | x", "foreign D | q (D) | 1 | t | i | x",
        "foreign E | p (E) | 1 | t | i | x", "foreign F | r | 1 | t | i | x"}},
  };
  options().Tables_ForeignKeys_PKRefs = options().Tables_ForeignKeys_Names = True;
  for (const auto& one : cases) {
    ScriptedConnection fresh;
    context.conn = &fresh;
    fresh.on(statement("foreign_keys", "orders", "dbo"), foreignRows(one.rows));
    Table read = table();
    EXPECT_EQ(PopulateTableForeignKeys(context, read), static_cast<int>(one.rows.size()));
    EXPECT_EQ(drawn(read), one.expected);
  }
}

TEST_F(TableDetails, ForeignKeySwitchesAndFailures) {
  const std::string batch = statement("foreign_keys", "orders", "dbo");
  server.on(batch, foreignRows({"K1 a t i 1 pk", "K2 a t i 1 pk"}))
      .on(batch, foreignRows({"K1 a t i 1 pk", "K2 a t i 1 pk", "K3 c t i number pk"}))
      .on(batch, "error 1 S1000 x");
  options().Tables_ForeignKeys_PKRefs = True;
  Table read = table();
  EXPECT_EQ(PopulateTableForeignKeys(context, read), 2);
  EXPECT_THAT(drawn(read), ElementsAre("foreign  | a (K1) | 1 | t | i | pk",
                                       "foreign  | a (K2) | 1 | t | i | pk"));
  options().Tables_ForeignKeys_PKRefs = False;
  Table failed = table();
  EXPECT_EQ(PopulateTableForeignKeys(context, failed), -1);
  EXPECT_THAT(lastError(), EndsWith(trapLine("PopulateTableForeignKeys")));
  EXPECT_THAT(drawn(failed),
              ElementsAre("foreign K1 | a | 1 | t | i | ", "foreign K2 | a | 1 | t | i | ",
                          "foreign K3 | c | 0 |  |  | "));
  Table refused = table();
  EXPECT_EQ(PopulateTableForeignKeys(context, refused), 0);
  EXPECT_EQ(refused, table());
}

// ---- indexes

TEST_F(TableDetails, IndexesLeaveOutThePrimaryKeyAndMarkTheFirstOnes) {
  const std::string header = "index_name|index_description|index_keys\n";
  const struct {
    std::u16string primaryKey;
    std::string rows;
    Lines expected;
  } cases[] = {
      {u"pk1", "pk1|d|a\n ix1|d|' b'", {"index ix1 |  b | d"}},
      {u" pk1 ", "'pk1  '|d|a\n PK1|d|a", {"index PK1 | a | d"}},
      {u"", "pk1|d|a\n ' ix '|null|null", {"index pk1 | a | d", "index  ix  |  | "}},
      {u"",
       "i1|d|a\n i2|d|b\n i3|d|b",
       {"index i1 | a (i1) | d", "index i2 | b (i2) | d", "index i3 | b | d"}},
      {u"i1", "i1|d|a\n i2|d|b\n i3|d|B", {"index i2 | b | d", "index i3 | B | d"}},
      {u"pk1", "pk1|d|a", {}},
  };
  options().Tables_Indexes_Names = options().Tables_Indexes_Descriptions = True;
  for (const auto& one : cases) {
    ScriptedConnection fresh;
    context.conn = &fresh;
    fresh.on("exec sp_helpindex 'dbo.o'r'", header + one.rows);
    Table read = table(u"o'r");
    if (!one.primaryKey.empty()) read.PrimaryKey = {PrimaryKey{one.primaryKey, u"", u""}};
    EXPECT_EQ(PopulateIndexes(context, read), static_cast<int>(one.expected.size()));
    read.PrimaryKey.clear();
    EXPECT_EQ(drawn(read), one.expected);
  }
}

TEST_F(TableDetails, IndexSwitchesAndFailures) {
  const std::string call = "exec sp_helpindex 'dbo.orders'";
  const std::string header = "index_name|index_description|index_keys\n";
  server.on(call, header + "i|d|a\n j|d|a").on(call, "closed").on(call, "error 1 S1000 x");
  server.on(call, header + "i|d|a\n j|d|a\n null|d|c");
  Table read = table();
  EXPECT_EQ(PopulateIndexes(context, read), 2);
  EXPECT_THAT(drawn(read), ElementsAre("index  | a (i) | ", "index  | a (j) | "));
  const Table before = read;
  EXPECT_EQ(PopulateIndexes(context, read), 0);
  EXPECT_EQ(lastError(), "");
  EXPECT_EQ(PopulateIndexes(context, read), 0);
  EXPECT_EQ(lastError(), serverText(1, "S1000", "x"));
  EXPECT_EQ(read, before);
  Table failed = table();
  EXPECT_EQ(PopulateIndexes(context, failed), -1);
  EXPECT_THAT(lastError(), EndsWith(trapLine("PopulateIndexes")));
  EXPECT_THAT(drawn(failed), ElementsAre("index i | a | ", "index j | a | ", "index  | c | "));
}

// The array grows before the row is read, so that an unreadable row leaves an element behind. The
// name of the primary key's index is needed before.
TEST_F(TableDetails, AnIndexThatCannotBeReadLeavesAnElement) {
  const std::string call = "exec sp_helpindex 'dbo.orders'";
  const std::string rows = "index_name|index_description|index_keys\ni|d|a";
  server.on(call, rows);
  for (const bool hasKey : {false, true}) {
    Table failed = table();
    if (hasKey) failed.PrimaryKey = {PrimaryKey{u"pk", u"", u""}};
    server.failAt(1, ScriptedConnection::Fault::read);
    EXPECT_EQ(PopulateIndexes(context, failed), -1);
    EXPECT_EQ(failed.Indexes.count(), hasKey ? 0 : 1);
  }
}

// ---- triggers and row count

TEST_F(TableDetails, TriggersHaveTheirRolesAndTheTablesOwner) {
  const std::string batch = statement("triggers", "orders", "dbo");
  const std::string header = "TrigName|CreateDate|IsUpdate|IsDelete|IsInsert\n";
  server.on(batch, header + "t1|null|true|false|true\n t2|null|0|1|0\n t3|null|0|0|1");
  server.on("exec sp_helptext 'dbo.t1'", "n\n1\n---\ntext\n'one'");
  server.on("exec sp_helptext 'dbo.t2'", "closed");
  server.on("exec sp_helptext 'dbo.t3'", "n\n1\nerror 3 S1000 broken");
  Table read = table();
  EXPECT_EQ(PopulateTableTriggers(context, read), 3);
  EXPECT_THAT(drawn(read),
              ElementsAre("trigger t1 | one | no | yes | yes", "trigger t2 |  | yes | no | no",
                          "trigger t3 |  | no | no | yes"));
  EXPECT_EQ(lastError(), serverText(3, "S1000", "broken") + trapLine("GetEntityDefinition"));

  server.on(batch, header).on(batch, "closed").on(batch, header + "t1|null|1|0|null");
  const Table before = read;
  for (int times = 0; times < 2; ++times) EXPECT_EQ(PopulateTableTriggers(context, read), 0);
  EXPECT_EQ(read, before);
  EXPECT_EQ(PopulateTableTriggers(context, read), -1);
  EXPECT_THAT(lastError(), EndsWith(trapLine("PopulateTableTriggers")));
  EXPECT_EQ(read.Triggers.count(), 1);
}

TEST_F(TableDetails, CountsRows) {
  const std::string query = "select count(*) from dbo.orders";
  server.on(query, "-\n2147483647").on(query, "-\n0").on(query, "-\nnull").on(query, "closed");
  server.on(query, "-\n2147483648").on(query, "error 208 S0002 gone");
  Table read = table();
  EXPECT_EQ(PopulateTableRowCount(context, read), 1);
  EXPECT_EQ(read.Miscallaneous, (Misc{2147483647, 0}));
  for (int times = 0; times < 2; ++times) {
    EXPECT_EQ(PopulateTableRowCount(context, read), 1);
    EXPECT_EQ(read.Miscallaneous, Misc{});
  }
  EXPECT_EQ(PopulateTableRowCount(context, read), 0);
  EXPECT_EQ(lastError(), "");
  EXPECT_EQ(PopulateTableRowCount(context, read), -1);
  EXPECT_THAT(lastError(), EndsWith(trapLine("PopulateTableRowCount")));
  EXPECT_EQ(PopulateTableRowCount(context, read), 0);
  EXPECT_EQ(lastError(), serverText(208, "S0002", "gone"));
}

// A message that the server left pending hides the run-time error behind it.
TEST_F(TableDetails, PendingMessagesComeBeforeTheRunTimeError) {
  server.on("exec sp_helpindex 'dbo.orders'", R"(
      index_name | index_description | index_keys
      null       | x                 | a
      message 5701 01000 Changed database
      message 5703 01000 Changed language)");
  Table read = table();
  EXPECT_EQ(PopulateIndexes(context, read), -1);
  EXPECT_EQ(lastError(), serverText(5701, "01000", "Changed database") +
                             serverText(5703, "01000", "Changed language") +
                             trapLine("PopulateIndexes"));
}

}  // namespace
}  // namespace kelvane::testing
