// Small inventories for tests of what is made of their differences.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "inventory/records.h"

namespace kelvane::inventory::testing {

inline Column column(std::string name, std::string type, bool nullable = false) {
  Column made;
  made.name = std::move(name);
  made.type = {{{}, std::move(type), {}, {}, {}}, nullable, false};
  return made;
}

inline Table table(std::string name, std::vector<Column> columns = {}) {
  Table made;
  made.name = {"dbo", std::move(name)};
  made.columns = std::move(columns);
  return made;
}

inline View view(std::string name, std::string text) {
  View made;
  made.name = {"dbo", std::move(name)};
  made.definition.text = std::move(text);
  return made;
}

inline KeyConstraint key(GivenName name, std::string column) {
  KeyConstraint made;
  made.name = std::move(name);
  made.columns = {{std::move(column)}};
  return made;
}

// Two databases with a difference of every form that reports have.
struct MadeInventories {
  Database source, target;

  MadeInventories() {
    Table was = table("customer", {column("id", "int"), column("phone", "char"),
                                   column("fax", "char", true), column("note", "text", true)});
    was.lock = "allpages";
    was.columns[1].type.type.length = 16;
    was.keys = {key({"customer_1", true}, "id"), key({"uq_phone", false}, "phone")};
    was.keys[0].primary = was.keys[0].clustered = true;
    was.checks.push_back({{"c_7", true}, {"check (id > 0)"}, {}});
    was.permissions = {{"grant", "select", "clerks", {"id", "fax"}, true, "dbo", {}},
                       {"grant", "update", "clerks", {"id"}, false, "dbo", {}}};
    Table is = was;
    is.lock = "datarows";
    is.columns[1] = column("phone", "varchar", true);
    is.columns[1].type.type.length = 20;
    is.columns[1].defaultValue = DefaultValue{"' '", {}};
    is.columns[2] = column("birthday", "date", true);
    is.columns[3].rule = QualifiedName{"dbo", "note_rule"};
    is.keys[0].columns.push_back({"phone"});
    is.keys[1].fillFactor = 80;
    is.checks.clear();
    Index index;
    index.name = "ix";
    index.unique = true;
    index.columns = {{"phone", false, true}};
    is.indexes = {index};
    is.foreignKeys.push_back({{"c_8", true}, {"id"}, {{}, "dbo", "person"}, {"id"}, false, {}});
    is.triggers.push_back({{"dbo", "tr"}, true, false, true, false, false, {}, {"create"}});
    is.permissions = {{"grant", "update", "clerks", {}, false, "dbo", {}},
                      {"revoke", "delete", "ann", {}, false, "anna", {}}};
    source.tables = {was, table("gone", {column("a", "int")})};
    target.tables = {is, table("come", {column("a", "int")})};
    source.views = {view("big", "a\n1\n"), view("hidden", "create view")};
    target.views = {view("big", "b\n1\n"), view("hidden", "")};
    target.views[1].definition.state = Definition::State::hidden;
    source.types = {{{"dbo", "code"}, column("", "char").type, {}, {}, {}}};
    target.types = {{{"dbo", "code"}, column("", "char", true).type, {"dbo", "d"}, {}, {}},
                    {{"dbo", "amount"}, column("", "money", true).type, {}, {}, {}}};
    source.users = {{"ann", "ann", "", {}}};
    source.settings.options = {{"allow nulls by default"}};
    source.messages = {{20001, "us_english", "no such %1!"}};
    target.messages = {{20001, "us_english", "no such\t%1!"}};
  }
};

}  // namespace kelvane::inventory::testing
