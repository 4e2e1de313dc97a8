// Objects that have another name in the source, as the user says: a comparison cannot know.
//
// Lifetime: plain values. Threading: free functions without state.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "change_script/steps.h"
#include "inventory/records.h"

namespace kelvane::change_script {

/// dbo.t1=t2, or with a column or index of the table: dbo.customer.fax=phone2.
struct Rename {
  inventory::QualifiedName table;
  std::string part;  ///< none: the table itself
  std::string to;    ///< without owner and table
  std::string text;  ///< as the user wrote it
};

/// None where the text is no such hint. Parts with dots stand in double quotes.
std::optional<Rename> parseRename(std::string_view text);

/// Gives the table, column or index its new name, wherever the records name it; texts stay. Why it
/// cannot be done, if so: what the hint names is not in the target, or its new name is.
std::optional<std::string> rename(inventory::Database& target, const Rename& rename);

/// Whether the database has the table, column or index under its new name.
bool hasNewName(const inventory::Database& database, const Rename& rename);

/// sp_rename, where it has not run yet.
Step stepOf(const Rename& rename);

}  // namespace kelvane::change_script
