#include "drivers/embedded/engine/ignored.h"

#include <algorithm>
#include <span>
#include <string_view>

namespace kelvane::embedded {

using namespace tsql;

namespace {

constexpr std::string_view kEffectiveOptions[] = {
    "nocount",         "quoted_identifier", "rowcount",   "ansinull",  "chained",
    "proxy",           "session",           "dateformat", "datefirst", "language",
    "identity_insert", "string_rtruncation"};
constexpr std::string_view kIndexOptions[] = {"ignore_dup_key", "ignore_dup_row",
                                              "allow_dup_row",  "fillfactor",
                                              "reservepagegap", "max_rows_per_page"};

class Collector {
 public:
  void operator()(const SetOption& option) {
    for (const std::string& name : option.names) {
      if (std::ranges::count(kEffectiveOptions, name) == 0) parts.push_back("set " + name);
    }
  }
  void operator()(const CreateTable& table) {
    for (const ColumnDefinition& column : table.columns) columnConstraints(column);
    for (const Constraint& one : table.constraints) constraint(one);
    storage(table.options, {});
    partitions(table.partitioning);
  }
  void operator()(const CreateIndex& index) { storage(index.options, kIndexOptions); }
  void operator()(const AlterTable& table) {
    for (const AlterAction& action : table.actions) std::visit(*this, action);
  }

  void operator()(const AddColumn& action) { columnConstraints(action.column); }
  void operator()(const AddConstraint& action) { constraint(action.constraint); }
  void operator()(const ChangeStorage& action) { storage(action.options, {}); }
  void operator()(const ChangePartitions& action) {
    partitions(action.partitioning);
    if (!action.partitioning) parts.push_back(action.count ? "partition" : "unpartition");
  }
  void operator()(const auto&) {}

  std::vector<std::string> parts;

 private:
  void columnConstraints(const ColumnDefinition& column) {
    for (const Constraint& one : column.constraints) constraint(one);
    parts.insert(parts.end(), column.storage.begin(), column.storage.end());
  }
  void constraint(const Constraint& constraint) {
    if (const auto* key = std::get_if<KeyConstraint>(&constraint.node))
      storage(key->options, kIndexOptions);
  }
  void storage(const std::vector<StorageOption>& options, std::span<const std::string_view> kept) {
    for (const StorageOption& option : options) {
      if (std::ranges::count(kept, option.name) == 0) parts.push_back("with " + option.name);
    }
  }
  void partitions(const std::optional<Partitioning>& partitioning) {
    if (partitioning) parts.push_back("partition by " + partitioning->method);
  }
};

}  // namespace

std::vector<std::string> ignoredParts(const tsql::Statement& statement) {
  Collector collector;
  std::visit(collector, statement.node);
  return std::move(collector.parts);
}

}  // namespace kelvane::embedded
