#include "cli/switch_arguments.h"

#include <algorithm>
#include <array>
#include <iomanip>
#include <string>
#include <string_view>

#include "model/text.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kIgnoreNames = "--ignore-names", kNoPermissions = "--no-permissions",
                           kSet = "--set";

constexpr auto kOptions = std::to_array<Option>({
    {kIgnoreNames, "", "leave out the names of keys and indexes"},
    {kNoPermissions, "", "leave out permissions"},
    {kSet, kSetting, "leave this out; kelvane switches lists them"},
});

using Switches = cComparisonOptions;

constexpr std::array kPermissionSwitches{
    &Switches::Users_ObjectPermissions, &Switches::Users_SystemPermissions,
    &Switches::Groups_ObjectPermissions, &Switches::Groups_SystemPermissions};
constexpr std::array kNameSwitches{&Switches::Tables_PrimaryKeys_Names,
                                   &Switches::Tables_ForeignKeys_Names,
                                   &Switches::Tables_Indexes_Names};

// The words of a switch's name, and what they say.
struct Meaning {
  std::string_view word, says;
};
constexpr auto kKinds = std::to_array<Meaning>({
    {"Tables", "tables"},
    {"Views", "views"},
    {"StoredProcs", "stored procedures"},
    {"Users", "users"},
    {"Groups", "groups"},
    {"UDDTs", "user-defined types"},
    {"Functions", "functions"},
});
constexpr auto kParts = std::to_array<Meaning>({
    {"Columns", "columns (of procedures and functions: parameters)"},
    {"Columns_DataTypes", "data types of columns or parameters"},
    {"Columns_Defaults", "defaults of columns or parameters"},
    {"Columns_Scales", "scales of columns or parameters"},
    {"Columns_Lengths", "lengths of columns or parameters"},
    {"Columns_Nullables", "whether columns or parameters take null"},
    {"Columns_OrdinalPositions", "positions of columns or parameters"},
    {"Columns_Precisions", "precisions of columns or parameters"},
    {"References", "has no effect: nothing fills the tables that refer to a table"},
    {"Indexes", "indexes"},
    {"Indexes_Names", "names of indexes"},
    {"Indexes_Descriptions", "descriptions of indexes (clustered, unique, ...)"},
    {"Triggers", "triggers"},
    {"RowCount", "numbers of rows"},
    {"MaxWidth", "widths of rows, which are never read and always 0"},
    {"Data", "has no effect: data is compared by a command of its own"},
    {"PrimaryKeys", "primary keys"},
    {"PrimaryKeys_Names", "names of primary keys"},
    {"PrimaryKeys_Attributes", "whether primary keys are clustered"},
    {"ForeignKeys", "foreign keys"},
    {"ForeignKeys_Names", "names of foreign keys"},
    {"ForeignKeys_PKRefs", "primary keys that foreign keys refer to"},
    {"Definition", "definitions (of types: their attributes)"},
    {"Users", "members"},
    {"ObjectPermissions", "permissions on objects"},
    {"SystemPermissions", "permissions to create objects"},
});

template <std::size_t size>
constexpr const Meaning* find(const std::array<Meaning, size>& meanings, std::u16string_view word) {
  const auto found = std::ranges::find_if(
      meanings, [&](const Meaning& one) { return std::ranges::equal(one.word, word); });
  return found == meanings.end() ? nullptr : &*found;
}

// What the name of a switch says; null where a word of it is not known.
struct Description {
  const Meaning* kind;
  const Meaning* part;  // null for a whole kind
  bool complete;

  explicit constexpr Description(std::u16string_view name) {
    const std::size_t underscore = name.find(u'_');
    kind = find(kKinds, name.substr(0, underscore));
    part = underscore == name.npos ? nullptr : find(kParts, name.substr(underscore + 1));
    complete = kind != nullptr && (part != nullptr || underscore == name.npos);
  }
  std::string text() const {
    return std::string(kind->says) + (part ? ": " + std::string(part->says) : "");
  }
};
static_assert(std::ranges::all_of(kSwitches,
                                  [](const Switch& one) { return Description(one.name).complete; }),
              "a switch has a name that nothing describes");

void set(const std::string& called, const std::string& setting, Switches& switches) {
  const auto equals = setting.find('=');
  const std::string name = setting.substr(0, equals);
  const std::string state = equals == setting.npos ? "" : setting.substr(equals + 1);
  const auto one = std::ranges::find(kSwitches, toUtf16(name), &Switch::name);
  if (one == kSwitches.end())
    throw UsageError((called == kSet ? "" : called + ": ") + "there is no switch '" + name +
                     "'; kelvane switches lists them");
  if (state != "on" && state != "off")
    throw UsageError(called + " takes " + name + "=on or " + name + "=off, not '" + setting + "'");
  switches.*one->value = Boolean(state == "on");
}

}  // namespace

OptionFamily switchOptions() { return {"Leaving things out", kOptions, Elsewhere::environments}; }

cComparisonOptions switchesOf(const Arguments& arguments) {
  Switches switches;
  for (const Switch& one : kSwitches) switches.*one.value = True;
  if (arguments.has(kNoPermissions)) {
    for (const auto one : kPermissionSwitches) switches.*one = False;
  }
  if (arguments.has(kIgnoreNames)) {
    for (const auto one : kNameSwitches) switches.*one = False;
  }
  for (const std::string& setting : arguments.values(kSet))
    set(arguments.called(kSet), setting, switches);
  return switches;
}

void listSwitches(std::ostream& out) {
  for (const Switch& one : kSwitches) {
    out << std::left << std::setw(37) << toUtf8(one.name) << Description(one.name).text() << '\n';
  }
}

}  // namespace kelvane::cli
