// Where the catalog procedures answer for columns and parameters, and the switches that ask for
// their attributes.
//
// Constants.
#pragma once

#include <cstdint>
#include <string_view>

#include "settings/comparison_options.h"

namespace kelvane::reader {

// Where a kind's column attributes stand in the catalog procedure's result (0-based), and their
// switches.
struct ColumnSource {
  struct Attribute {
    std::int32_t ordinal;
    Boolean cComparisonOptions::*enabled;
  };
  std::u16string_view procedure;
  std::u16string_view call;
  Attribute length, dataType, precision, scale, nullable, defaultText, ordinalPosition;
};

inline constexpr std::int32_t kNameOrdinal = 3;
inline constexpr std::int32_t kSeparateQuery = -1;

inline constexpr ColumnSource kTableColumns = {
    u"PopulateTableColumns",
    u"exec sp_columns ",
    {7, &cComparisonOptions::Tables_Columns_Lengths},
    {5, &cComparisonOptions::Tables_Columns_DataTypes},
    {6, &cComparisonOptions::Tables_Columns_Precisions},
    {8, &cComparisonOptions::Tables_Columns_Scales},
    {10, &cComparisonOptions::Tables_Columns_Nullables},
    {kSeparateQuery, &cComparisonOptions::Tables_Columns_Defaults},
    {18, &cComparisonOptions::Tables_Columns_OrdinalPositions},
};

inline constexpr ColumnSource kViewColumns = {
    u"PopulateViewColumns",
    u"exec sp_columns ",
    {7, &cComparisonOptions::Views_Columns_Lengths},
    {5, &cComparisonOptions::Views_Columns_DataTypes},
    {6, &cComparisonOptions::Views_Columns_Precisions},
    {8, &cComparisonOptions::Views_Columns_Scales},
    {10, &cComparisonOptions::Views_Columns_Nullables},
    {14, &cComparisonOptions::Views_Columns_Defaults},
    {18, &cComparisonOptions::Views_Columns_OrdinalPositions},
};

inline constexpr ColumnSource kProcedureParameters = {
    u"PopulateStoredProcColumns",
    u"exec sp_sproc_columns ",
    {8, &cComparisonOptions::StoredProcs_Columns_Lengths},
    {6, &cComparisonOptions::StoredProcs_Columns_DataTypes},
    {7, &cComparisonOptions::StoredProcs_Columns_Precisions},
    {9, &cComparisonOptions::StoredProcs_Columns_Scales},
    {11, &cComparisonOptions::StoredProcs_Columns_Nullables},
    {15, &cComparisonOptions::StoredProcs_Columns_Defaults},
    {19, &cComparisonOptions::StoredProcs_Columns_OrdinalPositions},
};

// Default and position are taken two places before those of a procedure, from the result of the
// same call: the contract with hosts places them there.
inline constexpr ColumnSource kFunctionParameters = {
    u"PopulateFunctionColumns",
    u"exec sp_sproc_columns ",
    {8, &cComparisonOptions::Functions_Columns_Lengths},
    {6, &cComparisonOptions::Functions_Columns_DataTypes},
    {7, &cComparisonOptions::Functions_Columns_Precisions},
    {9, &cComparisonOptions::Functions_Columns_Scales},
    {11, &cComparisonOptions::Functions_Columns_Nullables},
    {13, &cComparisonOptions::Functions_Columns_Defaults},
    {17, &cComparisonOptions::Functions_Columns_OrdinalPositions},
};

}  // namespace kelvane::reader
