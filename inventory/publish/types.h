// How the catalog procedures of release 12.5 describe declared types.
//
// Free functions without state.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "inventory/records.h"

namespace kelvane::inventory {

/// A type as its storage is described.
struct DescribedType {
  std::string name;
  std::int32_t length = 0;  ///< in bytes
  std::int32_t precision = 0;
  std::int16_t scale = 0;
};

/// A type of the server, as in a column's description. A type that is not known has its name alone.
DescribedType describe(const DataType& type, std::int32_t ncharSize);

/// The same of a column whose user-defined type is based on `base`.
DescribedType describeBased(const ColumnType& base, std::int32_t ncharSize);

/// As the row of systypes of a user-defined type: the name is that of the storage, precision and
/// scale are those of numeric and decimal alone.
DescribedType describeBase(const ColumnType& base, std::int32_t ncharSize);

}  // namespace kelvane::inventory
