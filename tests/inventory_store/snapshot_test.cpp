// A snapshot gives back what was written, and refuses everything else with a place.

#include "inventory/store/snapshot.h"

#include <gtest/gtest.h>
#include <sstream>

#include "inventory/attributes.h"
#include "tests/inventory/mutations.h"

namespace kelvane::inventory {
namespace {

std::string written(const Snapshot& snapshot) {
  std::ostringstream out;
  writeSnapshot(snapshot, out);
  return out.str();
}

/// Gives every attribute of the record another value than that of a new one, and one of each part.
template <class Record>
void fill(Record& record) {
  forEachAttribute<Record>([&](const auto& one) { mutate(record.*one.member); });
  forEachParts<Record>([&](const auto& parts) {
    auto& items = record.*parts.member;
    items.emplace_back();
    fill(items.emplace_back());
  });
}

Snapshot full() {
  Snapshot snapshot;
  Database& database = snapshot.database;
  fill(database.settings);
  forEachObjects([&](const auto& objects) { fill((database.*objects.member).emplace_back()); });
  database.server = {"Adaptive Server/16.0", "shop", "anna", "utf8", "nocase", true, 2048, 4, true};
  database.gaps = {{"permissions", "denied"}};
  snapshot.taken = "2026-01-02";
  return snapshot;
}

TEST(Snapshot, GivesBackWhatWasWritten) {
  const Snapshot snapshot = full();
  EXPECT_EQ(readSnapshot(written(snapshot)), snapshot);
  EXPECT_EQ(readSnapshot(written({})), Snapshot{});
}

TEST(Snapshot, GivesBackEveryText) {
  for (const std::string& text :
       std::vector<std::string>{"one\ntwo", "one\r\n", "\n\n", "\"\\\t", "gr\xc3\xbc\xc3\x9f",
                                "broken \xff\xfe", std::string("a\0b", 3)}) {
    Snapshot snapshot;
    snapshot.database.views.emplace_back().definition = {text, Definition::State::incomplete, true};
    EXPECT_EQ(readSnapshot(written(snapshot)), snapshot) << text;
  }
}

TEST(Snapshot, LooksLikeThis) {
  Snapshot snapshot;
  Table& table = snapshot.database.tables.emplace_back();
  table.name = {"dbo", "customer"};
  table.columns.resize(1);
  table.columns[0].name = "name";
  table.columns[0].type = {{{}, "varchar", 20, {}, {}}, true, false};
  table.checks.push_back({{"c", true}, {"check (a > 0\n)"}, {}});
  EXPECT_EQ(written(snapshot), R"json({
  "kelvane snapshot": 2,
  "server": {},
  "database": {},
  "tables": [
    {
      "name": {
        "owner": "dbo",
        "name": "customer"
      },
      "columns": [
        {
          "name": "name",
          "type": {
            "type": {
              "name": "varchar",
              "length": 20
            },
            "null": true
          }
        }
      ],
      "checks": [
        {
          "name": {
            "name": "c",
            "generated": true
          },
          "condition": {
            "text": [
              "check (a > 0\n",
              ")"
            ]
          }
        }
      ]
    }
  ]
}
)json");
}

TEST(Snapshot, RefusesWhatItDoesNotWrite) {
  const std::string head = R"({"kelvane snapshot": 2, )";
  const std::pair<std::string, std::string> cases[] = {
      {"", "line 1: the file ends too early"},
      {"{", "line 1: the file ends too early"},
      {"{\n]}", "line 2: is not valid JSON"},
      {"[]", "is not a snapshot: it does not begin with \"kelvane snapshot\""},
      {"7", "is not a snapshot: it does not begin with \"kelvane snapshot\""},
      {"{}", "is not a snapshot: it is empty"},
      {R"({"tables": [], "kelvane snapshot": 2})",
       "is not a snapshot: it does not begin with \"kelvane snapshot\""},
      {R"({"kelvane snapshot": 1, "schema": {}})",
       "is a snapshot of format 1, which holds less than is compared now; take it again"},
      {R"({"kelvane snapshot": 3})",
       "is a snapshot of format 3, but this version reads only format 2; use the version that "
       "wrote it, or a later one"},
      {R"({"kelvane snapshot": 0})", "is a snapshot of format 0, which does not exist"},
      {R"({"kelvane snapshot": "2"})", "kelvane snapshot: is not a whole number in range"},
      {head + R"("things": 1})", "has the member \"things\", which is not known"},
      {head + R"("tables": 1})", "tables: is not an array"},
      {head + R"("tables": {}})", "tables: is not an array"},
      {head + R"("tables": [1]})", "tables[1]: is not an object"},
      {head + R"("tables": [{}, {"nme": 1}]})",
       "tables[2]: has the member \"nme\", which is not known"},
      {head + R"("tables": [{"lock": "a", "lock": "b"}]})",
       "tables[1]: has the member \"lock\" twice"},
      {head + R"("tables": [{"columns": [{"name": 1}]}]})",
       "tables[1].columns[1].name: is not a string"},
      {head + R"("tables": [{"fillfactor": 4294967296}]})",
       "tables[1].fillfactor: is not a whole number in range"},
      {head + R"("tables": [{"fillfactor": 1e999}]})", "contains a number that is out of range"},
      {head + R"("tables": [{"replicated": 1}]})",
       "tables[1].replicated: is neither true nor false"},
      {head + R"("views": [{"definition": {"state": "odd"}}]})",
       "views[1].definition.state: is no state of a definition"},
      {head + R"("views": [{"definition": {"text": {"bytes": "abc"}}}]})",
       "views[1].definition.text: does not hold bytes as hexadecimal digits"},
  };
  for (const auto& [text, complaint] : cases) {
    try {
      readSnapshot(text);
      ADD_FAILURE() << text;
    } catch (const SnapshotError& error) {
      EXPECT_EQ(error.what(), complaint) << text;
    }
  }
}

}  // namespace
}  // namespace kelvane::inventory
