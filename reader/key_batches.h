// The texts of the statements that read a table's keys and triggers.
//
// They are part of the protocol with the server and go out character for character, their trailing
// blanks and empty lines included. Names are put between single quotes as they are.
//
// Lifetime and threading: free functions without state.
#pragma once

#include <string>
#include <string_view>

namespace kelvane::reader {

// One row per column of the primary key: TableName, index_name, KeySeq, ColName.
std::u16string primaryKeyBatch(std::u16string_view name, std::u16string_view owner);

// One row per column of each foreign key: TableName, ColName, refdb, reftable, RefColName, id,
// constrid, KeySeq, FK_NAME, refPkName.
std::u16string foreignKeyBatch(std::u16string_view name, std::u16string_view owner);

// One row per trigger: TrigName, CreateDate, IsUpdate, IsDelete, IsInsert.
std::u16string triggerBatch(std::u16string_view name, std::u16string_view owner);

}  // namespace kelvane::reader
