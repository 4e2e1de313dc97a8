#include "tests/reader/reader_test.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>

#include "model/fields.h"

namespace kelvane::testing {
namespace {

constexpr std::string_view kVisibleBlank = "\xC2\xB7";

std::string replaced(const std::string& text, std::string_view what, std::string_view with) {
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

// All fields of a record without lists.
template <HasFields Record>
std::string line(const std::string& label, const Record& record) {
  return std::apply([&](const auto&... field) { return line(label, record.*field.value...); },
                    kFields<Record>);
}

// The flags of a record that are set.
template <HasFields Record>
std::string flags(const Record& record) {
  std::string names;
  const auto add = [&](const auto& field) {
    if constexpr (std::is_same_v<decltype(field.value), Boolean Record::*>)
      if (record.*field.value) names += ' ' + std::string(field.name);
  };
  std::apply([&](const auto&... field) { (add(field), ...); }, kFields<Record>);
  return names;
}

template <HasFields Record>
void append(Lines& lines, const std::string& label, const Array<Record>& records) {
  for (const Record& one : records) lines.push_back(line(label, one));
}

template <class Object>
void appendObject(Lines& lines, const std::string& label, const Object& object,
                  const Lines& details) {
  lines.push_back(line(label, object.FullName, object.Owner, object.Name));
  for (const std::string& one : details) lines.push_back("  " + one);
}

template <class Routine>
void appendRoutine(Lines& lines, const std::string& label, const Routine& routine) {
  appendObject(lines, label, routine, drawn(routine.Columns));
  lines.push_back("  " + line("text", routine.Definition));
}

std::vector<std::string> words(const std::string& text, char separator) {
  std::vector<std::string> result;
  std::istringstream stream(text);
  for (std::string word; std::getline(stream, word, separator);) result.push_back(word);
  return result;
}

DatabaseStatement statementOf(const std::string& line) {
  DatabaseStatement one;
  std::istringstream stream(line);
  std::string end, switches;
  stream >> one.category >> one.procedure >> end >> switches >> std::ws;
  std::getline(stream, one.text);
  if (one.procedure == "-") one.procedure.clear();
  one.endsFetch = end == "ends";
  one.switches = words(switches, ',');
  if (one.text.starts_with('$')) {
    auto parts = words(one.text.substr(1), ' ');
    parts.resize(4);
    one.text = statement(parts[0], replaced(parts[1], "~", " "), parts[2], parts[3]);
  }
  return one;
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
  append(lines, "column", columns);
  return lines;
}

Lines drawn(const Table& table) {
  Lines lines = drawn(table.Columns);
  append(lines, "primary", table.PrimaryKey);
  append(lines, "foreign", table.ForeignKey);
  append(lines, "reference", table.References);
  append(lines, "index", table.Indexes);
  append(lines, "trigger", table.Triggers);
  if (table.Miscallaneous != Misc{}) lines.push_back(line("misc", table.Miscallaneous));
  if (table.RsData) lines.push_back("data");
  return lines;
}

Lines drawn(const UDDT& type) {
  return {line("type", type.BaseType, type.Length, type.Precision, type.iScale, type.Nullable,
               type.BoundRule, type.BoundDefault)};
}

Lines drawn(const Permission& permissions) {
  Lines lines;
  if (const std::string may = flags(permissions); !may.empty()) lines.push_back("may" + may);
  for (const PermissionEntity& one : permissions.PermissionEntities)
    lines.push_back(line("on", one.EntityName, one.EntityOwner, one.Grantor) + ':' + flags(one));
  return lines;
}

Lines drawn(const Schema& schema) {
  Lines lines;
  for (const Table& one : schema.Tables) appendObject(lines, "table", one, drawn(one));
  for (const View& one : schema.Views) appendRoutine(lines, "view", one);
  for (const StoredProc& one : schema.StoredProcs) appendRoutine(lines, "procedure", one);
  for (const CodeFunction& one : schema.Functions) appendRoutine(lines, "function", one);
  for (const UDDT& one : schema.UDDTs) appendObject(lines, "uddt", one, drawn(one));
  for (const User& one : schema.Users) appendObject(lines, "user", one, drawn(one.Permissions));
  for (const Group& one : schema.Groups) {
    Lines details;
    for (const User& member : one.Users) details.push_back(line("member", member.Name));
    std::ranges::copy(drawn(one.Permissions), std::back_inserter(details));
    appendObject(lines, "group", one, details);
  }
  return lines;
}

const SmallDatabase& smallDatabase() {
  static const SmallDatabase database = [] {
    SmallDatabase result;
    std::vector<DatabaseStatement>& statements = result.statements;
    bool isRead = false;
    std::ifstream file(KELVANE_TEST_FOLDER "/small_database.txt");
    for (std::string line; std::getline(file, line);) {
      if (line.starts_with('#') && statements.empty()) continue;
      if (line.starts_with("= ")) {
        isRead = true;
      } else if (isRead) {
        result.read.push_back(replaced(line, kVisibleBlank, " "));
      } else if (line.starts_with("> ")) {
        statements.push_back(statementOf(line.substr(2)));
      } else if (!statements.empty()) {
        statements.back().answer += line + '\n';
      }
    }
    return result;
  }();
  return database;
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
  for (const DatabaseStatement& one : smallDatabase().statements) server.on(one.text, one.answer);
  setAll(*reader.CompareOptions(), True);
  setAll(*reader.AppliesTo(), True);
}

}  // namespace kelvane::testing
