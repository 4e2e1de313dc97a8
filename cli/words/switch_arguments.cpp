#include "cli/words/switch_arguments.h"

#include <algorithm>
#include <array>
#include <iomanip>
#include <set>
#include <string>
#include <string_view>

#include "inventory/near_names.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kIgnoreNames = "--ignore-names", kNoPermissions = "--no-permissions",
                           kSet = "--set";

constexpr auto kOptions = std::to_array<Option>({
    {kIgnore, kFamilyWord, "leave a family out, such as segments; see kelvane switches"},
    {kIgnoreNames, "", "with --published: do not compare names of keys and indexes"},
    {kNoPermissions, "", "do not compare permissions"},
    {kSet, kSetting, "with --published: leave SWITCH out, or include it (=on)"},
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
    {"Columns", "columns"},
    {"Columns_DataTypes", "data types of columns"},
    {"Columns_Defaults", "defaults of columns"},
    {"Columns_Scales", "scales of columns"},
    {"Columns_Lengths", "lengths of columns"},
    {"Columns_Nullables", "whether columns allow null"},
    {"Columns_OrdinalPositions", "ordinal positions of columns"},
    {"Columns_Precisions", "precisions of columns"},
    {"References", "no effect: the tables that refer to a table are never read"},
    {"Indexes", "indexes"},
    {"Indexes_Names", "names of indexes"},
    {"Indexes_Descriptions", "descriptions of indexes (clustered, unique, ...)"},
    {"Triggers", "triggers"},
    {"RowCount", "row counts"},
    {"MaxWidth", "maximum row widths, which are never read and always 0"},
    {"Data", "no effect: kelvane data compares rows"},
    {"PrimaryKeys", "primary keys"},
    {"PrimaryKeys_Names", "names of primary keys"},
    {"PrimaryKeys_Attributes", "whether primary keys are clustered"},
    {"ForeignKeys", "foreign keys"},
    {"ForeignKeys_Names", "names of foreign keys"},
    {"ForeignKeys_PKRefs", "primary keys that foreign keys reference"},
    {"Definition", "definitions"},
    {"UDDTs_Definition", "attributes"},
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
    const bool isPart = underscore != name.npos;
    part = isPart ? find(kParts, name) : nullptr;
    if (isPart && part == nullptr) part = find(kParts, name.substr(underscore + 1));
    complete = kind != nullptr && (part != nullptr || !isPart);
  }
  std::string text() const {
    if (part == nullptr) return std::string(kind->says);
    std::string says(part->says);
    const std::size_t columns = says.find(kColumns);
    if (columns != says.npos && hasParameters())
      says.replace(columns, kColumns.size(), kParameters);
    return std::string(kind->says) + ": " + says;
  }

 private:
  static constexpr std::string_view kColumns = "columns", kParameters = "parameters";
  bool hasParameters() const { return kind->word == "StoredProcs" || kind->word == "Functions"; }
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
    throw UsageError((called == kSet ? "" : called + ": ") + "unknown switch '" + name +
                     "'; kelvane switches lists them");
  if (state != "on" && state != "off")
    throw UsageError(called + " takes " + name + "=on or " + name + "=off, not '" + setting + "'");
  switches.*one->value = Boolean(state == "on");
}

cComparisonOptions allSwitches() {
  Switches switches;
  for (const Switch& one : kSwitches) switches.*one.value = True;
  return switches;
}

// What the options say about switches that stand as `switches` where they say nothing.
cComparisonOptions applied(const Arguments& arguments, Switches switches) {
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

// What is compared where no option leaves anything out.
cComparisonOptions asked(const Arguments& arguments) {
  Switches switches = allSwitches();
  switches.Tables_RowCount = Boolean(arguments.has(kRowCounts));
  return switches;
}

}  // namespace

OptionFamily switchOptions() { return {"Leaving things out", kOptions, Elsewhere::environments}; }

cComparisonOptions switchesOf(const Arguments& arguments) {
  return applied(arguments, allSwitches());
}

cComparisonOptions comparedSwitchesOf(const Arguments& arguments) {
  return applied(arguments, asked(arguments));
}

std::vector<std::string> leftOutBy(const Arguments& arguments) {
  const Switches defaults = asked(arguments), switches = applied(arguments, defaults);
  const auto isOff = [&](Boolean Switches::*one) { return defaults.*one && !(switches.*one); };
  std::vector<std::string> names;
  std::vector<Boolean Switches::*> named;
  const auto nameTogether = [&](const auto& group, std::string_view name) {
    if (!std::ranges::all_of(group, isOff)) return;
    names.emplace_back(name);
    named.insert(named.end(), group.begin(), group.end());
  };
  nameTogether(kPermissionSwitches, "permissions");
  nameTogether(kNameSwitches, "names of keys and indexes");
  std::set<std::u16string_view> off;
  for (const Switch& one : kSwitches) {
    if (isOff(one.value)) off.insert(one.name);
  }
  for (const Switch& one : kSwitches) {
    if (!off.contains(one.name) || std::ranges::count(named, one.value) != 0) continue;
    const auto belongsTo = [&](std::size_t end) {
      return end != one.name.npos && off.contains(one.name.substr(0, end));
    };
    if (!belongsTo(one.name.find(u'_')) && !belongsTo(one.name.rfind(u'_')))
      names.push_back(toUtf8(one.name));
  }
  return names;
}

inventory::Families comparedFamiliesOf(const Arguments& arguments) {
  using inventory::Family;
  for (const std::string_view option : {kIgnoreNames, kSet}) {
    if (arguments.has(option)) throw UsageError(arguments.called(option) + " needs --published");
  }
  inventory::Families compared = inventory::usualFamilies();
  const auto set = [&](Family family, bool on) {
    compared.set(static_cast<std::size_t>(family), on);
  };
  if (arguments.has(kRowCounts)) set(Family::rowCounts, true);
  if (arguments.has(kNoPermissions)) set(Family::permissions, false);
  for (const std::string& given : arguments.values(kIgnore)) {
    const std::u16string list = toUtf16(given);
    for (const std::u16string_view part : split(list, u',')) {
      std::string word = toUtf8(foldCase(part));
      word.erase(0, word.find_first_not_of(' '));
      word.erase(word.find_last_not_of(' ') + 1);
      const auto family = inventory::familyOf(word);
      if (!family) {
        std::vector<std::string_view> words;
        words.reserve(inventory::kFamilies.size());
        for (const auto& row : inventory::kFamilies) words.push_back(row.word);
        throw UsageError(arguments.called(kIgnore) + ": nothing is called '" + word + "'" +
                         inventory::nearestName(word, words) +
                         "; kelvane switches lists the words");
      }
      set(*family, false);
    }
  }
  return compared;
}

std::vector<std::string> leftOutOf(const Arguments& arguments,
                                   const inventory::Families& compared) {
  std::vector<std::string> words;
  inventory::Families asked = inventory::usualFamilies();
  if (arguments.has(kRowCounts)) asked.set();
  const inventory::Families off = asked & ~compared;
  for (const auto& row : inventory::kFamilies) {
    if (off.test(static_cast<std::size_t>(row.family))) words.emplace_back(row.word);
  }
  return words;
}

void listFamilies(std::ostream& out) {
  for (const auto& row : inventory::kFamilies) {
    if (!row.word.empty()) out << std::left << std::setw(19) << row.word << row.about << '\n';
  }
}

void listSwitches(std::ostream& out) {
  for (const Switch& one : kSwitches) {
    out << std::left << std::setw(37) << toUtf8(one.name) << Description(one.name).text() << '\n';
  }
}

}  // namespace kelvane::cli
