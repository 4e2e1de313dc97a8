#include "inventory/ddl/generated_names.h"

#include <algorithm>
#include <set>

#include "inventory/ddl/statement.h"

namespace kelvane::inventory {
namespace {

constexpr std::string_view kVariable = "@name";
constexpr std::string_view kNameOfConstraint = "object_name(c.constrid)";

/// With the owner as the last argument the name is a name, whatever stands in it.
std::string indexColumn(const Table& table, std::size_t number) {
  const auto& [owner, name] = table.name;
  const std::string place = ", indid, " + std::to_string(number);
  const std::string whole = argument({owner, name});
  if (whole.find('"') == std::string::npos) return "index_col(" + whole + place + ")";
  return "index_col(" + literal(name) + place + ", user_id(" + literal(owner) + "))";
}
std::string idOf(const Table& table) { return inventory::idOf(table.name.owner, table.name.name); }

NameInBatch given(const std::string& name) { return {{}, argument({name}), name, {}}; }

NameInBatch found(std::string expression, std::string from) {
  NameInBatch name{"declare @name varchar(255)\nselect @name = " + std::move(expression) +
                       "\n    from " + from + "\n",
                   std::string(kVariable),
                   {},
                   {}};
  name.from = std::move(from);
  return name;
}

/// Others that say the same have names of their own.
template <class Constraint>
std::string othersThan(const Constraint& constraint, std::string_view name, const Table& table,
                       const Table* other) {
  std::set<std::string> names;
  for (const Table* each : {&table, other}) {
    if (each == nullptr) continue;
    for (const Constraint& one : allOf(*each, constraint)) {
      if (!one.name.generated && areAlike(one, constraint)) names.insert(literal(one.name.name));
    }
  }
  std::string list;
  for (const std::string& one : names) list += (list.empty() ? "" : ", ") + one;
  return list.empty() ? "" : "\n    and " + std::string(name) + " not in (" + list + ")";
}

NameInBatch foundConstraint(const Table& table, const std::string& other, std::string condition) {
  return found("min(object_name(c.constrid))", "sysconstraints c, " + other +
                                                   " where c.tableid = " + idOf(table) +
                                                   " and c.error = 0" + std::move(condition));
}

}  // namespace

bool areAlike(const KeyConstraint& a, const KeyConstraint& b) {
  return a.primary == b.primary &&
         std::ranges::equal(a.columns, b.columns, {}, &KeyColumn::name, &KeyColumn::name);
}
bool areAlike(const ForeignKey& a, const ForeignKey& b) {
  return a.columns == b.columns && a.referenced == b.referenced;
}
bool areAlike(const Check& a, const Check& b) { return a.condition.text == b.condition.text; }

NameInBatch nameInBatch(const Index& index) { return given(index.name); }

NameInBatch nameInBatch(const Table& table, const KeyConstraint& key, const Table* other) {
  if (!key.name.generated) return given(key.name.name);
  std::string from = "sysindexes where id = " + idOf(table) + " and status & 2048 " +
                     (key.primary ? "!= 0" : "= 0 and status2 & 2 != 0");
  const auto column = [&](std::size_t number) { return "\n    and " + indexColumn(table, number); };
  for (std::size_t at = 0; at < key.columns.size(); ++at)
    from += column(at + 1) + " = " + literal(key.columns[at].name);
  return found("min(name)", from + column(key.columns.size() + 1) + " is null" +
                                othersThan(key, "name", table, other));
}

NameInBatch nameInBatch(const Table& table, const ForeignKey& key, const Table* other) {
  if (!key.name.generated) return given(key.name.name);
  std::string condition =
      " and r.constrid = c.constrid and r.keycnt = " + std::to_string(key.columns.size());
  for (std::size_t at = 0; at < key.columns.size(); ++at) {
    condition += "\n    and col_name(r.tableid, r.fokey" + std::to_string(at + 1) +
                 ") = " + literal(key.columns[at]);
  }
  if (key.referenced.database.empty()) {
    condition +=
        "\n    and r.reftabid = " + inventory::idOf(key.referenced.owner, key.referenced.name);
  }
  condition += othersThan(key, kNameOfConstraint, table, other);
  return foundConstraint(table, "sysreferences r", std::move(condition));
}

NameInBatch nameInBatch(const Table& table, const Check& check, const Table* other) {
  if (!check.name.generated) return given(check.name.name);
  // From the parenthesis on: what stands before it is written in many ways.
  const std::string_view whole = check.condition.text;
  const std::string_view condition = whole.substr(std::min(whole.find('('), whole.size()));
  // A piece of a text, as the catalog keeps it, is 255 bytes.
  constexpr std::size_t kLongest = 200;
  std::size_t length = std::min(condition.size(), kLongest);
  const auto isWithinLetter = [&] {
    return length < condition.size() &&
           (static_cast<unsigned char>(condition[length]) & 0xC0U) == 0x80;
  };
  while (isWithinLetter()) --length;
  return foundConstraint(table, "syscomments t",
                         " and t.id = c.constrid and t.colid = 1\n    and charindex(" +
                             literal(std::string(condition.substr(0, length))) + ", t.text) > 0" +
                             othersThan(check, kNameOfConstraint, table, other));
}

}  // namespace kelvane::inventory
