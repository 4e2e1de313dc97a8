// What the bits of the system tables' status columns mean, and the numbers of special indexes.
//
// Constants.
#pragma once

#include <cstddef>

namespace kelvane::embedded {

namespace index_status {
inline constexpr int kIgnoreDuplicateKey = 1;
inline constexpr int kUnique = 2;
inline constexpr int kIgnoreDuplicateRow = 4;
inline constexpr int kClustered = 16;
inline constexpr int kAllowDuplicateRow = 64;
inline constexpr int kPrimaryKey = 2048;
}  // namespace index_status

namespace index_status2 {
inline constexpr int kSupportsForeignKey = 1;
inline constexpr int kConstraint = 2;
inline constexpr int kHasIdentity = 4;
inline constexpr int kGeneratedName = 8;
inline constexpr int kPlacement = 512;  ///< clustered, of a data-only-locked table
}  // namespace index_status2

namespace column_status2 {
inline constexpr int kComputed = 0x10;
inline constexpr int kMaterialized = 0x20;
}  // namespace column_status2

namespace table_status2 {
inline constexpr int kReferenced = 1;
inline constexpr int kForeignKey = 2;
inline constexpr int kSeveralChecks = 4;
inline constexpr int kPrimaryKey = 8;
inline constexpr int kIdentity = 64;
inline constexpr int kClusteredIndex = 0x20000;
inline constexpr int kAllPages = 0x2000;
inline constexpr int kDataPages = 0x4000;
inline constexpr int kDataRows = 0x8000;
inline constexpr int kLockMask = kAllPages | kDataPages | kDataRows;
}  // namespace table_status2

namespace rule_status2 {
inline constexpr int kAccess = 0x1000000;
}  // namespace rule_status2

inline constexpr int kHeapIndid = 0;
inline constexpr int kClusteredIndid = 1;
inline constexpr int kTextIndid = 255;
inline constexpr std::size_t kLargestKeyCount = 31;
inline constexpr std::size_t kMostReferenceColumns = 16;

namespace reference_status {
inline constexpr int kMatchFull = 2;
}

namespace constraint_status {
inline constexpr int kReferential = 0x40;
inline constexpr int kCheck = 0x80;
inline constexpr int kComputed = 0x100;
}  // namespace constraint_status

namespace column_status {
inline constexpr int kBitPosition = 7;
inline constexpr int kNullable = 8;
inline constexpr int kSeveralChecks = 16;
inline constexpr int kIdentity = 128;
// Of text and image columns, in the bits that say the position of a bit column.
inline constexpr int kAlwaysReplicated = 1;
inline constexpr int kReplicatedIfChanged = 2;
inline constexpr int kReplication = kAlwaysReplicated | kReplicatedIfChanged;
}  // namespace column_status

namespace column_status3 {
inline constexpr int kHidden = 1;  ///< a key that is an expression
}

namespace comment_status {
inline constexpr int kHidden = 1;
}  // namespace comment_status

namespace procedure_status2 {
inline constexpr int kChained = 16;
inline constexpr int kAnyMode = 32;
}  // namespace procedure_status2

namespace procedure_status {
inline constexpr int kInline = 4096;  ///< the default or check was declared with its table
}

}  // namespace kelvane::embedded
