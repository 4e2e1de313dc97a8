// The steps that make a database like another one.
//
// Lifetime: plain values. Threading: none of their own.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inventory/ddl/script.h"
#include "inventory/kinds.h"

namespace kelvane::change_script {

/// In the order of running. What is in the way goes first; what takes data along goes last.
enum class Stage : std::uint8_t {
  hints,           ///< renames that the user says; all else knows the new names
  checks,          ///< what must hold before anything is done
  dropReferences,  ///< foreign keys
  dropCompiled,    ///< triggers and views that are made again or go
  dropIndexes,     ///< indexes, constraints, checks
  freedColumns,    ///< get the base of their type while that is made again
  freedTypes,      ///< the drop of that
  settings,
  principals,
  values,   ///< defaults, rules, types, encryption keys
  renames,  ///< of tables that are made again
  tables,
  copies,  ///< of the rows of tables that are made again
  columns,
  indexes,     ///< and the constraints that they enforce, checks
  references,  ///< foreign keys, logical keys
  bindings,
  compiled,
  triggers,
  permissions,
  drops,
  endings,
  closing,
};
std::string_view headingOf(Stage stage);

/// What a step may take away from those who use the target.
enum class Danger : std::uint8_t {
  dropTable,
  dropColumn,
  dropObject,
  narrow,
  convert,
  nullToNotNull,
  rebuild,
  revoke,
};
struct DangerRow {
  Danger danger;
  std::string_view word;  ///< drop-table
  std::string_view what;
  bool concernsRows;  ///< of a table
};
inline constexpr std::array<DangerRow, 8> kDangers{{
    {Danger::dropTable, "drop-table", "a table goes with its rows", true},
    {Danger::dropColumn, "drop-column", "a column goes with its values", true},
    {Danger::dropObject, "drop-object", "something that holds no rows goes", false},
    {Danger::narrow, "narrow", "values may not fit", true},
    {Danger::convert, "convert", "values get another type", true},
    {Danger::nullToNotNull, "null-to-not-null", "rows may have no value", true},
    {Danger::rebuild, "rebuild", "a table is made again and its rows are copied", true},
    {Danger::revoke, "revoke", "somebody loses a right", false},
}};
constexpr const DangerRow& rowOf(Danger danger) {
  return kDangers[static_cast<std::size_t>(danger)];
}

/// Which dangers the user takes.
class Allowed {
 public:
  void add(Danger danger) { always_ |= bit(danger); }
  /// For tables without rows.
  void addWhereEmpty(Danger danger) { whereEmpty_ |= bit(danger); }
  bool has(Danger danger) const { return (always_ & bit(danger)) != 0; }
  bool hasWhereEmpty(Danger danger) const { return (whereEmpty_ & bit(danger)) != 0; }

 private:
  static constexpr unsigned bit(Danger danger) { return 1U << static_cast<unsigned>(danger); }
  unsigned always_ = 0, whereEmpty_ = 0;
};

struct Step {
  Stage stage = Stage::settings;
  inventory::Kind kind = inventory::Kind::table;
  std::string object;      ///< that it belongs to: dbo.customer
  std::string difference;  ///< that it ends, in one line; several lines for several
  std::vector<inventory::Batch> batches;
  std::vector<Danger> dangers = {};
  bool copiesData = false;                ///< of the table
  std::optional<std::int64_t> rows = {};  ///< that it concerns at most, where they were counted
  std::vector<std::size_t> needs = {};    ///< other steps, by their position
  bool isAllowed = true;                  ///< so is all that it needs
  /// Those that the user would have to allow: its own, and those of all that it needs.
  std::vector<Danger> missing = {};
  bool isPossible = true;  ///< false: no class that is allowed helps, here or in what it needs

  /// Takes over what another step ends, but for its first batch.
  void absorb(Step other);
};

struct ChangeScript {
  std::vector<Step> steps;                     ///< in the order of running
  std::vector<inventory::Omission> omissions;  ///< differences for which there is no statement
};

}  // namespace kelvane::change_script
