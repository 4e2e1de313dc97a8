// What the files about tables share.
//
// Free functions.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "inventory/ddl/generated_names.h"
#include "inventory/ddl/writing.h"

namespace kelvane::inventory {

inline std::string userOf(const Table& table) { return Writing::userFor(table.name.owner); }
/// "table dbo.customer"
std::string titleOf(const Table& table);
/// "table dbo.customer: check positive"
std::string titleOfPart(const Table& table, std::string_view kind, const GivenName& name);

/// seg1, 'default'
std::string segmentName(const std::string& segment);
/// What such a value says of the data and of the pages of texts: "c1; text only: c2".
std::pair<std::string, std::string> dataAndTexts(const std::string& value,
                                                 std::string_view separator);

enum class StorageOwner : std::uint8_t { constraint, index };

/// Behind the keys of an index or a constraint. What cannot be declared there is left out.
void addStorage(Writing& writing, Statement& statement, const Table& table, const std::string& what,
                const IndexStorage& storage, std::vector<std::string> options, StorageOwner owner);
void addKeyColumns(Statement& statement, const IndexStorage& storage);
/// (p1 values <= (10) on seg1, p2 values <= (20))
void addPartitions(Statement& statement, const std::vector<Partition>& partitions);

/// The one that the column gets: before 15 an identity is numeric.
ColumnType typeFor(const Writing& writing, const Column& column);
/// As in create table: "a int default 0 not null". What the release lacks is left out, in the phase
/// of tables.
Statement columnText(Writing& writing, const Table& table, const Column& column);

// The files of a table; each adds the batches for what it is called after.
bool writeTable(Writing& writing, const Table& table);
void writeIndexes(Writing& writing, const Table& table);
void writeForeignKeys(Writing& writing, const Table& table);
void writeBindings(Writing& writing, const Table& table);
void writeReplication(Writing& writing, const Table& table);
/// `target`: of a table or an index, as procedures call it.
void writeCaches(Writing& writing, const Table& table, const NameInBatch& target,
                 const std::string& cache, const std::string& strategy);

}  // namespace kelvane::inventory
