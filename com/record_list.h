// The records of the type library, each behind those that it holds, and their identifiers there.
//
// Lifetime and threading: constants.
#pragma once

// X(number, record). A number belongs to its record for good: hosts know the record by it.
#define KELVANE_RECORDS(X) \
  X(1, Column)             \
  X(2, PrimaryKey)         \
  X(3, Key)                \
  X(4, Reference)          \
  X(5, index)              \
  X(6, Trigger)            \
  X(7, Misc)               \
  X(8, PermissionEntity)   \
  X(9, PermissionEntity2)  \
  X(10, Permission)        \
  X(11, Table)             \
  X(12, View)              \
  X(13, StoredProc)        \
  X(14, CodeFunction)      \
  X(15, User)              \
  X(16, Group)             \
  X(17, UDDT)              \
  X(18, Schema)            \
  X(19, typeDiff)          \
  X(20, diffEntity)        \
  X(21, diffTable)         \
  X(22, diffView)          \
  X(23, diffStoredProc)    \
  X(24, diffFunction)      \
  X(25, diffUser)          \
  X(26, diffGroup)         \
  X(27, diffUDDT)          \
  X(28, diffSchema)

// The identifier that ends in so many hexadecimal digits more: 01 and the record's number.
#define KELVANE_RECORD_ID "2590cae9-6f4c-4bda-aed6-9cb1bcfa01"
