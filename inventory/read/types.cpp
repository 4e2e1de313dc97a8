#include "inventory/read/types.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace kelvane::inventory {
namespace {

/// What a declaration says behind the name of a type.
enum class Length : std::uint8_t { none, bytes, national, unicode, precision };

struct SystemType {
  int userType;
  std::string_view name;
  Length length = Length::none;
};

// By systypes.usertype. The nullable twins (intn, ...) are missing: nothing is declared with them.
constexpr SystemType kSystemTypes[] = {
    {1, "char", Length::bytes},
    {2, "varchar", Length::bytes},
    {3, "binary", Length::bytes},
    {4, "varbinary", Length::bytes},
    {5, "tinyint"},
    {6, "smallint"},
    {7, "int"},
    {8, "float"},
    {10, "numeric", Length::precision},
    {11, "money"},
    {12, "datetime"},
    {16, "bit"},
    {18, "sysname"},
    {19, "text"},
    {20, "image"},
    {21, "smallmoney"},
    {22, "smalldatetime"},
    {23, "real"},
    {24, "nchar", Length::national},
    {25, "nvarchar", Length::national},
    {26, "decimal", Length::precision},
    {34, "unichar", Length::unicode},
    {35, "univarchar", Length::unicode},
    {36, "unitext"},
    {37, "date"},
    {38, "time"},
    {42, "longsysname"},
    {43, "bigint"},
    {44, "unsigned smallint"},
    {45, "unsigned int"},
    {46, "unsigned bigint"},
    {50, "bigdatetime"},
    {51, "bigtime"},
    {80, "timestamp"},
};

struct Storage {
  int type;
  int userType;
  int length = 0;  ///< in bytes, of a type that several share
};

// By the storage code, also of columns that take null, where several types share one.
constexpr Storage kStorages[] = {
    {34, 20},     {35, 19},     {37, 4},   {38, 5, 1},   {38, 6, 2},  {38, 7, 4},   {38, 43, 8},
    {39, 2},      {45, 3},      {47, 1},   {48, 5},      {49, 37},    {50, 16},     {51, 38},
    {52, 6},      {55, 26},     {56, 7},   {58, 22},     {59, 23},    {60, 11},     {61, 12},
    {62, 8},      {63, 10},     {65, 44},  {66, 45},     {67, 46},    {68, 44, 2},  {68, 45, 4},
    {68, 46, 8},  {106, 26},    {108, 10}, {109, 23, 4}, {109, 8, 8}, {110, 21, 4}, {110, 11, 8},
    {111, 22, 4}, {111, 12, 8}, {122, 21}, {123, 37},    {135, 34},   {147, 38},    {155, 35},
    {174, 36},    {187, 50},    {188, 51}, {189, 50},    {190, 51},   {191, 43},
};

constexpr int kFloat = 8, kReal = 23;
constexpr int kRealBytes = 4;

const SystemType* systemType(int userType) {
  const auto* found = std::ranges::find(kSystemTypes, userType, &SystemType::userType);
  return found == std::end(kSystemTypes) ? nullptr : found;
}

/// 0 if the code is not known.
int userTypeOf(const StoredType& stored) {
  for (const Storage& storage : kStorages) {
    if (storage.type == stored.type && (storage.length == 0 || storage.length == stored.length))
      return storage.userType;
  }
  return 0;
}

}  // namespace

void Types::addSystemType(int userType, int hierarchy, std::string name) {
  if (const SystemType* known = systemType(userType)) {
    // Types that share a place are told apart by their storage; of nchar and char, or sysname and
    // varchar, nothing tells which one was meant.
    int& first = byHierarchy_[hierarchy];
    if (first == 0 || known->userType < first) first = known->userType;
  } else {
    systemTypes_[userType] = std::move(name);
  }
}

DataType Types::ofServer(int userType, const StoredType& stored) const {
  const SystemType* type = systemType(userType);
  if (type == nullptr) type = systemType(userTypeOf(stored));
  DataType declared;
  if (type == nullptr) {
    const auto named = systemTypes_.find(userType);
    declared.name =
        named == systemTypes_.end() ? "type " + std::to_string(stored.type) : named->second;
    return declared;
  }
  if (type->userType == kFloat && stored.length == kRealBytes) type = systemType(kReal);
  declared.name = type->name;
  switch (type->length) {
    case Length::none:
      break;
    case Length::bytes:
      declared.length = stored.length;
      break;
    case Length::national:
      declared.length = stored.length / ncharSize_;
      break;
    case Length::unicode:
      declared.length = stored.length / unicharSize_;
      break;
    case Length::precision:
      if (stored.precision) declared.precision = static_cast<std::int16_t>(*stored.precision);
      if (stored.scale) declared.scale = static_cast<std::int16_t>(*stored.scale);
      break;
  }
  return declared;
}

DataType Types::declared(const StoredType& stored) const {
  if (isUserType(stored.userType)) {
    const auto type = userTypes_.find(stored.userType);
    if (type != userTypes_.end()) {
      DataType declared;
      declared.owner = type->second.owner;
      declared.name = type->second.name;
      return declared;
    }
    return ofServer(0, stored);
  }
  return ofServer(stored.userType, stored);
}

DataType Types::base(const StoredType& stored) const {
  // A char that takes null is stored as a varchar; its place among the types says what it is.
  constexpr std::array kSharedCodes{37, 39, 155};
  if (std::ranges::count(kSharedCodes, stored.type) != 0) {
    const auto found = byHierarchy_.find(stored.hierarchy);
    if (found != byHierarchy_.end()) return ofServer(found->second, stored);
  }
  return ofServer(0, stored);
}

}  // namespace kelvane::inventory
