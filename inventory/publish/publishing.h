// What the parts of one publishing share: the inventory, the switches, and who is found by name.
//
// Lifetime: refers to the inventory and the switches. Threading: none of its own.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "inventory/publish/types.h"
#include "inventory/records.h"
#include "model/schema.h"
#include "reader/column_sources.h"
#include "settings/comparison_options.h"

namespace kelvane::inventory {

class Publishing {
 public:
  Publishing(const Database& database, const cComparisonOptions& options);

  const Database& database;
  const cComparisonOptions& options;

  // Null where there is none.
  const Table* table(const QualifiedName& name) const { return found(tables_, name); }
  const Default* defaultObject(const QualifiedName& name) const { return found(defaults_, name); }

  /// A type as sp_columns describes it, that of a user-defined one by its storage.
  DescribedType described(const DataType& type) const;
  /// What the first row of syscomments has of a text.
  std::string_view firstPiece(std::string_view text) const;

  kelvane::Column column(const reader::ColumnSource& source, std::string_view name,
                         const ColumnType& type, const std::string& defaultText,
                         std::int32_t position) const;

  /// Whether the server lists `a` before `b`.
  bool precedes(std::string_view a, std::string_view b) const;
  bool precedes(const QualifiedName& a, const QualifiedName& b) const;
  /// Records in the order in which the server lists them.
  template <class Record>
  std::vector<const Record*> listed(const std::vector<Record>& records) const;

 private:
  template <class Record>
  using ByName = std::map<std::pair<std::string_view, std::string_view>, const Record*>;

  template <class Record>
  static const Record* found(const ByName<Record>& records, const QualifiedName& name) {
    const auto at = records.find({name.owner, name.name});
    return at == records.end() ? nullptr : at->second;
  }

  ByName<Table> tables_;
  ByName<Default> defaults_;
  ByName<UserType> types_;
};

template <class Record>
std::vector<const Record*> Publishing::listed(const std::vector<Record>& records) const {
  std::vector<const Record*> list;
  list.reserve(records.size());
  for (const Record& record : records) list.push_back(&record);
  std::ranges::stable_sort(
      list, [this](const Record* a, const Record* b) { return precedes(a->name, b->name); });
  return list;
}

std::u16string fullName(const std::u16string& owner, const std::u16string& name);

/// The names of a list, with the separator between them.
std::u16string joined(const std::vector<std::string>& names, std::string_view separator);

void publishTables(const Publishing& publishing, Array<kelvane::Table>& tables);
void publishUsers(const Publishing& publishing, Array<kelvane::User>& users);
void publishGroups(const Publishing& publishing, Array<kelvane::Group>& groups);

}  // namespace kelvane::inventory
