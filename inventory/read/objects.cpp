// The objects of the database: their names, and what sysobjects says of them.

#include <algorithm>

#include "inventory/read/reading.h"
#include "inventory/read/status_bits.h"
#include "inventory/shown.h"
#include "model/text.h"

namespace kelvane::inventory {
namespace {

struct TypeCode {
  std::string_view code;
  ObjectType type;
};

constexpr TypeCode kTypeCodes[] = {
    {"S", ObjectType::systemTable},    {"U", ObjectType::table},
    {"V", ObjectType::view},           {"RS", ObjectType::view},
    {"P", ObjectType::procedure},      {"XP", ObjectType::procedure},
    {"SF", ObjectType::function},      {"F", ObjectType::function},
    {"TR", ObjectType::trigger},       {"IT", ObjectType::trigger},
    {"R", ObjectType::rule},           {"D", ObjectType::defaultObject},
    {"EK", ObjectType::encryptionKey}, {"RI", ObjectType::part},
    {"C", ObjectType::part},           {"N", ObjectType::part},
    {"DD", ObjectType::part},          {"PP", ObjectType::part},
    {"PR", ObjectType::part},
};

ObjectType typeOf(std::string_view code) {
  const auto* found = std::ranges::find(kTypeCodes, code, &TypeCode::code);
  return found == std::end(kTypeCodes) ? ObjectType::other : found->type;
}

/// Of what has a record as soon as it is known. Rules and defaults may belong to tables.
std::optional<Kind> kindOf(ObjectType type) {
  switch (type) {
    case ObjectType::table:
      return Kind::table;
    case ObjectType::view:
      return Kind::view;
    case ObjectType::procedure:
      return Kind::procedure;
    case ObjectType::function:
      return Kind::function;
    case ObjectType::encryptionKey:
      return Kind::encryptionKey;
    default:
      return std::nullopt;
  }
}

/// A bit, and what it says.
struct Choice {
  int bit;
  std::string_view word;
};

std::string chosen(int status, std::initializer_list<Choice> choices) {
  for (const Choice& choice : choices) {
    if ((status & choice.bit) != 0) return std::string(choice.word);
  }
  return {};
}

void setStorage(Table& table, const ObjectEntry& entry) {
  using namespace embedded_status;
  const int status = entry.status3;
  table.logging = chosen(status, {{kFullLogging, "full"}, {kMinimalLogging, "minimal"}});
  table.transfer = chosen(status, {{kTransferOff, "off"}, {kTransferOn, "on"}});
  table.erasure = chosen(status, {{kErasureOff, "off"}, {kErasureOn, "on"}});
  table.compression = chosen(
      status, {{kNotCompressed, "none"}, {kRowCompressed, "row"}, {kPageCompressed, "page"}});
  table.indexCompression =
      chosen(status, {{kIndexesNotCompressed, "none"}, {kIndexesPageCompressed, "page"}});
  table.latchFree = chosen(status, {{kLatchFreeOff, "0"}, {kLatchFreeOn, "1"}});
}

void addTable(Reading& reading, const ObjectEntry& entry) {
  using namespace object_status;
  Table& table = reading.database.tables.emplace_back();
  table.name = reading.nameOf(entry);
  table.lock = chosen(entry.status2, {{kDataPages, "datapages"}, {kDataRows, "datarows"}});
  if (table.lock.empty()) table.lock = "allpages";
  table.replicated = (entry.status & kReplicated) != 0;
  table.replicationModes = reading.replicationModes(entry);
  table.deallocatesFirstTextPage = (entry.status2 & kDeallocatesFirstTextPage) != 0;
  table.optimisticIndexLock = (entry.status2 & kOptimisticIndexLock) != 0;
  if ((entry.status2 & (kRemote | kProxy)) != 0) table.proxyKind = "table";
  if (entry.lobCompression > 0) table.lobCompression = entry.lobCompression;
  if (reading.usesEmbeddedBits()) {
    setStorage(table, entry);
    table.identityBurnMax = entry.identityBurnMax;
  }
  reading.tables.emplace_back();
}

}  // namespace

std::string Reading::replicationModes(const ObjectEntry& entry) const {
  using namespace embedded_status;
  if (!usesEmbeddedBits()) return {};
  constexpr Choice kModes[] = {
      {kReplicatesOwner, "owner_on"},
      {kReplicatesByIndex, "use_index"},
      {kNeverReplicated, "never"},
      {kReplicatesTable, "table"},
      {kReplicationLogsCurrent, "log_current"},
  };
  std::string modes;
  for (const Choice& mode : kModes) {
    if ((entry.status3 & mode.bit) == 0) continue;
    if (!modes.empty()) modes += ", ";
    modes += mode.word;
  }
  return modes;
}

namespace {

void addRecord(Reading& reading, ObjectEntry& entry) {
  Database& database = reading.database;
  const auto place = [&](const auto& records) {
    entry.at = static_cast<std::uint32_t>(records.size());
  };
  switch (entry.type) {
    case ObjectType::table:
      place(database.tables);
      return addTable(reading, entry);
    case ObjectType::view: {
      place(database.views);
      View& view = database.views.emplace_back();
      view.name = reading.nameOf(entry);
      view.precomputed = entry.code == "RS";
      reading.views.emplace_back();
      return;
    }
    case ObjectType::function: {
      place(database.functions);
      Function& function = database.functions.emplace_back();
      function.name = reading.nameOf(entry);
      if (entry.code == "F") function.language = "java";
      return;
    }
    case ObjectType::encryptionKey:
      place(database.encryptionKeys);
      database.encryptionKeys.emplace_back().name = reading.nameOf(entry);
      return;
    default:
      return;  // procedures are records by their numbers in the group
  }
}

/// Which events lead to which trigger.
void addTriggers(Reading& reading, const ObjectEntry& entry, const Row& row, int first) {
  using namespace object_status;
  const auto add = [&](int id, bool TriggerState::*event, int disabled) {
    if (id == 0) return;
    TriggerState& state = reading.triggers[id];
    state.*event = true;
    if ((entry.status2 & disabled) != 0) state.isDisabled = true;
  };
  add(row.number(first), &TriggerState::onDelete, kDeleteDisabled);
  add(row.number(first + 1), &TriggerState::onInsert, kInsertDisabled);
  add(row.number(first + 2), &TriggerState::onUpdate, kUpdateDisabled);
}

std::string statement(const Reading& reading, std::initializer_list<std::string_view> columns) {
  return "select " + reading.list("sysobjects", "", columns) +
         " from sysobjects where type != 'L' order by id";
}

}  // namespace

void readObjects(Reading& reading) {
  constexpr int kFirstTrigger = 9;
  std::vector<std::pair<QualifiedName, int>> named;
  bool areSomeLeftOut = false;
  reading.session.rows("objects",
                       statement(reading, {"id", "uid", "type", "name", "crdate", "schemacnt",
                                           "sysstat", "sysstat2", "sysstat3", "deltrig", "instrig",
                                           "updtrig", "lobcomp_lvl", "identburnmax"}),
                       [&](const Row& row) {
                         ObjectEntry entry;
                         entry.id = row.number(0);
                         entry.uid = row.number(1);
                         entry.code = row.text(2);
                         entry.name = row.text(3);
                         entry.created = row.moment(4);
                         entry.version = row.number(5);
                         entry.status = row.number(6);
                         entry.status2 = row.number(7);
                         entry.status3 = row.number(8);
                         entry.lobCompression = row.number(12);
                         if (!row.isNull(13)) entry.identityBurnMax = row.large(13);
                         entry.type = typeOf(entry.code);
                         if (entry.type == ObjectType::trigger)
                           entry.triggerTable = row.number(kFirstTrigger);
                         const bool hasTriggers =
                             entry.type == ObjectType::table || entry.type == ObjectType::view;
                         if (hasTriggers) addTriggers(reading, entry, row, kFirstTrigger);
                         if (const auto kind = kindOf(entry.type)) {
                           entry.isWanted = reading.wants(*kind, reading.nameOf(entry));
                           if (entry.isWanted) named.emplace_back(reading.nameOf(entry), entry.id);
                           areSomeLeftOut = areSomeLeftOut || !entry.isWanted;
                         }
                         reading.objects.emplace(entry.id, std::move(entry));
                       });
  // Records come in the order of names, which is the same in all installations.
  std::ranges::sort(named, [](const auto& a, const auto& b) {
    return std::tie(a.first.name, a.first.owner) < std::tie(b.first.name, b.first.owner);
  });
  for (const auto& [name, id] : named) addRecord(reading, reading.objects.at(id));
  if (!areSomeLeftOut) return;
  reading.chosen.emplace();
  for (const auto& [name, id] : named) reading.chosen->push_back(id);
}

namespace {

/// Whether the object is a part of a table, which changes with it.
bool isOfTable(const Reading& reading, const ObjectEntry& entry) {
  const bool isText = entry.type == ObjectType::rule || entry.type == ObjectType::defaultObject;
  return entry.type == ObjectType::part ||
         (isText &&
          (reading.checks.contains(entry.id) || reading.declaredInline.contains(entry.id) ||
           entry.name.ends_with("_" + std::to_string(entry.id))));
}

}  // namespace

void readObjectsAgain(Reading& reading) {
  std::unordered_set<int> seen;
  std::vector<Gap> changed;
  const auto addGap = [&](const ObjectEntry& entry, std::string reason) {
    if (isOfTable(reading, entry)) return;
    // A trigger is a part of its table, where that is known.
    const ObjectEntry* parent =
        entry.type == ObjectType::trigger ? reading.object(entry.triggerTable) : nullptr;
    const ObjectEntry& object = parent == nullptr ? entry : *parent;
    const auto kind = kindOf(object.type);
    changed.push_back({shown(reading.nameOf(entry)),
                       std::move(reason),
                       kind ? wordOf(*kind) + ':' + shown(reading.nameOf(object)) : std::string(),
                       {}});
  };
  const bool isRead = reading.session.rows(
      "changes meanwhile", statement(reading, {"id", "uid", "type", "name", "crdate", "schemacnt"}),
      [&](const Row& row) {
        ObjectEntry now;
        now.id = row.number(0);
        now.uid = row.number(1);
        now.type = typeOf(row.text(2));
        now.name = row.text(3);
        seen.insert(now.id);
        const ObjectEntry* entry = reading.object(now.id);
        const bool isSame = entry != nullptr && entry->uid == now.uid && entry->name == now.name &&
                            entry->created == row.moment(4) && entry->version == row.number(5);
        if (!isSame)
          addGap(entry == nullptr ? now : *entry, "it changed while the database was read");
      });
  if (isRead) {
    for (const auto& [id, entry] : reading.objects) {
      if (!seen.contains(id)) addGap(entry, "it was dropped while the database was read");
    }
  }
  std::ranges::sort(changed, {}, &Gap::what);
  for (Gap& gap : changed) reading.session.addGap(std::move(gap));
}

}  // namespace kelvane::inventory
