// What the bits of the server's status columns mean.
//
// Constants.
#pragma once

#include <cstdint>

namespace kelvane::inventory {

namespace object_status {
// sysobjects.sysstat
inline constexpr int kReplicated = 0x8000;
// sysobjects.sysstat2
inline constexpr int kChained = 16, kAnyMode = 32;
inline constexpr int kRemote = 0x400, kProxy = 0x800;
inline constexpr int kDataPages = 0x4000, kDataRows = 0x8000;
inline constexpr int kInsertDisabled = 0x100000, kDeleteDisabled = 0x200000,
                     kUpdateDisabled = 0x400000;
inline constexpr int kAccessRule = 0x1000000;
inline constexpr int kJava = 0x2000000;
inline constexpr int kDeallocatesFirstTextPage = 0x8000000, kOptimisticIndexLock = 0x10000000;
}  // namespace object_status

namespace column_status {
// syscolumns.status
inline constexpr int kNullable = 8, kIdentity = 128;
// The same of text and image columns, in the bits that place a bit column.
inline constexpr int kAlwaysReplicated = 1, kReplicatedIfChanged = 2;
// syscolumns.status2, of parameters
inline constexpr int kOutput = 2, kInputOutput = 4;
// syscolumns.status2, of columns
inline constexpr int kMaterialized = 0x20, kEncrypted = 0x80;
// syscolumns.status3
inline constexpr int kHidden = 1;
// syscolumns.xstatus
inline constexpr int kOffRow = 1;
}  // namespace column_status

namespace index_status {
// sysindexes.status
inline constexpr int kIgnoreDuplicateKey = 1, kUnique = 2, kIgnoreDuplicateRow = 4, kClustered = 16,
                     kAllowDuplicateRow = 64, kPrimaryKey = 2048;
// sysindexes.status2
inline constexpr int kConstraint = 2, kGeneratedName = 8, kNoPrefetch = 16, kNoMru = 32,
                     kPlacement = 512;
// sysindexes.status3
inline constexpr int kLocal = 8;
}  // namespace index_status

namespace reference_status {
inline constexpr int kMatchFull = 2;
}

namespace constraint_status {
inline constexpr int kReferential = 0x40, kCheck = 0x80;
// Of triggers, where the same bits mean something else.
inline constexpr int kOnDelete = 0x80, kOnInsert = 0x100, kOnUpdate = 0x200, kDisabled = 0x400;
}  // namespace constraint_status

namespace text_status {
inline constexpr int kHidden = 1, kQuotedIdentifier = 4;
}

namespace procedure_status {
inline constexpr int kInline = 4096;  ///< the default or check was declared with its table
}

namespace key_status {
// sysencryptkeys.type
inline constexpr int kDefault = 2, kCopy = 4;
}  // namespace key_status

namespace threshold_status {
inline constexpr int kLastChance = 1;
}

// Bits of the embedded catalog. The server keeps these facts too, but where is not published; the
// same bits of a server may mean anything and are not looked at.
namespace embedded_status {
// sysobjects.sysstat3
inline constexpr int kFullLogging = 0x1, kMinimalLogging = 0x2;
inline constexpr int kTransferOff = 0x4, kTransferOn = 0x8;
inline constexpr int kErasureOff = 0x10, kErasureOn = 0x20;
inline constexpr int kNotCompressed = 0x100, kRowCompressed = 0x200, kPageCompressed = 0x400;
inline constexpr int kIndexesNotCompressed = 0x800, kIndexesPageCompressed = 0x1000;
inline constexpr int kLatchFreeOff = 0x2000, kLatchFreeOn = 0x4000;
inline constexpr int kReplicatesOwner = 0x10000, kReplicatesByIndex = 0x20000,
                     kNeverReplicated = 0x40000, kReplicatesTable = 0x100000,
                     kReplicationLogsCurrent = 0x200000;
// syscolumns.status2
inline constexpr int kColumnNotCompressed = 0x20000, kColumnCompressed = 0x40000;
// sysindexes.status3
inline constexpr int kIndexPageCompressed = 0x1000, kIndexLatchFree = 0x2000;
// sysencryptkeys.status
inline constexpr int kRandomVector = 1, kRandomPadding = 2, kPassword = 4, kDualControl = 16;
}  // namespace embedded_status

}  // namespace kelvane::inventory
