// The upper bounds of range partitions, each of which must be above those before it.
#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/catalog/writer.h"
#include "drivers/embedded/tsql/ast/storage.h"

namespace kelvane::embedded {

class RangeBounds {
 public:
  /// `text` is the batch that the conditions count in.
  RangeBounds(CatalogWriter& writer, const RowValues& values, std::string_view text)
      : writer_(writer), values_(values), text_(text) {}

  /// The first partitions of a table, which are in the catalog already.
  void requireAscending(const ObjectInfo& table, const tsql::Partitioning& partitioning);
  /// Those that a table is about to get in addition.
  void requireAbove(const ObjectInfo& table, std::span<const tsql::Partition> added);

 private:
  /// A value for each key; none for MAX, which is above all others.
  using Bound = std::vector<std::optional<Cell>>;
  using Keys = std::vector<ColumnType>;

  Keys keysOf(const ObjectInfo& table);
  /// Empty where it is not written as literals, or has not as many of them as there are keys.
  Bound boundOf(std::string_view condition, const Keys& keys);
  void require(const ObjectInfo& table, std::span<const tsql::Partition> partitions,
               const Keys& keys, Bound highest);

  CatalogWriter& writer_;
  const RowValues& values_;
  std::string_view text_;
};

}  // namespace kelvane::embedded
