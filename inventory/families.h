// Families of attributes and parts that a comparison can leave out, each by one word.
//
// Constants.
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace kelvane::inventory {

enum class Family : std::uint8_t {
  always,  ///< what makes an object what it is; cannot be left out
  aliases,
  caches,
  checks,
  columnOrder,
  compression,
  defaults,
  definitions,
  encryption,
  fillFactor,
  foreignKeys,
  grantors,
  identityBurn,
  identityGap,
  indexes,
  keyOptions,
  keys,
  latches,
  lock,
  logging,
  logicalKeys,
  messages,
  options,
  owner,
  partitions,
  permissions,
  procedureMode,
  proxies,
  quotedIdentifier,
  replication,
  replicationModes,
  roles,
  rowCounts,
  rules,
  segments,
  thresholds,
  triggers,
  users,
};
inline constexpr std::size_t kFamilyCount = static_cast<std::size_t>(Family::users) + 1;

using Families = std::bitset<kFamilyCount>;

struct FamilyRow {
  Family family;
  std::string_view word;   ///< what a user writes
  std::string_view about;  ///< what it stands for
};

inline constexpr std::array<FamilyRow, kFamilyCount> kFamilies{{
    {Family::always, "", ""},
    {Family::aliases, "aliases", "logins that are aliases of users"},
    {Family::caches, "caches", "cache bindings and strategies, lock promotion, parallel degree"},
    {Family::checks, "checks", "check constraints"},
    {Family::columnOrder, "column-order", "the order of columns"},
    {Family::compression, "compression", "compression of tables, columns and indexes"},
    {Family::defaults, "defaults", "defaults of columns and types, default objects"},
    {Family::definitions, "definitions", "texts of views, procedures, functions, triggers, rules"},
    {Family::encryption, "encryption", "encryption keys and encrypted columns"},
    {Family::fillFactor, "fillfactor",
     "fillfactor, max_rows_per_page, reservepagegap, exp_row_size"},
    {Family::foreignKeys, "foreign-keys", "foreign keys"},
    {Family::grantors, "grantors", "who granted a permission"},
    {Family::identityBurn, "identity-burn", "identity_burn_max"},
    {Family::identityGap, "identity-gap", "identity_gap"},
    {Family::indexes, "indexes", "indexes"},
    {Family::keyOptions, "key-options", "init_vector, pad and passwd of encryption keys"},
    {Family::keys, "keys", "primary keys and unique constraints"},
    {Family::latches, "latches", "latch_free_index"},
    {Family::lock, "lock", "lock schemes, optimistic_index_lock, concurrency_opt_threshold"},
    {Family::logging, "logging", "dml_logging, transfer table, erase residual data"},
    {Family::logicalKeys, "logical-keys", "keys of sp_primarykey, sp_foreignkey, sp_commonkey"},
    {Family::messages, "messages", "messages of sp_addmessage and sp_bindmsg"},
    {Family::options, "options", "options of the database"},
    {Family::owner, "owner", "the owner of the database"},
    {Family::partitions, "partitions", "partitions of tables and indexes"},
    {Family::permissions, "permissions", "permissions"},
    {Family::procedureMode, "procedure-mode", "transaction modes of sp_procxmode"},
    {Family::proxies, "proxies", "places of proxy tables"},
    {Family::quotedIdentifier, "quoted-identifier", "quoted_identifier when a text was created"},
    {Family::replication, "replication", "marks for replication"},
    {Family::replicationModes, "replication-modes",
     "owner_on, use_index, never, table, log_current of what is replicated"},
    {Family::roles, "roles", "roles and to whom they are granted"},
    {Family::rowCounts, "row-counts", "numbers of rows"},
    {Family::rules, "rules", "rules of columns and types, rule objects"},
    {Family::segments, "segments", "segments and what is on them"},
    {Family::thresholds, "thresholds", "thresholds of segments"},
    {Family::triggers, "triggers", "triggers"},
    {Family::users, "users", "users and groups"},
}};

constexpr const FamilyRow& rowOf(Family family) {
  return kFamilies[static_cast<std::size_t>(family)];
}

/// All but numbers of rows, in which databases of one schema differ by nature.
inline Families usualFamilies() {
  Families all;
  return all.set().reset(static_cast<std::size_t>(Family::rowCounts));
}

/// What the embedded catalog tells and a server does not: where its catalog keeps them is not
/// published, or, of identity_burn_max, it has the highest value that was used instead.
inline Families unpublishedFamilies() {
  Families all;
  for (const Family one : {Family::compression, Family::identityBurn, Family::keyOptions,
                           Family::latches, Family::logging, Family::replicationModes})
    all.set(static_cast<std::size_t>(one));
  return all;
}

inline std::optional<Family> familyOf(std::string_view word) {
  for (const FamilyRow& row : kFamilies) {
    if (!row.word.empty() && row.word == word) return row.family;
  }
  return std::nullopt;
}

}  // namespace kelvane::inventory
