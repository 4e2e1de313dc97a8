// Reading everything back gives what was declared: random schemas are made as records and as a
// script; the script is loaded, read and compared with the records.
#include "generated_schema.h"

#include <gtest/gtest.h>
#include <sstream>

#include "cli/sides/side_reader.h"
#include "drivers/embedded/script.h"
#include "model/attributes.h"
#include "model/text.h"
#include "tests/compare/support.h"

namespace kelvane::cli {
namespace {

using Text = std::u16string;

void change(Text& value) { value += u"x"; }
void change(std::int32_t& value) { ++value; }
void change(std::int16_t& value) { ++value; }
void change(Boolean& value) { value = !value; }

// Changes every attribute of every record, one at a time, while `check` looks.
template <class Check>
void changeEverything(Schema& schema, const Check& check) {
  using namespace attributes;
  const auto each = [&](auto& records, const auto& attributes) {
    for (auto& record : records) {
      const auto one = [&](const auto& attribute) {
        auto& value = record.*attribute.value;
        const auto before = value;
        change(value);
        check(toUtf8(attribute.label));
        value = before;
      };
      std::apply([&](const auto&... all) { (one(all), ...); }, attributes);
    }
  };
  const auto definition = [](auto member) { return std::tuple{Attribute{u"Definition", member}}; };
  for (Table& table : schema.Tables) {
    each(table.Columns, kColumn);
    each(table.PrimaryKey, kPrimaryKey);
    each(table.ForeignKey, kForeignKey);
    each(table.Indexes, kIndex);
    each(table.Triggers, kTriggerProperties);
    each(table.Triggers, definition(&Trigger::Definition));
    ++table.Miscallaneous.RowCount;
    check("Row Count");
    --table.Miscallaneous.RowCount;
  }
  for (View& view : schema.Views) each(view.Columns, kViewColumn);
  each(schema.Views, definition(&View::Definition));
  for (StoredProc& procedure : schema.StoredProcs) each(procedure.Columns, kColumn);
  each(schema.StoredProcs, definition(&StoredProc::Definition));
  each(schema.UDDTs, kUserType);
  for (User& user : schema.Users) each(user.Permissions.PermissionEntities, kObjectPermission);
  for (Group& group : schema.Groups) each(group.Permissions.PermissionEntities, kObjectPermission);
}

TEST(GeneratedSchema, IsReadAsItWasDeclared) {
  for (unsigned seed = 1; seed <= 25 && !HasFailure(); ++seed) {
    GeneratedSchema made = generatedSchema(seed);
    embedded::EmbeddedCatalog catalog;
    const auto loaded = embedded::loadScript(catalog, "seed " + std::to_string(seed), made.script);
    for (const auto& error : loaded.errors) ADD_FAILURE() << error.describe();
    std::ostringstream progress;
    const auto connection = catalog.connect();
    const Console console{progress, progress};
    StatusLine line(console);
    const SideReading read = readSide(*connection, "side", test::allOptions(), line, {});
    ASSERT_TRUE(read.gaps.empty()) << read.gaps.front();
    const std::vector<std::string> none;
    ASSERT_EQ(test::linesOf(made.declared, read.schema), none) << made.script;
    ASSERT_EQ(test::linesOf(read.schema, made.declared), none) << made.script;
    changeEverything(made.declared, [&](const std::string& what) {
      EXPECT_EQ(test::linesOf(made.declared, read.schema).size(), 1) << what;
    });
  }
}

}  // namespace
}  // namespace kelvane::cli
