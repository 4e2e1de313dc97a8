// Definitions of temporary tables: what the catalog does for tables of the user, without a catalog.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "drivers/embedded/engine/frame.h"
#include "drivers/embedded/engine/temporary_tables.h"
#include "drivers/embedded/tsql/ast/tables.h"

namespace kelvane::embedded {

/// What the embedded catalog cannot keep of a temporary table.
tsql::ServerError notKept(const std::string& table, std::string_view what, std::uint32_t line);

/// What a column definition says of a column, but for its place.
ColumnInfo temporaryColumn(const tsql::ColumnDefinition& definition,
                           const std::vector<ColumnInfo>& before, Frame& frame);
/// Their numbers, and where their values are.
void placeColumns(TemporaryTable& table);

class TemporaryWriter {
 public:
  TemporaryWriter(Frame& frame) : frame_(frame) {}

  void create(const tsql::CreateTable& statement);
  /// With its names and types; the rest of its columns is filled in.
  TemporaryTable& add(TemporaryTable table, std::uint32_t line);
  void alter(const tsql::AlterTable& statement);
  void createIndex(const tsql::CreateIndex& statement);
  void drop(const tsql::ObjectName& name);
  /// The table's name stands where an owner's would.
  void dropIndex(const tsql::ObjectName& name);
  /// Those that a procedure made, at its end.
  void dropOwn();

  /// 2601 or the like for a StoreError with isDuplicateKey, of any table.
  tsql::ServerError duplicateKeyError(const StoreError& error, std::uint32_t line) const;

 private:
  struct Key {
    std::string name;
    bool unique = false;
    bool clustered = false;
    bool isConstraint = false;
    const std::vector<tsql::IndexKey>& keys;
    const std::vector<tsql::StorageOption>& options;
    std::uint32_t line = 0;
  };
  void addConstraint(TemporaryTable& table, const tsql::Constraint& constraint,
                     const tsql::ColumnDefinition* column);
  void addConstraints(TemporaryTable& table, const tsql::AlterAction& action);
  void addIndex(TemporaryTable& table, const Key& key);
  void storeIndex(TemporaryTable& table, TemporaryIndex index, std::uint32_t line);
  void show(const TemporaryTable& table);

  Frame& frame_;
  Session& session_{frame_.session()};
  Server& server_{frame_.server()};
  std::vector<std::string> own_;  ///< made within a call
};

}  // namespace kelvane::embedded
