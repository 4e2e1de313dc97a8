// What sysattributes says of tables and indexes, and the encryption keys.

#include "inventory/read/reading.h"
#include "inventory/read/status_bits.h"

namespace kelvane::inventory {
namespace {

// sysattributes.class
constexpr int kCaches = 3, kLockPromotion = 5, kProxies = 9, kDecryptDefaults = 25;
constexpr int kTextChain = 255;

struct AttributeRow {
  int attribute = 0;
  std::string type;
  int info1 = 0, info2 = 0;
  std::string value, comments;
};

void addCache(Table& table, const Shape& shape, const AttributeRow& row) {
  if (row.info1 == kTextChain) {
    table.cache += (table.cache.empty() ? "" : "; ") + ("text only: " + row.value);
  } else if (IndexStorage* index = indexStorage(table, shape, row.info1);
             index != nullptr && row.type == "I") {
    index->cache = row.value;
  } else {
    table.cache = row.value + (table.cache.empty() ? "" : "; ") + table.cache;
  }
}

void addToTable(Reading& reading, const ObjectEntry& entry, int kind, const AttributeRow& row) {
  Table& table = reading.database.tables[entry.at];
  switch (kind) {
    case kCaches:
      return addCache(table, reading.tables[entry.at], row);
    case kLockPromotion:
      (row.attribute == 0 ? table.pageLockPromotion : table.rowLockPromotion) = row.value;
      return;
    case kProxies:
      table.proxyPlace = row.value;
      if (!row.comments.empty()) table.proxyKind = row.comments;
      return;
    case kDecryptDefaults:
      reading.decryptDefaults.push_back({entry.id, row.info1, row.info2});
      return;
    default:
      return;
  }
}

void addToDatabase(Settings& settings, int kind, const AttributeRow& row) {
  if (kind == kCaches) settings.cache = row.value;
  if (kind == kLockPromotion)
    (row.attribute == 0 ? settings.pageLockPromotion : settings.rowLockPromotion) = row.value;
}

}  // namespace

void readAttributes(Reading& reading) {
  if (!reading.catalog.has("sysattributes")) return reading.session.skip();
  reading.session.rows(
      "attributes",
      "select class, attribute, object_type, object, object_info1, object_info2,"
      " isnull(char_value, object_cinfo), comments from sysattributes"
      " where class in (3, 5, 9, 25) order by class, object, object_info1, attribute",
      [&](const Row& row) {
        const int kind = row.number(0);
        AttributeRow found{row.number(1), row.text(2), row.number(4),
                           row.number(5), row.text(6), row.text(7)};
        if (found.type == "D" && (kind == kCaches || kind == kLockPromotion))
          return addToDatabase(reading.database.settings, kind, found);
        if (const ObjectEntry* entry = reading.table(row.number(3)))
          addToTable(reading, *entry, kind, found);
      });
}

void readEncryptionKeys(Reading& reading) {
  if (!reading.catalog.has("sysencryptkeys")) return reading.session.skip();
  constexpr int kAes = 1;
  reading.session.rows(
      "encryption keys",
      "select id, type, status, ekalgorithm, eklen, uid from sysencryptkeys order by id",
      [&](const Row& row) {
        using namespace embedded_status;
        const ObjectEntry* entry = reading.object(row.number(0));
        if (entry == nullptr || !entry->isWanted || entry->type != ObjectType::encryptionKey)
          return;
        EncryptionKey& key = reading.database.encryptionKeys[entry->at];
        const int type = row.number(1), status = row.number(2);
        if ((type & key_status::kCopy) != 0) {
          key.copies.push_back(reading.userName(row.number(5)));
          return;
        }
        key.kind = "key";
        if ((type & key_status::kDefault) != 0) key.kind = "default";
        if (entry->name == "sybencrmasterkey") key.kind = "master";
        if (entry->name == "sybencrdualmasterkey") key.kind = "dual master";
        const int algorithm = row.number(3);
        key.algorithm = algorithm == kAes ? "AES" : "algorithm " + std::to_string(algorithm);
        key.length = row.known(4);
        if (!reading.usesEmbeddedBits()) return;
        key.randomVector = (status & kRandomVector) != 0;
        key.randomPadding = (status & kRandomPadding) != 0;
        key.hasPassword = (status & kPassword) != 0;
        key.dualControl = (status & kDualControl) != 0;
      });
}

}  // namespace kelvane::inventory
