// The enumerations of the published interface, for C++ and for the type library, which takes them
// from here too.
//
// Lifetime and threading: constants.
//
// Names and values are published, the two enumerators of value 40 and the small letters of some
// included.
#pragma once

#ifdef __cplusplus
#include <cstdint>
#define KELVANE_INT32 : std::int32_t
namespace kelvane {
#else
#define KELVANE_INT32
#endif

// Selects a category in IDBFetch::GetList.
enum enumEntityType KELVANE_INT32 {
  entity_TABLE = 0,
  entity_VIEW = 1,
  entity_STOREDPROC = 2,
  entity_UDDT = 3,
  entity_GROUP = 4,
  entity_USER = 5,
  entity_FUNCTION = 6,
};

// The object kind reported in progress events. Users, groups and types stand in another order than
// in enumEntityType.
enum enumObjectType KELVANE_INT32 {
  OBJECT_IRRELEVANT = -1,
  OBJECT_TABLE = 0,
  OBJECT_VIEW = 1,
  OBJECT_STOREDPROC = 2,
  OBJECT_USER = 3,
  OBJECT_GROUP = 4,
  OBJECT_UDDT = 5,
  OBJECT_FUNCTION = 6,
  OBJECT_DATA = 7,
  OBJECT_SERVER = 8,
};

// Object and sub-entity kinds in the browsing queries.
enum EntityIdentifier KELVANE_INT32 {
  ID_TABLE = 110,
  ID_VIEW = 180,
  ID_STOREDPROC = 210,
  ID_USER = 70,
  ID_GROUP = 40,
  ID_UDDT = 95,
  ID_Function = 80,
  ID_COLUMN = 10,
  ID_PRIMARY_KEY = 15,
  ID_FOREIGN_KEY = 20,
  ID_REFERENCE = 25,
  ID_INDEX = 30,
  ID_TRIGGER = 35,
  ID_MISC = 40,
  ID_DEFINITION = 45,
  ID_SYSTEM_PERMISSIONS = 50,
  ID_OBJECT_PERMISSIONS = 60,
  ID_GROUP_USERS = 65,
};

enum enumOutputType KELVANE_INT32 {
  output_DiffHTML = 0,
  output_DiffText = 1,
  output_DiffTree = 2,
};

// The side on which a thing exists (diff_DoesNotExist), or from which the report is made
// (diff_Different).
enum enumLocation KELVANE_INT32 {
  location_Source = 0,
  location_target = 1,
};

enum enumDiffType KELVANE_INT32 {
  diff_DoesNotExist = 0,
  diff_Different = 1,
};

#ifdef __cplusplus
}  // namespace kelvane
#endif
#undef KELVANE_INT32
