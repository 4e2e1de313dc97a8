// The 62 switches that say what is read and compared.
//
// Lifetime: made by a host or a reader, shared with whoever it is given to. Threading: one thread
// at a time.
#pragma once

#include <array>
#include <string_view>

#include "model/boolean.h"

namespace kelvane {

// Every switch, in the order of the published interface.
#define KELVANE_SWITCHES(X)               \
  X(Tables)                               \
  X(Views)                                \
  X(StoredProcs)                          \
  X(Users)                                \
  X(Groups)                               \
  X(UDDTs)                                \
  X(Tables_Columns)                       \
  X(Tables_References)                    \
  X(Tables_Indexes)                       \
  X(Tables_Triggers)                      \
  X(Tables_RowCount)                      \
  X(Tables_MaxWidth)                      \
  X(Tables_Data)                          \
  X(Views_Columns)                        \
  X(Views_Definition)                     \
  X(StoredProcs_Columns)                  \
  X(StoredProcs_Definition)               \
  X(Groups_Users)                         \
  X(UDDTs_Definition)                     \
  X(Groups_ObjectPermissions)             \
  X(Groups_SystemPermissions)             \
  X(Users_ObjectPermissions)              \
  X(Users_SystemPermissions)              \
  X(Tables_PrimaryKeys)                   \
  X(Tables_ForeignKeys)                   \
  X(Functions)                            \
  X(Functions_Columns)                    \
  X(Functions_Definition)                 \
  X(Tables_PrimaryKeys_Names)             \
  X(Tables_PrimaryKeys_Attributes)        \
  X(Tables_ForeignKeys_Names)             \
  X(Tables_ForeignKeys_PKRefs)            \
  X(Tables_Indexes_Names)                 \
  X(Tables_Indexes_Descriptions)          \
  X(Tables_Columns_DataTypes)             \
  X(Tables_Columns_Defaults)              \
  X(Tables_Columns_Scales)                \
  X(Tables_Columns_Lengths)               \
  X(Tables_Columns_Nullables)             \
  X(Tables_Columns_OrdinalPositions)      \
  X(Tables_Columns_Precisions)            \
  X(Views_Columns_DataTypes)              \
  X(Views_Columns_Defaults)               \
  X(Views_Columns_Scales)                 \
  X(Views_Columns_Lengths)                \
  X(Views_Columns_Nullables)              \
  X(Views_Columns_OrdinalPositions)       \
  X(Views_Columns_Precisions)             \
  X(StoredProcs_Columns_DataTypes)        \
  X(StoredProcs_Columns_Defaults)         \
  X(StoredProcs_Columns_Scales)           \
  X(StoredProcs_Columns_Lengths)          \
  X(StoredProcs_Columns_Nullables)        \
  X(StoredProcs_Columns_OrdinalPositions) \
  X(StoredProcs_Columns_Precisions)       \
  X(Functions_Columns_DataTypes)          \
  X(Functions_Columns_Defaults)           \
  X(Functions_Columns_Scales)             \
  X(Functions_Columns_Lengths)            \
  X(Functions_Columns_Nullables)          \
  X(Functions_Columns_OrdinalPositions)   \
  X(Functions_Columns_Precisions)

// A bag of plain stored booleans, all False when created. Detail switches (those of columns, keys
// and indexes) act in the reader alone: what is switched off is not read and stays empty on both
// sides.
class cComparisonOptions {
 public:
#define KELVANE_SWITCH(name) Boolean name;
  KELVANE_SWITCHES(KELVANE_SWITCH)
#undef KELVANE_SWITCH

  bool operator==(const cComparisonOptions&) const = default;
};

// A switch by its name and its place in the options.
struct Switch {
  std::u16string_view name;
  Boolean cComparisonOptions::*value;
};

inline constexpr auto kSwitches = std::to_array<Switch>({
#define KELVANE_SWITCH(name) {u## #name, &cComparisonOptions::name},
    KELVANE_SWITCHES(KELVANE_SWITCH)
#undef KELVANE_SWITCH
});
static_assert(kSwitches.size() == 62);

}  // namespace kelvane
