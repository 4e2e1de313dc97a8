#include "drivers/embedded/catalog/records.h"

#include <algorithm>
#include <string_view>

#include "drivers/embedded/catalog/status_bits.h"
#include "drivers/embedded/catalog/system_tables.h"

namespace kelvane::embedded {

template class RecordTable<SysObject>;
template class RecordTable<SysIndex>;
template class RecordTable<SysColumn>;
template class RecordTable<SysType>;
template class RecordTable<SysProcedure>;
template class RecordTable<SysComment>;
template class RecordTable<SysProtect>;
template class RecordTable<SysUser>;
template class RecordTable<SysDepend>;
template class RecordTable<SysReference>;
template class RecordTable<SysConstraint>;
template class RecordTable<PlainRow>;

namespace {

// Estimates for SQLite's choices, from a database of ten thousand tables.
constexpr int kObjects = 30'000;
constexpr int kColumns = 200'000;
constexpr int kFew = 100;

template <class Record>
struct Described {
  std::string_view table;
  int expectedRows;
  std::vector<Field<Record>> fields;
  std::vector<RecordLookup<Record>> lookups;
};

template <class Record>
Described<Record> describe();

template <>
Described<SysObject> describe() {
  using R = SysObject;
  return {"sysobjects",
          kObjects,
          {fieldOf<&R::name>("name"), fieldOf<&R::id>("id"), fieldOf<&R::uid>("uid"),
           fieldOf<&R::type>("type"), fieldOf<&R::userstat>("userstat"),
           fieldOf<&R::sysstat>("sysstat"), fieldOf<&R::schemacnt>("schemacnt"),
           fieldOf<&R::sysstat2>("sysstat2"), fieldOf<&R::crdate>("crdate"),
           fieldOf<&R::deltrig>("deltrig"), fieldOf<&R::instrig>("instrig"),
           fieldOf<&R::updtrig>("updtrig"), fieldOf<&R::seltrig>("seltrig"),
           fieldOf<&R::ckfirst>("ckfirst"), fieldOf<&R::loginame>("loginame"),
           fieldOf<&R::identburnmax>("identburnmax"), fieldOf<&R::sysstat3>("sysstat3"),
           fieldOf<&R::lobcomp_lvl>("lobcomp_lvl")},
          {lookupOf<&R::id>("id", 1), lookupOf<&R::name>("name", 2),
           lookupOf<&R::deltrig>("deltrig", 2, true)}};
}

template <>
Described<SysIndex> describe() {
  using R = SysIndex;
  return {"sysindexes",
          kObjects,
          {fieldOf<&R::name>("name"),
           fieldOf<&R::id>("id"),
           fieldOf<&R::indid>("indid"),
           fieldOf<&R::doampg>("doampg"),
           fieldOf<&R::ioampg>("ioampg"),
           fieldOf<&R::status2>("status2"),
           fieldOf<&R::segment>("segment"),
           fieldOf<&R::status>("status"),
           fieldOf<&R::maxrowsperpage>("maxrowsperpage"),
           fieldOf<&R::keycnt>("keycnt"),
           fieldOf<&R::base_partition>("base_partition"),
           fieldOf<&R::fill_factor>("fill_factor"),
           fieldOf<&R::res_page_gap>("res_page_gap"),
           fieldOf<&R::exp_rowsize>("exp_rowsize"),
           fieldOf<&R::identitygap>("identitygap"),
           fieldOf<&R::crdate>("crdate"),
           fieldOf<&R::status3>("status3"),
           fieldOf<&R::partitiontype>("partitiontype"),
           fieldOf<&R::conditionid>("conditionid"),
           fieldOf<&R::conopt_thld>("conopt_thld"),
           fieldOf<&R::plldegree>("plldegree")},
          // Every table may have an index of the same name.
          {lookupOf<&R::id>("id", 3), lookupOf<&R::name>("name", 100)}};
}

template <>
Described<SysColumn> describe() {
  using R = SysColumn;
  return {"syscolumns",
          kColumns,
          {fieldOf<&R::id>("id"),
           fieldOf<&R::number>("number"),
           fieldOf<&R::colid>("colid"),
           fieldOf<&R::status>("status"),
           fieldOf<&R::type>("type"),
           fieldOf<&R::length>("length"),
           fieldOf<&R::offset>("offset"),
           fieldOf<&R::usertype>("usertype"),
           fieldOf<&R::cdefault>("cdefault"),
           fieldOf<&R::domain>("domain"),
           fieldOf<&R::name>("name"),
           fieldOf<&R::prec>("prec"),
           fieldOf<&R::scale>("scale"),
           fieldOf<&R::xstatus>("xstatus"),
           fieldOf<&R::accessrule>("accessrule"),
           fieldOf<&R::status2>("status2"),
           fieldOf<&R::status3>("status3"),
           fieldOf<&R::computedcol>("computedcol"),
           fieldOf<&R::encrtype>("encrtype"),
           fieldOf<&R::encrlen>("encrlen"),
           fieldOf<&R::encrkeyid>("encrkeyid"),
           fieldOf<&R::encrkeydb>("encrkeydb"),
           fieldOf<&R::encrdate>("encrdate"),
           fieldOf<&R::inrowlen>("inrowlen"),
           fieldOf<&R::lobcomp_lvl>("lobcomp_lvl")},
          {lookupOf<&R::id>("id", 20), lookupOf<&R::cdefault>("cdefault", 10, true),
           lookupOf<&R::domain>("domain", 10, true)}};
}

template <>
Described<SysType> describe() {
  using R = SysType;
  return {
      "systypes",
      kFew,
      {fieldOf<&R::uid>("uid"), fieldOf<&R::usertype>("usertype"),
       fieldOf<&R::variable>("variable"), fieldOf<&R::allownulls>("allownulls"),
       fieldOf<&R::type>("type"), fieldOf<&R::length>("length"), fieldOf<&R::tdefault>("tdefault"),
       fieldOf<&R::domain>("domain"), fieldOf<&R::name>("name"), fieldOf<&R::prec>("prec"),
       fieldOf<&R::scale>("scale"), fieldOf<&R::ident>("ident"),
       fieldOf<&R::hierarchy>("hierarchy"), fieldOf<&R::accessrule>("accessrule")},
      {lookupOf<&R::usertype>("usertype", 1), lookupOf<&R::name>("name", 1),
       lookupOf<&R::type>("type", 3)}};
}

template <>
Described<SysProcedure> describe() {
  using R = SysProcedure;
  return {"sysprocedures",
          kObjects,
          {fieldOf<&R::type>("type"), fieldOf<&R::id>("id"), fieldOf<&R::sequence>("sequence"),
           fieldOf<&R::status>("status"), fieldOf<&R::number>("number")},
          {lookupOf<&R::id>("id", 1)}};
}

bool isHidden(const SysComment& piece) {
  return (piece.status.value_or(0) & comment_status::kHidden) != 0;
}

/// What stands for a hidden text: as long for every piece, and the same only for the same text.
std::string hiddenText(const SysComment& piece) {
  std::uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
  for (const char c : piece.text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  std::string text;
  for (int shift = 60; shift >= 0; shift -= 4) text += "0123456789abcdef"[(hash >> shift) & 15];
  return text;
}

/// Who runs a hidden text needs it; who reads it through SQL does not get it.
Field<SysComment> textField() {
  return {"text",
          [](const SysComment& piece, std::size_t) -> Cell {
            return isHidden(piece) ? hiddenText(piece) : piece.text;
          },
          [](SysComment& piece, std::size_t, const Cell& value) {
            const auto* text = std::get_if<std::string>(&value);
            const bool isUnchanged =
                isHidden(piece) && text != nullptr && *text == hiddenText(piece);
            if (!isUnchanged) field::fromCell(piece.text, value);
          }};
}

template <>
Described<SysComment> describe() {
  using R = SysComment;
  return {"syscomments",
          kObjects,
          {fieldOf<&R::id>("id"), fieldOf<&R::number>("number"), fieldOf<&R::colid>("colid"),
           fieldOf<&R::texttype>("texttype"), textField(), fieldOf<&R::colid2>("colid2"),
           fieldOf<&R::status>("status"), fieldOf<&R::partitionid>("partitionid")},
          {lookupOf<&R::id>("id", 3)}};
}

template <>
Described<SysProtect> describe() {
  using R = SysProtect;
  return {"sysprotects",
          kObjects,
          {fieldOf<&R::id>("id"), fieldOf<&R::uid>("uid"), fieldOf<&R::action>("action"),
           fieldOf<&R::protecttype>("protecttype"), fieldOf<&R::columns>("columns"),
           fieldOf<&R::grantor>("grantor"), fieldOf<&R::predicate>("pred_id")},
          {lookupOf<&R::id>("id", 5), lookupOf<&R::uid>("uid", 10000)}};
}

template <>
Described<SysUser> describe() {
  using R = SysUser;
  return {"sysusers",
          kFew,
          {fieldOf<&R::suid>("suid"), fieldOf<&R::uid>("uid"), fieldOf<&R::gid>("gid"),
           fieldOf<&R::name>("name"), fieldOf<&R::environ>("environ")},
          {lookupOf<&R::uid>("uid", 1), lookupOf<&R::name>("name", 1), lookupOf<&R::gid>("gid", 10),
           lookupOf<&R::suid>("suid", 2)}};
}

template <>
Described<SysDepend> describe() {
  using R = SysDepend;
  return {"sysdepends",
          kObjects,
          {fieldOf<&R::id>("id"), fieldOf<&R::number>("number"), fieldOf<&R::depid>("depid"),
           fieldOf<&R::depnumber>("depnumber"), fieldOf<&R::depdbid>("depdbid"),
           fieldOf<&R::selall>("selall"), fieldOf<&R::resultobj>("resultobj"),
           fieldOf<&R::readobj>("readobj")},
          {lookupOf<&R::id>("id", 5), lookupOf<&R::depid>("depid", 5)}};
}

template <>
Described<SysReference> describe() {
  using R = SysReference;
  return {"sysreferences",
          kObjects,
          {fieldOf<&R::indexid>("indexid"),       fieldOf<&R::constrid>("constrid"),
           fieldOf<&R::tableid>("tableid"),       fieldOf<&R::reftabid>("reftabid"),
           fieldOf<&R::keycnt>("keycnt"),         fieldOf<&R::status>("status"),
           fieldOf<&R::frgndbid>("frgndbid"),     fieldOf<&R::pmrydbid>("pmrydbid"),
           elementOf<&R::fokey>("fokey1", 0),     elementOf<&R::fokey>("fokey2", 1),
           elementOf<&R::fokey>("fokey3", 2),     elementOf<&R::fokey>("fokey4", 3),
           elementOf<&R::fokey>("fokey5", 4),     elementOf<&R::fokey>("fokey6", 5),
           elementOf<&R::fokey>("fokey7", 6),     elementOf<&R::fokey>("fokey8", 7),
           elementOf<&R::fokey>("fokey9", 8),     elementOf<&R::fokey>("fokey10", 9),
           elementOf<&R::fokey>("fokey11", 10),   elementOf<&R::fokey>("fokey12", 11),
           elementOf<&R::fokey>("fokey13", 12),   elementOf<&R::fokey>("fokey14", 13),
           elementOf<&R::fokey>("fokey15", 14),   elementOf<&R::fokey>("fokey16", 15),
           elementOf<&R::refkey>("refkey1", 0),   elementOf<&R::refkey>("refkey2", 1),
           elementOf<&R::refkey>("refkey3", 2),   elementOf<&R::refkey>("refkey4", 3),
           elementOf<&R::refkey>("refkey5", 4),   elementOf<&R::refkey>("refkey6", 5),
           elementOf<&R::refkey>("refkey7", 6),   elementOf<&R::refkey>("refkey8", 7),
           elementOf<&R::refkey>("refkey9", 8),   elementOf<&R::refkey>("refkey10", 9),
           elementOf<&R::refkey>("refkey11", 10), elementOf<&R::refkey>("refkey12", 11),
           elementOf<&R::refkey>("refkey13", 12), elementOf<&R::refkey>("refkey14", 13),
           elementOf<&R::refkey>("refkey15", 14), elementOf<&R::refkey>("refkey16", 15),
           fieldOf<&R::frgndbname>("frgndbname"), fieldOf<&R::pmrydbname>("pmrydbname")},
          {lookupOf<&R::tableid>("tableid", 2), lookupOf<&R::reftabid>("reftabid", 2),
           lookupOf<&R::constrid>("constrid", 1)}};
}

template <>
Described<SysConstraint> describe() {
  using R = SysConstraint;
  return {
      "sysconstraints",
      kObjects,
      {fieldOf<&R::colid>("colid"), fieldOf<&R::constrid>("constrid"),
       fieldOf<&R::tableid>("tableid"), fieldOf<&R::error>("error"), fieldOf<&R::status>("status")},
      {lookupOf<&R::tableid>("tableid", 3), lookupOf<&R::constrid>("constrid", 1)}};
}

/// Columns of the other tables that lead to their rows.
struct PlainLookup {
  std::string_view table;
  std::string_view column;
  int expectedRows;
  bool skipsZero = false;
};

constexpr PlainLookup kPlainLookups[] = {
    {"syskeys", "id", 2},        {"syskeys", "depid", 2},       {"spt_values", "type", 1000},
    {"spt_values", "number", 3}, {"syslogins", "name", 1},      {"syslogins", "suid", 1},
    {"sysdatabases", "name", 1}, {"sysdatabases", "dbid", 1},   {"sysattributes", "object", 5},
    {"syspartitions", "id", 2},  {"syspartitionkeys", "id", 2}, {"sysalternates", "suid", 1},
};

std::size_t positionOf(const SystemTable& table, std::string_view column) {
  const auto found = std::ranges::find(table.columns, column, &NamedColumn::name);
  return static_cast<std::size_t>(found - table.columns.begin());
}

/// Calls visit(described) for the kind of record that the table has.
template <class Visit>
bool withDescription(const SystemTable& table, Visit visit) {
  const auto visitIf = [&](const auto& described) {
    if (described.table != table.name) return false;
    visit(described);
    return true;
  };
  return visitIf(describe<SysObject>()) || visitIf(describe<SysIndex>()) ||
         visitIf(describe<SysColumn>()) || visitIf(describe<SysType>()) ||
         visitIf(describe<SysProcedure>()) || visitIf(describe<SysComment>()) ||
         visitIf(describe<SysProtect>()) || visitIf(describe<SysUser>()) ||
         visitIf(describe<SysDepend>()) || visitIf(describe<SysReference>()) ||
         visitIf(describe<SysConstraint>());
}

}  // namespace

template <class Record>
RecordTable<Record> SystemRecords::make() {
  Described<Record> described = describe<Record>();
  return RecordTable<Record>(log_, tables_.find(described.table)->columns, described.fields,
                             std::move(described.lookups));
}

SystemRecords::SystemRecords(UndoLog& log, const SystemTables& tables)
    : log_(log),
      tables_(tables),
      objects(make<SysObject>()),
      indexes(make<SysIndex>()),
      columns(make<SysColumn>()),
      types(make<SysType>()),
      procedures(make<SysProcedure>()),
      comments(make<SysComment>()),
      protects(make<SysProtect>()),
      users(make<SysUser>()),
      depends(make<SysDepend>()),
      references(make<SysReference>()),
      constraints(make<SysConstraint>()) {
  sources_ = {{"sysobjects", &objects},        {"sysindexes", &indexes},
              {"syscolumns", &columns},        {"systypes", &types},
              {"sysprocedures", &procedures},  {"syscomments", &comments},
              {"sysprotects", &protects},      {"sysusers", &users},
              {"sysdepends", &depends},        {"sysreferences", &references},
              {"sysconstraints", &constraints}};
  for (const SystemTable& table : tables.all()) {
    if (table.inMaster || sources_.contains(table.name)) continue;
    sources_[table.name] = others_.emplace_back(plainTable(log, table)).get();
  }
}

void SystemRecords::logTo(UndoLog& log) {
  for (auto& [name, rows] : sources_) rows->logTo(log);
}

const SysObject* SystemRecords::object(std::string_view name, int uid) const {
  for (const Slot slot : objects.where<&SysObject::name>(name)) {
    if (objects[slot].uid == uid) return &objects[slot];
  }
  return nullptr;
}

std::span<const Slot> SystemRecords::objectsByName() {
  if (byNameVersion_ != objects.version()) {
    byName_.clear();
    for (Slot slot = 0; slot < objects.slots(); ++slot) {
      if (objects.holds(slot)) byName_.push_back(slot);
    }
    std::ranges::sort(byName_, [this](Slot a, Slot b) {
      return std::tie(objects[a].name, objects[a].uid) < std::tie(objects[b].name, objects[b].uid);
    });
    byNameVersion_ = objects.version();
  }
  return byName_;
}

const SysIndex* SystemRecords::index(int objectId, int indid) const {
  for (const Slot slot : indexes.where<&SysIndex::id>(objectId)) {
    if (indexes[slot].indid == indid) return &indexes[slot];
  }
  return nullptr;
}

const SysColumn* SystemRecords::column(int objectId, std::string_view name) const {
  for (const Slot slot : columns.where<&SysColumn::id>(objectId)) {
    if (columns[slot].name == name) return &columns[slot];
  }
  return nullptr;
}

const SysColumn* SystemRecords::column(int objectId, int colid) const {
  for (const Slot slot : columns.where<&SysColumn::id>(objectId)) {
    if (columns[slot].colid == colid) return &columns[slot];
  }
  return nullptr;
}

const SysColumn* SystemRecords::identityColumn(int tableId) const {
  for (const Slot slot : columns.where<&SysColumn::id>(tableId)) {
    if ((columns[slot].status & column_status::kIdentity) != 0) return &columns[slot];
  }
  return nullptr;
}

bool SystemRecords::isInline(int id) const {
  return std::ranges::any_of(procedures.where<&SysProcedure::id>(id), [&](const Slot slot) {
    return (procedures[slot].status & procedure_status::kInline) != 0;
  });
}

int SystemRecords::nextColid(int tableId) const {
  const auto slots = columns.where<&SysColumn::id>(tableId);
  return slots.empty() ? 1 : columns[slots.back()].colid + 1;
}

namespace {

Field<PlainRow> cellField(std::string_view column, std::size_t number) {
  return {column, [](const PlainRow& row, std::size_t at) { return row.cells.at(at); },
          [](PlainRow& row, std::size_t at, const Cell& value) {
            row.cells.resize(std::max(row.cells.size(), at + 1));
            row.cells[at] = value;
          },
          number};
}

RecordLookup<PlainRow> cellLookup(const SystemTable& table, const PlainLookup& described) {
  RecordLookup<PlainRow> lookup{described.column, described.expectedRows, false};
  lookup.position = positionOf(table, described.column);
  if (isCharacter(table.columns[lookup.position].type.kind)) {
    lookup.text = [](const PlainRow& row, std::size_t at) -> std::string_view {
      const auto* text = std::get_if<std::string>(&row.cells[at]);
      return text == nullptr ? std::string_view() : *text;
    };
  } else {
    lookup.number = [](const PlainRow& row, std::size_t at) {
      return field::numberOf(row.cells[at]);
    };
  }
  return lookup;
}

}  // namespace

std::unique_ptr<PlainTable> plainTable(UndoLog& log, const SystemTable& table) {
  std::vector<Field<PlainRow>> fields;
  fields.reserve(table.columns.size());
  for (const NamedColumn& column : table.columns) {
    fields.push_back(cellField(column.name, fields.size()));
  }
  std::vector<RecordLookup<PlainRow>> lookups;
  for (const PlainLookup& lookup : kPlainLookups) {
    if (lookup.table == table.name) lookups.push_back(cellLookup(table, lookup));
  }
  return std::make_unique<PlainTable>(log, table.columns, fields, std::move(lookups));
}

std::vector<Lookup> lookupsOf(const SystemTable& table) {
  std::vector<Lookup> lookups;
  const auto add = [&](const auto& lookup) {
    const std::size_t position = positionOf(table, lookup.column);
    lookups.push_back({static_cast<int>(position), isCharacter(table.columns[position].type.kind),
                       lookup.expectedRows, lookup.skipsZero});
  };
  const bool isDescribed = withDescription(
      table, [&](const auto& described) { std::ranges::for_each(described.lookups, add); });
  if (isDescribed) return lookups;
  for (const PlainLookup& lookup : kPlainLookups) {
    if (lookup.table == table.name) add(lookup);
  }
  return lookups;
}

int expectedRowsOf(const SystemTable& table) {
  int rows = table.name == "spt_values" ? kObjects : kFew;
  withDescription(table, [&](const auto& described) { rows = described.expectedRows; });
  return rows;
}

}  // namespace kelvane::embedded
