#include "drivers/embedded/catalog/key_writer.h"

#include "drivers/embedded/catalog/owner_writer.h"

namespace kelvane::embedded {

namespace {

constexpr int kDefaultBits = 128;
constexpr int kAes = 1;

// The server's own names of the keys that other keys are protected by.
tsql::ObjectName properName(tsql::ObjectName name) {
  if (name.name == "master") name.name = "sybencrmasterkey";
  if (name.name == "dual master") name.name = "sybencrdualmasterkey";
  return name;
}

bool isMaster(const tsql::ObjectName& name) {
  return name.name == "master" || name.name == "dual master";
}

int statusOf(const tsql::EncryptionKey& statement) {
  return (statement.randomVector ? key_status::kRandomVector : 0) |
         (statement.randomPad ? key_status::kRandomPad : 0) |
         (statement.hasPassword ? key_status::kPassword : 0) |
         (statement.masterKey ? key_status::kMasterKey : 0) |
         (statement.dualControl ? key_status::kDualControl : 0);
}

}  // namespace

void KeyWriter::apply(const tsql::EncryptionKey& statement) {
  switch (statement.action) {
    case tsql::KeyAction::Create:
      return create(statement);
    case tsql::KeyAction::Alter:
      return alter(statement);
    case tsql::KeyAction::Drop:
      return drop(statement);
  }
}

ObjectInfo KeyWriter::require(const tsql::ObjectName& name) {
  ObjectInfo key = writer_.catalog().requireObject(properName(name), writer_.caller());
  if (key.type != object_type::kEncryptionKey) {
    writer_.fail(message::objectNotFound, name.name);
  }
  return key;
}

void KeyWriter::create(const tsql::EncryptionKey& statement) {
  const tsql::ObjectName name = properName(statement.name);
  const int bits = statement.bits.value_or(kDefaultBits);
  if (bits != 128 && bits != 192 && bits != 256) writer_.fail(message::keyLength, bits);
  const int id = writer_.addObject(
      {.name = name.name, .type = object_type::kEncryptionKey, .uid = writer_.ownerFor(name)});
  store_.run(
      "INSERT INTO sysencryptkeys(id, ekalgorithm, type, status, eklen) VALUES (?, ?, ?, ?, ?)", id,
      kAes, isMaster(statement.name) ? key_type::kMaster : key_type::kSymmetric,
      statusOf(statement), bits);
  if (statement.isDefault.value_or(false)) makeDefault(id, true);
}

void KeyWriter::makeDefault(int id, bool isDefault) {
  store_.run("UPDATE sysencryptkeys SET type = type & ~?1 WHERE type & ?1 AND (id = ?2 OR ?3)",
             key_type::kDefault, id, isDefault ? 1 : 0);
  if (!isDefault) return;
  store_.run("UPDATE sysencryptkeys SET type = type | ?1 WHERE id = ?2 AND type & ?3",
             key_type::kDefault, id, key_type::kSymmetric);
}

void KeyWriter::alter(const tsql::EncryptionKey& statement) {
  const ObjectInfo key = require(statement.name);
  if (statement.isDefault) makeDefault(key.id, *statement.isDefault);
  if (!statement.copyFor.empty()) alterCopy(key.id, statement);
  if (!statement.newOwner.empty()) {
    OwnerWriter(writer_).change(
        {"encryption", properName(statement.name), statement.newOwner, false});
  }
}

void KeyWriter::alterCopy(int id, const tsql::EncryptionKey& statement) {
  const auto uid = writer_.catalog().userNamed(statement.copyFor);
  if (!uid) writer_.fail(message::unknownGrantee, statement.copyFor);
  store_.run("DELETE FROM sysencryptkeys WHERE id = ? AND uid = ? AND type & ?", id, uid,
             key_type::kCopy);
  if (!statement.addsCopy) return;
  store_.run(
      "INSERT INTO sysencryptkeys(id, ekalgorithm, type, status, eklen, uid)"
      " SELECT id, ekalgorithm, ?, ?, eklen, ? FROM sysencryptkeys WHERE id = ? AND NOT type & ?",
      key_type::kCopy, statusOf(statement), uid, id, key_type::kCopy);
}

void KeyWriter::drop(const tsql::EncryptionKey& statement) {
  const auto key = writer_.catalog().findObject(properName(statement.name), writer_.caller());
  if (!key || key->type != object_type::kEncryptionKey) {
    writer_.fail(message::dropNotFound, "encryption key", statement.name.name);
  }
  if (store_.value("SELECT 1 FROM syscolumns WHERE encrkeyid = ?", key->id)) {
    writer_.fail(message::keyInUse, key->name);
  }
  store_.run("DELETE FROM sysencryptkeys WHERE id = ?", key->id);
  writer_.removeObject(key->id);
}

ColumnKey KeyWriter::forColumn(const tsql::ObjectName& name, std::string_view column) {
  if (!name.database.empty() && name.database != writer_.caller().database) {
    return {writer_.addElsewhere(name, {}), name.database, false};
  }
  int id = 0;
  if (name.empty()) {
    id = store_.value("SELECT id FROM sysencryptkeys WHERE type & ?", key_type::kDefault)
             .value_or(0);
    if (id == 0) {
      writer_.fail(message::noDefaultKey, column);
    }
  } else {
    id = require(name).id;
  }
  const int status =
      store_.value("SELECT status FROM sysencryptkeys WHERE id = ? AND uid IS NULL", id)
          .value_or(0);
  return {id, {}, (status & key_status::kRandomVector) != 0};
}

void Catalog::encryptionKey(const tsql::EncryptionKey& statement, const Caller& caller) {
  Savepoint savepoint(store_);
  CatalogWriter writer(*this, caller);
  KeyWriter(writer).apply(statement);
  savepoint.keep();
}

}  // namespace kelvane::embedded
