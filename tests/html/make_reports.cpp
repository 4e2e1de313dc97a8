// Writes the reports that the browser is to open into the folder that it is given.
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

#include "change_script/plan.h"
#include "inventory/compare/compare.h"
#include "model/text.h"
#include "report/change_report.h"
#include "report/html_page.h"
#include "report/html_report.h"
#include "tests/support/made_inventory.h"

namespace kelvane {
namespace {

typeDiff differing(std::u16string label, std::u16string before, std::u16string after) {
  return {std::move(label),
          location_Source,
          diff_Different,
          std::move(before),
          std::move(after),
          std::u16string(),
          {}};
}

typeDiff onlyIn(enumLocation side) { return {u"", side, diff_DoesNotExist, u"", u"", u"", u""}; }

diffEntity entity(std::u16string name, const Array<typeDiff>& differences) {
  return {std::move(name), differences, differences.count()};
}

template <class Object>
Object object(const std::u16string& owner, const std::u16string& name,
              const Array<typeDiff>& differences = {}) {
  Object result;
  result.Name = name;
  result.Owner = owner;
  result.FullName = owner + u"." + name;
  result.Diff = differences;
  return result;
}

std::u16string procedure(std::u16string_view parameter, std::u16string_view end) {
  std::u16string text = u"create procedure raise " + std::u16string(parameter) + u" as\n";
  for (int line = 2; line < 30; ++line) text += u"  print '" + decimalText(line) + u"'\n";
  return text + std::u16string(end);
}

diffSchema everything() {
  diffSchema all;
  auto table = object<diffTable>(u"dbo", u"customer", {differing(u"Row Count", u"3", u"4")});
  table.Columns = {entity(u"email", {differing(u"Length", u"60", u"120")}),
                   entity(u"fax", {onlyIn(location_Source)})};
  table.Indexes = {entity(u" country, name", {onlyIn(location_target)})};
  table.Triggers = {entity(u"tr_new", {differing(u"On Insert", u"create trigger", u"False")})};
  all.Tables = {table, object<diffTable>(u"dbo", u"gift", {onlyIn(location_Source)}),
                object<diffTable>(u"ann", u"wish", {onlyIn(location_target)})};
  all.StoredProcs = {
      object<diffStoredProc>(u"dbo", u"raise",
                             {differing(u"Definition", procedure(u"@percent int", u"go\n"),
                                        procedure(u"@percent numeric(5,2)", u"select 1\ngo"))}),
      object<diffStoredProc>(
          u"dbo", u"blanks",
          {differing(u"Definition", u"if 1 = 1\n\tprint 'a'\n", u"if 1 = 1\n    print 'a'\r\n")}),
      object<diffStoredProc>(u"dbo", u"letters",
                             {differing(u"Definition", u"print 'pay'\n", u"print 'p\u0430y'\n")})};
  all.UDDTs = {object<diffUDDT>(u"dbo", u"amount", {differing(u"Bound Rule", u"", u" ")})};
  return all;
}

const std::u16string kHostile[] = {
    u"</script><img src=x onerror=alert(1)>",
    u"</script /",
    u"<!--<script>",
    u"'\"`&lt;&#60;\\",
    u"two\nlines\ttab\r",
    u"\u202Eright\u05D0\u05D1 to left",
    u"line\u2028separator\u2029",
    u"half \xD800 pair \xDC00.",
    std::u16string(u"nul\0end", 7),
    std::u16string(255, u'W'),
};

diffSchema hostile() {
  diffSchema all;
  for (const std::u16string& text : kHostile) {
    auto table = object<diffTable>(text, text, {differing(text, text, text + u"x")});
    table.Columns = {entity(text, {onlyIn(location_Source)}),
                     entity(text + u"1", {differing(u"Default", text + u"\n", u"a\n" + text)})};
    all.Tables.append(table);
  }
  return all;
}

diffSchema many() {
  diffSchema all;
  for (int number = 1; number <= 10'000; ++number) {
    auto table = object<diffTable>(u"dbo", u"table_" + decimalText(number));
    for (const char16_t* column : {u"a", u"b", u"c"})
      table.Columns.append(entity(column, {differing(u"Length", u"10", decimalText(number))}));
    all.Tables.append(table);
  }
  all.Views = {object<diffView>(u"dbo", u"last", {onlyIn(location_target)})};
  return all;
}

inventory::Database hostileInventory() {
  inventory::Database database;
  for (const std::u16string& text : kHostile) {
    const std::string utf8 = toUtf8(text);
    inventory::Table table =
        inventory::testing::table(utf8, {inventory::testing::column(utf8, utf8)});
    table.checks.push_back({{"c", true}, {utf8}, {}});
    table.permissions.push_back({"grant", "select", utf8, {utf8}, false, utf8, {}});
    database.tables.push_back(table);
    database.views.push_back(inventory::testing::view(utf8, utf8));
  }
  return database;
}

// A table that gets a column in each of `count` steps.
inventory::Database widened(std::size_t count, bool isWide) {
  inventory::Database database;
  for (std::size_t number = 0; number < count; ++number) {
    inventory::Table table = inventory::testing::table("t" + std::to_string(number),
                                                       {inventory::testing::column("a", "int")});
    if (isWide) table.columns.push_back(inventory::testing::column("b", "int", true));
    database.tables.push_back(table);
  }
  return database;
}

}  // namespace
}  // namespace kelvane

int main(int count, char** arguments) {
  using namespace kelvane;
  if (count != 2) {
    std::cerr << "usage: html_reports FOLDER\n";
    return 2;
  }
  const auto write = [&](const std::string& name, const auto& differences,
                         const ReportHeader& header) {
    std::ofstream out(std::string(arguments[1]) + "/" + name + ".html", std::ios::binary);
    writeHtmlReport(differences, header, out);
    if (!out.flush()) std::exit(1);
  };
  ReportHeader complete{"here", "there", "1.2.3", {"Tables", "Views"}};
  complete.renames = {{"table", u"dbo.gift", u"ann.wish", 90}};
  ReportHeader partial = complete;
  partial.gaps = {"source: no permission on <b>stock</b>", "target: lost"};
  ReportHeader odd = complete;
  odd.source = "</script><script>alert(1)</script>";
  write("everything", everything(), complete);
  write("hostile", hostile(), odd);
  write("many", many(), complete);
  write("partial", everything(), partial);
  write("partial-empty", diffSchema(), partial);
  write("empty", diffSchema(), complete);
  const inventory::testing::MadeInventories made;
  ReportHeader guessed = complete;
  guessed.renames = {{"table", u"dbo.gone", u"dbo.come", 90}};
  write("changes", compare(made.source, made.target), guessed);
  const inventory::Database hostileOnes = hostileInventory();
  inventory::Database changed = hostileOnes;
  for (inventory::Table& table : changed.tables) table.columns[0].type.nullable = true;
  for (inventory::View& view : changed.views) view.name.name += "x";
  write("hostile-changes", compare(hostileOnes, changed), odd);

  // A table of rows has facts, and what is equal is named.
  {
    std::ofstream out(std::string(arguments[1]) + "/rows.html", std::ios::binary);
    const auto tables = [](report::PageData& data) {
      data.writeKind("table", "tables", [&json = data.json()] {
        json.beginObject();
        json.member("name", "t");
        json.member("owner", "dbo");
        json.member("count", 2);
        json.member("facts", std::vector<std::string>{"1 equal, 2 changed", "<i>key</i>"});
        for (const char* list : {"diffs", "parts"}) {
          json.key(list);
          json.beginArray();
          json.endArray();
        }
        json.endObject();
      });
    };
    const auto equal = [](report::PageData& data) {
      data.json().member("equal", std::vector<std::string>{"a: 1 equal", "<b>: 2 equal"});
    };
    report::writePage(complete, {}, {tables, equal}, out);
    if (!out.flush()) std::exit(1);
  }

  const auto writeScripted = [&](const std::string& name, const inventory::Database& source,
                                 const inventory::Database& target, const ReportHeader& header) {
    change_script::PlanOptions options;
    options.allowed.add(change_script::Danger::dropObject);
    const auto changes = compare(source, target);
    const change_script::ChangeScript script = plan(source, target, changes, options);
    const ShownScript shown{script,
                            {"makes " + header.target + " like " + header.source, "not proved"}};
    std::ofstream out(std::string(arguments[1]) + "/" + name + ".html", std::ios::binary);
    writeHtmlReport(changes, header, out, &shown);
    if (!out.flush()) std::exit(1);
  };
  writeScripted("script", made.source, made.target, complete);
  writeScripted("hostile-script", changed, hostileOnes, odd);
  writeScripted("hostile-script-back", hostileOnes, changed, odd);
  writeScripted("long-script", widened(10'000, true), widened(10'000, false), complete);
  writeScripted("script-without-steps", made.source, made.source, complete);
}
