#include "inventory/browse/sheet.h"

#include <algorithm>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>

#include "inventory/attributes.h"
#include "inventory/shown.h"
#include "model/text.h"

namespace kelvane::inventory {
namespace {

using Form = SheetValue::Form;

constexpr std::string_view kQuotedIdentifier = "quoted_identifier";

std::string counted(std::size_t count, std::string_view unit) {
  return std::to_string(count) + ' ' + std::string(unit) + (count == 1 ? "" : "s");
}

/// A short text of one line as it is, otherwise how large it is.
std::string brief(const Definition& definition) {
  constexpr std::size_t kMostUnits = 80;
  const std::string& text = definition.text;
  if (text.empty()) return shown(definition);
  const std::size_t end = text.find_last_not_of("\r\n") + 1;
  const std::u16string units = toUtf16(text);
  const bool isShort = text.find_first_of("\r\n") >= end && units.size() <= kMostUnits;
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) +
                     (text.back() == '\n' ? 0 : 1);
  const std::string line = isShort
                               ? text.substr(0, end)
                               : counted(lines, "line") + ", " + counted(units.size(), "character");
  return definition.state == Definition::State::incomplete ? "(incomplete) " + line : line;
}

std::vector<std::string> itemsOf(const std::vector<std::string>& items) { return items; }
std::vector<std::string> itemsOf(const std::vector<KeyColumn>& keys) {
  std::vector<std::string> items;
  items.reserve(keys.size());
  for (const KeyColumn& key : keys) items.push_back(shown(key));
  return items;
}

SheetValue valueOf(std::string_view label, const Definition& definition) {
  if (definition == Definition{}) return {label, Form::definition};
  return {label, Form::definition, shown(definition), {}, brief(definition)};
}
// Whether the server made it is of no interest to those who have to write it.
SheetValue valueOf(std::string_view label, const GivenName& name) {
  return {label, Form::text, name.name};
}
SheetValue valueOf(std::string_view label, std::int32_t number) {
  return {label, Form::number, shown(number)};
}
template <class Number>
SheetValue valueOf(std::string_view label, const std::optional<Number>& number) {
  return {label, Form::number, shown(number)};
}
template <class Item>
SheetValue valueOf(std::string_view label, const std::vector<Item>& items) {
  return {label, Form::list, shown(items), itemsOf(items)};
}
template <class Value>
SheetValue valueOf(std::string_view label, const Value& value) {
  return {label, Form::text, shown(value)};
}
template <class Value>
SheetValue valueOf(std::string_view label, const Rare<Value>& value) {
  return valueOf(label, *value);
}

template <class Record>
const Definition* definitionAt(const Record& record, Definition Record::*member) {
  return &(record.*member);
}
template <class Record>
const Definition* definitionAt(const Record& record, Rare<Definition> Record::*member) {
  return &*(record.*member);
}

enum class Names : std::uint8_t { shown, leftOut };

template <class Record>
std::vector<SheetValue> valuesOf(const Record& record, Names names) {
  static const Record kUsual{};
  std::vector<SheetValue> values;
  forEachAttribute<Record>([&]<class Owner, class Value>(const Attribute<Owner, Value>& one) {
    const bool isName = one.style == Style::name || std::is_same_v<Value, GivenName>;
    if (isName && names == Names::leftOut) return;
    const Value& value = record.*one.member;
    if constexpr (std::is_same_v<Value, bool>) {
      const bool isUsual = value == kUsual.*one.member;
      values.push_back({one.label, Form::flag, isUsual ? "" : shown(value)});
    } else {
      values.push_back(valueOf(one.label, value));
    }
    if constexpr (requires { definitionAt(record, one.member); }) {
      const bool isOn = definitionAt(record, one.member)->quotedIdentifier;
      values.push_back({kQuotedIdentifier, Form::text, isOn ? "on" : ""});
    }
  });
  return values;
}

template <class Record>
Sheet sheetOf(const Record& record, Names names) {
  Sheet sheet{valuesOf(record, names), {}};
  forEachParts<Record>([&](const auto& parts) {
    if ((record.*parts.member).empty()) return;
    SheetList list{rowOf(parts.kind).plural, {}};
    for (const auto& part : record.*parts.member) list.rows.push_back(sheetOf(part, Names::shown));
    sheet.lists.push_back(std::move(list));
  });
  return sheet;
}

/// What a user, group or role was granted, with what it was granted on.
SheetList grantsTo(const std::string& grantee, const Database& database) {
  SheetList list{rowOf(Kind::permission).plural, {}};
  const auto add = [&]<class Object>(Kind kind, const Object& object) {
    if constexpr (requires { object.permissions; }) {
      for (const Permission& granted : object.permissions) {
        if (granted.grantee != grantee) continue;
        const std::string name = nameOf(object);
        Sheet row = sheetOf(granted, Names::shown);
        std::erase_if(row.values, [](const SheetValue& one) { return one.label == "to"; });
        const auto behindAction = std::ranges::find(row.values, "action", &SheetValue::label) + 1;
        row.values.insert(
            behindAction,
            {"on", Form::text,
             name.empty() ? std::string() : std::string(rowOf(kind).singular) + ' ' + name});
        list.rows.push_back(std::move(row));
      }
    }
  };
  add(Kind::database, database.settings);
  forEachObjects([&](const auto& objects) {
    for (const auto& object : database.*objects.member) add(objects.kind, object);
  });
  return list;
}

void addMember(Kind kind, const std::string& name, SheetList& list) {
  Sheet row;
  row.values.push_back({"kind", Form::text, std::string(rowOf(kind).singular)});
  row.values.push_back({"name", Form::text, name});
  list.rows.push_back(std::move(row));
}

SheetList membersOf(const Group& group, const Database& database) {
  const std::string shownAs = group.name == "public" ? std::string() : group.name;
  SheetList list{"members", {}};
  for (const User& user : database.users) {
    if (user.group == shownAs) addMember(Kind::user, user.name, list);
  }
  return list;
}

SheetList membersOf(const Role& role, const Database& database) {
  const auto has = [&](const auto& member) {
    return std::ranges::find(member.roles, role.name) != member.roles.end();
  };
  SheetList list{"members", {}};
  for (const User& user : database.users) {
    if (has(user)) addMember(Kind::user, user.name, list);
  }
  for (const Role& member : database.roles) {
    if (has(member)) addMember(Kind::role, member.name, list);
  }
  return list;
}

void addUnlessEmpty(Sheet& sheet, SheetList list) {
  if (!list.rows.empty()) sheet.lists.push_back(std::move(list));
}

template <class Record>
concept IsGrantee =
    std::is_same_v<Record, User> || std::is_same_v<Record, Group> || std::is_same_v<Record, Role>;

std::optional<std::size_t> positionOf(const SheetList& list, std::u16string_view label) {
  const std::vector<SheetValue>& values = list.rows.front().values;
  const auto found = std::ranges::find_if(values, [&](const SheetValue& one) {
    return equalText(toUtf16(one.label), label, CaseMode::ignore);
  });
  if (found == values.end()) return std::nullopt;
  return static_cast<std::size_t>(found - values.begin());
}

void sortRows(SheetList& list, std::size_t at, const SheetOrder& order) {
  struct Keyed {
    std::u16string text;
    double number;
    std::size_t row;
  };
  std::vector<Keyed> keys;
  for (std::size_t row = 0; row < list.rows.size(); ++row) {
    std::u16string text = toUtf16(list.rows[row].values[at].text);
    const double number = leadingNumber(text).value;
    keys.push_back({std::move(text), number, row});
  }
  std::ranges::stable_sort(keys, [&](const Keyed& a, const Keyed& b) {
    const auto& [first, second] = order.descending ? std::tie(b, a) : std::tie(a, b);
    return order.numeric ? first.number < second.number : first.text < second.text;
  });
  std::vector<Sheet> rows;
  rows.reserve(keys.size());
  for (const Keyed& key : keys) rows.push_back(std::move(list.rows[key.row]));
  list.rows = std::move(rows);
}

}  // namespace

Sheet sheetOf(const FoundObject& object, const Database& database) {
  return std::visit(
      [&]<class Pointer>(Pointer pointer) {
        using Record = std::remove_cvref_t<decltype(*pointer)>;
        Sheet sheet = sheetOf(*pointer, Names::leftOut);
        if constexpr (IsGrantee<Record>) {
          if constexpr (!std::is_same_v<Record, User>)
            addUnlessEmpty(sheet, membersOf(*pointer, database));
          addUnlessEmpty(sheet, grantsTo(pointer->name, database));
        }
        return sheet;
      },
      object.record);
}

bool sort(Sheet& sheet, const SheetOrder& order) {
  const std::u16string label = toUtf16(order.label);
  bool isFound = false;
  for (SheetList& list : sheet.lists) {
    const auto at = positionOf(list, label);
    if (at) sortRows(list, *at, order);
    isFound |= at.has_value();
  }
  return isFound;
}

bool isDeclared(const SheetList& list, std::size_t at) {
  return std::ranges::any_of(list.rows,
                             [&](const Sheet& row) { return !row.values[at].text.empty(); });
}

std::vector<std::string_view> labelsOf(const Sheet& sheet) {
  std::vector<std::string_view> labels;
  for (const SheetList& list : sheet.lists) {
    const std::vector<SheetValue>& values = list.rows.front().values;
    for (std::size_t at = 0; at < values.size(); ++at) {
      const std::string_view label = values[at].label;
      if (isDeclared(list, at) && std::ranges::find(labels, label) == labels.end())
        labels.push_back(label);
    }
  }
  return labels;
}

}  // namespace kelvane::inventory
