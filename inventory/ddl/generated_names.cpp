#include "inventory/ddl/generated_names.h"

#include "inventory/ddl/statement.h"

namespace kelvane::inventory {
namespace {

constexpr std::string_view kVariable = "@name";

/// With the owner as the last argument the name is a name, whatever stands in it.
std::string indexColumn(const Table& table, std::size_t number) {
  const auto& [owner, name] = table.name;
  const std::string place = ", indid, " + std::to_string(number);
  const std::string whole = argument({owner, name});
  if (whole.find('"') == std::string::npos) return "index_col(" + whole + place + ")";
  return "index_col(" + literal(name) + place + ", user_id(" + literal(owner) + "))";
}
std::string idOf(const Table& table) { return inventory::idOf(table.name.owner, table.name.name); }

NameInBatch given(const std::string& name) { return {{}, argument({name}), name}; }

NameInBatch found(std::string expression, std::string from) {
  return {"declare @name varchar(255)\nselect @name = " + std::move(expression) + "\n    from " +
              std::move(from) + "\n",
          std::string(kVariable),
          {}};
}

NameInBatch foundConstraint(const Table& table, const std::string& other, std::string condition) {
  return found("min(object_name(c.constrid))", "sysconstraints c, " + other +
                                                   " where c.tableid = " + idOf(table) +
                                                   " and c.error = 0" + std::move(condition));
}

}  // namespace

NameInBatch nameInBatch(const Index& index) { return given(index.name); }

NameInBatch nameInBatch(const Table& table, const KeyConstraint& key) {
  if (!key.name.generated) return given(key.name.name);
  std::string from = "sysindexes where id = " + idOf(table) + " and status & 2048 " +
                     (key.primary ? "!= 0" : "= 0 and status2 & 2 != 0");
  const auto column = [&](std::size_t number) { return "\n    and " + indexColumn(table, number); };
  for (std::size_t at = 0; at < key.columns.size(); ++at)
    from += column(at + 1) + " = " + literal(key.columns[at].name);
  return found("min(name)", from + column(key.columns.size() + 1) + " is null");
}

NameInBatch nameInBatch(const Table& table, const ForeignKey& key) {
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
  // Others that say the same have names of their own.
  std::string names;
  for (const ForeignKey& other : table.foreignKeys) {
    if (other.name.generated || other.columns != key.columns || other.referenced != key.referenced)
      continue;
    names += (names.empty() ? "" : ", ") + literal(other.name.name);
  }
  if (!names.empty()) condition += "\n    and object_name(c.constrid) not in (" + names + ")";
  return foundConstraint(table, "sysreferences r", std::move(condition));
}

NameInBatch nameInBatch(const Table& table, const Check& check) {
  if (!check.name.generated) return given(check.name.name);
  // A piece of a text, as the catalog keeps it, is 255 bytes.
  constexpr std::size_t kLongest = 200;
  std::size_t length = std::min(check.condition.text.size(), kLongest);
  const auto isWithinLetter = [&] {
    return length < check.condition.text.size() &&
           (static_cast<unsigned char>(check.condition.text[length]) & 0xC0U) == 0x80;
  };
  while (isWithinLetter()) --length;
  return foundConstraint(table, "syscomments t",
                         " and t.id = c.constrid and t.colid = 1\n    and charindex(" +
                             literal(check.condition.text.substr(0, length)) + ", t.text) > 0");
}

}  // namespace kelvane::inventory
