// Columns of tables and views, parameters, and user-defined types.

#include <algorithm>

#include "inventory/read/reading.h"
#include "inventory/read/status_bits.h"

namespace kelvane::inventory {
namespace {

/// The positions in the statement below.
enum Cell {
  kId,
  kNumber,
  kColid,
  kName,
  kType,
  kUserType,
  kLength,
  kPrecision,
  kScale,
  kStatus,
  kDefault,
  kDomain,
  kStatus2,
  kStatus3,
  kXstatus,
  kAccessRule,
  kComputed,
  kKey,
  kKeyDatabase,
  kLobLevel,
  kInRowLength,
  kKeyName,
};

StoredType storedType(const Row& row) {
  return {row.number(kType),     row.number(kUserType), row.number(kLength),
          row.known(kPrecision), row.known(kScale),     0};
}

std::string columnCompression(const Reading& reading, int status2, int level) {
  if (reading.usesEmbeddedBits()) {
    if ((status2 & embedded_status::kColumnNotCompressed) != 0) return "not compressed";
    if ((status2 & embedded_status::kColumnCompressed) != 0 && level == 0) return "compressed";
  }
  return level > 0 ? "compressed = " + std::to_string(level) : "";
}

bool isLong(const DataType& type) {
  return type.name == "text" || type.name == "image" || type.name == "unitext";
}

void addTableColumn(Reading& reading, const ObjectEntry& table, const Row& row) {
  using namespace column_status;
  Shape& shape = reading.tables[table.at];
  const int computed = row.number(kComputed);
  if ((row.number(kStatus3) & kHidden) != 0) {
    shape.expressions[row.text(kName)] = computed;
    return;
  }
  std::vector<Column>& columns = reading.database.tables[table.at].columns;
  Column& column = columns.emplace_back();
  shape.colids.push_back(row.number(kColid));
  const int status = row.number(kStatus), status2 = row.number(kStatus2);
  column.name = row.text(kName);
  column.type = {reading.types.declared(storedType(row)), (status & kNullable) != 0,
                 (status & kIdentity) != 0};
  if (isLong(column.type.type)) {
    if ((status & kAlwaysReplicated) != 0) column.replication = std::string("always");
    if ((status & kReplicatedIfChanged) != 0) column.replication = std::string("if changed");
  }
  column.materialized = computed != 0 && (status2 & kMaterialized) != 0;
  column.offRow = (row.number(kXstatus) & kOffRow) != 0;
  if (const int length = row.number(kInRowLength); length > 0) column.inRowLength = length;
  column.compression = columnCompression(reading, status2, row.number(kLobLevel));
  ColumnReferences references{table.at,
                              static_cast<std::uint32_t>(columns.size() - 1),
                              row.number(kDefault),
                              row.number(kDomain),
                              row.number(kAccessRule),
                              computed,
                              row.number(kKey),
                              row.text(kKeyDatabase),
                              row.text(kKeyName)};
  column.encrypted = (status2 & kEncrypted) != 0 || references.key != 0;
  if (references.defaultValue != 0 || references.rule != 0 || references.accessRule != 0 ||
      references.computed != 0 || references.key != 0)
    reading.references.push_back(std::move(references));
}

void addViewColumn(Reading& reading, const ObjectEntry& view, const Row& row) {
  using namespace column_status;
  const int status = row.number(kStatus);
  reading.views[view.at].colids.push_back(row.number(kColid));
  reading.database.views[view.at].columns.push_back(
      {row.text(kName),
       {reading.types.declared(storedType(row)), (status & kNullable) != 0,
        (status & kIdentity) != 0}});
}

Parameter parameterOf(const Reading& reading, const Row& row) {
  using namespace column_status;
  return {row.text(kName), reading.types.declared(storedType(row)),
          (row.number(kStatus2) & (kOutput | kInputOutput)) != 0};
}

void addParameter(Reading& reading, const ObjectEntry& entry, const Row& row) {
  Parameter parameter = parameterOf(reading, row);
  if (entry.type == ObjectType::function) {
    Function& function = reading.database.functions[entry.at];
    // What a function returns stands among its parameters, under a name that none could have.
    if (parameter.name.starts_with('@')) {
      function.parameters.push_back(std::move(parameter));
    } else {
      function.returns = std::move(parameter.type);
    }
    return;
  }
  procedureOf(reading, entry, row.number(kNumber)).parameters.push_back(std::move(parameter));
}

}  // namespace

void readTypes(Reading& reading) {
  struct Found {
    UserType type;
    StoredType stored;
  };
  std::vector<Found> found;
  reading.session.rows(
      "types",
      "select " +
          reading.list("systypes", "",
                       {"uid", "usertype", "name", "type", "length", "prec", "scale", "allownulls",
                        "ident", "hierarchy", "tdefault", "domain", "accessrule"}) +
          " from systypes order by name",
      [&](const Row& row) {
        const int userType = row.number(1);
        if (!Types::isUserType(userType))
          return reading.types.addSystemType(userType, row.number(9), row.text(2));
        Found one;
        one.type.name = {reading.userName(row.number(0)), row.text(2)};
        reading.types.addUserType(userType, one.type.name);
        if (!reading.wants(Kind::type, one.type.name)) return;
        one.stored = {row.number(3), userType,     row.number(4),
                      row.known(5),  row.known(6), row.number(9)};
        one.type.base.nullable = row.number(7) != 0;
        one.type.base.identity = row.number(8) != 0;
        reading.typeReferences.push_back({row.number(10), row.number(11), row.number(12)});
        found.push_back(std::move(one));
      });
  for (Found& one : found) {
    one.type.base.type = reading.types.base(one.stored);
    reading.database.types.push_back(std::move(one.type));
  }
}

void readColumns(Reading& reading) {
  const auto kind = [](ObjectType type) {
    return type == ObjectType::procedure || type == ObjectType::function;
  };
  std::string keyName = "null";
  if (reading.catalog.has("syscolumns", "encrkeydb")) {
    keyName =
        "case when c.encrkeydb is null then null"
        " else object_name(c.encrkeyid, db_id(c.encrkeydb)) end";
  }
  reading.session.rows(
      "columns",
      "select " +
          reading.list(
              "syscolumns", "c",
              {"id",        "number",      "colid",   "name",       "type",        "usertype",
               "length",    "prec",        "scale",   "status",     "cdefault",    "domain",
               "status2",   "status3",     "xstatus", "accessrule", "computedcol", "encrkeyid",
               "encrkeydb", "lobcomp_lvl", "inrowlen"}) +
          ", " + keyName +
          " from syscolumns c, sysobjects o where o.id = c.id"
          " and o.type in ('U', 'V', 'RS', 'P', 'XP', 'SF', 'F')" +
          reading.amongChosen("c.id") + " order by c.id, c.number, c.colid",
      [&, last = static_cast<const ObjectEntry*>(nullptr)](const Row& row) mutable {
        const int id = row.number(kId);
        if (last == nullptr || last->id != id) last = reading.object(id);
        if (last == nullptr || !last->isWanted) return;
        if (last->type == ObjectType::table) {
          addTableColumn(reading, *last, row);
        } else if (last->type == ObjectType::view) {
          addViewColumn(reading, *last, row);
        } else if (kind(last->type)) {
          addParameter(reading, *last, row);
        }
      });
}

}  // namespace kelvane::inventory
