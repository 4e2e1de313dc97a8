#include "tests/reader/reader_test.h"

#include <fstream>
#include <map>
#include <sstream>

namespace kelvane::testing {
namespace {

constexpr std::string_view kVisibleBlank = "\xC2\xB7";

std::string replaced(std::string text, std::string_view what, std::string_view with) {
  return toUtf8(replaceAll(toUtf16(text), toUtf16(what), toUtf16(with)));
}

std::map<std::string, Lines> readStatements() {
  std::map<std::string, Lines> sections;
  std::ifstream file(KELVANE_TEST_FOLDER "/statements.txt");
  Lines* section = nullptr;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('[') && line.ends_with(']')) {
      if (section) section->pop_back();  // the empty line between sections
      section = &sections[line.substr(1, line.size() - 2)];
    } else if (section) {
      section->push_back(replaced(line, kVisibleBlank, " "));
    }
  }
  return sections;
}

std::string text(const std::u16string& value) { return toUtf8(value); }
std::string text(std::int32_t value) { return std::to_string(value); }
std::string text(Boolean value) { return value ? "yes" : "no"; }

template <class... Fields>
std::string line(const std::string& label, const Fields&... fields) {
  std::string result = label;
  ((result += ' ' + text(fields) + " |"), ...);
  result.resize(result.size() - 2);
  return result;
}

void append(Lines& lines, const Lines& more) {
  for (const std::string& one : more) lines.push_back("  " + one);
}

template <class Routine>
void appendRoutine(Lines& lines, const std::string& label, const Routine& routine) {
  lines.push_back(line(label, routine.FullName, routine.Owner, routine.Name));
  append(lines, drawn(routine.Columns));
  lines.push_back("  " + line("text", routine.Definition));
}

}  // namespace

std::string statement(const std::string& name, const std::string& Name, const std::string& Owner,
                      const std::string& Column) {
  static const std::map<std::string, Lines> sections = readStatements();
  const auto found = sections.find(name);
  if (found == sections.end()) {
    ADD_FAILURE() << "statements.txt has no section " << name;
    return {};
  }
  std::string result;
  for (const std::string& one : found->second)
    result += found->second.size() == 1 ? one : one + "\r\n";
  return replaced(replaced(replaced(result, "{Name}", Name), "{Owner}", Owner), "{Column}", Column);
}

std::string catalogResult(int columns, const std::vector<Cells>& rows) {
  Lines cells(static_cast<std::size_t>(columns), "c");
  std::string result;
  const auto add = [&] {
    for (std::size_t at = 0; at < cells.size(); ++at) result += (at ? "|" : "") + cells[at];
    result += '\n';
  };
  add();
  for (const Cells& row : rows) {
    cells.assign(cells.size(), "null");
    for (const auto& [ordinal, cell] : row) cells.at(static_cast<std::size_t>(ordinal)) = cell;
    add();
  }
  return result;
}

Boolean& switchNamed(cComparisonOptions& options, const std::string& name) {
  for (const Switch& one : kSwitches)
    if (toUtf8(one.name) == name) return options.*one.value;
  ADD_FAILURE() << "there is no switch " << name;
  return options.Tables;
}

void setAll(cComparisonOptions& options, Boolean value) {
  for (const Switch& one : kSwitches) options.*one.value = value;
}

void setAll(cAppliesTo& scope, Boolean value) {
  scope.AllTables = scope.AllViews = scope.AllStoredProcs = scope.AllFunctions = value;
  scope.AllUDDTs = scope.AllUsers = scope.AllGroups = value;
}

Lines drawn(const Array<Column>& columns) {
  Lines lines;
  for (const Column& one : columns)
    lines.push_back(line("column", one.Name, one.DataType, one.Length, one.Precision, one.iScale,
                         one.Nullable, one.Default, one.OrdinalPosition));
  return lines;
}

Lines drawn(const Table& table) {
  Lines lines = drawn(table.Columns);
  for (const PrimaryKey& one : table.PrimaryKey)
    lines.push_back(line("primary", one.Name, one.Columns, one.Attributes));
  for (const Key& one : table.ForeignKey)
    lines.push_back(line("foreign", one.Name, one.ColumnName, one.KeySequence,
                         one.fk_ReferencesTable, one.fk_ReferencesColumn, one.fk_ReferencesPK));
  for (const Reference& one : table.References) lines.push_back(line("reference", one.Name));
  for (const index& one : table.Indexes)
    lines.push_back(line("index", one.Name, one.IndexKeys, one.IndexDescription));
  for (const Trigger& one : table.Triggers)
    lines.push_back(
        line("trigger", one.Name, one.Definition, one.Is_Delete, one.Is_Update, one.Is_Insert));
  if (table.Miscallaneous != Misc{})
    lines.push_back(line("misc", table.Miscallaneous.RowCount, table.Miscallaneous.MaxWidth));
  if (table.RsData) lines.push_back("data");
  return lines;
}

Lines drawn(const UDDT& type) {
  return {line("type", type.BaseType, type.Length, type.Precision, type.iScale, type.Nullable,
               type.BoundRule, type.BoundDefault)};
}

Lines drawn(const Permission& permissions) {
  Lines lines;
  const auto add = [](std::string& to, Boolean flag, const char* name) {
    if (flag) to += std::string(" ") + name;
  };
  std::string may = "may";
  add(may, permissions.Create_Default, "Create_Default");
  add(may, permissions.Create_Procedure, "Create_Procedure");
  add(may, permissions.Create_Rule, "Create_Rule");
  add(may, permissions.Create_Table, "Create_Table");
  add(may, permissions.Create_View, "Create_View");
  add(may, permissions.DUMP_DATABASE, "DUMP_DATABASE");
  add(may, permissions.DUMP_TRANSACTION, "DUMP_TRANSACTION");
  if (may != "may") lines.push_back(may);
  for (const PermissionEntity& one : permissions.PermissionEntities) {
    std::string entity = line("on", one.EntityName, one.EntityOwner, one.Grantor) + ':';
    add(entity, one.Insert, "Insert");
    add(entity, one.Update, "Update");
    add(entity, one.Delete, "Delete");
    add(entity, one.References, "References");
    add(entity, one.Select, "Select");
    add(entity, one.Execute, "Execute");
    add(entity, one.index, "index");
    add(entity, one.Alter, "Alter");
    add(entity, one.Control, "Control");
    lines.push_back(entity);
  }
  return lines;
}

Lines drawn(const Schema& schema) {
  Lines lines;
  for (const Table& one : schema.Tables) {
    lines.push_back(line("table", one.FullName, one.Owner, one.Name));
    append(lines, drawn(one));
  }
  for (const View& one : schema.Views) appendRoutine(lines, "view", one);
  for (const StoredProc& one : schema.StoredProcs) appendRoutine(lines, "procedure", one);
  for (const CodeFunction& one : schema.Functions) appendRoutine(lines, "function", one);
  for (const UDDT& one : schema.UDDTs) {
    lines.push_back(line("uddt", one.FullName, one.Owner, one.Name));
    append(lines, drawn(one));
  }
  for (const User& one : schema.Users) {
    lines.push_back(line("user", one.FullName, one.Owner, one.Name));
    append(lines, drawn(one.Permissions));
  }
  for (const Group& one : schema.Groups) {
    lines.push_back(line("group", one.FullName, one.Owner, one.Name));
    for (const User& member : one.Users) lines.push_back("  " + line("member", member.Name));
    append(lines, drawn(one.Permissions));
  }
  return lines;
}

const std::vector<DatabaseStatement>& smallDatabase() {
  static const auto database = [] {
    std::vector<DatabaseStatement> result;
    std::ifstream file(KELVANE_TEST_FOLDER "/small_database.txt");
    for (std::string line; std::getline(file, line);) {
      if (line.starts_with('#') && result.empty()) continue;
      if (!line.starts_with("> ")) {
        if (!result.empty()) result.back().answer += line + '\n';
        continue;
      }
      DatabaseStatement& one = result.emplace_back();
      std::istringstream words(line.substr(2));
      std::string end;
      words >> one.category >> one.procedure >> end >> std::ws;
      std::getline(words, one.text);
      if (one.procedure == "-") one.procedure.clear();
      one.endsFetch = end == "ends";
      if (!one.text.starts_with('$')) continue;
      std::istringstream parts(one.text.substr(1));
      std::string section, name, owner, column;
      parts >> section >> name >> owner >> column;
      one.text = statement(section, replaced(name, "~", " "), owner, column);
    }
    return result;
  }();
  return database;
}

Lines smallDatabaseDrawn() {
  return {
      "table dbo.orders | dbo | orders",
      "  column id | int | 4 | 10 | 0 | no | 0 | 1",
      "  primary pk_orders | id | Clustered",
      "  foreign fk_parent | parent | 1 | orders | id | pk_orders",
      "  index ix_parent |  parent | nonclustered",
      "  trigger tr_orders | create trigger  | no | yes | yes",
      "  misc 3 | 0",
      "view dbo.v_open | dbo | v_open",
      "  column id | int | 4 | 10 | 0 | no | 7 | 1",
      "  text create view ",
      "procedure dbo.p_load | dbo | p_load",
      "  column @id | int | 4 | 10 | 0 | yes | 9 | 3",
      "  text create procedure ",
      "function dbo.f_total | dbo | f_total",
      "  column @id | int | 4 | 10 | 0 | yes | 8 | 2",
      "  text create function ",
      "uddt dbo.t_money | dbo | t_money",
      "  type numeric | 9 | 18 | 2 | yes | r_money | ",
      "user NT reporter |  | NT reporter",
      "  may Create_Table",
      "  on orders | dbo | dbo: Update Select",
      "group public |  | public",
      "  member reporter",
      "  may Create_Table",
      "  on orders | dbo | dbo: Update Select",
  };
}

std::string serverText(int number, const std::string& state, const std::string& text) {
  const std::string digits = std::to_string(number);
  return "Error: #-" + digits + "\r\nDescription: " + text + "\r\nNative Error: #" + digits +
         "\r\nSource:Scripted\r\nSQL State:" + state + "\r\n\r\n";
}

std::string trapLine(const std::string& procedure) {
  return "\r\nError occured in cMSSQLDB_Fetch." + procedure;
}

void ReaderTest::scriptSmallDatabase() {
  for (const DatabaseStatement& one : smallDatabase()) server.on(one.text, one.answer);
  setAll(*reader.CompareOptions(), True);
  setAll(*reader.AppliesTo(), True);
}

}  // namespace kelvane::testing
