// What the records are made of: each compared or shown member once, with its label, and the parts
// of each record.
//
// Whoever walks records (the comparison, reports, snapshots) walks these lists. A new attribute is
// a member of its record and a line here.
//
// Constants.
#pragma once

#include <string_view>
#include <tuple>
#include <vector>

#include "inventory/families.h"
#include "inventory/kinds.h"
#include "inventory/records.h"

namespace kelvane::inventory {

enum class Style : std::uint8_t {
  labelled,  ///< shown behind its label
  bare,      ///< shown without it: the value says what it is
  name,      ///< what its objects are matched by, so that it never differs
};

/// Whether a value follows from the object's definition: it is compared only where both
/// definitions are the same.
enum class Origin : std::uint8_t { own, definition };

template <class Record, class Value>
struct Attribute {
  std::string_view label;
  Value Record::*member;
  Family family = Family::always;
  Style style = Style::labelled;
  Origin origin = Origin::own;
};
// clang 16 deduces no arguments of aggregates.
template <class Record, class Value, class... Rest>
Attribute(std::string_view, Value Record::*, Rest...) -> Attribute<Record, Value>;

/// Whether the order of parts is compared too.
enum class Order : std::uint8_t { none, compared };

template <class Record, class Item>
struct Parts {
  Kind kind;
  std::vector<Item> Record::*member;
  Order order = Order::none;
  Origin origin = Origin::own;
};
template <class Record, class Item, class... Rest>
Parts(Kind, std::vector<Item> Record::*, Rest...) -> Parts<Record, Item>;

template <class Record, class Value>
constexpr Attribute<Record, Value> named(std::string_view label, Value Record::*member) {
  return {label, member, Family::always, Style::name};
}

/// The attributes of a record.
template <class Record>
inline constexpr std::tuple kAttributes{};
/// The parts of a record, in the order of reports.
template <class Record>
inline constexpr std::tuple kParts{};

template <>
inline constexpr std::tuple kAttributes<Column>{
    named("name", &Column::name),
    Attribute{"type", &Column::type, Family::always, Style::bare},
    Attribute{"default", &Column::defaultValue, Family::defaults},
    Attribute{"rule", &Column::rule, Family::rules},
    Attribute{"access rule", &Column::accessRule, Family::rules},
    Attribute{"computed as", &Column::computed},
    Attribute{"materialized", &Column::materialized},
    Attribute{"encrypted", &Column::encrypted, Family::encryption},
    Attribute{"encryption key", &Column::encryptionKey, Family::encryption},
    Attribute{"decrypt default", &Column::decryptDefault, Family::encryption},
    Attribute{"compression", &Column::compression, Family::compression},
    Attribute{"replication", &Column::replication, Family::replication},
    Attribute{"in row length", &Column::inRowLength},
    Attribute{"off row", &Column::offRow}};

template <>
inline constexpr std::tuple kAttributes<Partition>{
    Attribute{"name", &Partition::name},
    Attribute{"bound", &Partition::bound, Family::always, Style::bare},
    Attribute{"segment", &Partition::segment, Family::segments}};

inline constexpr std::tuple kIndexStorage{
    Attribute{"clustered", &IndexStorage::clustered},
    Attribute{"columns", &IndexStorage::columns, Family::always, Style::bare},
    Attribute{"fillfactor", &IndexStorage::fillFactor, Family::fillFactor},
    Attribute{"max_rows_per_page", &IndexStorage::maxRowsPerPage, Family::fillFactor},
    Attribute{"reservepagegap", &IndexStorage::reservePageGap, Family::fillFactor},
    Attribute{"segment", &IndexStorage::segment, Family::segments},
    Attribute{"compression", &IndexStorage::compression, Family::compression},
    Attribute{"latch free", &IndexStorage::latchFree, Family::latches},
    Attribute{"local", &IndexStorage::local, Family::partitions},
    Attribute{"cache", &IndexStorage::cache, Family::caches},
    Attribute{"cache strategy", &IndexStorage::cacheStrategy, Family::caches},
    Attribute{"parallel degree", &IndexStorage::parallelDegree, Family::caches}};
inline constexpr Parts kIndexPartitions{Kind::partition, &IndexStorage::partitions};

template <>
inline constexpr std::tuple kAttributes<KeyConstraint> = std::tuple_cat(
    std::tuple{Attribute{"primary key", &KeyConstraint::primary},
               Attribute{"name", &KeyConstraint::name}},
    kIndexStorage, std::tuple{Attribute{"message", &KeyConstraint::message, Family::messages}});
template <>
inline constexpr std::tuple kParts<KeyConstraint>{kIndexPartitions};

template <>
inline constexpr std::tuple kAttributes<Index> = std::tuple_cat(
    std::tuple{named("name", &Index::name), Attribute{"unique", &Index::unique}}, kIndexStorage,
    std::tuple{Attribute{"ignore_dup_key", &Index::ignoreDuplicateKey},
               Attribute{"ignore_dup_row", &Index::ignoreDuplicateRow},
               Attribute{"allow_dup_row", &Index::allowDuplicateRow}});
template <>
inline constexpr std::tuple kParts<Index>{kIndexPartitions};

template <>
inline constexpr std::tuple kAttributes<ForeignKey>{
    Attribute{"name", &ForeignKey::name},
    Attribute{"columns", &ForeignKey::columns, Family::always, Style::bare},
    Attribute{"references", &ForeignKey::referenced},
    Attribute{"referenced columns", &ForeignKey::referencedColumns},
    Attribute{"match full", &ForeignKey::matchFull},
    Attribute{"message", &ForeignKey::message, Family::messages}};

template <>
inline constexpr std::tuple kAttributes<Check>{
    Attribute{"name", &Check::name},
    Attribute{"condition", &Check::condition, Family::always, Style::bare},
    Attribute{"message", &Check::message, Family::messages}};

template <>
inline constexpr std::tuple kAttributes<Trigger>{
    named("name", &Trigger::name),
    Attribute{"definition", &Trigger::definition, Family::definitions},
    Attribute{"on insert", &Trigger::onInsert, Family::always, Style::labelled, Origin::definition},
    Attribute{"on update", &Trigger::onUpdate, Family::always, Style::labelled, Origin::definition},
    Attribute{"on delete", &Trigger::onDelete, Family::always, Style::labelled, Origin::definition},
    Attribute{"instead of", &Trigger::insteadOf, Family::always, Style::labelled,
              Origin::definition},
    Attribute{"order", &Trigger::order, Family::always, Style::labelled, Origin::definition},
    Attribute{"disabled", &Trigger::disabled}};

template <>
inline constexpr std::tuple kAttributes<LogicalKey>{
    named("kind", &LogicalKey::kind), named("columns", &LogicalKey::columns),
    named("other table", &LogicalKey::other), named("other columns", &LogicalKey::otherColumns)};

template <>
inline constexpr std::tuple kAttributes<Permission>{
    named("effect", &Permission::effect),
    named("action", &Permission::action),
    named("to", &Permission::grantee),
    Attribute{"columns", &Permission::columns},
    Attribute{"condition", &Permission::condition},
    Attribute{"grant option", &Permission::grantOption},
    Attribute{"granted by", &Permission::grantor, Family::grantors}};

template <>
inline constexpr std::tuple kAttributes<Table>{
    named("name", &Table::name),
    Attribute{"proxy", &Table::proxyKind, Family::proxies},
    Attribute{"at", &Table::proxyPlace, Family::proxies},
    Attribute{"lock", &Table::lock, Family::lock},
    Attribute{"segment", &Table::segment, Family::segments},
    Attribute{"identity_gap", &Table::identityGap, Family::identityGap},
    Attribute{"identity_burn_max", &Table::identityBurnMax, Family::identityBurn},
    Attribute{"fillfactor", &Table::fillFactor, Family::fillFactor},
    Attribute{"max_rows_per_page", &Table::maxRowsPerPage, Family::fillFactor},
    Attribute{"exp_row_size", &Table::expectedRowSize, Family::fillFactor},
    Attribute{"reservepagegap", &Table::reservePageGap, Family::fillFactor},
    Attribute{"concurrency_opt_threshold", &Table::concurrencyThreshold, Family::lock},
    Attribute{"optimistic_index_lock", &Table::optimisticIndexLock, Family::lock},
    Attribute{"latch_free_index", &Table::latchFree, Family::latches},
    Attribute{"dealloc_first_txtpg", &Table::deallocatesFirstTextPage, Family::fillFactor},
    Attribute{"compression", &Table::compression, Family::compression},
    Attribute{"index_compression", &Table::indexCompression, Family::compression},
    Attribute{"lob_compression", &Table::lobCompression, Family::compression},
    Attribute{"dml_logging", &Table::logging, Family::logging},
    Attribute{"transfer table", &Table::transfer, Family::logging},
    Attribute{"erase residual data", &Table::erasure, Family::logging},
    Attribute{"cache", &Table::cache, Family::caches},
    Attribute{"cache strategy", &Table::cacheStrategy, Family::caches},
    Attribute{"parallel degree", &Table::parallelDegree, Family::caches},
    Attribute{"page lock promotion", &Table::pageLockPromotion, Family::caches},
    Attribute{"row lock promotion", &Table::rowLockPromotion, Family::caches},
    Attribute{"replicated", &Table::replicated, Family::replication},
    Attribute{"replication modes", &Table::replicationModes, Family::replicationModes},
    Attribute{"partitioned by", &Table::partitionKind, Family::partitions},
    Attribute{"partition columns", &Table::partitionColumns, Family::partitions},
    Attribute{"rows", &Table::rowCount, Family::rowCounts}};
template <>
inline constexpr std::tuple kParts<Table>{Parts{Kind::column, &Table::columns, Order::compared},
                                          Parts{Kind::key, &Table::keys},
                                          Parts{Kind::foreignKey, &Table::foreignKeys},
                                          Parts{Kind::check, &Table::checks},
                                          Parts{Kind::index, &Table::indexes},
                                          Parts{Kind::partition, &Table::partitions},
                                          Parts{Kind::trigger, &Table::triggers},
                                          Parts{Kind::logicalKey, &Table::logicalKeys},
                                          Parts{Kind::permission, &Table::permissions}};

template <>
inline constexpr std::tuple kAttributes<ViewColumn>{
    named("name", &ViewColumn::name),
    Attribute{"type", &ViewColumn::type, Family::always, Style::bare}};

template <>
inline constexpr std::tuple kAttributes<View>{
    named("name", &View::name), Attribute{"definition", &View::definition, Family::definitions},
    Attribute{"precomputed", &View::precomputed, Family::always, Style::labelled,
              Origin::definition},
    Attribute{"columns known", &View::columnsKnown, Family::always, Style::labelled,
              Origin::definition}};
template <>
inline constexpr std::tuple kParts<View>{
    Parts{Kind::column, &View::columns, Order::compared, Origin::definition},
    Parts{Kind::trigger, &View::triggers}, Parts{Kind::logicalKey, &View::logicalKeys},
    Parts{Kind::permission, &View::permissions}};

template <>
inline constexpr std::tuple kAttributes<Parameter>{
    named("name", &Parameter::name),
    Attribute{"type", &Parameter::type, Family::always, Style::bare},
    Attribute{"output", &Parameter::output}};

template <>
inline constexpr std::tuple kAttributes<Procedure>{
    named("name", &Procedure::name),
    named("number", &Procedure::number),
    Attribute{"language", &Procedure::language},
    Attribute{"definition", &Procedure::definition, Family::definitions},
    Attribute{"mode", &Procedure::mode, Family::procedureMode},
    Attribute{"replicated", &Procedure::replicated, Family::replication},
    Attribute{"replication modes", &Procedure::replicationModes, Family::replicationModes}};
template <>
inline constexpr std::tuple kParts<Procedure>{
    Parts{Kind::parameter, &Procedure::parameters, Order::compared, Origin::definition},
    Parts{Kind::permission, &Procedure::permissions}};

template <>
inline constexpr std::tuple kAttributes<Function>{
    named("name", &Function::name), Attribute{"language", &Function::language},
    Attribute{"definition", &Function::definition, Family::definitions},
    Attribute{"returns", &Function::returns, Family::always, Style::labelled, Origin::definition}};
template <>
inline constexpr std::tuple kParts<Function>{
    Parts{Kind::parameter, &Function::parameters, Order::compared, Origin::definition},
    Parts{Kind::permission, &Function::permissions}};

template <>
inline constexpr std::tuple kAttributes<Rule>{
    named("name", &Rule::name),
    Attribute{"access", &Rule::access, Family::always, Style::labelled, Origin::definition},
    Attribute{"definition", &Rule::definition, Family::definitions}};

template <>
inline constexpr std::tuple kAttributes<Default>{
    named("name", &Default::name),
    Attribute{"definition", &Default::definition, Family::definitions}};

template <>
inline constexpr std::tuple kAttributes<UserType>{
    named("name", &UserType::name), Attribute{"base", &UserType::base, Family::always, Style::bare},
    Attribute{"default", &UserType::defaultValue, Family::defaults},
    Attribute{"rule", &UserType::rule, Family::rules},
    Attribute{"access rule", &UserType::accessRule, Family::rules}};

template <>
inline constexpr std::tuple kAttributes<User>{
    named("name", &User::name), Attribute{"login", &User::login}, Attribute{"group", &User::group},
    Attribute{"roles", &User::roles, Family::roles}};

template <>
inline constexpr std::tuple kAttributes<Alias>{named("login", &Alias::login),
                                               Attribute{"user", &Alias::user}};

template <>
inline constexpr std::tuple kAttributes<Group>{named("name", &Group::name)};

template <>
inline constexpr std::tuple kAttributes<Role>{named("name", &Role::name),
                                              Attribute{"roles", &Role::roles}};

template <>
inline constexpr std::tuple kAttributes<EncryptionKey>{
    named("name", &EncryptionKey::name),
    Attribute{"kind", &EncryptionKey::kind},
    Attribute{"algorithm", &EncryptionKey::algorithm},
    Attribute{"key length", &EncryptionKey::length},
    Attribute{"random initial vector", &EncryptionKey::randomVector, Family::keyOptions},
    Attribute{"random padding", &EncryptionKey::randomPadding, Family::keyOptions},
    Attribute{"password", &EncryptionKey::hasPassword, Family::keyOptions},
    Attribute{"dual control", &EncryptionKey::dualControl, Family::keyOptions},
    Attribute{"copies", &EncryptionKey::copies}};
template <>
inline constexpr std::tuple kParts<EncryptionKey>{
    Parts{Kind::permission, &EncryptionKey::permissions}};

template <>
inline constexpr std::tuple kAttributes<Message>{
    named("number", &Message::number), named("language", &Message::language),
    Attribute{"text", &Message::text, Family::always, Style::bare}};

template <>
inline constexpr std::tuple kAttributes<Threshold>{
    named("segment", &Threshold::segment), named("free pages", &Threshold::freePages),
    Attribute{"procedure", &Threshold::procedure},
    Attribute{"last chance", &Threshold::lastChance}};

template <>
inline constexpr std::tuple kAttributes<DatabaseOption>{named("name", &DatabaseOption::name)};
template <>
inline constexpr std::tuple kAttributes<Segment>{named("name", &Segment::name)};

template <>
inline constexpr std::tuple kAttributes<Settings>{
    Attribute{"owner", &Settings::owner, Family::owner},
    Attribute{"cache", &Settings::cache, Family::caches},
    Attribute{"page lock promotion", &Settings::pageLockPromotion, Family::caches},
    Attribute{"row lock promotion", &Settings::rowLockPromotion, Family::caches}};
template <>
inline constexpr std::tuple kParts<Settings>{
    Parts{Kind::option, &Settings::options}, Parts{Kind::segment, &Settings::segments},
    Parts{Kind::threshold, &Settings::thresholds}, Parts{Kind::permission, &Settings::permissions}};

/// The objects of a database, in the order of reports; its settings, which are one, come before.
inline constexpr std::tuple kObjects{Parts{Kind::table, &Database::tables},
                                     Parts{Kind::view, &Database::views},
                                     Parts{Kind::procedure, &Database::procedures},
                                     Parts{Kind::function, &Database::functions},
                                     Parts{Kind::rule, &Database::rules},
                                     Parts{Kind::defaultObject, &Database::defaults},
                                     Parts{Kind::type, &Database::types},
                                     Parts{Kind::user, &Database::users},
                                     Parts{Kind::alias, &Database::aliases},
                                     Parts{Kind::group, &Database::groups},
                                     Parts{Kind::role, &Database::roles},
                                     Parts{Kind::encryptionKey, &Database::encryptionKeys},
                                     Parts{Kind::message, &Database::messages}};

/// Calls visit(attribute) for each attribute of the record.
template <class Record, class Visit>
constexpr void forEachAttribute(Visit&& visit) {
  std::apply([&](const auto&... one) { (visit(one), ...); }, kAttributes<Record>);
}
/// Calls visit(parts) for each list of parts of the record.
template <class Record, class Visit>
constexpr void forEachParts(Visit&& visit) {
  std::apply([&](const auto&... one) { (visit(one), ...); }, kParts<Record>);
}
template <class Visit>
constexpr void forEachObjects(Visit&& visit) {
  std::apply([&](const auto&... one) { (visit(one), ...); }, kObjects);
}

}  // namespace kelvane::inventory
