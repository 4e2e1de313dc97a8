// Checks, foreign keys, and the keys of sp_primarykey, sp_foreignkey and sp_commonkey.

#include <algorithm>
#include <array>

#include "inventory/read/reading.h"
#include "inventory/read/status_bits.h"

namespace kelvane::inventory {
namespace {

constexpr int kMostColumns = 16;

/// The server ends the names that it makes with the number of the constraint.
bool isGenerated(const ObjectEntry& constraint) {
  return constraint.name.ends_with("_" + std::to_string(constraint.id));
}

std::optional<std::int32_t> messageOf(int error) {
  return error != 0 ? std::optional<std::int32_t>(error) : std::nullopt;
}

void addTriggerOrder(Reading& reading, int id, int order, int status) {
  using namespace constraint_status;
  TriggerState& state = reading.triggers[id];
  state.onDelete |= (status & kOnDelete) != 0;
  state.onInsert |= (status & kOnInsert) != 0;
  state.onUpdate |= (status & kOnUpdate) != 0;
  state.isDisabled |= (status & kDisabled) != 0;
  if (order > 0) state.order = order;
}

std::string numbered(std::string_view name) {
  std::string all;
  for (int number = 1; number <= kMostColumns; ++number)
    all += ", r." + std::string(name) + std::to_string(number);
  return all;
}

/// Names of the columns of the referenced table: of one in another database, and of one that may
/// not be among the chosen objects.
std::string referencedNames(bool areChosen) {
  std::string all;
  for (int number = 1; number <= kMostColumns; ++number) {
    const std::string colid = "r.refkey" + std::to_string(number);
    all += ", case when " + (areChosen ? colid + " = 0" : "r.pmrydbname is null") +
           " then null else col_name(r.reftabid, " + colid +
           ", db_id(isnull(r.pmrydbname, db_name()))) end";
  }
  return all;
}

std::string orNumber(const std::string& name, std::string_view what, int number) {
  return name.empty() ? std::string(what) + " " + std::to_string(number) : name;
}

}  // namespace

void readConstraints(Reading& reading) {
  reading.session.rows("constraints",
                       "select tableid, constrid, colid, error, status from sysconstraints"
                       " order by tableid, constrid",
                       [&](const Row& row) {
                         const ObjectEntry* constraint = reading.object(row.number(1));
                         if (constraint == nullptr) return;
                         const int status = row.number(4);
                         // What the bits say depends on the type of the object.
                         if (constraint->type == ObjectType::trigger)
                           return addTriggerOrder(reading, constraint->id, row.number(2), status);
                         const ObjectEntry* entry = reading.table(row.number(0));
                         if (constraint->type == ObjectType::rule) {
                           reading.checks.insert(constraint->id);
                           if (entry == nullptr) return;
                           reading.tables[entry->at].checks.push_back(constraint->id);
                           Check& check = reading.database.tables[entry->at].checks.emplace_back();
                           check.name = {constraint->name, isGenerated(*constraint)};
                           check.message = messageOf(row.number(3));
                         } else if ((status & constraint_status::kReferential) != 0) {
                           reading.messages[constraint->id] = row.number(3);
                         }
                       });
}

void readReferences(Reading& reading) {
  enum { table, constraint, referenced, status, database, foreignName, firstKey };
  constexpr int kFirstReferenced = firstKey + kMostColumns;
  constexpr int kFirstName = kFirstReferenced + kMostColumns;
  // Rows as long as these may be too long to be sorted by the server.
  reading.session.rows(
      "foreign keys",
      "select r.tableid, r.constrid, r.reftabid, r.status, r.pmrydbname,"
      " case when r.pmrydbname is null then null"
      " else object_name(r.reftabid, db_id(r.pmrydbname)) end" +
          numbered("fokey") + numbered("refkey") + referencedNames(reading.chosen.has_value()) +
          " from sysreferences r where r.frgndbname is null" + reading.amongChosen("r.tableid"),
      [&](const Row& row) {
        const ObjectEntry* entry = reading.table(row.number(table));
        if (entry == nullptr) return;
        ForeignKey key;
        if (const ObjectEntry* named = reading.object(row.number(constraint)))
          key.name = {named->name, isGenerated(*named)};
        const int other = row.number(referenced);
        key.referenced.database = row.text(database);
        const bool isElsewhere = !key.referenced.database.empty();
        const ObjectEntry* parent = isElsewhere ? nullptr : reading.object(other);
        if (isElsewhere) {
          key.referenced.name = orNumber(row.text(foreignName), "object", other);
        } else {
          const QualifiedName name = reading.nameOf(other);
          key.referenced.owner = name.owner;
          key.referenced.name = name.name;
        }
        for (int at = 0; at < kMostColumns; ++at) {
          const int colid = row.number(firstKey + at);
          if (colid == 0) break;
          key.columns.push_back(orNumber(reading.columnName(*entry, colid), "column", colid));
          const int refcolid = row.number(kFirstReferenced + at);
          std::string name = row.text(kFirstName + at);
          if (name.empty() && parent) name = reading.columnName(*parent, refcolid);
          key.referencedColumns.push_back(orNumber(name, "column", refcolid));
        }
        key.matchFull = (row.number(status) & reference_status::kMatchFull) != 0;
        const auto message = reading.messages.find(row.number(constraint));
        if (message != reading.messages.end()) key.message = messageOf(message->second);
        reading.database.tables[entry->at].foreignKeys.push_back(std::move(key));
      });
}

void readLogicalKeys(Reading& reading) {
  constexpr int kMostKeys = 8;
  constexpr std::array<std::string_view, 3> kKinds{"primary", "foreign", "common"};
  std::string keys;
  for (const auto& [table, key] : {std::pair("id", "key"), std::pair("depid", "depkey")}) {
    for (int number = 1; number <= kMostKeys; ++number)
      keys += ", col_name(" + std::string(table) + ", " + key + std::to_string(number) + ")";
  }
  reading.session.rows("logical keys", "select id, type, depid" + keys + " from syskeys",
                       [&](const Row& row) {
                         const ObjectEntry* entry = reading.object(row.number(0));
                         const int type = row.number(1);
                         if (entry == nullptr || !entry->isWanted || type < 1 || type > 3) return;
                         LogicalKey key;
                         key.kind = kKinds[static_cast<std::size_t>(type) - 1];
                         if (row.number(2) != 0) key.other = reading.nameOf(row.number(2));
                         for (int at = 3; at < 3 + kMostKeys; ++at) {
                           if (!row.isNull(at)) key.columns.push_back(row.text(at));
                           if (!row.isNull(at + kMostKeys))
                             key.otherColumns.push_back(row.text(at + kMostKeys));
                         }
                         if (entry->type == ObjectType::table) {
                           reading.database.tables[entry->at].logicalKeys.push_back(std::move(key));
                         } else if (entry->type == ObjectType::view) {
                           reading.database.views[entry->at].logicalKeys.push_back(std::move(key));
                         }
                       });
}

}  // namespace kelvane::inventory
