// What a comparison cannot say where a part of a catalog could not be read.
//
// Lifetime: constants. Threading: free functions without state.
#pragma once

#include <array>
#include <initializer_list>
#include <optional>
#include <string_view>

#include "inventory/families.h"
#include "inventory/records.h"

namespace kelvane::inventory {

/// A part of the catalog that one statement of the reader asks for, and what is not known without
/// it: families, or so much that nothing can be compared.
struct UnreadPart {
  std::string_view what;  ///< as Gap::what
  bool isEssential = false;
  Families lost = {};
};

constexpr UnreadPart essential(std::string_view what) { return {what, true, {}}; }
constexpr UnreadPart unread(std::string_view what, std::initializer_list<Family> families) {
  unsigned long long bits = 0;
  for (const Family one : families) bits |= 1ULL << static_cast<unsigned>(one);
  return {what, false, Families(bits)};
}

inline constexpr std::array kUnreadParts{
    essential("server"),
    essential("columns of the catalog"),
    essential("users"),
    essential("types"),
    essential("objects"),
    essential("columns"),
    // Tells groups and roles apart.
    unread("roles", {Family::roles, Family::permissions, Family::users}),
    unread("aliases", {Family::aliases}),
    unread("roles of logins", {Family::roles}),
    unread("roles of roles", {Family::roles}),
    unread("options of the database", {Family::options, Family::owner}),
    unread("character set and sort order", {}),
    unread("names of permissions", {Family::permissions}),
    unread("segments", {Family::segments, Family::thresholds}),
    unread("thresholds", {Family::thresholds}),
    essential("constraints"),  // tells checks and rules, unique constraints and indexes apart
    unread("compiled objects", {Family::definitions, Family::defaults, Family::checks}),
    unread("indexes", {Family::keys, Family::indexes, Family::foreignKeys, Family::fillFactor,
                       Family::identityGap, Family::lock, Family::segments, Family::partitions,
                       Family::caches}),
    unread("columns of indexes", {Family::keys, Family::indexes}),
    unread("foreign keys", {Family::foreignKeys}),
    unread("partitions", {Family::partitions}),
    unread("columns of partitions", {Family::partitions}),
    unread("attributes", {Family::caches, Family::proxies, Family::encryption}),
    unread("encryption keys", {Family::encryption, Family::keyOptions}),
    unread("logical keys", {Family::logicalKeys}),
    unread("definitions",
           {Family::definitions, Family::defaults, Family::checks, Family::partitions}),
    unread("owners of definitions", {}),
    unread("permissions", {Family::permissions}),
    unread("messages", {Family::messages}),
    unread("row counts", {Family::rowCounts}),
    unread("changes meanwhile", {}),
};

/// The part of the catalog that a gap is; null for the gap of a single object.
inline const UnreadPart* partOf(const Gap& gap) {
  for (const UnreadPart& part : kUnreadParts) {
    if (part.what == gap.what) return &part;
  }
  return nullptr;
}

}  // namespace kelvane::inventory
